#pragma once

#include "tree/NodeAccess.h"
#include "tree/TreeKey.h"
#include "tree/TreeLeafFiling.h"
#include "tree/TreeRefreshMarks.h"

#include <cstddef>
#include <vector>

namespace etabulon::detail {

class TreeChildCache;

/// Records that a walk holds back. Where each record has a leaf of its own, most of a fill would be
/// waiting for memory: for the parent, for its list of children, for the end of that list. Such
/// records are filed a few at a time, after a prefetch of what their filing reads. A record that is
/// held has its parent; whether its node exists is found out when it is filed.
///
/// Failure  std::bad_alloc from Hold leaves all as it was. From File it loses the records that
///          aren't filed yet: the walk has to fail.
class TreeHeldRecords {
public:
    TreeHeldRecords(const ETabulonSortDesc& sort, TreeRefreshMarks& marks,
                    TreeChildCache& cache) noexcept
        : sort_(sort), marks_(marks), cache_(cache), leaves_(sort, marks) {}

    [[nodiscard]] bool IsEmpty() const noexcept { return records_.empty(); }
    [[nodiscard]] bool IsFull() const noexcept { return records_.size() == kMost; }
    /// Requires !IsFull(), and that all records held are of one `level`, the last one shown.
    void Hold(EDataTreeNode& parent, unsigned int level, const ETabulonValue& value,
              TreeKeyWord key);
    /// Files all records, in the order in which they came. Returns how many of them have a node
    /// that the walk had met already. Reentrant: making a node may run the application's own code,
    /// which may read the tree.
    std::size_t File();

private:
    struct Record {
        EDataTreeNode* parent;
        ETabulonValue value;
        TreeKeyWord key;
    };
    // So many prefetches are under way at a time.
    static constexpr std::size_t kMost = 32;

    void Prefetch() const noexcept;
    void Clear() noexcept;
    [[nodiscard]] bool FileOne(const Record& record);

    const ETabulonSortDesc& sort_;
    TreeRefreshMarks& marks_;
    TreeChildCache& cache_;
    TreeLeafFiling leaves_;
    std::vector<Record> records_;
    std::size_t filed_ = 0;   // of records_, from the front
    unsigned int level_ = 0;  // of their values
};

}  // namespace etabulon::detail
