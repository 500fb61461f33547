#pragma once

#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"
#include "tree/TreeBlockLevel.h"
#include "tree/TreeKey.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonCursor;
class EDataTreeNode;
struct EBlockRequest;

namespace detail {

class TreeFiling;

/// Files the records of a walk's blocks: finds most of their nodes by the numbers of their values
/// level by level, and hands the others to the filing of single records, in the order of the walk.
/// The tree is the same as if all had gone there.
///
/// Failure  std::bad_alloc passes through; the walk has to end then.
class TreeBlockFiling {
public:
    explicit TreeBlockFiling(TreeFiling& filing);

    /// Asks for the columns of the levels shown. False where the records must come one by one.
    [[nodiscard]] bool Want(const ETabulonCursor& cursor, EBlockRequest& request);
    /// Requires that the last call of Want was true.
    void File(const ERecordBlock& block, std::span<const EBlockIndex> records);

private:
    static constexpr unsigned kNoColumn = ~0U;
    static constexpr std::uint32_t kNone = TreeBlockLevel::kNone;
    // A reference to a node: twice its index in nodes_, plus one where the path that leads to it is
    // identical to the record's, so that a new child needs no tag of its own. Nodes that can't be
    // found by their number have this bit, and an index in strays_.
    static constexpr std::uint32_t kStray = std::uint32_t{1} << 31;

    /// A level of the records.
    struct Column {
        unsigned level;
        unsigned data;
        unsigned label;  // kNoColumn: the data's own text
    };
    /// The node at the walk's start or above it that a record has at a level, and whether its value
    /// is identical to the node's, by number.
    struct Above {
        const EDataTreeNode* node;
        std::vector<std::int8_t> verdicts;
    };

    [[nodiscard]] bool AddColumns(const ETabulonCursor& cursor, EBlockRequest& request);
    [[nodiscard]] bool IsPathKnown();
    void Restart();
    void FileSingly(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void FileCached(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void FileHeldBack(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void FindStarts(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] std::uint32_t FindFrom(std::uint32_t start, EBlockIndex record,
                                         std::size_t depth) const;
    [[nodiscard]] bool IsStartIdentical(const ERecordBlock& block, EBlockIndex record);
    [[nodiscard]] std::uint32_t AddSingly(const ERecordBlock& block, EBlockIndex record,
                                          std::uint32_t start, std::size_t depth);
    [[nodiscard]] std::uint32_t StepDown(const ERecordBlock& block, EBlockIndex record,
                                         std::uint32_t start, std::size_t depth);
    [[nodiscard]] std::uint32_t Register(std::uint32_t parent, EBlockIndex record, std::size_t at,
                                         EDataTreeNode& node, const ETabulonValue& value);
    void MakeTag(const ERecordBlock& block, EBlockIndex record);
    void MakeValue(const ERecordBlock& block, EBlockIndex record, const Column& column,
                   ETabulonValue& value) const;
    [[nodiscard]] EDataTreeNode* NodeOf(std::uint32_t reference) const noexcept {
        return (reference & kStray) != 0 ? strays_[reference & ~kStray] : nodes_[reference / 2];
    }
    void WriteKeys(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void ReadKey(const ERecordBlock& block, EBlockIndex record);
    [[nodiscard]] bool IsKeyPlain() const;
    void WriteKey(const ERecordBlock& block, EBlockIndex record, EDataTreeNode& node);

    TreeFiling& filing_;
    std::vector<Column> columns_;  // the levels shown come first, from the top down
    std::vector<TreeBlockLevel> levels_;
    std::vector<Above> above_;
    bool canBeIdentical_ = false;  // no node at or above the start has a tag of its own
    std::uint64_t forgotten_ = 0;  // TreeFiling::Forgotten when nodes_ was begun

    std::vector<EDataTreeNode*> nodes_;      // the first is the start
    std::vector<std::uint32_t> lastPlaces_;  // by index in nodes_, of records of the block
    std::vector<EDataTreeNode*> strays_;     // of the block
    // Records since the walk's begin, and of them those whose leaf an earlier record had met.
    std::uint64_t lookups_ = 0;
    std::uint64_t known_ = 0;

    // Scratch of a block: by the record's place, the reference of the start and of the lowest node.
    std::array<std::uint32_t, ERecordBlock::kMostRecords> starts_{};
    std::array<std::uint32_t, ERecordBlock::kMostRecords> found_{};
    ETabulonTag tag_;
    ETabulonValue value_;
    EFieldKey fields_;
    TreeKeyWord packed_;
    ETabulonPrimaryKey key_;
};

}  // namespace detail
}  // namespace etabulon
