#include "etabulon/tree/EDataTreeNode.h"

#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/detail/ENeverDestroyed.h"
#include "etabulon/tree/EDataTree.h"
#include "tree/NodeAccess.h"
#include "tree/NodeExtra.h"
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

EDataTreeNode::EDataTreeNode(EDataTreeNode* parent, unsigned int level, const ETabulonValue& value,
                             bool isLeaf)
    : parent_(parent),
      depth_(parent->depth_ + 1),
      level_(level),
      byValue_(true),
      isLeaf_(isLeaf ? 1 : 0),
      value_(value) {}

void EDataTreeNode::FindOwnValue(const ETabulonTag& tag, const ETabulonSortDesc& sort) {
    const bool samePath = parent_->SamePathAs(tag);
    if (parent_->byValue_ && tag.KnownLevelsCount() == depth_ &&
        depth_ <= sort.SortLevelCount(kInTree)) {
        level_ = sort.SortLevel(depth_ - 1, kInTree).Level();
        const ETabulonValue* const own = tag.Find(level_);
        if (own != nullptr && !parent_->IsLevelAbove(level_) &&
            (samePath || parent_->IsOnPathOf(tag))) {
            byValue_ = true;
            value_ = *own;
        }
    }
    if (!byValue_ || !samePath) {
        KeepTag(tag);
    }
}

void EDataTreeNode::KeepTag(const ETabulonTag& tag) {
    detail::NodeExtra& extra = MakeExtra();
    extra.tag = tag;
    extra.hasTag = true;
    ownsTag_ = true;
}

/// Tells no walk that its nodes go: the parent that drops the node has done so. When the topmost
/// node goes, a walk in a branch holds a reference to its start, which becomes a root of its own.
EDataTreeNode::~EDataTreeNode() { DropChildren(); }

const EDataTreeNode& EDataTreeNode::Top() const noexcept {
    const EDataTreeNode* node = this;
    while (node->parent_ != nullptr) {
        node = node->parent_;
    }
    return *node;
}

const ETabulonSortDesc& EDataTreeNode::SortDesc() const noexcept { return *Top().extra_->sortDesc; }

detail::NodeExtra& EDataTreeNode::MakeExtra() const {
    if (extra_ == nullptr) {
        extra_ = std::make_unique<detail::NodeExtra>();
    }
    return *extra_;
}

/// The walks of the tree that this node stands in. Null in a dropped node for which memory ran out:
/// see Orphan.
detail::TreeWalks* EDataTreeNode::Walks() const noexcept {
    const EDataTreeNode& top = Top();
    return top.extra_ != nullptr ? &top.extra_->walks : nullptr;
}

/// Before a caller reads or changes the tree: a walk that runs in it files what it holds back.
void EDataTreeNode::FlushWalks() const noexcept {
    if (detail::TreeWalks::IsAnyRunning()) {
        if (const detail::TreeWalks* const walks = Walks(); walks != nullptr) {
            walks->FlushForReader();
        }
    }
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
bool EDataTreeNode::IsLevelAbove(unsigned int level) const noexcept {
    const EDataTreeNode* node = this;
    while (node->parent_ != nullptr && node->level_ != level) {
        node = node->parent_;
    }
    return node->parent_ != nullptr;
}

/// Each of this node's values is in `tag`, and identical, so that a child needs no tag of its own.
bool EDataTreeNode::SamePathAs(const ETabulonTag& tag) const {
    for (const EDataTreeNode* node = this; node->parent_ != nullptr; node = node->parent_) {
        if (node->ownsTag_) {
            const ETabulonTag& own = node->extra_->tag;
            for (unsigned int index = 0; index < own.KnownLevelsCount(); ++index) {
                const ETabulonValue* value = tag.Find(own.LevelAt(index));
                if (value == nullptr || !value->IsIdenticalTo(own.ValueAt(index))) {
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
    detail::NodeExtra& extra = MakeExtra();
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
        for (unsigned int index = 0; index < above.KnownLevelsCount(); ++index) {
            tag.Slot(above.LevelAt(index)) = above.ValueAt(index);
        }
    }
}

const ETabulonValue* EDataTreeNode::OwnValue(const ETabulonSortDesc& sort) const {
    if (parent_ == nullptr || depth_ > sort.SortLevelCount(kInTree)) {
        return nullptr;
    }
    const unsigned int level = sort.SortLevel(depth_ - 1, kInTree).Level();
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
    const unsigned int level = sort.SortLevel(depth_ - 1, kInTree).Level();
    return sort.AvailableLevels().GetLevel(level).Icon(value->Data());
}

// Deliberate: the first answer is kept, also where the levels change later. Changes of levels drop
// the nodes, but the root of an EDataTree only loses its children: a root that is asked while all
// levels are hidden stays a leaf, though it gets children afterwards.
// RootAskedWhileAllIsHiddenStaysALeaf holds it.
bool EDataTreeNode::IsTreeLeaf() const {
    if (isLeaf_ < 0) {
        const unsigned int levels = byValue_ ? depth_ : Tag().KnownLevelsCount();
        isLeaf_ = levels == SortDesc().SortLevelCount(kInTree) ? 1 : 0;
    }
    return isLeaf_ == 1;
}

// --------------------------------------------------------------------------------------------- key

void EDataTreeNode::SetPrimaryKey(const ETabulonPrimaryKey& key) {
    FlushWalks();
    KeepKey(key);
}

void EDataTreeNode::KeepKey(const ETabulonPrimaryKey& key) {
    std::int64_t word = 0;
    const detail::TreeKeyForm form = detail::PackKey(key, word);
    if (form == detail::TreeKeyForm::Whole || (extra_ != nullptr && extra_->key != nullptr)) {
        std::unique_ptr<ETabulonPrimaryKey>& whole = MakeExtra().key;
        if (whole == nullptr) {
            whole = std::make_unique<ETabulonPrimaryKey>(key);
            Top().extra_->keepsKeys = true;
        } else {
            *whole = key;  // references to it stay valid
        }
    }
    keyWord_ = word;
    keyForm_ = form;
}

const ETabulonPrimaryKey& EDataTreeNode::PrimaryKey() const {
    static const detail::ENeverDestroyed<ETabulonPrimaryKey> none{};
    FlushWalks();
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
    FlushWalks();
    if (keyForm_ == detail::TreeKeyForm::Whole) {
        key = *extra_->key;
    } else {
        detail::UnpackKey(keyForm_, keyWord_, key);
    }
}

// ---------------------------------------------------------------------------------------- children

unsigned int EDataTreeNode::Size() const noexcept {
    FlushWalks();
    return static_cast<unsigned int>(children_.Size());
}

std::uint32_t EDataTreeNode::LeafCount() const noexcept {
    FlushWalks();
    return leafCount_;
}

const EDataTreeNode* EDataTreeNode::Get(unsigned int index) const {
    if (index >= Size()) {
        return nullptr;
    }
    children_.OrderWaiting();
    return children_.At(index);
}

EDataTreeNode* EDataTreeNode::Get(unsigned int index) {
    return const_cast<EDataTreeNode*>(static_cast<const EDataTreeNode*>(this)->Get(index));
}

EDataTreeNode* EDataTreeNode::AllocChild(const ETabulonTag& tag, const ETabulonSortDesc* sortDesc) {
    return new EDataTreeNode(this, tag, sortDesc);
}

ERef<EDataTreeNode> EDataTreeNode::MakeChild(const ETabulonTag& tag, const ETabulonSortDesc& sort) {
    auto child = ERef<EDataTreeNode>::Adopt(AllocChild(tag, &sort));
    if (child->byValue_ && children_.HasByValue() && children_.Level() != child->level_) {
        // The levels changed and the tree wasn't emptied. One level only tells siblings apart by
        // value, so that this child is found by its tag.
        child->KeepTag(tag);
        child->byValue_ = false;
    }
    return child;
}

EDataTreeNode* EDataTreeNode::TakeChild(ERef<EDataTreeNode> child) {
    const bool isLeaf = child->IsTreeLeaf();
    children_.Add(*this, child.Get());
    if (isLeaf) {
        IncLeafCount(1);
    }
    return child.Detach();  // the list's reference
}

/// AllocChild isn't overridden.
bool EDataTreeNode::MakesPlainNodes() const noexcept {
    const std::type_info& type = typeid(*this);
    return type == typeid(EDataTreeNode) || type == typeid(EDataTreeNodeRoot) ||
           type == typeid(detail::NodeAccess::NodeInSlab);
}

void EDataTreeNode::IncLeafCount(std::int32_t delta) noexcept {
    for (EDataTreeNode* node = this; node != nullptr; node = node->parent_) {
        node->leafCount_ += static_cast<std::uint32_t>(delta);
    }
}

void EDataTreeNode::Reset() {
    FlushWalks();
    if (children_.IsEmpty()) {
        return;
    }
    if (detail::TreeWalks* const walks = Walks(); walks != nullptr) {
        walks->ForgetNodesBelow(*this);
    }
    DropChildren();
}

void EDataTreeNode::DropChildren() noexcept {
    if (children_.IsEmpty()) {
        return;
    }
    const detail::TreeChildren children(std::move(children_));
    const std::size_t made = children.MadeSize();
    IncLeafCount(-static_cast<std::int32_t>(children.Size() - made));
    for (std::size_t index = 0; index < made; ++index) {
        children.PrefetchNear(index);
        Drop(children.At(index));
    }
}

/// Releases a child that is out of the list already. As the child is destroyed it takes the leaves
/// below it off the counts of its ancestors, through its parent link.
void EDataTreeNode::Drop(EDataTreeNode* child) noexcept {
    if (child->IsTreeLeaf()) {
        IncLeafCount(-1);
    }
    if (child->Release() != 0) {
        child->Orphan();
    }
}

/// Makes a dropped node that someone holds a reference to, such as a refresh that runs there, the
/// root of a tree of its own. The tree that it was in is left as it is.
void EDataTreeNode::Orphan() noexcept {
    try {
        static_cast<void>(Tag());
        detail::NodeExtra& own = MakeExtra();
        detail::NodeExtra& tree = *Top().extra_;
        own.sortDesc = tree.sortDesc;
        own.keepsKeys = tree.keepsKeys;
        tree.walks.GiveBranch(*this, own.walks);
        ownsTag_ = true;
        byValue_ = false;
        parent_->IncLeafCount(-static_cast<std::int32_t>(leafCount_));
    } catch (const std::bad_alloc&) {
        Reset();  // empty: it has no sort description to be filled by
    }
    parent_ = nullptr;
}

}  // namespace etabulon
