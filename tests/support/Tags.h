#pragma once

#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"

#include <initializer_list>

namespace etabulon::test {

/// A level for each variable, or for "variable/label".
inline ETabulonLevels LevelsBy(std::initializer_list<const char*> variables) {
    ETabulonLevels levels;
    for (const Chaine both : variables) {
        Chaine variable, label;
        if (!both.Split('/', variable, label)) {
            label = variable;
        }
        levels.AddLevel(variable, variable, label, nullptr, /*addRef=*/false);
    }
    return levels;
}

/// A tag from literal values; an empty one gives ValNull.
inline ETabulonTag Tag(std::initializer_list<ETabulonTag::Entry> entries) { return entries; }

}  // namespace etabulon::test
