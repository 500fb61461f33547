#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/FindMode.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/detail/EHint.h"
#include "etabulon/foundation/detail/Lookup.h"

#include <cstdint>
#include <utility>

namespace etabulon {

namespace detail {

/// What the two sets of values share. `Walk` is a class with a static
/// `Find(size, hint, mode, value, first)`.
/// Example    tests/score/LiteralScore.h
template <class T, class Walk>
class PUnique {
public:
    using value_type = T;
    using iterator = typename PTableau<T>::iterator;
    using const_iterator = typename PTableau<T>::const_iterator;

    [[nodiscard]] std::uint32_t Size() const noexcept { return items_.Size(); }
    [[nodiscard]] bool IsEmpty() const noexcept { return Size() == 0; }
    [[nodiscard]] bool IsShared() const noexcept { return items_.IsShared(); }
    [[nodiscard]] std::int32_t Hint() const noexcept { return hint_.Get(); }

    /// The index of the value, or what `mode` says for a missing one; FindOrInsert inserts it.
    std::int32_t Find(const T& value, FindMode mode) {
        const LookupEnd end = FindFromHint(value, mode);
        if (end.insert) {
            items_.Emplace(end.index, value);
            hint_.Set(end.index);
        }
        return end.index;
    }
    /// Requires a mode other than FindOrInsert.
    [[nodiscard]] std::int32_t Find(const T& value, FindMode mode = FindExact) const {
        E_EXPECTS(mode != FindOrInsert);
        return FindFromHint(value, mode).index;
    }
    /// The index of the value, which is inserted if it isn't there.
    std::int32_t Add(const T& value) { return Find(value, FindOrInsert); }

    /// The value at a position, without growing. Requires index < Size().
    [[nodiscard]] T& At(std::uint32_t index) { return items_.At(index); }
    [[nodiscard]] const T& At(std::uint32_t index) const { return items_.At(index); }
    T& operator[](std::uint32_t index) { return items_.At(index); }
    const T& operator[](std::uint32_t index) const { return items_.At(index); }
    [[nodiscard]] iterator begin() { return items_.begin(); }
    [[nodiscard]] iterator end() { return items_.end(); }
    [[nodiscard]] const_iterator begin() const { return items_.begin(); }
    [[nodiscard]] const_iterator end() const { return items_.end(); }

    void RemoveAt(std::uint32_t index, std::uint32_t count = 1) {
        if (index < Size()) {
            items_.RemoveAt(index, count);
            hint_.Set(-1);
        }
    }
    void Free() noexcept {
        items_.Free();
        hint_.Set(-1);
    }
    void RemoveAll() noexcept { Free(); }
    /// Makes the storage this set's own at once.
    void Detach() const { items_.Detach(); }
    void Swap(PUnique& other) noexcept {
        items_.Swap(other.items_);
        std::swap(hint_, other.hint_);
    }

    /// Whether both have the same values in the same order.
    friend bool operator==(const PUnique& left, const PUnique& right) {
        return left.items_ == right.items_;
    }

private:
    [[nodiscard]] LookupEnd FindFromHint(const T& value, FindMode mode) const {
        const auto size = static_cast<std::int32_t>(Size());
        std::int32_t hint = hint_.Within(size);
        const LookupEnd end = Walk::Find(size, hint, mode, value, items_.begin());
        if (!end.insert) {
            hint_.Set(hint);
        }
        return end;
    }

    PTableau<T> items_;
    EHint hint_;
};

/// How a sorted set finds a value.
struct WalkSortedValues {
    // Deliberate: the element's operators, == before <, the other way round than in a sorted map.
    // For values whose two operators disagree, this order decides which of them count as one.
    // AreAskedInTheOrderOfEachContainer holds it.
    template <class T, class Iterator>
    static LookupEnd Find(std::int32_t size, std::int32_t& hint, FindMode mode, const T& value,
                          Iterator first) {
        return FindSorted(size, hint, mode, [&](std::int32_t index) {
            const T& element = first[index];
            if (element == value) {
                return 0;
            }
            return element < value ? 1 : -1;
        });
    }
};

/// How a set in insertion order finds a value.
struct WalkValuesInOrder {
    template <class T, class Iterator>
    static LookupEnd Find(std::int32_t size, std::int32_t& hint, FindMode mode, const T& value,
                          Iterator first) {
        return FindAround(size, hint, mode,
                          [&](std::int32_t index) { return first[index] == value ? 0 : 1; });
    }
};

}  // namespace detail

/// A sorted set of unique values, found by bisection. Copies share the storage and copy the hint;
/// one thread at a time, const operations included. A caller that writes to an element must keep
/// the order.
template <class T>
class PUniqueT : public detail::PUnique<T, detail::WalkSortedValues> {};

/// A set of unique values in insertion order, searched one by one from the hint onward.
template <class T>
class PUniqueNT : public detail::PUnique<T, detail::WalkValuesInOrder> {};

}  // namespace etabulon
