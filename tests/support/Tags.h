#pragma once

#include "etabulon/values/ETabulonTag.h"

#include <initializer_list>

namespace etabulon::test {

/// A tag from literal values; an empty one gives ValNull.
inline ETabulonTag Tag(std::initializer_list<ETabulonTag::Entry> entries) { return entries; }

}  // namespace etabulon::test
