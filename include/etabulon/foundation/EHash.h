#pragma once

#include "etabulon/foundation/detail/EHashMix.h"

#include <cstdint>
#include <functional>
#include <type_traits>

namespace etabulon {

/// Specialise it for a key type without std::hash: `std::size_t operator()(const K&) const`. It
/// must agree with K's operator==. Maps whose keys have neither are scanned.
template <class K>
struct EHash {};

namespace detail {

template <class K>
concept HasOwnHash = requires(const K& key) {
    EHash<K>{}(key);
};
template <class K>
concept HasStdHash = std::is_default_constructible_v<std::hash<K>>;
template <class K>
concept Hashable = HasOwnHash<K> || HasStdHash<K>;

template <Hashable K>
std::uint32_t HashOfKey(const K& key) {
    // std::hash of a number or an address is that number itself: its bits must be spread.
    if constexpr (HasOwnHash<K>) {
        return HashNumber(EHash<K>{}(key));
    } else {
        return HashNumber(std::hash<K>{}(key));
    }
}

}  // namespace detail
}  // namespace etabulon
