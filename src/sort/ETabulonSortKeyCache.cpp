#include "etabulon/sort/ETabulonSortKeyCache.h"

#include <algorithm>
#include <utility>

namespace etabulon {
namespace {

constexpr std::size_t kFirstSlots = 64;

}  // namespace

ETabulonSortKeyCache::ETabulonSortKeyCache(std::size_t capacity)
    : capacity_(std::max<std::size_t>(capacity, 1)) {}

const Chaine& ETabulonSortKeyCache::KeyOf(const Chaine& text) {
    // The hash is kept in the body: a text seen before under the same body costs one probe and a
    // comparison of two pointers, an equal text in another body a comparison of bytes.
    const std::uint32_t hash = text.FoldHash();
    if (!entries_.empty()) {
        const Entry& known = SlotOf(text, hash);
        if (known.hash != 0) {
            return known.key;
        }
    }
    Chaine key = text.LocaleSortKey();
    if (count_ == capacity_) {
        Clear();
    }
    if ((count_ + 1) * 2 > entries_.size()) {
        Grow();
    }
    Entry& entry = SlotOf(text, hash);
    entry.hash = hash;
    entry.text = text;
    entry.key = std::move(key);
    ++count_;
    return entry.key;
}

void ETabulonSortKeyCache::Clear() {
    // The slots stay allocated: a cache that was full will be full again.
    std::fill(entries_.begin(), entries_.end(), Entry());
    count_ = 0;
}

ETabulonSortKeyCache::Entry& ETabulonSortKeyCache::SlotOf(const Chaine& text,
                                                          std::uint32_t hash) noexcept {
    const std::size_t mask = entries_.size() - 1;
    std::size_t slot = hash & mask;
    while (entries_[slot].hash != 0 &&
           (entries_[slot].hash != hash || !(entries_[slot].text == text))) {
        slot = (slot + 1) & mask;
    }
    return entries_[slot];
}

void ETabulonSortKeyCache::Grow() {
    std::vector<Entry> smaller(entries_.empty() ? kFirstSlots : entries_.size() * 2);
    smaller.swap(entries_);
    for (Entry& entry : smaller) {
        if (entry.hash != 0) {
            SlotOf(entry.text, entry.hash) = std::move(entry);
        }
    }
}

}  // namespace etabulon
