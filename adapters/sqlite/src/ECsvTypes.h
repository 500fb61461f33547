#pragma once

#include <cstdint>
#include <string>

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
[[nodiscard]] ECsvType CsvTypeOf(const std::string& text) noexcept;
/// The type of a column that has cells of both types.
[[nodiscard]] ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept;
[[nodiscard]] const char* CsvDeclaredType(ECsvType type) noexcept;

}  // namespace etabulon
