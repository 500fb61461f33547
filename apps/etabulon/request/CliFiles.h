#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// Reads a whole file. Returns false with errno set.
[[nodiscard]] bool ReadWholeFile(const std::string& path, std::string& text);

/// The files that a run reads and writes. None of them may replace another one, however their paths
/// are spelled.
///
/// A file is that of its inode; one that isn't there yet is its name in the inode of its folder.
class CliFilesInUse {
public:
    /// The run reads this file by an option. Fails where it writes the same file.
    [[nodiscard]] CliResult<> Read(std::string_view option, const std::string& path);
    /// The run reads this source. The files that SQLite keeps beside a database are a part of it,
    /// whether they are there or not.
    [[nodiscard]] CliResult<> ReadSource(const std::string& path);
    /// The run reads standard input, which may be a file.
    [[nodiscard]] CliResult<> ReadInput();
    /// The run writes this file in the end. Fails where it reads or writes the same file by an
    /// option other than `replaced`.
    [[nodiscard]] CliResult<> Write(std::string_view option, const std::string& path,
                                    std::string_view replaced = {});

private:
    struct File {
        std::string option;
        std::string path;
        bool isWritten = false;
        dev_t device = 0;
        ino_t number = 0;
        std::string name = {};  // of a file that isn't there yet, in the folder of that number
    };
    [[nodiscard]] CliResult<> Find(File file, std::string_view replaced);
    [[nodiscard]] CliResult<> Add(File file, std::string_view replaced);

    std::vector<File> files_;
};

}  // namespace etabulon
