#include "tree/TreeRefresh.h"

#include "etabulon/tree/EDataTreeFiller.h"
#include "tree/NodeAccess.h"
#include "tree/TreeBlockFiling.h"
#include "tree/TreeFiling.h"

#include <cstddef>
#include <cstdint>

namespace etabulon::detail {

namespace {

/// Hands each record of the walk to its filing.
class FilingFiller final : public EDataTreeFiller {
public:
    FilingFiller(EDataTreeNode& start, TreeFiling& filing)
        : EDataTreeFiller(&start), filing_(filing), blocks_(filing) {}
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        SetOneFound();
        const ETabulonTag& tag = cursor.CurrentTag();
        filing_.Prefetch(tag);
        filing_.File(tag, cursor.PrimaryKey());
        return StatusOk;
    }
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override {
        return blocks_.Want(cursor, request);
    }
    CursorStatus OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override {
        SetOneFound();
        blocks_.File(block, records);
        return StatusOk;
    }

private:
    TreeFiling& filing_;
    TreeBlockFiling blocks_;
};

/// The flags of the nodes below the start. Unless the refresh keeps them, they are cleared at its
/// end: an unfinished walk drops nothing.
class DirtyFlags {
public:
    explicit DirtyFlags(EDataTreeNode& start) noexcept
        : start_(start), count_(NodeAccess::SetDirtyChilds(start, true)) {}
    DirtyFlags(const DirtyFlags&) = delete;
    DirtyFlags& operator=(const DirtyFlags&) = delete;
    ~DirtyFlags() {
        if (count_ != 0) {
            NodeAccess::SetDirtyChilds(start_, false);
        }
    }
    [[nodiscard]] std::size_t Count() const noexcept { return count_; }
    /// The walk has met all nodes, or those that it hasn't met are dropped.
    void Keep() noexcept { count_ = 0; }

private:
    EDataTreeNode& start_;
    std::size_t count_;  // what a walk adds is clean: without a node there is no flag to clear
};

}  // namespace

CursorStatus WalkAndFile(EDataTreeNode& start, ETabulonCursor& cursor, bool& oneFound) {
    const std::uint64_t number = NodeAccess::Walks(start).BeginRefresh();
    DirtyFlags flags(start);
    // From here on the start keeps its whole tag: it needs no memory to become a root of its own
    // when a listener drops it.
    const ETabulonTag& tag = start.Tag();
    CursorStatus status = StatusOk;
    bool allMet = false;
    {
        TreeFiling filing(start, flags.Count());
        FilingFiller filler(start, filing);
        const ECursorListening listening(cursor, filler);
        status = cursor.Browse(tag);
        filing.Flush();
        oneFound = filler.HasOneFound();
        // A listener may have refreshed a node of this tree, which sets flags that this walk has
        // cleared and counted.
        allMet = filing.HasMetAll() && NodeAccess::Walks(start).RefreshesBegun() == number;
        if (status != StatusOk) {
            filing.LeaveWaiting();
        }
    }
    if (status == StatusOk) {
        if (!allMet) {
            NodeAccess::ReleaseDirtyChilds(start);
        }
        flags.Keep();
    }
    return status;
}

}  // namespace etabulon::detail
