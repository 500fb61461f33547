#pragma once

#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/values/ETabulonValue.h"

#include <initializer_list>

namespace etabulon {

/// The position of a record in the tree: a value for each level that is known.
///
/// Ownership  a value type; a copy is deep and shares no storage. Assignment over a tag of as many
///            levels reuses its storage and allocates nothing.
/// Threads    one thread at a time, const operations included: lookups move the hint and
///            DisplayValue makes its text. To hand a tag to another thread, hand a copy.
/// Failure    none is reported. Value(level) requires HasValue(level).
/// Example    examples/pending.cpp
class ETABULON_API ETabulonTag {
public:
    static const ETabulonTag& Null;

    /// A level and its value; a missing value gives ValNull.
    struct Entry {
        unsigned int level;
        EVariant data;
    };

    ETabulonTag() = default;
    /// ETabulonTag{{kCountry, "France"}, {kCity, "Lyon"}}. Of entries of one level the last counts.
    ETabulonTag(std::initializer_list<Entry> entries);
    ETabulonTag(const ETabulonTag& other);
    ETabulonTag(ETabulonTag&& other) noexcept = default;
    ETabulonTag& operator=(ETabulonTag&& other) noexcept = default;
    void operator=(const ETabulonTag& other);
    virtual ~ETabulonTag() = default;

    /// Both know the same levels, with equal values.
    friend bool operator==(const ETabulonTag& a, const ETabulonTag& b) noexcept {
        return a.IsSame(b);
    }

    [[nodiscard]] const ETabulonValue& Value(unsigned int level) const;
    [[nodiscard]] bool HasValue(unsigned int level) const;
    void SetValue(unsigned int level, const ETabulonValue& value);
    /// In rising order.
    [[nodiscard]] PUniqueT<unsigned int> KnownLevels() const;
    [[nodiscard]] unsigned int KnownLevelsCount() const noexcept {
        return static_cast<unsigned int>(values_.Size());
    }
    [[nodiscard]] bool IsRoot() const noexcept { return values_.Size() == 0; }
    /// More levels than `parent`, and equal values wherever a level is known to both. Levels that
    /// only `parent` knows are ignored; IsSortCompatible of the sort description finds gaps.
    [[nodiscard]] bool IsChildOf(const ETabulonTag& parent) const;
    /// Equal to `parent` or a child of it; every tag is at or below the root.
    [[nodiscard]] bool IsAtOrBelow(const ETabulonTag& parent) const {
        return parent.IsRoot() ||
               (KnownLevelsCount() == parent.KnownLevelsCount() ? *this == parent
                                                                : IsChildOf(parent));
    }
    /// The entries' display texts in rising order of level: "[Paris, 2021]"; "[]" at the root.
    /// For people and traces; nothing parses it.
    [[nodiscard]] Chaine DisplayID() const;

    /// The value of `level`, or null: one lookup for HasValue and Value.
    [[nodiscard]] const ETabulonValue* Find(unsigned int level) const;
    /// The entry of a level for refilling in place, added if it is new.
    [[nodiscard]] ETabulonValue& Slot(unsigned int level);
    /// Find for a series of tags of one shape, such as those of a walk: tries first the entry
    /// `index`, where the previous tag had the level, and stores there the index found in this tag.
    [[nodiscard]] const ETabulonValue* Find(unsigned int level, unsigned int& index) const {
        return index < KnownLevelsCount() && LevelAt(index) == level ? &ValueAt(index)
                                                                     : FindElsewhere(level, index);
    }
    /// The entry at an index, for refilling in place.
    [[nodiscard]] ETabulonValue& SlotAt(unsigned int index) { return values_.At(index).value; }
    /// The index of `level` among the entries, or -1.
    [[nodiscard]] int IndexOf(unsigned int level) const { return values_.Find(level, FindExact); }
    /// The entries by index, in rising order of level.
    [[nodiscard]] unsigned int LevelAt(unsigned int index) const { return values_.At(index).key; }
    [[nodiscard]] const ETabulonValue& ValueAt(unsigned int index) const {
        return values_.At(index).value;
    }
    [[nodiscard]] ETabulonValue& ValueAt(unsigned int index) { return values_.At(index).value; }
    void RemoveAll() { values_.Free(); }
    /// Agrees with operator==.
    [[nodiscard]] std::uint32_t Hash() const noexcept;

private:
    [[nodiscard]] bool IsSame(const ETabulonTag& other) const noexcept;
    [[nodiscard]] const ETabulonValue* FindElsewhere(unsigned int level, unsigned int& index) const;

    FSortedMap<unsigned int, ETabulonValue> values_;
};

}  // namespace etabulon
