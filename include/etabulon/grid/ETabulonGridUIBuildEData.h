#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/values/ETabulonDisplayMode.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace etabulon {

class EData;
class EDataArray;
class ETabulonCumulFuncOnVar;
class ETabulonGridFiller;
class ETabulonTag;
class ETabulonValue;
class ETabulonVariableID;
class ITabulonCumulFuncOnVarCollection;

/// The view that makes a table of a grid: lines become records, columns become fields, and the
/// labels of the lines stay beside it. A grid of one axis is one record, a grid of none one field.
/// Totals of lines and columns don't reach the table.
///
/// Ownership  the calculations aren't owned. The table is, if `ownsResult` was given; otherwise it
///            is the caller's, who takes it before Reset. A copy has the settings and no table.
/// Threads    called under the filler's cursor lock; the table is then the caller's thread's.
/// Failure    none is reported. Requires the order and bounds of ITabulonResGridUI.
class ETABULON_API ETabulonGridUIBuildEData : public ITabulonResGridUI {
public:
    ETabulonGridUIBuildEData(const ITabulonCumulFuncOnVarCollection* functions, bool ownsResult)
        : functions_(functions), ownsResult_(ownsResult) {}
    ETabulonGridUIBuildEData(const ETabulonGridUIBuildEData& other);
    ETabulonGridUIBuildEData& operator=(const ETabulonGridUIBuildEData& other);
    ~ETabulonGridUIBuildEData() override;

    /// Null until all axes came.
    [[nodiscard]] EData* Result() const;
    /// One text for each record.
    [[nodiscard]] PTableau<Chaine> LinesLabels() const { return lineLabels_; }
    /// What labels and headers show. To be set before the axes come.
    [[nodiscard]] ETabulonDisplayMode DisplayMode() const noexcept { return displayMode_; }
    void SetDisplayMode(ETabulonDisplayMode mode) noexcept { displayMode_ = mode; }
    /// The variable and the position behind a cell of the table, of the grid that `filler` sent.
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
    std::byte* buffer_ = nullptr;   // of all records; the table's
    std::uint32_t recordSize_ = 0;
    PTableau<Chaine> lineLabels_;
    std::uint32_t axeCount_ = 0;
    std::uint32_t axesReceived_ = 0;
    std::unique_ptr<EFieldSet> fieldSet_;
    PTableau<EFieldDesc> fieldDescs_;
    ETabulonDisplayMode displayMode_ = DisplayText;
};

}  // namespace etabulon
