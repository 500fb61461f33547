#pragma once

#include "cumul/CellPlan.h"

#include <cstdint>
#include <utility>

namespace etabulon::detail {

/// How the states of one fold over two groups of records become the state over all of them. The
/// records of the groups may alternate: folds whose result depends on the order of records compare
/// record numbers.
///
/// The result is that of a fold over all records in their order, but for the last digits of sums of
/// reals, and for a sum that was clamped on its way. A wider state can't mend the latter: a fold
/// clamps at each record, so that what is cut hangs on how the records of both groups lie among
/// each other.
template <class Fold>
struct MergeFold {
    static void Wides(const CellPlan& plan, std::byte* into, std::byte* from, std::uint32_t after) {
        if constexpr (!Fold::kReadsValues) {
            return WideCounts(plan, plan.StateIn<WideState>(into), plan.StateIn<WideState>(from));
        }
        const auto step = [&plan](WideState& state, const WideState& other) {
            WideAccumulator accumulator(state, plan.blank);
            Content::Step(accumulator, other.value);
        };
        Merge(plan.StateIn<WideState>(into), plan.StateIn<WideState>(from), after, step);
    }

    template <class T>
    static void Numbers(const CellPlan& plan, std::byte* into, std::byte* from,
                        std::uint32_t after) {
        const auto step = [](NumberState& state, const NumberState& other) {
            NumberAccumulator<T> accumulator(state);
            if (other.held == Held::Missing) {
                Content::Step(accumulator, MissingNumber{});
            } else {
                Content::Step(accumulator, NumberIn<T>(other));
            }
        };
        Merge(plan.StateIn<NumberState>(into), plan.StateIn<NumberState>(from), after, step);
    }

    /// For numbers of any storage.
    static void Converted(const CellPlan& plan, std::byte* into, std::byte* from,
                          std::uint32_t after) {
        const auto step = [&plan](NumberState& state, const NumberState& other) {
            WideState wide = Widened(state, plan.blank);
            WideAccumulator accumulator(wide, plan.blank);
            Content::Step(accumulator, Widened(other, plan.blank).value);
            state = Narrowed(wide);
        };
        Merge(plan.StateIn<NumberState>(into), plan.StateIn<NumberState>(from), after, step);
    }

    /// For folds that read no values.
    static void Counts(const CellPlan& plan, std::byte* into, std::byte* from,
                       std::uint32_t /*after*/) {
        auto& state = plan.StateIn<NumberState>(into);
        state.counter += plan.StateIn<NumberState>(from).counter;
        state = CountedState(state);
    }

    /// The result is the code of the first of equal extremes; of records without a value, that of
    /// the last. A missing value resets CODEMIN. A state doesn't record where that happened
    /// relative to the other group's records, so the merged result is special.
    static void Codes(const CellPlan& plan, std::byte* into, std::byte* from, std::uint32_t after) {
        auto& state = plan.StateIn<CodeState>(into);
        CodeState other = plan.StateIn<CodeState>(from);
        other.counter = NumberAfter(other.counter, after);
        if (other.held == Held::Nothing) {
            return;
        }
        if (state.held == Held::Nothing) {
            state = std::move(other);
            return;
        }
        const bool metMissing = state.metMissing || other.metMissing;
        const bool isSpecial = state.held == Held::Special || other.held == Held::Special ||
                               (metMissing && Fold::kRestartsAfterMissing);
        if (IsBefore(other, state)) {
            state = std::move(other);
        }
        state.metMissing = metMissing;
        if (isSpecial) {
            state.held = Held::Special;
        }
    }

private:
    using Content = typename ContentOf<Fold>::Type;

    static void WideCounts(const CellPlan& plan, WideState& state, const WideState& from) {
        if (from.held != Held::Nothing) {
            state.counter += from.counter;
            WideAccumulator(state, plan.blank).Store(EVariant(state.counter));
        }
    }

    /// A fold over all records gives the result of `other`.
    [[nodiscard]] static bool IsBefore(const CodeState& other, const CodeState& state) {
        if (other.extreme.IsMissing() || state.extreme.IsMissing()) {
            return other.extreme.IsMissing() && state.extreme.IsMissing()
                       ? other.counter > state.counter
                       : state.extreme.IsMissing();
        }
        return Fold::IsBetter(other.extreme, state.extreme) ||
               (!Fold::IsBetter(state.extreme, other.extreme) && other.counter < state.counter);
    }

    template <class State, class Step>
    static void Merge(State& state, const State& from, std::uint32_t after, const Step& step) {
        if (from.held == Held::Nothing) {
            return;
        }
        const std::uint32_t number =
            kKeepsOrder<Fold> ? NumberAfter(from.counter, after) : from.counter;
        if (state.held == Held::Nothing ||
            (Fold::kMerge == FoldMerge::Latest && number >= state.counter) ||
            (Fold::kMerge == FoldMerge::Earliest && number < state.counter)) {
            state = from;
            state.counter = number;
            return;
        }
        if constexpr (Fold::kMerge == FoldMerge::Common) {
            MergeCommon(state, from, number, step);
        } else if constexpr (Fold::kMerge == FoldMerge::Steps) {
            step(state, from);
            state.counter += from.counter;
        }
    }

    template <class State, class Step>
    static void MergeCommon(State& state, const State& from, std::uint32_t number,
                            const Step& step) {
        if (state.held == Held::Special) {
            return;
        }
        State later = from;
        later.counter = number;
        if (from.held == Held::Special || number < state.counter) {
            std::swap(state, later);
        }
        if (state.held != Held::Special) {
            const std::uint32_t first = state.counter;
            step(state, later);
            state.counter = first;
        }
    }
};

}  // namespace etabulon::detail
