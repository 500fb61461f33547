#include "etabulon/values/ETabulonTag.h"

#include "etabulon/foundation/detail/EHashMix.h"
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
    // Entries are in rising order of level on both sides: equal tags match index by index.
    for (unsigned int index = 0; index < count; ++index) {
        if (LevelAt(index) != other.LevelAt(index) || !(ValueAt(index) == other.ValueAt(index))) {
            return false;
        }
    }
    return true;
}

const ETabulonValue& ETabulonTag::Value(unsigned int level) const {
    const int index = values_.Find(level, FindExact);
    E_EXPECTS(index >= 0);
    return values_.At(static_cast<unsigned int>(index)).value;
}

bool ETabulonTag::HasValue(unsigned int level) const { return values_.Find(level, FindExact) >= 0; }

void ETabulonTag::SetValue(unsigned int level, const ETabulonValue& value) { Slot(level) = value; }

PUniqueT<unsigned int> ETabulonTag::KnownLevels() const {
    PUniqueT<unsigned int> levels;
    for (unsigned int index = 0; index < KnownLevelsCount(); ++index) {
        levels.Add(LevelAt(index));
    }
    return levels;
}

bool ETabulonTag::IsChildOf(const ETabulonTag& parent) const {
    const unsigned int count = KnownLevelsCount();
    const unsigned int parentCount = parent.KnownLevelsCount();
    if (count <= parentCount) {
        return false;
    }
    unsigned int parentIndex = 0;
    for (unsigned int index = 0; index < count && parentIndex < parentCount; ++index) {
        while (parentIndex < parentCount && parent.LevelAt(parentIndex) < LevelAt(index)) {
            ++parentIndex;
        }
        if (parentIndex < parentCount && parent.LevelAt(parentIndex) == LevelAt(index) &&
            !(ValueAt(index) == parent.ValueAt(parentIndex))) {
            return false;
        }
    }
    return true;
}

Chaine ETabulonTag::DisplayID() const {
    Chaine text("[");
    for (unsigned int index = 0; index < KnownLevelsCount(); ++index) {
        if (index != 0) {
            text.Append(", ");
        }
        text += ValueAt(index).DisplayValue();
    }
    text.Append(']');
    return text;
}

const ETabulonValue* ETabulonTag::Find(unsigned int level) const {
    const int index = values_.Find(level, FindExact);
    return index < 0 ? nullptr : &values_.At(static_cast<unsigned int>(index)).value;
}

const ETabulonValue* ETabulonTag::FindElsewhere(unsigned int level, unsigned int& index) const {
    const int found = IndexOf(level);
    if (found < 0) {
        return nullptr;
    }
    index = static_cast<unsigned int>(found);
    return &ValueAt(index);
}

ETabulonValue& ETabulonTag::Slot(unsigned int level) {
    return values_.At(static_cast<unsigned int>(values_.Find(level, FindOrInsert))).value;
}

std::uint32_t ETabulonTag::Hash() const noexcept {
    std::uint64_t hash = KnownLevelsCount();
    for (unsigned int index = 0; index < KnownLevelsCount(); ++index) {
        hash = detail::MixHash(hash, std::uint64_t{LevelAt(index)} << 32 | ValueAt(index).Hash());
    }
    return detail::HashNumber(hash);
}

}  // namespace etabulon
