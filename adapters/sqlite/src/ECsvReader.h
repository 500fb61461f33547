#pragma once

#include "etabulon/csv/fwd.h"
#include "etabulon/sql/ESqlError.h"

#include <csv.h>

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// One cell of a CSV file.
struct ECsvCell {
    std::string text;
    bool isEmpty = false;  // no character between two separators; a quoted empty cell is a text
};

/// The receiver of a CSV file's rows, one after the other. The answer false ends the reading.
class ECsvRows {
public:
    virtual ~ECsvRows() = default;
    /// `line` is the number, from 1, of the line with the row's first byte.
    virtual bool TakeRow(const std::vector<ECsvCell>& cells, std::uint64_t line) = 0;
};

/// Reads a whole file, from its first byte on, into `rows`. False with `error`, which names the
/// line. If `rows` refused a row, it supplies the error's text.
[[nodiscard]] bool ReadCsv(ECsvInput& input, char separator, ECsvRows& rows, ESqlError& error);

}  // namespace etabulon
