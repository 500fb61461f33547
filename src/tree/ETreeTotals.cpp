#include "etabulon/tree/ETreeTotals.h"

#include "etabulon/cumul/CumulPartial.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeTotals.h"

#include <algorithm>
#include <numeric>

namespace etabulon {
namespace {

std::span<const unsigned int> LevelsOf(const ETabulonSortDesc& sort) {
    return sort.VisibleLevels(ETabulonSortDesc::HideInTree);
}

}  // namespace

ETreeTotals::ETreeTotals(const ETabulonSortDesc* sortDesc, const ETabulonPendingChanges* pending)
    : sortDesc_(sortDesc), pending_(pending) {}

ETreeTotals::~ETreeTotals() = default;

ERef<ETreeTotals> ETreeTotals::Make(const ETabulonSortDesc* sortDesc,
                                    const ETabulonPendingChanges* pending) {
    return ERef<ETreeTotals>::Adopt(new ETreeTotals(sortDesc, pending));
}

bool ETreeTotals::SetCalculations(const ITabulonCumulFuncOnVarCollection& calculations) {
    totals_ = nullptr;
    const bool areMergeable = CumulPartial(calculations).IsMergeable();
    calculations_ = areMergeable ? ETabulonCumulFuncOnVarCollection(&calculations)
                                 : ETabulonCumulFuncOnVarCollection();
    return areMergeable;
}

CursorStatus ETreeTotals::OnReset(const ETabulonTag& tag, const ETabulonCursor& /*cursor*/) {
    const std::span<const unsigned int> levels = LevelsOf(*sortDesc_);
    if (!totals_ || !totals_->HasLevels(levels)) {
        totals_ = std::make_unique<detail::TreeTotals>(calculations_, levels);
        extract_.Init(&calculations_, pending_);
    }
    totals_->Begin(tag);
    return StatusOk;
}

CursorStatus ETreeTotals::OnMove(const ETabulonCursor& cursor) {
    extract_.ViewCurrent(cursor);
    totals_->Add(extract_);
    return StatusOk;
}

bool ETreeTotals::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return pending_ == nullptr && totals_ && totals_->WantBlocks(cursor, request);
}

CursorStatus ETreeTotals::OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                                  std::span<const EBlockIndex> records) {
    totals_->AddBlock(block, records);
    return StatusOk;
}

void ETreeTotals::OnCancel(const ETabulonCursor& /*cursor*/) { GiveUp(); }
void ETreeTotals::OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) { GiveUp(); }

void ETreeTotals::GiveUp() {
    if (totals_) {  // a walk may end before its reset reaches the listeners
        totals_->TakeBack();
    }
}

void ETreeTotals::ReadResult(const ETabulonTag& node, unsigned int calculation,
                             ETabulonValue& result) const {
    if (totals_ && calculation < calculations_.Size()) {
        totals_->ReadResult(node, LevelsOf(*sortDesc_), calculation, result);
    } else {
        result = ETabulonValue::Null;
    }
}

std::optional<double> ETreeTotals::Share(const ETabulonTag& node, const ETabulonTag& of,
                                         unsigned int calculation) const {
    const auto numberOf = [this, calculation](const ETabulonTag& tag) -> std::optional<double> {
        ETabulonValue value;
        ReadResult(tag, calculation, value);
        const bool isThere =
            value.Status() == ETabulonValue::ValNormal && !value.Data().IsMissing();
        return isThere ? std::optional(value.Data().AsDouble()) : std::nullopt;
    };
    const std::optional<double> part = numberOf(node);
    const std::optional<double> whole = numberOf(of);
    return part && whole && *whole != 0 ? std::optional(100 * (*part / *whole)) : std::nullopt;
}

std::vector<unsigned int> ETreeTotals::OrderOf(const EDataTreeNode& parent,
                                               unsigned int calculation, bool descending) const {
    std::vector<ETabulonValue> results(parent.Size());
    for (unsigned int index = 0; index < parent.Size(); ++index) {
        ReadResult(parent.Get(index)->Tag(), calculation, results[index]);
        // A missing value is no value: both are the lowest.
        if (results[index].Data().IsMissing() && !results[index].IsSpecial()) {
            results[index] = ETabulonValue::Null;
        }
    }
    std::vector<unsigned int> order(parent.Size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::stable_sort(order, [&](unsigned int left, unsigned int right) {
        const int compared = results[left].Compare(results[right], /*byDisplay=*/false);
        return descending ? compared > 0 : compared < 0;
    });
    return order;
}

}  // namespace etabulon
