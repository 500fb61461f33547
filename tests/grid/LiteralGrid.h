#pragma once

#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {

/// What grids and scores have in common: running buffers by tag, found by a linear search.
template <class Desc>
class LiteralResults {
protected:
    using Buffers = ERef<ETabulonCumulBufferOnVarCollection>;
    using Map = std::vector<std::pair<ETabulonTag, Buffers>>;

    explicit LiteralResults(ERef<Desc> desc) : desc_(std::move(desc)) {}

    [[nodiscard]] bool IsBelowRoot(const ETabulonTag& position) const {
        return position == desc_->Root() || position.IsChildOf(desc_->Root());
    }
    [[nodiscard]] static Buffers Find(const Map& map, const ETabulonTag& tag) {
        for (const auto& [key, buffers] : map) {
            if (key == tag) {
                return buffers;
            }
        }
        return {};
    }
    void Fold(Map& map, const ETabulonTag& tag, const ETabulonExtractValue& extract) {
        Buffers buffers = Find(map, tag);
        if (!buffers) {
            buffers = Buffers::Adopt(desc_->Calculations().Start());
            map.emplace_back(tag, buffers);
        }
        buffers->AddValue(extract);
    }

    ERef<Desc> desc_;
};

/// A grid as plainly as it can be: tags as keys, found by a linear search, with a collection of
/// running buffers for each. Slow, and what the grid's own way is compared with.
class LiteralGrid : LiteralResults<ETabulonGridCumuls> {
public:
    explicit LiteralGrid(ERef<ETabulonGridCumuls> desc) : LiteralResults(std::move(desc)) {}

    void AddValue(const ETabulonExtractValue& extract) {
        const ETabulonTag& position = extract.Position();
        if (!IsBelowRoot(position)) {
            return;
        }
        Fold(cells_, desc_->ExtractComputeTag(position), extract);
        Fold(totals_, desc_->Root(), extract);
        for (unsigned int axe = 0; axe < desc_->CalculationAxesCount(); ++axe) {
            const unsigned int level = Key(axe).Level();
            ETabulonTag tag = desc_->Root();
            if (position.HasValue(level)) {
                tag.SetValue(level, position.Value(level));
            }
            Fold(totals_, tag, extract);
        }
    }

    void SendTo(ITabulonResGridUI& view) {
        view.StartRefresh();
        view.Reset();
        const unsigned int count = desc_->GridAxesCount();
        view.SetAxeCount(count);
        axes_.clear();
        for (unsigned int index = 0; index < count; ++index) {
            axes_.push_back(BuildAxe(index));
            view.SetAxe(static_cast<ITabulonResGridUI::AxeDirection>(index), axes_[index].Get());
        }
        if (!cells_.empty()) {
            SendValues(view, count);
        }
        view.EndRefresh();
    }

private:
    [[nodiscard]] const ETabulonSortKey& Key(unsigned int axe) const {
        return desc_->SortDesc()->DetailLevel(desc_->Root(), axe, ETabulonSortDesc::HideInCalc);
    }
    [[nodiscard]] ERef<ETabulonGridAxe> BuildAxe(unsigned int index) const {
        auto axe = ERef<ETabulonGridAxe>::Adopt(desc_->BuildAxeDesc(index));
        if (axe->Type() == ETabulonGridAxe::AxeData) {
            for (const auto& [tag, buffers] : cells_) {
                if (tag.HasValue(Key(index).Level())) {
                    axe->AddLabel(tag, desc_->SortDesc(), Key(index));
                }
            }
        }
        return axe;
    }
    [[nodiscard]] ETabulonTag With(const ETabulonTag& tag, unsigned int axe,
                                   unsigned int label) const {
        ETabulonTag result(tag);
        axes_[axe]->SetLabelInTag(result, label);
        return result;
    }
    [[nodiscard]] static ETabulonValue ResultAt(const Buffers& buffers, unsigned int place) {
        if (!buffers || place >= buffers->Size()) {
            return ETabulonValue::Null;
        }
        return ERef<ETabulonCumulBufferOnVar>::Adopt(buffers->Calculation(place))->Result();
    }
    [[nodiscard]] ERef<ETabulonCumulBufferOnVar> Labelled(const Buffers& buffers, unsigned int axe,
                                                          unsigned int label) const {
        const Chaine code = axes_[axe]->Label(label).Data().AsChaine();
        return ERef<ETabulonCumulBufferOnVar>::Adopt(
            desc_->AxesMode() == ETabulonGridCumuls::IntrinsicFuncs
                ? buffers->FindFirstByFunctionName(code)
                : buffers->FindFirstByVariableName(ETabulonVariableID(code)));
    }

    void SendValues(ITabulonResGridUI& view, unsigned int count) {
        switch (desc_->AxesMode()) {
            case ETabulonGridCumuls::IntrinsicNone:
            case ETabulonGridCumuls::IntrinsicPriority:
                SendData(view, count);
                break;
            case ETabulonGridCumuls::IntrinsicVarsAndFuncs:
                SendVarsAndFuncs(view);
                break;
            default:
                SendIntrinsic(view, count);
                break;
        }
    }

    void SendData(ITabulonResGridUI& view, unsigned int count) {
        const ETabulonTag& root = desc_->Root();
        const unsigned int place =
            desc_->AxesMode() == ETabulonGridCumuls::IntrinsicPriority
                ? static_cast<unsigned int>(desc_->Calculations().PriorityCalculationPos())
                : 0;
        if (count == 0) {
            view.SetValue(0, 0, ResultAt(cells_[0].second, place));
            return;
        }
        for (unsigned int line = 0; line < axes_[0]->Size(); ++line) {
            const ETabulonTag tag = With(root, 0, line);
            if (count == 1) {
                view.SetValue(0, line, ResultAt(Find(cells_, tag), place));
                continue;
            }
            for (unsigned int column = 0; column < axes_[1]->Size(); ++column) {
                view.SetValue(column, line, ResultAt(Find(cells_, With(tag, 1, column)), place));
            }
            if (const Buffers total = Find(totals_, tag)) {
                view.SetTotal(ITabulonResGridUI::AxeColumns, line, ResultAt(total, place));
            }
        }
        if (count == 1) {
            view.SetTotal(ITabulonResGridUI::AxeLines, 0, ResultAt(Find(totals_, root), place));
            return;
        }
        for (unsigned int column = 0; column < axes_[1]->Size(); ++column) {
            if (const Buffers total = Find(totals_, With(root, 1, column))) {
                view.SetTotal(ITabulonResGridUI::AxeLines, column, ResultAt(total, place));
            }
        }
        view.SetTotal(ResultAt(Find(totals_, root), place));
    }

    void SendVarsAndFuncs(ITabulonResGridUI& view) {
        const Buffers& buffers = cells_[0].second;
        for (unsigned int place = 0; place < buffers->Size(); ++place) {
            const auto running = ERef<ETabulonCumulBufferOnVar>::Adopt(buffers->Calculation(place));
            const int line =
                axes_[0]->FindLabel(EVariant(running->Desc()->Variable()->DataID().Code()));
            const int column = axes_[1]->FindLabel(EVariant(running->Desc()->Function()->Code()));
            view.SetValue(static_cast<unsigned int>(column), static_cast<unsigned int>(line),
                          running->Result());
        }
    }

    void SendIntrinsic(ITabulonResGridUI& view, unsigned int count) {
        const unsigned int intrinsic = count == 2 ? 1 : 0;
        const unsigned int lines = count == 2 ? axes_[0]->Size() : 1;
        for (unsigned int line = 0; line < lines; ++line) {
            const Buffers buffers =
                count == 2 ? Find(cells_, With(desc_->Root(), 0, line)) : cells_[0].second;
            for (unsigned int label = 0; label < axes_[intrinsic]->Size(); ++label) {
                const auto running = buffers ? Labelled(buffers, intrinsic, label)
                                             : ERef<ETabulonCumulBufferOnVar>();
                const ETabulonValue& result = running ? running->Result() : ETabulonValue::Null;
                count == 2 ? view.SetValue(label, line, result) : view.SetValue(0, label, result);
            }
        }
        for (unsigned int label = 0; count == 2 && label < axes_[1]->Size(); ++label) {
            if (const auto running = Labelled(Find(totals_, desc_->Root()), 1, label)) {
                view.SetTotal(ITabulonResGridUI::AxeLines, label, running->Result());
            }
        }
    }

    Map cells_, totals_;
    std::vector<ERef<ETabulonGridAxe>> axes_;
};

}  // namespace etabulon::test
