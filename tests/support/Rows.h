#pragma once

#include <array>

namespace etabulon::test {

/// The rows of a table of cases. As arguments of a call they stand several to a line.
template <class Row, class... More>
std::array<Row, 1 + sizeof...(More)> Rows(Row row, More... more) {
    return {row, more...};
}

}  // namespace etabulon::test
