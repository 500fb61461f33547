#include "etabulon/report/EReportText.h"

#include "etabulon/foundation/detail/Utf8.h"
#include "etabulon/report/EReportCell.h"
#include "etabulon/report/EReportWidth.h"

#include <algorithm>
#include <array>

namespace etabulon {
namespace {

struct CodeRange {
    char32_t first;
    char32_t last;
};

/// Control characters, marks that turn the writing direction, Unicode line ends, and what is no
/// character.
constexpr std::array kControl = {
    CodeRange{0x00, 0x1F},     CodeRange{0x7F, 0x9F},     CodeRange{0x061C, 0x061C},
    CodeRange{0x200E, 0x200F}, CodeRange{0x2028, 0x202E}, CodeRange{0x2066, 0x2069},
    CodeRange{0xFEFF, 0xFEFF}, CodeRange{0xFFFE, 0xFFFF},
};

template <std::size_t count>
bool IsIn(const std::array<CodeRange, count>& ranges, char32_t code) noexcept {
    return std::any_of(ranges.begin(), ranges.end(), [code](const CodeRange& range) {
        return code >= range.first && code <= range.last;
    });
}

void AppendEscape(std::string& shown, std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(1)) {
        switch (bytes.front()) {
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
                shown += "\\x";
                AppendHex(shown, bytes.substr(0, 1));
                break;
        }
    }
}

/// The length of the plain front of a text.
std::size_t PlainFront(std::string_view text) noexcept {
    const auto end = std::find_if_not(text.begin(), text.end(), IsPlainByte);
    const auto length = static_cast<std::size_t>(end - text.begin());
    // A mark behind the last one would belong to it.
    return length != 0 && length != text.size() ? length - 1 : length;
}

}  // namespace

bool IsPlainByte(char c) noexcept { return c >= ' ' && c < '\x7F'; }

bool IsUtf8(std::string_view text) noexcept {
    while (!text.empty()) {
        const std::size_t length = detail::FirstCharacter(text).length;
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool IsControl(char32_t code) noexcept { return IsIn(kControl, code); }

std::size_t AppendShown(std::string& shown, std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        if (const std::size_t plain = PlainFront(text); plain != 0) {
            shown.append(text.substr(0, plain));
            width += plain;
            text.remove_prefix(plain);
            continue;
        }
        // A character that is escaped is a cluster of its own.
        const EReportCluster cluster = FirstCluster(text);
        const detail::Utf8Character first = detail::FirstCharacter(text);
        if (first.length == 0 || IsControl(first.code)) {
            const std::size_t before = shown.size();
            AppendEscape(shown, text.substr(0, cluster.length));
            width += shown.size() - before;
        } else {
            shown.append(text.substr(0, cluster.length));
            width += cluster.width;
        }
        text.remove_prefix(cluster.length);
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

}  // namespace etabulon
