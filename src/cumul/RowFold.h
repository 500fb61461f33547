#pragma once

#include "cumul/BlockFold.h"
#include "cumul/CellPlan.h"
#include "cumul/MergeFold.h"

#include <cstring>
#include <type_traits>

namespace etabulon::detail {

template <class Content>
inline constexpr char kContent = 0;

/// The loops of one fold over the rows of packed cells.
template <class Fold>
struct RowFold {
    static void Converted(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                          const ETabulonPrimaryKey* /*key*/, RecordReading& reading) {
        const bool isMissing = value.IsMissing();
        for (std::byte* const row : rows) {
            auto& state = plan.StateIn<NumberState>(row);
            if (isMissing) {
                StepNumbered<Fold>(NumberAccumulator<std::int64_t>(state), state, reading.record,
                                   MissingNumber{});
            } else {
                WideState wide = Widened(state, plan.blank);
                StepNumbered<Fold>(WideAccumulator(wide, plan.blank), wide, reading.record, value);
                state = Narrowed(wide);
            }
        }
    }

    template <class T>
    static void Numbers(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                        const ETabulonPrimaryKey* key, RecordReading& last) {
        T number{};
        const ETypeInfo& like = *plan.type;
        if (last.value == &value && last.storage == like.storage && last.scale == like.scale) {
            std::memcpy(&number, &last.bits, sizeof number);
        } else if (ReadNumber(value, like, number)) {
            last.value = &value;
            last.storage = like.storage;
            last.scale = like.scale;
            std::memcpy(&last.bits, &number, sizeof number);
        } else {
            Converted(plan, rows, value, key, last);
            return;
        }
        for (std::byte* const row : rows) {
            if constexpr (kKeepsOrder<Fold>) {
                auto& state = plan.StateIn<NumberState>(row);
                StepNumbered<Fold>(NumberAccumulator<T>(state), state, last.record, number);
            } else {
                BlockFold<Fold>::template StepIn<T>(row + plan.offset, number);
            }
        }
    }

    /// For folds that read no values.
    static void Records(const CellPlan& plan, CellPlan::Rows rows, const EVariant& /*value*/,
                        const ETabulonPrimaryKey* /*key*/, RecordReading& /*reading*/) {
        for (std::byte* const row : rows) {
            BlockFold<Fold>::template StepIn<std::uint32_t>(row + plan.offset, MissingNumber{});
        }
    }

    static void Wides(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                      const ETabulonPrimaryKey* /*key*/, RecordReading& reading) {
        for (std::byte* const row : rows) {
            auto& state = plan.StateIn<WideState>(row);
            StepNumbered<Fold>(WideAccumulator(state, plan.blank), state, reading.record, value);
        }
    }

    static void Codes(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                      const ETabulonPrimaryKey* key, RecordReading& reading) {
        for (std::byte* const row : rows) {
            auto& state = plan.StateIn<CodeState>(row);
            StepNumbered<Fold>(CodeAccumulator(state, plan.blank), state, reading.record, value,
                               *key);
        }
    }

    /// The state is used for its counter alone.
    template <class State>
    static constexpr bool kIsCounter = !Fold::kReadsValues && std::is_same_v<State, NumberState>;

    template <class State>
    static void Result(const CellPlan& plan, std::byte* row, ETabulonValue& result) {
        const State& state = plan.StateIn<State>(row);
        if constexpr (kIsCounter<State>) {
            ReadHeld(CountedState(state), plan.blank, result);
        } else {
            ReadHeld(state, plan.blank, result);
            if constexpr (!Fold::kNeedsKey && &Fold::Finish != &CumulFold::Finish) {
                result = Fold::Finish(result, state.counter);
            }
        }
    }

    template <class State>
    static void Choose(CellPlan& plan, CellPlan::FoldRows fold, CellPlan::FoldRecords foldBlock,
                       CellPlan::MergeRow merge) {
        plan.state = &kStateKind<State>;
        plan.content = kIsCounter<State> ? nullptr : &kContent<typename ContentOf<Fold>::Type>;
        plan.counts = Fold::kCounts;
        plan.result = &Result<State>;
        plan.fold = fold;
        plan.foldBlock = foldBlock;
        plan.merge = merge;
        plan.needsKey = Fold::kNeedsKey;
        plan.readsValues = !kIsCounter<State>;
    }
    template <class T>
    static void ChooseNumbers(CellPlan& plan) {
        Choose<NumberState>(plan, &Numbers<T>, &BlockFold<Fold>::template Numbers<T>,
                            &MergeFold<Fold>::template Numbers<T>);
    }

    /// Scaled numbers of one scale add and compare as the whole numbers that they are stored as.
    static void ChooseByStorage(CellPlan& plan) {
        switch (plan.type->storage) {
            case EStorage::Int32:
            case EStorage::Scaled32:
                return ChooseNumbers<std::int32_t>(plan);
            case EStorage::Int64:
            case EStorage::Scaled64:
                return ChooseNumbers<std::int64_t>(plan);
            case EStorage::UInt32:
                return ChooseNumbers<std::uint32_t>(plan);
            case EStorage::Double:
                return ChooseNumbers<double>(plan);
            default:
                return Choose<NumberState>(plan, &Converted, &FoldValues,
                                           &MergeFold<Fold>::Converted);
        }
    }
};

/// A result of this type fits a NumberState.
[[nodiscard]] bool IsNumberCell(const EVariant& blank);

template <class Fold>
void FoldBuffer<Fold>::PlanCells(CellPlan& plan) const {
    using Rows = RowFold<Fold>;
    using Merge = MergeFold<Fold>;
    if constexpr (Fold::kNeedsKey) {
        Rows::template Choose<CodeState>(plan, &Rows::Codes, &FoldValues, &Merge::Codes);
    } else if constexpr (Fold::kReadsValues) {
        if (IsNumberCell(plan.blank)) {
            Rows::ChooseByStorage(plan);
        } else {
            Rows::template Choose<WideState>(plan, &Rows::Wides, &FoldValues, &Merge::Wides);
        }
    } else if (IsNumberCell(plan.blank) && plan.type->storage == EStorage::UInt32) {
        Rows::template Choose<NumberState>(plan, &Rows::Records, &BlockFold<Fold>::Records,
                                           &Merge::Counts);
    } else {
        Rows::template Choose<WideState>(plan, &Rows::Wides, &FoldValues, &Merge::Wides);
    }
}

}  // namespace etabulon::detail
