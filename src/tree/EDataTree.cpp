#include "etabulon/tree/EDataTree.h"

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EExpects.h"
#include "tree/ETabulonCursorTree.h"
#include "tree/TreeReFiling.h"

namespace etabulon {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

const ETabulonLevels& LevelsOf(const ETabulonCursor* cursor) {
    E_EXPECTS(cursor != nullptr);
    return cursor->Levels();
}

}  // namespace

EDataTreeNodeRoot::EDataTreeNodeRoot(const ETabulonSortDesc* sortDesc, const Chaine& name,
                                     HICON icon)
    : EDataTreeNode(nullptr, ETabulonTag::Null, sortDesc), name_(name), icon_(icon) {}

ETabulonValue EDataTreeNodeRoot::DisplayValue() const {
    return ETabulonValue(EVariant(name_), name_, /*modified=*/false);
}

EDataTree::EDataTree(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon)
    : sortDesc_(MakeRef<ETabulonSortDesc>(LevelsOf(cursor))), cursor_(cursor) {
    SetParams(rootName, rootIcon);
}

EDataTree::~EDataTree() =
    default;  // members go in reverse: the nodes before the sort description they use

CursorStatus EDataTree::Fill() { return Fill(cursor_); }

CursorStatus EDataTree::Fill(ETabulonCursor* source) {
    // Locks the tree's own cursor even when another one is walked: its lock guards the nodes.
    const ECursorExclusive exclusive(*cursor_);
    return root_->Fill(source);
}

CursorStatus EDataTree::Refresh() {
    const ECursorExclusive exclusive(*cursor_);
    return root_->Refresh(cursor_);
}

CursorStatus EDataTree::Refresh(const ETabulonTag& tag) {
    const ECursorExclusive exclusive(*cursor_);
    ETabulonTag wanted(tag);
    EDataTreeNode* node = root_->Get(wanted);
    while (node == nullptr) {
        ETabulonTag parent = sortDesc_->GetParentTag(wanted, kInTree);
        // Where a level stands twice among the keys a tag can be its own parent.
        node = parent == wanted ? root_.Get() : root_->Get(parent);
        wanted = std::move(parent);
    }
    return node->Refresh(cursor_);
}

void EDataTree::SetParams(const Chaine& rootName, HICON rootIcon) {
    root_ = MakeRef<EDataTreeNodeRoot>(sortDesc_.Get(), rootName, rootIcon);
}

bool EDataTree::FileAgain(const EDataTreeNode& old) {
    const ECursorExclusive exclusive(*cursor_);  // as a fill
    return detail::TreeReFiling(old, *root_).Run();
}

/// Builds the tree again from its own leaves, under the present sort description. Requires the
/// cursor's lock.
///
/// Deliberate: the leaves hold the levels that were shown when the tree was filled. A level shown
/// since doesn't come back this way, as it would by a fill.
/// HiddenLevelsMoveWithoutAWalkAndDontComeBack holds it.
void EDataTree::ReSort() {
    const ERef<EDataTreeNodeRoot> old = root_;
    try {
        SetParams(old->DisplayValue().DisplayValue(), old->Icon());
        if (!FileAgain(*old)) {
            root_->Reset();
            ETabulonCursorTree leaves(*old);
            static_cast<void>(Fill(&leaves));
        }
    } catch (...) {
        // The tree has neither the nodes of the old order nor a part of the new ones: it is empty
        // until the caller fills it.
        root_->Reset();
        throw;
    }
}

bool EDataTree::SetSortLevels(const ETabulonSortDesc::SortKeyArray& keys) {
    const ECursorExclusive exclusive(*cursor_);
    const bool changed = sortDesc_->SetSortLevels(keys);
    if (changed) {
        root_->Reset();
    }
    return changed;
}

bool EDataTree::SetHideLevelFlags(unsigned int level, HideFlag flag) {
    const ECursorExclusive exclusive(*cursor_);
    const bool changed = sortDesc_->SetHideLevelFlags(level, flag);
    if (changed) {
        root_->Reset();
    }
    return changed;
}

bool EDataTree::SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag) {
    const ECursorExclusive exclusive(*cursor_);
    const bool changed = sortDesc_->SetHideLevelFlags(levels, flag);
    if (changed) {
        root_->Reset();
    }
    return changed;
}

bool EDataTree::MoveSortLevel(unsigned int from, unsigned int to) {
    const ECursorExclusive exclusive(*cursor_);
    const bool changed = sortDesc_->MoveSortLevel(from, to, kInTree);
    if (changed) {
        ReSort();
    }
    return changed;
}

bool EDataTree::MoveHiddenLevelsTo(unsigned int position) {
    const ECursorExclusive exclusive(*cursor_);
    const bool changed = sortDesc_->MoveHiddenLevelsTo(position, kInTree);
    if (changed) {
        ReSort();
    }
    return changed;
}

bool EDataTree::SetCompareSource(ETabulonSortDesc::SortCompareSource source) {
    const ECursorExclusive exclusive(*cursor_);
    // The description calls no listener: the order on screen is no change of levels.
    if (!sortDesc_->SetCompareSource(source)) {
        return false;
    }
    ReSort();
    return true;
}

}  // namespace etabulon
