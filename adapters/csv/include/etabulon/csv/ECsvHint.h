#pragma once

#include "etabulon/csv/ECsvFormat.h"

#include <cstddef>
#include <string>
#include <vector>

namespace etabulon {

/// A column of texts, all of which would be numbers or dates in another notation.
/// Example    apps/etabulon/request/CliCsvOptions.cpp
struct ECsvHint {
    std::size_t column = 0;     // its index
    std::string example;        // the first cell that isn't a number or date by the file's notation
    bool hasThousands = false;  // numbers, if separators between thousands are taken out
    char groupedDecimal = 0;    // the decimal character that those need besides; 0: the file's own
    char decimal = 0;           // numbers with this decimal character; 0: there is none
    std::vector<ECsvDates> dates;  // dates, or dates with times, by each of these orders
    bool haveTimes = false;        // these are dates with times
};

}  // namespace etabulon
