#pragma once

#include "etabulon/foundation/EVariant.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace etabulon {

class ETabulonValue;

enum class CliCellKind : std::uint8_t {
    Null = 0,
    Number = 1,     // decimal, finite
    Boolean = 2,    // "true" or "false"
    Text = 3,       // dates and times too
    Bytes = 4,      // not text: the bytes themselves
    Absent = 5,     // of a result: there was no value to calculate it from
    Differing = 6,  // of a result: COMMONVAL found values that differ
};

/// A value as the formats see it. The text is borrowed until its maker makes the next cell.
struct CliCell {
    CliCellKind kind = CliCellKind::Null;
    std::string_view text;
    std::uint32_t indent = 0;  // of a node in a tree; only the table format shows an indent
};

/// Stands for values that differ in the formats that have no notation of their own for them.
inline constexpr std::string_view kDiffering = "\xE2\x89\xA0";  // ≠ in UTF-8

/// An empty text, or one that a reader could take for NULL, for values that differ, or for a quoted
/// text. Such a text is quoted where it stands alone.
[[nodiscard]] bool IsMistakable(std::string_view text) noexcept;

/// A share in percent, rounded to two decimals; ValNull for none.
[[nodiscard]] ETabulonValue CliPercent(const std::optional<double>& share);

/// Makes cells of values without allocating for each.
class CliCellMaker {
public:
    [[nodiscard]] CliCell Of(const EVariant& value);
    [[nodiscard]] CliCell Of(std::int64_t number);
    /// The cell of a result.
    [[nodiscard]] CliCell Of(const ETabulonValue& value);
    [[nodiscard]] static CliCell Of(bool value) noexcept {
        return {CliCellKind::Boolean, value ? "true" : "false"};
    }
    [[nodiscard]] static CliCell Of(const std::string& text) noexcept {
        return Of(std::string_view(text));
    }
    [[nodiscard]] static CliCell Of(std::string_view text) noexcept {
        return {CliCellKind::Text, text};
    }

private:
    std::array<char, 24> digits_{};
    EVariant text_{Chaine()};  // refilled in place
};

/// Appends bytes as lower-case hexadecimal digits to a string or an output.
template <class Output>
void AppendHex(Output& output, std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (const char byte : bytes) {
        const auto number = static_cast<unsigned char>(byte);
        const std::array<char, 2> pair = {kDigits[number >> 4U], kDigits[number & 0xFU]};
        if constexpr (requires { output.append(pair.data(), pair.size()); }) {
            output.append(pair.data(), pair.size());
        } else {
            output.Append(std::string_view(pair.data(), pair.size()));
        }
    }
}

}  // namespace etabulon
