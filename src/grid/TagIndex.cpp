#include "grid/TagIndex.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "foundation/EVariantAccess.h"

#include <algorithm>

namespace etabulon::detail {

TagIndex::TagIndex(const ETabulonTag& root, std::span<const unsigned int> levels) : root_(root) {
    for (const unsigned int level : levels) {
        const auto entry =
            std::lower_bound(byLevel_.begin(), byLevel_.end(), std::pair(level, std::uint32_t{0}));
        if (entry == byLevel_.end() || entry->first != level) {
            byLevel_.emplace(entry, level, static_cast<std::uint32_t>(columns_.size()));
            columns_.push_back({level, root_.Find(level), 0, {}});
        }
    }
    isStraight_ = columns_.size() == 1;
    chain_.resize(columns_.size() < 2 ? columns_.size() : columns_.size() - 1);
    last_.assign(columns_.size(), kAbsent);
}

int TagIndex::ColumnOf(unsigned int level) const noexcept {
    const auto found =
        std::lower_bound(byLevel_.begin(), byLevel_.end(), std::pair(level, std::uint32_t{0}));
    return found == byLevel_.end() || found->first != level ? -1 : static_cast<int>(found->second);
}

std::uint32_t TagIndex::FindOrAdd(const ETabulonTag& tag) {
    bool same = lastDetail_ != kNone;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        Column& column = columns_[at];
        const ETabulonValue* const value = ValueIn(tag, column);
        const std::uint32_t number = value == nullptr ? kAbsent : column.values.NumberOf(*value);
        same = same && last_[at] == number;
        last_[at] = number;
    }
    if (same) {
        return lastDetail_;
    }
    lastDetail_ = kNone;  // in case of an exception below
    // Two columns, the most frequent case, go without a call.
    const std::uint32_t detail =
        columns_.size() == 2 ? chain_[0].FindOrAdd(last_[0], last_[1]) : Chain();
    if (detail == size_) {
        ++size_;
        KeepSpellings(tag, detail);
    }
    lastDetail_ = detail;
    return detail;
}

// A new value's first spelling is that of its only detail.
std::uint32_t TagIndex::FindOrAddValue(ETabulonValue&& value) {
    lastDetail_ = kNone;  // in case of an exception below
    last_[0] = columns_[0].values.FindOrAdd(std::move(value));
    lastDetail_ = chain_[0].FindOrAdd(0, last_[0]);
    if (size_ != chain_[0].Size()) {
        size_ = chain_[0].Size();
        NoteSingle(lastDetail_);
    }
    return lastDetail_;
}

// A new detail of a single column.
void TagIndex::NoteSingle(std::uint32_t detail) noexcept {
    isStraight_ =
        isStraight_ && last_[0] == detail && columns_[0].values.FirstSpelling(detail) == detail;
}

std::uint32_t TagIndex::FindOrAddLasting(const ETabulonTag& tag, std::uint64_t generation) {
    if (cacheGeneration_ != generation) {
        cache_.assign(kCacheSlots, CachedTag{});
        cacheGeneration_ = generation;
    }
    // The upper 12 bits of a product: addresses differ mostly in their middle bits.
    CachedTag& cached = cache_[SpreadBits(reinterpret_cast<std::uintptr_t>(&tag)) >> 52];
    if (cached.tag != &tag) {
        const std::uint32_t detail = FindOrAdd(tag);
        cached = {&tag, detail};
        return detail;
    }
    if (cached.detail != lastDetail_) {
        NumbersOf(cached.detail, last_);
        lastDetail_ = cached.detail;
    }
    return cached.detail;
}

std::uint32_t TagIndex::Chain() {
    if (columns_.empty()) {
        return 0;
    }
    if (columns_.size() == 1) {
        return chain_[0].FindOrAdd(0, last_[0]);
    }
    std::uint32_t number = last_[0];
    for (std::size_t at = 1; at < columns_.size(); ++at) {
        number = chain_[at - 1].FindOrAdd(number, last_[at]);
    }
    return number;
}

std::uint32_t TagIndex::Find(std::span<const std::uint32_t> numbers) const {
    if (columns_.empty()) {
        return size_ == 0 ? kNone : 0;
    }
    if (columns_.size() == 1) {
        return chain_[0].Find(0, numbers[0]);
    }
    std::uint32_t number = numbers[0];
    for (std::size_t at = 1; at < columns_.size(); ++at) {
        number = chain_[at - 1].Find(number, numbers[at]);
        if (number == kNone) {
            return kNone;
        }
    }
    return number;
}

std::uint32_t TagIndex::NumberInChain(std::uint32_t detail, std::size_t column) const {
    for (std::size_t at = columns_.size() - 1; at > std::max<std::size_t>(column, 1); --at) {
        detail = chain_[at - 1].FirstOf(detail);
    }
    return column == 0 ? chain_[0].FirstOf(detail) : chain_[column - 1].SecondOf(detail);
}

void TagIndex::NumbersInChain(std::uint32_t detail, std::span<std::uint32_t> numbers) const {
    if (columns_.size() == 1) {
        numbers[0] = chain_[0].SecondOf(detail);
        return;
    }
    for (std::size_t at = columns_.size(); at-- > 1;) {
        numbers[at] = chain_[at - 1].SecondOf(detail);
        detail = chain_[at - 1].FirstOf(detail);
        numbers[0] = detail;
    }
}

// Equal values may be spelled differently. A new detail keeps the spellings of its first record.
void TagIndex::KeepSpellings(const ETabulonTag& tag, std::uint32_t detail) {
    NoteSingle(detail);
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        if (last_[at] == kAbsent) {
            continue;
        }
        Column& column = columns_[at];
        KeepSpelling(detail, at, column.values.SpellingOf(last_[at], *ValueIn(tag, column)));
    }
}

// Requires last_ to be the detail's numbers.
void TagIndex::KeepSpelling(std::uint32_t detail, std::size_t column, std::uint32_t spelling) {
    if (spelling != columns_[column].values.FirstSpelling(last_[column])) {
        isStraight_ = false;
        otherSpellings_[SpellingKey(detail, column)] = spelling;
    }
}

std::uint32_t TagIndex::FindOrAddKnown(std::span<const std::uint32_t> numbers,
                                       std::span<const std::uint32_t> spellings) {
    lastDetail_ = kNone;  // in case of an exception below
    std::copy(numbers.begin(), numbers.end(), last_.begin());
    const std::uint32_t detail = Chain();
    if (detail == size_) {
        ++size_;
        NoteSingle(detail);
        for (std::size_t at = 0; at < columns_.size(); ++at) {
            if (last_[at] != kAbsent) {
                KeepSpelling(detail, at, spellings[at]);
            }
        }
    }
    lastDetail_ = detail;
    return detail;
}

bool TagIndex::FindOrAddPairs(std::span<const std::uint32_t> first,
                              std::span<const std::uint32_t> second, std::uint32_t largestFirst,
                              std::uint32_t largestSecond, std::uint32_t* details) {
    if (!chain_[0].FindOrAddAll(first, second, largestFirst, largestSecond, details)) {
        return false;
    }
    size_ = chain_[0].Size();
    lastDetail_ = kNone;
    return true;
}

std::uint32_t TagIndex::AddPair(const Known& first, const Known& second) {
    const std::uint32_t detail = chain_[0].Add(first.number, second.number);
    ++size_;
    last_[0] = first.number;
    last_[1] = second.number;
    lastDetail_ = kNone;  // in case of an exception below
    KeepSpelling(detail, 0, first.spelling);
    KeepSpelling(detail, 1, second.spelling);
    lastDetail_ = detail;
    return detail;
}

std::uint32_t TagIndex::SpellingOf(std::uint32_t detail, std::size_t column) const {
    if (isStraight_) {
        return detail;
    }
    const std::uint32_t number = NumberAt(detail, column);
    if (number == kAbsent) {
        return kAbsent;
    }
    if (!otherSpellings_.empty()) {
        const auto other = otherSpellings_.find(SpellingKey(detail, column));
        if (other != otherSpellings_.end()) {
            return other->second;
        }
    }
    return columns_[column].values.FirstSpelling(number);
}

ETabulonTag TagIndex::Tag(std::uint32_t detail) const {
    ETabulonTag tag;
    ReadTag(detail, tag);
    return tag;
}

void TagIndex::ReadTag(std::uint32_t detail, ETabulonTag& tag) const {
    if (RefillTag(detail, tag)) {
        return;
    }
    tag = root_;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        if (const std::uint32_t spelling = SpellingOf(detail, at); spelling != kAbsent) {
            tag.Slot(columns_[at].level) = columns_[at].values.Spelling(spelling);
        }
    }
}

// In place, where the tag has just the detail's levels: only for details that have all levels,
// below the root of all tags. byLevel_ has them in the order of a tag's entries.
bool TagIndex::RefillTag(std::uint32_t detail, ETabulonTag& tag) const {
    if (!root_.IsRoot() || tag.KnownLevelsCount() != byLevel_.size()) {
        return false;
    }
    for (unsigned int index = 0; index < byLevel_.size(); ++index) {
        const auto& [level, column] = byLevel_[index];
        const std::uint32_t spelling = SpellingOf(detail, column);
        if (spelling == kAbsent || tag.LevelAt(index) != level) {
            return false;
        }
        tag.SlotAt(index) = columns_[column].values.Spelling(spelling);
    }
    return true;
}

template <class Visit>
void TagIndex::ForEachFirstSpelling(std::uint32_t detail, const Visit& visit) const noexcept {
    if (isStraight_) {
        visit(columns_[0].values.Spelling(detail));
        return;
    }
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        if (const std::uint32_t number = NumberAt(detail, at); number != kAbsent) {
            const ValueNumbers& values = columns_[at].values;
            visit(values.Spelling(values.FirstSpelling(number)));
        }
    }
}

void TagIndex::PrefetchValues(std::uint32_t detail) const noexcept {
    ForEachFirstSpelling(detail, [](const ETabulonValue& value) {
        PrefetchToRead(&value);
        PrefetchToRead(&value + 1);  // it may lie in two cache lines
    });
}

void TagIndex::PrefetchTexts(std::uint32_t detail) const noexcept {
    ForEachFirstSpelling(
        detail, [](const ETabulonValue& value) { EVariantAccess::PrefetchShare(value.Data()); });
}

}  // namespace etabulon::detail
