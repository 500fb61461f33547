#include "etabulon/values/ETabulonLevels.h"

namespace etabulon {

unsigned int ETabulonLevels::AddLevel(const Chaine& header, const ETabulonVariableID& dataID,
                                      const ETabulonVariableID& descID, ILevelUI* ui, bool addRef) {
    Level added(header, dataID, descID, ui, addRef);
    const unsigned int level = Size();
    const int place = levels_.Find(level, FindOrInsert);
    levels_.At(static_cast<unsigned int>(place)).value = added;
    return level;
}

bool ETabulonLevels::ExistLevel(unsigned int level) const {
    return levels_.Find(level, FindExact) >= 0;
}

bool ETabulonLevels::ExistLevel(const ETabulonVariableID& id) const { return PlaceOf(id) >= 0; }

const ETabulonLevels::Level& ETabulonLevels::GetLevel(unsigned int level) const {
    const int place = levels_.Find(level, FindExact);
    E_EXPECTS(place >= 0);
    return levels_.At(static_cast<unsigned int>(place)).value;
}

unsigned int ETabulonLevels::GetLevelID(const ETabulonVariableID& id) const {
    const int place = PlaceOf(id);
    E_EXPECTS(place >= 0);
    return GetLevelID(static_cast<unsigned int>(place));
}

int ETabulonLevels::PlaceOf(const ETabulonVariableID& id) const {
    for (unsigned int place = 0; place < Size(); ++place) {
        if (levels_.At(place).value.DataID() == id) {
            return static_cast<int>(place);
        }
    }
    return -1;
}

}  // namespace etabulon
