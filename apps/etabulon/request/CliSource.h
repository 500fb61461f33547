#pragma once

#include "apps/etabulon/request/CliFailure.h"

#include <cstdint>
#include <memory>
#include <string>

namespace etabulon {

class ESqliteSource;
enum class ESqlOpenMode : std::uint8_t;

/// Opens what SOURCE names: an SQLite database, or a table of text, which is loaded into memory and
/// can't be opened for writing. The content tells which, not the name. `separator` is that of a
/// table of text; 0 = the one that its first line has most of.
[[nodiscard]] std::unique_ptr<ESqliteSource> OpenSource(const std::string& path, char separator,
                                                        ESqlOpenMode mode, CliFailure& failure);

}  // namespace etabulon
