#include "etabulon/sql/ESqlRowBlock.h"

#include <cstring>

namespace etabulon {

namespace {

using Direct = ESqlRowBlock::Cell::Direct;

Direct DirectInto(const EBlockColumn& column, ESqlCell::Kind kind) noexcept {
    switch (kind) {
        case ESqlCell::Kind::Int64:
            return Direct::Integers;
        case ESqlCell::Kind::Double:
            return Direct::Numbers;
        case ESqlCell::Kind::Text:
        case ESqlCell::Kind::Blob:
            return column.GetForm() == EBlockColumn::Form::Texts ? Direct::Bytes : Direct::None;
        default:
            return Direct::None;
    }
}

}  // namespace

void ESqlRowBlock::SetColumns(EBlockBuilder& builder) {
    cells.clear();
    for (std::size_t index = 0; index < row.cells.size(); ++index) {
        const ESqlCell& cell = row.cells[index];
        EBlockColumn& column = builder.At(index);
        cells.push_back({&column, cell.column, DirectInto(column, cell.kind),
                         cell.kind == ESqlCell::Kind::Blob});
    }
}

void ESqlRowBlock::PutOddInteger(std::size_t cell, std::int64_t value) {
    if (cells[cell].direct == Direct::Numbers) {
        return cells[cell].column->PutNumber(size_, static_cast<double>(value));
    }
    row.PutInteger(row.cells[cell], value);
    TakeScratch(cell);
}

void ESqlRowBlock::PutOddReal(std::size_t cell, double value) {
    row.PutReal(row.cells[cell], value);
    TakeScratch(cell);
}

void ESqlRowBlock::PutOddText(std::size_t cell, const char* bytes, std::size_t length) {
    if (!StoreIn(cell, ESqlCell::Kind::Text, bytes, length)) {
        row.PutText(row.cells[cell], bytes, length);
        TakeScratch(cell);
    }
}

void ESqlRowBlock::PutOddBlob(std::size_t cell, const char* bytes, std::size_t length) {
    if (!StoreIn(cell, ESqlCell::Kind::Blob, bytes, length)) {
        row.PutBlob(row.cells[cell], bytes, length);
        TakeScratch(cell);
    }
}

/// Stores the bytes in the block's own slot, if it has slots of this kind.
bool ESqlRowBlock::StoreIn(std::size_t cell, ESqlCell::Kind kind, const char* bytes,
                           std::size_t length) {
    EBlockColumn& column = *cells[cell].column;
    if (row.cells[cell].kind != kind || column.GetForm() != EBlockColumn::Form::Cells) {
        return false;
    }
    row.cells[cell].texts->Store(column.Cell(size_), bytes, length);
    return true;
}

// The scratch record keeps its texts only until the next row, so that they are copied.
void ESqlRowBlock::TakeScratch(std::size_t cell) {
    const std::byte* const at = row.record + row.cells[cell].offset;
    EBlockColumn& column = *cells[cell].column;
    if (column.GetForm() != EBlockColumn::Form::Texts) {
        return column.PutCell(size_, at);
    }
    const Chaine::Body* body = nullptr;
    std::memcpy(&body, at, sizeof body);
    if (body != nullptr) {
        column.PutText(size_, body->Text(), body->length - 1);
    } else {
        column.PutMissing(size_);
    }
}

}  // namespace etabulon
