#include "cursors/ETabulonCursorCacheTags.h"

#include <algorithm>
#include <utility>

namespace etabulon::detail {

namespace {

bool IsIdentical(const ETabulonTag& a, const ETabulonTag& b) {
    const unsigned int count = a.KnownLevelsCount();
    bool isSame = count == b.KnownLevelsCount();
    for (unsigned int index = 0; isSame && index < count; ++index) {
        isSame = a.LevelAt(index) == b.LevelAt(index) &&
                 a.ValueAt(index).IsIdenticalTo(b.ValueAt(index));
    }
    return isSame;
}

}  // namespace

CacheTag* CacheTags::ChainOf(std::uint32_t hash) const {
    const std::int32_t found = index_.Find(hash, [](std::int32_t /*index*/) { return true; });
    return found < 0 ? nullptr : tags_[static_cast<std::size_t>(found)].get();
}

CacheTag& CacheTags::Intern(const ETabulonTag& tag) {
    const std::uint32_t hash = tag.Hash();
    CacheTag* last = nullptr;
    for (CacheTag* known = ChainOf(hash); known != nullptr; known = known->next) {
        if (IsIdentical(known->tag, tag)) {
            return *known;
        }
        last = known;
    }
    index_.Reserve(static_cast<std::uint32_t>(tags_.size()) + 1);
    auto made = std::make_unique<CacheTag>();
    made->tag = tag;
    made->hash = hash;
    made->values = tag.IsRoot() ? nullptr : &std::as_const(made->tag).ValueAt(0);
    CacheTag& added = *made;
    tags_.push_back(std::move(made));
    if (last != nullptr) {
        last->next = &added;
    } else {
        index_.Add(hash, static_cast<std::int32_t>(tags_.size() - 1));
    }
    mostLevels_ = std::max(mostLevels_, tag.KnownLevelsCount());
    if (!levels_.empty()) {
        try {
            AddToIndex(added);
        } catch (...) {
            levels_.clear();
            throw;
        }
    }
    return added;
}

void CacheTags::AddToIndex(CacheTag& added) const {
    unsigned int known = 0;
    for (LevelIndex& index : levels_) {
        if (const ETabulonValue* const value = added.tag.Find(index.level); value != nullptr) {
            index.byHash[value->Hash()].push_back(&added);
            ++known;
        } else {
            index.without.push_back(&added);
        }
    }
    if (known != added.tag.KnownLevelsCount()) {
        levels_.clear();  // the tag has a level without an index: the next lookup rebuilds all
    }
}

void CacheTags::MakeIndex() const {
    std::vector<LevelIndex> levels;
    for (const auto& known : tags_) {
        for (unsigned int index = 0; index < known->tag.KnownLevelsCount(); ++index) {
            const unsigned int level = known->tag.LevelAt(index);
            if (std::none_of(levels.begin(), levels.end(),
                             [level](const LevelIndex& other) { return other.level == level; })) {
                levels.push_back({level, {}, {}});
            }
        }
    }
    levels_.swap(levels);
    try {
        for (const auto& known : tags_) {
            AddToIndex(*known);
        }
    } catch (...) {
        levels_.clear();
        throw;
    }
}

std::vector<CacheTag*> CacheTags::Branch(const ETabulonTag& tag) const {
    Tags found;
    const auto take = [&found, &tag](CacheTag* known) {
        if (known->lines != nullptr && known->tag.IsAtOrBelow(tag)) {
            found.push_back(known);
        }
    };
    if (tag.KnownLevelsCount() >= mostLevels_) {  // nothing is below it
        for (CacheTag* known = ChainOf(tag); known != nullptr; known = known->next) {
            take(known);
        }
        return found;
    }
    if (tag.IsRoot()) {
        for (const auto& known : tags_) {
            take(known.get());
        }
        return found;
    }
    if (levels_.empty()) {
        MakeIndex();
    }
    // Uses the level of `tag` with the fewest candidates. A tag without that level may still lie
    // below, and is a candidate too.
    const Tags* fewest = nullptr;
    const Tags* without = nullptr;
    static const Tags kNone;
    for (const LevelIndex& index : levels_) {
        const ETabulonValue* const value = tag.Find(index.level);
        if (value == nullptr) {
            continue;
        }
        const auto at = index.byHash.find(value->Hash());
        const Tags& with = at != index.byHash.end() ? at->second : kNone;
        if (fewest == nullptr ||
            with.size() + index.without.size() < fewest->size() + without->size()) {
            fewest = &with;
            without = &index.without;
        }
    }
    if (fewest == nullptr) {  // no tag has any of its levels
        for (const auto& known : tags_) {
            take(known.get());
        }
        return found;
    }
    std::for_each(fewest->begin(), fewest->end(), take);
    std::for_each(without->begin(), without->end(), take);
    return found;
}

void CacheTags::Clear(const CacheTag* kept) noexcept {
    for (auto& known : tags_) {
        if (known.get() == kept) {
            kept_ = std::move(known);
        }
    }
    tags_.clear();
    index_.Clear();
    levels_.clear();
    mostLevels_ = 0;
}

}  // namespace etabulon::detail
