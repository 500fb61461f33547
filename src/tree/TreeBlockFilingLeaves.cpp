#include "etabulon/foundation/EDataType.h"
#include "tree/NodeAccess.h"
#include "tree/TreeBlockFiling.h"
#include "tree/TreeFiling.h"

#include <algorithm>

// Blocks in which most records have a leaf of their own.

namespace etabulon::detail {

namespace {

// So many prefetches are under way at a time.
constexpr std::size_t kAhead = 32;

}  // namespace

/// Most records have a leaf of their own: only the nodes above are looked up.
void TreeBlockFiling::FileNewLeaves(const ERecordBlock& block,
                                    std::span<const EBlockIndex> records) {
    filing_.LeafKeys().Write();  // those records came before
    if (UseNewLeaves(block, records.front())) {
        return AddNewLeaves(block, records);
    }
    filing_.FlushLeaves();
    filing_.NewLeaves().Clear();
    for (std::size_t first = 0; first < records.size(); first += kAhead) {
        const std::size_t end = std::min(first + kAhead, records.size());
        std::size_t filed = first;
        for (std::size_t nth = first; nth < end; ++nth) {
            if (FindParent(block, records[nth], nth)) {
                NodeAccess::Prefetch(*nodes_[parents_[nth] / 2]);
                PrefetchValue(block, records[nth]);
                continue;
            }
            FileLeaves(block, records, filed, nth);
            static_cast<void>(FileStray(block, records[nth], nth));
            filed = nth + 1;
        }
        FileLeaves(block, records, filed, end);
    }
}

/// What the leaves' filing reads is prefetched: the parents have been under way since they were
/// found; then their lists of children, and the lists' ends.
void TreeBlockFiling::FileLeaves(const ERecordBlock& block, std::span<const EBlockIndex> records,
                                 std::size_t first, std::size_t end) {
    for (std::size_t nth = first; nth < end; ++nth) {
        NodeAccess::Children(*nodes_[parents_[nth] / 2]).PrefetchList();
        PrefetchText(block, records[nth]);
    }
    for (std::size_t nth = first; nth < end; ++nth) {
        NodeAccess::Children(*nodes_[parents_[nth] / 2]).PrefetchListEnd();
    }
    for (std::size_t nth = first; nth < end; ++nth) {
        FileLeaf(block, records[nth], nth);
    }
}

void TreeBlockFiling::FileLeaf(const ERecordBlock& block, EBlockIndex record, std::size_t nth) {
    const TreeLeafFiling::Result filed = FindOrAddLeaf(block, record, parents_[nth]);
    if (filed.leaf.node == nullptr) {
        static_cast<void>(FileStray(block, record, nth));
        return;
    }
    known_ += filed.wasMet ? 1 : 0;
    SetReadKey(filed.leaf, block.Position(record));
}

/// The leaves are whole numbers, and most of them are above those that their parents have.
bool TreeBlockFiling::UseNewLeaves(const ERecordBlock& block, EBlockIndex first) {
    const Column& leaf = columns_[levels_.size() - 1];
    const ERecordBlock::Column& column = block.At(leaf.data);
    const int type = column.type->storage == EStorage::Int64   ? TYPE_INT64
                     : column.type->storage == EStorage::Int32 ? TYPE_LONG
                                                               : TYPE_CHAINE;
    if (misses_ > kTrial + lookups_ / 8 || leaf.label != kNoColumn || column.words == nullptr ||
        column.type != &TypeInfo(type)) {
        return false;
    }
    ReadKey(block, first);
    if (packed_.form == TreeKeyForm::Whole) {
        return false;
    }
    filing_.NewLeaves().SetForm(leaf.level, static_cast<unsigned int>(levels_.size()) - 1,
                                static_cast<std::uint16_t>(type), packed_.form);
    return true;
}

void TreeBlockFiling::AddNewLeaves(const ERecordBlock& block,
                                   std::span<const EBlockIndex> records) {
    TreeNewLeaves& leaves = filing_.NewLeaves();
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        const EBlockIndex record = records[nth];
        if (!FindParent(block, record, nth)) {
            leaves.Flush();
            static_cast<void>(FileStray(block, record, nth));
            leaves.Clear();
            continue;
        }
        const std::uint32_t parent = parents_[nth] / 2;
        if (!leaves.Knows(parent)) {
            leaves.Learn(parent, *nodes_[parent]);
        }
        if (!AddNewLeaf(block, record, parent)) {
            ++misses_;
            leaves.Flush();
            FileLeaf(block, record, nth);
            leaves.Forget(parent);
        }
    }
    if (leaves.IsFull()) {
        leaves.Flush();
    }
}

/// False if the leaf may be known.
bool TreeBlockFiling::AddNewLeaf(const ERecordBlock& block, EBlockIndex record,
                                 std::uint32_t parent) {
    const ERecordBlock::Column& column = block.At(columns_[levels_.size() - 1].data);
    ReadKey(block, record);
    if (column.IsMissingWord(record) || packed_.form != filing_.NewLeaves().KeyForm()) {
        return false;
    }
    const std::uint64_t word = column.words[record];
    const std::int64_t number = column.type->storage == EStorage::Int64
                                    ? static_cast<std::int64_t>(word)
                                    : static_cast<std::int32_t>(word);
    return filing_.NewLeaves().Add(parent, number, packed_.word);
}

/// Leaves the record's key in packed_.
TreeLeafFiling::Result TreeBlockFiling::FindOrAddLeaf(const ERecordBlock& block, EBlockIndex record,
                                                      std::uint32_t parent) {
    const Column& column = columns_[levels_.size() - 1];
    ReadKey(block, record);
    MakeValue(block, record, column, value_);
    return filing_.Leaves().File(*nodes_[parent / 2], column.level, value_, packed_);
}

}  // namespace etabulon::detail
