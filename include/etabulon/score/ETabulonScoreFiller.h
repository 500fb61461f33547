#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/score/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <utility>

namespace etabulon {

class ETabulonPendingChanges;

/// The listener that turns a cursor's walk into a score, always the largest first: a rising ranking
/// takes a description of one's own.
///
/// Use        Build, SetParams, add it to the cursor's notifiers, Browse, SendTo a view. A reset
///            drops the score that was and starts anew; a walk that is cancelled or fails leaves
///            what it had met, and that can be sent.
/// Ownership  counted. Neither the cursor, nor the pending changes, nor the sort description are
///            owned; the latter must outlive the next reset, when it is copied.
/// Copies     a copy names the same running score without references of its own, and gives them
///            back when it goes: whoever copies calls RetainShared on the copy.
/// Threads    records come on the walking thread, without a lock. SendTo takes the cursor's lock,
///            and a view is called under it. SetParams takes none and must not meet a walk.
/// Failure    none is reported. Requires SetParams before a walk, and a reset before SendTo.
class ETABULON_API ETabulonScoreFiller : public ETabulonCursor::INotifier,
                                         public virtual ECountedUnknown {
public:
    /// Returns a reference for the caller, who adds it to the cursor. `pending` may be null.
    [[nodiscard]] static ETabulonScoreFiller* Build(ETabulonCursor* cursor,
                                                    const ETabulonPendingChanges* pending);
    /// As Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonScoreFiller> Make(Arguments&&... arguments) {
        return ERef<ETabulonScoreFiller>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    /// For a filler on the stack, which keeps its first reference to itself.
    ETabulonScoreFiller(ETabulonCursor* cursor, const ETabulonPendingChanges* pending);
    ETabulonScoreFiller(const ETabulonScoreFiller& other);
    /// What this held isn't given back: SetParams on it does that first.
    ETabulonScoreFiller& operator=(const ETabulonScoreFiller& other);
    ~ETabulonScoreFiller() override;
    /// Adds the references that copying leaves out; once for each copy.
    void RetainShared() const noexcept;

    /// Drops the score at once; a new one comes with the next reset. The calculations are copied.
    void SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                   const ETabulonSortDesc* sortDesc, unsigned int levelCount);
    void SendTo(ITabulonResScoreUI* ui) const;

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}

private:
    void Free();
    void InitExtract();

    const ETabulonPendingChanges* pending_;  // not owned
    ETabulonCumulFuncOnVarCollection calculations_;
    const ETabulonSortDesc* sortDesc_ = nullptr;  // not owned
    unsigned int levelCount_ = 0;
    ERef<ETabulonScoreCumuls> cumuls_;
    ERef<ETabulonScoreCumulsBuffers> buffers_;
    ETabulonExtractValue extract_;
    ETabulonCursor* cursor_;  // not owned
};

}  // namespace etabulon
