#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <string>
#include <vector>

namespace etabulon {

/// A file of a folder that is a source: a table of text, or JSON lines.
struct CliFolderFile {
    std::string table;  // the name of its table; of several with one name that of the file
    std::string path;
};

[[nodiscard]] bool IsFolder(const std::string& path);

/// The files in a folder whose names end as those of tables of text and JSON lines do, by name.
/// Fails if there are none.
[[nodiscard]] CliResult<std::vector<CliFolderFile>> FilesOf(const std::string& folder);

/// The file of a table, which may also be named as the file is. An empty name means the only one.
[[nodiscard]] CliResult<CliFolderFile> FindFile(const std::string& folder,
                                                const std::string& table);

}  // namespace etabulon
