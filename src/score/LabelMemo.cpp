#include "score/LabelMemo.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/values/ETabulonTag.h"

#include <algorithm>
#include <cstring>

namespace etabulon::detail {

namespace {

constexpr std::size_t kFirstEntries = 64;
constexpr std::uint16_t kNoType = 0xFFFF;

}  // namespace

void LabelMemo::AddLevel(unsigned int level) {
    if (levels_.size() > sizeof words_) {
        return;  // each level takes a byte: no label of as many can be told here
    }
    const bool known = std::any_of(levels_.begin(), levels_.end(),
                                   [level](const Level& other) { return other.level == level; });
    if (!known) {
        levels_.push_back({level, 0, kNoType});
    }
}

bool LabelMemo::Read(const ETabulonTag& position) noexcept {
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

// Where the words are, or the free entry where they would be.
std::size_t LabelMemo::PlaceOf(const Words& words) const noexcept {
    std::uint64_t hash = 0;
    for (const std::uint64_t word : words) {
        hash = MixHash(hash, word);
    }
    const std::size_t mask = entries_.size() - 1;
    std::size_t place = hash & mask;
    while (entries_[place].line != kNone && entries_[place].words != words) {
        place = (place + 1) & mask;
    }
    return place;
}

std::uint32_t LabelMemo::Find() const noexcept {
    return entries_.empty() ? kNone : entries_[PlaceOf(words_)].line;
}

void LabelMemo::Add(std::uint32_t line) {
    if ((count_ + 1) * 4 > entries_.size() * 3) {
        Grow();
    }
    Entry& entry = entries_[PlaceOf(words_)];
    entry.words = words_;
    entry.line = line;
    ++count_;
}

void LabelMemo::Grow() {
    std::vector<Entry> smaller(entries_.empty() ? kFirstEntries : entries_.size() * 2);
    smaller.swap(entries_);
    for (const Entry& entry : smaller) {
        if (entry.line != kNone) {
            entries_[PlaceOf(entry.words)] = entry;
        }
    }
}

}  // namespace etabulon::detail
