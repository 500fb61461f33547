#include "etabulon/cumul/CumulPartial.h"

#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/values/ETabulonExtractValue.h"

namespace etabulon {

CumulPartial::CumulPartial(const ITabulonCumulFuncOnVarCollection& calculations)
    : cells_(std::make_unique<detail::CumulCells>(calculations)) {
    static_cast<void>(cells_->AddRow());
}

CumulPartial::CumulPartial(CumulPartial&& other) noexcept = default;
CumulPartial& CumulPartial::operator=(CumulPartial&& other) noexcept = default;
CumulPartial::~CumulPartial() = default;

bool CumulPartial::IsMergeable() const noexcept { return cells_->AreOwn(); }

void CumulPartial::AddValue(const ETabulonExtractValue& extract) {
    values_.clear();
    for (unsigned int index = 0; index < cells_->Size(); ++index) {
        values_.push_back(&extract.GetValue(cells_->Calculation(index).Variable()));
    }
    std::byte* const rows[] = {cells_->RowAt(0)};
    cells_->Fold(rows, values_, cells_->NeedsContext() ? &extract.Context() : nullptr);
}

void CumulPartial::Merge(const CumulPartial& after) {
    E_EXPECTS(&after != this && IsMergeable());
    std::byte* const rows[] = {cells_->RowAt(0)};
    cells_->MergeAfter(rows, *after.cells_, 0);
}

ETabulonValue CumulPartial::Result(unsigned int calculation) const {
    return cells_->Result(0, calculation);
}

}  // namespace etabulon
