#include "etabulon/tree/EDataTreeNode.h"

#include "etabulon/foundation/ENeverDestroyed.h"
#include "etabulon/foundation/ERef.h"
#include "tree/NodeExtra.h"
#include "tree/TreeChildren.h"
#include "tree/TreeFillPath.h"

#include <cstring>

namespace etabulon {

namespace {

// Every question to the sort description from here is about the tree.
constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

/// Not only equal: the same data to the letter, and the same text.
bool IsIdentical(const ETabulonValue& a, const ETabulonValue& b) {
    const EVariant& left = a.Data();
    const EVariant& right = b.Data();
    if (a.Status() != b.Status() || a.IsModified() != b.IsModified() ||
        left.Type() != right.Type() || left.Size() != right.Size() ||
        left.ByteCount() != right.ByteCount()) {
        return false;
    }
    const bool sameBytes = left.GetBuffer() == right.GetBuffer() ||
                           std::memcmp(left.GetBuffer(), right.GetBuffer(), left.ByteCount()) == 0;
    return sameBytes && a.HasSameDisplay(b);
}

}  // namespace

// ---------------------------------------------------------------------------------------- identity

EDataTreeNode::EDataTreeNode(EDataTreeNode* parent, const ETabulonTag& tag,
                             const ETabulonSortDesc* sortDesc)
    : parent_(parent), sortDesc_(sortDesc), depth_(parent != nullptr ? parent->depth_ + 1 : 0) {
    const ETabulonValue* own = nullptr;
    if (parent_ == nullptr) {
        byValue_ = tag.IsRoot();
    } else if (parent_->byValue_ && tag.KnownLevelsCount() == depth_ &&
               depth_ <= sortDesc->SortLevelCount(kInTree)) {
        level_ = sortDesc->SortLevel(depth_ - 1, kInTree).Level();
        own = tag.Find(level_);
        byValue_ = own != nullptr && parent_->IsOnPathOf(tag);
    }
    if (byValue_ && own != nullptr) {
        value_ = *own;
    }
    ownsTag_ = !byValue_ || (parent_ != nullptr && !parent_->SamePathAs(tag));
    if (ownsTag_) {
        KeepTag(tag);
    }
}

void EDataTreeNode::KeepTag(const ETabulonTag& tag) {
    Extra& extra = MakeExtra();
    extra.tag = tag;
    extra.hasTag = true;
    ownsTag_ = true;
}

EDataTreeNode::~EDataTreeNode() { Reset(); }

EDataTreeNode::Extra& EDataTreeNode::MakeExtra() const {
    if (extra_ == nullptr) {
        extra_ = std::make_unique<Extra>();
    }
    return *extra_;
}

/// Each of this node's values is in `tag`, and equal. Requires byValue_.
bool EDataTreeNode::IsOnPathOf(const ETabulonTag& tag) const {
    for (const EDataTreeNode* node = this; node->parent_ != nullptr; node = node->parent_) {
        const ETabulonValue* value = tag.Find(node->level_);
        if (!node->byValue_ || value == nullptr || !(*value == node->value_)) {
            return false;
        }
    }
    return byValue_;
}

/// Each of this node's values is in `tag`, and identical: a child can do without a tag of its own.
bool EDataTreeNode::SamePathAs(const ETabulonTag& tag) const {
    for (const EDataTreeNode* node = this; node->parent_ != nullptr; node = node->parent_) {
        if (node->ownsTag_) {
            const ETabulonTag& own = node->extra_->tag;
            for (unsigned place = 0; place < own.KnownLevelsCount(); ++place) {
                const ETabulonValue* value = tag.Find(own.LevelAt(place));
                if (value == nullptr || !IsIdentical(*value, own.ValueAt(place))) {
                    return false;
                }
            }
            return true;
        }
        const ETabulonValue* value = tag.Find(node->level_);
        if (value == nullptr || !IsIdentical(*value, node->value_)) {
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

ETabulonValue EDataTreeNode::DisplayValue() const {
    if (parent_ == nullptr) {
        return ETabulonValue::Null;
    }
    const unsigned level = sortDesc_->SortLevel(depth_ - 1, kInTree).Level();
    if (byValue_ && level == level_) {
        return value_;
    }
    const ETabulonValue* value = Tag().Find(level);
    return value != nullptr ? *value : ETabulonValue::Null;
}

HICON EDataTreeNode::Icon() const {
    // Below the root only: the root has no level.
    return depth_ == 0 ? nullptr : sortDesc_->GetIcon(Tag(), depth_ - 1, kInTree);
}

bool EDataTreeNode::IsTreeLeaf() const {
    if (isLeaf_ < 0) {
        const unsigned levels = byValue_ ? depth_ : Tag().KnownLevelsCount();
        isLeaf_ = levels == sortDesc_->SortLevelCount(kInTree) ? 1 : 0;
    }
    return isLeaf_ == 1;
}

// --------------------------------------------------------------------------------------------- key

void EDataTreeNode::SetPrimaryKey(const ETabulonPrimaryKey& key) {
    const EFieldKey& fields = key.Fields();
    position_ = key.Position();
    if (fields.Size() == 0) {
        keyForm_ = position_ == kNoPosition ? KeyForm::None : KeyForm::PositionOnly;
    } else if (fields.Size() == 1 && fields.At(0).Type() == TYPE_INT64 &&
               !fields.At(0).IsMissing() && fields.At(0).AsInt64() == position_) {
        keyForm_ = KeyForm::Int64Segment;
    } else {
        keyForm_ = KeyForm::InExtra;
        MakeExtra().hasKey = true;
    }
    if (extra_ != nullptr && extra_->hasKey) {
        extra_->key = key;  // references to it stay true
    }
}

const ETabulonPrimaryKey& EDataTreeNode::PrimaryKey() const {
    static const detail::ENeverDestroyed<ETabulonPrimaryKey> none{};
    if (keyForm_ == KeyForm::None && (extra_ == nullptr || !extra_->hasKey)) {
        return none.value;
    }
    Extra& extra = MakeExtra();
    if (!extra.hasKey) {
        ExtractPrimaryKey(extra.key);
        extra.hasKey = true;
    }
    return extra.key;
}

void EDataTreeNode::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    switch (keyForm_) {
        case KeyForm::None:
            key.Reset();
            break;
        case KeyForm::PositionOnly:
            key.Set(EFieldKey(), position_);
            break;
        case KeyForm::Int64Segment: {
            EFieldKey fields;
            fields.Add(EVariant::FromInt64(position_));
            key.Set(fields, position_);
            break;
        }
        case KeyForm::InExtra:
            key = extra_->key;
            break;
    }
}

// ---------------------------------------------------------------------------------------- children

unsigned EDataTreeNode::Size() const noexcept {
    return children_ != nullptr ? static_cast<unsigned>(children_->Size()) : 0;
}

const EDataTreeNode* EDataTreeNode::Get(unsigned index) const {
    if (index >= Size()) {
        return nullptr;
    }
    children_->Place();
    return children_->At(index);
}

EDataTreeNode* EDataTreeNode::Get(unsigned index) {
    return const_cast<EDataTreeNode*>(static_cast<const EDataTreeNode*>(this)->Get(index));
}

EDataTreeNode* EDataTreeNode::GetDirect(const ETabulonTag& tag) const {
    if (children_ == nullptr) {
        return nullptr;
    }
    if (byValue_ && tag.KnownLevelsCount() == depth_ + 1 && children_->HasByValue() &&
        IsOnPathOf(tag)) {
        const ETabulonValue* value = tag.Find(children_->Level());
        EDataTreeNode* child = value != nullptr ? children_->FindByValue(*value) : nullptr;
        if (child != nullptr) {
            return child;
        }
    }
    return children_->FindIrregular(tag);
}

EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) {
    if (HasTag(tag)) {
        return this;
    }
    if (EDataTreeNode* child = GetDirect(tag)) {
        return child;
    }
    if (tag.IsRoot()) {
        return nullptr;
    }
    const ETabulonTag parentTag = sortDesc_->GetParentTag(tag, kInTree);
    if (HasTag(parentTag) || parentTag == tag) {
        return nullptr;  // it would be a direct child; or a level stands twice and there is no way
                         // up
    }
    EDataTreeNode* parent = Get(parentTag);
    return parent != nullptr && parent != this ? parent->Get(tag) : nullptr;
}

const EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) const {
    return const_cast<EDataTreeNode*>(this)->Get(tag);
}

EDataTreeNode* EDataTreeNode::AllocChild(const ETabulonTag& tag, const ETabulonSortDesc* sortDesc) {
    return new EDataTreeNode(this, tag, sortDesc);
}

EDataTreeNode* EDataTreeNode::AddChild(const ETabulonTag& tag) {
    return AddVChild(sortDesc_->RemoveHiddenValues(tag, kInTree), nullptr);
}

EDataTreeNode* EDataTreeNode::AddVChild(const ETabulonTag& tag, detail::TreeFillPath* path) {
    if (tag.IsRoot()) {
        return nullptr;
    }
    if (HasTag(tag)) {
        return this;
    }
    if (EDataTreeNode* child = GetDirect(tag)) {
        child->dirty_ =
            false;  // with its like in TreeFillPath::Add the one place where a walk does so
        return child;
    }
    const ETabulonTag parentTag = sortDesc_->GetParentTag(tag, kInTree);
    if (!HasTag(parentTag)) {
        // Further down: the nodes between are made from the top. A parent tag that is the tag
        // itself, as levels that stand twice make it, leads nowhere.
        EDataTreeNode* parent = parentTag == tag ? nullptr : AddVChild(parentTag, path);
        return parent != nullptr && parent != this ? parent->AddVChild(tag, path) : nullptr;
    }
    return NewChild(tag, path);
}

EDataTreeNode* EDataTreeNode::NewChild(const ETabulonTag& tag, detail::TreeFillPath* path) {
    auto child = ERef<EDataTreeNode>::Adopt(AllocChild(tag, sortDesc_));
    EDataTreeNode* added = child.Get();
    if (children_ == nullptr) {
        children_ = std::make_unique<detail::TreeChildren>(*this);
    }
    if (added->byValue_ && children_->HasByValue() && children_->Level() != added->level_) {
        // Levels changed under a tree that wasn't emptied: siblings are told apart by one level
        // only.
        added->KeepTag(tag);
        added->byValue_ = false;
    }
    if (path != nullptr && !children_->HasWaiting()) {
        path->Touch(*this);
    }
    children_->Add(child.Detach());
    if (path == nullptr) {
        children_->Place();
    }
    if (added->IsTreeLeaf()) {
        IncLeafCount(1);
    }
    return added;
}

void EDataTreeNode::IncLeafCount(std::int32_t delta) noexcept {
    for (EDataTreeNode* node = this; node != nullptr; node = node->parent_) {
        node->leafCount_ += static_cast<std::uint32_t>(delta);
    }
}

void EDataTreeNode::Reset() {
    if (children_ == nullptr) {
        return;
    }
    ForgetPaths();
    for (std::size_t index = 0; index < children_->Size(); ++index) {
        if (children_->At(index)->IsTreeLeaf()) {
            IncLeafCount(-1);
        }
        children_->TakeOut(index)->Release();
    }
    children_.reset();
}

/// Tells refreshes that run at this node or above that nodes are about to go.
void EDataTreeNode::ForgetPaths() {
    for (EDataTreeNode* node = this; node != nullptr; node = node->parent_) {
        if (node->extra_ != nullptr && node->extra_->path != nullptr) {
            node->extra_->path->Forget();
        }
    }
}

// ----------------------------------------------------------------------------------------- refresh

CursorStatus EDataTreeNode::Fill(ETabulonCursor* cursor) {
    Reset();
    return Refresh(cursor);
}

CursorStatus EDataTreeNode::Refresh(ETabulonCursor* cursor) {
    bool oneFound = false;
    const CursorStatus status = RefreshHere(cursor, oneFound);
    if (status == StatusOk && parent_ != nullptr && !oneFound) {
        // No record is left: the parent walks its own tag, doesn't meet this node and drops it.
        return parent_->Refresh(cursor);
    }
    return status;
}

CursorStatus EDataTreeNode::RefreshHere(ETabulonCursor* cursor, bool& oneFound) {
    /// Clears the flags of what an unfinished walk didn't meet.
    struct Dirtied {
        EDataTreeNode* node;
        ~Dirtied() {
            if (node != nullptr) {
                node->SetDirtyChilds(false);
            }
        }
    };
    SetDirtyChilds(true);
    Dirtied dirtied{this};
    CursorStatus status = StatusOk;
    {
        detail::TreeFillPath path(*this);
        EDataTreeFiller filler(this, &path);
        const ECursorListening listening(*cursor, filler);
        status = cursor->Browse(Tag());
        oneFound = filler.HasOneFound();
    }
    if (status == StatusOk) {
        ReleaseDirtyChilds();
        dirtied.node = nullptr;
    }
    return status;
}

void EDataTreeNode::SetDirtyChilds(bool dirty) noexcept {
    for (std::size_t index = 0; children_ != nullptr && index < children_->Size(); ++index) {
        EDataTreeNode* child = children_->At(index);
        child->SetDirtyChilds(dirty);
        child->dirty_ = dirty;
    }
}

void EDataTreeNode::ReleaseDirtyChilds() {
    if (children_ == nullptr) {
        return;
    }
    bool tookOut = false;
    for (std::size_t index = children_->Size(); index-- > 0;) {
        EDataTreeNode* child = children_->At(index);
        if (!child->dirty_) {
            child->ReleaseDirtyChilds();
            continue;
        }
        if (!tookOut) {
            ForgetPaths();
            tookOut = true;
        }
        if (child->IsTreeLeaf()) {
            IncLeafCount(-1);
        }
        // The child brings the counts down by its own leaves as it goes, through its parent link.
        children_->TakeOut(index)->Release();
    }
    if (tookOut) {
        children_->CloseGaps();
        if (children_->Size() == 0) {
            children_.reset();
        }
    }
}

// ------------------------------------------------------------------------------------------ filler

EDataTreeFiller::EDataTreeFiller(const EDataTreeFiller& other)
    : EUnknown(other),
      ECountedUnknown(other),
      INotifier(other),
      node_(other.node_),
      oneFound_(other.oneFound_) {}

EDataTreeFiller& EDataTreeFiller::operator=(const EDataTreeFiller& other) {
    node_ = other.node_;
    oneFound_ = other.oneFound_;
    path_ = nullptr;
    return *this;
}

EDataTreeFiller::~EDataTreeFiller() = default;

CursorStatus EDataTreeFiller::OnReset(const ETabulonTag& /*tag*/,
                                      const ETabulonCursor& /*cursor*/) {
    oneFound_ = false;
    return StatusOk;
}

CursorStatus EDataTreeFiller::OnMove(const ETabulonCursor& cursor) {
    oneFound_ = true;
    const ETabulonTag& tag = cursor.CurrentTag();
    EDataTreeNode* node = path_ != nullptr ? path_->Add(tag) : node_->AddChild(ETabulonTag(tag));
    if (node != nullptr) {
        node->SetPrimaryKey(cursor.PrimaryKey());
    }
    return StatusOk;
}

}  // namespace etabulon
