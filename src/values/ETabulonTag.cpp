#include "etabulon/values/ETabulonTag.h"

#include "etabulon/foundation/detail/ENeverDestroyed.h"

namespace etabulon {

namespace {

constinit const detail::ENeverDestroyed<ETabulonTag> nullTag{};

}  // namespace

constinit const ETabulonTag& ETabulonTag::Null = nullTag.value;

ETabulonTag::ETabulonTag(std::initializer_list<Entry> entries) {
    for (const Entry& entry : entries) {
        SetValue(entry.level, ETabulonValue(entry.data, Chaine(), /*modified=*/false));
    }
}

ETabulonTag::ETabulonTag(const ETabulonTag& other) : values_(other.values_) { values_.Detach(); }

void ETabulonTag::operator=(const ETabulonTag& other) {
    if (this != &other) {
        values_.AssignReusing(other.values_);
    }
}

bool ETabulonTag::IsSame(const ETabulonTag& other) const noexcept {
    const unsigned int count = KnownLevelsCount();
    if (count != other.KnownLevelsCount()) {
        return false;
    }
    // Entries are in rising order of level on both sides: equal tags match place by place.
    for (unsigned int place = 0; place < count; ++place) {
        if (LevelAt(place) != other.LevelAt(place) || !(ValueAt(place) == other.ValueAt(place))) {
            return false;
        }
    }
    return true;
}

const ETabulonValue& ETabulonTag::Value(unsigned int level) const {
    const int place = values_.Find(level, FindExact);
    E_EXPECTS(place >= 0);
    return values_.At(static_cast<unsigned int>(place)).value;
}

bool ETabulonTag::HasValue(unsigned int level) const { return values_.Find(level, FindExact) >= 0; }

void ETabulonTag::SetValue(unsigned int level, const ETabulonValue& value) { Slot(level) = value; }

PUniqueT<unsigned int> ETabulonTag::KnownLevels() const {
    PUniqueT<unsigned int> levels;
    for (unsigned int place = 0; place < KnownLevelsCount(); ++place) {
        levels.Add(LevelAt(place));
    }
    return levels;
}

bool ETabulonTag::IsChildOf(const ETabulonTag& parent) const {
    const unsigned int count = KnownLevelsCount();
    const unsigned int parentCount = parent.KnownLevelsCount();
    if (count <= parentCount) {
        return false;
    }
    unsigned int parentPlace = 0;
    for (unsigned int place = 0; place < count && parentPlace < parentCount; ++place) {
        while (parentPlace < parentCount && parent.LevelAt(parentPlace) < LevelAt(place)) {
            ++parentPlace;
        }
        if (parentPlace < parentCount && parent.LevelAt(parentPlace) == LevelAt(place) &&
            !(ValueAt(place) == parent.ValueAt(parentPlace))) {
            return false;
        }
    }
    return true;
}

Chaine ETabulonTag::DisplayID() const {
    Chaine text("[");
    for (unsigned int place = 0; place < KnownLevelsCount(); ++place) {
        if (place != 0) {
            text.Append(", ");
        }
        text += ValueAt(place).DisplayValue();
    }
    text.Append(']');
    return text;
}

const ETabulonValue* ETabulonTag::Find(unsigned int level) const {
    const int place = values_.Find(level, FindExact);
    return place < 0 ? nullptr : &values_.At(static_cast<unsigned int>(place)).value;
}

ETabulonValue& ETabulonTag::Slot(unsigned int level) {
    return values_.At(static_cast<unsigned int>(values_.Find(level, FindOrInsert))).value;
}

std::uint32_t ETabulonTag::Hash() const noexcept {
    std::uint32_t hash = KnownLevelsCount();
    for (unsigned int place = 0; place < KnownLevelsCount(); ++place) {
        hash = (hash ^ (LevelAt(place) * 0x85EBCA6BU)) * 0x9E3779B1U;
        hash = (hash ^ ValueAt(place).Hash()) * 0x9E3779B1U;
        hash ^= hash >> 15;
    }
    return hash;
}

}  // namespace etabulon
