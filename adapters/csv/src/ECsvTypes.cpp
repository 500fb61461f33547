#include "etabulon/csv/ECsvTypes.h"

#include "etabulon/foundation/EData.h"
#include "etabulon/sql/ESqlDates.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>

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

ECsvType NumberType(std::string_view text) noexcept {
    const std::string_view digits = text.front() == '-' ? text.substr(1) : text;
    // Deliberate: numbers with leading zeros, a plus or a bare point stay text, since a number
    // doesn't reproduce that spelling: codes, phone numbers and averages such as .097 are shown as
    // they are in the file. GivesEachColumnTheTypeOfAllItsCells holds it.
    if (digits.empty() || !IsDigit(digits[0]) ||
        (digits[0] == '0' && digits.size() > 1 && IsDigit(digits[1]))) {
        return ECsvType::Text;
    }
    const char* const end = text.data() + text.size();
    std::int64_t whole = 0;
    const auto asWhole = std::from_chars(text.data(), end, whole);
    if (asWhole.ptr == end) {
        // Deliberate: whole numbers beyond 64 bits stay text; as reals they would lose digits.
        // GivesEachColumnTheTypeOfAllItsCells holds it.
        if (asWhole.ec != std::errc() || text == "-0") {
            return ECsvType::Text;
        }
        return whole > kExactWhole || whole < -kExactWhole ? ECsvType::Large : ECsvType::Whole;
    }
    double real = 0;
    const auto asReal = std::from_chars(text.data(), end, real);
    const bool isReal = asReal.ec == std::errc() && asReal.ptr == end && std::isfinite(real);
    return isReal ? ECsvType::Real : ECsvType::Text;
}

}  // namespace

ECsvType CsvTypeOf(std::string_view text) noexcept {
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
    return NumberType(text);
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
    std::string name(wanted.IsEmpty() ? std::filesystem::path(path.c_str()).stem().string()
                                      : std::string(wanted.View()));
    if (FoldedName(name).substr(0, 7) == "sqlite_") {
        name = "csv_" + name;  // SQLite keeps these names for itself
    }
    return name;
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

EDataError CsvWidthError(const Chaine& path, std::uint64_t line, std::size_t cells,
                         std::size_t expected) {
    return CsvError(
        path, line,
        std::to_string(cells) + " cells where the first row has " + std::to_string(expected));
}

}  // namespace etabulon
