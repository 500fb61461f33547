#pragma once

#include <cstdint>
#include <string>

namespace etabulon {

/// What every cell of a column is seen to be.
enum class ECsvType : std::uint8_t {
    Unknown = 0,  // no cell with anything in it
    Whole = 1,
    Real = 2,
    Date = 3,
    Time = 4,
    Timestamp = 5,
    Bool = 6,
    Text = 7,
    Large = 8,  // whole numbers, of which a real wouldn't keep all digits
};

/// The type of one cell that isn't empty.
[[nodiscard]] ECsvType CsvTypeOf(const std::string& text) noexcept;
/// The type of a column that has cells of both.
[[nodiscard]] ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept;
[[nodiscard]] const char* CsvDeclaredType(ECsvType type) noexcept;

}  // namespace etabulon
