#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A step as written: `name`, `table.name`, or either in double quotes.
struct CliPathStep {
    std::optional<std::string> table;  // where quotes tell it from the name
    std::string name;                  // may still hold "table." where it wasn't quoted
    bool isQuoted = false;
    char mark = 0;  // behind it: kLinkForward, kLinkBackward, or 0 for the last
};

/// A variable as written: `airport>state>name`.
struct CliPath {
    std::string shown;
    std::vector<CliPathStep> steps;
};

/// A level as written: `path`, or `path:label`.
struct CliLevelChoice {
    std::string shown;
    CliPath data;
    std::optional<CliPath> label;
};

/// A value of a level as written: `path=value`.
struct CliPlaceChoice {
    CliPath path;
    std::string value;
    bool isQuoted = false;
};

/// A value as written.
struct CliWordChoice {
    std::string text;
    bool isQuoted = false;
};

enum class CliEditKind : std::uint8_t { Set = 0, Insert = 1, Delete = 2 };

/// An edit as written: `place:column=value`, or only a place for an insert or a delete.
struct CliEditChoice {
    CliEditKind kind = CliEditKind::Set;
    std::vector<CliPlaceChoice> places;
    CliPath column;
    CliWordChoice value;
};

/// An edit of a script, and the line that it begins on.
struct CliScriptEdit {
    std::size_t line = 0;
    CliEditChoice edit;
};

/// Read what `--levels`, `--columns`, `--at` and `--drill` are given: lists with commas. Blanks
/// around names and values don't count. A name or value that holds what has a meaning here stands
/// in double quotes, its own quotes doubled. A blank list is empty.
[[nodiscard]] CliResult<std::vector<CliLevelChoice>> ParseLevels(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliPath>> ParsePaths(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliPlaceChoice>> ParsePlaces(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliWordChoice>> ParseWords(std::string_view text);

/// Reads what `--set`, `--insert` and `--delete` are given. Only a set may be without a place: what
/// concerns all records is to be meant.
[[nodiscard]] CliResult<CliEditChoice> ParseEdit(CliEditKind kind, std::string_view text);
/// Reads a script: `set`, `insert` or `delete` and what that option is given, one a line. Line ends
/// in quotes are part of a text; blank lines and those that begin with # don't count. A
/// failure names its line.
[[nodiscard]] CliResult<std::vector<CliScriptEdit>> ParseScript(std::string_view text);

}  // namespace etabulon
