#pragma once

#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/values/ETabulonTag.h"
#include "grid/TagIndex.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonCumulFuncOnVar;
class ETabulonCursor;
struct EBlockRequest;

namespace detail {

class CumulCells;

/// Asks for the values that the calculations read. `columns` gets the column of each calculation.
void WantValues(const ETabulonCursor& cursor, const CumulCells& cells,
                std::span<const ERef<ETabulonCumulFuncOnVar>> calculations, EBlockRequest& request,
                std::vector<unsigned int>& columns);

/// Finds the details of a block's records in a TagIndex: a cache from the numbers of the block's
/// columns to those of the index. A record that the cache can't resolve goes through the index by
/// its tag, or by its only value, in the order of the records, so that the index is the same as if
/// all did.
///
/// Threads  one at a time. A known detail allocates nothing.
class BlockDetails {
public:
    /// Asks for the columns of the index's levels, and forgets those of earlier blocks.
    /// With `numbers`, Numbers may be called.
    void Want(const ETabulonCursor& cursor, const TagIndex& index, bool numbers,
              EBlockRequest& request);
    /// Finds the detail of each of the records, and adds those that are new.
    void Read(const ERecordBlock& block, std::span<const EBlockIndex> records, TagIndex& index);

    /// Whether a column of the index comes in the blocks: the cursor has its level.
    [[nodiscard]] bool IsInBlocks(std::size_t column) const noexcept {
        return columns_[column].data != kNoColumn;
    }
    /// The block's column of such a column.
    [[nodiscard]] const ERecordBlock::Column& ColumnIn(const ERecordBlock& block,
                                                       std::size_t column) const {
        return block.At(columns_[column].data);
    }

    /// By the record's index among `records`.
    [[nodiscard]] std::span<const std::uint32_t> Details() const noexcept {
        return std::span(details_).first(count_);
    }
    /// The numbers of the values in a column of the index. TagIndex::kAbsent where the records have
    /// no such level; it is the same for all of them.
    [[nodiscard]] std::span<const std::uint32_t> Numbers(std::size_t column) const noexcept {
        return std::span(columns_[column].numbers).first(count_);
    }

private:
    static constexpr std::uint32_t kUnknown = 0xFFFFFFFE;
    static constexpr TagIndex::Known kNotKnown{kUnknown, kUnknown};
    static constexpr unsigned int kNoColumn = 0xFFFFFFFF;
    static constexpr std::uint32_t kFirstReserved = 1024;
    using Numbered = std::array<std::uint32_t, ERecordBlock::kMostRecords>;

    /// What the index has for a value of the block's column: kUnknown at first. The spelling is
    /// known only where the column's own text is the label.
    using Known = TagIndex::Known;
    struct Column {
        unsigned int level;
        unsigned int data;         // in the block; kNoColumn: the cursor lacks the level
        unsigned int label;        // in the block; kNoColumn: the data's own text
        std::vector<Known> known;  // by the block's number
        bool isPlain = true;       // the known values have known spellings, each its number's first
        Numbered numbers{};
        std::uint32_t largest = 0;  // of `numbers`
    };
    [[nodiscard]] static std::uint32_t BlockNumber(const Column& column, const ERecordBlock& block,
                                                   EBlockIndex record) noexcept {
        return column.data == kNoColumn ? 0 : block.At(column.data).numbers[record];
    }
    void ReadNumbers(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void ReadSingles(const ERecordBlock& block, std::span<const EBlockIndex> records,
                     TagIndex& index);
    void PrepareNext(const EBlockDictionary& dictionary, std::uint32_t number, TagIndex& index);
    [[nodiscard]] std::uint32_t FindOrAddSingle(const ERecordBlock& block, EBlockIndex record,
                                                TagIndex& index);
    void ReadMany(const ERecordBlock& block, std::span<const EBlockIndex> records, TagIndex& index);
    void PrepareMany(const ERecordBlock& block);
    static constexpr std::size_t kAnyWidth = 0;
    template <std::size_t kWidth>
    void ReadMet(const ERecordBlock& block, std::span<const EBlockIndex> records, TagIndex& index);
    void ReadPairs(const ERecordBlock& block, std::span<const EBlockIndex> records,
                   TagIndex& index);
    [[nodiscard]] std::uint32_t AddPair(const ERecordBlock& block, EBlockIndex record,
                                        std::size_t nth, TagIndex& index);
    [[nodiscard]] std::uint32_t FindOrAdd(const ERecordBlock& block, EBlockIndex record,
                                          std::size_t nth, TagIndex& index);
    /// False where that takes the record's tag.
    [[nodiscard]] bool FindNumber(const ERecordBlock& block, EBlockIndex record, std::size_t at,
                                  TagIndex& index);
    [[nodiscard]] std::uint32_t FindOrAddTag(const ERecordBlock& block, EBlockIndex record,
                                             std::size_t nth, TagIndex& index);

    std::vector<Column> columns_;
    bool wantsNumbers_ = false;
    std::vector<std::uint32_t> detailOf_;      // of a single column: by the block's number
    std::uint32_t reserved_ = kFirstReserved;  // values of it in the index's lookup
    // Of three columns or more: which one has most values, and the columns' numbers in the block.
    std::size_t widest_ = 0;
    std::vector<const std::uint32_t*> blockNumbers_;
    std::vector<std::uint32_t> lastMet_;  // by the block's number of the widest
    // Scratch, of one record.
    std::vector<std::uint32_t> numbers_;
    std::vector<std::uint32_t> spellings_;
    ETabulonTag tag_;
    ETabulonValue value_;
    Numbered details_{};
    std::size_t count_ = 0;
};

}  // namespace detail
}  // namespace etabulon
