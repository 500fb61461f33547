#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon {

/// The locale sort keys of texts, made once for each distinct text and kept. A walk that files
/// records under the same few thousand names makes each key once and allocates nothing after that.
///
/// Ownership  a value type, owned by whoever sorts (one for each tree). It shares the bodies of the
///            texts; a key that was handed out lives on after the cache has forgotten it.
/// Threads    one at a time.
/// Bounded    beyond `capacity` texts it forgets all and begins anew.
class ETABULON_API ETabulonSortKeyCache {
public:
    static constexpr std::size_t kDefaultCapacity = 65536;

    explicit ETabulonSortKeyCache(std::size_t capacity = kDefaultCapacity);

    /// text.LocaleSortKey(). The reference is good until the next call.
    [[nodiscard]] const Chaine& KeyOf(const Chaine& text);
    /// The number of texts known.
    [[nodiscard]] std::size_t Size() const noexcept { return count_; }
    /// To be called when another locale order is installed.
    void Clear();

private:
    struct Entry {
        std::uint32_t hash = 0;  // 0: free; a text's hash never is
        Chaine text;
        Chaine key;
    };

    [[nodiscard]] Entry& PlaceOf(const Chaine& text, std::uint32_t hash) noexcept;
    void Grow();

    std::size_t capacity_;
    std::size_t count_ = 0;
    std::vector<Entry> entries_;  // open addressing, a power of two, at most half full
};

}  // namespace etabulon
