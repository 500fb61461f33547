#include "ESqlKeyRegistry.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace etabulon {

namespace {

constexpr std::size_t kFirstSlots = 64;
constexpr std::size_t kBlock = std::size_t{64} << 10;

}  // namespace

EPosition ESqlKeyRegistry::PositionOf(std::string_view key) {
    const std::lock_guard guard(lock_);
    if ((entries_.size() + 1) * 2 > slots_.size()) {
        Grow();
    }
    const std::size_t hash = std::hash<std::string_view>{}(key);
    std::size_t slot = hash & (slots_.size() - 1);
    while (slots_[slot] != 0) {
        const Entry& entry = entries_[slots_[slot] - 1];
        if (entry.hash == hash && std::string_view(entry.bytes, entry.size) == key) {
            return static_cast<EPosition>(slots_[slot]);
        }
        slot = (slot + 1) & (slots_.size() - 1);
    }
    entries_.push_back(Entry{Keep(key), key.size(), hash});
    slots_[slot] = entries_.size();
    return static_cast<EPosition>(entries_.size());
}

std::string_view ESqlKeyRegistry::KeyOf(EPosition position) const {
    const std::lock_guard guard(lock_);
    if (position < 1 || static_cast<std::uint64_t>(position) > entries_.size()) {
        return {};
    }
    const Entry& entry = entries_[static_cast<std::size_t>(position) - 1];
    return {entry.bytes, entry.size};
}

void ESqlKeyRegistry::Grow() {
    std::vector<std::uint64_t> larger(std::max(kFirstSlots, slots_.size() * 2));
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        std::size_t slot = entries_[i].hash & (larger.size() - 1);
        while (larger[slot] != 0) {
            slot = (slot + 1) & (larger.size() - 1);
        }
        larger[slot] = i + 1;
    }
    slots_.swap(larger);
}

const char* ESqlKeyRegistry::Keep(std::string_view key) {
    if (key.size() > freeSize_) {
        freeSize_ = std::max(kBlock, key.size());
        blocks_.push_back(std::make_unique<char[]>(freeSize_));
        free_ = blocks_.back().get();
    }
    char* const kept = free_;
    std::memcpy(kept, key.data(), key.size());
    free_ += key.size();
    freeSize_ -= key.size();
    return kept;
}

}  // namespace etabulon
