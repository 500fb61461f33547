#include "etabulon/tree/EDataTreeNode.h"

#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/detail/ENeverDestroyed.h"
#include "etabulon/tree/EDataTree.h"
#include "tree/NodeExtra.h"
#include "tree/TreeFillPath.h"
#include "tree/TreeKey.h"

#include <new>
#include <typeinfo>
#include <utility>

namespace etabulon {

namespace {

// Every question to the sort description from here is about the tree.
constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

}  // namespace

// ---------------------------------------------------------------------------------------- identity

EDataTreeNode::EDataTreeNode(EDataTreeNode* parent, const ETabulonTag& tag,
                             const ETabulonSortDesc* sortDesc)
    : parent_(parent), depth_(parent != nullptr ? parent->depth_ + 1 : 0) {
    if (parent_ != nullptr) {
        FindOwnValue(tag, *sortDesc);
        return;
    }
    MakeExtra().sortDesc = sortDesc;
    byValue_ = tag.IsRoot();
    if (!byValue_) {
        KeepTag(tag);
    }
}

EDataTreeNode::EDataTreeNode(EDataTreeNode* parent, unsigned level, const ETabulonValue& value,
                             bool isLeaf)
    : parent_(parent),
      depth_(parent->depth_ + 1),
      level_(level),
      byValue_(true),
      isLeaf_(isLeaf ? 1 : 0),
      value_(value) {}

void EDataTreeNode::FindOwnValue(const ETabulonTag& tag, const ETabulonSortDesc& sort) {
    const bool samePath = parent_->SamePathAs(tag);
    const ETabulonValue* own = nullptr;
    if (parent_->byValue_ && tag.KnownLevelsCount() == depth_ &&
        depth_ <= sort.SortLevelCount(kInTree)) {
        level_ = sort.SortLevel(depth_ - 1, kInTree).Level();
        own = tag.Find(level_);
        byValue_ = own != nullptr && !parent_->IsLevelAbove(level_) &&
                   (samePath || parent_->IsOnPathOf(tag));
    }
    if (byValue_) {
        value_ = *own;
    }
    if (!byValue_ || !samePath) {
        KeepTag(tag);
    }
}

void EDataTreeNode::KeepTag(const ETabulonTag& tag) {
    Extra& extra = MakeExtra();
    extra.tag = tag;
    extra.hasTag = true;
    ownsTag_ = true;
}

/// A node goes when its parent drops it, which has told the walks above that nodes are about to go,
/// or as the topmost one: none is left to be told from here, for each node of a branch.
EDataTreeNode::~EDataTreeNode() { DropChildren(); }

const EDataTreeNode& EDataTreeNode::Top() const noexcept {
    const EDataTreeNode* node = this;
    while (node->parent_ != nullptr) {
        node = node->parent_;
    }
    return *node;
}

const ETabulonSortDesc& EDataTreeNode::SortDesc() const noexcept { return *Top().extra_->sortDesc; }

EDataTreeNode::Extra& EDataTreeNode::MakeExtra() const {
    if (extra_ == nullptr) {
        extra_ = std::make_unique<Extra>();
    }
    return *extra_;
}

/// Each of this node's values is in `tag`, and equal. Requires byValue_.
bool EDataTreeNode::IsOnPathOf(const ETabulonTag& tag) const {
    const EDataTreeNode* node = this;
    for (; node->parent_ != nullptr; node = node->parent_) {
        const ETabulonValue* value = tag.Find(node->level_);
        if (!node->byValue_ || value == nullptr || !(*value == node->value_)) {
            return false;
        }
    }
    return node->byValue_;
}

/// This node or one above it stands for `level`. Requires byValue_.
bool EDataTreeNode::IsLevelAbove(unsigned level) const noexcept {
    const EDataTreeNode* node = this;
    while (node->parent_ != nullptr && node->level_ != level) {
        node = node->parent_;
    }
    return node->parent_ != nullptr;
}

/// Each of this node's values is in `tag`, and identical: a child can do without a tag of its own.
bool EDataTreeNode::SamePathAs(const ETabulonTag& tag) const {
    for (const EDataTreeNode* node = this; node->parent_ != nullptr; node = node->parent_) {
        if (node->ownsTag_) {
            const ETabulonTag& own = node->extra_->tag;
            for (unsigned place = 0; place < own.KnownLevelsCount(); ++place) {
                const ETabulonValue* value = tag.Find(own.LevelAt(place));
                if (value == nullptr || !value->IsIdenticalTo(own.ValueAt(place))) {
                    return false;
                }
            }
            return true;
        }
        const ETabulonValue* value = tag.Find(node->level_);
        if (value == nullptr || !value->IsIdenticalTo(node->value_)) {
            return false;
        }
    }
    return true;
}

bool EDataTreeNode::HasTag(const ETabulonTag& tag) const {
    if (byValue_) {
        return tag.KnownLevelsCount() == depth_ && IsOnPathOf(tag);
    }
    return Tag() == tag;
}

const ETabulonTag& EDataTreeNode::Tag() const {
    if (parent_ == nullptr && !ownsTag_) {
        return ETabulonTag::Null;
    }
    Extra& extra = MakeExtra();
    if (!extra.hasTag) {
        ExtractTag(extra.tag);
        extra.hasTag = true;
    }
    return extra.tag;
}

void EDataTreeNode::ExtractTag(ETabulonTag& tag) const {
    if (extra_ != nullptr && extra_->hasTag) {
        tag = extra_->tag;
        return;
    }
    bool sameLevels = tag.KnownLevelsCount() == depth_;
    for (const EDataTreeNode* node = this; sameLevels && node->parent_ != nullptr;
         node = node->parent_) {
        sameLevels = tag.HasValue(node->level_);
    }
    if (!sameLevels) {
        tag.RemoveAll();
    }
    const EDataTreeNode* node = this;
    for (; node->parent_ != nullptr && !node->ownsTag_; node = node->parent_) {
        tag.Slot(node->level_) = node->value_;
    }
    if (node->ownsTag_) {
        const ETabulonTag& above = node->extra_->tag;
        for (unsigned place = 0; place < above.KnownLevelsCount(); ++place) {
            tag.Slot(above.LevelAt(place)) = above.ValueAt(place);
        }
    }
}

const ETabulonValue* EDataTreeNode::OwnValue(const ETabulonSortDesc& sort) const {
    if (parent_ == nullptr || depth_ > sort.SortLevelCount(kInTree)) {
        return nullptr;
    }
    const unsigned level = sort.SortLevel(depth_ - 1, kInTree).Level();
    return byValue_ && level == level_ ? &value_ : Tag().Find(level);
}

ETabulonValue EDataTreeNode::DisplayValue() const {
    const ETabulonValue* value = OwnValue(SortDesc());
    return value != nullptr ? *value : ETabulonValue::Null;
}

HICON EDataTreeNode::Icon() const {
    const ETabulonSortDesc& sort = SortDesc();
    const ETabulonValue* value = OwnValue(sort);
    if (value == nullptr) {
        return nullptr;
    }
    const unsigned level = sort.SortLevel(depth_ - 1, kInTree).Level();
    return sort.AvailableLevels().GetLevel(level).Icon(value->Data());
}

// Deliberate: found out once and kept, also where the levels change later. Changes of levels drop
// the nodes, but the root of an EDataTree only loses its children: asked while all levels were
// hidden it stays a leaf, though it has children afterwards. RootAskedWhileAllIsHiddenStaysALeaf
// holds it.
bool EDataTreeNode::IsTreeLeaf() const {
    if (isLeaf_ < 0) {
        const unsigned levels = byValue_ ? depth_ : Tag().KnownLevelsCount();
        isLeaf_ = levels == SortDesc().SortLevelCount(kInTree) ? 1 : 0;
    }
    return isLeaf_ == 1;
}

// --------------------------------------------------------------------------------------------- key

void EDataTreeNode::SetPrimaryKey(const ETabulonPrimaryKey& key) {
    SettleLate();
    std::int64_t word = 0;
    const detail::TreeKeyForm form = detail::PackKey(key, word);
    if (form == detail::TreeKeyForm::Whole || (extra_ != nullptr && extra_->key != nullptr)) {
        std::unique_ptr<ETabulonPrimaryKey>& whole = MakeExtra().key;
        if (whole == nullptr) {
            whole = std::make_unique<ETabulonPrimaryKey>(key);
            Top().extra_->keepsKeys = true;
        } else {
            *whole = key;  // references to it stay true
        }
    }
    keyWord_ = word;
    keyForm_ = form;
}

const ETabulonPrimaryKey& EDataTreeNode::PrimaryKey() const {
    static const detail::ENeverDestroyed<ETabulonPrimaryKey> none{};
    SettleLate();
    if (extra_ == nullptr || extra_->key == nullptr) {
        if (keyForm_ == detail::TreeKeyForm::None) {
            return none.value;
        }
        auto whole = std::make_unique<ETabulonPrimaryKey>();
        detail::UnpackKey(keyForm_, keyWord_, *whole);
        MakeExtra().key = std::move(whole);
        Top().extra_->keepsKeys = true;
    }
    return *extra_->key;
}

void EDataTreeNode::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    SettleLate();
    if (keyForm_ == detail::TreeKeyForm::Whole) {
        key = *extra_->key;
    } else {
        detail::UnpackKey(keyForm_, keyWord_, key);
    }
}

// ---------------------------------------------------------------------------------------- children

/// Lets a walk that runs file what it holds back: see TreeFillPath.
void EDataTreeNode::SettleLate() const noexcept {
    if (detail::TreeFillPath::IsAnyLate()) {
        if (detail::TreeFillPath* path = Top().extra_->late; path != nullptr) {
            path->SettleForReader();
        }
    }
}

unsigned EDataTreeNode::Size() const noexcept {
    SettleLate();
    return static_cast<unsigned>(children_.Size());
}

std::uint32_t EDataTreeNode::LeafCount() const noexcept {
    SettleLate();
    return leafCount_;
}

const EDataTreeNode* EDataTreeNode::Get(unsigned index) const {
    if (index >= Size()) {
        return nullptr;
    }
    children_.OrderWaiting();
    return children_.At(index);
}

EDataTreeNode* EDataTreeNode::Get(unsigned index) {
    return const_cast<EDataTreeNode*>(static_cast<const EDataTreeNode*>(this)->Get(index));
}

EDataTreeNode* EDataTreeNode::GetDirect(const ETabulonTag& tag) const {
    if (byValue_ && tag.KnownLevelsCount() == depth_ + 1 && children_.HasByValue() &&
        IsOnPathOf(tag)) {
        const ETabulonValue* value = tag.Find(children_.Level());
        EDataTreeNode* child = value != nullptr ? children_.FindByValue(*value) : nullptr;
        if (child != nullptr) {
            return child;
        }
    }
    return children_.FindIrregular(tag);
}

EDataTreeNode* EDataTreeNode::GetByParents(const ETabulonTag& tag) {
    if (HasTag(tag)) {
        return this;
    }
    if (EDataTreeNode* child = GetDirect(tag)) {
        return child;
    }
    if (tag.IsRoot()) {
        return nullptr;
    }
    const ETabulonTag parentTag = SortDesc().GetParentTag(tag, kInTree);
    if (HasTag(parentTag) || parentTag == tag) {
        // It would be a direct child; or a level stands twice, and there is no way up.
        return nullptr;
    }
    EDataTreeNode* parent = GetByParents(parentTag);
    return parent != nullptr ? parent->GetByParents(tag) : nullptr;
}

EDataTreeNode* EDataTreeNode::AllocChild(const ETabulonTag& tag, const ETabulonSortDesc* sortDesc) {
    return new EDataTreeNode(this, tag, sortDesc);
}

EDataTreeNode* EDataTreeNode::AddVChild(const ETabulonTag& tag, detail::TreeFillPath* path) {
    if (tag.IsRoot()) {
        return nullptr;
    }
    if (HasTag(tag)) {
        return this;
    }
    if (EDataTreeNode* child = GetDirect(tag)) {
        if (path != nullptr) {
            path->Meet(*child);
        }
        child->dirty_ = false;
        return child;
    }
    const ETabulonTag parentTag = SortDesc().GetParentTag(tag, kInTree);
    if (!HasTag(parentTag)) {
        // Further down: the nodes between are made from the top. A parent tag that is the tag
        // itself, as levels that stand twice make it, leads nowhere.
        EDataTreeNode* parent = parentTag == tag ? nullptr : AddVChild(parentTag, path);
        return parent != nullptr ? parent->AddVChild(tag, path) : nullptr;
    }
    return NewChild(tag, path);
}

EDataTreeNode* EDataTreeNode::NewChild(const ETabulonTag& tag, detail::TreeFillPath* path) {
    const ETabulonSortDesc& sort = path != nullptr ? path->Sort() : SortDesc();
    auto child = ERef<EDataTreeNode>::Adopt(AllocChild(tag, &sort));
    if (child->byValue_ && children_.HasByValue() && children_.Level() != child->level_) {
        // Levels changed under a tree that wasn't emptied, and siblings are told apart by one level
        // only.
        child->KeepTag(tag);
        child->byValue_ = false;
    }
    EDataTreeNode* const taken = TakeChild(child.Get(), path);
    static_cast<void>(child.Detach());  // the entry's reference
    return taken;
}

EDataTreeNode* EDataTreeNode::NewChild(unsigned level, const ETabulonValue& value, bool isLeaf,
                                       detail::TreeFillPath* path) {
    auto child = ERef<EDataTreeNode>::Adopt(new EDataTreeNode(this, level, value, isLeaf));
    EDataTreeNode* const taken = TakeChild(child.Get(), path);
    static_cast<void>(child.Detach());  // the entry's reference
    return taken;
}

EDataTreeNode* EDataTreeNode::TakeChild(EDataTreeNode* child, detail::TreeFillPath* path) {
    const bool isLeaf = child->IsTreeLeaf();
    if (path != nullptr && !children_.IsEmpty() && !children_.HasWaiting()) {
        path->Touch(*this);
    }
    children_.Add(*this, child);
    if (isLeaf) {
        IncLeafCount(1);
    }
    return child;
}

/// AllocChild isn't overridden.
bool EDataTreeNode::MakesPlainNodes() const noexcept {
    return typeid(*this) == typeid(EDataTreeNode) || typeid(*this) == typeid(EDataTreeNodeRoot);
}

void EDataTreeNode::IncLeafCount(std::int32_t delta) noexcept {
    for (EDataTreeNode* node = this; node != nullptr; node = node->parent_) {
        node->leafCount_ += static_cast<std::uint32_t>(delta);
    }
}

void EDataTreeNode::Reset() {
    SettleLate();
    if (children_.IsEmpty()) {
        return;
    }
    ForgetPaths();
    DropChildren();
}

void EDataTreeNode::DropChildren() noexcept {
    if (children_.IsEmpty()) {
        return;
    }
    const detail::TreeChildren children(std::move(children_));
    for (std::size_t index = 0; index < children.Size(); ++index) {
        Drop(children.At(index));
    }
}

/// Gives back the reference of an entry that is out of the children. The child brings the counts
/// down by its own leaves as it goes, through its parent link.
void EDataTreeNode::Drop(EDataTreeNode* child) noexcept {
    if (child->IsTreeLeaf()) {
        IncLeafCount(-1);
    }
    if (child->Release() != 0) {
        child->Orphan();
    }
}

/// Somebody holds on to a node that its parent dropped: a refresh that runs here, for one. It goes
/// on as a root of its own and leaves the tree it was in alone.
void EDataTreeNode::Orphan() noexcept {
    try {
        static_cast<void>(Tag());
        Extra& extra = MakeExtra();
        extra.sortDesc = &SortDesc();
        extra.keepsKeys = Top().extra_->keepsKeys;
        ownsTag_ = true;
        byValue_ = false;
        if (extra.path != nullptr) {
            extra.path->Forget();
        }
        parent_->IncLeafCount(-static_cast<std::int32_t>(leafCount_));
        parent_ = nullptr;
    } catch (const std::bad_alloc&) {
        Reset();  // without children it doesn't look for its parent any more
    }
}

/// Tells refreshes that run at this node or above that nodes are about to go.
void EDataTreeNode::ForgetPaths() noexcept {
    for (EDataTreeNode* node = this; node != nullptr; node = node->parent_) {
        if (node->extra_ != nullptr && node->extra_->path != nullptr) {
            node->extra_->path->Forget();
        }
    }
}

}  // namespace etabulon
