#pragma once

#include "foundation/LargeVector.h"
#include "grid/GridCells.h"

#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The cells of a grid's first two axes, sorted by line. Sending reads each existing cell once,
/// where a lookup for each line and column would mostly find no cell.
class CellLines {
public:
    /// `root` holds, for each column, the number that the root alone has there. Requires that both
    /// axes have a column.
    CellLines(const GridCells& cells, const std::vector<std::uint32_t>& root);

    /// The cell row for each value number of axis 1, in the line of a value number of axis 0. Valid
    /// until the next call.
    [[nodiscard]] const std::vector<std::uint32_t>& Line(std::uint32_t number);

private:
    static constexpr std::uint32_t kNoLine = 0xFFFFFFFF;
    struct Cell {
        std::uint32_t number;  // of axis 1
        std::uint32_t row;
    };
    [[nodiscard]] bool IsShown(const std::vector<std::uint32_t>& numbers,
                               const std::vector<std::uint32_t>& root) const;
    [[nodiscard]] std::uint32_t LineOf(std::uint32_t number) const noexcept;

    const GridCells& cells_;
    std::size_t lineColumn_;
    std::size_t columnColumn_;
    std::vector<std::size_t> starts_;  // in sorted_, of each line, and the end
    LargeVector<Cell> sorted_;         // by line
    std::vector<std::uint32_t> line_;
    std::uint32_t opened_ = kNoLine;
};

}  // namespace etabulon::detail
