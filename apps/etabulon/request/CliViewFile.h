#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon {

/// The value of an option in a saved view.
struct CliViewValue {
    enum Kind : std::uint8_t { Text = 0, List = 1, Number = 2, Flag = 3 };
    Kind kind = Text;
    std::vector<std::string> texts = {};  // one, or those of a list; of a flag true or false
    std::size_t line = 0;                 // of the file that it was read from, from 1; 0: of none
    bool isPath = false;                  // of a file
    bool isRelative = false;              // the path is written relative to the folder of the view
};

/// Keys with their values, in the order of the file.
using CliViewValues = std::vector<std::pair<std::string, CliViewValue>>;

/// What a file with a saved view holds: an object of JSON.
struct CliViewFile {
    static constexpr std::int64_t kVersion = 1;  // what "version" must be

    /// The keys in an object of their own, which are meant for one command.
    struct Part {
        std::string command;
        std::size_t line = 0;
        CliViewValues values;
    };
    CliViewValues shared;  // by all commands
    std::vector<Part> parts;

    /// Null where there is none.
    [[nodiscard]] const CliViewValue* Find(std::string_view command, std::string_view key) const;
    /// The value of a key among the shared ones, or if `command` isn't empty in its part.
    void Set(std::string_view command, std::string_view key, CliViewValue value);
    void Remove(std::string_view command, std::string_view key);

private:
    [[nodiscard]] const CliViewValues* ValuesOf(std::string_view command) const;
    [[nodiscard]] CliViewValues* ValuesOf(std::string_view command) {
        return const_cast<CliViewValues*>(std::as_const(*this).ValuesOf(command));
    }
};

/// Reads a regular file of at most 1 MB. What the keys mean isn't known here; the failure names
/// file, line and key.
[[nodiscard]] CliResult<CliViewFile> ReadViewFile(const std::string& path);

/// The text of a file with this view, which is to stand at `path`. Fails for what JSON can't hold.
[[nodiscard]] CliResult<std::string> WriteViewFile(const CliViewFile& file,
                                                   const std::string& path);

/// Begins a message about a line of the file.
[[nodiscard]] std::string InViewFile(const std::string& path, std::size_t line);

}  // namespace etabulon
