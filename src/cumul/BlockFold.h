#pragma once

#include "cumul/CellPlan.h"

#include <array>
#include <cstddef>
#include <utility>

namespace etabulon::detail {

/// The loops of one fold over the records of a block.
template <class Fold>
struct BlockFold {
    /// A column of other numbers than the calculation's is folded value by value.
    template <class T>
    static void Numbers(const CellPlan& plan, const BlockRows& rows, unsigned int column) {
        const ERecordBlock::Column& from = rows.block->At(column);
        const ETypeInfo& like = *plan.type;
        if (from.words == nullptr || from.type->storage != like.storage ||
            from.type->scale != like.scale) {
            return FoldValues(plan, rows, column);
        }
        const RowWords numbers(rows, from);
        const auto numberAt = [words = numbers.Words()](std::size_t at) {
            return NumberAt<T>(words[at]);
        };
        if (numbers.Missing() == nullptr) {
            return FoldEach<T>(
                plan, rows, [numberAt](std::size_t at, const auto& step) { step(numberAt(at)); });
        }
        FoldEach<T>(plan, rows,
                    [numberAt, missing = numbers.Missing(), first = numbers.First()](
                        std::size_t at, const auto& step) {
                        const std::size_t bit = first + at;
                        if ((missing[bit / 64] >> (bit % 64) & 1U) != 0) {
                            step(MissingNumber{});
                        } else {
                            step(numberAt(at));
                        }
                    });
    }

    static void Records(const CellPlan& plan, const BlockRows& rows, unsigned int /*column*/) {
        FoldEach<std::uint32_t>(
            plan, rows, [](std::size_t /*at*/, const auto& step) { step(MissingNumber{}); });
    }

    /// Folds into the rows of each record what `read(the record's index, step)` gives to `step`.
    /// One loop for each usual number of targets: a score has the line, a grid the cell and two
    /// totals.
    template <class T, class Read>
    static void FoldEach(const CellPlan& plan, const BlockRows& rows, const Read& read) {
        if constexpr (kKeepsOrder<Fold>) {
            return FoldInOrder<T>(plan, rows, read);
        }
        if constexpr (Fold::kKeepsWider) {
            return FoldNarrowFirst<T>(plan, rows, read);
        }
        if (rows.shared != nullptr && rows.targets.size() == 1) {
            return FoldTargets<T>(plan, rows, read, std::array{rows.targets[0]});
        }
        if (rows.shared != nullptr && rows.targets.size() == 3) {
            if (rows.isSteady) {
                return FoldSteady<T>(plan, rows, read);
            }
            return FoldTargets<T>(plan, rows, read,
                                  std::array{rows.targets[0], rows.targets[1], rows.targets[2]});
        }
        ForEachRecord(rows, [&](std::size_t at, CellPlan::Rows rowsOfRecord) {
            read(at, [&](const auto& number) {
                for (std::byte* const row : rowsOfRecord) {
                    StepIn<T>(row + plan.offset, number);
                }
            });
        });
    }

    /// For folds that keep the number of the record that gave the result.
    template <class T, class Read>
    static void FoldInOrder(const CellPlan& plan, const BlockRows& rows, const Read& read) {
        ForEachRecord(rows, [&](std::size_t at, CellPlan::Rows rowsOfRecord) {
            const std::uint32_t record = NumberAfter(rows.firstNumber, at);
            read(at, [&](const auto& number) {
                for (std::byte* const row : rowsOfRecord) {
                    auto& state = plan.StateIn<NumberState>(row);
                    StepNumbered<Fold>(NumberAccumulator<T>(state), state, record, number);
                }
            });
        });
    }

    /// For a fold that keeps the wider result: totals are read for few records.
    template <class T, class Read>
    [[gnu::flatten]] static void FoldNarrowFirst(const CellPlan& plan, const BlockRows& rows,
                                                 const Read read) {
        const BlockRows::RowsOfTarget cells = rows.targets.front();
        const std::size_t count = rows.records.size();
        const std::size_t offset = plan.offset;
        for (std::size_t at = 0; at < count; ++at) {
            read(at, [&](const auto& number) {
                if (StepIn<T>(cells[at] + offset, number) != FoldEffect::Kept) {
                    StepInOthers<T>(plan, rows, at, number);
                }
            });
        }
    }
    template <class T, class Number>
    [[gnu::noinline]] static void StepInOthers(const CellPlan& plan, const BlockRows& rows,
                                               std::size_t at, Number number) {
        for (const BlockRows::RowsOfTarget target : rows.targets.subspan(1)) {
            StepIn<T>(target[at] + plan.offset, number);
        }
        if (rows.shared != nullptr) {
            StepIn<T>(rows.shared + plan.offset, number);
        }
    }

    /// The shared row is folded in registers as long as it holds a number: through memory each
    /// record would wait for the one before.
    template <class T, class Read, std::size_t Targets>
    [[gnu::flatten]] static void FoldTargets(
        const CellPlan& plan, const BlockRows& rows, const Read read,
        const std::array<BlockRows::RowsOfTarget, Targets> targets) {
        const std::size_t count = rows.records.size();
        const std::size_t offset = plan.offset;
        const auto stepInTargets = [&](std::size_t at, const auto& number) {
            [&]<std::size_t... Target>(std::index_sequence<Target...>) {
                (StepIn<T>(targets[Target][at] + offset, number), ...);
            }
            (std::make_index_sequence<Targets>());
        };
        auto& shared = plan.StateIn<NumberState>(rows.shared);
        for (std::size_t at = 0; at < count;) {
            if (shared.held != Held::Value) {
                read(at, [&](const auto& number) {
                    stepInTargets(at, number);
                    StepInAny<T>(shared, number);
                });
                ++at;
                continue;
            }
            LocalState<T> all(shared);
            do {
                read(at, [&](const auto& number) {
                    stepInTargets(at, number);
                    StepInNumber<T>(all, number);
                });
            } while (++at < count && all.held == Held::Value);
            all.StoreIn(shared);
        }
    }

    /// The same for a steady second target, whose row stays in registers too.
    template <class T, class Read>
    [[gnu::flatten]] static void FoldSteady(const CellPlan& plan, const BlockRows& rows,
                                            const Read read) {
        const BlockRows::RowsOfTarget targets[] = {rows.targets[0], rows.targets[1],
                                                   rows.targets[2]};
        const std::size_t count = rows.records.size();
        const std::size_t offset = plan.offset;
        const auto stepInTargets = [&](std::size_t at, const auto& number) {
            StepIn<T>(targets[0][at] + offset, number);
            StepIn<T>(targets[2][at] + offset, number);
        };
        auto& shared = plan.StateIn<NumberState>(rows.shared);
        for (std::size_t at = 0; at < count;) {
            std::byte* const row = targets[1][at];
            auto& steady = plan.StateIn<NumberState>(row);
            if (shared.held != Held::Value || steady.held != Held::Value) {
                read(at, [&](const auto& number) {
                    stepInTargets(at, number);
                    StepInAny<T>(steady, number);
                    StepInAny<T>(shared, number);
                });
                ++at;
                continue;
            }
            LocalState<T> second(steady);
            LocalState<T> all(shared);
            do {
                read(at, [&](const auto& number) {
                    stepInTargets(at, number);
                    StepInNumber<T>(second, number);
                    StepInNumber<T>(all, number);
                });
            } while (++at < count && targets[1][at] == row && second.held == Held::Value &&
                     all.held == Held::Value);
            second.StoreIn(steady);
            all.StoreIn(shared);
        }
    }

    template <class T, class Number>
    static FoldEffect StepIn(std::byte* at, Number number) {
        auto& state = StateAt<NumberState>(at);
        if (state.held == Held::Value) [[likely]] {
            return StepInNumber<T>(state, number);
        }
        return StepInAny<T>(state, number);
    }
    /// Requires a state that holds a number.
    template <class T, class State, class Number>
    static FoldEffect StepInNumber(State& state, Number number) {
        NumberAccumulator<T, State, /*HoldsNumber=*/true> accumulator(state);
        return Fold::Step(accumulator, number);
    }
    template <class T, class Number>
    [[gnu::noinline, gnu::cold]] static FoldEffect StepInAny(NumberState& state, Number number) {
        NumberAccumulator<T> accumulator(state);
        return Fold::Step(accumulator, number);
    }
};

}  // namespace etabulon::detail
