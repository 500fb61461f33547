#pragma once

#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ECountedUnknown.h"

namespace etabulon {

class EDataTreeNode;

/// The listener that files each record of a walk under a node: AddChild of its tag, and
/// SetPrimaryKey of the node that AddChild returns.
///
/// Ownership  the node isn't owned and must outlive this.
/// Threads    those of the walk, under the cursor's lock.
/// Failure    std::bad_alloc passes through the walk.
class ETABULON_API EDataTreeFiller : public IBlockNotifier, public virtual ECountedUnknown {
public:
    explicit EDataTreeFiller(EDataTreeNode* node) : node_(node) {}
    EDataTreeFiller(const EDataTreeFiller&) = default;
    EDataTreeFiller& operator=(const EDataTreeFiller&) = default;
    ~EDataTreeFiller() override;

    /// The walk has met a record since the last reset.
    [[nodiscard]] bool HasOneFound() const noexcept { return oneFound_; }

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    /// False: a derived class may look at each record.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;
    void OnDone(const ETabulonCursor&) override {}
    void OnCancel(const ETabulonCursor&) override {}
    void OnError(const ETabulonCursor&, CursorStatus) override {}

protected:
    /// For a derived class that overrides OnMove and OnBlock.
    void SetOneFound() noexcept { oneFound_ = true; }

private:
    EDataTreeNode* node_;  // not owned
    bool oneFound_ = false;
};

}  // namespace etabulon
