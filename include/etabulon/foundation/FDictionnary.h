#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/FSortedMap.h"

namespace etabulon {

/// A map keyed by text, in the plain order of bytes.
/// Example    tests/foundation/ContainerLookupTest.cpp
template <class V>
class FDictionnary : public FSortedMap<Chaine, V> {
public:
    using FSortedMap<Chaine, V>::FSortedMap;
    constexpr FDictionnary() noexcept = default;
};

/// A map keyed by text, in the folded order: keys that differ in case only are one.
/// Example    tests/foundation/ContainerLookupTest.cpp
template <class V>
class FDictionnaryNoCase : public FDictionnary<V> {
public:
    constexpr FDictionnaryNoCase() noexcept
        : FDictionnary<V>(FDictionnaryNoCase::Order::ByCompareKey) {}

    [[nodiscard]] int CompareKey(const Chaine& key,
                                 const EPair<Chaine, V>& element) const override {
        const int order = key.CompareFolded(element.key);
        return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }
};

}  // namespace etabulon
