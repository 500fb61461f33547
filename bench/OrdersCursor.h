#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EDataColumns.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon::bench {

/// Where the records of a cursor are.
enum class Held : std::uint8_t { InFile = 0, InColumns = 1 };

/// A cursor on a table of the generated files, as a screen would build it: levels by column, and
/// only the columns read that these and `others` need.
class OrdersCursor {
public:
    OrdersCursor(std::int64_t rows, const char* table, const std::vector<const char*>& levels,
                 const std::vector<const char*>& others, Held held = Held::InFile);
    [[nodiscard]] ETabulonCursor& Cursor() noexcept { return *cursor_; }

private:
    std::unique_ptr<ESqliteSource> source_;
    std::unique_ptr<ETabulonCursor> cursor_;
};

/// All columns of the table `orders`, loaded from the file.
[[nodiscard]] std::unique_ptr<EDataColumns> LoadOrders(std::int64_t rows);

}  // namespace etabulon::bench
