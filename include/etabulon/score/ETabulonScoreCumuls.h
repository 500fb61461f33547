#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/score/fwd.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <utility>

namespace etabulon {

/// The description of one ranking: its root tag, how many levels below make a label, the
/// calculations for each label, and the direction of the ranking. It serves one walk.
///
/// Ownership  counted; has copies of the sort description and of the calculations.
/// Copies     a copy shares the sort description without a reference of its own, and its destructor
///            releases one: a caller that copies calls RetainShared on the copy.
/// Threads    as the filler: const operations fill a cache.
/// Immutable  except for this cache.
/// Example    tests/score/ScoreFixture.h
class ETABULON_API ETabulonScoreCumuls : public virtual ECountedUnknown {
public:
    enum ScoreAxeMode : std::int32_t {
        ScoreAxeUnknown = 0,    // not computed yet
        ScoreAxeVars = 1,       // one function on all variables: columns named by variable
        ScoreAxeFuncs = 2,      // one variable, several functions: columns named by function
        ScoreAxeCalcs = 3,      // several of both, one function for each variable
        ScoreAxeCalcsMany = 4,  // several of both, and several functions for some variable
    };

    /// Returns a reference for the caller. Removes the root's values at levels that the sort
    /// description hides in calculations, and cuts `levelCount` to the levels below the root.
    [[nodiscard]] static ETabulonScoreCumuls* Build(
        const ETabulonTag& root, const ETabulonSortDesc* sortDesc,
        const ITabulonCumulFuncOnVarCollection* calculations, unsigned int levelCount,
        bool increasingOrder);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonScoreCumuls> Make(Arguments&&... arguments) {
        return ERef<ETabulonScoreCumuls>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    ETabulonScoreCumuls(const ETabulonScoreCumuls& other);
    /// Doesn't release the sort description that the target held.
    ETabulonScoreCumuls& operator=(const ETabulonScoreCumuls& other);
    /// Adds the reference that copying leaves out. Call it once on each copy.
    void RetainShared() const noexcept;

    [[nodiscard]] const ETabulonTag& Root() const noexcept { return root_; }
    /// The number of levels below the root that make a label.
    [[nodiscard]] unsigned int LevelCount() const noexcept { return levelCount_; }
    /// Whether the smallest comes first.
    [[nodiscard]] bool IncreasingOrder() const noexcept { return increasingOrder_; }
    [[nodiscard]] const ETabulonSortDesc* SortDesc() const noexcept { return sortDesc_.Get(); }
    [[nodiscard]] ETabulonSortDesc* SortDesc() noexcept { return sortDesc_.Get(); }
    [[nodiscard]] ITabulonCumulFuncOnVarCollection& Calculations() noexcept {
        return calculations_;
    }
    [[nodiscard]] const ITabulonCumulFuncOnVarCollection& Calculations() const noexcept {
        return calculations_;
    }

    [[nodiscard]] ScoreAxeMode AxeMode() const;
    /// The axis of the calculations, with its labels. Returns a reference for the caller.
    [[nodiscard]] ETabulonGridAxe* BuildAxeDesc() const;
    /// Whether the tag is the root or below it.
    [[nodiscard]] bool IsComputeTag(const ETabulonTag& tag) const;
    /// The number of levels in a label: LevelCount(), or fewer if a level has two keys.
    [[nodiscard]] unsigned int DetailLevelCount() const;
    /// The root with the tag's values at the label levels.
    [[nodiscard]] ETabulonTag ExtractLabelTag(const ETabulonTag& tag) const;
    /// New running results for this description. Returns a reference for the caller.
    [[nodiscard]] ETabulonScoreCumulsBuffers* Start();

protected:
    ETabulonScoreCumuls(const ETabulonTag& root, const ETabulonSortDesc* sortDesc,
                        const ITabulonCumulFuncOnVarCollection* calculations,
                        unsigned int levelCount, bool increasingOrder);
    ~ETabulonScoreCumuls() override = default;

private:
    [[nodiscard]] ScoreAxeMode ComputeAxeMode() const;

    ETabulonTag root_;
    unsigned int levelCount_;
    bool increasingOrder_;
    ERef<ETabulonSortDesc> sortDesc_;
    ETabulonCumulFuncOnVarCollection calculations_;
    mutable ScoreAxeMode axeMode_ = ScoreAxeUnknown;
};

}  // namespace etabulon
