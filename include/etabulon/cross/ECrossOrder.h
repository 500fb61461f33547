#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <vector>

namespace etabulon {

/// The two axes of a result.
enum class ECrossSide : std::uint8_t { Lines = 0, Columns = 1 };

/// One of the keys by which the lines or columns of a result are sorted.
/// Example    examples/cross.cpp
struct ECrossKey {
    enum Source : std::uint8_t {
        Label = 0,  // the value at `level`, in the order of the sort description
        Total = 1,  // the line's (column's) total of `calculation`
        Cell = 2,   // its cell of `calculation` in the column (line) that `across` labels
    };
    Source source = Total;
    bool isFalling = false;
    unsigned int level = 0;
    unsigned int calculation = 0;
    /// Values of the other axis's levels, from its first level on without a gap. Where no column
    /// (line) has these labels, all cells are without a value.
    ETabulonTag across = {};
};

/// How the lines, or the columns, are arranged. On a nested axis siblings are sorted among each
/// other: keys of labels apply to the siblings of their level, the others at each depth.
/// Example    examples/cross.cpp
struct ECrossAxisOrder {
    static constexpr std::uint32_t kAll = 0xFFFFFFFF;

    /// In this order; entries that are equal in all of them stand in the order of their labels.
    std::vector<ECrossKey> keys = {};
    /// Entries of equal keys stand in the falling order of their labels.
    bool areTiesFalling = false;
    /// How many siblings are shown, by depth; depths without an entry show all.
    std::vector<std::uint32_t> most = {};
    /// The label of the siblings that `most` leaves out, put together in one line; empty: none.
    Chaine others = {};
    /// On a nested axis, a line for each label above the last level, after the lines that it sums
    /// up.
    bool hasSubtotals = true;

    [[nodiscard]] std::uint32_t MostAt(std::size_t depth) const noexcept {
        return depth < most.size() ? most[depth] : kAll;
    }
};

/// How a result is arranged.
/// Example    examples/cross.cpp
struct ECrossOrder {
    ECrossAxisOrder lines = {};
    ECrossAxisOrder columns = {};
};

}  // namespace etabulon
