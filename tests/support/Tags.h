#pragma once

#include "etabulon/values/ETabulonTag.h"

#include <initializer_list>
#include <utility>

namespace etabulon::test {

/// A tag from literal values; an empty one gives ValNull.
inline ETabulonTag Tag(std::initializer_list<std::pair<unsigned int, EVariant>> entries) {
    ETabulonTag tag;
    for (const auto& [level, data] : entries) {
        tag.SetValue(level, ETabulonValue(data, Chaine(), /*modified=*/false));
    }
    return tag;
}

}  // namespace etabulon::test
