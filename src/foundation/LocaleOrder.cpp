#include "foundation/LocaleOrder.h"

#include "etabulon/foundation/detail/Utf8.h"

#include <algorithm>
#include <cstdint>

namespace etabulon {
namespace {

// The units of one character: one base letter or two, and the mark that distinguishes it from them.
struct EUnit {
    std::uint32_t base;
    std::uint32_t second;  // 0: none
    unsigned int mark;     // 0: none
};

constexpr std::uint32_t kFirstLetter = 0xC0;
constexpr std::uint32_t kLastAscii = 0x7F;
constexpr std::uint32_t kInvalidByte = 0x110000;  // + the byte

// U+00C0 to U+017F, one row for sixteen characters: the base letter, "." where the character
// stands for itself. Capitals digraphs are Æ æ 1, ß 2, Ĳ ĳ 3, ŉ 4, Œ œ 5.
constexpr std::string_view kBases =
    "aaaaaa1ceeeeiiii"
    ".nooooo.ouuuuy.2"
    "aaaaaa1ceeeeiiii"
    ".nooooo.ouuuuy.y"
    "aaaaaaccccccccdd"
    "ddeeeeeeeeeegggg"
    "gggghhhhiiiiiiii"
    "ii33jjkk.lllllll"
    "lllnnnnnn4..oooo"
    "oo55rrrrrrssssss"
    "ssttttttuuuuuuuu"
    "uuuuwwyyyzzzzzzs";

// The mark of each, in the order of kMarks: grave acute circumflex tilde diaeresis ring cedilla
// stroke macron breve ogonek dot caron double-acute dotless digraph middle-dot apostrophe long.
constexpr std::string_view kMarks = "`'^~\"o,/-u;.v:1&*!s";
constexpr std::string_view kMarkOf =
    "`'^~\"o&,`'^\"`'^\""
    " ~`'^~\" /`'^\"' &"
    "`'^~\"o&,`'^\"`'^\""
    " ~`'^~\" /`'^\"' \""
    "--uu;;''^^..vvvv"
    "//--uu..;;vv^^uu"
    "..,,^^//~~--uu;;"
    ".1&&^^,, '',,vv*"
    "*//'',,vv!  --uu"
    "::&&'',,vv''^^,,"
    "vv,,vv//~~--uuoo"
    "::;;^^^^\"''..vvs";
static_assert(kBases.size() == 0x180 - kFirstLetter && kMarkOf.size() == kBases.size());

constexpr std::uint32_t SmallLetter(std::uint32_t character) noexcept {
    switch (character) {
        case 0xD0:  // Ð
        case 0xDE:  // Þ
            return character + 0x20;
        case 0x14A:  // Ŋ
            return character + 1;
        default:
            return character;
    }
}

EUnit UnitOf(std::uint32_t character) noexcept {
    if (character < 0x80) {
        return {character >= 'A' && character <= 'Z' ? character + 0x20 : character, 0, 0};
    }
    if (character < kFirstLetter || character - kFirstLetter >= kBases.size()) {
        return {character, 0, 0};
    }
    const std::size_t row = character - kFirstLetter;
    const unsigned int mark =
        static_cast<unsigned int>(kMarks.find(kMarkOf[row]) + 1);  // blank: npos + 1
    switch (kBases[row]) {
        case '.':
            return {SmallLetter(character), 0, 0};
        case '1':
            return {'a', 'e', mark};
        case '2':
            return {'s', 's', mark};
        case '3':
            return {'i', 'j', mark};
        case '4':
            return {'\'', 'n', mark};
        case '5':
            return {'o', 'e', mark};
        default:
            return {static_cast<unsigned char>(kBases[row]), 0, mark};
    }
}

// Takes one character off the front of a text that isn't empty. A byte that begins no character is
// taken by itself.
std::uint32_t TakeCharacter(std::string_view& text) noexcept {
    const detail::Utf8Character character = detail::FirstCharacter(text);
    if (character.length == 0) {
        const auto byte = static_cast<unsigned char>(text.front());
        text.remove_prefix(1);
        return kInvalidByte + byte;
    }
    text.remove_prefix(character.length);
    return character.code;
}

// Reads a text as base letters with their marks, one by one.
class EUnitReader {
public:
    explicit EUnitReader(std::string_view text) noexcept : rest_(text) {}

    /// False at the end.
    bool Next(std::uint32_t& base, unsigned int& mark) noexcept {
        mark = 0;
        if (second_ != 0) {
            base = second_;
            second_ = 0;
            return true;
        }
        if (rest_.empty()) {
            return false;
        }
        const EUnit unit = UnitOf(TakeCharacter(rest_));
        base = unit.base;
        second_ = unit.second;
        mark = unit.mark;
        return true;
    }

private:
    std::string_view rest_;
    std::uint32_t second_ = 0;
};

// Counts all bytes, and writes those that fit.
class EKeyWriter {
public:
    EKeyWriter(char* key, std::size_t capacity) noexcept : key_(key), capacity_(capacity) {}

    void Put(std::uint32_t byte) noexcept {
        if (length_ < capacity_) {
            key_[length_] = static_cast<char>(static_cast<unsigned char>(byte));
        }
        ++length_;
    }
    // The form of UTF-8, which keeps the order of the numbers; 0 never occurs in it.
    void PutBase(std::uint32_t base) noexcept {
        const std::uint32_t number = base + 1;
        if (number < 0x80) {
            Put(number);
        } else if (number < 0x800) {
            Put(0xC0 | (number >> 6));
            Put(0x80 | (number & 0x3F));
        } else if (number < 0x10000) {
            Put(0xE0 | (number >> 12));
            Put(0x80 | ((number >> 6) & 0x3F));
            Put(0x80 | (number & 0x3F));
        } else {
            Put(0xF0 | (number >> 18));
            Put(0x80 | ((number >> 12) & 0x3F));
            Put(0x80 | ((number >> 6) & 0x3F));
            Put(0x80 | (number & 0x3F));
        }
    }
    [[nodiscard]] std::size_t Length() const noexcept { return length_; }

private:
    char* key_;
    std::size_t capacity_;
    std::size_t length_ = 0;
};

// Compares ASCII texts by case-blind letters, which needs no units. Where these don't decide,
// `same` is where the first other character stands in one of them.
int CompareAscii(std::string_view left, std::string_view right, std::size_t& same) noexcept {
    const std::size_t shorter = std::min(left.size(), right.size());
    for (same = 0; same < shorter; ++same) {
        const auto l = static_cast<unsigned char>(left[same]);
        const auto r = static_cast<unsigned char>(right[same]);
        if ((l | r) >= 0x80) {
            break;
        }
        if (l != r) {
            const std::uint32_t a = UnitOf(l).base;
            const std::uint32_t b = UnitOf(r).base;
            if (a != b) {
                return a < b ? -1 : 1;
            }
        }
    }
    return 0;
}

int CompareUnits(std::string_view left, std::string_view right) noexcept {
    EUnitReader leftUnits(left);
    EUnitReader rightUnits(right);
    int marks = 0;
    for (;;) {
        std::uint32_t leftBase = 0;
        std::uint32_t rightBase = 0;
        unsigned int leftMark = 0;
        unsigned int rightMark = 0;
        const bool leftThere = leftUnits.Next(leftBase, leftMark);
        const bool rightThere = rightUnits.Next(rightBase, rightMark);
        if (!leftThere || !rightThere) {
            return leftThere ? 1 : rightThere ? -1 : marks;
        }
        if (leftBase != rightBase) {
            return leftBase < rightBase ? -1 : 1;
        }
        if (marks == 0 && leftMark != rightMark) {
            marks = leftMark < rightMark ? -1 : 1;
        }
    }
}

}  // namespace

int DefaultLocaleCompare(std::string_view left, std::string_view right) {
    std::size_t same = 0;
    const int order = CompareAscii(left, right, same);
    return order != 0 ? order : CompareUnits(left.substr(same), right.substr(same));
}

std::size_t DefaultLocaleKey(std::string_view text, char* key, std::size_t capacity) {
    EKeyWriter writer(key, capacity);
    std::size_t units = 0;
    // Most texts begin, and end, with characters whose only unit takes one byte of the key.
    for (; units < text.size() && static_cast<unsigned char>(text[units]) < kLastAscii; ++units) {
        writer.Put(UnitOf(static_cast<unsigned char>(text[units])).base + 1);
    }
    EUnitReader letters(text.substr(units));
    std::uint32_t base = 0;
    unsigned int mark = 0;
    std::size_t marked = 0;  // units up to the last one with a mark
    while (letters.Next(base, mark)) {
        writer.PutBase(base);
        ++units;
        if (mark != 0) {
            marked = units;
        }
    }
    if (marked != 0) {
        // The marks follow a 0, which is below any letter, so that the letters decide first.
        // Trailing letters without a mark are left out: "no mark" is the lowest mark, so the order
        // is the same.
        writer.Put(0);
        EUnitReader marks(text);
        for (std::size_t i = 0; i < marked && marks.Next(base, mark); ++i) {
            writer.Put(mark + 1);
        }
    }
    return writer.Length();
}

}  // namespace etabulon
