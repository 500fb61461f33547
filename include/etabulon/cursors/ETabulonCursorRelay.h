#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

namespace etabulon {

/// A cursor without records of its own: a decorator of another cursor, its source, to which it
/// forwards nearly everything. Derive from it to change what a walk shows. Relays can be chained:
/// fields, cancel flag, lock and updater are those of the last source.
///
/// The relay has its own levels (give it the source's: `Init(source->Levels())`), listeners and
/// filter tag, and its own tag and key of the current record.
///
/// Ownership  the source is not owned, and must outlive the relay.
/// Threads    as the source; one flag and one lock serve the whole chain.
/// Filter     Deliberate: a plain relay filters by the tag at which its source itself was last
///            reset, although OnReset gives listeners the tag of the relay's own walk. A caller
///            that walks a plain relay resets the source first. Derived relays avoid the difference
///            by stepping their source with CallReset and CallGetNext.
///            WalkOfAPlainRelayKeepsTheFilterOfItsSource holds it.
///
/// Example    apps/etabulon/walk/CliWalk.cpp
class ETABULON_API ETabulonCursorRelay : public ETabulonCursor {
public:
    /// The source is not owned, and must outlive the relay.
    explicit ETabulonCursorRelay(ETabulonCursor* source);

    [[nodiscard]] ETabulonCursor* Source() noexcept { return source_; }
    [[nodiscard]] const ETabulonCursor* Source() const noexcept { return source_; }

    [[nodiscard]] bool IsCancelled() override;
    [[nodiscard]] const EFieldSet& Fields() const override;
    [[nodiscard]] bool CanResolve(const ETabulonVariableID& variable) const override {
        return source_->CanResolve(variable);
    }
    [[nodiscard]] IUpdater* Updater() override;
    bool CursorLock(bool wait) override;
    void CursorUnlock() override;
    [[nodiscard]] bool IsLockedByThisThread() const noexcept override;
    void Cancel() override;

protected:
    EFieldSet& iFields() override;
    /// The source's bare step, without its derived fields, filter and listeners.
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    [[nodiscard]] bool IsInFilter() const override;
    /// This relay's filter and its source's.
    [[nodiscard]] bool MeetsFilter() const override;
    void DeclareVariables(const std::vector<ETabulonVariableID>& variables) override {
        source_->DeclareVariables(variables);
    }
    void ResetCancel() override;
    void DeriveAgain(std::vector<const EField*>& written) override {
        source_->DeriveAgain(written);
    }
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractTagOfFields(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

    // For derived relays: one step of the source with its whole protocol (cancel test, derived
    // fields, filter, listeners). They hide the relay's own steps, which Browse runs.
    CursorStatus CallReset(const ETabulonTag& tag) { return source_->CallReset(tag); }
    CursorStatus CallGetNext() { return source_->CallGetNext(); }
    CursorStatus CallIsInFilter() { return source_->CallIsInFilter(); }
    // The source's blocks, without its filter on the tag; none from a source with another filter.
    // Requires that the source has no listeners.
    void CallExpectBlocks() { source_->ExpectBlocks(); }
    [[nodiscard]] bool CallBeginBlocks(const EBlockRequest& request) {
        return source_->FilterInUse().IsEmpty() && source_->BeginBlocks(request);
    }
    CursorStatus CallGetNextBlock(const ERecordBlock*& block);
    void CallEndBlocks() noexcept { source_->EndBlocks(); }
    /// Derives the source's fields too.
    CursorStatus CallStandInBlock(const ERecordBlock& block, EBlockIndex record, bool isWhole);

private:
    ETabulonCursor* source_;
};

}  // namespace etabulon
