#pragma once

#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/NodeExtra.h"
#include "tree/TreeKey.h"
#include "tree/TreeNodeSlabs.h"

#include <cstddef>

namespace etabulon::detail {

/// The one door to what a node keeps private, for the classes that file, find and order nodes.
/// A node calls none of them: it tells a running walk what concerns it through TreeWalk.
struct NodeAccess {
    using Node = EDataTreeNode;

    /// A node that differs in where its memory comes from.
    class NodeInSlab final : public Node {
    public:
        NodeInSlab(Node* parent, unsigned int level, const ETabulonValue& value, bool isLeaf)
            : Node(parent, level, value, isLeaf) {}

        static void* operator new(std::size_t size, TreeNodeSlabs& slabs) {
            return slabs.Take(size);
        }
        static void operator delete(void* place, TreeNodeSlabs&) noexcept {
            TreeNodeSlabs::GiveBack(place);
        }
        static void operator delete(void* place) noexcept { TreeNodeSlabs::GiveBack(place); }
    };

    // What a node is.
    [[nodiscard]] static bool IsByValue(const Node& node) noexcept { return node.byValue_; }
    [[nodiscard]] static bool OwnsTag(const Node& node) noexcept { return node.ownsTag_; }
    /// The level and the value that name the node. The level requires IsByValue; the value is Null
    /// without it.
    [[nodiscard]] static unsigned int Level(const Node& node) noexcept { return node.level_; }
    [[nodiscard]] static const ETabulonValue& Value(const Node& node) noexcept {
        return node.value_;
    }
    static void SetKeyWord(Node& node, TreeKeyWord key) noexcept {
        node.keyWord_ = key.word;
        node.keyForm_ = key.form;
    }
    /// SetPrimaryKey, within a walk: flushes none.
    static void SetKey(Node& node, TreeKeyWord key) {
        SetKeyWord(node, key);
        if (node.extra_ != nullptr && node.extra_->key != nullptr) {
            UnpackKey(key.form, key.word, *node.extra_->key);
        }
    }
    static void SetKey(Node& node, const ETabulonPrimaryKey& key) { node.KeepKey(key); }
    [[nodiscard]] static TreeKeyWord KeyWord(const Node& node) noexcept {
        return {node.keyWord_, node.keyForm_};
    }
    /// Requires that the key's form is Whole.
    [[nodiscard]] static const ETabulonPrimaryKey& WholeKey(const Node& node) noexcept {
        return *node.extra_->key;
    }
    static void Prefetch(const Node& node) noexcept { PrefetchToWrite(&node); }

    // The tree that it stands in.
    [[nodiscard]] static const ETabulonSortDesc& SortDesc(const Node& node) noexcept {
        return node.SortDesc();
    }
    /// Some node of the tree keeps a whole key, which SetPrimaryKey has to change with the word.
    [[nodiscard]] static bool KeepsKeys(const Node& node) noexcept {
        return node.Top().extra_->keepsKeys;
    }
    [[nodiscard]] static TreeWalks& Walks(const Node& node) noexcept {
        return node.Top().extra_->walks;
    }

    // Questions about tags. SamePathAs: each value of the node is in the tag, in the same spelling.
    [[nodiscard]] static bool HasTag(const Node& node, const ETabulonTag& tag) {
        return node.HasTag(tag);
    }
    [[nodiscard]] static bool IsOnPathOf(const Node& node, const ETabulonTag& tag) {
        return node.IsOnPathOf(tag);
    }
    [[nodiscard]] static bool SamePathAs(const Node& node, const ETabulonTag& tag) {
        return node.SamePathAs(tag);
    }

    // Children. A caller makes a child, and then gives it to the parent.
    [[nodiscard]] static TreeChildren& Children(const Node& node) noexcept {
        return node.children_;
    }
    [[nodiscard]] static Node* FindChild(const Node& node, const ETabulonTag& tag) {
        return node.FindChild(tag);
    }
    /// The application hasn't derived the node's class, so that AllocChild needn't be called.
    [[nodiscard]] static bool MakesPlainNodes(const Node& node) noexcept {
        return node.MakesPlainNodes();
    }
    [[nodiscard]] static ERef<Node> MakeChild(Node& parent, const ETabulonTag& tag,
                                              const ETabulonSortDesc& sort) {
        return parent.MakeChild(tag, sort);
    }
    /// Requires MakesPlainNodes, and that no value of the parent's path is at `level`.
    [[nodiscard]] static ERef<Node> MakeChild(Node& parent, unsigned int level,
                                              const ETabulonValue& value, bool isLeaf) {
        return ERef<Node>::Adopt(new Node(&parent, level, value, isLeaf));
    }
    /// The same, in memory that the nodes share.
    [[nodiscard]] static ERef<Node> MakeChild(Node& parent, unsigned int level,
                                              const ETabulonValue& value, bool isLeaf,
                                              TreeNodeSlabs& slabs) {
        return ERef<Node>::Adopt(new (slabs) NodeInSlab(&parent, level, value, isLeaf));
    }
    static Node* TakeChild(Node& parent, ERef<Node> child) {
        return parent.TakeChild(std::move(child));
    }
    /// Counts leaves that have been added to the parent's children.
    static void CountLeaves(Node& parent, std::size_t count) noexcept {
        parent.IncLeafCount(static_cast<std::int32_t>(count));
    }

    // The flags of a refresh.
    [[nodiscard]] static bool IsDirty(const Node& node) noexcept { return node.dirty_; }
    static void SetDirty(Node& node, bool dirty) noexcept { node.dirty_ = dirty; }
    static bool SetDirtyChilds(Node& node, bool dirty, TreeFlagPass& pass) {
        return node.SetDirtyChilds(dirty, pass);
    }
    static void ReleaseDirtyChilds(Node& node) { node.ReleaseDirtyChilds(); }
};

}  // namespace etabulon::detail
