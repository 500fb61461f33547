#include "tree/TreeLeafKeys.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

// Leaves aren't neighbours in memory: so many are prefetched ahead of the one that is written.
constexpr std::size_t kAhead = 16;
// So many keys are written within some milliseconds, after a cancel too.
constexpr std::size_t kMostKept = 65536;

}  // namespace

std::uint32_t TreeLeafKeys::Add(const TreeLeaf& leaf, bool isAlias) {
    const std::size_t size = leaves_.size();
    if (size == leaves_.capacity()) {
        const std::size_t room = std::max<std::size_t>(2 * size, 64);
        words_.reserve(room);
        isKept_.reserve(room);
        kept_.reserve(room);
        leaves_.reserve(room);
    }
    if (isAlias && !hasAliases_) {
        Write();
        order_.resize(size);
        hasAliases_ = true;
    }
    if (hasAliases_) {
        order_.push_back(0);
    }
    leaves_.push_back(leaf);
    words_.push_back(0);
    isKept_.push_back(0);
    return static_cast<std::uint32_t>(size);
}

void TreeLeafKeys::MarkKept(std::uint32_t leaf) {
    kept_.push_back(leaf);
    isKept_[leaf] = 1;
    if (kept_.size() >= kMostKept) {
        Write();
    }
}

void TreeLeafKeys::KeepOther(std::uint32_t leaf, TreeKeyWord key) {
    if (key.form != form_) {
        Write();
        form_ = key.form;
    }
    if (hasAliases_) {
        order_[leaf] = ++keeps_;
    }
    words_[leaf] = key.word;
    if (!isKept_[leaf]) {
        MarkKept(leaf);
    }
}

void TreeLeafKeys::Write() {
    if (hasAliases_) {
        // Of the keys of one leaf, the last one kept is the last one written.
        std::sort(kept_.begin(), kept_.end(), [this](std::uint32_t left, std::uint32_t right) {
            return order_[left] < order_[right];
        });
    }
    for (std::size_t at = 0; at < kept_.size(); ++at) {
        if (at + kAhead < kept_.size()) {
            NodeAccess::Prefetch(*leaves_[kept_[at + kAhead]].node);
        }
        const std::uint32_t leaf = kept_[at];
        isKept_[leaf] = 0;
        TreeLeafFiling::SetKey(leaves_[leaf], {words_[leaf], form_});
    }
    kept_.clear();
}

void TreeLeafKeys::Clear() noexcept {
    if (leaves_.empty()) {
        return;
    }
    leaves_.clear();
    words_.clear();
    isKept_.clear();
    order_.clear();
    kept_.clear();
    hasAliases_ = false;
    ++generation_;
}

}  // namespace etabulon::detail
