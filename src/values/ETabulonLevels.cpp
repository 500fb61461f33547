#include "etabulon/values/ETabulonLevels.h"

namespace etabulon {

unsigned int ETabulonLevels::AddLevel(const Chaine& header, const ETabulonVariableID& dataID,
                                      const ETabulonVariableID& descID, ILevelUI* ui, bool addRef) {
    Level added(header, dataID, descID, ui, addRef);
    const unsigned int level = Size();
    const int index = levels_.Find(level, FindOrInsert);
    levels_.At(static_cast<unsigned int>(index)).value = added;
    return level;
}

bool ETabulonLevels::ExistLevel(unsigned int level) const {
    return levels_.Find(level, FindExact) >= 0;
}

bool ETabulonLevels::ExistLevel(const ETabulonVariableID& id) const { return IndexOf(id) >= 0; }

const ETabulonLevels::Level& ETabulonLevels::GetLevel(unsigned int level) const {
    const int index = levels_.Find(level, FindExact);
    E_EXPECTS(index >= 0);
    return levels_.At(static_cast<unsigned int>(index)).value;
}

unsigned int ETabulonLevels::GetLevelID(const ETabulonVariableID& id) const {
    const int index = IndexOf(id);
    E_EXPECTS(index >= 0);
    return GetLevelID(static_cast<unsigned int>(index));
}

int ETabulonLevels::IndexOf(const ETabulonVariableID& id) const {
    for (unsigned int index = 0; index < Size(); ++index) {
        if (levels_.At(index).value.DataID() == id) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

}  // namespace etabulon
