#pragma once

#include "etabulon/cross/ECrossOrder.h"
#include "etabulon/cross/fwd.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/score/fwd.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace etabulon {

class ETabulonCumulFunc;

/// A line or a column of an arranged result.
struct ECrossEntry {
    enum Part : std::uint8_t {
        Detail = 0,    // a whole label
        Subtotal = 1,  // of all that its label, which ends above the last level, has below it
        Others = 2,    // of the labels below its label that aren't shown; at depth 0, of the axis
    };
    Part part = Detail;
    std::uint32_t depth = 0;  // how many of the axis's levels its label has
};

/// What a share is a share of.
enum class ECrossBase : std::uint8_t { Line = 0, Column = 1, All = 2 };

/// A result in an order of its own: a ranking or a cross table with its lines and columns sorted,
/// limited, and nested. The core's own orders stay as they are; this stands beside them.
///
/// Every line and every column is the result of its own records. None is merged with another one:
/// labels that compare as equal have a line each.
///
/// Ownership  shares the result with its filler, and keeps it when the filler drops it. Several
///            tables may be made of one result. The filler itself may go.
/// Threads    the constructors take the cursor's lock. Reading takes none and must not meet a walk
///            that fills this result: const operations fill caches.
/// Cost       sorts indexes and copies no result. Reading allocates nothing per cell.
class ETABULON_API ECrossTable {
public:
    /// The index of an axis's total.
    static constexpr std::uint32_t kTotal = 0xFFFFFFFF;

    /// Requires that a walk has reset the filler.
    ECrossTable(const ECrossFiller& filler, const ECrossOrder& order);
    /// Labels of several levels are one depth of the lines. There are no columns.
    ECrossTable(const ETabulonScoreFiller& filler, const ECrossOrder& order);
    ECrossTable(ECrossTable&&) noexcept;
    ECrossTable& operator=(ECrossTable&&) noexcept;
    ~ECrossTable();

    [[nodiscard]] bool IsEmpty() const noexcept;
    [[nodiscard]] unsigned int CalculationCount() const noexcept;
    /// How many levels the axis has below each other; 0: there is no such axis.
    [[nodiscard]] std::uint32_t Depth(ECrossSide side) const noexcept;
    [[nodiscard]] std::uint32_t Count(ECrossSide side) const noexcept;
    /// Requires index < Count(side).
    [[nodiscard]] ECrossEntry Entry(ECrossSide side, std::uint32_t index) const;
    /// The root and the entry's label, into a tag whose memory is reused.
    void ReadLabel(ECrossSide side, std::uint32_t index, ETabulonTag& label) const;

    /// Whether the axis has a label with the tag's values at its levels, from the first on, shown
    /// or not.
    [[nodiscard]] bool HasLabel(ECrossSide side, const ETabulonTag& tag) const;

    /// A cell, a total or a subtotal; ValNull without records. Without columns the column is
    /// kTotal. Others are merged: CumulPartial.h tells what that gives. If
    /// a calculation is a function of an application, others have no values: ValNull.
    void ReadValue(std::uint32_t line, std::uint32_t column, unsigned int calculation,
                   ETabulonValue& value) const;
    /// Whether the results of a function can be shares of a total: those of COUNT, COUNTVAL and
    /// SUM.
    [[nodiscard]] static bool HasShares(const ETabulonCumulFunc& function);
    /// In percent. None where there is no value, or the base is 0. Requires a calculation that
    /// HasShares.
    [[nodiscard]] std::optional<double> Share(std::uint32_t line, std::uint32_t column,
                                              unsigned int calculation, ECrossBase base) const;
    /// The share of the total that the line and those before it make together; subtotals aren't
    /// counted, and have none. A line without a value adds nothing.
    [[nodiscard]] std::optional<double> RunningShare(std::uint32_t line,
                                                     unsigned int calculation) const;
    /// The records behind a cell or total.
    [[nodiscard]] ECrossSelection Selection(std::uint32_t line, std::uint32_t column) const;

    /// Sends the lines and the total. Requires a result without columns.
    void SendTo(ITabulonResScoreUI* view) const;
    /// Sends the axes, cells and totals of one calculation. On a nested axis an entry's label names
    /// the labels above it too.
    void SendTo(ITabulonResGridUI* view, unsigned int calculation) const;

private:
    struct Parts;
    [[nodiscard]] static ERef<detail::CrossCells> CellsOf(const ETabulonScoreFiller& filler);
    ECrossTable(ERef<detail::CrossCells> cells, const ECrossOrder& order);
    [[nodiscard]] ERef<ETabulonGridAxe> MakeAxe(ECrossSide side) const;

    std::unique_ptr<Parts> parts_;
};

/// Which records lie behind a cell: those below a tag, and of them, behind a cell of others, those
/// whose labels aren't shown.
///
/// Ownership  shares the result. Threads  one at a time: Has uses scratch memory.
class ETABULON_API ECrossSelection {
public:
    [[nodiscard]] const ETabulonTag& Tag() const noexcept { return tag_; }
    /// Whether a record below Tag(), with a value for each level of the axes, is one of them.
    [[nodiscard]] bool Has(const ETabulonTag& record) const;
    ECrossSelection(const ECrossSelection&);
    ECrossSelection(ECrossSelection&&) noexcept;
    ECrossSelection& operator=(const ECrossSelection&) = delete;
    ~ECrossSelection();

private:
    friend class ECrossTable;
    /// Labels of one depth that are shown elsewhere.
    struct Shown {
        ECrossSide side;
        std::uint32_t depth;
        std::vector<bool> nodes;
    };
    explicit ECrossSelection(ERef<detail::CrossCells> cells);

    ETabulonTag tag_;
    std::vector<Shown> shown_;
    mutable std::vector<std::uint32_t> numbers_;  // scratch
    ERef<detail::CrossCells> cells_;
};

}  // namespace etabulon
