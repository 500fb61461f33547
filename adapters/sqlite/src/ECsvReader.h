#pragma once

#include "etabulon/sql/ESqlError.h"

#include <csv.h>

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// One cell of a CSV file.
struct ECsvCell {
    std::string text;
    bool isEmpty = false;  // nothing between two separators; a quoted empty cell is a text
};

/// Takes the rows of a CSV file, one after the other. False ends the reading.
class ECsvRows {
public:
    virtual ~ECsvRows() = default;
    /// `line` is that of the row's first byte, from 1.
    virtual bool TakeRow(const std::vector<ECsvCell>& cells, std::uint64_t line) = 0;
};

/// Reads a whole file into `rows`; false with `error`, which names the line, also where a row was
/// refused (then the text is the rows' own to give).
[[nodiscard]] bool ReadCsv(const Chaine& path, char separator, ECsvRows& rows, ESqlError& error);

[[nodiscard]] ESqlError CsvError(const Chaine& path, std::uint64_t line, const std::string& what);

}  // namespace etabulon
