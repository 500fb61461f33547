#include "tree/TreeFillPath.h"

#include "tree/NodeExtra.h"
#include "tree/TreeChildren.h"

#include <algorithm>
#include <new>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

constexpr std::size_t kLongWalk = 4096;     // records, after which nodes are remembered
constexpr std::size_t kRecalled = 1 << 17;  // 1 MB, about what a near cache holds

}  // namespace

TreeFillPath::TreeFillPath(EDataTreeNode& start, std::size_t dirty)
    : start_(start),
      sort_(start.SortDesc()),
      outer_(std::exchange(start.MakeExtra().path, this)),
      dirty_(dirty) {}

TreeFillPath::~TreeFillPath() {
    Forget();
    start_.extra_->path = outer_;
}

void TreeFillPath::Forget() noexcept {
    std::fill(nodes_.begin(), nodes_.end(), nullptr);
    std::fill(recalled_.begin(), recalled_.end(), nullptr);
    orderStamp_ = 0;
    std::vector<ERef<EDataTreeNode>> touched;
    touched.swap(touched_);
    for (const ERef<EDataTreeNode>& node : touched) {
        try {
            if (node->children_ != nullptr) {
                node->children_->Place();
            }
        } catch (const std::bad_alloc&) {
            // Newcomers that didn't get their place go on waiting, and get it at the next look.
        }
    }
    if (outer_ != nullptr) {
        outer_->Forget();
    }
}

/// Each level is shown once, and the start node and its ancestors stand for the first of them.
/// Neither holds after all changes of levels that didn't empty the tree.
bool TreeFillPath::IsStraight() const {
    std::vector<unsigned> sorted(levels_);
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end() ||
        std::any_of(levels_.begin(), levels_.end(), [this](unsigned level) {
            return sort_.IsHiddenSortLevel(level, kInTree);  // by another key of the level
        })) {
        return false;
    }
    if (!start_.byValue_ || start_.depth_ > levels_.size()) {
        return false;
    }
    const EDataTreeNode* node = &start_;
    while (node->parent_ != nullptr && node->level_ == levels_[node->depth_ - 1]) {
        node = node->parent_;
    }
    return node->parent_ == nullptr;
}

void TreeFillPath::ReadLevels() {
    const auto& visible = sort_.VisibleLevels(kInTree);
    levels_.assign(visible.begin(), visible.end());
    places_.assign(levels_.size(), 0);
    values_.assign(levels_.size(), nullptr);
    nodes_.assign(levels_.size(), nullptr);
    hashes_.assign(levels_.size(), 0);
    std::fill(recalled_.begin(), recalled_.end(), nullptr);
    part_.RemoveAll();
    straight_ = IsStraight();
    orderStamp_ = sort_.OrderStamp();
}

/// Finds the record's value for each level shown. False if the record lacks one of them.
bool TreeFillPath::ReadValues(const ETabulonTag& tag) {
    if (orderStamp_ != sort_.OrderStamp()) {
        ReadLevels();
    }
    if (!straight_) {
        return false;
    }
    const unsigned count = tag.KnownLevelsCount();
    for (std::size_t depth = 0; depth < levels_.size(); ++depth) {
        const unsigned level = levels_[depth];
        unsigned place = places_[depth];
        if (place >= count || tag.LevelAt(place) != level) {
            place = 0;
            while (place < count && tag.LevelAt(place) != level) {
                ++place;
            }
            if (place == count) {
                return false;
            }
            places_[depth] = place;
        }
        values_[depth] = &tag.ValueAt(place);
    }
    return true;
}

/// The record's tag as far as `depth` levels down.
const ETabulonTag& TreeFillPath::PartOf(const ETabulonTag& tag, std::size_t depth) {
    if (depth == levels_.size() && tag.KnownLevelsCount() == depth) {
        return tag;
    }
    if (part_.KnownLevelsCount() != depth) {
        part_.RemoveAll();
    }
    for (std::size_t place = 0; place < depth; ++place) {
        part_.Slot(levels_[place]) = *values_[place];
    }
    return part_;
}

/// The node's child for the record, made if it isn't there. Null where it can't be found by value.
EDataTreeNode* TreeFillPath::ChildFor(EDataTreeNode& node, const ETabulonTag& tag,
                                      std::size_t depth) {
    EDataTreeNode* child = nullptr;
    if (node.children_ != nullptr) {
        if (!node.children_->IsOnlyOf(levels_[depth])) {
            return nullptr;
        }
        child = node.children_->FindByValue(*values_[depth]);
    }
    if (child == nullptr) {
        child = node.NewChild(PartOf(tag, depth + 1), this);
    }
    return child->byValue_ ? child : nullptr;
}

EDataTreeNode* TreeFillPath::Add(const ETabulonTag& tag) {
    if (!ReadValues(tag) || levels_.empty() || !start_.IsOnPathOf(tag)) {
        return AddIrregular(tag);
    }
    EDataTreeNode* node = Recall();
    bool sameAsLast = node == &start_;
    for (std::size_t depth = node->depth_; depth < levels_.size(); ++depth) {
        EDataTreeNode* child = nodes_[depth];
        if (!sameAsLast || child == nullptr || !(child->value_ == *values_[depth])) {
            sameAsLast = false;
            const unsigned siblings = node->Size();
            child = ChildFor(*node, tag, depth);
            if (child == nullptr) {
                return AddIrregular(tag);
            }
            Meet(*child);
            nodes_[depth] = child;
            if (node->Size() == siblings) {
                Remember(child, depth);  // what was met twice may well be met again
            }
        }
        node = child;
    }
    return node;
}

/// The deepest node known for the record's path, of the two last levels; the start if none is.
EDataTreeNode* TreeFillPath::Recall() {
    if (recalled_.empty()) {
        if (++records_ != kLongWalk || levels_.size() - start_.depth_ < 2) {
            return &start_;
        }
        recalled_.assign(kRecalled, nullptr);
    }
    std::uint32_t hash = 0;
    for (std::size_t depth = start_.depth_; depth < levels_.size(); ++depth) {
        hash = (hash ^ values_[depth]->Hash()) * 0x9E3779B1U;
        hash ^= hash >> 15;
        hashes_[depth] = hash;
    }
    for (std::size_t depth = levels_.size() - 1; depth + 2 >= levels_.size(); --depth) {
        EDataTreeNode* const node = recalled_[hashes_[depth] % kRecalled];
        if (node != nullptr && StandsFor(node, depth)) {
            return node;
        }
        if (depth == start_.depth_) {
            break;
        }
    }
    return &start_;
}

/// The node is the one of the record's path at `depth`; its path is then the last record's.
bool TreeFillPath::StandsFor(EDataTreeNode* node, std::size_t depth) {
    if (node->depth_ != depth + 1 || !(node->value_ == *values_[depth])) {
        return false;
    }
    EDataTreeNode* above = node->parent_;
    for (std::size_t at = depth; at > start_.depth_; --at) {
        if (!(above->value_ == *values_[at - 1])) {
            return false;
        }
        above = above->parent_;
    }
    for (std::size_t at = depth + 1; at > start_.depth_; --at) {
        nodes_[at - 1] = node;
        node = node->parent_;
    }
    return true;
}

void TreeFillPath::Remember(EDataTreeNode* node, std::size_t depth) noexcept {
    if (!recalled_.empty()) {
        recalled_[hashes_[depth] % kRecalled] = node;
    }
}

/// By the general road: for tags with gaps, levels that stand twice, and nodes of other levels.
EDataTreeNode* TreeFillPath::AddIrregular(const ETabulonTag& tag) {
    std::fill(nodes_.begin(), nodes_.end(), nullptr);
    return start_.AddVChild(sort_.RemoveHiddenValues(tag, kInTree), this);
}

}  // namespace etabulon::detail
