#include "etabulon/grid/ETabulonGridAxe.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <algorithm>
#include <vector>

namespace etabulon {

namespace {

Chaine Composite(const Chaine& function, const Chaine& variable) {
    Chaine text(function);
    text.Append('(');
    text += variable;
    text.Append(')');
    return text;
}

struct SortedLabel {
    const ETabulonValue* value;
    Chaine key;
};

}  // namespace

// ------------------------------------------------------------------------------------------- label

void ETabulonGridAxe::AxeLabel::SplitCode(Chaine& first, Chaine& second, bool display) const {
    SplitCode(display ? DisplayValue() : Data().AsChaine(), first, second);
}

// Matches the pattern "*(*)" with the shortest match for each star, and ignores text after the ")".
void ETabulonGridAxe::AxeLabel::SplitCode(const Chaine& code, Chaine& first, Chaine& second) {
    const std::size_t open = code.Find('(');
    const std::size_t close = open == Chaine::npos ? open : code.Find(')', open + 1);
    if (close == Chaine::npos) {
        first = Chaine();
        second = Chaine();
        return;
    }
    const Chaine whole(code);  // a copy: `code` may be `first` or `second`
    first = whole.Mid(0, open);
    second = whole.Mid(open + 1, close - open - 1);
}

// -------------------------------------------------------------------------------------------- axis

ETabulonGridAxe::ETabulonGridAxe(AxeType type, const EVariant& data, const Chaine& displayName,
                                 HICON icon)
    : type_(type),
      data_(data),
      displayName_(displayName.IsEmpty() ? data.AsChaine() : displayName),
      icon_(icon) {}

ETabulonGridAxe* ETabulonGridAxe::Build(AxeType type, const EVariant& data,
                                        const Chaine& displayName, HICON icon) {
    return new ETabulonGridAxe(type, data, displayName, icon);
}

ETabulonGridAxe* ETabulonGridAxe::Build(unsigned int level, const ETabulonLevels* levels) {
    const ETabulonLevels::Level& description = levels->GetLevel(level);
    return Build(AxeData, EVariant(level), description.Header(), description.Icon(EVariant()));
}

int ETabulonGridAxe::FindLabel(const EVariant& data) const {
    for (unsigned int index = 0; index < Size(); ++index) {
        if (labels_.At(index).Data() == data) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

const ETabulonGridAxe::AxeLabel& ETabulonGridAxe::Label(const EVariant& data) const {
    return labels_.At(static_cast<unsigned int>(FindLabel(data)));
}

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::Label(const EVariant& data) {
    return labels_.At(static_cast<unsigned int>(FindLabel(data)));
}

void ETabulonGridAxe::SetLabelInTag(ETabulonTag& tag, unsigned int index) const {
    tag.SetValue(static_cast<unsigned int>(data_.AsUInt64()), Label(index));
}

// ------------------------------------------------------------------------------------------ adding

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const EVariant& data, const Chaine& display,
                                                     HICON icon) {
    return labels_.Add(AxeLabel(data, display, icon, /*modified=*/false));
}

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const ETabulonValue& value, HICON icon) {
    return AddLabel(value.Data(), value.DisplayValue(), icon);
}

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const ETabulonCumulFunc* function) {
    const EVariant data(function->Code());
    return HasLabel(data) ? Label(data) : AddLabel(data, function->DisplayName(), function->Icon());
}

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const ETabulonVariableDesc* variable) {
    const EVariant data(variable->DataID().Code());
    return HasLabel(data) ? Label(data) : AddLabel(data, variable->Header(), variable->Icon());
}

// Deliberate: the label's data is the variable's code alone, although the display may name the
// function too, so that a second function on one variable adds no label. GridSender finds a label's
// calculation by this code. SecondFunctionOfAVariableAddsNoLabel holds it.
ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const ETabulonVariableDesc* variable,
                                                     const ETabulonCumulFunc* function,
                                                     bool headerOnly) {
    const EVariant data(variable->DataID().Code());
    if (HasLabel(data)) {
        return Label(data);
    }
    const Chaine display =
        headerOnly ? variable->Header() : Composite(function->DisplayName(), variable->Header());
    return AddLabel(data, display, variable->Icon());
}

ETabulonGridAxe::AxeLabel& ETabulonGridAxe::AddLabel(const ETabulonTag& tag,
                                                     const ETabulonSortDesc* sortDesc,
                                                     const ETabulonSortKey& key) {
    unsigned int index = 0;
    ETabulonTag present;
    for (; index < Size(); ++index) {
        present.SetValue(key.Level(), labels_.At(index));
        const int order = sortDesc->Compare(tag, present, key);
        if (order == 0) {
            return labels_.At(index);
        }
        if (order < 0) {
            break;
        }
    }
    return labels_.Emplace(index, tag.Value(key.Level()), sortDesc->GetIcon(tag, key));
}

// Deliberate: values that compare as equal get one label, made from the first. The cells of the
// other values are then under no label, though totals include them: texts that read alike are one
// line on a screen. MergeWhereTheyCompareEqualAndLeaveTheCellsOfTheOtherSpelling holds it.
void ETabulonGridAxe::AddLabels(std::span<const ETabulonValue* const> values,
                                const ETabulonSortDesc* sortDesc, const ETabulonSortKey& key) {
    E_EXPECTS(Size() == 0);
    std::vector<SortedLabel> sorted;
    sorted.reserve(values.size());
    for (const ETabulonValue* const value : values) {
        sorted.push_back({value, sortDesc->ComparisonKey(*value)});
    }
    const bool reverse = key.IsReverseOrder();
    std::stable_sort(sorted.begin(), sorted.end(),
                     [reverse](const SortedLabel& a, const SortedLabel& b) {
                         return reverse ? b.key < a.key : a.key < b.key;
                     });
    const auto end =
        std::unique(sorted.begin(), sorted.end(),
                    [](const SortedLabel& a, const SortedLabel& b) { return a.key == b.key; });
    const ETabulonLevels::Level& level = sortDesc->AvailableLevels().GetLevel(key.Level());
    for (auto label = sorted.begin(); label != end; ++label) {
        labels_.Add(AxeLabel(*label->value, level.Icon(label->value->Data())));
    }
}

}  // namespace etabulon
