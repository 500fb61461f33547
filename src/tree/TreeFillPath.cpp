#include "tree/TreeFillPath.h"

#include "tree/NodeExtra.h"
#include "tree/TreeKey.h"

#include <algorithm>
#include <new>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

constexpr std::uint32_t kTrial = 256;  // records after which a level is judged

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

void TreeFillPath::ForgetRecord() noexcept {
    for (Rung& rung : rungs_) {
        rung.node = nullptr;
    }
}

void TreeFillPath::Forget() noexcept {
    SettleForReader();
    ForgetRecord();
    cache_.Clear();
    orderStamp_ = 0;
    std::vector<ERef<EDataTreeNode>> touched;
    touched.swap(touched_);
    for (const ERef<EDataTreeNode>& node : touched) {
        try {
            node->children_.OrderWaiting();
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
    std::vector<unsigned> sorted;
    for (const Rung& rung : rungs_) {
        sorted.push_back(rung.level);
    }
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end() ||
        std::any_of(sorted.begin(), sorted.end(), [this](unsigned level) {
            return sort_.IsHiddenSortLevel(level, kInTree);  // by another key of the level
        })) {
        return false;
    }
    if (!start_.byValue_ || start_.depth_ > rungs_.size()) {
        return false;
    }
    const EDataTreeNode* node = &start_;
    while (node->parent_ != nullptr && node->level_ == rungs_[node->depth_ - 1].level) {
        node = node->parent_;
    }
    return node->parent_ == nullptr;
}

void TreeFillPath::ReadLevels() {
    rungs_.clear();
    for (const unsigned level : sort_.VisibleLevels(kInTree)) {
        rungs_.emplace_back(level);
    }
    cache_.Clear();
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
    for (Rung& rung : rungs_) {
        if (rung.place >= count || tag.LevelAt(rung.place) != rung.level) {
            unsigned place = 0;
            while (place < count && tag.LevelAt(place) != rung.level) {
                ++place;
            }
            if (place == count) {
                return false;
            }
            rung.place = place;
        }
        rung.value = &tag.ValueAt(rung.place);
    }
    return true;
}

/// The record's tag as far as `depth` levels down.
const ETabulonTag& TreeFillPath::PartOf(const ETabulonTag& tag, std::size_t depth) {
    if (depth == rungs_.size() && tag.KnownLevelsCount() == depth) {
        return tag;
    }
    ETabulonTag& part = rungs_[depth - 1].part;
    for (std::size_t place = 0; place < depth; ++place) {
        part.Slot(rungs_[place].level) = *rungs_[place].value;
    }
    return part;
}

void TreeFillPath::File(const ETabulonTag& tag, const ETabulonPrimaryKey& key) {
    if (isShort_) {
        throw std::bad_alloc();
    }
    if (orderStamp_ == 0) {
        Look(tag);  // nodes went since
    }
    TreeKeyWord packed;
    packed.form = PackKey(key, packed.word);
    const bool isPlain = packed.form != TreeKeyForm::Whole && !start_.Top().extra_->keepsKeys;
    EDataTreeNode* const node = Add(tag, isPlain ? &packed : nullptr);
    if (node == nullptr) {
        return;
    }
    if (isPlain && isStraightRecord_ && rungs_.back().entry != TreeChildCache::kNoSlot) {
        BecomeLate();
        cache_.KeepKey(rungs_.back().entry, packed);
        return;
    }
    if (!isPlain || !isStraightRecord_ || !rungs_.back().isSought || !rungs_.back().isOwnValue) {
        cache_.WriteKeys();  // an older one of the same node may be among them
    }
    if (isPlain) {
        node->keyWord_ = packed.word;
        node->keyForm_ = packed.form;
    } else {
        node->SetPrimaryKey(key);
    }
}

void TreeFillPath::Look(const ETabulonTag& tag) {
    isStraightRecord_ = ReadValues(tag) && !rungs_.empty() && start_.IsOnPathOf(tag);
    if (!isStraightRecord_) {
        return;
    }
    same_ = start_.depth_;
    while (same_ < rungs_.size() && StandsStill(same_)) {
        ++same_;
    }
    LookAhead(same_);
}

/// The record's node; null for one that has only hidden values, or that waits with its `key`.
EDataTreeNode* TreeFillPath::Add(const ETabulonTag& tag, const TreeKeyWord* key) {
    if (!isStraightRecord_) {
        return AddIrregular(tag);
    }
    EDataTreeNode* node = same_ == start_.depth_ ? &start_ : rungs_[same_ - 1].node;
    for (std::size_t depth = same_; depth < rungs_.size(); ++depth) {
        if (depth + 1 == rungs_.size()) {
            if (key != nullptr && MayWait(tag)) {
                HoldBack(*node, *rungs_[depth].value, *key);
                return nullptr;
            }
            if (!late_.empty()) {
                SettleRecords();  // what is held back came before
            }
        }
        node = Step(*node, tag, depth);
        if (node == nullptr) {
            return AddIrregular(tag);
        }
        if (!rungs_[depth].isOwnValue) {
            LookAhead(depth + 1);  // children are known below the node's spelling, not the record's
        }
        Meet(*node);
        rungs_[depth].node = node;
    }
    return node;
}

/// A level where most records are new, as that of the records themselves, isn't worth remembering.
bool TreeFillPath::IsRemembered(const Rung& rung) const noexcept {
    return rung.steps < kTrial || rung.known > rung.steps / 8;
}

/// A child must have one hash for the whole walk: with two, it would have two entries in the cache,
/// each with a key that waits, and the older one might be written last. So the hash goes by the
/// nodes' own spellings, and includes the levels that aren't sought in the cache.
void TreeFillPath::LookAhead(std::size_t depth) {
    for (; depth < rungs_.size(); ++depth) {
        Rung& rung = rungs_[depth];
        rung.isSought = IsRemembered(rung);
        if (rung.isSought || depth + 1 < rungs_.size()) {
            rung.key = TreeChildCache::Key(HashAbove(depth), *rung.value);
        }
        if (rung.isSought) {
            cache_.Prefetch(rung.key);
        }
    }
}

std::uint32_t TreeFillPath::HashAbove(std::size_t depth) const noexcept {
    return depth > start_.depth_ ? rungs_[depth - 1].key.Hash() : 0;
}

/// The node of the last record is this one's too.
bool TreeFillPath::StandsStill(std::size_t depth) {
    Rung& rung = rungs_[depth];
    const EDataTreeNode* node = rung.node;
    if (node == nullptr || !(node->value_ == *rung.value)) {
        return false;
    }
    rung.isIdentical =
        IsIdenticalAbove(depth) && !node->ownsTag_ && node->value_.IsIdenticalTo(*rung.value);
    return true;
}

/// The child for the record, made if it isn't there. Null where it can't be found by value.
EDataTreeNode* TreeFillPath::Step(EDataTreeNode& node, const ETabulonTag& tag, std::size_t depth) {
    Rung& rung = rungs_[depth];
    const ETabulonValue& value = *rung.value;
    const bool isIdenticalAbove = IsIdenticalAbove(depth);
    ++rung.steps;
    rung.entry = TreeChildCache::kNoSlot;
    rung.isOwnValue = true;
    if (rung.isSought) {
        if (const TreeChildCache::Hit hit = cache_.Find(node, rung.key); hit.child != nullptr) {
            ++rung.known;
            rung.entry = hit.slot;
            rung.isIdentical = isIdenticalAbove && hit.isPlain && value.IsPlain();
            return hit.child;
        }
    }
    if (!node.children_.IsOnlyOf(rung.level)) {
        return nullptr;
    }
    EDataTreeNode* child = node.children_.FindByValue(value);
    bool isNew = false;
    if (child == nullptr) {
        child = MakeChild(node, tag, depth);
        isNew = true;
    }
    rung.isOwnValue = child->value_.IsIdenticalTo(value);
    rung.isIdentical = isIdenticalAbove && rung.isOwnValue && !child->ownsTag_;
    if (!rung.isOwnValue) {
        rung.key = TreeChildCache::Key(HashAbove(depth), child->value_);
    }
    if (isNew) {
        return child->byValue_ ? child : nullptr;
    }
    ++rung.known;
    if (rung.isOwnValue && rung.isSought) {
        // It may well be met once more.
        cache_.Put(node, rung.key, child, value.IsPlain() && !child->ownsTag_);
    }
    return child;
}

/// From below the start to the node above, the path is the record's to the letter.
bool TreeFillPath::IsIdenticalAbove(std::size_t depth) const {
    return depth == start_.depth_ || rungs_[depth - 1].isIdentical;
}

EDataTreeNode* TreeFillPath::MakeChild(EDataTreeNode& node, const ETabulonTag& tag,
                                       std::size_t depth) {
    const Rung& rung = rungs_[depth];
    if (IsIdenticalAbove(depth) && start_.SamePathAs(tag) && node.MakesPlainNodes()) {
        return node.NewChild(rung.level, *rung.value, depth + 1 == rungs_.size(), this);
    }
    return node.NewChild(PartOf(tag, depth + 1), this);
}

// ---------------------------------------------------------------------------------------- lateness
//
// Where each record has a leaf of its own, most of a fill would be waiting for memory: for the
// parent, for its list of children, for the end of that list. Such records are therefore held back,
// a few at a time, while what they need is on its way. Whoever looks at the tree in between has
// them filed first.

std::atomic<int> TreeFillPath::lateWalks_{0};

bool TreeFillPath::MayWait(const ETabulonTag& tag) const {
    const std::size_t depth = rungs_.size() - 1;
    return !IsRemembered(rungs_[depth]) && IsIdenticalAbove(depth) && start_.SamePathAs(tag);
}

void TreeFillPath::HoldBack(EDataTreeNode& parent, const ETabulonValue& value, TreeKeyWord key) {
    if (late_.size() == kMostLate) {
        SettleRecords();
    }
    late_.reserve(kMostLate);
    BecomeLate();
    __builtin_prefetch(&parent);
    late_.push_back({&parent, value, key});
    rungs_.back().node = nullptr;
    ++rungs_.back().steps;
}

void TreeFillPath::Settle() {
    if (isShort_) {
        throw std::bad_alloc();
    }
    SettleRecords();
    cache_.WriteKeys();
    DropLate();
}

void TreeFillPath::SettleRecords() {
    for (const Late& late : late_) {
        late.parent->children_.PrefetchList();
    }
    for (const Late& late : late_) {
        late.parent->children_.PrefetchListEnd();
    }
    while (filed_ < late_.size()) {
        // One by one: making a node may be foreign code, which may look at the tree.
        const std::size_t next = filed_++;
        try {
            FileLate(late_[next]);
        } catch (...) {
            cache_.WriteKeys();
            DropLate();
            throw;
        }
    }
    late_.clear();
    filed_ = 0;
}

void TreeFillPath::BecomeLate() noexcept {
    if (!isLate_) {
        isLate_ = true;
        start_.Top().extra_->late = this;
        ++lateWalks_;
    }
}

void TreeFillPath::SettleForReader() noexcept {
    try {
        Settle();
    } catch (...) {
        isShort_ = true;
    }
}

void TreeFillPath::DropLate() noexcept {
    if (isLate_) {
        isLate_ = false;
        start_.Top().extra_->late = nullptr;
        --lateWalks_;
    }
    late_.clear();
    filed_ = 0;
}

void TreeFillPath::FileLate(const Late& late) {
    const TreeKeyWord key = late.key;  // a look at the tree below may end what `late` is part of
    const Rung& rung = rungs_.back();
    EDataTreeNode& parent = *late.parent;
    EDataTreeNode* node = nullptr;
    if (parent.children_.IsOnlyOf(rung.level)) {
        node = parent.children_.FindByValue(late.value);
        if (node == nullptr && parent.MakesPlainNodes()) {
            node = parent.NewChild(rung.level, late.value, /*isLeaf=*/true, this);
        } else if (node != nullptr) {
            ++rungs_.back().known;
        }
    }
    if (node == nullptr) {
        ETabulonTag tag;
        parent.ExtractTag(tag);
        tag.Slot(rung.level) = late.value;
        node = parent.AddVChild(tag, this);
    }
    Meet(*node);
    cache_.WriteKeys();  // an older one of the same node may be among them
    node->keyWord_ = key.word;
    node->keyForm_ = key.form;
}

/// By the general road: for tags with gaps, levels that stand twice, and nodes of other levels.
EDataTreeNode* TreeFillPath::AddIrregular(const ETabulonTag& tag) {
    Settle();
    ForgetRecord();
    isStraightRecord_ = false;  // also where only a node on the way isn't: no rung has this record
    return start_.AddVChild(sort_.RemoveHiddenValues(tag, kInTree), this);
}

}  // namespace etabulon::detail
