#include "etabulon/sort/ETabulonSortKey.h"

#include "etabulon/values/ETabulonLevels.h"

#include <algorithm>
#include <utility>

namespace etabulon {

ETabulonSortKeyArray::ETabulonSortKeyArray(const ETabulonLevels& levels) {
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        keys_.Add(SortKey(levels.GetLevelID(position), /*reverse=*/false, /*hidden=*/0));
    }
}

ETabulonSortKeyArray::ETabulonSortKeyArray(const ETabulonSortKeyArray& other) : keys_(other.keys_) {
    keys_.Detach();
}

ETabulonSortKeyArray& ETabulonSortKeyArray::operator=(const ETabulonSortKeyArray& other) {
    if (this != &other) {
        keys_.AssignReusing(other.keys_);
    }
    return *this;
}

void ETabulonSortKeyArray::Build(unsigned int count, const SortKey* keys) {
    // Copied first: the keys given may be this array's own.
    PTableau<SortKey> built;
    for (unsigned int i = 0; i < count; ++i) {
        built.Add(keys[i]);
    }
    keys_.Swap(built);
}

bool ETabulonSortKeyArray::IsSameAs(const ETabulonSortKeyArray& other) const {
    return Size() == other.Size() &&
           std::equal(begin(), end(), other.begin(),
                      [](const SortKey& a, const SortKey& b) { return a.IsSameAs(b); });
}

}  // namespace etabulon
