#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

namespace etabulon {

/// A cursor without records of its own: it stands before another, its source, and passes nearly
/// everything on. Derive from it to change what a walk shows. Relays can be chained: fields, cancel
/// flag, lock and updater are those of the last source.
///
/// Its own are the levels (give it the source's: `Init(source->Levels())`), the listeners, the
/// filter tag, and the tag and key of the current record.
///
/// Ownership  the source is not owned, and must outlive this.
/// Threads    as the source; one flag and one lock serve the whole chain.
/// Filter     Deliberate: a plain relay filters by the tag that its source was last reset at
///            itself, not by the one that it is walked at, though listeners are told the latter.
///            Whoever walks a plain relay resets the source before. Derived relays settle it by
///            stepping their source with CallReset and CallGetNext.
///            WalkOfAPlainRelayKeepsTheFilterOfItsSource holds it.
class ETABULON_API ETabulonCursorRelay : public ETabulonCursor {
public:
    /// Not owned, must outlive this.
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
    /// The bare step: neither the source's derived fields and filter nor its listeners.
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    [[nodiscard]] bool IsInFilter() const override;
    void ResetCancel() override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractTagOfFields(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

    // The source's whole protocol as one step of a derived relay: its cancel test, its derived
    // fields, its filter and its listeners. They hide the relay's own, which Browse runs.
    CursorStatus CallReset(const ETabulonTag& tag) { return source_->CallReset(tag); }
    CursorStatus CallGetNext() { return source_->CallGetNext(); }
    CursorStatus CallIsInFilter() { return source_->CallIsInFilter(); }

private:
    ETabulonCursor* source_;
};

}  // namespace etabulon
