#include "etabulon/tree/EDataTreeFiller.h"

#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeFill.h"

#include <typeinfo>

namespace etabulon {

using Mode = detail::TreeBlockFiling::Mode;

EDataTreeFiller::EDataTreeFiller(EDataTreeNode* node) : EDataTreeFiller(node, Files::Keys) {}

EDataTreeFiller::EDataTreeFiller(EDataTreeNode* node, Files files) : node_(node), files_(files) {}

EDataTreeFiller::EDataTreeFiller(const EDataTreeFiller& other)
    : ECountedUnknown(other),
      IBlockNotifier(other),
      node_(other.node_),
      files_(other.files_),
      oneFound_(other.oneFound_) {}

EDataTreeFiller& EDataTreeFiller::operator=(const EDataTreeFiller& other) {
    node_ = other.node_;
    files_ = other.files_;
    oneFound_ = other.oneFound_;
    fill_ = nullptr;
    return *this;
}

EDataTreeFiller::~EDataTreeFiller() = default;

CursorStatus EDataTreeFiller::OnReset(const ETabulonTag& /*tag*/,
                                      const ETabulonCursor& /*cursor*/) {
    oneFound_ = false;
    fill_ = nullptr;
    return StatusOk;
}

CursorStatus EDataTreeFiller::OnMove(const ETabulonCursor& cursor) {
    SetOneFound();
    if (fill_ != nullptr) {
        OnFiled(cursor, fill_->File(cursor));
        return StatusOk;
    }
    // A copy: making a node may run the application's own code, which may move the cursor.
    EDataTreeNode* const node = node_->AddChild(ETabulonTag(cursor.CurrentTag()));
    if (node != nullptr && files_ != Files::Nodes) {
        node->SetPrimaryKey(cursor.PrimaryKey());
    }
    OnFiled(cursor, node);
    return StatusOk;
}

bool EDataTreeFiller::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return typeid(*this) == typeid(EDataTreeFiller) && WantFiledBlocks(cursor, request);
}

bool EDataTreeFiller::WantFiledBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    if (fill_ == nullptr) {
        const Mode mode = files_ == Files::Keys    ? Mode::Keys
                          : files_ == Files::Nodes ? Mode::Nodes
                                                   : Mode::KeysAndNodes;
        fill_ = std::make_unique<detail::TreeFill>(*node_, mode);
    }
    if (fill_->Want(cursor, request)) {
        return true;
    }
    fill_ = nullptr;
    return false;
}

CursorStatus EDataTreeFiller::OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                                      std::span<const EBlockIndex> records) {
    SetOneFound();
    if (fill_ != nullptr) {
        const std::span<EDataTreeNode* const> nodes = fill_->File(block, records);
        if (files_ != Files::Keys) {
            OnFiled(block, records, nodes);
        }
    }
    return StatusOk;
}

void EDataTreeFiller::OnFiled(const ETabulonCursor& /*cursor*/, EDataTreeNode* /*node*/) {}

void EDataTreeFiller::OnFiled(const ERecordBlock& /*block*/,
                              std::span<const EBlockIndex> /*records*/,
                              std::span<EDataTreeNode* const> /*nodes*/) {}

}  // namespace etabulon
