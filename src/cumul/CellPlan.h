#pragma once

#include "cumul/Accumulators.h"
#include "cumul/BlockRows.h"
#include "cumul/CumulFold.h"
#include "etabulon/foundation/EDataType.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
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

/// The record that is being folded, and the number that was read of it last: several functions
/// often fold one variable.
struct RecordReading {
    std::uint32_t record = 0;  // its number among all that were folded
    const EVariant* value = nullptr;
    std::uint64_t bits = 0;
    EStorage storage{};
    std::uint8_t scale = 0;
};

/// One calculation of packed cells: where its accumulators lie within a row, and how they fold.
struct CellPlan {
    using Rows = std::span<std::byte* const>;
    using FoldRows = void (*)(const CellPlan& plan, Rows rows, const EVariant& value,
                              const ETabulonPrimaryKey* key, RecordReading& last);
    using FoldRecords = void (*)(const CellPlan& plan, const BlockRows& rows, unsigned int column);
    using ReadResult = void (*)(const CellPlan& plan, std::byte* row, ETabulonValue& result);
    /// The records of `from` have the numbers from `after` on.
    using MergeRow = void (*)(const CellPlan& plan, std::byte* into, std::byte* from,
                              std::uint32_t after);

    template <class State>
    [[nodiscard]] State& StateIn(std::byte* row) const noexcept {
        return StateAt<State>(row + offset);
    }

    EVariant blank;                   // a first result is stored in a copy
    const ETypeInfo* type = nullptr;  // of blank
    FoldRows fold = nullptr;
    FoldRecords foldBlock = nullptr;
    ReadResult result = nullptr;
    MergeRow merge = nullptr;  // null: of a function that isn't the library's own
    const StateKind* state = nullptr;
    std::uint32_t offset = 0;  // within a row
    // What the state holds: identical addresses, identical contents. Null: the counter only.
    const char* content = nullptr;
    double argument = 0;  // of a function that has one
    bool counts = false;  // the state's counter has the number of records
    bool needsKey = false;
    bool readsValues = true;
};

/// The number of the record that is `count` after the one of this number. It stays at its limit.
[[nodiscard]] inline std::uint32_t NumberAfter(std::uint32_t number, std::uint64_t count) noexcept {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(number + count, kMost));
}

/// A step that keeps the record's number where it gives the result and the fold keeps order.
template <class Fold, class Accumulator, class State, class... Arguments>
void StepNumbered(Accumulator&& accumulator, State& state, std::uint32_t record,
                  const Arguments&... arguments) {
    const FoldEffect effect = Fold::Step(accumulator, arguments...);
    if constexpr (kKeepsOrder<Fold>) {
        if (effect != FoldEffect::Kept) {
            state.counter = record;
        }
    }
}

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
/// Folds the records of a block value by value, by the plan's own `fold`.
void FoldValues(const CellPlan& plan, const BlockRows& rows, unsigned int column);

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

}  // namespace etabulon::detail
