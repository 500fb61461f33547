#pragma once

#include <initializer_list>
#include <tuple>

namespace etabulon::test {

/// Cases in rows: for (const auto& [given, expected] : Table<int, int>{{1, 2}, {3, 4}}).
template <class... Columns>
using Table = std::initializer_list<std::tuple<Columns...>>;

}  // namespace etabulon::test
