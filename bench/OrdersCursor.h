#pragma once

#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon::bench {

/// A cursor on a table of the generated file, as a screen would build it: levels by column, and
/// only the columns read that these and `others` need.
class OrdersCursor {
public:
    OrdersCursor(std::int64_t rows, const char* table, const std::vector<const char*>& levels,
                 const std::vector<const char*>& others);
    [[nodiscard]] ETabulonCursorSql& Cursor() noexcept { return cursor_; }

private:
    std::unique_ptr<ESqliteSource> source_;
    ETabulonCursorSql cursor_;
};

}  // namespace etabulon::bench
