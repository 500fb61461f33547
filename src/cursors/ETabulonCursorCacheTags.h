#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/KeyIndex.h"

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace etabulon::detail {

/// A tag as some lines have it, to the letter. Lines share it.
struct CacheTag {
    ETabulonTag tag;
    std::uint32_t hash = 0;
    CacheTag* first = nullptr;  // of those with an equal tag; itself for that one
    CacheTag* next = nullptr;   // the next with an equal tag
    ETabulonCursorCache::CacheLine* indexed = nullptr;  // in `first`: the line that the tag finds
    ETabulonCursorCache::CacheLine* lines = nullptr;    // in no order
    const ETabulonValue* values = nullptr;              // the tag's first, for whoever asks ahead
    std::uint32_t rank = 0;                             // scratch of whoever sorts
};

/// The different tags of a cache's lines, found by equality and by branch.
///
/// Ownership  a tag stays until Clear, also when its last line has gone.
/// Failure    what throws changes nothing that can be seen.
class CacheTags {
public:
    /// The first of those equal to `tag`, or null.
    [[nodiscard]] CacheTag* Find(const ETabulonTag& tag) const;
    /// The one that is `tag` to the letter, made if it is new.
    [[nodiscard]] CacheTag& Intern(const ETabulonTag& tag);
    [[nodiscard]] std::size_t Size() const noexcept { return tags_.size(); }
    /// Those that equal `tag` or are children of it.
    [[nodiscard]] std::vector<CacheTag*> Branch(const ETabulonTag& tag) const;
    /// Forgets all but `kept`, which may be null, or be what was kept the last time.
    void Clear(const CacheTag* kept) noexcept;

private:
    struct HashOfValue {
        std::size_t operator()(const ETabulonValue& value) const noexcept { return value.Hash(); }
    };
    using Tags = std::vector<CacheTag*>;
    /// The tags by their value at one level.
    struct LevelIndex {
        unsigned int level;
        std::unordered_map<ETabulonValue, Tags, HashOfValue> byValue;
        Tags without;
    };
    [[nodiscard]] CacheTag* Find(const ETabulonTag& tag, std::uint32_t hash) const;
    void MakeIndex() const;
    void AddToIndex(CacheTag& added) const;

    std::vector<std::unique_ptr<CacheTag>> tags_;
    KeyIndex index_;  // of the first of each hash
    unsigned int mostLevels_ = 0;
    std::unique_ptr<CacheTag> kept_;
    // Made when a branch is first asked for; empty until then, and again where memory ran out.
    mutable std::vector<LevelIndex> levels_;
};

}  // namespace etabulon::detail
