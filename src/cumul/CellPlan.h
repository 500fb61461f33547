#pragma once

#include "cumul/Accumulators.h"
#include "cumul/BlockRows.h"
#include "cumul/CumulFold.h"
#include "etabulon/foundation/EDataType.h"

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
    using MakeResult = ETabulonValue (*)(const CellPlan& plan, std::byte* row);

    template <class State>
    [[nodiscard]] State& StateIn(std::byte* row) const noexcept {
        return StateAt<State>(row + offset);
    }

    EVariant blank;                   // a first result is stored in a copy
    const ETypeInfo* type = nullptr;  // of blank
    FoldRows fold = nullptr;
    FoldRecords foldBlock = nullptr;
    MakeResult result = nullptr;
    const StateKind* state = nullptr;
    std::uint32_t offset = 0;  // within a row
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

// The content of a state, as a value with the type and size of `blank`.
[[nodiscard]] ETabulonValue HeldValue(const NumberState& state, const EVariant& blank);
[[nodiscard]] ETabulonValue HeldValue(const WideState& state, const EVariant& blank);
[[nodiscard]] ETabulonValue HeldValue(const CodeState& state, const EVariant& blank);

// Converts a number's state to a wide one and back, for values of another type than the cell's.
[[nodiscard]] WideState Widened(const NumberState& state, const EVariant& blank);
[[nodiscard]] NumberState Narrowed(const WideState& state);

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
            NumberAccumulator<T> state(plan.StateIn<NumberState>(row));
            Fold::Step(state, number);
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
        const std::uint64_t* const words = from.words;
        const auto numberOf = [words](EBlockIndex record) {
            T number{};
            std::memcpy(&number, &words[record], sizeof number);
            return number;
        };
        if (from.missing == nullptr) {
            return FoldEach<T>(plan, rows, [&numberOf](EBlockIndex record, const auto& step) {
                step(numberOf(record));
            });
        }
        FoldEach<T>(plan, rows, [&from, &numberOf](EBlockIndex record, const auto& step) {
            if (from.IsMissingWord(record)) {
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

    /// Folds into the rows of each record what `read(record, step)` gives to `step`. A grand total
    /// that all records share is folded in registers: through memory each record would wait for the
    /// one before.
    template <class T, class Read>
    [[gnu::flatten]] static void FoldEach(const CellPlan& plan, const BlockRows& rows,
                                          const Read& read) {
        const auto foldRows = [&plan](const auto& rowsOfRecord, const auto& number) {
            for (std::byte* const row : rowsOfRecord) {
                NumberAccumulator<T> state(plan.StateIn<NumberState>(row));
                Fold::Step(state, number);
            }
        };
        if (rows.tables == nullptr) {
            return ForEachRecord(rows, [&](EBlockIndex record, const auto& rowsOfRecord) {
                read(record, [&](const auto& number) { foldRows(rowsOfRecord, number); });
            });
        }
        const RowTables& tables = *rows.tables;
        LocalTotal<T> all(plan, tables.grandTotal);
        if (tables.isFirstSteady) {
            return FoldSteady<T>(plan, rows, all, read);
        }
        ForEachTabled(rows, [&](EBlockIndex record, const auto& rowsOfRecord) {
            read(record, [&](const auto& number) {
                foldRows(rowsOfRecord, number);
                all.Step(number);
            });
        });
    }

    /// The same for tables with a steady first number, whose total stays in registers too.
    template <class T, class Total, class Read>
    [[gnu::flatten]] static void FoldSteady(const CellPlan& plan, const BlockRows& rows, Total& all,
                                            const Read& read) {
        const RowTables tables = *rows.tables;
        const std::size_t count = rows.records.size();
        for (std::size_t place = 0; place < count;) {
            const std::uint32_t number = tables.first[rows.records[place]];
            std::byte* const* const pairs = tables.rows + number * tables.stride;
            Total first(plan, tables.firstTotals[number]);
            do {
                const EBlockIndex record = rows.records[place];
                const std::uint32_t second = tables.second[record];
                read(record, [&](const auto& value) {
                    NumberAccumulator<T> pair(plan.StateIn<NumberState>(pairs[second]));
                    Fold::Step(pair, value);
                    NumberAccumulator<T> total(
                        plan.StateIn<NumberState>(tables.secondTotals[second]));
                    Fold::Step(total, value);
                    first.Step(value);
                    all.Step(value);
                });
            } while (++place < count && tables.first[rows.records[place]] == number);
        }
    }

    /// A state in registers, stored at the end of its scope.
    template <class T>
    class LocalTotal {
    public:
        LocalTotal(const CellPlan& plan, std::byte* row)
            : state_(plan.StateIn<NumberState>(row)), local_(state_) {}
        LocalTotal(const LocalTotal&) = delete;
        LocalTotal& operator=(const LocalTotal&) = delete;
        ~LocalTotal() { local_.StoreIn(state_); }
        template <class Number>
        void Step(const Number& number) {
            NumberAccumulator<T, LocalState<T>> accumulator(local_);
            Fold::Step(accumulator, number);
        }

    private:
        NumberState& state_;
        LocalState<T> local_;
    };

    /// For folds that read no values.
    static void Records(const CellPlan& plan, CellPlan::Rows rows, const EVariant& /*value*/,
                        const ETabulonPrimaryKey* /*key*/, NumberReading& /*last*/) {
        for (std::byte* const row : rows) {
            NumberAccumulator<std::uint32_t> state(plan.StateIn<NumberState>(row));
            Fold::Step(state, MissingNumber{});
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
    static ETabulonValue Result(const CellPlan& plan, std::byte* row) {
        const State& state = plan.StateIn<State>(row);
        if constexpr (Fold::kNeedsKey) {
            return HeldValue(state, plan.blank);
        } else {
            return Fold::Finish(HeldValue(state, plan.blank), state.counter);
        }
    }

    template <class State>
    static void Choose(CellPlan& plan, CellPlan::FoldRows fold, CellPlan::FoldRecords foldBlock) {
        plan.state = &kStateKind<State>;
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
