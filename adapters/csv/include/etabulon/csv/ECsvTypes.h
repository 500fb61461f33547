#pragma once

#include "etabulon/csv/ECsvFormat.h"
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

/// The type of one cell; Unknown if it is empty.
[[nodiscard]] ETABULON_API ECsvType CsvTypeOf(std::string_view text,
                                              const ECsvNotation& notation = {}) noexcept;
/// The type of a column that has cells of both types.
[[nodiscard]] ETABULON_API ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept;
/// As a database declares it.
[[nodiscard]] ETABULON_API const char* CsvDeclaredType(ECsvType type) noexcept;

/// Reads a cell of the type Whole or Large. False for texts that are no number at all.
[[nodiscard]] ETABULON_API bool ParseCsvWhole(std::string_view text, std::int64_t& number) noexcept;
/// Reads a cell of the type Whole, Large or Real. False for texts that are no number at all.
[[nodiscard]] ETABULON_API bool ParseCsvReal(std::string_view text, char decimal,
                                             double& number) noexcept;
inline constexpr std::size_t kCsvIsoCapacity = 48;
/// A date, or a date with a time, whose parts are in this order: spelled as ISO does into `iso`,
/// which has kCsvIsoCapacity bytes. Empty for other texts and for days that don't exist.
[[nodiscard]] ETABULON_API std::string_view CsvIsoSpelling(std::string_view text, ECsvDates dates,
                                                           char* iso) noexcept;

/// The names of the columns, from the cells of the first row if that is a header: without NULs, not
/// empty, and distinct whatever the case of ASCII letters.
[[nodiscard]] ETABULON_API std::vector<std::string> CsvColumnNames(
    const std::vector<std::string>& firstRow, bool isHeader);
/// The name of the table of a file: `wanted`, otherwise the file's name without folder and
/// extension (.gz counts as a second one); never one that SQLite keeps for itself.
[[nodiscard]] ETABULON_API std::string CsvTableName(const Chaine& path, const Chaine& wanted);

inline constexpr const char* kCsvStrayQuote =
    "a quote stands where none may be: a cell with a quote in it stands in quotes as a whole, and "
    "that quote is doubled";
inline constexpr const char* kCsvOpenQuote =
    "the file ends within quotes: a closing quote is missing";
inline constexpr const char* kCsvCancelled = "the reading was cancelled";
inline constexpr const char* kCsvChanged =
    "another program changed it while it was read: read it again when that program has ended";
/// What stands before the first row: a byte order mark, and a line such as sep=; with which
/// spreadsheets name the separator.
struct ECsvPreamble {
    std::size_t size = 0;  // without the end of that line
    char separator = 0;    // 0: none is named
};
/// `start` is the beginning of a file.
[[nodiscard]] ETABULON_API ECsvPreamble CsvPreambleOf(std::string_view start) noexcept;

/// `line` is 0 for an error of the whole file.
[[nodiscard]] ETABULON_API EDataError CsvError(const Chaine& path, std::uint64_t line,
                                               const std::string& what);
/// False with `error` for a format that no file can have.
[[nodiscard]] ETABULON_API bool CheckCsvFormat(const Chaine& path, const ECsvFormat& format,
                                               EDataError& error);
/// The error of a row with another number of cells than the first row.
[[nodiscard]] ETABULON_API EDataError CsvWidthError(const Chaine& path, std::uint64_t line,
                                                    std::size_t cells, std::size_t expected);

}  // namespace etabulon
