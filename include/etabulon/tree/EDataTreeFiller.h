#pragma once

#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/tree/fwd.h"

#include <cstdint>
#include <memory>
#include <span>

namespace etabulon {

namespace detail {
class TreeFill;
}

/// The listener that files each record of a walk under a node: AddChild of its tag, and
/// SetPrimaryKey of the node that AddChild returns. It takes the records in blocks where the cursor
/// offers them and the node's class isn't derived, with the same result.
///
/// A derived class that overrides OnMove gets single records. One that needs the node of each
/// record overrides OnFiled, and answers WantBlocks by WantFiledBlocks.
///
/// Ownership  the node isn't owned and must outlive this. A copy is a filler of the same node.
/// Threads    those of the walk, under the cursor's lock.
/// Failure    std::bad_alloc passes through the walk.
/// Example    apps/etabulon/views/CliTreeRecords.h
class ETABULON_API EDataTreeFiller : public IBlockNotifier, public virtual ECountedUnknown {
public:
    explicit EDataTreeFiller(EDataTreeNode* node);
    EDataTreeFiller(const EDataTreeFiller& other);
    EDataTreeFiller& operator=(const EDataTreeFiller& other);
    ~EDataTreeFiller() override;

    /// The walk has met a record since the last reset.
    [[nodiscard]] bool HasOneFound() const noexcept { return oneFound_; }

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    /// False for a derived class, which may look at each record.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;
    void OnDone(const ETabulonCursor&) override {}
    void OnCancel(const ETabulonCursor&) override {}
    void OnError(const ETabulonCursor&, CursorStatus) override {}

protected:
    enum class Files : std::uint8_t {
        Keys = 0,          // sets the primary keys; OnFiled isn't called for blocks
        Nodes = 1,         // leaves the keys alone
        KeysAndNodes = 2,  // sets the primary keys
    };
    EDataTreeFiller(EDataTreeNode* node, Files files);

    /// For a derived class that overrides OnMove and OnBlock.
    void SetOneFound() noexcept { oneFound_ = true; }
    /// WantBlocks of a derived class that looks at records in OnFiled alone.
    [[nodiscard]] bool WantFiledBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    /// The cursor's record has been filed under `node`, which is null for a record that has only
    /// hidden values.
    virtual void OnFiled(const ETabulonCursor& cursor, EDataTreeNode* node);
    /// The same for records of a block, with a node for each. Requires Files::Nodes or both.
    virtual void OnFiled(const ERecordBlock& block, std::span<const EBlockIndex> records,
                         std::span<EDataTreeNode* const> nodes);

private:
    EDataTreeNode* node_;  // not owned
    Files files_;
    bool oneFound_ = false;
    std::unique_ptr<detail::TreeFill> fill_;  // of the walk by blocks
};

}  // namespace etabulon
