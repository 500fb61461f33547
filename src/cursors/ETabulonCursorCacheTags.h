#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/detail/HashIndex.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace etabulon::detail {

/// A tag that lines share: lines whose tags are identical, not just equal, have one.
struct CacheTag {
    ETabulonTag tag;
    std::uint32_t hash = 0;
    CacheTag* next = nullptr;                           // the next tag of the same hash
    ETabulonCursorCache::CacheLine* indexed = nullptr;  // the line that a lookup by tag returns
    ETabulonCursorCache::CacheLine* lines = nullptr;    // a list in no order
    const ETabulonValue* values = nullptr;              // the tag's first value, for the prefetch
    std::uint32_t rank = 0;                             // scratch for a sort by a table
};

/// The distinct tags of a cache's lines, found by hash and by branch.
///
/// Equality isn't transitive: a text that compares without case equals two texts that differ. So a
/// lookup finds the chain of tags with one hash, which all tags that may be equal share, and then
/// compares them one by one.
///
/// Ownership  a tag stays until Clear, even after its last line went.
/// Failure    an operation that throws has no visible effect.
class CacheTags {
public:
    /// The first tag with the hash of `tag`, or null. Its chain holds all tags equal to `tag`.
    [[nodiscard]] CacheTag* ChainOf(const ETabulonTag& tag) const { return ChainOf(tag.Hash()); }
    /// The entry identical to `tag`, made if there is none.
    [[nodiscard]] CacheTag& Intern(const ETabulonTag& tag);
    [[nodiscard]] std::size_t Size() const noexcept { return tags_.size(); }
    /// The tags with lines that equal `tag` or lie below it.
    [[nodiscard]] std::vector<CacheTag*> Branch(const ETabulonTag& tag) const;
    /// Removes all tags but `kept`, which may be null, or the tag kept by the last call.
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
    HashIndex index_;  // the first tag of each hash
    unsigned int mostLevels_ = 0;
    std::unique_ptr<CacheTag> kept_;
    // Filled when a branch is first looked up; empty until then, and after memory ran out.
    mutable std::vector<LevelIndex> levels_;
};

}  // namespace etabulon::detail
