#include "etabulon/grid/ETabulonGridCumuls.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/EStringTable.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridCumulsBuffers.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/ResultParts.h"

#include <algorithm>

namespace etabulon {

namespace {

using Axe = ETabulonGridAxe;

constexpr unsigned int kVariablesTitle = 10707;
constexpr unsigned int kFunctionsTitle = 10708;
constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

void SetResultType(Axe::AxeLabel& label, const ETabulonVariableDesc& variable,
                   const ETabulonCumulFunc& function) {
    label.SetColumnTypeInfos(function.ResultType(variable.DataType()),
                             function.ResultSize(variable.DataSize()));
}

ERef<Axe> BuildIntrinsic(Axe::AxeType type, const char* data, unsigned int title) {
    return ERef<Axe>::Adopt(
        Axe::Build(type, EVariant(data), Chaine(StringTableText(title)), nullptr));
}

}  // namespace

ETabulonGridCumuls::ETabulonGridCumuls(const ETabulonTag& root, unsigned int axesCount,
                                       const ETabulonSortDesc* sortDesc,
                                       const ITabulonCumulFuncOnVarCollection* calculations)
    : root_(root),
      axesCount_(axesCount),
      sortDesc_(MakeRef<ETabulonSortDesc>(*sortDesc)),
      calculations_(calculations) {}

ETabulonGridCumuls* ETabulonGridCumuls::Build(
    const ETabulonTag& root, unsigned int axesCount, const ETabulonSortDesc* sortDesc,
    const ITabulonCumulFuncOnVarCollection* calculations) {
    return new ETabulonGridCumuls(root, axesCount, sortDesc, calculations);
}

ETabulonGridCumulsBuffers* ETabulonGridCumuls::Start() {
    return new ETabulonGridCumulsBuffers(this);
}

// ------------------------------------------------------------------------------------------ counts

ETabulonGridCumuls::IntrinsicAxesMode ETabulonGridCumuls::AxesMode() const {
    if (axesMode_ == IntrinsicUnknown) {
        axesMode_ = ComputeIntrinsics();
        if (axesMode_ != IntrinsicNone && calculations_.PriorityCalculationPos() >= 0 &&
            MaxDataAxesCount() > 1) {
            axesMode_ = IntrinsicPriority;
        }
    }
    return axesMode_;
}

// Counts distinct variables and functions, so that a repeated calculation counts once.
ETabulonGridCumuls::IntrinsicAxesMode ETabulonGridCumuls::ComputeIntrinsics() const {
    FSortedMap<ETabulonVariableID, PUniqueT<Chaine>> codesOf;
    PUniqueT<Chaine> codes;
    detail::ForEachCalculation(calculations_, [&](const ETabulonVariableDesc& variable,
                                                  const ETabulonCumulFunc& function) {
        const int index = codesOf.Find(variable.DataID(), FindOrInsert);
        codesOf.At(static_cast<unsigned int>(index)).value.Add(function.Code());
        codes.Add(function.Code());
    });
    const bool severalVariables = codesOf.Size() > 1;
    const bool severalFunctions = codes.Size() > 1;
    const bool oneEach = std::all_of(codesOf.begin(), codesOf.end(), [](const auto& variable) {
        return variable.value.Size() < 2;
    });
    if (codesOf.Size() == 0) {
        return IntrinsicNone;
    }
    if (oneEach && severalVariables) {
        return IntrinsicVarFuncs;
    }
    if (severalVariables && severalFunctions) {
        return IntrinsicVarsAndFuncs;
    }
    if (severalFunctions) {
        return IntrinsicFuncs;
    }
    // Deliberate: never returns IntrinsicVars, because several variables that share one function
    // are IntrinsicVarFuncs already. The mode and its code stay as part of the table of modes that
    // subclasses and views use. SeveralVariablesOfOneFunctionAreVarFuncs holds it.
    return severalVariables ? IntrinsicVars : IntrinsicNone;
}

unsigned int ETabulonGridCumuls::IntrinsicAxesCount() const {
    switch (AxesMode()) {
        case IntrinsicVars:
        case IntrinsicFuncs:
        case IntrinsicVarFuncs:
            return 1;
        case IntrinsicVarsAndFuncs:
            return 2;
        default:
            return 0;
    }
}

unsigned int ETabulonGridCumuls::MaxDataAxesCount() const {
    // Deliberate: the unsigned difference isn't guarded. A root that holds more levels than the
    // sort description shows gives a huge count, so that the grid gets all axes asked for, without
    // levels. RootBeyondTheSortLevelsCountsHuge holds it.
    return sortDesc_->SortLevelCount(kCalc) - root_.KnownLevelsCount();
}

unsigned int ETabulonGridCumuls::GridAxesCount() const {
    const unsigned int intrinsic = IntrinsicAxesCount();
    return std::max(std::min(axesCount_, intrinsic + MaxDataAxesCount()), intrinsic);
}

unsigned int ETabulonGridCumuls::CalculationAxesCount() const {
    if (calculationAxesCount_ == kNotComputed) {
        calculationAxesCount_ = GridAxesCount() - IntrinsicAxesCount();
    }
    return calculationAxesCount_;
}

unsigned int ETabulonGridCumuls::LevelsBelowRoot() const {
    return detail::LevelsBelow(root_, *sortDesc_);
}

unsigned int ETabulonGridCumuls::DetailLevelCount() const {
    return std::min(CalculationAxesCount(), LevelsBelowRoot());
}

// -------------------------------------------------------------------------------------------- tags

bool ETabulonGridCumuls::IsComputeTag(const ETabulonTag& tag) const {
    return tag.IsAtOrBelow(root_);
}

ETabulonTag ETabulonGridCumuls::ExtractComputeTag(const ETabulonTag& tag) const {
    return sortDesc_->ExtractDetails(tag, root_, DetailLevelCount(), kCalc);
}

// -------------------------------------------------------------------------------------------- axes

ETabulonGridAxe* ETabulonGridCumuls::BuildAxeDesc(unsigned int index) const {
    // Of one data axis and one intrinsic axis the data axis comes first.
    //
    // Deliberate: in the modes with one intrinsic axis every axis is that axis unless the grid has
    // exactly two, even if data axes are counted in. Views show two axes at most and ask for no
    // more. AreThoseOfTheModeAndTheirCount holds it.
    const bool dataFirst = GridAxesCount() == 2 && index != 1;
    ERef<ETabulonGridAxe> axe;
    switch (AxesMode()) {
        case IntrinsicVars:
        case IntrinsicVarFuncs:
            axe = dataFirst ? DataAxe(index) : VariablesAxe();
            break;
        case IntrinsicFuncs:
            axe = dataFirst ? DataAxe(index) : FunctionsAxe();
            break;
        case IntrinsicVarsAndFuncs:
            axe = index == 0 ? VariablesAxe() : FunctionsAxe();
            break;
        default:
            axe = DataAxe(index);
            break;
    }
    return axe.Detach();
}

ERef<ETabulonGridAxe> ETabulonGridCumuls::VariablesAxe() const {
    ERef<Axe> axe = BuildIntrinsic(Axe::AxeVars, "Vars", kVariablesTitle);
    const bool ownTypes = AxesMode() == IntrinsicVars;
    detail::ForEachCalculation(calculations_, [&axe, ownTypes](const ETabulonVariableDesc& variable,
                                                               const ETabulonCumulFunc& function) {
        if (ownTypes) {
            axe->AddLabel(&variable).SetColumnTypeInfos(variable.DataType(), variable.DataSize());
        } else {
            // Deliberate: for a repeated variable the last function sets the column's type, though
            // the label stays that of the first. AreThoseOfTheModeAndTheirCount holds it.
            SetResultType(axe->AddLabel(&variable, &function, /*headerOnly=*/true), variable,
                          function);
        }
    });
    return axe;
}

ERef<ETabulonGridAxe> ETabulonGridCumuls::FunctionsAxe() const {
    ERef<Axe> axe = BuildIntrinsic(Axe::AxeFuncs, "Funcs", kFunctionsTitle);
    const bool typed = AxesMode() == IntrinsicFuncs;
    detail::ForEachCalculation(calculations_, [&axe, typed](const ETabulonVariableDesc& variable,
                                                            const ETabulonCumulFunc& function) {
        Axe::AxeLabel& label = axe->AddLabel(&function);
        if (typed) {
            SetResultType(label, variable, function);
        }
    });
    return axe;
}

ERef<ETabulonGridAxe> ETabulonGridCumuls::DataAxe(unsigned int index) const {
    if (index >= LevelsBelowRoot()) {
        return ERef<Axe>::Adopt(Axe::Build(Axe::AxeData, EVariant(), Chaine(), nullptr));
    }
    const unsigned int level = sortDesc_->DetailLevel(root_, index, kCalc).Level();
    return ERef<Axe>::Adopt(Axe::Build(level, &sortDesc_->AvailableLevels()));
}

}  // namespace etabulon
