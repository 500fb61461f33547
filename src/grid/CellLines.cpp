#include "grid/CellLines.h"

namespace etabulon::detail {

CellLines::CellLines(const GridCells& cells, const std::vector<std::uint32_t>& root)
    : cells_(cells),
      lineColumn_(static_cast<std::size_t>(cells.ColumnOfAxe(0))),
      columnColumn_(static_cast<std::size_t>(cells.ColumnOfAxe(1))),
      starts_(cells.Index().Values(lineColumn_).Size() + 1),
      line_(cells.Index().Values(columnColumn_).Size(), GridCells::kNone) {
    const TagIndex& index = cells_.Index();
    std::vector<std::uint32_t> shown;
    for (std::uint32_t detail = 0; detail < index.Size(); ++detail) {
        if (IsShown(detail, root)) {
            shown.push_back(detail);
            ++starts_[LineOf(detail)];
        }
    }
    std::size_t end = 0;
    for (std::size_t& start : starts_) {
        end += start;
        start = end;
    }
    sorted_.resize(shown.size());
    // Counting sort: each line is filled from its end, so that starts_ ends up at its start.
    for (const std::uint32_t detail : shown) {
        sorted_[--starts_[LineOf(detail)]] = {index.NumberAt(detail, columnColumn_),
                                              cells_.CellOfDetail(detail)};
    }
}

// A view shows no cell with a value at a third axis, or without a value at one of the first two.
bool CellLines::IsShown(std::uint32_t detail, const std::vector<std::uint32_t>& root) const {
    for (std::size_t column = 0; column < root.size(); ++column) {
        const std::uint32_t number = cells_.Index().NumberAt(detail, column);
        const bool isAxe = column == lineColumn_ || column == columnColumn_;
        if (isAxe ? number == TagIndex::kAbsent : number != root[column]) {
            return false;
        }
    }
    return true;
}

// If both axes have the same level, the column's label selects the cell, and all lines are equal.
std::uint32_t CellLines::LineOf(std::uint32_t detail) const {
    return lineColumn_ == columnColumn_ ? 0 : cells_.Index().NumberAt(detail, lineColumn_);
}

const std::vector<std::uint32_t>& CellLines::Line(std::uint32_t number) {
    const std::uint32_t line = lineColumn_ == columnColumn_ ? 0 : number;
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
