#pragma once

#include "etabulon/cursors/ECursorListener.h"
#include "tree/TreeFixture.h"

namespace etabulon::test {

/// The tree as its rules are told: whole tags, linear searches, each newcomer placed at once by a
/// scan. What the tree itself must come to by its faster ways.
class LiteralNode {
public:
    LiteralNode(LiteralNode* above, const ETabulonTag& position, const ETabulonSortDesc* sort)
        : parent(above), tag(position), sort_(sort) {}
    ~LiteralNode() { Reset(); }

    LiteralNode* AddChild(const ETabulonTag& record) {
        return AddVChild(sort_->RemoveHiddenValues(record, kInTree));
    }
    LiteralNode* Get(const ETabulonTag& wanted) {
        if (tag == wanted) {
            return this;
        }
        if (LiteralNode* child = GetDirect(wanted); child != nullptr || wanted.IsRoot()) {
            return child;
        }
        const ETabulonTag above = sort_->GetParentTag(wanted, kInTree);
        if (above == tag || above == wanted) {
            return nullptr;
        }
        LiteralNode* node = Get(above);
        return node != nullptr ? node->Get(wanted) : nullptr;
    }
    void Reset() {
        for (auto& child : children) {
            if (child->IsLeaf()) {
                IncLeafCount(-1);
            }
            child.reset();
        }
        children.clear();
    }
    CursorStatus Fill(ETabulonCursor& cursor) {
        Reset();
        return Refresh(cursor);
    }
    CursorStatus Refresh(ETabulonCursor& cursor);
    [[nodiscard]] bool IsLeaf() {
        if (isLeaf_ < 0) {
            isLeaf_ = tag.KnownLevelsCount() == sort_->SortLevelCount(kInTree) ? 1 : 0;
        }
        return isLeaf_ == 1;
    }
    void CollectLeaves(std::vector<std::pair<ETabulonTag, ETabulonPrimaryKey>>& leaves) {
        if (IsLeaf()) {
            leaves.emplace_back(tag, key);
            return;
        }
        for (auto& child : children) {
            child->CollectLeaves(leaves);
        }
    }

    LiteralNode* parent;
    ETabulonTag tag;
    std::vector<std::unique_ptr<LiteralNode>> children;
    unsigned int leafCount = 0;
    ETabulonPrimaryKey key;

private:
    LiteralNode* AddVChild(const ETabulonTag& added) {
        if (added.IsRoot()) {
            return nullptr;
        }
        if (tag == added) {
            return this;
        }
        if (LiteralNode* child = GetDirect(added)) {
            child->dirty_ = false;
            return child;
        }
        const ETabulonTag above = sort_->GetParentTag(added, kInTree);
        if (!(above == tag)) {
            LiteralNode* node = above == added ? nullptr : AddVChild(above);
            return node != nullptr ? node->AddVChild(added) : nullptr;
        }
        auto child = std::make_unique<LiteralNode>(this, added, sort_);
        LiteralNode* result = child.get();
        auto place = children.begin();
        while (place != children.end() && Compare(added, (*place)->tag) > 0) {
            ++place;
        }
        children.insert(place, std::move(child));
        if (result->IsLeaf()) {
            IncLeafCount(1);
        }
        return result;
    }
    LiteralNode* GetDirect(const ETabulonTag& wanted) {
        for (auto& child : children) {
            if (child->tag == wanted) {
                return child.get();
            }
        }
        return nullptr;
    }
    /// A tag without the level compares as one with an empty value.
    [[nodiscard]] int Compare(ETabulonTag a, ETabulonTag b) const {
        unsigned int depth = 0;
        for (const LiteralNode* node = this; node->parent != nullptr; node = node->parent) {
            ++depth;
        }
        const auto level = sort_->SortLevel(depth, kInTree).Level();
        for (ETabulonTag* given : {&a, &b}) {
            if (!given->HasValue(level)) {
                given->SetValue(level, ETabulonValue::Null);
            }
        }
        return sort_->Compare(a, b, depth, kInTree);
    }
    void IncLeafCount(int delta) {
        for (LiteralNode* node = this; node != nullptr; node = node->parent) {
            node->leafCount += static_cast<unsigned int>(delta);
        }
    }
    void SetDirtyChilds(bool dirty) {
        for (auto& child : children) {
            child->SetDirtyChilds(dirty);
            child->dirty_ = dirty;
        }
    }
    void ReleaseDirtyChilds() {
        for (std::size_t index = children.size(); index-- > 0;) {
            if (!children[index]->dirty_) {
                children[index]->ReleaseDirtyChilds();
                continue;
            }
            if (children[index]->IsLeaf()) {
                IncLeafCount(-1);
            }
            children[index].reset();
            children.erase(children.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }

    const ETabulonSortDesc* sort_;
    bool dirty_ = false;
    int isLeaf_ = -1;
};

class LiteralFiller : public ECursorListener {
public:
    explicit LiteralFiller(LiteralNode& node) : node_(node) {}
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
        oneFound = false;
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        oneFound = true;
        if (LiteralNode* node = node_.AddChild(cursor.CurrentTag())) {
            node->key = cursor.PrimaryKey();
        }
        return StatusOk;
    }
    bool oneFound = false;

private:
    LiteralNode& node_;
};

inline CursorStatus LiteralNode::Refresh(ETabulonCursor& cursor) {
    SetDirtyChilds(true);
    LiteralFiller filler(*this);
    cursor.AddNotifier(&filler);
    const CursorStatus status = cursor.Browse(tag);
    cursor.RemNotifier(&filler);
    if (status != StatusOk) {
        SetDirtyChilds(false);
        return status;
    }
    ReleaseDirtyChilds();
    return parent != nullptr && !filler.oneFound ? parent->Refresh(cursor) : status;
}

/// A tag to the letter: each value with its status, data, text and flag.
inline std::string LetterText(const ETabulonTag& tag) {
    std::string text;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        const ETabulonValue& value = tag.ValueAt(place);
        text += std::to_string(tag.LevelAt(place)) + ":" + std::to_string(value.Status()) + "/" +
                std::to_string(value.Data().Type()) + "/" + value.Data().AsChaine().c_str() + "/" +
                value.DisplayText().c_str() + " ";
    }
    return text;
}

inline std::string LetterText(const ETabulonPrimaryKey& key) {
    const std::string type =
        key.Fields().Size() == 0 ? "" : std::to_string(key.Fields().At(0).Type());
    return std::to_string(key.Position()) + "/" + type + "/" +
           key.SingleCode().DisplayText().c_str();
}

/// The text of a node and of all nodes below it.
inline std::string Dump(const ETabulonTag& tag, const ETabulonPrimaryKey& key,
                        unsigned int leafCount, bool isLeaf, const std::string& below) {
    return LetterText(tag) + "key " + LetterText(key) + " leaves " + std::to_string(leafCount) +
           (isLeaf ? " leaf" : "") + "{\n" + below + "}\n";
}

inline std::string Dump(LiteralNode& node) {
    std::string below;
    for (auto& child : node.children) {
        below += Dump(*child);
    }
    return Dump(node.tag, node.key, node.leafCount, node.IsLeaf(), below);
}

inline std::string Dump(const EDataTreeNode& node) {
    // Not by Tag and PrimaryKey, which keep what they make.
    ETabulonTag tag;
    node.ExtractTag(tag);
    ETabulonPrimaryKey key;
    node.ExtractPrimaryKey(key);
    std::string below;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        below += Dump(*node.Get(index));
    }
    return Dump(tag, key, node.LeafCount(), node.IsTreeLeaf(), below);
}

}  // namespace etabulon::test
