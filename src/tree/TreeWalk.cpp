#include "tree/TreeWalk.h"

#include "etabulon/foundation/EExpects.h"
#include "etabulon/tree/EDataTreeNode.h"

namespace etabulon::detail {

namespace {

bool IsInBranch(const EDataTreeNode* node, const EDataTreeNode& top) noexcept {
    while (node != nullptr && node != &top) {
        node = node->Parent();
    }
    return node != nullptr;
}

}  // namespace

std::atomic<int> TreeWalks::running_{0};

void TreeWalks::Enter(TreeWalk& walk) noexcept {
    running_.fetch_add(1, std::memory_order_relaxed);
    walk.outer_ = innermost_;
    innermost_ = &walk;
}

void TreeWalks::Leave(TreeWalk& walk) noexcept {
    TreeWalk** link = &innermost_;
    while (*link != &walk) {
        E_EXPECTS(*link != nullptr);
        link = &(*link)->outer_;
    }
    *link = walk.outer_;
    running_.fetch_sub(1, std::memory_order_relaxed);
}

void TreeWalks::ForgetNodesBelow(const EDataTreeNode& parent) noexcept {
    for (TreeWalk* walk = innermost_; walk != nullptr; walk = walk->outer_) {
        if (IsInBranch(&parent, walk->start_)) {
            walk->Forget();
        }
    }
}

void TreeWalks::GiveBranch(const EDataTreeNode& node, TreeWalks& branch) noexcept {
    for (TreeWalk* walk = innermost_; walk != nullptr; walk = walk->outer_) {
        if (IsInBranch(&walk->start_, node)) {
            walk->Forget();
        }
    }
    branch.refreshesBegun_ = refreshesBegun_;
    TreeWalk** stays = &innermost_;
    TreeWalk** goes = &branch.innermost_;
    for (TreeWalk* walk = innermost_; walk != nullptr; walk = walk->outer_) {
        TreeWalk**& end = IsInBranch(&walk->start_, node) ? goes : stays;
        *end = walk;
        end = &walk->outer_;
    }
    *stays = nullptr;
    *goes = nullptr;
}

}  // namespace etabulon::detail
