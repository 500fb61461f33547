#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/values/fwd.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace etabulon {

enum class EReportKind : std::uint8_t {
    Null = 0,
    Number = 1,     // decimal, finite
    Boolean = 2,    // "true" or "false"
    Text = 3,       // dates and times too
    Bytes = 4,      // not text: the bytes themselves
    Absent = 5,     // of a result: there was no value to calculate it from
    Differing = 6,  // of a result: COMMONVAL found values that differ
};

/// What kind of number or text a cell has, for formats that have types of their own for them.
enum class EReportForm : std::uint8_t {
    None = 0,
    Whole = 1,     // a number of a whole type
    Real = 2,      // a number of any other type
    Date = 3,      // the text is 2001-02-09
    Time = 4,      // 12:30:00, or 12:30:00.500
    DateTime = 5,  // both, with a blank between them
    Drawing = 6,   // a picture made of characters, such as a bar
};

/// A value as the formats see it. The text is borrowed until its maker makes the next cell.
struct EReportCell {
    EReportKind kind = EReportKind::Null;
    std::string_view text;
    std::uint32_t indent = 0;  // of a node in a tree, in blanks; only formats for people show it
    EReportForm form = EReportForm::None;
};

/// Stands for values that differ in the formats that have no notation of their own for them.
inline constexpr std::string_view kDiffering = "\xE2\x89\xA0";  // ≠ in UTF-8

/// An empty text, or one that a reader could take for NULL, for values that differ, or for a quoted
/// text. Such a text is quoted where it stands alone.
[[nodiscard]] ETABULON_API bool IsMistakable(std::string_view text) noexcept;

/// A share in percent, rounded to two decimals; ValNull for none.
[[nodiscard]] ETABULON_API ETabulonValue ReportPercent(const std::optional<double>& share);

/// Makes cells of values without allocating for each.
/// Example    adapters/report/src/EReportCell.cpp
class ETABULON_API EReportCellMaker {
public:
    [[nodiscard]] EReportCell Of(const EVariant& value);
    [[nodiscard]] EReportCell Of(std::int64_t number);
    /// The cell of a result.
    [[nodiscard]] EReportCell Of(const ETabulonValue& value);
    [[nodiscard]] static EReportCell Of(bool value) noexcept {
        return {EReportKind::Boolean, value ? "true" : "false"};
    }
    [[nodiscard]] static EReportCell Of(const std::string& text) noexcept {
        return Of(std::string_view(text));
    }
    [[nodiscard]] static EReportCell Of(std::string_view text) noexcept {
        return {EReportKind::Text, text};
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
