#pragma once

#include <utility>

namespace etabulon {

/// An element of a map. The key of an element that stands in a map is changed by ChangeKey only.
template <class K, class V>
struct EPair {
    EPair() = default;
    explicit EPair(const K& ofKey) : key(ofKey) {}
    EPair(const K& ofKey, V ofValue) : key(ofKey), value(std::move(ofValue)) {}

    friend bool operator==(const EPair& left, const EPair& right) = default;

    K key{};
    V value{};
};

}  // namespace etabulon
