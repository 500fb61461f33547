#pragma once

#include "etabulon/controls/ETabulonSelectLevelCtrl.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemoryTreeView.h"
#include "etabulon/values/ETabulonLevels.h"

#include <string>

namespace etabulon::test {

inline constexpr ETabulonSortDesc::HideFlag kHidden = ETabulonSortDesc::HideInTree;

/// Levels named by letters; those in odd places have an icon of that name.
inline ETabulonLevels LettersAsLevels(const char* letters, EMemoryScreen& screen) {
    ETabulonLevels levels;
    for (unsigned int place = 0; letters[place] != '\0'; ++place) {
        const std::string name(1, letters[place]);
        levels.AddLevel(name.c_str(), name.c_str(),
                        place % 2 != 0 ? screen.NewIcon(name) : nullptr);
    }
    return levels;
}

/// "b a (c)": the levels in their order, those hidden from trees in brackets.
inline std::string Order(const ETabulonSortDesc::SortKeyArray& keys, const ETabulonLevels& levels) {
    std::string text;
    for (const ETabulonSortDesc::SortKey& key : keys) {
        const std::string name(levels.GetLevel(key.Level()).Header().View());
        text += (text.empty() ? "" : " ") + (key.IsHidden(kHidden) ? "(" + name + ")" : name);
    }
    return text;
}
inline std::string Order(const ETabulonSortDesc& sort) {
    return Order(sort.SortLevels(), sort.AvailableLevels());
}

inline void Hide(ETabulonSortDesc& sort, const char* letters, const char* hidden) {
    for (unsigned int level = 0; letters[level] != '\0'; ++level) {
        if (std::string(hidden).find(letters[level]) != std::string::npos) {
            sort.SetHideLevelFlags(level, kHidden);
        }
    }
}

}  // namespace etabulon::test
