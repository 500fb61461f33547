#pragma once

#include "apps/etabulon/output/CliCell.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// Files the records of a walk under a root, counts those of each node, and keeps their keys where
/// they are asked for. The tree has one leaf for all records of one place, and with it one key: the
/// others are here.
///
/// Ownership  the root isn't owned. Uses the Param of its nodes.
class CliTreeRecords final : public ECursorListener {
public:
    static constexpr std::size_t kNoRecord = static_cast<std::size_t>(-1);

    /// `keySize` parts of each key are kept; 0 for none.
    CliTreeRecords(EDataTreeNode& root, std::size_t keySize) : root_(root), keySize_(keySize) {}
    CursorStatus OnMove(const ETabulonCursor& cursor) override;

    /// Adds up the counts from the leaves to the root: what Count requires.
    void SumUp() { SumUp(root_); }
    [[nodiscard]] std::uint64_t Count(const EDataTreeNode& node) const {
        return PlaceOf(node).count;
    }
    /// Where the first record was met; the root without one.
    [[nodiscard]] const ETabulonTag& FirstTag() const noexcept { return firstTag_; }

    /// The records of a leaf in the order of the walk, if their keys are kept.
    [[nodiscard]] std::size_t FirstRecord(const EDataTreeNode& leaf) const {
        return PlaceOf(leaf).first;
    }
    [[nodiscard]] std::size_t NextRecord(std::size_t record) const { return records_[record].next; }
    /// The parts of its key, borrowed.
    void ReadKey(std::size_t record, std::vector<CliCell>& cells) const;

private:
    struct Place {
        std::uint64_t count = 0;
        std::size_t first = kNoRecord;
        std::size_t last = kNoRecord;
    };
    struct Record {
        std::size_t key;  // where in keys_ it begins
        std::size_t next;
    };
    [[nodiscard]] const Place& PlaceOf(const EDataTreeNode& node) const;
    Place& MakePlace(EDataTreeNode& node);
    void KeepKey(const EFieldKey& key, Place& place);
    std::uint64_t SumUp(EDataTreeNode& node);

    EDataTreeNode& root_;
    std::size_t keySize_;
    ETabulonTag firstTag_;
    std::vector<Place> places_;  // a node's Param counts from 1; 0 = it has none
    std::vector<Record> records_;
    std::string keys_;  // of each part: kind, length, text
    CliCellMaker maker_;
};

}  // namespace etabulon
