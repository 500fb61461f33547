#pragma once

#include "etabulon/foundation/EBlockBuilder.h"
#include "etabulon/sql/ESqlRow.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace etabulon {

/// Decodes the rows of a walk into the columns of a block: the same values as ESqlRow decodes into
/// a record. For each cell of the current row the engine calls the one operation for the value's
/// own type.
/// Example    adapters/sqlite/src/ESqliteStatement.h
class ETABULON_API ESqlRowBlock {
public:
    /// One column of the block, and the values that go into it as they are. All others are decoded
    /// into `row` first.
    struct Cell {
        enum class Direct : std::uint8_t { None = 0, Integers = 1, Numbers = 2, Bytes = 3 };
        EBlockColumn* column;  // not owned
        int source;            // in the statement
        Direct direct;
        bool isBlob;  // of Bytes: blobs, otherwise texts
    };

    // Filled by the table.
    std::vector<Cell> cells;
    /// The same cells in a record that is scratch, and where the key is.
    ESqlRow row;
    bool wantsKeys = false;  // raw keys that are no single integer
    /// With an integer key, the walk ends in front of a row with a higher one.
    std::int64_t lastKey = std::numeric_limits<std::int64_t>::max();
    // Filled by the engine.
    std::vector<std::int64_t> integerKeys;  // with an integer key, of each row
    std::vector<std::string> keys;          // if wanted, of each row

    /// Makes `cells` for these columns from the cells of `row`.
    void SetColumns(EBlockBuilder& builder);
    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    /// Of the texts and blobs that were put.
    [[nodiscard]] std::size_t TextBytes() const noexcept { return bytes_; }
    [[nodiscard]] bool HasRoom() const noexcept { return room_ != 0; }
    void Begin() noexcept {
        size_ = 0;
        room_ = ERecordBlock::kMostRecords;
        bytes_ = 0;
    }
    /// Ends the current row, whose cells are complete.
    void EndRow() noexcept {
        ++size_;
        room_ = room_ != 0 && bytes_ < kMostBytes ? room_ - 1 : 0;
    }
    /// The current row's key, before its cells. False if the walk ends in front of the row. It
    /// fails at the lowest key of all, so that no row after it is read.
    [[nodiscard]] bool PutIntegerKey(std::int64_t key) noexcept {
        integerKeys[size_] = key;
        if (key == std::numeric_limits<std::int64_t>::min()) {
            room_ = 0;
        }
        return key <= lastKey;
    }

    void PutNull(std::size_t cell) noexcept {
        EBlockColumn& column = *cells[cell].column;
        if (column.GetForm() == EBlockColumn::Form::Cells) {
            return ESqlTextIntern::StoreMissing(column.Cell(size_));
        }
        column.PutMissing(size_);
    }
    void PutInteger(std::size_t cell, std::int64_t value) {
        const Cell& to = cells[cell];
        if (to.direct == Cell::Direct::Integers) {
            return to.column->PutNumber(size_, value);
        }
        PutOddInteger(cell, value);
    }
    void PutReal(std::size_t cell, double value) {
        const Cell& to = cells[cell];
        if (to.direct == Cell::Direct::Numbers) {
            return to.column->PutNumber(size_, value);
        }
        PutOddReal(cell, value);
    }
    void PutText(std::size_t cell, const char* bytes, std::size_t length) {
        const Cell& to = cells[cell];
        bytes_ += length;
        if (to.direct == Cell::Direct::Bytes && !to.isBlob) {
            return to.column->PutText(size_, bytes, length);
        }
        PutOddText(cell, bytes, length);
    }
    void PutBlob(std::size_t cell, const char* bytes, std::size_t length) {
        const Cell& to = cells[cell];
        bytes_ += length;
        if (to.direct == Cell::Direct::Bytes && to.isBlob) {
            return to.column->PutText(size_, bytes, length);
        }
        PutOddBlob(cell, bytes, length);
    }

private:
    void PutOddInteger(std::size_t cell, std::int64_t value);
    void PutOddReal(std::size_t cell, double value);
    void PutOddText(std::size_t cell, const char* bytes, std::size_t length);
    void PutOddBlob(std::size_t cell, const char* bytes, std::size_t length);
    [[nodiscard]] bool StoreIn(std::size_t cell, ESqlCell::Kind kind, const char* bytes,
                               std::size_t length);
    void TakeScratch(std::size_t cell);

    // A block with that many bytes of texts takes no further row, so that the blocks of all readers
    // have a bounded part of the memory, whatever the table holds.
    static constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

    std::size_t size_ = 0;
    std::size_t room_ = 0;   // for further rows
    std::size_t bytes_ = 0;  // of texts
};

}  // namespace etabulon
