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
class ETABULON_API ESqlRowBlock {
public:
    // Filled by the table.
    /// The cells of the columns, in a record that is scratch, and where the key is. Values of
    /// another type than the column's are decoded here first.
    ESqlRow row;
    std::vector<EBlockColumn*> columns;  // by cell; not owned
    bool wantsKeys = false;              // raw keys that are no single integer
    // Filled by the engine.
    std::vector<std::int64_t> integerKeys;  // with an integer key, of each row
    std::vector<std::string> keys;          // if wanted, of each row

    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    [[nodiscard]] bool HasRoom() const noexcept { return room_ != 0; }
    void Begin() noexcept {
        size_ = 0;
        room_ = ERecordBlock::kMostRecords;
    }
    /// Ends the current row, whose cells are complete.
    void EndRow() noexcept {
        ++size_;
        room_ = room_ != 0 ? room_ - 1 : 0;
    }
    /// The current row's key. The walk fails at the lowest of all, so that no row behind it is
    /// read.
    void PutIntegerKey(std::int64_t key) noexcept {
        integerKeys[size_] = key;
        if (key == std::numeric_limits<std::int64_t>::min()) {
            room_ = 0;
        }
    }

    void PutNull(std::size_t cell) noexcept {
        EBlockColumn& column = *columns[cell];
        if (column.GetForm() == EBlockColumn::Form::Cells) {
            return ESqlTextIntern::StoreMissing(column.Cell(size_));
        }
        column.PutMissing(size_);
    }
    void PutInteger(std::size_t cell, std::int64_t value) {
        switch (row.cells[cell].kind) {
            case ESqlCell::Kind::Int64:
                return columns[cell]->PutNumber(size_, value);
            case ESqlCell::Kind::Double:
                if (ESqlRow::IsExactReal(value)) {
                    return columns[cell]->PutNumber(size_, static_cast<double>(value));
                }
                [[fallthrough]];
            default:
                row.PutInteger(row.cells[cell], value);
                return TakeScratch(cell);
        }
    }
    void PutReal(std::size_t cell, double value) {
        if (row.cells[cell].kind == ESqlCell::Kind::Double) {
            return columns[cell]->PutNumber(size_, value);
        }
        row.PutReal(row.cells[cell], value);
        TakeScratch(cell);
    }
    void PutText(std::size_t cell, const char* bytes, std::size_t length) {
        if (row.cells[cell].kind == ESqlCell::Kind::Text) {
            return PutBytes(cell, bytes, length);
        }
        row.PutText(row.cells[cell], bytes, length);
        TakeScratch(cell);
    }
    void PutBlob(std::size_t cell, const char* bytes, std::size_t length) {
        if (row.cells[cell].kind == ESqlCell::Kind::Blob) {
            return PutBytes(cell, bytes, length);
        }
        row.PutBlob(row.cells[cell], bytes, length);
        TakeScratch(cell);
    }

private:
    void PutBytes(std::size_t cell, const char* bytes, std::size_t length) {
        EBlockColumn& column = *columns[cell];
        if (column.GetForm() == EBlockColumn::Form::Texts) {
            return column.PutText(size_, bytes, length);
        }
        row.cells[cell].texts->Store(column.Cell(size_), bytes, length);
    }
    void TakeScratch(std::size_t cell);

    std::size_t size_ = 0;
    std::size_t room_ = 0;  // for further rows
};

}  // namespace etabulon
