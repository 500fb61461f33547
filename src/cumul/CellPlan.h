#pragma once

#include "cumul/Accumulators.h"
#include "cumul/BlockRows.h"
#include "cumul/CumulFold.h"
#include "etabulon/foundation/EDataType.h"

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <span>
#include <utility>

namespace etabulon::detail {

/// How the states of one kind are constructed and destroyed.
struct StateKind {
    std::uint32_t bytes;
    void (*begin)(std::byte* address) noexcept;
    void (*end)(std::byte* address) noexcept;  // null: nothing to do
};

template <class State>
[[nodiscard]] State& StateAt(std::byte* address) noexcept {
    return *std::launder(reinterpret_cast<State*>(address));
}

template <class State>
inline constexpr StateKind kStateKind = {
    sizeof(State), [](std::byte* address) noexcept { ::new (address) State; },
    std::is_trivially_destructible_v<State>
        ? nullptr
        : +[](std::byte* address) noexcept { std::destroy_at(&StateAt<State>(address)); }};

/// The number that was read last: several functions often fold one variable.
struct NumberReading {
    const EVariant* value = nullptr;
    std::uint64_t bits = 0;
    EStorage storage{};
    std::uint8_t scale = 0;
};

/// One calculation of packed cells: where its accumulators lie within a row, and how they fold.
struct CellPlan {
    using Rows = std::span<std::byte* const>;
    using FoldRows = void (*)(const CellPlan& plan, Rows rows, const EVariant& value,
                              const ETabulonPrimaryKey* key, NumberReading& last);
    using FoldRecords = void (*)(const CellPlan& plan, const BlockRows& rows, unsigned column);
    using ReadResult = void (*)(const CellPlan& plan, std::byte* row, ETabulonValue& result);

    template <class State>
    [[nodiscard]] State& StateIn(std::byte* row) const noexcept {
        return StateAt<State>(row + offset);
    }

    EVariant blank;                   // a first result is stored in a copy
    const ETypeInfo* type = nullptr;  // of blank
    FoldRows fold = nullptr;
    FoldRecords foldBlock = nullptr;
    ReadResult result = nullptr;
    const StateKind* state = nullptr;
    std::uint32_t offset = 0;  // within a row
    // What the state holds: identical addresses, identical contents. Null: the counter only.
    const char* content = nullptr;
    bool counts = false;  // the state's counter has the number of records
    bool needsKey = false;
    bool readsValues = true;
};

/// Folds the records of a block value by value, by the plan's own `fold`.
void FoldValues(const CellPlan& plan, const BlockRows& rows, unsigned column);

/// Reads the value as a number of the storage and scale of `like`; false where that isn't exact.
template <class T>
[[nodiscard]] bool ReadNumber(const EVariant& value, const ETypeInfo& like, T& number) noexcept {
    const void* const bytes = value.GetBuffer();
    const ETypeInfo& info = TypeInfo(value.Type());
    if (bytes == nullptr) {
        return false;
    }
    if (info.storage == like.storage && info.scale == like.scale) {
        std::memcpy(&number, bytes, sizeof number);
        return true;
    }
    if (info.storage > EStorage::UInt32 || like.scale != 0) {
        return false;  // the value or the target isn't a whole number
    }
    const std::int64_t whole = value.AsInt64();
    bool fits = false;
    if constexpr (std::is_floating_point_v<T>) {
        constexpr std::int64_t kExact = std::int64_t{1} << std::numeric_limits<T>::digits;
        fits = whole >= -kExact && whole <= kExact;
    } else {
        fits = std::in_range<T>(whole);
    }
    number = static_cast<T>(whole);
    return fits;
}

// Reads the content of a state, as a value with the type and size of `blank`.
void ReadHeld(const NumberState& state, const EVariant& blank, ETabulonValue& value);
void ReadHeld(const WideState& state, const EVariant& blank, ETabulonValue& value);
void ReadHeld(const CodeState& state, const EVariant& blank, ETabulonValue& value);

// Converts a number's state to a wide one and back, for values of another type than the cell's.
[[nodiscard]] WideState Widened(const NumberState& state, const EVariant& blank);
[[nodiscard]] NumberState Narrowed(const WideState& state);

/// The state of a count: that of any fold that counts records has its result.
[[nodiscard]] inline NumberState CountedState(const NumberState& state) noexcept {
    return {state.counter, state.counter, state.counter == 0 ? Held::Nothing : Held::Value};
}

/// The fold whose accumulated value is that of `Fold` too: an average's is that of a sum.
template <class Fold>
struct ContentOf {
    using Type = Fold;
};
template <class Fold>
requires requires { typename Fold::Content; }
struct ContentOf<Fold> {
    using Type = typename Fold::Content;
};
template <class Content>
inline constexpr char kContent = 0;

/// The loops of one fold over the rows of packed cells.
template <class Fold>
struct RowFold {
    static void Converted(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                          const ETabulonPrimaryKey* /*key*/, NumberReading& /*last*/) {
        const bool isMissing = value.IsMissing();
        for (std::byte* const row : rows) {
            auto& state = plan.StateIn<NumberState>(row);
            if (isMissing) {
                NumberAccumulator<std::int64_t> number(state);
                Fold::Step(number, MissingNumber{});
            } else {
                WideState wide = Widened(state, plan.blank);
                WideAccumulator converted(wide, plan.blank);
                Fold::Step(converted, value);
                state = Narrowed(wide);
            }
        }
    }

    template <class T>
    static void Numbers(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                        const ETabulonPrimaryKey* key, NumberReading& last) {
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
            StepIn<T>(row + plan.offset, number);
        }
    }

    /// The same for a block. A column of other numbers is folded value by value.
    template <class T>
    static void BlockNumbers(const CellPlan& plan, const BlockRows& rows, unsigned column) {
        const ERecordBlock::Column& from = rows.block->At(column);
        const ETypeInfo& like = *plan.type;
        if (from.words == nullptr || from.type->storage != like.storage ||
            from.type->scale != like.scale) {
            return FoldValues(plan, rows, column);
        }
        const auto numberOf = [words = from.words](EBlockIndex record) {
            return NumberAt<T>(words[record]);
        };
        if (from.missing == nullptr) {
            return FoldEach<T>(plan, rows, [numberOf](EBlockIndex record, const auto& step) {
                step(numberOf(record));
            });
        }
        FoldEach<T>(plan, rows,
                    [numberOf, missing = from.missing](EBlockIndex record, const auto& step) {
                        if ((missing[record / 64U] >> (record % 64U) & 1U) != 0) {
                            step(MissingNumber{});
                        } else {
                            step(numberOf(record));
                        }
                    });
    }

    static void BlockRecords(const CellPlan& plan, const BlockRows& rows, unsigned /*column*/) {
        FoldEach<std::uint32_t>(
            plan, rows, [](EBlockIndex /*record*/, const auto& step) { step(MissingNumber{}); });
    }

    /// Folds into the rows of each record what `read(record, step)` gives to `step`. One loop for
    /// each usual number of places: a score has the line, a grid the cell and two totals.
    template <class T, class Read>
    static void FoldEach(const CellPlan& plan, const BlockRows& rows, const Read& read) {
        if (rows.shared != nullptr && rows.places.size() == 1) {
            return FoldPlaces<T>(plan, rows, read, std::array{rows.places[0]});
        }
        if (rows.shared != nullptr && rows.places.size() == 3) {
            if (rows.isSteady) {
                return FoldSteady<T>(plan, rows, read);
            }
            return FoldPlaces<T>(plan, rows, read,
                                 std::array{rows.places[0], rows.places[1], rows.places[2]});
        }
        ForEachRecord(rows, [&](EBlockIndex record, CellPlan::Rows rowsOfRecord) {
            read(record, [&](const auto& number) {
                for (std::byte* const row : rowsOfRecord) {
                    StepIn<T>(row + plan.offset, number);
                }
            });
        });
    }

    /// The shared row is folded in registers as long as it holds a number: through memory each
    /// record would wait for the one before.
    template <class T, class Read, std::size_t Places>
    [[gnu::flatten]] static void FoldPlaces(const CellPlan& plan, const BlockRows& rows,
                                            const Read read,
                                            const std::array<BlockRows::Place, Places> places) {
        const EBlockIndex* const records = rows.records.data();
        const std::size_t count = rows.records.size();
        const std::size_t offset = plan.offset;
        const auto stepInPlaces = [&](std::size_t at, const auto& number) {
            [&]<std::size_t... Place>(std::index_sequence<Place...>) {
                (StepIn<T>(places[Place][at] + offset, number), ...);
            }
            (std::make_index_sequence<Places>());
        };
        auto& shared = plan.StateIn<NumberState>(rows.shared);
        for (std::size_t at = 0; at < count;) {
            if (shared.held != Held::Value) {
                read(records[at], [&](const auto& number) {
                    stepInPlaces(at, number);
                    StepInAny<T>(shared, number);
                });
                ++at;
                continue;
            }
            LocalState<T> all(shared);
            do {
                read(records[at], [&](const auto& number) {
                    stepInPlaces(at, number);
                    StepInNumber<T>(all, number);
                });
            } while (++at < count && all.held == Held::Value);
            all.StoreIn(shared);
        }
    }

    /// The same for a steady second place, whose row stays in registers too.
    template <class T, class Read>
    [[gnu::flatten]] static void FoldSteady(const CellPlan& plan, const BlockRows& rows,
                                            const Read read) {
        const BlockRows::Place places[] = {rows.places[0], rows.places[1], rows.places[2]};
        const EBlockIndex* const records = rows.records.data();
        const std::size_t count = rows.records.size();
        const std::size_t offset = plan.offset;
        const auto stepInPlaces = [&](std::size_t at, const auto& number) {
            StepIn<T>(places[0][at] + offset, number);
            StepIn<T>(places[2][at] + offset, number);
        };
        auto& shared = plan.StateIn<NumberState>(rows.shared);
        for (std::size_t at = 0; at < count;) {
            std::byte* const row = places[1][at];
            auto& steady = plan.StateIn<NumberState>(row);
            if (shared.held != Held::Value || steady.held != Held::Value) {
                read(records[at], [&](const auto& number) {
                    stepInPlaces(at, number);
                    StepInAny<T>(steady, number);
                    StepInAny<T>(shared, number);
                });
                ++at;
                continue;
            }
            LocalState<T> second(steady);
            LocalState<T> all(shared);
            do {
                read(records[at], [&](const auto& number) {
                    stepInPlaces(at, number);
                    StepInNumber<T>(second, number);
                    StepInNumber<T>(all, number);
                });
            } while (++at < count && places[1][at] == row && second.held == Held::Value &&
                     all.held == Held::Value);
            second.StoreIn(steady);
            all.StoreIn(shared);
        }
    }

    template <class T, class Number>
    static void StepIn(std::byte* at, Number number) {
        auto& state = StateAt<NumberState>(at);
        if (state.held == Held::Value) [[likely]] {
            StepInNumber<T>(state, number);
        } else {
            StepInAny<T>(state, number);
        }
    }
    /// Requires a state that holds a number.
    template <class T, class State, class Number>
    static void StepInNumber(State& state, Number number) {
        NumberAccumulator<T, State, /*HoldsNumber=*/true> accumulator(state);
        Fold::Step(accumulator, number);
    }
    template <class T, class Number>
    [[gnu::noinline, gnu::cold]] static void StepInAny(NumberState& state, Number number) {
        NumberAccumulator<T> accumulator(state);
        Fold::Step(accumulator, number);
    }

    /// For folds that read no values.
    static void Records(const CellPlan& plan, CellPlan::Rows rows, const EVariant& /*value*/,
                        const ETabulonPrimaryKey* /*key*/, NumberReading& /*last*/) {
        for (std::byte* const row : rows) {
            StepIn<std::uint32_t>(row + plan.offset, MissingNumber{});
        }
    }

    static void Wides(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                      const ETabulonPrimaryKey* /*key*/, NumberReading& /*last*/) {
        for (std::byte* const row : rows) {
            WideAccumulator state(plan.StateIn<WideState>(row), plan.blank);
            Fold::Step(state, value);
        }
    }

    static void Codes(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                      const ETabulonPrimaryKey* key, NumberReading& /*last*/) {
        for (std::byte* const row : rows) {
            CodeAccumulator state(plan.StateIn<CodeState>(row), plan.blank);
            Fold::Step(state, value, *key);
        }
    }

    template <class State>
    static void Result(const CellPlan& plan, std::byte* row, ETabulonValue& result) {
        const State& state = plan.StateIn<State>(row);
        if constexpr (!Fold::kReadsValues) {
            ReadHeld(CountedState(state), plan.blank, result);
        } else {
            ReadHeld(state, plan.blank, result);
            if constexpr (!Fold::kNeedsKey && &Fold::Finish != &CumulFold::Finish) {
                result = Fold::Finish(result, state.counter);
            }
        }
    }

    template <class State>
    static void Choose(CellPlan& plan, CellPlan::FoldRows fold, CellPlan::FoldRecords foldBlock) {
        plan.state = &kStateKind<State>;
        plan.content = Fold::kReadsValues ? &kContent<typename ContentOf<Fold>::Type> : nullptr;
        plan.counts = Fold::kCounts;
        plan.result = &Result<State>;
        plan.fold = fold;
        plan.foldBlock = foldBlock;
        plan.needsKey = Fold::kNeedsKey;
        plan.readsValues = Fold::kReadsValues;
    }
    template <class T>
    static void ChooseNumbers(CellPlan& plan) {
        Choose<NumberState>(plan, &Numbers<T>, &BlockNumbers<T>);
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
                return Choose<NumberState>(plan, &Converted, &FoldValues);
        }
    }
};

/// A result of this type fits a NumberState.
[[nodiscard]] bool IsNumberCell(const EVariant& blank);

template <class Fold>
void FoldBuffer<Fold>::PlanCells(CellPlan& plan) const {
    if constexpr (Fold::kNeedsKey) {
        RowFold<Fold>::template Choose<CodeState>(plan, &RowFold<Fold>::Codes, &FoldValues);
    } else if constexpr (!Fold::kReadsValues) {
        RowFold<Fold>::template Choose<NumberState>(plan, &RowFold<Fold>::Records,
                                                    &RowFold<Fold>::BlockRecords);
    } else if (IsNumberCell(plan.blank)) {
        RowFold<Fold>::ChooseByStorage(plan);
    } else {
        RowFold<Fold>::template Choose<WideState>(plan, &RowFold<Fold>::Wides, &FoldValues);
    }
}

}  // namespace etabulon::detail
