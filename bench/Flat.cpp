#include "bench/Flat.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <type_traits>

namespace etabulon::bench {

namespace {

std::uint32_t HashText(std::string_view text) {
    std::uint64_t hash = text.size();
    const char* at = text.data();
    std::size_t left = text.size();
    for (; left >= 8; left -= 8, at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, 8);
        hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 32;
    }
    std::uint64_t word = 0;
    std::memcpy(&word, at, left);
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return static_cast<std::uint32_t>(hash >> 32);
}

/// Where results go: they must be read, and nothing else happens to them.
double g_sink = 0;
void Send(double value) { g_sink += value; }

}  // namespace

// -------------------------------------------------------------------------------------- dictionary

void FlatDictionary::Number(std::span<const std::string_view> texts, std::uint32_t* numbers) {
    hashes_.resize(texts.size());
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t index = 0; index < texts.size(); ++index) {
        hashes_[index] = HashText(texts[index]);
    }
    const bool isLarge = Size() > 256;
    for (std::size_t index = 0; isLarge && index < texts.size(); ++index) {
        __builtin_prefetch(&slots_[hashes_[index] & mask]);
    }
    for (std::size_t index = 0; isLarge && index < texts.size(); ++index) {
        const std::uint32_t number = slots_[hashes_[index] & mask].number;
        if (number != kNone) {
            __builtin_prefetch(texts_[number].data());
        }
    }
    for (std::size_t index = 0; index < texts.size(); ++index) {
        numbers[index] = FindOrAdd(texts[index], hashes_[index]);
    }
}

std::uint32_t FlatDictionary::FindOrAdd(std::string_view text, std::uint32_t hash) {
    std::size_t at = hash & (slots_.size() - 1);
    for (; slots_[at].number != kNone; at = (at + 1) & (slots_.size() - 1)) {
        if (slots_[at].hash == hash && texts_[slots_[at].number] == text) {
            return slots_[at].number;
        }
    }
    if (chunks_.empty() || room_ < text.size()) {
        chunks_.push_back(std::make_unique<char[]>(std::max(kChunk, text.size())));
        room_ = std::max(kChunk, text.size());
    }
    char* const copy = chunks_.back().get() + (std::max(kChunk, text.size()) - room_);
    std::copy(text.begin(), text.end(), copy);
    room_ -= text.size();
    const std::uint32_t number = Size();
    texts_.emplace_back(copy, text.size());
    slots_[at] = {hash, number};
    if (texts_.size() * 2 > slots_.size()) {
        Grow();
    }
    return number;
}

void FlatDictionary::Grow() {
    std::vector<Slot> slots(slots_.size() * 2);
    for (const Slot& slot : slots_) {
        if (slot.number != kNone) {
            std::size_t at = slot.hash & (slots.size() - 1);
            while (slots[at].number != kNone) {
                at = (at + 1) & (slots.size() - 1);
            }
            slots[at] = slot;
        }
    }
    slots_.swap(slots);
}

std::vector<std::uint32_t> FlatDictionary::Sorted() const {
    std::vector<std::uint32_t> numbers(Size());
    std::iota(numbers.begin(), numbers.end(), 0U);
    std::sort(numbers.begin(), numbers.end(),
              [this](std::uint32_t a, std::uint32_t b) { return texts_[a] < texts_[b]; });
    return numbers;
}

// ----------------------------------------------------------------------------------------- records

FlatReader::FlatReader(Statement& statement, std::string_view kinds)
    : statement_(statement), kinds_(kinds) {
    for (const char kind : kinds_) {
        if (kind == 't') {
            numbers_.emplace_back(kRecords);
            texts_.emplace_back(kRecords);
            arenas_.emplace_back();
            dictionaries_.emplace_back();
            block_.texts.push_back(nullptr);
        } else if (kind == 'd') {
            block_.reals.push_back(reals_.emplace_back(kRecords).data());
        } else {
            block_.wholes.push_back(wholes_.emplace_back(kRecords).data());
        }
    }
    for (std::size_t column = 0; column < numbers_.size(); ++column) {
        block_.texts[column] = numbers_[column].data();
        arenas_[column].reserve(kRecords * 64);
    }
    for (std::size_t column = 0; column < reals_.size(); ++column) {
        block_.reals[column] = reals_[column].data();
    }
    for (std::size_t column = 0; column < wholes_.size(); ++column) {
        block_.wholes[column] = wholes_[column].data();
    }
}

bool FlatReader::Read(std::size_t record) {
    if (!statement_.Step()) {
        return false;
    }
    std::size_t text = 0;
    std::size_t real = 0;
    std::size_t whole = 0;
    for (std::size_t column = 0; column < kinds_.size(); ++column) {
        const int at = static_cast<int>(column);
        if (kinds_[column] == 't') {
            const std::string_view value = statement_.Text(at);
            std::vector<char>& arena = arenas_[text];
            if (arena.capacity() - arena.size() < value.size()) {
                std::fprintf(stderr, "texts too long for a flat block\n");
                std::exit(1);
            }
            const std::size_t start = arena.size();
            arena.insert(arena.end(), value.begin(), value.end());
            texts_[text++][record] = {arena.data() + start, value.size()};
        } else if (kinds_[column] == 'd') {
            reals_[real++][record] = statement_.Double(at);
        } else {
            wholes_[whole++][record] = statement_.Int64(at);
        }
    }
    return true;
}

const FlatBlock* FlatReader::Next() {
    for (std::vector<char>& arena : arenas_) {
        arena.clear();
    }
    block_.size = 0;
    if (isEnded_) {
        isEnded_ = false;
        return nullptr;
    }
    while (block_.size < kRecords && !isEnded_) {
        isEnded_ = !Read(block_.size);
        block_.size += isEnded_ ? 0 : 1;
    }
    for (std::size_t column = 0; column < numbers_.size(); ++column) {
        dictionaries_[column].Number({texts_[column].data(), block_.size}, numbers_[column].data());
    }
    if (isEnded_) {
        statement_.Reset();  // a further step would begin again
    }
    return &block_;
}

FlatTable::FlatTable(Statement& statement, std::string_view kinds) : reader_(statement, kinds) {
    while (const FlatBlock* const block = reader_.Next()) {
        texts_.resize(block->texts.size());
        reals_.resize(block->reals.size());
        wholes_.resize(block->wholes.size());
        const auto append = [block](auto& columns, const auto& values) {
            for (std::size_t column = 0; column < columns.size(); ++column) {
                columns[column].insert(columns[column].end(), values[column],
                                       values[column] + block->size);
            }
        };
        append(texts_, block->texts);
        append(reals_, block->reals);
        append(wholes_, block->wholes);
        count_ += block->size;
    }
    block_.texts.resize(texts_.size());
    block_.reals.resize(reals_.size());
    block_.wholes.resize(wholes_.size());
}

const FlatBlock* FlatTable::Next() {
    if (next_ >= count_) {
        next_ = 0;
        return nullptr;
    }
    const auto view = [this](auto& pointers, const auto& columns) {
        for (std::size_t column = 0; column < columns.size(); ++column) {
            pointers[column] = columns[column].data() + next_;
        }
    };
    view(block_.texts, texts_);
    view(block_.reals, reals_);
    view(block_.wholes, wholes_);
    block_.size = std::min(kRecords, count_ - next_);
    next_ += block_.size;
    return &block_;
}

// -------------------------------------------------------------------------------------------- grid

namespace {

void Fold(FlatState& state, const FlatBlock& block, std::size_t record) {
    state.sum += block.reals[0][record];
    ++state.count;
}
void Fold(FlatSixState& state, const FlatBlock& block, std::size_t record) {
    const double amount = block.reals[0][record];
    state.low = state.count == 0 || amount < state.low ? amount : state.low;
    state.high = state.count == 0 || amount > state.high ? amount : state.high;
    state.sum += amount;
    ++state.count;
    state.quantity += block.wholes[1][record];
}

void Send(const FlatState& state) { Send(state.sum); }
void Send(const FlatSixState& state) {
    Send(state.sum);
    Send(static_cast<double>(state.count));
    Send(state.low);
    Send(state.high);
    Send(state.sum / state.count);
    Send(static_cast<double>(state.quantity));
}

/// Cells by line and column in a table that grows with their numbers.
template <class State>
class Cells {
public:
    void Reserve(std::size_t lines, std::size_t columns) {
        if (columns > columns_) {
            const std::size_t wider = std::max(columns, columns_ * 2);
            std::vector<State> cells(lines_ * wider);
            for (std::size_t line = 0; line < lines_; ++line) {
                std::copy_n(cells_.data() + line * columns_, columns_, cells.data() + line * wider);
            }
            cells_.swap(cells);
            columns_ = wider;
        }
        if (lines > lines_) {
            lines_ = std::max(lines, lines_ * 2);
            cells_.resize(lines_ * columns_);
        }
    }
    [[nodiscard]] State& At(std::size_t line, std::size_t column) {
        return cells_[line * columns_ + column];
    }

private:
    std::size_t lines_ = 0;
    std::size_t columns_ = 1;
    std::vector<State> cells_;
};

}  // namespace

template <class State, class Source>
std::size_t FlatGrid(Source& source) {
    Cells<State> cells;
    std::vector<State> lines;
    std::vector<State> columns;
    State total;
    while (const FlatBlock* const block = source.Next()) {
        lines.resize(source.Texts(0).Size());
        columns.resize(source.Texts(1).Size());
        cells.Reserve(lines.size(), columns.size());
        constexpr std::size_t kAhead = 16;
        for (std::size_t record = 0; record < block->size; ++record) {
            if (record + kAhead < block->size) {
                __builtin_prefetch(
                    &cells.At(block->texts[0][record + kAhead], block->texts[1][record + kAhead]),
                    1);
            }
            const std::uint32_t line = block->texts[0][record];
            const std::uint32_t column = block->texts[1][record];
            Fold(cells.At(line, column), *block, record);
            Fold(lines[line], *block, record);
            Fold(columns[column], *block, record);
            Fold(total, *block, record);
        }
    }
    const std::vector<std::uint32_t> sortedColumns = source.Texts(1).Sorted();
    std::size_t count = 0;
    for (const std::uint32_t line : source.Texts(0).Sorted()) {
        for (const std::uint32_t column : sortedColumns) {
            if (const State& cell = cells.At(line, column); cell.count != 0) {
                Send(cell);
                ++count;
            }
        }
        Send(lines[line]);
    }
    for (const std::uint32_t column : sortedColumns) {
        Send(columns[column]);
    }
    Send(total);
    return count;
}

// ------------------------------------------------------------------------------------------- score

template <class Source>
std::size_t FlatScore(Source& source) {
    std::vector<double> sums;
    double total = 0;
    while (const FlatBlock* const block = source.Next()) {
        sums.resize(source.Texts(0).Size());
        constexpr std::size_t kAhead = 16;
        for (std::size_t record = 0; record < block->size; ++record) {
            if (record + kAhead < block->size) {
                __builtin_prefetch(&sums[block->texts[0][record + kAhead]], 1);
            }
            sums[block->texts[0][record]] += block->reals[0][record];
            total += block->reals[0][record];
        }
    }
    struct Line {
        double sum;
        std::uint32_t number;
    };
    std::vector<Line> lines;
    for (std::uint32_t number = 0; number < sums.size(); ++number) {
        lines.push_back({sums[number], number});
    }
    std::sort(lines.begin(), lines.end(), [&source](const Line& a, const Line& b) {
        return a.sum != b.sum ? a.sum > b.sum
                              : source.Texts(0).Text(a.number) > source.Texts(0).Text(b.number);
    });
    for (const Line& line : lines) {
        Send(line.sum + static_cast<double>(source.Texts(0).Text(line.number)[0]));
    }
    Send(total);
    return lines.size();
}

// -------------------------------------------------------------------------------------------- tree

namespace {

/// The nodes of one level, by (parent, number of the text).
class FlatLevel {
public:
    struct Node {
        std::uint32_t parent;
        std::uint32_t number;
    };

    /// A node of the text is mostly found by its number alone: it has that parent already.
    [[nodiscard]] std::uint32_t FindOrAdd(std::uint32_t parent, std::uint32_t number) {
        if (number >= last_.size()) {
            last_.resize(std::max<std::size_t>(number + 1, last_.size() * 2), kNone);
        }
        for (std::uint32_t node = last_[number]; node != kNone; node = next_[node]) {
            if (nodes_[node].parent == parent) {
                return node;
            }
        }
        nodes_.push_back({parent, number});
        next_.push_back(last_[number]);
        return last_[number] = static_cast<std::uint32_t>(nodes_.size() - 1);
    }
    void Prefetch(std::uint32_t number) const noexcept {
        if (number < last_.size()) {
            __builtin_prefetch(&last_[number]);
        }
    }
    /// All nodes, those of each parent in the order of their texts.
    [[nodiscard]] std::vector<Node> Sorted(const std::vector<std::uint32_t>& byText,
                                           std::size_t parents) const {
        std::vector<std::uint32_t> rank(byText.size());
        for (std::uint32_t at = 0; at < byText.size(); ++at) {
            rank[byText[at]] = at;
        }
        std::vector<std::uint32_t> starts(parents + 1);
        for (const Node& node : nodes_) {
            ++starts[node.parent + 1];
        }
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        std::vector<Node> sorted(nodes_.size());
        std::vector<std::uint32_t> ends(starts.begin(), starts.end());
        for (const Node& node : nodes_) {
            sorted[ends[node.parent]++] = node;
        }
        for (std::size_t parent = 0; parent < parents; ++parent) {
            std::sort(
                sorted.begin() + starts[parent], sorted.begin() + starts[parent + 1],
                [&rank](const Node& a, const Node& b) { return rank[a.number] < rank[b.number]; });
        }
        return sorted;
    }
    [[nodiscard]] std::size_t Size() const noexcept { return nodes_.size(); }

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    std::vector<std::uint32_t> last_;
    std::vector<std::uint32_t> next_;
    std::vector<Node> nodes_;
};

}  // namespace

template <class Source>
std::size_t FlatTree(Source& source, bool keepsRecords) {
    constexpr std::size_t kLevels = 3;
    FlatLevel levels[kLevels];
    struct Leaf {
        std::uint32_t parent;
        std::int64_t key;
    };
    std::vector<Leaf> records;
    std::vector<std::int64_t> lastKeys;  // of the customers: the tree keeps the last record's
    while (const FlatBlock* const block = source.Next()) {
        for (std::size_t record = 0; record < block->size; ++record) {
            levels[kLevels - 1].Prefetch(block->texts[kLevels - 1][record]);
        }
        for (std::size_t record = 0; record < block->size; ++record) {
            std::uint32_t node = 0;
            for (std::size_t level = 0; level < kLevels; ++level) {
                node = levels[level].FindOrAdd(node, block->texts[level][record]);
            }
            lastKeys.resize(levels[kLevels - 1].Size());
            lastKeys[node] = block->wholes[0][record];
            if (keepsRecords) {
                records.push_back({node, block->wholes[0][record]});
            }
        }
    }
    std::size_t count = 0;
    std::size_t parents = 1;
    for (std::size_t level = 0; level < kLevels; ++level) {
        const auto sorted = levels[level].Sorted(source.Texts(level).Sorted(), parents);
        parents = sorted.size();
        count += sorted.size();
        Send(sorted.empty() ? 0 : static_cast<double>(sorted.back().number));
    }
    if (keepsRecords) {
        // The keys come in their order, so that those of a parent do too.
        std::vector<std::uint32_t> ends(parents + 1);
        for (const Leaf& leaf : records) {
            ++ends[leaf.parent + 1];
        }
        std::partial_sum(ends.begin(), ends.end(), ends.begin());
        std::vector<std::int64_t> keys(records.size());
        for (const Leaf& leaf : records) {
            keys[ends[leaf.parent]++] = leaf.key;
        }
        count += keys.size();
        Send(keys.empty() ? 0 : static_cast<double>(keys.back()));
    }
    return count;
}

template std::size_t FlatGrid<FlatState>(FlatReader&);
template std::size_t FlatGrid<FlatState>(FlatTable&);
template std::size_t FlatGrid<FlatSixState>(FlatReader&);
template std::size_t FlatGrid<FlatSixState>(FlatTable&);
template std::size_t FlatScore(FlatReader&);
template std::size_t FlatScore(FlatTable&);
template std::size_t FlatTree(FlatReader&, bool);
template std::size_t FlatTree(FlatTable&, bool);

}  // namespace etabulon::bench
