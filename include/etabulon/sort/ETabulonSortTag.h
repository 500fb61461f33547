#pragma once

#include "etabulon/values/ETabulonTag.h"

namespace etabulon {

/// A tag with a total order of its own, to be the key of a map.
///
/// The order serves lookups, not display: it compares data, independent of any sort description.
/// Equality is that of tags.
/// Example    tests/sort/SortMoveTest.cpp
class ETABULON_API ETabulonSortTag : public ETabulonTag {
public:
    ETabulonSortTag() = default;
    // Implicit, so that a map of sort tags can be searched for a plain tag.
    ETabulonSortTag(const ETabulonTag& tag) : ETabulonTag(tag) {}

    /// Compares the number of levels, then level by level the identifier, then the value by
    /// ETabulonValue::Compare on data.
    [[nodiscard]] bool operator<(const ETabulonSortTag& other) const;
};

}  // namespace etabulon
