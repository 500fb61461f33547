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
    std::optional<std::string> table;  // if quotes separate it from the name
    std::string name;                  // an unquoted name may still begin with "table."
    bool isQuoted = false;
    char mark = 0;  // that follows: kLinkForward, kLinkBackward, or 0 behind the last step
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

/// A key of an order as written: `path`, `FUNCTION:column` or `level=value`, then `:asc` or
/// `:desc`.
struct CliOrderChoice {
    std::string shown;  // without the direction
    CliPath data;
    std::optional<CliPath> operand;
    std::optional<CliWordChoice> value;
    std::optional<bool> isFalling;
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

/// Read the texts of `--levels`, `--columns`, `--at` and `--drill`: lists with commas. Blanks
/// around names and values don't count. A name or value that contains a character with a meaning is
/// written in double quotes, and a quote in it is doubled. A blank list is empty.
[[nodiscard]] CliResult<std::vector<CliLevelChoice>> ParseLevels(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliPath>> ParsePaths(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliPlaceChoice>> ParsePlaces(std::string_view text);
[[nodiscard]] CliResult<std::vector<CliWordChoice>> ParseWords(std::string_view text);

/// Reads the texts of `--sort` and its like. Unquoted, asc and desc behind a colon are directions.
[[nodiscard]] CliResult<std::vector<CliOrderChoice>> ParseOrder(std::string_view text);

/// Reads the text of `--set`, `--insert` or `--delete`. Only a set may lack a place: its colon
/// shows that the user means all records.
[[nodiscard]] CliResult<CliEditChoice> ParseEdit(CliEditKind kind, std::string_view text);
/// Reads a script. A line is `set`, `insert` or `delete`, followed by the text of that option. Line
/// ends within quotes belong to the text; blank lines and lines that begin with # don't count. A
/// failure has the number of its line.
[[nodiscard]] CliResult<std::vector<CliScriptEdit>> ParseScript(std::string_view text);

}  // namespace etabulon
