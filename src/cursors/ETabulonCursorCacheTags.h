#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/detail/HashIndex.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace etabulon::detail {

/// A tag as some lines have it, to the letter. Lines share it.
struct CacheTag {
    ETabulonTag tag;
    std::uint32_t hash = 0;
    CacheTag* next = nullptr;                           // the next of the same hash
    ETabulonCursorCache::CacheLine* indexed = nullptr;  // the line that the tag finds
    ETabulonCursorCache::CacheLine* lines = nullptr;    // in no order
    const ETabulonValue* values = nullptr;              // the tag's first, for whoever asks ahead
    std::uint32_t rank = 0;                             // scratch of whoever sorts
};

/// The different tags of a cache's lines, found by hash and by branch.
///
/// Equality isn't transitive: a text that folds equals two texts that differ. So tags are found by
/// the hash, which is one for all that may be equal, and then compared one by one.
///
/// Ownership  a tag stays until Clear, also when its last line has gone.
/// Failure    what throws changes nothing that can be seen.
class CacheTags {
public:
    /// The first of those with the hash of `tag`, or null. All that equal it are in that chain.
    [[nodiscard]] CacheTag* ChainOf(const ETabulonTag& tag) const { return ChainOf(tag.Hash()); }
    /// The one that is `tag` to the letter, made if it is new.
    [[nodiscard]] CacheTag& Intern(const ETabulonTag& tag);
    [[nodiscard]] std::size_t Size() const noexcept { return tags_.size(); }
    /// Those that equal `tag` or are children of it.
    [[nodiscard]] std::vector<CacheTag*> Branch(const ETabulonTag& tag) const;
    /// Forgets all but `kept`, which may be null, or be what was kept the last time.
    void Clear(const CacheTag* kept) noexcept;

private:
    using Tags = std::vector<CacheTag*>;
    /// The tags by the hash of their value at one level.
    struct LevelIndex {
        unsigned int level;
        std::unordered_map<std::uint32_t, Tags> byHash;
        Tags without;
    };
    [[nodiscard]] CacheTag* ChainOf(std::uint32_t hash) const;
    void MakeIndex() const;
    void AddToIndex(CacheTag& added) const;

    std::vector<std::unique_ptr<CacheTag>> tags_;
    HashIndex index_;  // of the first of each hash
    unsigned int mostLevels_ = 0;
    std::unique_ptr<CacheTag> kept_;
    // Made when a branch is first asked for; empty until then, and again where memory ran out.
    mutable std::vector<LevelIndex> levels_;
};

}  // namespace etabulon::detail
