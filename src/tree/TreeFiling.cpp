#include "tree/TreeFiling.h"

#include "tree/TreeFileTag.h"

#include <algorithm>
#include <new>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

// After this many lookups a level uses the cache only while more than one in eight finds a node.
constexpr std::uint32_t kTrial = 256;

}  // namespace

TreeFiling::TreeFiling(EDataTreeNode& start)
    : TreeWalk(start),
      sort_(NodeAccess::SortDesc(start)),
      held_(sort_, marks_, cache_),
      leaves_(sort_, marks_),
      newLeaves_(sort_) {
    NodeAccess::Walks(start_).Enter(*this);
}

TreeFiling::~TreeFiling() {
    Forget();
    NodeAccess::Walks(start_).Leave(*this);
}

void TreeFiling::ForgetRecord() noexcept {
    for (PathLevel& at : path_) {
        at.node = nullptr;
    }
}

void TreeFiling::Forget() noexcept {
    FlushForReader();
    ForgetRecord();
    cache_.Clear();
    orderStamp_ = 0;
    ++forgotten_;
    marks_.OrderNewChildren();
}

// --------------------------------------------------------------------------------------------- tag

/// Each level is shown once, and the start node and its ancestors stand for the first of them.
/// Neither holds after every change of levels that didn't empty the tree.
bool TreeFiling::AreLevelsRegular() const {
    std::vector<unsigned int> sorted;
    for (const PathLevel& at : path_) {
        sorted.push_back(at.level);
    }
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end() ||
        std::any_of(sorted.begin(), sorted.end(), [this](unsigned int level) {
            return sort_.IsHiddenSortLevel(level, kInTree);  // by another key of the level
        })) {
        return false;
    }
    if (!NodeAccess::IsByValue(start_) || start_.Depth() > path_.size()) {
        return false;
    }
    const EDataTreeNode* node = &start_;
    while (node->Parent() != nullptr &&
           NodeAccess::Level(*node) == path_[node->Depth() - 1].level) {
        node = node->Parent();
    }
    return node->Parent() == nullptr;
}

void TreeFiling::ReadLevels() {
    FileHeld();  // by the levels that were shown when those records came
    path_.clear();
    for (const unsigned int level : sort_.VisibleLevels(kInTree)) {
        path_.emplace_back(level);
    }
    cache_.WriteKeys();
    cache_.Clear();
    FlushLeaves();
    ForgetLeaves();
    areLevelsRegular_ = AreLevelsRegular();
    orderStamp_ = sort_.OrderStamp();
}

/// Finds the record's value for each level shown. False if the record lacks one of them.
bool TreeFiling::ReadValues(const ETabulonTag& tag) {
    if (orderStamp_ != sort_.OrderStamp()) {
        ReadLevels();
    }
    if (!areLevelsRegular_) {
        return false;
    }
    for (PathLevel& at : path_) {
        at.value = tag.Find(at.level, at.index);
        if (at.value == nullptr) {
            return false;
        }
    }
    return true;
}

/// The record's tag as far as `depth` levels down.
const ETabulonTag& TreeFiling::PartOf(const ETabulonTag& tag, std::size_t depth) {
    if (depth == path_.size() && tag.KnownLevelsCount() == depth) {
        return tag;
    }
    ETabulonTag& part = path_[depth - 1].part;
    for (std::size_t at = 0; at < depth; ++at) {
        part.Slot(path_[at].level) = *path_[at].value;
    }
    return part;
}

// ------------------------------------------------------------------------------------------ record

void TreeFiling::Prefetch(const ETabulonTag& tag) {
    isRegularRecord_ = ReadValues(tag) && !path_.empty() && NodeAccess::IsOnPathOf(start_, tag);
    if (!isRegularRecord_) {
        return;
    }
    shared_ = start_.Depth();
    while (shared_ < path_.size() && HasLastNode(shared_)) {
        ++shared_;
    }
    PrefetchEntries(shared_);
}

void TreeFiling::File(const ETabulonTag& tag, const ETabulonPrimaryKey& key) {
    if (outOfMemory_) {
        throw std::bad_alloc();
    }
    if (orderStamp_ == 0) {
        Prefetch(tag);  // nodes were dropped since
    }
    FlushLeaves();  // those records came before
    newLeaves_.Clear();
    TreeKeyWord packed;
    packed.form = PackKey(key, packed.word);
    const bool isPlain = packed.form != TreeKeyForm::Whole && !NodeAccess::KeepsKeys(start_);
    EDataTreeNode* const node =
        isRegularRecord_ ? AddRegular(tag, isPlain ? &packed : nullptr) : AddIrregular(tag);
    if (node == nullptr) {
        return;
    }
    if (isPlain && isRegularRecord_ && path_.back().slot != TreeChildCache::kNoSlot) {
        cache_.KeepKey(path_.back().slot, packed);
        return;
    }
    if (!isPlain || !isRegularRecord_ || !path_.back().usesCache || !path_.back().isOwnValue) {
        cache_.WriteKeys();  // it may hold an older key of the same node
    }
    if (isPlain) {
        NodeAccess::SetKeyWord(*node, packed);
    } else {
        node->SetPrimaryKey(key);
    }
}

/// The record's node. Null for a record that is held back with its `key`; null for the key says
/// that it can't be.
EDataTreeNode* TreeFiling::AddRegular(const ETabulonTag& tag, const TreeKeyWord* key) {
    EDataTreeNode* node = shared_ == start_.Depth() ? &start_ : path_[shared_ - 1].node;
    for (std::size_t depth = shared_; depth < path_.size(); ++depth) {
        if (depth + 1 == path_.size()) {
            if (key != nullptr && CanHoldBack(tag)) {
                Hold(*node, *path_[depth].value, *key);
                return nullptr;
            }
            FileHeld();  // those records came before
        }
        node = Step(*node, tag, depth);
        if (node == nullptr) {
            return AddIrregular(tag);
        }
        if (!path_[depth].isOwnValue) {
            PrefetchEntries(depth + 1);  // the keys below hash the node's spelling
        }
        marks_.Meet(*node);
        path_[depth].node = node;
    }
    return node;
}

EDataTreeNode* TreeFiling::AddIrregular(const ETabulonTag& tag) {
    Flush();
    ForgetRecord();
    isRegularRecord_ = false;  // also where only a node on the way is irregular
    return FileByParents(start_, sort_.RemoveHiddenValues(tag, kInTree), sort_, &marks_);
}

/// A level where nearly every record has a new node, such as the level of the records themselves,
/// isn't worth an entry for each.
bool TreeFiling::IsWorthCaching(const PathLevel& at) const noexcept {
    return at.lookups < kTrial || at.known > at.lookups / 8;
}

/// Makes the keys from `depth` on, and prefetches their entries. A child has one key for the whole
/// walk: with two it could have two entries, each with a primary key to be written, and the older
/// one might be written last. The hash therefore reads the nodes' own spellings, and includes the
/// levels that don't use the cache.
void TreeFiling::PrefetchEntries(std::size_t depth) {
    for (; depth < path_.size(); ++depth) {
        PathLevel& at = path_[depth];
        at.usesCache = IsWorthCaching(at);
        if (at.usesCache || depth + 1 < path_.size()) {
            at.key = TreeChildCache::Key(HashAbove(depth), *at.value);
        }
        if (at.usesCache) {
            cache_.Prefetch(at.key);
        }
    }
}

std::uint32_t TreeFiling::HashAbove(std::size_t depth) const noexcept {
    return depth > start_.Depth() ? path_[depth - 1].key.Hash() : 0;
}

/// The node of the last record is this record's too.
bool TreeFiling::HasLastNode(std::size_t depth) {
    PathLevel& at = path_[depth];
    const EDataTreeNode* node = at.node;
    if (node == nullptr || !(NodeAccess::Value(*node) == *at.value)) {
        return false;
    }
    at.isIdentical = IsIdenticalAbove(depth) && !NodeAccess::OwnsTag(*node) &&
                     NodeAccess::Value(*node).IsIdenticalTo(*at.value);
    return true;
}

/// The child for the record, made if it isn't there. Null where it can't be found by value.
EDataTreeNode* TreeFiling::Step(EDataTreeNode& node, const ETabulonTag& tag, std::size_t depth) {
    PathLevel& at = path_[depth];
    const ETabulonValue& value = *at.value;
    const bool isIdenticalAbove = IsIdenticalAbove(depth);
    ++at.lookups;
    at.slot = TreeChildCache::kNoSlot;
    at.isOwnValue = true;
    if (at.usesCache) {
        if (const TreeChildCache::Hit hit = cache_.Find(node, at.key); hit.child != nullptr) {
            ++at.known;
            at.slot = hit.slot;
            at.isIdentical = isIdenticalAbove && hit.isPlain && value.IsPlain();
            return hit.child;
        }
    }
    const TreeChildren& children = NodeAccess::Children(node);
    if (!children.IsOnlyOf(at.level)) {
        return nullptr;
    }
    EDataTreeNode* child = children.FindByValue(value);
    const bool isNew = child == nullptr;
    if (isNew) {
        child = AddChild(node, tag, depth);
    }
    at.isOwnValue = NodeAccess::Value(*child).IsIdenticalTo(value);
    at.isIdentical = isIdenticalAbove && at.isOwnValue && !NodeAccess::OwnsTag(*child);
    if (!at.isOwnValue) {
        at.key = TreeChildCache::Key(HashAbove(depth), NodeAccess::Value(*child));
    }
    if (isNew) {
        return NodeAccess::IsByValue(*child) ? child : nullptr;
    }
    ++at.known;
    if (at.isOwnValue && at.usesCache) {
        // A second record has come to it: more may follow.
        cache_.Put(node, at.key, child, value.IsPlain() && !NodeAccess::OwnsTag(*child));
    }
    return child;
}

/// From below the start to the node above, the path is identical to the record's.
bool TreeFiling::IsIdenticalAbove(std::size_t depth) const {
    return depth == start_.Depth() || path_[depth - 1].isIdentical;
}

EDataTreeNode* TreeFiling::AddChild(EDataTreeNode& node, const ETabulonTag& tag,
                                    std::size_t depth) {
    const PathLevel& at = path_[depth];
    if (IsIdenticalAbove(depth) && NodeAccess::SamePathAs(start_, tag) &&
        NodeAccess::MakesPlainNodes(node)) {
        const bool isLeaf = depth + 1 == path_.size();
        return marks_.Take(node, NodeAccess::MakeChild(node, at.level, *at.value, isLeaf));
    }
    return marks_.Take(node, NodeAccess::MakeChild(node, PartOf(tag, depth + 1), sort_));
}

// ------------------------------------------------------------------------------------------ blocks

bool TreeFiling::CanFileBlocks() {
    if (orderStamp_ != sort_.OrderStamp()) {
        ReadLevels();
    }
    return areLevelsRegular_ && !path_.empty() && NodeAccess::MakesPlainNodes(start_);
}

EDataTreeNode* TreeFiling::Step(EDataTreeNode& parent, std::size_t depth,
                                const ETabulonValue& value, bool mayMake) {
    const unsigned int level = path_[depth].level;
    const TreeChildren& children = NodeAccess::Children(parent);
    if (!children.IsOnlyOf(level)) {
        return nullptr;
    }
    EDataTreeNode* child = children.FindByValue(value);
    if (child == nullptr && mayMake) {
        const bool isLeaf = depth + 1 == path_.size();
        child = leaves_.MakeNode(parent, level, value, isLeaf);
    }
    if (child != nullptr) {
        marks_.Meet(*child);
    }
    return child;
}

EDataTreeNode* TreeFiling::Add(const ETabulonTag& tag) {
    Prefetch(tag);
    return isRegularRecord_ ? AddRegular(tag, nullptr) : AddIrregular(tag);
}

// ------------------------------------------------------------------------------------ holding back

/// Most records have a leaf of their own, and this record's leaf needs no tag of its own.
bool TreeFiling::CanHoldBack(const ETabulonTag& tag) const {
    const std::size_t depth = path_.size() - 1;
    return !IsWorthCaching(path_[depth]) && IsIdenticalAbove(depth) &&
           NodeAccess::SamePathAs(start_, tag);
}

void TreeFiling::Hold(EDataTreeNode& parent, const ETabulonValue& value, TreeKeyWord key) {
    if (held_.IsFull()) {
        FileHeld();
    }
    PathLevel& last = path_.back();
    held_.Hold(parent, last.level, value, key);
    last.node = nullptr;
    ++last.lookups;
}

void TreeFiling::FileHeld() {
    if (held_.IsEmpty()) {
        return;
    }
    try {
        path_.back().known += static_cast<std::uint32_t>(held_.File());
    } catch (...) {
        cache_.WriteKeys();
        throw;
    }
}

void TreeFiling::FlushRecords() {
    if (outOfMemory_) {
        throw std::bad_alloc();
    }
    FileHeld();
    cache_.WriteKeys();
}

/// At most one of the two has something to write.
void TreeFiling::FlushLeaves() {
    leafKeys_.Write();
    newLeaves_.Flush();
}

void TreeFiling::ForgetLeaves() noexcept {
    leafKeys_.Clear();
    newLeaves_.Clear();
}

/// Either single records wait or leaves of blocks do: File flushes the latter before it begins.
void TreeFiling::Flush() {
    FlushRecords();
    FlushLeaves();
}

void TreeFiling::FlushForReader() noexcept {
    if (!outOfMemory_ &&
        (!held_.IsEmpty() || cache_.HasKeys() || leafKeys_.HasKeys() || !newLeaves_.IsEmpty())) {
        try {
            Flush();
        } catch (...) {
            outOfMemory_ = true;
        }
    }
    ForgetLeaves();  // the reader may sort children in
}

}  // namespace etabulon::detail
