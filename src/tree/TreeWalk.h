#pragma once

#include <atomic>
#include <cstdint>

namespace etabulon {
class EDataTreeNode;
}  // namespace etabulon

namespace etabulon::detail {

/// A walk that files records below a node, as the nodes of its tree know it.
class TreeWalk {
public:
    TreeWalk(const TreeWalk&) = delete;
    TreeWalk& operator=(const TreeWalk&) = delete;

    /// A caller is about to read or change the tree: files what the walk holds back. Where memory
    /// runs out, the walk fails at its next record.
    virtual void FlushForReader() noexcept = 0;
    /// Nodes are about to be dropped: flushes, and then forgets each node that the walk remembers.
    virtual void Forget() noexcept = 0;

protected:
    explicit TreeWalk(EDataTreeNode& start) noexcept : start_(start) {}
    virtual ~TreeWalk() = default;

    EDataTreeNode& start_;

private:
    friend class TreeWalks;
    TreeWalk* outer_ = nullptr;
};

/// The walks that run in one tree, from the innermost outwards: a listener of a walk may refresh a
/// node of the same tree. The topmost node of the tree holds them.
class TreeWalks {
public:
    /// A walk runs in some tree of the process. While none does, a reader needn't climb to the
    /// topmost node to find out; while one does, readers of the other trees climb too.
    [[nodiscard]] static bool IsAnyRunning() noexcept {
        return running_.load(std::memory_order_relaxed) != 0;
    }

    void Enter(TreeWalk& walk) noexcept;
    void Leave(TreeWalk& walk) noexcept;

    [[nodiscard]] bool IsEmpty() const noexcept { return innermost_ == nullptr; }
    /// The outer walks hold nothing back: the next walk's Refresh has flushed them.
    void FlushForReader() const noexcept {
        if (innermost_ != nullptr) {
            innermost_->FlushForReader();
        }
    }
    /// Children of `parent` are about to be dropped: the walks that started there or above forget.
    void ForgetNodesBelow(const EDataTreeNode& parent) noexcept;
    /// The branch of `node` is about to become a tree of its own: the walks that started in it
    /// forget, and go over to the new tree.
    void GiveBranch(const EDataTreeNode& node, TreeWalks& branch) noexcept;

    /// Counts the refreshes of this tree. Returns the number of the one that begins.
    std::uint64_t BeginRefresh() noexcept { return ++refreshesBegun_; }
    [[nodiscard]] std::uint64_t RefreshesBegun() const noexcept { return refreshesBegun_; }

private:
    // The one number that trees share, as a fast path: to climb for each answer would make a pass
    // over all nodes of a tree a quarter longer. Relaxed is enough: a reader that can meet a walk
    // of its own tree runs on the walk's thread, or holds the cursor's lock.
    static std::atomic<int> running_;

    TreeWalk* innermost_ = nullptr;  // not owned: each is on the stack of a refresh
    std::uint64_t refreshesBegun_ = 0;
};

}  // namespace etabulon::detail
