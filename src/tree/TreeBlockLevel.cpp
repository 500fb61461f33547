#include "tree/TreeBlockLevel.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/EPrefetch.h"

namespace etabulon::detail {

namespace {

// From about this many children on, they don't fit the first-level cache.
constexpr std::size_t kLarge = 2000;

std::uint32_t HashOf(std::uint32_t parent, std::uint32_t number) noexcept {
    return HashNumber(std::uint64_t{parent} << 32 | number);
}

}  // namespace

void TreeBlockLevel::Read(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    const ERecordBlock::Column& column = block.At(data_);
    if (areNumbers_) {
        numbers_ = column.numbers;
        children_.resize(column.dictionary->Size());
        return;
    }
    NumberWords(column, records);
    children_.resize(words_.size() + 1);
}

void TreeBlockLevel::NumberWords(const ERecordBlock::Column& column,
                                 std::span<const EBlockIndex> records) {
    numbered_.resize(ERecordBlock::kMostRecords);
    hashes_.resize(ERecordBlock::kMostRecords);
    numbers_ = numbered_.data();
    for (const EBlockIndex record : records) {
        hashes_[record] = HashNumber(column.words[record]);
        wordIndex_.Prefetch(hashes_[record]);
    }
    for (const EBlockIndex record : records) {
        numbered_[record] = column.IsMissingWord(record)
                                ? EBlockDictionary::kMissing
                                : NumberOf(column.words[record], hashes_[record]);
    }
}

std::uint32_t TreeBlockLevel::NumberOf(std::uint64_t word, std::uint32_t hash) {
    const std::int32_t found = wordIndex_.Find(hash, [this, word](std::int32_t index) {
        return words_[static_cast<std::size_t>(index)] == word;
    });
    if (found >= 0) {
        return static_cast<std::uint32_t>(found) + 1;
    }
    const auto index = static_cast<std::uint32_t>(words_.size());
    wordIndex_.Reserve(index + 1);
    words_.push_back(word);
    wordIndex_.Add(hash, static_cast<std::int32_t>(index));
    return index + 1;
}

void TreeBlockLevel::FindAll(std::span<const EBlockIndex> records,
                             std::span<std::uint32_t> found) const {
    const Child* const children = children_.data();
    const std::uint32_t* const numbers = numbers_;
    if (children_.size() > kLarge) {
        for (const EBlockIndex record : records) {
            PrefetchToRead(&children[numbers[record]]);
        }
    }
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        const std::uint32_t parent = found[nth];
        const Child child = children[numbers[records[nth]]];
        found[nth] = child.child;
        if (child.parent != parent) [[unlikely]] {
            found[nth] = parent != kNone ? FindOther(parent, numbers[records[nth]]) : kNone;
        }
    }
}

std::uint32_t TreeBlockLevel::FindOther(std::uint32_t parent, std::uint32_t number) const {
    if (children_[number].parent == kNone) {
        return kNone;
    }
    const std::int32_t found = otherIndex_.Find(HashOf(parent, number), [&](std::int32_t index) {
        const Pair& pair = others_[static_cast<std::size_t>(index)];
        return pair.parent == parent && pair.number == number;
    });
    return found < 0 ? kNone : others_[static_cast<std::size_t>(found)].child;
}

void TreeBlockLevel::Add(std::uint32_t parent, EBlockIndex record, std::uint32_t child) {
    const std::uint32_t number = numbers_[record];
    if (children_[number].parent == kNone) {
        children_[number] = {parent, child};
        return;
    }
    const auto index = static_cast<std::uint32_t>(others_.size());
    otherIndex_.Reserve(index + 1);
    others_.push_back({parent, number, child});
    otherIndex_.Add(HashOf(parent, number), static_cast<std::int32_t>(index));
}

void TreeBlockLevel::Clear() noexcept {
    children_.assign(children_.size(), Child());
    others_.clear();
    otherIndex_.Clear();
}

}  // namespace etabulon::detail
