#pragma once

#include "grid/GridCells.h"

#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The cells of a grid's first two axes, line by line: what is sent takes each cell once, where a
/// search for each place would look for many that aren't there.
class CellLines {
public:
    /// `root` is the number of each column in a cell without values but the root's. Requires that
    /// both axes have a column.
    CellLines(const GridCells& cells, const std::vector<std::uint32_t>& root);

    /// The row of each number of axis 1 in the line of a number of axis 0. Good until the next
    /// call.
    [[nodiscard]] const std::vector<std::uint32_t>& Line(std::uint32_t number);

private:
    static constexpr std::uint32_t kNoLine = 0xFFFFFFFF;
    struct Cell {
        std::uint32_t number;  // of axis 1
        std::uint32_t row;
    };
    [[nodiscard]] bool IsShown(std::uint32_t detail, const std::vector<std::uint32_t>& root) const;
    [[nodiscard]] std::uint32_t LineOf(std::uint32_t detail) const;

    const GridCells& cells_;
    std::size_t lineColumn_;
    std::size_t columnColumn_;
    std::vector<std::size_t> starts_;  // in sorted_, of each line, and the end
    std::vector<Cell> sorted_;         // by line
    std::vector<std::uint32_t> line_;
    std::uint32_t opened_ = kNoLine;
};

}  // namespace etabulon::detail
