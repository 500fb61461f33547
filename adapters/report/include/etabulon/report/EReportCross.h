#pragma once

#include "etabulon/cross/ECrossTable.h"
#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/grid/EGridView.h"
#include "etabulon/report/EReportWriter.h"
#include "etabulon/score/EScoreView.h"
#include "etabulon/values/ETabulonValue.h"
#include "etabulon/values/fwd.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon {

/// What a report calls levels and calculations.
struct ETABULON_API EReportNames {
    struct Level {
        std::string name;
        bool hasLabel = false;  // its values show a text of their own
        bool isTime = false;    // its values follow each other in time: dates, or parts of them
    };
    struct Calculation {
        std::string function;  // its code
        std::string variable;  // its code
        std::string name;      // SUM(cost)
        std::string variableName;
        bool isNumber = true;  // the result is a number
        /// Its result over no records: 0, or without it none.
        [[nodiscard]] ETabulonValue OfNoRecords() const;
    };
    /// The headers of levels and variables. Calculations are numbers.
    [[nodiscard]] static EReportNames Of(const ETabulonLevels& levels,
                                         const ETabulonCumulFuncOnVarCollection& calculations);

    std::vector<Level> levels;  // by their identifiers
    std::vector<Calculation> calculations;
};

/// The shown value of a label: its own text, or its data; missing for NULL and for none.
[[nodiscard]] ETABULON_API EVariant ShownLabel(const EReportNames::Level& level,
                                               const ETabulonValue* value);

/// The label of a line or column: the shown values of the axis's levels, missing for NULL. A
/// subtotal's and that of others end above the last level.
struct EReportCrossLabel {
    std::vector<EVariant> values;
    ECrossEntry::Part part = ECrossEntry::Detail;
    std::optional<EVariant> data = {};  // that the one value is the label of
};

/// One direction of a cross table.
struct EReportCrossAxis {
    std::vector<std::string>
        titles;  // of its levels; empty: no axis, but one label without meaning
    std::vector<EReportCrossLabel> labels;
    bool isData = false;  // values of levels, not calculations
    bool isTime = false;  // its labels follow each other in time

    [[nodiscard]] bool IsThere() const noexcept { return !titles.empty(); }
    void Add(EVariant label) { labels.push_back({{std::move(label)}}); }
};

/// A cross table as it is reported.
struct ETABULON_API EReportCross {
    static constexpr const char* kTotal = "total";
    static constexpr const char* kOthers = "others";

    std::string calculation;  // empty if an axis names the calculations
    EReportCrossAxis lines;
    EReportCrossAxis columns;
    // Line by line. Empty without records, unless no axis is of data.
    std::vector<ETabulonValue> values;
    std::vector<ETabulonValue> lineTotals;  // at the end of each line; empty: there are none
    std::vector<ETabulonValue> columnTotals;
    std::optional<ETabulonValue> total;

    /// There is neither a cell nor a total.
    [[nodiscard]] bool IsEmpty() const noexcept {
        return values.empty() && lineTotals.empty() && columnTotals.empty() && !total;
    }
    /// Drops the lines behind the first ones. Totals stay those of all.
    void KeepLines(std::size_t most);
    [[nodiscard]] const ETabulonValue& Value(std::size_t line, std::size_t column) const {
        return values[line * columns.labels.size() + column];
    }
};

/// Copies a grid into a cross table. A grid of one axis becomes a column with its calculation's
/// values and, below them, the total.
///
/// Ownership  nothing is owned, and no part of the grid is kept.
/// Example    examples/report.cpp
class ETABULON_API EReportGridView final : public EGridView {
public:
    EReportGridView(const EReportNames& names, EReportCross& cross)
        : names_(names), cross_(cross) {}
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
    void TakeDataAxe(const ETabulonGridAxe& axe, EReportCrossAxis& taken) const;
    void TakeCalculationAxe(const ETabulonGridAxe& axe, EReportCrossAxis& taken) const;
    void Complete();
    void FillOfNoRecords();

    const EReportNames& names_;
    EReportCross& cross_;
    std::size_t shown_ = 0;
    unsigned int axesCount_ = 0;
    bool isComplete_ = false;
};

/// Writes cross tables that have the same axes, one for each calculation: a column for each label
/// and one for the lines' totals; the columns' totals come last. Several tables follow each other,
/// with a column for the calculation. Requires at least one.
ETABULON_API void WriteCrosses(EReportWriter& writer, std::span<const EReportCross> crosses,
                               bool isNumber);

/// A label as plain text: NULL for a missing one. A text that could be mistaken for NULL, for the
/// total or for nothing is quoted.
[[nodiscard]] ETABULON_API std::string LabelText(const EVariant& label);
/// That of all levels of a label, and the word for a part.
[[nodiscard]] ETABULON_API std::string LabelText(const EReportCrossLabel& label);

}  // namespace etabulon
