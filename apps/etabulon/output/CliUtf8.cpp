#include "apps/etabulon/output/CliUtf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace etabulon {
namespace {

struct CodeRange {
    char32_t first;
    char32_t last;
};

/// The common ranges only: terminals themselves disagree about the rest.
constexpr std::array kWide = {
    CodeRange{0x1100, 0x115F},   CodeRange{0x2E80, 0x303E},   CodeRange{0x3041, 0x33FF},
    CodeRange{0x3400, 0x4DBF},   CodeRange{0x4E00, 0x9FFF},   CodeRange{0xA000, 0xA4CF},
    CodeRange{0xAC00, 0xD7A3},   CodeRange{0xF900, 0xFAFF},   CodeRange{0xFE30, 0xFE6F},
    CodeRange{0xFF00, 0xFF60},   CodeRange{0xFFE0, 0xFFE6},   CodeRange{0x1F300, 0x1F64F},
    CodeRange{0x1F680, 0x1F6FF}, CodeRange{0x1F900, 0x1F9FF}, CodeRange{0x20000, 0x3FFFD},
};
constexpr std::array kNoWidth = {
    CodeRange{0x0300, 0x036F}, CodeRange{0x200B, 0x200D}, CodeRange{0x20D0, 0x20FF},
    CodeRange{0xFE00, 0xFE0F}, CodeRange{0xFE20, 0xFE2F},
};
/// Control characters, marks that turn the writing direction, and Unicode line ends.
constexpr std::array kControl = {
    CodeRange{0x00, 0x1F},     CodeRange{0x7F, 0x9F},     CodeRange{0x200E, 0x200F},
    CodeRange{0x2028, 0x202E}, CodeRange{0x2066, 0x2069}, CodeRange{0xFEFF, 0xFEFF},
};

template <std::size_t count>
bool IsIn(const std::array<CodeRange, count>& ranges, char32_t code) noexcept {
    return std::any_of(ranges.begin(), ranges.end(), [code](const CodeRange& range) {
        return code >= range.first && code <= range.last;
    });
}

void AppendEscape(std::string& shown, std::string_view bytes) {
    for (const char byte : bytes) {
        switch (byte) {
            case '\n':
                shown += "\\n";
                break;
            case '\t':
                shown += "\\t";
                break;
            case '\r':
                shown += "\\r";
                break;
            default:
                fmt::format_to(std::back_inserter(shown), "\\x{:02x}",
                               static_cast<unsigned char>(byte));
                break;
        }
    }
}

}  // namespace

bool IsUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        const std::size_t length = FirstCharacter(text).length;
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::size_t WidthOf(char32_t code) noexcept {
    if (code < kNoWidth.front().first) {
        return 1;
    }
    if (IsIn(kNoWidth, code)) {
        return 0;
    }
    return IsIn(kWide, code) ? 2 : 1;
}

bool IsControl(char32_t code) noexcept { return IsIn(kControl, code); }

std::size_t AppendShown(std::string& shown, std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        const detail::Utf8Character character = FirstCharacter(text);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        if (character.length == 0 || IsControl(character.code)) {
            const std::size_t before = shown.size();
            AppendEscape(shown, text.substr(0, length));
            width += shown.size() - before;
        } else {
            shown.append(text.substr(0, length));
            width += WidthOf(character.code);
        }
        text.remove_prefix(length);
    }
    return width;
}

std::size_t AppendInQuotes(std::string& shown, std::string_view text) {
    shown += '"';
    std::size_t width = 2;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t special = std::min(text.find_first_of("\"\\", from), text.size());
        width += AppendShown(shown, text.substr(from, special - from));
        if (special < text.size()) {
            shown += '\\';
            shown += text[special];
            width += 2;
        }
        from = special + 1;
    }
    shown += '"';
    return width;
}

std::string Quoted(std::string_view name) {
    std::string shown = "'";
    AppendShown(shown, name);
    shown += '\'';
    return shown;
}

}  // namespace etabulon
