#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/EVariant.h"

#include <cstdint>
#include <limits>
#include <type_traits>

// The states that packed cells keep of running calculations, and the accumulators through which a
// fold uses them. The modified flag isn't kept: no record of a walk carries it.

namespace etabulon::detail {

enum class Held : std::uint8_t {
    Nothing = 0,  // no record yet: ValNull
    Missing = 1,  // ValNormal without a value; of NumberState only
    Value = 2,
    Special = 3,
};

/// The result of a fixed-size type of up to 8 bytes.
struct NumberState {
    std::uint64_t bits = 0;
    std::uint32_t counter = 0;  // of records; of a fold that keeps order the record's number
    Held held = Held::Nothing;
};

/// A number in place of the natural bytes at the start of a word. Through this type the compiler
/// keeps reals in their own registers, where a copy of bytes would pass each through a whole one.
template <class T>
struct [[gnu::may_alias]] NumberInWord {
    T number;
};
template <class T>
[[nodiscard]] T NumberAt(const std::uint64_t& word) noexcept {
    return reinterpret_cast<const NumberInWord<T>*>(&word)->number;
}

/// A NumberState as its number, which can stay in a register.
template <class T>
struct LocalState {
    explicit LocalState(const NumberState& state) noexcept
        : number(NumberAt<T>(state.bits)), counter(state.counter), held(state.held) {}
    void StoreIn(NumberState& state) const noexcept {
        state.counter = counter;
        state.held = held;
        if (held == Held::Value) {
            reinterpret_cast<NumberInWord<T>*>(&state.bits)->number = number;
        }
    }
    T number;
    std::uint32_t counter;
    Held held;
};

template <class T>
[[nodiscard]] T NumberIn(const NumberState& state) noexcept {
    return NumberAt<T>(state.bits);
}
template <class T>
[[nodiscard]] T NumberIn(const LocalState<T>& state) noexcept {
    return state.number;
}
template <class T>
void SetNumber(NumberState& state, T number) noexcept {
    reinterpret_cast<NumberInWord<T>*>(&state.bits)->number = number;
}
template <class T>
void SetNumber(LocalState<T>& state, T number) noexcept {
    state.number = number;
}

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
    std::uint32_t counter = 0;  // the record's number
    Held held = Held::Nothing;
    bool metMissing = false;  // a record without a value
};

/// The buffer of a function that isn't the library's own.
struct ForeignState {
    ERef<ETabulonCumulBuffer> buffer;
};

static_assert(sizeof(NumberState) == 16 && sizeof(WideState) == 40 && sizeof(CodeState) == 72);
static_assert(alignof(WideState) == alignof(NumberState) &&
              alignof(CodeState) == alignof(NumberState) &&
              alignof(ForeignState) == alignof(NumberState));

/// A missing value, for accumulators of numbers: it is below all others and adds nothing.
struct MissingNumber {};

/// The accumulator over a NumberState or a LocalState. Every accumulator has these operations.
/// With `HoldsNumber` the state is known to hold a number, so that a step asks for nothing.
template <class T, class State = NumberState, bool HoldsNumber = false>
class NumberAccumulator {
public:
    explicit NumberAccumulator(State& state) noexcept : state_(state) {}

    /// No value was stored yet.
    [[nodiscard]] bool IsNew() const noexcept {
        return !HoldsNumber && state_.held == Held::Nothing;
    }
    [[nodiscard]] bool IsAbove(T number) const noexcept {
        return HasNumber() && IsLess(number, Get());
    }
    [[nodiscard]] bool IsAbove(MissingNumber /*number*/) const noexcept { return HasNumber(); }
    [[nodiscard]] bool IsBelow(T number) const noexcept {
        return !HasNumber() || IsLess(Get(), number);
    }
    [[nodiscard]] bool IsBelow(MissingNumber /*number*/) const noexcept { return false; }
    [[nodiscard]] bool Equals(T number) const noexcept {
        return HasNumber() && !IsLess(number, Get()) && !IsLess(Get(), number);
    }
    [[nodiscard]] bool Equals(MissingNumber /*number*/) const noexcept {
        return !HoldsNumber && state_.held == Held::Missing;
    }

    void Store(T number) noexcept {
        SetNumber(state_, number);
        if (!HoldsNumber) {
            state_.held = Held::Value;
        }
    }
    void Store(MissingNumber /*number*/) noexcept { state_.held = Held::Missing; }
    void Add(T number) noexcept {
        if (HasNumber()) {
            SetNumber(state_, Sum(Get(), number));
        } else {
            Store(number);
        }
    }
    void Add(MissingNumber /*number*/) noexcept {}
    void MakeSpecial() noexcept { state_.held = Held::Special; }
    /// The number of records so far, this one included.
    std::uint32_t CountRecord() noexcept { return ++state_.counter; }

private:
    [[nodiscard]] bool HasNumber() const noexcept {
        return HoldsNumber || state_.held == Held::Value;
    }
    [[nodiscard]] T Get() const noexcept { return NumberIn<T>(state_); }
    /// In the order of variants: NaN is equal to itself and below all others.
    [[nodiscard]] static bool IsLess(T left, T right) noexcept {
        if constexpr (std::is_floating_point_v<T>) {
            return !(left >= right) && right == right;
        } else {
            return left < right;
        }
    }
    /// In the same type, clamped.
    [[nodiscard]] static T Sum(T left, T right) noexcept {
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

    State& state_;
};

/// The accumulator over a WideState; a first result is stored in a copy of `blank`.
class WideAccumulator {
public:
    WideAccumulator(WideState& state, const EVariant& blank) noexcept
        : state_(state), blank_(blank) {}

    [[nodiscard]] bool IsNew() const noexcept { return state_.held == Held::Nothing; }
    [[nodiscard]] bool IsAbove(const EVariant& value) const { return value < state_.value; }
    [[nodiscard]] bool IsBelow(const EVariant& value) const { return value > state_.value; }
    [[nodiscard]] bool Equals(const EVariant& value) const {
        return state_.held == Held::Value && value == state_.value;
    }

    void Store(const EVariant& value) {
        if (state_.held != Held::Value) {
            state_.value = blank_;
            state_.held = Held::Value;
        }
        state_.value <<= value;
    }
    void Add(const EVariant& value) { state_.value <<= state_.value + value; }
    void MakeSpecial() {
        state_.value = EVariant();
        state_.held = Held::Special;
    }
    std::uint32_t CountRecord() noexcept { return ++state_.counter; }

private:
    WideState& state_;
    const EVariant& blank_;
};

/// The accumulator over a CodeState, with the extreme beside the code.
class CodeAccumulator {
public:
    CodeAccumulator(CodeState& state, const EVariant& blank) noexcept
        : state_(state), blank_(blank) {}

    [[nodiscard]] const EVariant& Extreme() const noexcept { return state_.extreme; }
    void StoreExtreme(const EVariant& value) { state_.extreme = value; }
    void NoteMissing() noexcept { state_.metMissing = true; }
    void Store(const EVariant& code) {
        if (state_.held == Held::Nothing) {
            state_.code = blank_;
            state_.held = Held::Value;
        }
        state_.code <<= code;
    }

private:
    CodeState& state_;
    const EVariant& blank_;
};

}  // namespace etabulon::detail
