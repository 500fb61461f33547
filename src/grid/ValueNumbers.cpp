#include "grid/ValueNumbers.h"

#include "etabulon/foundation/EDataType.h"

#include <cstring>

namespace etabulon::detail {

namespace {

// One more element can be added without a failure. Grows as adding does.
template <class T>
void MakeRoom(std::vector<T>& elements) {
    if (elements.size() == elements.capacity()) {
        elements.reserve(2 * elements.size() + 1);
    }
}

}  // namespace

bool ValueNumbers::TellOther(const EVariant& data, Told& told) noexcept {
    const ETypeInfo& info = TypeInfo(data.Type());
    const void* const place = data.GetBuffer();
    if (place == nullptr) {
        return false;
    }
    told.type = data.Type();
    if (info.IsSlot()) {
        told.bits = reinterpret_cast<std::uintptr_t>(place);
        return true;
    }
    if (!info.IsFixedSize() || info.naturalSize > sizeof told.bits) {
        return false;
    }
    std::memcpy(&told.bits, place, info.naturalSize);
    return true;
}

// Keeps four places for each value, as long as they are not too many to stay near. What was told is
// told anew.
void ValueNumbers::GrowRecent() {
    unsigned bits = kFewestBits;
    while (bits < kMostBits && (std::size_t{1} << bits) < std::size_t{4} * Size()) {
        ++bits;
    }
    if (std::size_t{1} << bits != recent_.size()) {
        recent_.assign(std::size_t{1} << bits, Told{});
        recentShift_ = 64 - bits;
    }
}

// The address of a text is good only while the body lives, and the only body that is sure to live
// is the one kept here.
bool ValueNumbers::CanBeKept(const EVariant& data, std::uint32_t number) const noexcept {
    return !TypeInfo(data.Type()).IsSlot() ||
           data.GetBuffer() == Spelling(FirstSpelling(number)).Data().GetBuffer();
}

std::uint32_t ValueNumbers::NumberOfOther(const ETabulonValue& value, Told told) {
    told.number = FindOrAdd(value);
    if (CanBeKept(value.Data(), told.number)) {
        GrowRecent();
        const std::size_t place = PlaceOf(told);
        recent_[place ^ 1] = recent_[place];
        recent_[place] = told;
    }
    return told.number;
}

std::uint32_t ValueNumbers::Find(const ETabulonValue& value, std::uint32_t hash) const {
    const std::int32_t found = index_.Find(hash, [this, &value](std::int32_t number) {
        return Spelling(FirstSpelling(static_cast<std::uint32_t>(number))) == value;
    });
    return static_cast<std::uint32_t>(found);  // -1 is kAbsent
}

std::uint32_t ValueNumbers::Find(const ETabulonValue& value) const {
    return Find(value, value.Hash());
}

std::uint32_t ValueNumbers::FindOrAdd(const ETabulonValue& value) {
    const std::uint32_t hash = value.Hash();
    const std::uint32_t found = Find(value, hash);
    if (found != kAbsent) {
        return found;
    }
    const std::uint32_t number = Size();
    index_.Reserve(number + 1);
    MakeRoom(firstSpelling_);
    firstSpelling_.push_back(AddSpelling(number, value));
    index_.Add(hash, static_cast<std::int32_t>(number));
    return number;
}

std::uint32_t ValueNumbers::AddSpelling(std::uint32_t number, const ETabulonValue& value) {
    spellings_.push_back({value, number, kAbsent});
    return SpellingCount() - 1;
}

std::uint32_t ValueNumbers::SpellingOf(std::uint32_t number, const ETabulonValue& value) {
    std::uint32_t spelling = FirstSpelling(number);
    for (;;) {
        if (Spelling(spelling).IsIdenticalTo(value)) {
            return spelling;
        }
        if (spellings_[spelling].next == kAbsent) {
            break;
        }
        spelling = spellings_[spelling].next;
    }
    const std::uint32_t added = AddSpelling(number, value);
    spellings_[spelling].next = added;
    return added;
}

}  // namespace etabulon::detail
