#include "grid/CellLines.h"

namespace etabulon::detail {

CellLines::CellLines(const GridCells& cells, const std::vector<std::uint32_t>& root)
    : cells_(cells),
      lineColumn_(static_cast<std::size_t>(cells.ColumnOfAxe(0))),
      columnColumn_(static_cast<std::size_t>(cells.ColumnOfAxe(1))),
      starts_(cells.Index().Values(lineColumn_).Size() + 1),
      line_(cells.Index().Values(columnColumn_).Size(), GridCells::kNone) {
    const TagIndex& index = cells_.Index();
    struct Shown {
        std::uint32_t line;
        Cell cell;
    };
    LargeVector<Shown> shown;
    shown.reserve(index.Size());
    std::vector<std::uint32_t> numbers(index.ColumnCount());
    for (std::uint32_t detail = 0; detail < index.Size(); ++detail) {
        index.NumbersOf(detail, numbers);
        if (IsShown(numbers, root)) {
            const std::uint32_t line = LineOf(numbers[lineColumn_]);
            shown.push_back({line, {numbers[columnColumn_], cells_.CellOfDetail(detail)}});
            ++starts_[line];
        }
    }
    std::size_t end = 0;
    for (std::size_t& start : starts_) {
        end += start;
        start = end;
    }
    sorted_.resize(shown.size());
    // Counting sort: each line is filled from its end, so that starts_ ends up at its start.
    for (const Shown& cell : shown) {
        sorted_[--starts_[cell.line]] = cell.cell;
    }
}

// A view shows no cell with a value at a third axis, or without a value at one of the first two.
bool CellLines::IsShown(const std::vector<std::uint32_t>& numbers,
                        const std::vector<std::uint32_t>& root) const {
    for (std::size_t column = 0; column < root.size(); ++column) {
        const bool isAxe = column == lineColumn_ || column == columnColumn_;
        if (isAxe ? numbers[column] == TagIndex::kAbsent : numbers[column] != root[column]) {
            return false;
        }
    }
    return true;
}

// If both axes have the same level, the column's label selects the cell, and all lines are equal.
std::uint32_t CellLines::LineOf(std::uint32_t number) const noexcept {
    return lineColumn_ == columnColumn_ ? 0 : number;
}

const std::vector<std::uint32_t>& CellLines::Line(std::uint32_t number) {
    const std::uint32_t line = LineOf(number);
    if (line == opened_) {
        return line_;
    }
    if (opened_ != kNoLine) {
        for (std::size_t at = starts_[opened_]; at < starts_[opened_ + 1]; ++at) {
            line_[sorted_[at].number] = GridCells::kNone;
        }
    }
    opened_ = line;
    for (std::size_t at = starts_[opened_]; at < starts_[opened_ + 1]; ++at) {
        line_[sorted_[at].number] = sorted_[at].row;
        cells_.Prefetch(sorted_[at].row);
    }
    return line_;
}

}  // namespace etabulon::detail
