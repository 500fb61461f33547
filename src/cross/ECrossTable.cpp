#include "etabulon/cross/ECrossTable.h"

#include "cross/CrossAxis.h"
#include "cross/CrossCells.h"
#include "cross/CrossLookup.h"
#include "cross/CrossOthers.h"
#include "etabulon/cross/ECrossFiller.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/score/ETabulonScoreCumulsBuffers.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/score/ITabulonResScoreUI.h"

namespace etabulon {

using detail::CrossAxis;
using detail::CrossCells;
using detail::CrossLookup;
using detail::CrossOthers;
using detail::CrossPlace;

struct ECrossTable::Parts {
    Parts(ERef<CrossCells> shared, const ECrossOrder& order)
        : cells(std::move(shared)),
          lookup(*cells),
          axes{{lookup, ECrossSide::Lines, order.lines},
               {lookup, ECrossSide::Columns, order.columns}},
          others(lookup),
          othersLabels{order.lines.others, order.columns.others} {}

    [[nodiscard]] const CrossAxis& Axis(ECrossSide side) const noexcept {
        return axes[static_cast<std::size_t>(side)];
    }
    [[nodiscard]] const CrossAxis::Entry& Entry(ECrossSide side, std::uint32_t index) const {
        E_EXPECTS(index < Axis(side).Entries().size());
        return Axis(side).Entries()[index];
    }
    [[nodiscard]] bool IsOthers(ECrossSide side, std::uint32_t index) const {
        return index != kTotal && Entry(side, index).part == CrossAxis::Part::Others;
    }
    [[nodiscard]] CrossPlace PlaceOf(ECrossSide side, std::uint32_t index) const {
        return index == kTotal ? CrossPlace() : Entry(side, index).place;
    }
    /// The nodes that an entry stands for: those of others, or its own, which `node` holds.
    [[nodiscard]] CrossOthers::Nodes NodesOf(ECrossSide side, std::uint32_t index,
                                             std::uint32_t& node) const {
        const CrossPlace place = PlaceOf(side, index);
        if (IsOthers(side, index)) {
            return {place.depth + 1, Axis(side).Others(Entry(side, index))};
        }
        node = place.node;
        return {place.depth, std::span(&node, 1)};
    }
    void Read(std::uint32_t line, std::uint32_t column, unsigned int calculation,
              ETabulonValue& value) const {
        if (IsOthers(ECrossSide::Lines, line) || IsOthers(ECrossSide::Columns, column)) {
            std::uint32_t nodes[2];
            others.Read(std::uint64_t{line} << 32U | column,
                        NodesOf(ECrossSide::Lines, line, nodes[0]),
                        NodesOf(ECrossSide::Columns, column, nodes[1]), calculation, value);
        } else {
            CrossLookup::Read(
                lookup.Find(PlaceOf(ECrossSide::Lines, line), PlaceOf(ECrossSide::Columns, column)),
                calculation, value);
        }
    }
    /// None for a result without a number.
    [[nodiscard]] std::optional<double> Number(std::uint32_t line, std::uint32_t column,
                                               unsigned int calculation) const {
        Read(line, column, calculation, scratch);
        const bool isNumber =
            scratch.Status() == ETabulonValue::ValNormal && !scratch.Data().IsMissing();
        return isNumber ? std::optional(scratch.Data().AsDouble()) : std::nullopt;
    }

    /// Prefetches labels and totals that a reader of all entries comes to next.
    void PrefetchBehind(ECrossSide side, std::uint32_t index) const {
        constexpr std::size_t kAhead = 8;
        const auto entries = Axis(side).Entries();
        const auto at = [&](std::size_t behind) { return entries[index + behind].place; };
        if (index + 2 * kAhead < entries.size() && at(2 * kAhead).depth != 0) {
            const CrossPlace far = at(2 * kAhead);
            cells->Labels(side, far.depth).Prefetch(far.node);
            lookup.Labels(side, far.depth).PrefetchValues(far.node);
            if (const CrossPlace near = at(kAhead); near.depth != 0) {
                lookup.Labels(side, near.depth).PrefetchTexts(near.node);
            }
        }
    }

    ERef<CrossCells> cells;
    CrossLookup lookup;
    CrossAxis axes[2];
    mutable CrossOthers others;
    Chaine othersLabels[2];
    mutable ETabulonValue scratch;
    /// By calculation and line: the sum down to it. Made by the first that asks.
    mutable std::vector<std::vector<double>> running;
};

ECrossTable::ECrossTable(ERef<CrossCells> cells, const ECrossOrder& order)
    : parts_(std::make_unique<Parts>(std::move(cells), order)) {}

ERef<CrossCells> ECrossTable::CellsOf(const ETabulonScoreFiller& filler) {
    return MakeRef<CrossCells>(filler.buffers_->desc_, filler.buffers_->cells_);
}

ECrossTable::ECrossTable(const ECrossFiller& filler, const ECrossOrder& order) {
    const ECursorLocking locking(*filler.cursor_);
    *this = ECrossTable(filler.cells_, order);
}

ECrossTable::ECrossTable(const ETabulonScoreFiller& filler, const ECrossOrder& order) {
    const ECursorLocking locking(*filler.cursor_);
    *this = ECrossTable(CellsOf(filler), order);
}

ECrossTable::ECrossTable(ECrossTable&&) noexcept = default;
ECrossTable& ECrossTable::operator=(ECrossTable&&) noexcept = default;
ECrossTable::~ECrossTable() = default;

bool ECrossTable::IsEmpty() const noexcept { return parts_->cells->Any().LineCount() == 0; }

unsigned int ECrossTable::CalculationCount() const noexcept {
    return parts_->cells->Any().CalculationCount();
}

std::uint32_t ECrossTable::Depth(ECrossSide side) const noexcept {
    return parts_->cells->Depth(side);
}

std::uint32_t ECrossTable::Count(ECrossSide side) const noexcept {
    return static_cast<std::uint32_t>(parts_->Axis(side).Entries().size());
}

ECrossEntry ECrossTable::Entry(ECrossSide side, std::uint32_t index) const {
    const CrossAxis::Entry& entry = parts_->Entry(side, index);
    return {static_cast<ECrossEntry::Part>(entry.part), entry.place.depth};
}

void ECrossTable::ReadLabel(ECrossSide side, std::uint32_t index, ETabulonTag& label) const {
    parts_->PrefetchBehind(side, index);
    const CrossPlace place = parts_->Entry(side, index).place;
    if (place.depth == 0) {
        label = parts_->cells->Desc().Root();
    } else {
        parts_->cells->Labels(side, place.depth).ReadLabel(place.node, label);
    }
}

bool ECrossTable::HasLabel(ECrossSide side, const ETabulonTag& tag) const {
    return CrossLookup::PlaceOf(*parts_->cells, side, tag).node != CrossLookup::kNone;
}

void ECrossTable::ReadValue(std::uint32_t line, std::uint32_t column, unsigned int calculation,
                            ETabulonValue& value) const {
    parts_->Read(line, column, calculation, value);
}

// ------------------------------------------------------------------------------------------ shares

bool ECrossTable::HasShares(const ETabulonCumulFunc& function) {
    const Chaine code = function.Code();
    return code.EqualsFolded("COUNT") || code.EqualsFolded("COUNTVAL") || code.EqualsFolded("SUM");
}

std::optional<double> ECrossTable::Share(std::uint32_t line, std::uint32_t column,
                                         unsigned int calculation, ECrossBase base) const {
    const std::optional<double> value = parts_->Number(line, column, calculation);
    const std::optional<double> whole =
        parts_->Number(base == ECrossBase::Line ? line : kTotal,
                       base == ECrossBase::Column ? column : kTotal, calculation);
    return value && whole && *whole != 0 ? std::optional(100 * (*value / *whole)) : std::nullopt;
}

std::optional<double> ECrossTable::RunningShare(std::uint32_t line,
                                                unsigned int calculation) const {
    E_EXPECTS(calculation < CalculationCount());
    parts_->running.resize(CalculationCount());
    std::vector<double>& running = parts_->running[calculation];
    if (running.empty()) {
        long double sum = 0;
        for (std::uint32_t at = 0; at < Count(ECrossSide::Lines); ++at) {
            const bool isCounted = Entry(ECrossSide::Lines, at).part != ECrossEntry::Subtotal;
            sum += isCounted ? parts_->Number(at, kTotal, calculation).value_or(0) : 0;
            running.push_back(static_cast<double>(sum));
        }
    }
    const std::optional<double> whole = parts_->Number(kTotal, kTotal, calculation);
    if (!whole || *whole == 0 || Entry(ECrossSide::Lines, line).part == ECrossEntry::Subtotal) {
        return std::nullopt;
    }
    return 100 * (running[line] / *whole);
}

// --------------------------------------------------------------------------------------- selection

ECrossSelection ECrossTable::Selection(std::uint32_t line, std::uint32_t column) const {
    ECrossSelection selection(parts_->cells);
    selection.tag_ = parts_->cells->Desc().Root();
    ETabulonTag label;
    for (const ECrossSide side : {ECrossSide::Lines, ECrossSide::Columns}) {
        const std::uint32_t index = side == ECrossSide::Lines ? line : column;
        if (index == kTotal) {
            continue;
        }
        ReadLabel(side, index, label);
        for (unsigned int at = 0; at < label.KnownLevelsCount(); ++at) {
            selection.tag_.SetValue(label.LevelAt(at), label.ValueAt(at));
        }
        const CrossAxis::Entry& entry = parts_->Entry(side, index);
        if (entry.part == CrossAxis::Part::Others) {
            const std::uint32_t depth = entry.place.depth + 1;
            std::vector<bool> shown(parts_->lookup.NodeCount(side, depth), true);
            for (const std::uint32_t node : parts_->Axis(side).Others(entry)) {
                shown[node] = false;
            }
            selection.shown_.push_back({side, depth, std::move(shown)});
        }
    }
    return selection;
}

// ------------------------------------------------------------------------------------------- views

// The label names the entry's levels; a view that looks into it finds the value of the last one.
ERef<ETabulonGridAxe> ECrossTable::MakeAxe(ECrossSide side) const {
    const CrossCells& cells = *parts_->cells;
    const ETabulonLevels& levels = cells.Desc().SortDesc()->AvailableLevels();
    const unsigned int first = cells.LevelsAt(side, 1).front();
    auto axe = ETabulonGridAxe::Make(first, &levels);
    ETabulonTag label;
    for (std::uint32_t index = 0; index < Count(side); ++index) {
        const ECrossEntry entry = Entry(side, index);
        ReadLabel(side, index, label);
        Chaine display;
        const ETabulonValue* last = nullptr;
        for (std::uint32_t depth = 1; depth <= entry.depth; ++depth) {
            for (const unsigned int level : cells.LevelsAt(side, depth)) {
                last = label.Find(level);
                const Chaine text = last == nullptr ? Chaine() : last->DisplayValue();
                display = display.IsEmpty() ? text : display + ", " + text;
            }
        }
        if (entry.part == ECrossEntry::Others) {
            const Chaine& others = parts_->othersLabels[static_cast<std::size_t>(side)];
            display = display.IsEmpty() ? others : display + ", " + others;
            last = nullptr;
        }
        const EVariant data = last == nullptr ? EVariant(display) : last->Data();
        axe->AddLabel(data, display, last == nullptr ? nullptr : levels.GetLevel(first).Icon(data));
    }
    return axe;
}

void ECrossTable::SendTo(ITabulonResGridUI* view, unsigned int calculation) const {
    using UI = ITabulonResGridUI;
    const bool hasLines = Depth(ECrossSide::Lines) != 0;
    const bool hasColumns = Depth(ECrossSide::Columns) != 0;
    view->StartRefresh();
    view->Reset();
    view->SetAxeCount((hasLines ? 1U : 0U) + (hasColumns ? 1U : 0U));
    std::vector<ERef<ETabulonGridAxe>> axes;
    for (const ECrossSide side : {ECrossSide::Lines, ECrossSide::Columns}) {
        if (Depth(side) != 0) {
            axes.push_back(MakeAxe(side));
            view->SetAxe(static_cast<UI::AxeDirection>(axes.size() - 1), axes.back().Get());
        }
    }
    ETabulonValue value;
    const auto read = [&](std::uint32_t line, std::uint32_t column) -> const ETabulonValue& {
        ReadValue(line, column, calculation, value);
        return value;
    };
    const std::uint32_t lines = Count(ECrossSide::Lines);
    const std::uint32_t columns = Count(ECrossSide::Columns);
    for (std::uint32_t line = 0; hasLines && line < lines; ++line) {
        for (std::uint32_t column = 0; column < columns; ++column) {
            view->SetValue(column, line, read(line, column));
        }
        hasColumns ? view->SetTotal(UI::AxeColumns, line, read(line, kTotal))
                   : view->SetValue(0, line, read(line, kTotal));
    }
    for (std::uint32_t column = 0; column < columns; ++column) {
        hasLines ? view->SetTotal(UI::AxeLines, column, read(kTotal, column))
                 : view->SetValue(0, column, read(kTotal, column));
    }
    if (!IsEmpty()) {
        if (hasLines && hasColumns) {
            view->SetTotal(read(kTotal, kTotal));
        } else if (hasLines || hasColumns) {
            view->SetTotal(UI::AxeLines, 0, read(kTotal, kTotal));
        } else {
            view->SetValue(0, 0, read(kTotal, kTotal));
        }
    }
    view->EndRefresh();
}

void ECrossTable::SendTo(ITabulonResScoreUI* view) const {
    E_EXPECTS(Depth(ECrossSide::Columns) == 0);
    const ETabulonScoreCumuls& desc = parts_->cells->Desc();
    view->StartRefresh();
    view->Reset();
    {
        const auto axe = ERef<ETabulonGridAxe>::Adopt(desc.BuildAxeDesc());
        view->SetScoreAxe(desc.SortDesc(), desc.Root().KnownLevelsCount() + desc.LevelCount(),
                          axe.Get());
    }
    ETabulonTag label;
    PTableau<ETabulonValue> values;
    while (values.Size() < CalculationCount()) {
        values.Add(ETabulonValue());
    }
    const auto read = [&](std::uint32_t line) -> const PTableau<ETabulonValue>& {
        for (unsigned int calculation = 0; calculation < CalculationCount(); ++calculation) {
            ReadValue(line, kTotal, calculation, values.At(calculation));
        }
        return values;
    };
    for (std::uint32_t line = 0; line < Count(ECrossSide::Lines); ++line) {
        ReadLabel(ECrossSide::Lines, line, label);
        const ECrossEntry entry = Entry(ECrossSide::Lines, line);
        if (entry.part == ECrossEntry::Others) {
            const auto& levels = parts_->cells->LevelsAt(ECrossSide::Lines, entry.depth + 1);
            const Chaine& others = parts_->othersLabels[0];
            label.SetValue(levels.front(),
                           ETabulonValue(EVariant(others), others, /*modified=*/false));
        }
        view->SetScoreLine(label, read(line));
    }
    view->SetScoreTotal(read(kTotal));
    view->EndRefresh();
}

}  // namespace etabulon
