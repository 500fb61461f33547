#include "cross/CrossOthers.h"

namespace etabulon::detail {

void CrossOthers::Read(std::uint64_t key, const Nodes& lines, const Nodes& columns,
                       unsigned int calculation, ETabulonValue& result) {
    auto known = known_.find(key);
    if (known == known_.end()) {
        const std::uint32_t row = rows_.AreOwn() ? MakeRow(lines, columns) : CrossLookup::kNone;
        known = known_.emplace(key, row).first;
    }
    if (known->second == CrossLookup::kNone) {
        result = ETabulonValue::Null;
    } else {
        rows_.ReadResult(known->second, calculation, result);
    }
}

std::uint32_t CrossOthers::MakeRow(const Nodes& lines, const Nodes& columns) {
    std::uint32_t merged = CrossLookup::kNone;
    for (const std::uint32_t line : lines.nodes) {
        for (const std::uint32_t column : columns.nodes) {
            const CrossLookup::Row cell =
                lookup_.Find({lines.depth, line}, {columns.depth, column});
            if (cell.line == CrossLookup::kNone) {
                continue;
            }
            merged = merged == CrossLookup::kNone ? rows_.AddRow() : merged;
            std::byte* const into[] = {rows_.RowAt(merged)};
            cell.group->MergeLine(cell.line, rows_, into);
        }
    }
    return merged;
}

}  // namespace etabulon::detail
