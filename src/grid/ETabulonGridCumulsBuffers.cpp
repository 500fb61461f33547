#include "etabulon/grid/ETabulonGridCumulsBuffers.h"

#include "etabulon/cumul/CumulPartial.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/GridCells.h"
#include "grid/GridSender.h"

namespace etabulon {

namespace {

// The distinct values that the cells' tags hold at the level, in the order of the cells.
std::vector<const ETabulonValue*> ValuesMet(const detail::GridCells& cells, const ETabulonTag& root,
                                            unsigned int level) {
    std::vector<const ETabulonValue*> met;
    const int column = cells.Index().ColumnOf(level);
    if (column >= 0) {
        const detail::ValueNumbers& values = cells.Index().Values(static_cast<std::size_t>(column));
        for (std::uint32_t spelling = 0; spelling < values.SpellingCount(); ++spelling) {
            met.push_back(&values.Spelling(spelling));
        }
    } else if (const ETabulonValue* inRoot = root.Find(level); inRoot != nullptr) {
        if (!cells.IsEmpty()) {
            met.push_back(inRoot);
        }
    }
    return met;
}

}  // namespace

ETabulonGridCumulsBuffers::ETabulonGridCumulsBuffers(ETabulonGridCumuls* desc)
    : desc_(ERef<ETabulonGridCumuls>::Retain(desc)),
      cells_(std::make_unique<detail::GridCells>(*desc)) {}

ETabulonGridCumulsBuffers::~ETabulonGridCumulsBuffers() = default;

unsigned int ETabulonGridCumulsBuffers::GridAxesCount() const { return desc_->GridAxesCount(); }

void ETabulonGridCumulsBuffers::AddValue(const ETabulonExtractValue& extract) {
    axesStale_ = true;
    if (desc_->IsComputeTag(extract.Position())) {
        cells_->Add(extract.Position(), cells_->ValuesOf(extract),
                    cells_->NeedsContext() ? &extract.Context() : nullptr);
    }
}

void ETabulonGridCumulsBuffers::AddPartial(const ETabulonTag& position,
                                           const CumulPartial& partial) {
    axesStale_ = true;
    if (desc_->IsComputeTag(position)) {
        cells_->AddPartial(position, *partial.cells_);
    }
}

void ETabulonGridCumulsBuffers::AddOwnValue(const ETabulonExtractValue& extract) {
    axesStale_ = true;
    const ETabulonTag& position = extract.Position();
    if (desc_->IsComputeTag(position)) {
        cells_->Add(position, extract.CalculationValues(),
                    cells_->NeedsContext() ? &extract.Context() : nullptr,
                    extract.PositionGeneration());
    }
}

bool ETabulonGridCumulsBuffers::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return cells_->WantBlocks(cursor, request);
}

void ETabulonGridCumulsBuffers::AddBlock(const ERecordBlock& block,
                                         std::span<const EBlockIndex> records) {
    axesStale_ = true;
    cells_->AddBlock(block, records);
}

// -------------------------------------------------------------------------------------------- axes

// A record only marks the axes stale; BuildAxeDesc builds their labels on demand.
void ETabulonGridCumulsBuffers::ReleaseAxes() const noexcept {
    axes_.clear();
    axesStale_ = false;
}

ETabulonGridAxe* ETabulonGridCumulsBuffers::BuildAxeDesc(unsigned int index) const {
    if (axesStale_) {
        ReleaseAxes();
    }
    if (index < axes_.size() && axes_[index]) {
        return ERef<ETabulonGridAxe>(axes_[index]).Detach();
    }
    auto axe = ERef<ETabulonGridAxe>::Adopt(desc_->BuildAxeDesc(index));
    if (axe->Type() == ETabulonGridAxe::AxeData && !axe->Data().IsMissing()) {
        const ETabulonSortDesc* const sortDesc = desc_->SortDesc();
        const ETabulonSortKey& key =
            sortDesc->DetailLevel(desc_->Root(), index, ETabulonSortDesc::HideInCalc);
        axe->AddLabels(ValuesMet(*cells_, desc_->Root(), key.Level()), sortDesc, key);
    }
    if (axes_.size() <= index) {
        axes_.resize(index + 1);
    }
    axes_[index] = axe;
    return axe.Detach();
}

// --------------------------------------------------------------------------------------- selection

void ETabulonGridCumulsBuffers::GetSelection(const ETabulonGridAxe& axe, unsigned int index,
                                             ETabulonVariableID* variable, ETabulonTag* tag) const {
    // An index past the last label means the whole axis, as for a total.
    if (index >= axe.Size()) {
        return;
    }
    if (axe.Type() == ETabulonGridAxe::AxeData) {
        axe.SetLabelInTag(*tag, index);
    } else if (axe.Type() == ETabulonGridAxe::AxeVars) {
        *variable = ETabulonVariableID(axe.Label(index).Data().AsChaine());
    }
}

bool ETabulonGridCumulsBuffers::GetSelection(unsigned int column, unsigned int line,
                                             ETabulonVariableID* variable, ETabulonTag* tag) const {
    const unsigned int index = detail::ShownCalculation(*desc_);
    const auto calculations = cells_->Calculations();
    *variable = index < calculations.size() ? calculations[index]->Variable()->DataID()
                                            : ETabulonVariableID::Null;
    *tag = desc_->Root();
    const unsigned int count = desc_->GridAxesCount();
    if (count == 0) {
        return column == 0 && line == 0;
    }
    GetSelection(*ERef<ETabulonGridAxe>::Adopt(BuildAxeDesc(0)), line, variable, tag);
    if (count > 1) {
        GetSelection(*ERef<ETabulonGridAxe>::Adopt(BuildAxeDesc(1)), column, variable, tag);
    }
    return true;
}

void ETabulonGridCumulsBuffers::SendTo(ITabulonResGridUI* view) const {
    view->StartRefresh();
    view->Reset();
    const unsigned int count = desc_->GridAxesCount();
    view->SetAxeCount(count);
    {
        std::vector<ERef<ETabulonGridAxe>> axes;
        for (unsigned int index = 0; index < count; ++index) {
            axes.push_back(ERef<ETabulonGridAxe>::Adopt(BuildAxeDesc(index)));
            view->SetAxe(static_cast<ITabulonResGridUI::AxeDirection>(index), axes[index].Get());
        }
        if (!cells_->IsEmpty()) {
            detail::GridSender(*desc_, *cells_, axes, *view).Send();
        }
    }
    view->EndRefresh();
}

}  // namespace etabulon
