#pragma once

#include "etabulon/foundation/EExport.h"

#include <string>

namespace etabulon {

/// Installs ICU's order of `locale` as the locale order of the whole process. It ignores case and
/// compares accents. Chaine::SetLocaleOrder(nullptr, nullptr) restores the library's own order.
///
/// Locale     as ICU and POSIX write them: "fr", "fr_CA", "de-u-co-phonebk", "cs_CZ.UTF-8"; "" for
///            ICU's root order; null for the user's locale. A language without an order of its own
///            has the root order.
/// Order      texts are equal if they differ only by case, or by characters that the order ignores,
///            such as control characters, NUL included. Bytes that aren't UTF-8 sort above all
///            letters, by their value. Of a text longer than 64 MiB only the first 64 MiB count.
/// Threads    install before any tree is filled and any thread started; the order itself may then
///            be used from any thread.
/// Failure    false with `error` for an unknown language, and for a locale that ICU refuses; the
///            order stays unchanged. If memory runs out, std::bad_alloc.
/// Memory     one collator for each installed locale, until the end of the process.
[[nodiscard]] ETABULON_API bool InstallIcuLocaleOrder(const char* locale, std::string& error);

}  // namespace etabulon
