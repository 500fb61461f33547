#pragma once

#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliLevels.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/grid/EGridView.h"
#include "etabulon/values/ETabulonValue.h"

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace etabulon {

/// The shown value of a label: its own label, or its data; missing for NULL and for none.
[[nodiscard]] EVariant ShownLabel(const CliLevel& level, const ETabulonValue* value);

/// The label of a line or column: the shown values of the axis's levels, missing for NULL. A
/// subtotal's and that of others end above the last level.
struct CliCrossLabel {
    std::vector<EVariant> values;
    ECrossEntry::Part part = ECrossEntry::Detail;
    std::optional<EVariant> data = {};  // that the one value is the label of
};

/// One direction of a cross table.
struct CliCrossAxis {
    std::vector<std::string>
        titles;  // of its levels; empty: no axis, but one label without meaning
    std::vector<CliCrossLabel> labels;
    bool isData = false;  // values of levels, not calculations

    [[nodiscard]] bool IsThere() const noexcept { return !titles.empty(); }
    void Add(EVariant label) { labels.push_back({{std::move(label)}}); }
};

/// A cross table as it is printed.
struct CliCross {
    std::string calculation;  // empty if an axis names the calculations
    CliCrossAxis lines;
    CliCrossAxis columns;
    std::vector<ETabulonValue>
        values;  // line by line; empty without records, unless no axis is of data
    std::vector<ETabulonValue> lineTotals;  // at the end of each line; empty: there are none
    std::vector<ETabulonValue> columnTotals;
    std::optional<ETabulonValue> total;

    [[nodiscard]] bool IsEmpty() const noexcept { return values.empty(); }
    [[nodiscard]] const ETabulonValue& Value(std::size_t line, std::size_t column) const {
        return values[line * columns.labels.size() + column];
    }
};

/// Copies a grid into a cross table. A grid of one axis becomes a column with its calculation's
/// values and, below them, the total.
///
/// Ownership  nothing is owned, and no part of the grid is kept.
class CliGridView final : public EGridView {
public:
    CliGridView(const CliLevels& levels, const CliCalculations& calculations, CliCross& cross)
        : levels_(levels), calculations_(calculations), cross_(cross) {}
    /// The calculation that the values are of, for a grid whose axes don't name it.
    void SetShown(std::size_t calculation) noexcept { shown_ = calculation; }

    void Reset() override { cross_ = {}; }
    void SetAxeCount(unsigned int count) override { axesCount_ = count; }
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override;
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override;
    void SetTotal(const ETabulonValue& value) override { cross_.total = value; }
    void SetTotal(AxeDirection direction, unsigned int index, const ETabulonValue& value) override;
    void EndRefresh() override;

private:
    void TakeDataAxe(const ETabulonGridAxe& axe, CliCrossAxis& taken) const;
    void TakeCalculationAxe(const ETabulonGridAxe& axe, CliCrossAxis& taken) const;
    void Complete();
    void FillOfNoRecords();

    const CliLevels& levels_;
    const CliCalculations& calculations_;
    CliCross& cross_;
    std::size_t shown_ = 0;
    unsigned int axesCount_ = 0;
    bool isComplete_ = false;
};

/// How a result is shown that was arranged.
struct CliCrossShown {
    std::optional<ECrossBase> percent;  // of what all values are shares
    bool hasLineTotals = true;
    bool hasColumnTotals = true;
};
/// Copies one calculation of an arranged result into a cross table. Without columns it has one, the
/// calculation. `lines` and `columns` are the levels of the axes.
[[nodiscard]] CliCross TakeCross(const ECrossTable& table, const CliLevels& levels,
                                 std::span<const unsigned int> lines,
                                 std::span<const unsigned int> columns,
                                 const CliCalculations& calculations, unsigned int calculation,
                                 const CliCrossShown& shown);

/// Joins cross tables of the same lines and one column each into one table. Requires at least one.
[[nodiscard]] CliCross SideBySide(std::vector<CliCross> parts);

}  // namespace etabulon
