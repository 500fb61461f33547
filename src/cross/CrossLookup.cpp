#include "cross/CrossLookup.h"

#include <algorithm>

namespace etabulon::detail {

CrossLookup::Translation CrossLookup::Translate(const TagIndex& from, const TagIndex& into,
                                                std::size_t firstColumn, std::size_t columns) {
    Translation translation(columns);
    for (std::size_t column = 0; column < columns; ++column) {
        const ValueNumbers& values = from.Values(column);
        for (std::uint32_t number = 0; number < values.Size(); ++number) {
            translation[column].push_back(into.Values(firstColumn + column)
                                              .Find(values.Spelling(values.FirstSpelling(number))));
        }
    }
    return translation;
}

// Writes a number for each column that the translation has.
void CrossLookup::Append(const TagIndex& labels, std::uint32_t node, const Translation& translation,
                         std::uint32_t* numbers) {
    for (std::size_t column = 0; column < translation.size(); ++column) {
        const std::uint32_t number = labels.NumberAt(node, column);
        numbers[column] =
            number == TagIndex::kAbsent ? TagIndex::kAbsent : translation[column][number];
    }
}

CrossLookup::Row CrossLookup::Find(CrossNode line, CrossNode column) const {
    if (line.depth == 0 && column.depth == 0) {
        return {&cells_.Any(), Row::kTotal};
    }
    const ScoreCells& group = cells_.Group(line.depth, column.depth);
    if (line.depth == 0 || column.depth == 0) {
        return {&group, line.depth == 0 ? column.index : line.index};
    }
    if (line.index == kNone || column.index == kNone) {
        return {&group, kNone};
    }
    const TagIndex& lines = Labels(ECrossSide::Lines, line.depth);
    const TagIndex& columns = Labels(ECrossSide::Columns, column.depth);
    const std::size_t index = cells_.IndexOf(line.depth, column.depth);
    if (groups_.size() <= index) {
        groups_.resize(index + 1);
    }
    Group& known = groups_[index];
    if (!known.isReady) {
        known.lines = Translate(lines, group.Labels(), 0, lines.ColumnCount());
        known.columns =
            Translate(columns, group.Labels(), lines.ColumnCount(), columns.ColumnCount());
        known.isReady = true;
    }
    known.numbers.resize(lines.ColumnCount() + columns.ColumnCount());
    if (known.lastLine != line.index) {
        Append(lines, line.index, known.lines, known.numbers.data());
        known.lastLine = line.index;
    }
    Append(columns, column.index, known.columns, known.numbers.data() + lines.ColumnCount());
    return {&group, group.Labels().Find(known.numbers)};
}

void CrossLookup::Read(const Row& row, unsigned int calculation, ETabulonValue& result) {
    if (row.line == Row::kTotal) {
        result = row.group->Total(calculation);
    } else if (row.line == kNone) {
        result = ETabulonValue::Null;
    } else {
        row.group->ReadResult(row.line, calculation, result);
    }
}

std::vector<std::uint32_t> CrossLookup::Parents(ECrossSide side, std::uint32_t depth) const {
    const TagIndex& labels = Labels(side, depth);
    const TagIndex& above = Labels(side, depth - 1);
    const Translation translation = Translate(labels, above, 0, above.ColumnCount());
    Numbers numbers(above.ColumnCount());
    std::vector<std::uint32_t> parents(NodeCount(side, depth));
    for (std::uint32_t node = 0; node < parents.size(); ++node) {
        Append(labels, node, translation, numbers.data());
        parents[node] = above.Find(numbers);
    }
    return parents;
}

CrossNode CrossLookup::NodeOf(const CrossCells& cells, ECrossSide side, std::uint32_t depth,
                              const ETabulonTag& tag, Numbers& numbers) {
    if (depth == 0) {
        return {};
    }
    const TagIndex& labels = cells.Labels(side, depth).Labels();
    numbers.clear();
    for (std::size_t column = 0; column < labels.ColumnCount(); ++column) {
        const ETabulonValue* const value = tag.Find(labels.LevelOf(column));
        const std::uint32_t number =
            value == nullptr ? TagIndex::kAbsent : labels.Values(column).Find(*value);
        if (value != nullptr && number == TagIndex::kAbsent) {
            return {depth, kNone};
        }
        numbers.push_back(number);
    }
    return {depth, labels.Find(numbers)};
}

CrossNode CrossLookup::NodeOf(const CrossCells& cells, ECrossSide side, const ETabulonTag& tag) {
    std::uint32_t depth = 0;
    const auto hasNext = [&] {
        const CrossCells::Levels& levels = cells.LevelsAt(side, depth + 1);
        return std::all_of(levels.begin(), levels.end(),
                           [&tag](unsigned int level) { return tag.HasValue(level); });
    };
    while (depth < cells.Depth(side) && hasNext()) {
        ++depth;
    }
    Numbers numbers;
    return NodeOf(cells, side, depth, tag, numbers);
}

}  // namespace etabulon::detail
