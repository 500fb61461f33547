#pragma once

#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "grid/GridCells.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// The index of the one calculation that a grid without intrinsic axes shows.
[[nodiscard]] unsigned int ShownCalculation(const ETabulonGridCumuls& desc);

/// Sends the values and totals of a grid with records, after its axes.
///
/// Results are sent as one value that is filled again, so that a view copies what it keeps.
class GridSender {
public:
    GridSender(const ETabulonGridCumuls& desc, const GridCells& cells,
               std::span<const ERef<ETabulonGridAxe>> axes, ITabulonResGridUI& view);
    void Send();

private:
    using Numbers = std::vector<std::uint32_t>;
    static constexpr int kNoCalculation = -1;

    // ---------------------------------------------- for one calculation: every axis is a data axis
    void SendData();
    void SendCell();
    void SendLine();
    void SendTable();
    void SendLines(const Numbers& lines, const Numbers& columns);
    void SendLine(unsigned int line, const Numbers& rows, const Numbers& columns);
    void SendTotal(ITabulonResGridUI::AxeDirection direction, unsigned int index,
                   std::uint32_t row);
    // -------------------------------------------------------------------- for several calculations
    void SendVarsAndFuncs();
    void SendIntrinsic();
    void SendIntrinsicColumns();
    void SendIntrinsicLine();

    [[nodiscard]] Numbers NumbersOf(unsigned int axe) const;
    [[nodiscard]] Numbers Root() const;
    void Put(Numbers& cell, unsigned int axe, std::uint32_t number) const;
    [[nodiscard]] std::vector<int> CalculationsOf(const ETabulonGridAxe& axe) const;
    [[nodiscard]] int CalculationOf(const Chaine& code) const;
    [[nodiscard]] const ETabulonValue& Result(std::uint32_t row, int calculation);

    const ETabulonGridCumuls& desc_;
    const GridCells& cells_;
    std::span<const ERef<ETabulonGridAxe>> axes_;
    ITabulonResGridUI& view_;
    int shown_;
    ETabulonValue result_;  // sent last
};

}  // namespace etabulon::detail
