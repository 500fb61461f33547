#include "etabulon/sort/ETabulonSortTag.h"

namespace etabulon {

bool ETabulonSortTag::operator<(const ETabulonSortTag& other) const {
    const unsigned int count = KnownLevelsCount();
    if (count != other.KnownLevelsCount()) {
        return count < other.KnownLevelsCount();
    }
    for (unsigned int place = 0; place < count; ++place) {
        if (LevelAt(place) != other.LevelAt(place)) {
            return LevelAt(place) < other.LevelAt(place);
        }
        const int order = ValueAt(place).Compare(other.ValueAt(place), /*byDisplay=*/false);
        if (order != 0) {
            return order < 0;
        }
    }
    return false;
}

}  // namespace etabulon
