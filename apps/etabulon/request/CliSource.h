#pragma once

#include "apps/etabulon/request/CliCsvOptions.h"
#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "apps/etabulon/request/CliTables.h"
#include "etabulon/sql/ESqlSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace etabulon {

/// Asked again and again while a table of text is read, with the bytes that were read of how many;
/// false cancels.
using CliGoesOn = std::function<bool(std::uint64_t read, std::uint64_t of)>;

/// SOURCE for the table of text on standard input.
inline constexpr std::string_view kStandardInput = "-";

/// Opens a SOURCE: an SQLite database, or a table of text, which is read into memory by columns and
/// can't be opened for writing. The file's content decides which it is, not its name. `csv` says
/// how a table of text is written. Standard input is read only once, and for reading only.
[[nodiscard]] CliResult<std::unique_ptr<CliTables>> OpenSource(const std::string& path,
                                                               const CliCsvOptions& csv,
                                                               ESqlOpenMode mode,
                                                               const CliGoesOn& goesOn);

/// A table, with the source and the dictionary that it belongs to.
struct CliOpenTable {
    std::unique_ptr<CliTables> source;
    std::unique_ptr<const CliDictionary> dictionary;
    CliTable table;
};
/// An empty name means the only table of the source.
[[nodiscard]] CliResult<CliOpenTable> FindTableIn(std::unique_ptr<CliTables> source,
                                                  const std::string& name);

}  // namespace etabulon
