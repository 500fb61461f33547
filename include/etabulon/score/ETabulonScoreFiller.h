#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/pending/fwd.h"
#include "etabulon/score/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <span>
#include <utility>

namespace etabulon {

/// The listener that turns a cursor's walk into a score, always the largest first. For a rising
/// ranking the caller builds an ETabulonScoreCumuls itself.
///
/// Use        Build, SetParams, add it to the cursor's notifiers, Browse, SendTo a view. A reset
///            drops the previous score and starts an empty one. A walk that is cancelled or fails
///            leaves the records that it reached, and SendTo sends them.
/// Ownership  counted. The cursor, the pending changes and the sort description are not owned; a
///            reset copies the sort description, which must live until then.
/// Copies     a copy shares the running score without references of its own, and its destructor
///            releases them: a caller that copies calls RetainShared on the copy.
/// Threads    records come on the walking thread, without a lock. SendTo takes the cursor's lock,
///            and a view is called under it. SetParams takes none and must not meet a walk.
/// Blocks     a walk may be read by blocks, unless there are pending changes, a function of an
///            application, or a derived class; the score is the same.
/// Failure    none is reported. Requires SetParams before a walk, and a reset before SendTo.
/// Example    examples/score.cpp
class ETABULON_API ETabulonScoreFiller : public EBlockListener {
public:
    /// Returns a reference for the caller, who adds it to the cursor. Requires a cursor;
    /// `pending` may be null.
    [[nodiscard]] static ETabulonScoreFiller* Build(ETabulonCursor* cursor,
                                                    const ETabulonPendingChanges* pending);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonScoreFiller> Make(Arguments&&... arguments) {
        return ERef<ETabulonScoreFiller>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    /// For a filler on the stack, which keeps its first reference to itself.
    ETabulonScoreFiller(ETabulonCursor* cursor, const ETabulonPendingChanges* pending);
    ETabulonScoreFiller(const ETabulonScoreFiller& other);
    /// Doesn't release the score that the target held: call SetParams on the target first.
    ETabulonScoreFiller& operator=(const ETabulonScoreFiller& other);
    ~ETabulonScoreFiller() override;
    /// Adds the references that copying leaves out. Call it once on each copy.
    void RetainShared() const noexcept;

    /// Drops the score at once; a new one comes with the next reset. The calculations are copied.
    void SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                   const ETabulonSortDesc* sortDesc, unsigned int levelCount);
    /// Requires that a walk has reset this: one that is cancelled before has made no result.
    void SendTo(ITabulonResScoreUI* ui) const;

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;

private:
    friend class ECrossTable;

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
