#pragma once

#include "etabulon/csv/ECsvHint.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// Finds out whether all cells of a text column would be numbers or dates in another notation. Each
/// cell narrows the notations down; most columns of texts have none left after a few cells.
class ECsvLookalike {
public:
    /// Whether any notation is left.
    [[nodiscard]] bool IsAny() const noexcept { return forms_ != 0; }
    /// Cells of the column; `notation` is the file's.
    void Take(std::span<const std::string_view> cells, const ECsvNotation& notation);
    /// False if there is nothing to say about the column.
    [[nodiscard]] bool Tell(const ECsvNotation& notation, ECsvHint& hint) const;

private:
    void KeepGrouped(std::string_view cell, char own, char other);

    std::uint32_t forms_ = ~std::uint32_t{0};
    std::string example_;  // the first cell that isn't of the file's notation
    // The first cells with separators between thousands beside either decimal character.
    std::string grouped_;
    std::string otherGrouped_;
    bool hasOther_ = false;  // a cell has the other decimal character
};

}  // namespace etabulon
