#pragma once

#include "apps/etabulon/request/CliPath.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon {

class EVariant;

inline constexpr std::string_view kCliBlanks = " \t";
inline constexpr std::string_view kCliBackward = "\xC2\xBB";  // » in UTF-8
/// The words that begin the lines of a script.
inline constexpr std::array<std::pair<std::string_view, CliEditKind>, 3> kCliEditWords = {
    {{"set", CliEditKind::Set}, {"insert", CliEditKind::Insert}, {"delete", CliEditKind::Delete}}};

/// Without the blanks at its ends.
[[nodiscard]] std::string_view Trimmed(std::string_view text);
[[nodiscard]] std::string_view WordOf(CliEditKind kind) noexcept;

// What follows writes so that ParseEdit, ParseScript and the others read the same again.

/// A value. An empty text is nothing, a text NULL stands in quotes.
[[nodiscard]] std::string WrittenWord(std::string_view text);
/// A value of a column, as places and edits are given it: with its type it is read as the same.
[[nodiscard]] std::string WrittenValue(const EVariant& value);
/// The name of a column, a link or a table.
[[nodiscard]] std::string WrittenName(std::string_view name);
[[nodiscard]] std::string WrittenPath(const std::vector<CliPathStep>& steps);
/// A line of a script without its end.
[[nodiscard]] std::string WrittenEdit(const CliEditChoice& edit);

}  // namespace etabulon
