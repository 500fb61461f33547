#include "score/LabelCache.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/values/ETabulonTag.h"

#include <algorithm>
#include <cstring>

namespace etabulon::detail {

namespace {

constexpr std::size_t kFirstEntries = 64;
constexpr std::uint16_t kNoType = 0xFFFF;

}  // namespace

void LabelCache::AddLevel(unsigned int level) {
    if (levels_.size() > sizeof words_) {
        return;  // each level takes at least a byte, so that no label can be cached any more
    }
    const bool known = std::any_of(levels_.begin(), levels_.end(),
                                   [level](const Level& other) { return other.level == level; });
    if (!known) {
        levels_.push_back({level, 0, kNoType});
    }
}

bool LabelCache::Read(const ETabulonTag& position) noexcept {
    words_ = {};
    auto* const bytes = reinterpret_cast<unsigned char*>(words_.data());
    std::size_t used = 0;
    for (Level& level : levels_) {
        const ETabulonValue* const value = position.Find(level.level, level.index);
        if (value == nullptr || value->Status() != ETabulonValue::ValNormal) {
            return false;
        }
        const EVariant& data = value->Data();
        const void* const from = data.GetBuffer();
        const std::size_t length = data.ByteCount();
        if (level.type == kNoType) {
            level.type = data.Type();
        }
        if (from == nullptr || data.Type() != level.type || used + 1 + length > sizeof words_) {
            return false;
        }
        bytes[used] = static_cast<unsigned char>(length);
        std::memcpy(bytes + used + 1, from, length);
        used += 1 + length;
    }
    return true;
}

// The slot that holds the words, or the free slot for them.
std::size_t LabelCache::SlotOf(const Words& words) const noexcept {
    std::uint64_t hash = 0;
    for (const std::uint64_t word : words) {
        hash = MixHash(hash, word);
    }
    const std::size_t mask = entries_.size() - 1;
    std::size_t slot = hash & mask;
    while (entries_[slot].line != kNone && entries_[slot].words != words) {
        slot = (slot + 1) & mask;
    }
    return slot;
}

std::uint32_t LabelCache::Find() const noexcept {
    return entries_.empty() ? kNone : entries_[SlotOf(words_)].line;
}

void LabelCache::Add(std::uint32_t line) {
    if ((count_ + 1) * 4 > entries_.size() * 3) {
        Grow();
    }
    Entry& entry = entries_[SlotOf(words_)];
    entry.words = words_;
    entry.line = line;
    ++count_;
}

void LabelCache::Grow() {
    std::vector<Entry> smaller(entries_.empty() ? kFirstEntries : entries_.size() * 2);
    smaller.swap(entries_);
    for (const Entry& entry : smaller) {
        if (entry.line != kNone) {
            entries_[SlotOf(entry.words)] = entry;
        }
    }
}

}  // namespace etabulon::detail
