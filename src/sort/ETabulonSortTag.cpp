#include "etabulon/sort/ETabulonSortTag.h"

namespace etabulon {

bool ETabulonSortTag::operator<(const ETabulonSortTag& other) const {
    const unsigned int count = KnownLevelsCount();
    if (count != other.KnownLevelsCount()) {
        return count < other.KnownLevelsCount();
    }
    for (unsigned int index = 0; index < count; ++index) {
        if (LevelAt(index) != other.LevelAt(index)) {
            return LevelAt(index) < other.LevelAt(index);
        }
        const int order = ValueAt(index).Compare(other.ValueAt(index), /*byDisplay=*/false);
        if (order != 0) {
            return order < 0;
        }
    }
    return false;
}

}  // namespace etabulon
