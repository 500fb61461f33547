#pragma once

#include "etabulon/foundation/Chaine.h"

#include <string>
#include <string_view>

namespace etabulon {

/// The code of a database name: letters, digits and `_` stay; any other byte and a leading digit
/// become %XX. The empty name is "%00". Codes are ASCII, and SqlNameOfCode inverts them.
[[nodiscard]] ETABULON_API Chaine SqlCode(std::string_view name);
/// The inverse of SqlCode; false if SqlCode never writes `code`.
[[nodiscard]] ETABULON_API bool SqlNameOfCode(const Chaine& code, std::string& name);

/// Appends `name` as a quoted identifier with its quotes doubled. False, and nothing appended, if
/// the name contains a NUL, which a statement can't.
[[nodiscard]] ETABULON_API bool SqlQuote(std::string& statement, std::string_view name);

}  // namespace etabulon
