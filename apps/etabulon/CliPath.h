#pragma once

#include "apps/etabulon/CliFailure.h"

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

/// Read what `--levels`, `--columns`, `--at` and `--drill` are given: lists with commas. Blanks
/// around names and values don't count. A name or value that holds what has a meaning here stands
/// in double quotes, its own quotes doubled. A blank list is empty.
[[nodiscard]] bool ParseLevels(std::string_view text, std::vector<CliLevelChoice>& levels,
                               CliFailure& failure);
[[nodiscard]] bool ParsePaths(std::string_view text, std::vector<CliPath>& paths,
                              CliFailure& failure);
[[nodiscard]] bool ParsePlaces(std::string_view text, std::vector<CliPlaceChoice>& places,
                               CliFailure& failure);
[[nodiscard]] bool ParseWords(std::string_view text, std::vector<CliWordChoice>& words,
                              CliFailure& failure);

}  // namespace etabulon
