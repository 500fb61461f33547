#include "etabulon/score/ETabulonScoreCumuls.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/EStringTable.h"
#include "etabulon/foundation/FDictionnary.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/score/ETabulonScoreCumulsBuffers.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/ResultParts.h"

#include <algorithm>

namespace etabulon {

namespace {

using Score = ETabulonScoreCumuls;
using Axe = ETabulonGridAxe;

constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

struct AxeOfMode {
    Score::ScoreAxeMode mode;
    Axe::AxeType type;
    const char* data;
    unsigned int title;  // in the string table
};

constexpr AxeOfMode kAxes[] = {
    {Score::ScoreAxeVars, Axe::AxeVars, "Vars", 10707},
    {Score::ScoreAxeFuncs, Axe::AxeFuncs, "Funcs", 10708},
    {Score::ScoreAxeCalcs, Axe::AxeFuncs, "Calcs", 10711},
    {Score::ScoreAxeCalcsMany, Axe::AxeFuncs, "Calcs", 10711},
};

// Deliberate: a label is identified by the variable's code alone, or by the function's alone. A
// further calculation with the same code adds no label, so that the axis has fewer labels than the
// lines have values. FurtherCalculationOfAVariableAddsNoLabel holds it.
void AddLabel(Axe& axe, Score::ScoreAxeMode mode, const ETabulonVariableDesc& variable,
              const ETabulonCumulFunc& function) {
    switch (mode) {
        case Score::ScoreAxeVars:
            axe.AddLabel(&variable);
            break;
        case Score::ScoreAxeFuncs:
            axe.AddLabel(&function);
            break;
        default:
            axe.AddLabel(&variable, &function, /*headerOnly=*/mode == Score::ScoreAxeCalcs);
            break;
    }
}

}  // namespace

ETabulonScoreCumuls::ETabulonScoreCumuls(const ETabulonTag& root, const ETabulonSortDesc* sortDesc,
                                         const ITabulonCumulFuncOnVarCollection* calculations,
                                         unsigned int levelCount, bool increasingOrder)
    : root_(sortDesc->ExtractSortValues(root, static_cast<unsigned int>(-1), kCalc)),
      levelCount_(std::min(levelCount, sortDesc->SortLevelCount(kCalc) - root_.KnownLevelsCount())),
      increasingOrder_(increasingOrder),
      sortDesc_(MakeRef<ETabulonSortDesc>(*sortDesc)) {
    calculations_.AddCalculations(calculations);
}

ETabulonScoreCumuls* ETabulonScoreCumuls::Build(
    const ETabulonTag& root, const ETabulonSortDesc* sortDesc,
    const ITabulonCumulFuncOnVarCollection* calculations, unsigned int levelCount,
    bool increasingOrder) {
    return new ETabulonScoreCumuls(root, sortDesc, calculations, levelCount, increasingOrder);
}

// Deliberate: copies the pointer without adding a reference, though the destructor releases one.
// Callers that copy add the reference themselves. CopiedDescriptionNeedsAReference holds it.
ETabulonScoreCumuls::ETabulonScoreCumuls(const ETabulonScoreCumuls& other)
    : ECountedUnknown(other),
      root_(other.root_),
      levelCount_(other.levelCount_),
      increasingOrder_(other.increasingOrder_),
      sortDesc_(ERef<ETabulonSortDesc>::Adopt(other.sortDesc_.Get())),
      calculations_(other.calculations_),
      axeMode_(other.axeMode_) {}

ETabulonScoreCumuls& ETabulonScoreCumuls::operator=(const ETabulonScoreCumuls& other) {
    root_ = other.root_;
    levelCount_ = other.levelCount_;
    increasingOrder_ = other.increasingOrder_;
    calculations_ = other.calculations_;
    axeMode_ = other.axeMode_;
    ETabulonSortDesc* const shared = other.sortDesc_.Get();
    static_cast<void>(sortDesc_.Detach());
    sortDesc_ = ERef<ETabulonSortDesc>::Adopt(shared);
    return *this;
}

void ETabulonScoreCumuls::RetainShared() const noexcept {
    static_cast<void>(ERef<ETabulonSortDesc>(sortDesc_).Detach());
}

ETabulonScoreCumulsBuffers* ETabulonScoreCumuls::Start() {
    return new ETabulonScoreCumulsBuffers(this);
}

// -------------------------------------------------------------------------------------------- axis

ETabulonScoreCumuls::ScoreAxeMode ETabulonScoreCumuls::AxeMode() const {
    if (axeMode_ == ScoreAxeUnknown) {
        axeMode_ = ComputeAxeMode();
    }
    return axeMode_;
}

ETabulonScoreCumuls::ScoreAxeMode ETabulonScoreCumuls::ComputeAxeMode() const {
    FDictionnaryNoCase<PUniqueNT<Chaine>> codesOf;
    PUniqueNT<Chaine> codes;
    detail::ForEachCalculation(calculations_, [&](const ETabulonVariableDesc& variable,
                                                  const ETabulonCumulFunc& function) {
        codesOf[variable.DataID().Code()].Add(function.Code());
        codes.Add(function.Code());
    });
    if (codes.Size() < 2) {
        return ScoreAxeVars;
    }
    if (codesOf.Size() == 1) {
        return ScoreAxeFuncs;
    }
    const bool many = std::any_of(codesOf.begin(), codesOf.end(),
                                  [](const auto& variable) { return variable.value.Size() > 1; });
    return many ? ScoreAxeCalcsMany : ScoreAxeCalcs;
}

ETabulonGridAxe* ETabulonScoreCumuls::BuildAxeDesc() const {
    const ScoreAxeMode mode = AxeMode();
    const AxeOfMode& kind =
        *std::find_if(std::begin(kAxes), std::end(kAxes),
                      [mode](const AxeOfMode& axe) { return axe.mode == mode; });
    auto axe = ERef<Axe>::Adopt(
        Axe::Build(kind.type, EVariant(kind.data), Chaine(StringTableText(kind.title)), nullptr));
    detail::ForEachCalculation(calculations_, [&axe, mode](const ETabulonVariableDesc& variable,
                                                           const ETabulonCumulFunc& function) {
        AddLabel(*axe, mode, variable, function);
    });
    return axe.Detach();
}

// -------------------------------------------------------------------------------------------- tags

bool ETabulonScoreCumuls::IsComputeTag(const ETabulonTag& tag) const {
    return tag.IsAtOrBelow(root_);
}

// If a level has two keys, the root's values use up more keys than they are, so that fewer levels
// than levelCount_ may remain below the root.
unsigned int ETabulonScoreCumuls::DetailLevelCount() const {
    return std::min(levelCount_, detail::LevelsBelow(root_, *sortDesc_));
}

ETabulonTag ETabulonScoreCumuls::ExtractLabelTag(const ETabulonTag& tag) const {
    return sortDesc_->ExtractDetails(tag, root_, DetailLevelCount(), kCalc);
}

}  // namespace etabulon
