#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/cursors/fwd.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/score/fwd.h"
#include "etabulon/values/fwd.h"

#include <span>

namespace etabulon {

/// The running results of a score: folds the records of a walk, and sends the ranking to a view.
/// ETabulonScoreCumuls::Start makes it; a new walk needs a new object.
///
/// Ownership  counted; holds a reference to its description.
/// Copies     a copy shares the description and the results, so that records added to either are in
///            both. It adds no references to them, and its destructor releases one of each: a
///            caller that copies calls RetainShared on the copy.
/// Threads    one walk writes. Readers hold the cursor's lock, as the filler does for them.
/// Failure    none is reported. Records outside the root are ignored.
/// Cost       a record of a known label allocates nothing. Results are computed and ranked when
///            they are sent, once for each line.
/// Example    tests/score/ScoreSendTest.cpp
class ETABULON_API ETabulonScoreCumulsBuffers : public virtual ECountedUnknown {
public:
    /// Adds a reference to `desc`.
    explicit ETabulonScoreCumulsBuffers(ETabulonScoreCumuls* desc);
    ETabulonScoreCumulsBuffers(const ETabulonScoreCumulsBuffers& other);
    /// Doesn't release the description and results that the target held.
    ETabulonScoreCumulsBuffers& operator=(const ETabulonScoreCumulsBuffers& other);
    /// Adds the references that copying leaves out. Call it once on each copy.
    void RetainShared() const noexcept;

    [[nodiscard]] const ETabulonScoreCumuls* Desc() const noexcept { return desc_.Get(); }
    /// Folds a record into its line and the total. Requires that the extract knows the variables
    /// of the description's calculations.
    void AddValue(const ETabulonExtractValue& extract);
    /// Merges the state of records at this position, as if they came after those before. Requires
    /// a partial state over the description's calculations, which IsMergeable().
    void AddPartial(const ETabulonTag& position, const CumulPartial& partial);
    /// May be called any number of times. Without records there are no lines, and a total of
    /// ValNull.
    void SendTo(ITabulonResScoreUI* ui) const;

protected:
    ~ETabulonScoreCumulsBuffers() override;

private:
    friend class ECrossTable;
    friend class ETabulonScoreFiller;

    /// AddValue for an extract that was initialised with this description's calculations.
    void AddOwnValue(const ETabulonExtractValue& extract);
    /// False where the records must come one by one.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    /// AddOwnValue for each of these records of a block, all at or below the root.
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);

    ERef<ETabulonScoreCumuls> desc_;
    ERef<detail::ScoreCells> cells_;
};

}  // namespace etabulon
