#include "etabulon/sql/ESqlRowBlock.h"

#include <cstring>

namespace etabulon {

// The scratch record keeps its texts only until the next row, so that they are copied.
void ESqlRowBlock::TakeScratch(std::size_t cell) {
    const std::byte* const at = row.record + row.cells[cell].offset;
    EBlockColumn& column = *columns[cell];
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
