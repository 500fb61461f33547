#include "apps/etabulon/views/CliAlikeLabels.h"

#include "apps/etabulon/views/CliCrossPrinter.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/grid/EGridView.h"
#include "etabulon/grid/ETabulonGridAxe.h"

#include <fmt/format.h>

#include <unordered_map>
#include <utility>

namespace etabulon {
namespace {

constexpr unsigned int kCountSize = 8;

/// The labels of a grid of one axis, and the count of each.
class CountedLabels final : public EGridView {
public:
    struct Counted {
        ETabulonValue label;
        std::int64_t count = 0;
    };

    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        if (axe->Type() != ETabulonGridAxe::AxeData) {
            return;
        }
        areLines_ = direction == AxeLines;
        for (unsigned int index = 0; index < axe->Size(); ++index) {
            const ETabulonValue& label = axe->Label(index);
            labels.push_back({label});
        }
    }
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override {
        labels[areLines_ ? line : column].count = value.Data().AsInt64();
    }

    std::vector<Counted> labels;

private:
    bool areLines_ = true;
};

/// The keys of `place`, the level of the axis, and the other levels hidden.
ERef<ETabulonSortDesc> SortOf(const CliResultLevels& levels, unsigned int level) {
    ETabulonSortDesc::SortKeyArray keys;
    for (unsigned int index = 0; index < levels.keys.Size(); ++index) {
        ETabulonSortKey key = levels.keys[index];
        if (key.Level() != level && !levels.place.HasValue(key.Level())) {
            key = ETabulonSortKey(key.Level(), key.IsReverseOrder(), ETabulonSortDesc::HideInCalc);
        }
        keys.Add(key);
    }
    auto sort = MakeRef<ETabulonSortDesc>(levels.levels.levels);
    sort->SetSortLevels(keys);
    sort->SetCompareSource(ETabulonSortDesc::CompareOnValue);
    return sort;
}

}  // namespace

CliAlikeLabels::CliAlikeLabels(const CliResultLevels& levels, ETabulonCursor& cursor,
                               bool mergesEqual)
    : levels_(levels), mergesEqual_(mergesEqual) {
    for (const unsigned int level : levels.details) {
        ETabulonCumulFuncOnVarCollection count;
        count.AddCalculation("COUNT", ETabulonVariableID(levels.levels.all[level].data.code),
                             TYPE_INT64, kCountSize, Chaine());
        Axis axis{level, SortOf(levels, level), ETabulonGridFiller::Make(&cursor, nullptr)};
        axis.filler->SetParams(&count, /*axesCount=*/1, axis.byValue.Get());
        cursor.AddNotifier(axis.filler.Get());
        axes_.push_back(std::move(axis));
    }
}

std::string CliAlikeLabels::Sentence(const Axis& axis) const {
    CountedLabels counted;
    axis.filler->SendTo(&counted);
    ETabulonSortDesc sort(levels_.levels.levels);
    sort.SetCompareSource(levels_.compareSource);
    const CliLevel& level = levels_.levels.all[axis.level];

    // By the text shown, and by the key that the table sorts by.
    std::unordered_map<std::string, unsigned int> texts;
    std::unordered_map<std::string, unsigned int> keys;
    const auto textOf = [&](const ETabulonValue& label) {
        return LabelText(level.HasLabel() && !label.IsNull() ? EVariant(label.DisplayValue())
                                                             : label.Data());
    };
    const auto keyOf = [&](const ETabulonValue& label) {
        return std::string(sort.ComparisonKey(label).View());
    };
    for (const auto& [label, count] : counted.labels) {
        ++texts[textOf(label)];
        ++keys[keyOf(label)];
    }
    std::int64_t alike = 0;
    std::int64_t merged = 0;
    std::string example;
    for (const auto& [label, count] : counted.labels) {
        const bool isMerged = mergesEqual_ && keys[keyOf(label)] > 1;
        const std::string text = textOf(label);
        if (isMerged || texts[text] > 1) {
            alike += count;
            merged += isMerged ? count : 0;
            example = example.empty() ? text : example;
        }
    }
    if (alike == 0) {
        return {};
    }
    const std::string records = alike == 1 ? "1 record has" : fmt::format("{} records have", alike);
    return merged != 0 ? fmt::format(
                             "{} labels of {} that --by {} takes for equal, such as {}: "
                             "the table shows one of each with its own records only, and "
                             "the totals have all (--by value shows each)",
                             records, level.shown,
                             levels_.compareSource == ETabulonSortDesc::CompareOnDisplay ? "display"
                                                                                         : "data",
                             example)
                       : fmt::format(
                             "{} labels of {} that look alike, such as {}: each value has "
                             "its own",
                             records, level.shown, example);
}

std::vector<std::string> CliAlikeLabels::Sentences() const {
    std::vector<std::string> sentences;
    for (const Axis& axis : axes_) {
        std::string sentence = Sentence(axis);
        if (!sentence.empty()) {
            sentences.push_back(std::move(sentence));
        }
    }
    return sentences;
}

}  // namespace etabulon
