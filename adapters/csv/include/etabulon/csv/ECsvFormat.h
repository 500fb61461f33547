#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// The order of a date's parts where ISO's (2024-12-31) isn't used.
enum class ECsvDates : std::uint8_t {
    Iso = 0,         // no other dates
    DayFirst = 1,    // 31.12.2024
    MonthFirst = 2,  // 12/31/2024
    YearFirst = 3,   // 2024/12/31
};

/// How a CSV file spells numbers and dates. ISO dates and times are read in every notation.
/// Example    adapters/csv/src/ECsvLookalike.cpp
struct ECsvNotation {
    char decimal = '.';  // or a comma; the other one is then part of no number
    /// Between the parts of a date stand points, slashes or hyphens; day and month have one digit
    /// or two, the year has four or two: 69 to 99 are years of the 20th century, 00 to 68 of the
    /// 21st. A time of day may follow: 9:05, 21:05:30, 9:05 PM.
    ECsvDates dates = ECsvDates::Iso;
};

/// How a CSV file is written, whatever becomes of it.
/// Example    apps/etabulon/request/CliCsvOptions.cpp
struct ECsvFormat {
    /// No quote and no line break, otherwise reading fails. A first line such as sep=; is no row,
    /// whichever separator it names; CsvPreambleOf tells it.
    char separator = ',';
    bool header = true;  // the first row names the columns
    ECsvNotation notation;
    /// Cells that are one of these words, in quotes too, are missing values, whatever the type of
    /// their column. The names of columns aren't looked at. Case counts, and an empty word has no
    /// effect.
    std::vector<std::string> nulls;
};

}  // namespace etabulon
