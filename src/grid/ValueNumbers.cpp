#include "grid/ValueNumbers.h"

#include "etabulon/foundation/EDataType.h"
#include "values/ETabulonValueAccess.h"

#include <cstring>
#include <utility>

namespace etabulon::detail {

namespace {

// Makes room for one more element, so that the next push_back doesn't throw. Doubles the capacity.
template <class T>
void MakeRoom(std::vector<T>& elements) {
    if (elements.size() == elements.capacity()) {
        elements.reserve(2 * elements.size() + 1);
    }
}

}  // namespace

bool ValueNumbers::MakeOtherFingerprint(const EVariant& data, Fingerprint& fingerprint) noexcept {
    const ETypeInfo& info = TypeInfo(data.Type());
    const void* const bytes = data.GetBuffer();
    if (bytes == nullptr) {
        return false;
    }
    fingerprint.type = data.Type();
    if (info.IsSlot()) {
        fingerprint.bits = reinterpret_cast<std::uintptr_t>(bytes);
        return true;
    }
    if (!info.IsFixedSize() || info.naturalSize > sizeof fingerprint.bits) {
        return false;
    }
    std::memcpy(&fingerprint.bits, bytes, info.naturalSize);
    return true;
}

// Keeps at least four cache entries for each value, up to 32768 entries, which take 512 KiB.
// Growing empties the cache.
void ValueNumbers::GrowCache() {
    unsigned int bits = kSmallestCacheBits;
    while (bits < kLargestCacheBits && (std::size_t{1} << bits) < std::size_t{4} * Size()) {
        ++bits;
    }
    if (std::size_t{1} << bits != cache_.size()) {
        cache_.assign(std::size_t{1} << bits, Fingerprint{});
        cacheShift_ = 64 - bits;
    }
}

// The address of a text identifies it only while its body lives. The only body that is sure to live
// is that of a spelling.
bool ValueNumbers::CanBeCached(const EVariant& data, std::uint32_t number) const noexcept {
    return !TypeInfo(data.Type()).IsSlot() ||
           data.GetBuffer() == Spelling(FirstSpelling(number)).Data().GetBuffer();
}

std::uint32_t ValueNumbers::NumberOfUncached(const ETabulonValue& value, Fingerprint fingerprint) {
    fingerprint.number = FindOrAdd(ETabulonValue(value));
    if (CanBeCached(value.Data(), fingerprint.number)) {
        GrowCache();
        const std::size_t slot = SlotOf(fingerprint);
        cache_[slot ^ 1] = cache_[slot];
        cache_[slot] = fingerprint;
    }
    return fingerprint.number;
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

std::uint32_t ValueNumbers::FindOrAdd(ETabulonValue&& value) {
    const std::uint32_t hash = value.Hash();
    const std::uint32_t found = Find(value, hash);
    if (found != kAbsent) {
        return found;
    }
    const std::uint32_t number = Size();
    index_.Reserve(number + 1);
    MakeRoom(firstSpelling_);
    firstSpelling_.push_back(AddSpelling(number, std::move(value)));
    index_.Add(hash, static_cast<std::int32_t>(number));
    return number;
}

void ValueNumbers::Prefetch(const EVariant& data) const noexcept {
    index_.Prefetch(ETabulonValueAccess::HashOf(data));
}

std::uint32_t ValueNumbers::AddSpelling(std::uint32_t number, ETabulonValue value) {
    spellings_.push_back({std::move(value), number, kAbsent});
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
