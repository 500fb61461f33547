#include "etabulon/score/ETabulonScoreCumulsBuffers.h"

#include "etabulon/cumul/CumulPartial.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/score/ITabulonResScoreUI.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "score/ScoreCells.h"
#include "score/ScoreRanking.h"

namespace etabulon {

ETabulonScoreCumulsBuffers::ETabulonScoreCumulsBuffers(ETabulonScoreCumuls* desc)
    : desc_(ERef<ETabulonScoreCumuls>::Retain(desc)), cells_(MakeRef<detail::ScoreCells>(*desc)) {}

ETabulonScoreCumulsBuffers::~ETabulonScoreCumulsBuffers() = default;

// Deliberate: copies the pointers without adding references, though the destructor releases them.
// Callers that copy add the references themselves. CopiedBuffersNeedReferences holds it.
ETabulonScoreCumulsBuffers::ETabulonScoreCumulsBuffers(const ETabulonScoreCumulsBuffers& other)
    : ECountedUnknown(other),
      desc_(ERef<ETabulonScoreCumuls>::Adopt(other.desc_.Get())),
      cells_(ERef<detail::ScoreCells>::Adopt(other.cells_.Get())) {}

ETabulonScoreCumulsBuffers& ETabulonScoreCumulsBuffers::operator=(
    const ETabulonScoreCumulsBuffers& other) {
    ETabulonScoreCumuls* const desc = other.desc_.Get();
    detail::ScoreCells* const cells = other.cells_.Get();
    static_cast<void>(desc_.Detach());
    static_cast<void>(cells_.Detach());
    desc_ = ERef<ETabulonScoreCumuls>::Adopt(desc);
    cells_ = ERef<detail::ScoreCells>::Adopt(cells);
    return *this;
}

void ETabulonScoreCumulsBuffers::RetainShared() const noexcept {
    static_cast<void>(ERef<ETabulonScoreCumuls>(desc_).Detach());
    static_cast<void>(ERef<detail::ScoreCells>(cells_).Detach());
}

void ETabulonScoreCumulsBuffers::AddValue(const ETabulonExtractValue& extract) {
    if (desc_->IsComputeTag(extract.Position())) {
        cells_->Add(extract.Position(), cells_->ValuesOf(extract),
                    cells_->NeedsContext() ? &extract.Context() : nullptr);
    }
}

void ETabulonScoreCumulsBuffers::AddPartial(const ETabulonTag& position,
                                            const CumulPartial& partial) {
    if (desc_->IsComputeTag(position)) {
        cells_->AddPartial(position, *partial.cells_);
    }
}

void ETabulonScoreCumulsBuffers::AddOwnValue(const ETabulonExtractValue& extract) {
    const ETabulonTag& position = extract.Position();
    if (desc_->IsComputeTag(position)) {
        cells_->Add(position, extract.CalculationValues(),
                    cells_->NeedsContext() ? &extract.Context() : nullptr);
    }
}

bool ETabulonScoreCumulsBuffers::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return cells_->WantBlocks(cursor, request);
}

void ETabulonScoreCumulsBuffers::AddBlock(const ERecordBlock& block,
                                          std::span<const EBlockIndex> records) {
    cells_->AddBlock(block, records);
}

void ETabulonScoreCumulsBuffers::SendTo(ITabulonResScoreUI* ui) const {
    ui->StartRefresh();
    ui->Reset();
    {
        const auto axe = ERef<ETabulonGridAxe>::Adopt(desc_->BuildAxeDesc());
        ui->SetScoreAxe(Desc()->SortDesc(), desc_->Root().KnownLevelsCount() + desc_->LevelCount(),
                        axe.Get());
    }
    const detail::ScoreRanking ranking(*desc_, *cells_);
    const auto lines = ranking.Lines();
    // Deliberate: a falling order is the rising order read backwards, so that lines of equal
    // results come in the reverse order of their labels. TiesTurnRoundWithTheOrder holds it.
    const auto lineAt = [&lines, isRising = desc_->IncreasingOrder()](std::size_t index) {
        return lines[isRising ? index : lines.size() - 1 - index];
    };
    constexpr std::size_t kAhead = 16;  // lines to prefetch
    ETabulonTag label;
    PTableau<ETabulonValue> values;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        if (index + 2 * kAhead < lines.size()) {
            ranking.Prefetch(lineAt(index + 2 * kAhead));
            cells_->Labels().PrefetchTexts(lineAt(index + kAhead));
        }
        cells_->ReadLabel(lineAt(index), label);
        ranking.ReadValues(lineAt(index), values);
        ui->SetScoreLine(label, values);
    }
    PTableau<ETabulonValue> total;
    for (unsigned int calculation = 0; calculation < cells_->CalculationCount(); ++calculation) {
        total.Add(cells_->Total(calculation));
    }
    ui->SetScoreTotal(total);
    ui->EndRefresh();
}

}  // namespace etabulon
