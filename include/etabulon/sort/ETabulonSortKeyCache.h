#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon {

/// A cache of the locale sort keys of texts. A walk that files records under the same few thousand
/// names makes each key once and allocates nothing after that.
///
/// Ownership  a value type, one in each tree that sorts. It shares the bodies of the texts; a
///            caller's copy of a key outlives the cache entry.
/// Threads    one at a time.
/// Bounded    a cache that holds `capacity` texts is emptied before the next one.
/// Example    tests/sort/SortMoveTest.cpp
class ETABULON_API ETabulonSortKeyCache {
public:
    static constexpr std::size_t kDefaultCapacity = 65536;

    explicit ETabulonSortKeyCache(std::size_t capacity = kDefaultCapacity);

    /// text.LocaleSortKey(). The reference is valid until the next call.
    [[nodiscard]] const Chaine& KeyOf(const Chaine& text);
    /// The number of cached texts.
    [[nodiscard]] std::size_t Size() const noexcept { return count_; }
    /// Call it when another locale order is installed.
    void Clear();

private:
    struct Entry {
        std::uint32_t hash = 0;  // 0: free; no text has this hash
        Chaine text;
        Chaine key;
    };

    [[nodiscard]] Entry& SlotOf(const Chaine& text, std::uint32_t hash) noexcept;
    void Grow();

    std::size_t capacity_;
    std::size_t count_ = 0;
    // Open addressing, a power of two, at most half full. The slots hold the entries themselves, so
    // that a known text costs one cache line: not a HashIndex, whose slots point to a storage.
    std::vector<Entry> entries_;
};

}  // namespace etabulon
