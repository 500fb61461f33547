#pragma once

#include "bench/Sqlite.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon::bench {

// The second reference beside the bare loop: hand-written loops in one pass, without a protocol,
// over the same statement, or over numbered columns in memory. A ratio to them depends far less on
// how long a machine waits for memory.

/// Numbers distinct texts from 0, for a block of them at a time: all hashes, then all slots
/// prefetched, then all keys, and only then compared.
class FlatDictionary {
public:
    /// The bytes are copied for new texts only.
    void Number(std::span<const std::string_view> texts, std::uint32_t* numbers);
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(texts_.size());
    }
    [[nodiscard]] std::string_view Text(std::uint32_t number) const { return texts_[number]; }
    /// The numbers in the order of their texts.
    [[nodiscard]] std::vector<std::uint32_t> Sorted() const;

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = kNone;
    };
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    static constexpr std::size_t kChunk = 65536;

    [[nodiscard]] std::uint32_t FindOrAdd(std::string_view text, std::uint32_t hash);
    void Grow();

    std::vector<Slot> slots_ = std::vector<Slot>(1024);
    std::vector<std::string_view> texts_;
    std::vector<std::unique_ptr<char[]>> chunks_;
    std::size_t room_ = 0;
    std::vector<std::uint32_t> hashes_;
};

/// Consecutive records, by columns.
struct FlatBlock {
    std::size_t size = 0;
    std::vector<const std::uint32_t*> texts;  // as numbers
    std::vector<const double*> reals;
    std::vector<const std::int64_t*> wholes;
};

/// Reads the columns of a statement by blocks.
class FlatReader {
public:
    /// `kinds` as in WalkBare; the first column is the key, and a whole number.
    FlatReader(Statement& statement, std::string_view kinds);
    /// Null at the end, and ready again.
    [[nodiscard]] const FlatBlock* Next();
    [[nodiscard]] FlatDictionary& Texts(std::size_t column) { return dictionaries_[column]; }

private:
    static constexpr std::size_t kRecords = 1024;
    [[nodiscard]] bool Read(std::size_t record);

    Statement& statement_;
    std::string kinds_;
    std::vector<std::vector<std::uint32_t>> numbers_;
    std::vector<std::vector<std::string_view>> texts_;
    std::vector<std::vector<char>> arenas_;
    std::vector<std::vector<double>> reals_;
    std::vector<std::vector<std::int64_t>> wholes_;
    std::vector<FlatDictionary> dictionaries_;
    FlatBlock block_;
    bool isEnded_ = false;
};

/// The same columns in memory.
class FlatTable {
public:
    FlatTable(Statement& statement, std::string_view kinds);
    void Rewind() noexcept { next_ = 0; }
    [[nodiscard]] const FlatBlock* Next();
    [[nodiscard]] FlatDictionary& Texts(std::size_t column) { return reader_.Texts(column); }

private:
    static constexpr std::size_t kRecords = 4096;
    FlatReader reader_;
    std::vector<std::vector<std::uint32_t>> texts_;
    std::vector<std::vector<double>> reals_;
    std::vector<std::vector<std::int64_t>> wholes_;
    std::size_t count_ = 0;
    std::size_t next_ = 0;
    FlatBlock block_;
};

/// What a flat cell keeps; a grid of one sum doesn't use the rest.
struct FlatState {
    double sum = 0;
    std::uint32_t count = 0;
};
struct FlatSixState : FlatState {
    double low = 0;
    double high = 0;
    std::int64_t quantity = 0;
};

/// A cross table of the first two texts, with all totals: of the sums of the first real; with
/// FlatSixState also the count, the lowest, the highest, the mean, and the sum of the second whole
/// number. The result is the number of cells, which were all read in the order of their labels.
template <class State, class Source>
std::size_t FlatGrid(Source& source);
/// The first texts ranked by the sum of the first real. The result is the number of lines.
template <class Source>
std::size_t FlatScore(Source& source);
/// The tree of the first three texts, children in the order of their texts; with `keepsRecords` the
/// keys of the records below each leaf. The result is the number of nodes.
template <class Source>
std::size_t FlatTree(Source& source, bool keepsRecords);

}  // namespace etabulon::bench
