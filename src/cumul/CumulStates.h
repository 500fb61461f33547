#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/EVariant.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

// The accumulators of CumulCells, and the folds of the library's own functions on them. They say
// once more what the functions' buffers say, without the modified flag, which no record carries.

namespace etabulon::detail {

enum class CumulKind : std::uint8_t {
    Count = 0,
    Last = 1,
    CommonVal = 2,
    Min = 3,
    Max = 4,
    CodeMin = 5,
    CodeMax = 6,
    Sum = 7,
    Avg = 8,
    Foreign = 9,  // of an application: runs in its own buffer
};

enum class Held : std::uint8_t {
    Nothing = 0,  // no record yet: ValNull
    Missing = 1,  // ValNormal without a value; of NumberState only
    Value = 2,
    Special = 3,
};

/// The result of a fixed-size type of up to 8 bytes.
struct NumberState {
    std::uint64_t bits = 0;
    std::uint32_t counter = 0;
    Held held = Held::Nothing;

    template <class T>
    [[nodiscard]] T Get() const noexcept {
        T number;
        std::memcpy(&number, &bits, sizeof number);
        return number;
    }
    template <class T>
    void Put(T number) noexcept {
        std::memcpy(&bits, &number, sizeof number);
        held = Held::Value;
    }
};

/// The result of any other type.
struct WideState {
    EVariant value;
    std::uint32_t counter = 0;
    Held held = Held::Nothing;
};

/// The code of an extreme record.
struct CodeState {
    EVariant extreme;
    EVariant code;
    Held held = Held::Nothing;
};

/// The buffer of a function that isn't the library's own.
struct ForeignState {
    ERef<ETabulonCumulBuffer> buffer;
};

static_assert(sizeof(NumberState) == 16 && sizeof(WideState) == 40 && sizeof(CodeState) == 72);
static_assert(alignof(WideState) == alignof(NumberState) &&
              alignof(CodeState) == alignof(NumberState) &&
              alignof(ForeignState) == alignof(NumberState));

/// As numbers in the order of variants: NaN is equal to itself and below all others.
template <class T>
[[nodiscard]] bool IsBelow(T left, T right) noexcept {
    if constexpr (std::is_floating_point_v<T>) {
        if (left != left || right != right) {
            return left != left && right == right;
        }
    }
    return left < right;
}

/// The sum in the same type, clamped.
template <class T>
[[nodiscard]] T AddClamped(T left, T right) noexcept {
    if constexpr (std::is_floating_point_v<T>) {
        return left + right;
    } else {
        T sum = 0;
        if (__builtin_add_overflow(left, right, &sum)) {
            sum = std::is_signed_v<T> && right < 0 ? std::numeric_limits<T>::min()
                                                   : std::numeric_limits<T>::max();
        }
        return sum;
    }
}

/// Folds a number of the cell's own type.
template <CumulKind kind, class T>
void FoldNumber(NumberState& state, T number) noexcept {
    if constexpr (kind == CumulKind::Sum || kind == CumulKind::Avg) {
        state.Put(state.held == Held::Value ? AddClamped(state.Get<T>(), number) : number);
        state.counter += kind == CumulKind::Avg ? 1 : 0;
    } else if constexpr (kind == CumulKind::Min) {
        if (state.held == Held::Nothing ||
            (state.held == Held::Value && IsBelow(number, state.Get<T>()))) {
            state.Put(number);
        }
    } else if constexpr (kind == CumulKind::Max) {
        if (state.held != Held::Value || IsBelow(state.Get<T>(), number)) {
            state.Put(number);
        }
    } else if constexpr (kind == CumulKind::CommonVal) {
        if (state.held == Held::Nothing) {
            state.Put(number);
        } else if (state.held != Held::Value || IsBelow(number, state.Get<T>()) ||
                   IsBelow(state.Get<T>(), number)) {
            state.held = Held::Special;
        }
    } else {
        state.Put(number);
    }
}

/// Folds a missing value, which is below all others and adds nothing.
inline void FoldMissing(CumulKind kind, NumberState& state) noexcept {
    const bool first = state.held == Held::Nothing;
    switch (kind) {
        case CumulKind::Avg:
            ++state.counter;
            [[fallthrough]];
        case CumulKind::Sum:
        case CumulKind::Max:
            state.held = first ? Held::Missing : state.held;
            break;
        case CumulKind::CommonVal:
            state.held = first || state.held == Held::Missing ? Held::Missing : Held::Special;
            break;
        default:
            state.held = Held::Missing;
            break;
    }
}

inline void Store(WideState& state, const EVariant& value, const EVariant& blank) {
    if (state.held != Held::Value) {
        state.value = blank;
        state.held = Held::Value;
    }
    state.value <<= value;
}

/// Folds any value; `blank` is what a first result is stored in.
inline void FoldWide(CumulKind kind, WideState& state, const EVariant& value,
                     const EVariant& blank) {
    const bool first = state.held == Held::Nothing;
    switch (kind) {
        case CumulKind::Min:
            if (!first && !(value < state.value)) {
                return;
            }
            break;
        case CumulKind::Max:
            if (!first && !(value > state.value)) {
                return;
            }
            break;
        case CumulKind::CommonVal:
            if (!first) {
                if (state.held != Held::Value || value != state.value) {
                    state.value = EVariant();
                    state.held = Held::Special;
                }
                return;
            }
            break;
        case CumulKind::Sum:
        case CumulKind::Avg:
            state.counter += kind == CumulKind::Avg ? 1 : 0;
            if (!first) {
                state.value <<= state.value + value;
                return;
            }
            break;
        default:
            break;
    }
    Store(state, value, blank);
}

inline void FoldCode(bool lowest, CodeState& state, const EVariant& value, const EVariant& blank,
                     const ETabulonPrimaryKey& context) {
    const bool better =
        state.extreme.IsMissing() || (lowest ? value < state.extreme : value > state.extreme);
    if (!better) {
        return;
    }
    state.extreme = value.IsMissing() ? EVariant() : value;
    if (state.held == Held::Nothing) {
        state.code = blank;
        state.held = Held::Value;
    }
    state.code <<= context.SingleCode().Data();
}

}  // namespace etabulon::detail
