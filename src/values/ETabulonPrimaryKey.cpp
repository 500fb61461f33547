#include "etabulon/values/ETabulonPrimaryKey.h"

namespace etabulon {

ETabulonPrimaryKey::ETabulonPrimaryKey(const EFieldKey& key, EPosition position)
    : position_(position) {
    fields_.Copy(key);
}

ETabulonPrimaryKey::ETabulonPrimaryKey(const ETabulonPrimaryKey& other)
    : position_(other.position_) {
    fields_.Copy(other.fields_);
}

void ETabulonPrimaryKey::operator=(const ETabulonPrimaryKey& other) {
    if (this != &other) {
        Set(other.fields_, other.position_);
    }
}

void ETabulonPrimaryKey::Set(const EFieldKey& key, EPosition position) {
    fields_.Copy(key);
    position_ = position;
}

void ETabulonPrimaryKey::Reset() {
    fields_.Free();
    position_ = kNoPosition;
}

ETabulonValue ETabulonPrimaryKey::SingleCode() const {
    if (!IsSet()) {
        return ETabulonValue::Null;
    }
    if (fields_.Size() == 1) {
        return ETabulonValue(fields_.At(0), Chaine(), /*modified=*/false);
    }
    Chaine code;
    for (std::uint16_t index = 0; index < fields_.Size(); ++index) {
        // Deliberate: the separator depends on the text so far, not on the segment's index, so
        // empty segments at the start leave none while later ones do. EmptySegmentsJoinUnevenly
        // holds it.
        if (!code.IsEmpty()) {
            code.Append('/');
        }
        code += fields_.At(index).AsChaine();
    }
    return ETabulonValue(EVariant(code), Chaine(), /*modified=*/false);
}

}  // namespace etabulon
