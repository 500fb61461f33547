#include "cross/CrossLookup.h"
#include "etabulon/cross/ECrossTable.h"

#include <algorithm>

namespace etabulon {

using detail::CrossLookup;

ECrossSelection::ECrossSelection(ERef<detail::CrossCells> cells) : cells_(std::move(cells)) {}

ECrossSelection::ECrossSelection(const ECrossSelection&) = default;
ECrossSelection::ECrossSelection(ECrossSelection&&) noexcept = default;
ECrossSelection::~ECrossSelection() = default;

// A label that the result doesn't have isn't shown.
bool ECrossSelection::Has(const ETabulonTag& record) const {
    return std::none_of(shown_.begin(), shown_.end(), [&](const Shown& shown) {
        const std::uint32_t node =
            CrossLookup::NodeOf(*cells_, shown.side, shown.depth, record, numbers_).index;
        return node != CrossLookup::kNone && shown.nodes[node];
    });
}

}  // namespace etabulon
