#pragma once

#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"
#include "tree/TreeBlockLevel.h"
#include "tree/TreeKey.h"
#include "tree/TreeLeafFiling.h"

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
    enum class Mode : std::uint8_t {
        Keys = 0,          // sets the keys of the leaves
        Nodes = 1,         // makes all nodes, for Nodes()
        KeysAndNodes = 2,  // both
    };
    explicit TreeBlockFiling(TreeFiling& filing, Mode mode = Mode::Keys);

    /// Asks for the columns of the levels shown. False where the records must come one by one.
    [[nodiscard]] bool Want(const ETabulonCursor& cursor, EBlockRequest& request);
    /// Requires that the last call of Want was true.
    void File(const ERecordBlock& block, std::span<const EBlockIndex> records);
    /// The same for a single record. Returns its node, or null if it has only hidden values.
    EDataTreeNode* File(const ETabulonCursor& cursor);
    /// The nodes of the last block's records, or null for those that have only hidden values.
    /// Requires a mode with nodes.
    [[nodiscard]] std::span<EDataTreeNode* const> Nodes() const noexcept { return filed_; }

private:
    // After this many records it is decided whether leaves are kept.
    static constexpr std::uint64_t kTrial = 256;
    static constexpr unsigned int kNoColumn = ~0U;
    static constexpr std::uint32_t kNone = TreeBlockLevel::kNone;
    // A reference to an inner node: twice its index in nodes_, plus one where the path that leads
    // to it is identical to the record's, so that a new child needs no tag of its own. Leaves have
    // the numbers that TreeLeafKeys gives.

    /// A level of the records.
    struct Column {
        unsigned int level;
        unsigned int data;
        unsigned int label;  // kNoColumn: the data's own text
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
    void PrefetchValue(const ERecordBlock& block, EBlockIndex record) const noexcept;
    void PrefetchText(const ERecordBlock& block, EBlockIndex record) const noexcept;
    void PrefetchNewLeaves(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void FileNewLeaves(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void FileLeaves(const ERecordBlock& block, std::span<const EBlockIndex> records,
                    std::size_t first, std::size_t end);
    void FileLeaf(const ERecordBlock& block, EBlockIndex record, std::size_t nth);
    [[nodiscard]] bool UseNewLeaves(const ERecordBlock& block, EBlockIndex first);
    void AddNewLeaves(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] bool AddNewLeaf(const ERecordBlock& block, EBlockIndex record,
                                  std::uint32_t parent);
    [[nodiscard]] TreeLeafFiling::Result FindOrAddLeaf(const ERecordBlock& block,
                                                       EBlockIndex record, std::uint32_t parent);
    void FindStarts(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] bool IsStartIdentical(const ERecordBlock& block, EBlockIndex record);
    [[nodiscard]] bool FindParent(const ERecordBlock& block, EBlockIndex record, std::size_t nth);
    [[nodiscard]] std::uint32_t FindLeaf(const ERecordBlock& block, EBlockIndex record,
                                         std::size_t nth);
    [[nodiscard]] std::uint32_t StepDown(const ERecordBlock& block, EBlockIndex record,
                                         std::uint32_t start, std::size_t depth);
    [[nodiscard]] std::uint32_t Register(std::uint32_t parent, EBlockIndex record, std::size_t at,
                                         EDataTreeNode& node, const ETabulonValue& value);
    EDataTreeNode* FileStray(const ERecordBlock& block, EBlockIndex record, std::size_t nth);
    void MakeTag(const ERecordBlock& block, EBlockIndex record);
    void MakeValue(const ERecordBlock& block, EBlockIndex record, const Column& column,
                   ETabulonValue& value) const;
    void KeepKeys(const ERecordBlock& block, std::span<const EBlockIndex> records,
                  std::size_t first, std::size_t end);
    void KeepKey(const ERecordBlock& block, EBlockIndex record, std::uint32_t leaf);
    void SetKey(const ERecordBlock& block, EBlockIndex record, const TreeLeaf& leaf);
    void ReadKey(const ERecordBlock& block, EBlockIndex record);
    void SetReadKey(const TreeLeaf& leaf, EPosition position);

    TreeFiling& filing_;
    bool setsKeys_;
    bool makesNodes_;
    std::vector<EDataTreeNode*> filed_;  // by the record's index, in a mode with nodes
    std::vector<Column> columns_;        // the levels shown come first, from the top down
    std::vector<TreeBlockLevel> levels_;
    std::vector<Above> above_;
    bool canBeIdentical_ = false;  // no node at or above the start has a tag of its own
    std::uint64_t forgotten_ = 0;  // TreeFiling::Forgotten when nodes_ was begun

    std::uint64_t leafGeneration_ = 0;  // of TreeFiling::LeafKeys

    std::vector<EDataTreeNode*> nodes_;  // the first is the start
    std::vector<std::uint32_t> lastOf_;  // by leaf, of records of the block
    bool areKeysPositions_ = false;      // of the block
    // Records since the walk's begin, and of them those whose leaf an earlier record had met.
    std::uint64_t lookups_ = 0;
    std::uint64_t known_ = 0;
    std::uint64_t misses_ = 0;  // leaves that TreeNewLeaves didn't take

    // Scratch of a block: by the record's index, the references of the start and of the leaf's
    // parent, and the leaf.
    std::array<std::uint32_t, ERecordBlock::kMostRecords> starts_{};
    std::array<std::uint32_t, ERecordBlock::kMostRecords> parents_{};
    std::array<std::uint32_t, ERecordBlock::kMostRecords> found_{};
    std::vector<EBlockIndex> news_;  // indexes of records whose leaf isn't known
    ETabulonTag tag_;
    ETabulonValue value_;
    EFieldKey fields_;
    TreeKeyWord packed_;
    ETabulonPrimaryKey key_;
};

}  // namespace detail
}  // namespace etabulon
