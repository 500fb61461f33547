#pragma once

#include "etabulon/foundation/EAssociative.h"
#include "etabulon/foundation/FAssociative.h"

#include <cstdint>

namespace etabulon {

namespace detail {

/// Compares two keys by operator< first and operator== second; 1 where neither holds.
template <class K>
int CompareNatural(const K& key, const K& other) {
    // One walk over the bytes of a text instead of two; it is the order of both operators.
    if constexpr (requires { key.ComparePlain(other); }) {
        const int order = key.ComparePlain(other);
        return order < 0 ? -1 : (order > 0 ? 1 : 0);
    } else {
        if (key < other) {
            return -1;
        }
        return key == other ? 0 : 1;
    }
}

}  // namespace detail

template <class Pair>
class ESortedMap;

/// Pairs sorted by key and found by bisection. A class with another order of keys overrides
/// CompareKey and passes Order::ByCompareKey to the constructor: lookups in the natural order make
/// no virtual call.
template <class K, class V>
class ESortedMap<EPair<K, V>> : public EAssociative<EPair<K, V>> {
    using Base = EAssociative<EPair<K, V>>;

public:
    using typename Base::Pair;

    constexpr ESortedMap() noexcept = default;

    bool ChangeKey(const K& oldKey, const K& newKey) override {
        const std::int32_t index = this->IndexToRename(oldKey, newKey);
        if (index == -1) {
            return false;
        }
        // Deliberate: the target follows from FindInsertPos and the comparison below as they are,
        // so a new key above all others lands before the last element, and one that would keep its
        // index lands one before it. Existing maps are laid out by it. MovesTheElementByTheRule
        // holds it.
        std::int32_t target = Find(newKey, FindInsertPos);
        if (index <= target && target != 0) {
            --target;
        }
        this->pairs_.At(index).key = newKey;
        this->pairs_.Move(index, target);
        return true;
    }
    /// -1, 0 or 1: the key against the element's.
    [[nodiscard]] int CompareKey(const K& key, const Pair& element) const override {
        return detail::CompareNatural(key, element.key);
    }
    std::int32_t Find(const K& key, FindMode mode) override {
        const detail::LookupEnd end = Walk(key, mode);
        if (end.insert) {
            this->pairs_.Emplace(end.index, key);
            this->hint_.Set(end.index);
        }
        return end.index;
    }
    // The base's lookups again, without its virtual call.
    [[nodiscard]] std::int32_t Find(const K& key, FindMode mode = FindExact) const {
        E_EXPECTS(mode != FindOrInsert);
        return Walk(key, mode).index;
    }
    V& operator[](const K& key) {
        return this->pairs_.At(ESortedMap::Find(key, FindOrInsert)).value;
    }
    const V& operator[](const K& key) const {
        return this->pairs_.At(Walk(key, FindExact).index).value;
    }
    [[nodiscard]] V* FindValue(const K& key) {
        return this->ValueOrNull(Walk(key, FindExact).index);
    }
    [[nodiscard]] const V* FindValue(const K& key) const {
        return this->ValueOrNull(Walk(key, FindExact).index);
    }

protected:
    enum class Order : std::uint8_t { Natural, ByCompareKey };
    constexpr explicit ESortedMap(Order order) noexcept : order_(order) {}

private:
    [[nodiscard]] detail::LookupEnd Walk(const K& key, FindMode mode) const {
        const auto size = static_cast<std::int32_t>(this->pairs_.Size());
        std::int32_t hint = this->hint_.Within(size);
        const auto first = this->pairs_.begin();
        const detail::LookupEnd end =
            order_ == Order::Natural
                ? detail::FindSorted(size, hint, mode,
                                     [&](std::int32_t index) {
                                         return detail::CompareNatural(key, first[index].key);
                                     })
                : detail::FindSorted(size, hint, mode, [&](std::int32_t index) {
                      return this->CompareKey(key, first[index]);
                  });
        if (!end.insert) {
            this->hint_.Set(hint);
        }
        return end;
    }

    Order order_ = Order::Natural;
};

/// The sorted map of the library's signatures.
/// Example    tests/foundation/ContainerLookupTest.cpp
template <class K, class V>
class FSortedMap : public ESortedMap<EPair<K, V>> {
public:
    using ESortedMap<EPair<K, V>>::ESortedMap;
    constexpr FSortedMap() noexcept = default;

    /// A copy of `other` that shares nothing, hint included, and keeps this map's storage where it
    /// is large enough: assigning between maps of one size allocates nothing, except in the
    /// elements.
    void AssignReusing(const FSortedMap& other) { EAssociative<EPair<K, V>>::AssignReusing(other); }
    void Swap(FSortedMap& other) noexcept { EAssociative<EPair<K, V>>::Swap(other); }
};

}  // namespace etabulon
