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
/// The first words of a script's lines.
inline constexpr std::array<std::pair<std::string_view, CliEditKind>, 3> kCliEditWords = {
    {{"set", CliEditKind::Set}, {"insert", CliEditKind::Insert}, {"delete", CliEditKind::Delete}}};

/// The text without the blanks at its ends.
[[nodiscard]] std::string_view Trimmed(std::string_view text);
[[nodiscard]] std::string_view WordOf(CliEditKind kind) noexcept;

// The functions below write texts that ParseEdit, ParseScript and the other parsers read back.

/// A value as text. An empty text stays empty, the text NULL is quoted.
[[nodiscard]] std::string WrittenWord(std::string_view text);
/// A value of a column, in the form that ReadValue reads back with the column's type.
[[nodiscard]] std::string WrittenValue(const EVariant& value);
/// The name of a column, a link or a table.
[[nodiscard]] std::string WrittenName(std::string_view name);
[[nodiscard]] std::string WrittenPath(const std::vector<CliPathStep>& steps);
/// A line of a script without its line end.
[[nodiscard]] std::string WrittenEdit(const CliEditChoice& edit);

}  // namespace etabulon
