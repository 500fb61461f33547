#include "etabulon/csv/ECsvTypes.h"

#include "etabulon/foundation/EData.h"
#include "etabulon/sql/ESqlDates.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

namespace etabulon {

namespace {

constexpr std::int64_t kExactWhole = std::int64_t{1}
                                     << 53;  // reals hold all whole numbers up to it

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string FoldedName(const std::string& name) {
    std::string folded = name;
    for (char& c : folded) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return folded;
}

bool EqualsWord(std::string_view text, std::string_view word) noexcept {
    if (text.size() != word.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c =
            text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
        if (c != word[i]) {
            return false;
        }
    }
    return true;
}

/// Whether a file's first line may name this separator; the name of a column may end with others.
bool IsSeparator(char c) noexcept {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return c == '\t' || (c >= ' ' && c <= '~' && c != '"' && !isLetter && !IsDigit(c));
}

std::string_view WithoutPlus(std::string_view text) noexcept {
    return text.starts_with('+') ? text.substr(1) : text;
}

/// Digits, with a point or without, that a number begins with behind its sign; no leading zeros.
bool BeginsNumber(std::string_view digits, char decimal) noexcept {
    if (digits.size() > 1 && digits[0] == decimal) {
        return IsDigit(digits[1]);
    }
    return !digits.empty() && IsDigit(digits[0]) &&
           (digits[0] != '0' || digits.size() == 1 || !IsDigit(digits[1]));
}

// Deliberate: ten digits and more behind a plus are a phone number and stay text, where +5 is a
// number. KeepsPhoneNumbers holds it.
bool IsPhoneNumber(std::string_view text) noexcept {
    constexpr std::size_t kShortest = 11;
    return text.size() >= kShortest && text[0] == '+' &&
           std::all_of(text.begin() + 1, text.end(), &IsDigit);
}

ECsvType NumberType(std::string_view text, char decimal) noexcept {
    const bool isSigned = text.front() == '-' || text.front() == '+';
    // Deliberate: numbers with leading zeros stay text, since a number doesn't reproduce that
    // spelling: codes and phone numbers are shown as they are in the file.
    // GivesEachColumnTheTypeOfAllItsCells holds it.
    if (!BeginsNumber(text.substr(isSigned ? 1 : 0), decimal) || IsPhoneNumber(text)) {
        return ECsvType::Text;
    }
    const std::string_view number = WithoutPlus(text);
    const char* const end = number.data() + number.size();
    std::int64_t whole = 0;
    const auto asWhole = std::from_chars(number.data(), end, whole);
    if (asWhole.ptr == end) {
        // Deliberate: whole numbers beyond 64 bits stay text; as reals they would lose digits.
        // GivesEachColumnTheTypeOfAllItsCells holds it.
        if (asWhole.ec != std::errc()) {
            return ECsvType::Text;
        }
        return whole > kExactWhole || whole < -kExactWhole ? ECsvType::Large : ECsvType::Whole;
    }
    double real = 0;
    return ParseCsvReal(text, decimal, real) && std::isfinite(real) ? ECsvType::Real
                                                                    : ECsvType::Text;
}

// ------------------------------------------------------------------------------------------- dates

/// Where the parts of a date stand, by ECsvDates.
struct DatePlaces {
    std::size_t year;
    std::size_t month;
    std::size_t day;
};
constexpr DatePlaces kPlaces[] = {{0, 1, 2}, {2, 1, 0}, {2, 0, 1}, {0, 1, 2}};

/// Removes the digits at the front of `text`, and returns them.
std::string_view TakeDigits(std::string_view& text) noexcept {
    const auto end = std::find_if_not(text.begin(), text.end(), &IsDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

/// Appends the digits to `to`, behind zeros where there are fewer than `count`. Null stays null,
/// and so becomes what has no digit or too many.
char* PutDigits(char* to, std::string_view digits, std::size_t count) noexcept {
    if (to == nullptr || digits.empty() || digits.size() > count) {
        return nullptr;
    }
    to = std::fill_n(to, count - digits.size(), '0');
    return std::copy(digits.begin(), digits.end(), to);
}

/// A year of four digits, or of two, which mean the years from 1969 to 2068, as POSIX has it.
char* PutYear(char* to, std::string_view year) noexcept {
    constexpr std::string_view kFirstOf1900s = "69";
    if (year.size() == 2) {
        const std::string_view century = year < kFirstOf1900s ? "20" : "19";
        to = std::copy(century.begin(), century.end(), to);
        return PutDigits(to, year, 2);
    }
    return year.size() == 4 ? PutDigits(to, year, 4) : nullptr;
}

/// Removes AM or PM at the end. Returns the hours that it adds to those from 1 to 12, or -1.
int TakeHalfDay(std::string_view& time) noexcept {
    for (const auto& [word, hours] : {std::pair("am", 0), std::pair("pm", 12)}) {
        if (time.size() > 2 && EqualsWord(time.substr(time.size() - 2), word)) {
            time.remove_suffix(time[time.size() - 3] == ' ' ? 3 : 2);
            return hours;
        }
    }
    return -1;
}

/// 9:05, 09:05:30.5, 9:05 PM: spelled with two digits of hours from 00 to 23. Null for other texts.
char* PutTime(char* to, std::string_view time) noexcept {
    constexpr std::size_t kMostBehindHours = 20;
    const int halfDay = TakeHalfDay(time);
    const std::string_view digits = TakeDigits(time);
    if (digits.empty() || digits.size() > 2 || time.size() > kMostBehindHours) {
        return nullptr;
    }
    int hours = digits.size() == 1 ? digits[0] - '0' : (digits[0] - '0') * 10 + digits[1] - '0';
    if (halfDay >= 0) {
        if (hours < 1 || hours > 12) {
            return nullptr;
        }
        hours = hours % 12 + halfDay;
    }
    *to++ = static_cast<char>('0' + hours / 10);
    *to++ = static_cast<char>('0' + hours % 10);
    return std::copy(time.begin(), time.end(), to);
}

}  // namespace

bool ParseCsvWhole(std::string_view text, std::int64_t& number) noexcept {
    text = WithoutPlus(text);
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
}

bool ParseCsvReal(std::string_view text, char decimal, double& number) noexcept {
    // Digits beyond these change no real.
    constexpr std::size_t kMostWithComma = 1024;
    std::array<char, kMostWithComma> pointed;
    text = WithoutPlus(text);
    if (decimal != '.') {
        if (text.size() > pointed.size() || text.find('.') != std::string_view::npos) {
            return false;
        }
        std::replace_copy(text.begin(), text.end(), pointed.begin(), decimal, '.');
        text = {pointed.data(), text.size()};
    }
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
}

std::string_view CsvIsoSpelling(std::string_view text, ECsvDates dates, char* iso) noexcept {
    std::array<std::string_view, 3> parts;  // in the file's order
    char mark = 0;
    for (std::size_t part = 0; part < parts.size(); ++part) {
        parts[part] = TakeDigits(text);
        if (part == 2) {
            break;
        }
        if (text.empty() || std::string_view("./-").find(text[0]) == std::string_view::npos ||
            (mark != 0 && text[0] != mark)) {
            return {};
        }
        mark = text[0];
        text.remove_prefix(1);
    }
    const DatePlaces& places = kPlaces[static_cast<std::size_t>(dates)];
    char* end = PutYear(iso, parts[places.year]);
    for (const std::size_t place : {places.month, places.day}) {
        if (end == nullptr) {
            return {};
        }
        *end++ = '-';
        end = PutDigits(end, parts[place], 2);
    }
    if (end != nullptr && !text.empty()) {
        const bool isApart = text[0] == ' ' || text[0] == 'T';
        *end++ = ' ';
        end = isApart ? PutTime(end, text.substr(1)) : nullptr;
    }
    std::int64_t millis = 0;
    const std::string_view spelled(iso, end != nullptr ? static_cast<std::size_t>(end - iso) : 0);
    return ParseIsoTimestamp(spelled, millis) ? spelled : std::string_view();
}

ECsvType CsvTypeOf(std::string_view text, const ECsvNotation& notation) noexcept {
    std::int32_t number = 0;
    std::int64_t wide = 0;
    if (text.empty()) {
        return ECsvType::Unknown;
    }
    if (ParseIsoDate(text, number)) {
        return ECsvType::Date;
    }
    if (ParseIsoTimestamp(text, wide)) {
        return ECsvType::Timestamp;
    }
    if (ParseIsoTime(text, number)) {
        return ECsvType::Time;
    }
    if (EqualsWord(text, "true") || EqualsWord(text, "false")) {
        return ECsvType::Bool;
    }
    if (notation.dates != ECsvDates::Iso) {
        std::array<char, kCsvIsoCapacity> iso;
        const std::string_view spelled = CsvIsoSpelling(text, notation.dates, iso.data());
        if (!spelled.empty()) {
            return ParseIsoDate(spelled, number) ? ECsvType::Date : ECsvType::Timestamp;
        }
    }
    return NumberType(text, notation.decimal);
}

ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept {
    if (a == b || b == ECsvType::Unknown) {
        return a;
    }
    if (a == ECsvType::Unknown) {
        return b;
    }
    const auto areOf = [a, b](ECsvType one, ECsvType other) {
        return (a == one && b == other) || (a == other && b == one);
    };
    if (areOf(ECsvType::Whole, ECsvType::Large)) {
        return ECsvType::Large;
    }
    return areOf(ECsvType::Whole, ECsvType::Real) ? ECsvType::Real : ECsvType::Text;
}

const char* CsvDeclaredType(ECsvType type) noexcept {
    constexpr const char* kDeclared[] = {"TEXT",      "INTEGER", "REAL", "DATE",   "TIME",
                                         "TIMESTAMP", "BOOLEAN", "TEXT", "INTEGER"};
    return kDeclared[static_cast<std::size_t>(type)];
}

std::vector<std::string> CsvColumnNames(const std::vector<std::string>& firstRow, bool isHeader) {
    std::vector<std::string> names;
    std::set<std::string> used;
    std::map<std::string, unsigned int> suffixes;  // the last suffix given for each name
    for (std::size_t i = 0; i < firstRow.size(); ++i) {
        std::string name = isHeader ? firstRow[i] : std::string();
        // A NUL would end a statement in the middle of the name.
        std::erase(name, '\0');
        if (name.empty()) {
            name = "column" + std::to_string(i + 1);
        }
        const std::string plain = name;
        while (!used.insert(FoldedName(name)).second) {
            unsigned int& suffix = suffixes.try_emplace(FoldedName(plain), 1U).first->second;
            name = plain + '_' + std::to_string(++suffix);
        }
        names.push_back(std::move(name));
    }
    return names;
}

std::string CsvTableName(const Chaine& path, const Chaine& wanted) {
    std::filesystem::path file = std::filesystem::path(path.c_str()).filename();
    if (EqualsWord(file.extension().string(), ".gz")) {
        file = file.stem();
    }
    std::string name(wanted.IsEmpty() ? file.stem().string() : std::string(wanted.View()));
    if (FoldedName(name).substr(0, 7) == "sqlite_") {
        name = "csv_" + name;  // SQLite keeps these names for itself
    }
    return name;
}

ECsvPreamble CsvPreambleOf(std::string_view start) noexcept {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    constexpr std::string_view kNaming = "sep=";
    ECsvPreamble preamble;
    if (start.starts_with(kByteOrderMark)) {
        preamble.size = kByteOrderMark.size();
        start.remove_prefix(preamble.size);
    }
    const std::string_view rest = start.substr(std::min(kNaming.size(), start.size()));
    if (EqualsWord(start.substr(0, kNaming.size()), kNaming) && !rest.empty() &&
        IsSeparator(rest[0]) && (rest.size() == 1 || rest[1] == '\n' || rest[1] == '\r')) {
        preamble.size += kNaming.size() + 1;
        preamble.separator = rest[0];
    }
    return preamble;
}

EDataError CsvError(const Chaine& path, std::uint64_t line, const std::string& what) {
    EDataError error;
    error.status = DataOther;
    error.text = path;
    if (line > 0) {
        error.text.Append(", line " + std::to_string(line));
    }
    error.text.Append(": " + what);
    return error;
}

bool CheckCsvFormat(const Chaine& path, const ECsvFormat& format, EDataError& error) {
    if (std::string_view("\"\n\r").find(format.separator) != std::string_view::npos) {
        error = CsvError(path, 0, "a quote or a line break can't separate cells");
    } else if (format.notation.decimal != '.' && format.notation.decimal != ',') {
        error = CsvError(path, 0, "the decimal character is a point or a comma");
    } else {
        return true;
    }
    return false;
}

EDataError CsvWidthError(const Chaine& path, std::uint64_t line, std::size_t cells,
                         std::size_t expected) {
    return CsvError(path, line,
                    std::to_string(cells) + " cells where the first row has " +
                        std::to_string(expected) +
                        ": a cell that holds the separator or a line break stands in quotes");
}

}  // namespace etabulon
