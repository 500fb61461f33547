#pragma once

#include "apps/etabulon/output/CliCell.h"
#include "etabulon/tree/EDataTreeFiller.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace etabulon {

/// Adds the records of a walk to a tree, counts the records of each node, and keeps the records'
/// keys on request. The tree itself has one leaf with one key for all records of one place; the
/// keys of all of them are kept here.
///
/// Ownership  the root isn't owned. The Param of each node is used.
class CliTreeRecords final : public EDataTreeFiller {
public:
    static constexpr std::size_t kNoRecord = static_cast<std::size_t>(-1);

    /// Keeps the first `keySize` parts of each key; with 0 no keys are kept.
    CliTreeRecords(EDataTreeNode& root, std::size_t keySize)
        : EDataTreeFiller(&root, Files::Nodes), root_(root), keySize_(keySize) {}
    bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;

    /// Adds up the counts from the leaves to the root. To be called before Count.
    void SumUp() { SumUp(root_); }
    [[nodiscard]] std::uint64_t Count(const EDataTreeNode& node) const {
        return PlaceOf(node).count;
    }
    /// The tag of the first record; the root's if there was no record.
    [[nodiscard]] const ETabulonTag& FirstTag() const noexcept { return firstTag_; }

    /// The first record of a leaf in the order of the walk. Requires that keys are kept.
    [[nodiscard]] std::size_t FirstRecord(const EDataTreeNode& leaf) const {
        return PlaceOf(leaf).first;
    }
    [[nodiscard]] std::size_t NextRecord(std::size_t record) const { return records_[record].next; }
    /// Reads the parts of a record's key, whose texts are borrowed.
    void ReadKey(std::size_t record, std::vector<CliCell>& cells) const;

protected:
    void OnFiled(const ETabulonCursor& cursor, EDataTreeNode* node) override;
    void OnFiled(const ERecordBlock& block, std::span<const EBlockIndex> records,
                 std::span<EDataTreeNode* const> nodes) override;

private:
    struct Place {
        std::uint64_t count = 0;
        std::size_t first = kNoRecord;
        std::size_t last = kNoRecord;
    };
    struct Record {
        std::size_t key;  // the offset in keys_
        std::size_t next;
    };
    [[nodiscard]] const Place& PlaceOf(const EDataTreeNode& node) const;
    Place& MakePlace(EDataTreeNode& node);
    Place& CountRecord(EDataTreeNode* node);
    void KeepKey(const EFieldKey& key, Place& place);
    std::uint64_t SumUp(EDataTreeNode& node);

    EDataTreeNode& root_;
    std::size_t keySize_;
    ETabulonTag firstTag_;
    std::vector<Place> places_;  // a node's Param is its index here + 1, or 0
    std::vector<Record> records_;
    std::string keys_;  // of each part: kind, length, text
    CliCellMaker maker_;
    EFieldKey key_;
};

}  // namespace etabulon
