#include "tree/TreeRefresh.h"

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/tree/EDataTreeFiller.h"
#include "tree/NodeAccess.h"
#include "tree/TreeBlockFiling.h"
#include "tree/TreeFiling.h"
#include "tree/TreeFlagPass.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace etabulon::detail {

namespace {

/// The flags of the nodes below the start, set while the walk hasn't met the node.
///
/// An unfinished walk drops nothing and leaves the flags as they are: the next refresh sets all of
/// them again. Only a walk that runs around this one would read them.
class DirtyFlags {
public:
    explicit DirtyFlags(EDataTreeNode& start) noexcept : start_(start) {}
    DirtyFlags(const DirtyFlags&) = delete;
    DirtyFlags& operator=(const DirtyFlags&) = delete;
    ~DirtyFlags() {
        if (isUsed_ && !NodeAccess::Walks(start_).IsEmpty()) {
            TreeFlagPass pass(nullptr);
            static_cast<void>(NodeAccess::SetDirtyChilds(start_, /*dirty=*/false, pass));
        }
    }
    /// Sets all of them, unless the thread is cancelled, and returns how many there are. A null
    /// thread can't be cancelled.
    [[nodiscard]] std::size_t SetAll(ICancellableThread* thread) {
        TreeFlagPass pass(thread);
        isUsed_ = true;
        areAllSet_ = NodeAccess::SetDirtyChilds(start_, /*dirty=*/true, pass);
        return pass.Nodes();
    }
    [[nodiscard]] bool IsUsed() const noexcept { return isUsed_; }
    [[nodiscard]] bool AreAllSet() const noexcept { return areAllSet_; }
    /// The walk has met all nodes, or those that it hasn't met are dropped.
    void Keep() noexcept { isUsed_ = false; }

private:
    EDataTreeNode& start_;
    bool isUsed_ = false;
    bool areAllSet_ = false;
};

/// Hands each record of the walk to its filing. Sets the flags when the walk begins: from then on a
/// cancel is meant for it, and a tree may have so many nodes that the caller would wait for them.
class FilingFiller final : public EDataTreeFiller {
public:
    FilingFiller(EDataTreeNode& start, TreeFiling& filing, DirtyFlags& flags,
                 ICancellableThread& thread)
        : EDataTreeFiller(&start),
          filing_(filing),
          flags_(flags),
          thread_(thread),
          blocks_(filing) {}
    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override {
        if (!flags_.IsUsed()) {  // once: a listener may begin another walk of the cursor
            filing_.SetDirtyCount(flags_.SetAll(&thread_));
        }
        return EDataTreeFiller::OnReset(tag, cursor);
    }
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
    DirtyFlags& flags_;
    ICancellableThread& thread_;
    TreeBlockFiling blocks_;
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
        TreeFiling filing(start);
        FilingFiller filler(start, filing, flags, cursor);
        const ECursorListening listening(cursor, filler);
        status = cursor.Browse(tag);
        filing.Flush();
        if (status == StatusOk && !flags.IsUsed()) {
            filing.SetDirtyCount(flags.SetAll(nullptr));  // a listener in front ended the reset
        } else if (status == StatusOk && !flags.AreAllSet()) {
            status = StatusCancelled;
        }
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
