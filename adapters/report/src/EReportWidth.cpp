#include "etabulon/report/EReportWidth.h"

#include "etabulon/foundation/detail/Utf8.h"

#include <utf8proc.h>

#include <algorithm>

namespace etabulon {
namespace {

constexpr char32_t kEmojiStyle = 0xFE0F;  // asks for a character's picture, which is wide
constexpr char32_t kKeycap = 0x20E3;
constexpr std::size_t kPicture = 2;

bool IsAscii(char c) noexcept { return static_cast<unsigned char>(c) < 0x80U; }

const utf8proc_property_t& PropertyOf(char32_t code) noexcept {
    return *utf8proc_get_property(static_cast<utf8proc_int32_t>(code));
}

/// The columns of one character. Terminals give a column to marks that stand beside their letter,
/// and none to the later parts of a Hangul syllable, which utf8proc counts the other way round.
std::size_t CharacterWidth(char32_t code) noexcept {
    const utf8proc_property_t& property = PropertyOf(code);
    if (property.category == UTF8PROC_CATEGORY_MC) {
        return 1;
    }
    if (property.boundclass == UTF8PROC_BOUNDCLASS_V ||
        property.boundclass == UTF8PROC_BOUNDCLASS_T) {
        return 0;
    }
    return static_cast<std::size_t>(utf8proc_charwidth(static_cast<utf8proc_int32_t>(code)));
}

bool IsPictographic(char32_t code) noexcept {
    return PropertyOf(code).boundclass == UTF8PROC_BOUNDCLASS_EXTENDED_PICTOGRAPHIC;
}

/// Adds up the characters of one cluster.
class ClusterWidth {
public:
    explicit ClusterWidth(char32_t first) noexcept
        : isPicture_(IsPictographic(first)), sum_(CharacterWidth(first)), widest_(sum_) {}
    void Add(char32_t code) noexcept {
        const std::size_t width = CharacterWidth(code);
        sum_ += width;
        widest_ = std::max(widest_, width);
        hasStyle_ = hasStyle_ || code == kEmojiStyle;
        isKeycap_ = isKeycap_ || (hasStyle_ && code == kKeycap);
    }
    [[nodiscard]] std::size_t Sum() const noexcept {
        if (isKeycap_ || (isPicture_ && hasStyle_)) {
            return kPicture;
        }
        // Joined pictures and skin tones are one picture.
        return isPicture_ ? widest_ : sum_;
    }

private:
    bool isPicture_;
    bool hasStyle_ = false;
    bool isKeycap_ = false;
    std::size_t sum_;
    std::size_t widest_;
};

}  // namespace

EReportCluster FirstCluster(std::string_view text) noexcept {
    if (IsAscii(text.front()) && (text.size() == 1 || IsAscii(text[1]))) {
        return {1, text.front() >= ' ' && text.front() != '\x7F' ? 1U : 0U};
    }
    const detail::Utf8Character first = detail::FirstCharacter(text);
    if (first.length == 0) {
        return {1, 1};
    }
    ClusterWidth width(first.code);
    std::size_t length = first.length;
    utf8proc_int32_t state = 0;
    for (char32_t before = first.code; length < text.size();) {
        const detail::Utf8Character next = detail::FirstCharacter(text.substr(length));
        if (next.length == 0 ||
            utf8proc_grapheme_break_stateful(static_cast<utf8proc_int32_t>(before),
                                             static_cast<utf8proc_int32_t>(next.code), &state)) {
            break;
        }
        width.Add(next.code);
        length += next.length;
        before = next.code;
    }
    return {length, width.Sum()};
}

std::size_t ReportWidth(std::string_view text) noexcept {
    return FrontOfWidth(text, static_cast<std::size_t>(-1)).width;
}

EReportCluster FrontOfWidth(std::string_view text, std::size_t width) noexcept {
    EReportCluster front;
    while (front.length < text.size()) {
        const EReportCluster next = FirstCluster(text.substr(front.length));
        if (next.width > width - front.width) {
            break;
        }
        front.length += next.length;
        front.width += next.width;
    }
    return front;
}

bool HasRightToLeft(std::string_view text) noexcept {
    constexpr auto kFirstOfTwoBytes = static_cast<unsigned char>(0xD6);  // U+0590 is Hebrew's block
    const auto mayBe = [](char c) { return static_cast<unsigned char>(c) >= kFirstOfTwoBytes; };
    for (auto at = std::find_if(text.begin(), text.end(), mayBe); at != text.end();
         at = std::find_if(at + 1, text.end(), mayBe)) {
        const auto rest = text.substr(static_cast<std::size_t>(at - text.begin()));
        const utf8proc_propval_t direction =
            PropertyOf(detail::FirstCharacter(rest).code).bidi_class;
        if (direction == UTF8PROC_BIDI_CLASS_R || direction == UTF8PROC_BIDI_CLASS_AL) {
            return true;
        }
    }
    return false;
}

}  // namespace etabulon
