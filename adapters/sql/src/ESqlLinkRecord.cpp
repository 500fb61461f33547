#include "ESqlLinkRecord.h"

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EFieldSet.h"

#include <cstring>
#include <set>

namespace etabulon {

void ESqlLinkRecord::Make(const DRubric& rubric, std::span<const unsigned int> columns,
                          std::span<const ESqlCell> cells) {
    std::set<unsigned int> linked;
    for (const DLink& link : rubric.Links()) {
        linked.insert(link.variables.begin(), link.variables.end());
    }
    for (std::size_t i = 0; i < rubric.Dico()->Size(); ++i) {
        for (const DLink& link : rubric.Dico()->At(i)->Links()) {
            if (link.target == &rubric) {
                linked.insert(link.TargetVariables().begin(), link.TargetVariables().end());
            }
        }
    }
    const EFieldSet whole = rubric.MakeFields();
    record_.resize(whole.RecordSize());
    whole.ConstructRecord(record_.data());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (linked.count(columns[i]) != 0) {
            const ESqlCell& cell = cells[i];
            columns_.push_back({cell.offset, whole.OffsetOf(static_cast<std::uint16_t>(columns[i])),
                                cell.size + (cell.IsSlot() ? std::size_t{0} : 1)});
        }
    }
}

void ESqlLinkRecord::Mirror(const void* record) noexcept {
    const auto* from = static_cast<const std::byte*>(record);
    for (const Column& column : columns_) {
        std::memcpy(record_.data() + column.to, from + column.from, column.size);
    }
}

}  // namespace etabulon
