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

}  // namespace etabulon::detail
