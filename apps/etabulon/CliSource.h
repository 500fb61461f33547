#pragma once

#include "apps/etabulon/CliFailure.h"

#include <memory>
#include <string>

namespace etabulon {

class ESqliteSource;

/// Opens what SOURCE names, for reading only: an SQLite database, or a table of text, which is
/// loaded into memory. The content tells which, not the name. `separator` is that of a table of
/// text; 0 = the one that its first line has most of.
[[nodiscard]] std::unique_ptr<ESqliteSource> OpenSource(const std::string& path, char separator,
                                                        CliFailure& failure);

}  // namespace etabulon
