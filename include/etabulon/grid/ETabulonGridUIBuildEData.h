#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/values/ETabulonDisplayMode.h"
#include "etabulon/values/fwd.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace etabulon {

/// The view that makes a table of a grid: lines become records and columns become fields;
/// LinesLabels() gives the labels of the lines. A grid with one axis becomes one record, a grid
/// with none becomes one field. The table has no totals of lines and columns.
///
/// Ownership  the calculations are not owned. The table is owned if `ownsResult` is true; otherwise
///            the caller takes it before Reset. A copy has the settings and no table.
/// Threads    called under the filler's cursor lock; afterwards one thread at a time uses the
///            table.
/// Failure    none is reported. Requires the order and bounds of ITabulonResGridUI.
/// Example    tests/grid/GridFillerTest.cpp
class ETABULON_API ETabulonGridUIBuildEData : public ITabulonResGridUI {
public:
    ETabulonGridUIBuildEData(const ITabulonCumulFuncOnVarCollection* functions, bool ownsResult)
        : functions_(functions), ownsResult_(ownsResult) {}
    ETabulonGridUIBuildEData(const ETabulonGridUIBuildEData& other);
    ETabulonGridUIBuildEData& operator=(const ETabulonGridUIBuildEData& other);
    ~ETabulonGridUIBuildEData() override;

    /// Null until SetAxe was called for every axis.
    [[nodiscard]] EData* Result() const;
    /// One text for each record.
    [[nodiscard]] PTableau<Chaine> LinesLabels() const { return lineLabels_; }
    /// How many columns of the grid the table lacks: it has 512 fields at most.
    [[nodiscard]] unsigned int LeftOutColumns() const noexcept { return leftOutColumns_; }
    /// What labels and headers show. Set it before the grid is sent.
    [[nodiscard]] ETabulonDisplayMode DisplayMode() const noexcept { return displayMode_; }
    void SetDisplayMode(ETabulonDisplayMode mode) noexcept { displayMode_ = mode; }
    /// The variable and the tag behind a cell of the table, which shows the grid that `filler`
    /// sent.
    [[nodiscard]] bool GetSelection(const ETabulonGridFiller* filler, unsigned int column,
                                    unsigned int line, ETabulonVariableID* id,
                                    ETabulonTag* tag) const;

    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override;
    void SetAxeCount(unsigned int count) override;
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override;
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override;
    void SetTotal(const ETabulonValue& value) override;
    void SetTotal(AxeDirection /*direction*/, unsigned int /*index*/,
                  const ETabulonValue& /*value*/) override {}

private:
    [[nodiscard]] bool IsOneLine() const noexcept { return axeCount_ < 2; }
    [[nodiscard]] const Chaine& Shown(const ETabulonValue& label, Chaine& holder) const;
    void AddField(const Chaine& name, int type, unsigned int size, const Chaine& header,
                  const Chaine& description);
    void AddField(const ETabulonGridAxe& axe, unsigned int index);
    void BuildTable(std::uint32_t spareRecords);
    void BuildTotal();
    void Store(std::uint32_t record, std::uint32_t field, const ETabulonValue& value);

    const ITabulonCumulFuncOnVarCollection* functions_;  // not owned
    bool ownsResult_;
    EDataArray* result_ = nullptr;  // owned if ownsResult_
    std::byte* buffer_ = nullptr;   // all records; owned by the table
    std::uint32_t recordSize_ = 0;
    PTableau<Chaine> lineLabels_;
    std::uint32_t axeCount_ = 0;
    std::uint32_t axesReceived_ = 0;
    std::uint32_t leftOutColumns_ = 0;
    std::unique_ptr<EFieldSet> fieldSet_;
    PTableau<EFieldDesc> fieldDescs_;
    ETabulonDisplayMode displayMode_ = DisplayText;
};

}  // namespace etabulon
