#pragma once

#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/score/fwd.h"

namespace etabulon {

class ETabulonExtractValue;

/// The running results of a score: takes the records of a walk, and sends the ranking to a view.
/// Made by ETabulonScoreCumuls::Start; there is no clearing.
///
/// Ownership  counted; holds a reference to its description.
/// Copies     a copy names the same description and the same results, so that records added to
///            either are in both. It adds no references to them, and gives one to each back when it
///            goes: whoever copies calls RetainShared on the copy.
/// Threads    one walk writes. Readers hold the cursor's lock, as the filler does for them.
/// Failure    none is reported. Records outside the root are dropped.
/// Cost       a record of a known label allocates nothing. Results are computed and ranked when
///            they are sent, once for each line.
class ETABULON_API ETabulonScoreCumulsBuffers : public virtual ECountedUnknown {
public:
    /// Adds a reference to `desc`.
    explicit ETabulonScoreCumulsBuffers(ETabulonScoreCumuls* desc);
    ETabulonScoreCumulsBuffers(const ETabulonScoreCumulsBuffers& other);
    /// What this held isn't given back.
    ETabulonScoreCumulsBuffers& operator=(const ETabulonScoreCumulsBuffers& other);
    /// Adds the references that copying leaves out; once for each copy.
    void RetainShared() const noexcept;

    [[nodiscard]] const ETabulonScoreCumuls* Desc() const noexcept { return desc_.Get(); }
    /// Folds a record into its line and the total. Requires that the extract knows the variables
    /// of the description's calculations.
    void AddValue(const ETabulonExtractValue& extract);
    /// Any number of times. Without records there are no lines, and a total of ValNull.
    void SendTo(ITabulonResScoreUI* ui) const;

protected:
    ~ETabulonScoreCumulsBuffers() override;

private:
    friend class ETabulonScoreFiller;

    /// AddValue of an extract that was made for this description's calculations, in their order.
    void AddOwnValue(const ETabulonExtractValue& extract);

    ERef<ETabulonScoreCumuls> desc_;
    ERef<detail::ScoreCells> cells_;
};

}  // namespace etabulon
