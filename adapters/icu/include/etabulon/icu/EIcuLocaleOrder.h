#pragma once

#include "etabulon/foundation/EExport.h"

#include <string>

namespace etabulon {

/// Installs ICU's order of `locale` as the locale order of the whole process, case ignored and
/// accents counted. Chaine::SetLocaleOrder(nullptr, nullptr) brings the library's own back.
///
/// Locale     as ICU and POSIX write them: "fr", "fr_CA", "de-u-co-phonebk", "cs_CZ.UTF-8"; "" for
///            the order of no language; null for that of the user. A language without an order of
///            its own has that of none.
/// Order      texts are equal if they differ by case only, or by characters that the order ignores,
///            such as control characters, NUL included. Bytes that aren't UTF-8 stand above all
///            letters, by their value. Of a text longer than 64 MiB the first 64 MiB count.
/// Threads    install before any tree is filled and any thread started; the order itself may then
///            be used from any thread.
/// Failure    false with `error`, and the order stays as it was: no such language, or a locale that
///            ICU refuses.
/// Memory     a collator lives to the end of the process, one for each locale installed.
[[nodiscard]] ETABULON_API bool InstallIcuLocaleOrder(const char* locale, std::string& error);

}  // namespace etabulon
