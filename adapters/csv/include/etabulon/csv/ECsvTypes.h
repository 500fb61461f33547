#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataError.h"
#include "etabulon/foundation/EExport.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// The type that all cells of a column have.
enum class ECsvType : std::uint8_t {
    Unknown = 0,  // all cells are empty
    Whole = 1,
    Real = 2,
    Date = 3,
    Time = 4,
    Timestamp = 5,
    Bool = 6,
    Text = 7,
    Large = 8,  // whole numbers beyond 2^53, whose digits a real wouldn't keep
};

/// The type of one cell that isn't empty.
[[nodiscard]] ETABULON_API ECsvType CsvTypeOf(std::string_view text) noexcept;
/// The type of a column that has cells of both types.
[[nodiscard]] ETABULON_API ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept;
/// As a database declares it.
[[nodiscard]] ETABULON_API const char* CsvDeclaredType(ECsvType type) noexcept;

/// The names of the columns, from the cells of the first row if that is a header: without NULs, not
/// empty, and distinct whatever the case of ASCII letters.
[[nodiscard]] ETABULON_API std::vector<std::string> CsvColumnNames(
    const std::vector<std::string>& firstRow, bool isHeader);
/// The name of the table of a file: `wanted`, otherwise the file's name without folder and
/// extension; never one that SQLite keeps for itself.
[[nodiscard]] ETABULON_API std::string CsvTableName(const Chaine& path, const Chaine& wanted);

/// `line` is 0 for an error of the whole file.
[[nodiscard]] ETABULON_API EDataError CsvError(const Chaine& path, std::uint64_t line,
                                               const std::string& what);
/// The error of a row with another number of cells than the first row.
[[nodiscard]] ETABULON_API EDataError CsvWidthError(const Chaine& path, std::uint64_t line,
                                                    std::size_t cells, std::size_t expected);

}  // namespace etabulon
