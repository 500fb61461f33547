#pragma once

#include "etabulon/foundation/Chaine.h"

#include <string>
#include <string_view>

namespace etabulon {

/// The code of a database name: letters, digits and `_` stay; any other byte and a leading digit
/// become %XX. The empty name is "%00". Codes are ASCII, and SqlNameOfCode gives the name back.
[[nodiscard]] ETABULON_API Chaine SqlCode(std::string_view name);
/// The inverse of SqlCode; false where `code` isn't one that SqlCode writes.
[[nodiscard]] ETABULON_API bool SqlNameOfCode(const Chaine& code, std::string& name);

/// Appends `name` as a quoted identifier, its quotes doubled. False, and nothing appended, where it
/// holds a NUL, which no statement can.
[[nodiscard]] ETABULON_API bool SqlQuote(std::string& statement, std::string_view name);

}  // namespace etabulon
