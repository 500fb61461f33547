#pragma once

#include "etabulon/sql/ESqlError.h"

#include <cstdint>

struct sqlite3;

namespace etabulon {

/// The status for an (extended) result code of SQLite.
[[nodiscard]] std::int32_t SqliteStatus(int code) noexcept;
/// The error for `code`, with the last message of `database`, which may be null.
[[nodiscard]] ESqlError SqliteError(const Chaine& location, sqlite3* database, int code);

}  // namespace etabulon
