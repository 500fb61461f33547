#include "foundation/PairNumbers.h"

#include "etabulon/foundation/detail/EHashMix.h"

#include <algorithm>
#include <bit>

namespace etabulon::detail {

namespace {

// The largest table in cells of four bytes: 64 KiB in any case, and 32 cells for each pair.
constexpr std::uint64_t kSmallTable = 16384;
constexpr std::uint64_t kCellsPerPair = 32;
constexpr std::size_t kFitsCache = 8192;  // cells of four bytes, half of a first-level cache

}  // namespace

std::uint32_t PairNumbers::FindByHash(std::uint32_t first, std::uint32_t second) const {
    const std::uint64_t pair = PairOf(first, second);
    const std::int32_t found = index_.Find(HashNumber(pair), [this, pair](std::int32_t number) {
        return pairs_[static_cast<std::size_t>(number)] == pair;
    });
    return static_cast<std::uint32_t>(found);  // -1 is kNone
}

void PairNumbers::PrefetchByHash(std::uint32_t first, std::uint32_t second) const noexcept {
    index_.Prefetch(HashNumber(PairOf(first, second)));
}

// Where there is no table, or the pair lies outside of it. Allocates before it changes anything, so
// that every numbered pair can be found again.
std::uint32_t PairNumbers::AddOutside(std::uint32_t first, std::uint32_t second) {
    const Cell cell = CellOf(first, second);
    neededRows_ = std::max(neededRows_, std::bit_ceil(cell.row + 1));
    neededColumns_ = std::max(neededColumns_, std::bit_ceil(cell.column + 1));
    const bool isOutside = !table_.empty() && (cell.row >= rows_ || cell.column >= columns_);
    if (isOutside || (table_.empty() && Size() + 1 >= nextChoiceSize_)) {
        ChooseForm();
    }
    if (table_.empty()) {
        index_.Reserve(Size() + 1);
    }
    const std::uint32_t number = Size();
    pairs_.push_back(PairOf(first, second));
    if (table_.empty()) {
        index_.Add(HashNumber(pairs_[number]), static_cast<std::int32_t>(number));
    } else {
        table_[Offset(cell)] = number + 1;
    }
    return number;
}

// Without a branch for new pairs, which come in no order that could be predicted.
bool PairNumbers::FindOrAddAll(std::span<const std::uint32_t> first,
                               std::span<const std::uint32_t> second, std::uint32_t largestFirst,
                               std::uint32_t largestSecond, std::uint32_t* numbers) {
    const Cell largest = CellOf(largestFirst, largestSecond);
    if (table_.empty() || largest.row >= rows_ || largest.column >= columns_) {
        return false;
    }
    std::uint32_t* const table = table_.data();
    if (table_.size() > kFitsCache) {
        for (std::size_t at = 0; at < first.size(); ++at) {
            PrefetchToWrite(&table[Offset(CellOf(first[at], second[at]))]);
        }
    }
    std::uint32_t size = Size();
    pairs_.resize(pairs_.size() + first.size());
    std::uint64_t* const pairs = pairs_.data();
    for (std::size_t at = 0; at < first.size(); ++at) {
        std::uint32_t& entry = table[Offset(CellOf(first[at], second[at]))];
        const std::uint32_t isNew = entry == 0 ? 1 : 0;
        const std::uint32_t number = entry + (size + 1) * isNew;
        pairs[size] = PairOf(first[at], second[at]);
        size += isNew;
        entry = number;
        numbers[at] = number - 1;
    }
    pairs_.resize(size);
    return true;
}

// Chooses between table and hash index, with room for one pair more.
void PairNumbers::ChooseForm() {
    const std::uint64_t cells = std::uint64_t{neededRows_} * neededColumns_;
    if (cells <= std::max(kSmallTable, kCellsPerPair * (Size() + 1))) {
        FillTable();
    } else if (!table_.empty()) {
        FillIndex();
    }
    nextChoiceSize_ = std::max(nextChoiceSize_, Size()) * 2;
}

void PairNumbers::FillTable() {
    LargeVector<std::uint32_t> table(std::size_t{neededRows_} * neededColumns_);
    table_.swap(table);
    rows_ = neededRows_;
    columns_ = neededColumns_;
    for (std::uint32_t number = 0; number < Size(); ++number) {
        table_[Offset(CellOf(FirstOf(number), SecondOf(number)))] = number + 1;
    }
    index_ = HashIndex();
}

void PairNumbers::FillIndex() {
    HashIndex index;
    index.Reserve(Size() + 1);
    for (std::uint32_t number = 0; number < Size(); ++number) {
        index.Add(HashNumber(pairs_[number]), static_cast<std::int32_t>(number));
    }
    index_.Swap(index);
    LargeVector<std::uint32_t>().swap(table_);
}

}  // namespace etabulon::detail
