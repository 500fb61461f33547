#pragma once

#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"
#include "support/CompareSources.h"
#include "support/Tags.h"

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace etabulon::test {

using SortKey = ETabulonSortDesc::SortKey;
using SortKeyArray = ETabulonSortDesc::SortKeyArray;
using HideFlag = ETabulonSortDesc::HideFlag;
inline constexpr HideFlag kTree = SortKey::HideInTree;
inline constexpr HideFlag kCalc = SortKey::HideInCalc;

inline ETabulonLevels MakeLevels(unsigned int count) {
    ETabulonLevels levels;
    for (unsigned int level = 0; level < count; ++level) {
        levels.AddLevel("Level", ETabulonVariableID("Table.level"), nullptr, /*addRef=*/false);
    }
    return levels;
}

inline SortKeyArray KeysOf(std::initializer_list<SortKey> given) {
    SortKeyArray keys;
    for (const SortKey& key : given) {
        keys.Add(key);
    }
    return keys;
}

/// "3 1r 2h1": level, r for reversed, h and the mask where hidden.
inline std::string Text(const SortKeyArray& keys) {
    std::string text;
    for (const SortKey& key : keys) {
        text += (text.empty() ? "" : " ") + std::to_string(key.Level());
        text += key.IsReverseOrder() ? "r" : "";
        text += key.Hidden() != 0 ? "h" + std::to_string(key.Hidden()) : "";
    }
    return text;
}

/// "{1:b 3:a}"
inline std::string Text(const ETabulonTag& tag) {
    std::string text = "{";
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        text += (place == 0 ? "" : " ") + std::to_string(tag.LevelAt(place)) + ":" +
                tag.ValueAt(place).DisplayValue().c_str();
    }
    return text + "}";
}

/// Levels 0 to 4 and keys of one's own on them.
struct Sorted {
    explicit Sorted(std::initializer_list<SortKey> keys) { desc.SetSortLevels(KeysOf(keys)); }
    ETabulonLevels levels = MakeLevels(5);
    ETabulonSortDesc desc{levels};
};

/// A value out of few, so that equal ones meet: no value, special, numbers, texts that differ in
/// case, accent or display only. Texts of odd levels fold.
inline ETabulonValue RandomValue(std::mt19937& random, unsigned int level) {
    static const char* const kTexts[] = {"a",  "A",   "b",  "é", "É",   "e",
                                         "ab", "a b", "10", "",  "\xFF"};
    const auto text = [&random] { return Chaine(kTexts[random() % std::size(kTexts)]); };
    switch (random() % 5) {
        case 0:
            return ETabulonValue::Null;
        case 1:
            return ETabulonValue::Special;
        case 2:
            return ETabulonValue(EVariant(static_cast<int>(random() % 12)), text(), false);
        default:
            return ETabulonValue(
                EVariant::FromText(level % 2 == 0 ? TYPE_CHAINE : TYPE_NC_CHAINE, 0, text()),
                text(), false);
    }
}

inline ETabulonTag RandomTag(std::mt19937& random, unsigned int levels, bool withGaps) {
    ETabulonTag tag;
    for (unsigned int level = 0; level < levels; ++level) {
        if (!withGaps || random() % 3 != 0) {
            tag.SetValue(level, RandomValue(random, level));
        }
    }
    return tag;
}

inline int Sign(int order) noexcept { return (order > 0) - (order < 0); }

}  // namespace etabulon::test
