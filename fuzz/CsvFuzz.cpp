// CSV files: any bytes, read, typed and loaded, against the rules written down a second time.

#include "adapters/sqlite/src/ECsvReader.h"
#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sqlite/LoadCsv.h"
#include "fuzz/Choices.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::fuzz {
namespace {

/// A file in memory that holds the bytes of one run after the other.
class MemoryFile {
public:
    MemoryFile() : descriptor_(::memfd_create("csv", MFD_CLOEXEC)) {
        path_ = Chaine::Format("/proc/self/fd/%d", descriptor_);
    }
    void Hold(std::string_view bytes) const {
        Require(::ftruncate(descriptor_, 0) == 0 &&
                    ::pwrite(descriptor_, bytes.data(), bytes.size(), 0) ==
                        static_cast<ssize_t>(bytes.size()),
                "the input can't be written");
    }
    [[nodiscard]] const Chaine& Path() const noexcept { return path_; }

private:
    int descriptor_;
    Chaine path_;
};

// --------------------------------------------------------------------------------- the file's rows

struct Row {
    std::uint64_t line = 0;
    std::vector<ECsvCell> cells;
};

/// What a file holds, and what ends its reading.
struct File {
    std::vector<Row> rows;
    std::uint64_t problemLine = 0;  // 0: it can be read to its end
    std::string_view problem;
};

bool IsLineEnd(char c) { return c == '\n' || c == '\r'; }

class LiteralReader {
public:
    LiteralReader(std::string_view bytes, char separator)
        : bytes_(bytes), separator_(separator), at_(BeginOf(bytes)) {}
    [[nodiscard]] File Read() {
        while (file_.problemLine == 0 && at_ < bytes_.size()) {
            if (IsLineEnd(bytes_[at_])) {
                ++at_;
            } else {
                ReadRow();
            }
        }
        return std::move(file_);
    }

private:
    /// Behind a byte order mark and a line such as sep=;
    static std::size_t BeginOf(std::string_view bytes) {
        const std::size_t begin = bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0;
        std::string line(bytes.substr(begin, 6));
        std::transform(line.begin(), line.end(), line.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        const bool names = line.size() >= 5 && line.starts_with("sep=") && line[4] != '"' &&
                           (line[4] == ' ' || line[4] == '\t' || std::ispunct(line[4] & 0xFF)) &&
                           (line.size() == 5 || IsLineEnd(line[5]));
        return begin + (names ? 5 : 0);
    }
    [[nodiscard]] bool IsAt(char c) const { return at_ < bytes_.size() && bytes_[at_] == c; }
    [[nodiscard]] bool IsAtCellEnd() const {
        return at_ == bytes_.size() || bytes_[at_] == separator_ || IsLineEnd(bytes_[at_]);
    }
    /// Of the byte at `at_`; after the last one, of that.
    [[nodiscard]] std::uint64_t Line() const {
        const std::size_t end = std::min(at_, bytes_.size() - 1);
        std::uint64_t line = 1;
        for (std::size_t at = 0; at < end; ++at) {
            const bool isPair = bytes_[at] == '\r' && bytes_[at + 1] == '\n';
            // The feed of a pair ends the line.
            line += IsLineEnd(bytes_[at]) && !isPair ? 1 : 0;
        }
        return line;
    }
    void Stop(std::string_view problem) {
        file_.problemLine = Line();
        file_.problem = problem;
    }
    void ReadRow() {
        Row row{Line(), {}};
        do {
            row.cells.emplace_back();
            if (!(IsAt('"') ? ReadQuoted(row.cells.back()) : ReadPlain(row.cells.back()))) {
                return;
            }
        } while (IsAt(separator_) && ++at_ > 0);
        file_.rows.push_back(std::move(row));
    }
    bool ReadPlain(ECsvCell& cell) {
        for (; !IsAtCellEnd(); ++at_) {
            if (bytes_[at_] == '"') {
                Stop("a quote");
                return false;
            }
            cell.text += bytes_[at_];
        }
        cell.isEmpty = cell.text.empty();
        return true;
    }
    bool ReadQuoted(ECsvCell& cell) {
        for (++at_;; ++at_) {
            if (at_ == bytes_.size()) {
                Stop("ends within quotes");
                return false;
            }
            if (bytes_[at_] == '"') {
                ++at_;
                if (!IsAt('"')) {
                    break;
                }
            }
            cell.text += bytes_[at_];
        }
        if (!IsAtCellEnd()) {
            Stop("a quote");
            return false;
        }
        return true;
    }

    std::string_view bytes_;
    char separator_;
    std::size_t at_;
    File file_;
};

class KeptRows final : public ECsvRows {
public:
    bool TakeRow(const std::vector<ECsvCell>& cells, std::uint64_t line) override {
        rows.push_back({line, cells});
        return true;
    }
    std::vector<Row> rows;
};

void RequireNamed(const ESqlError& error, std::uint64_t line, std::string_view what) {
    const std::string text(error.text.View());
    const std::string where = line > 0 ? ", line " + std::to_string(line) + ": " : ": ";
    if (text.find(where) == std::string::npos || text.find(what) == std::string::npos) {
        Fail("the error is \"" + text + "\" and not of" + where + std::string(what));
    }
}

void CheckReader(const Chaine& path, char separator, const File& expected) {
    KeptRows found;
    ESqlError error;
    const std::unique_ptr<ECsvInput> input = ECsvInput::Open(path, error);
    Require(input != nullptr, "the file can be opened");
    const bool isRead = ReadCsv(*input, separator, found, error);
    Require(found.rows.size() == expected.rows.size(), "the number of rows");
    for (std::size_t row = 0; row < found.rows.size(); ++row) {
        const std::vector<ECsvCell>& cells = found.rows[row].cells;
        Require(found.rows[row].line == expected.rows[row].line, "the line of a row");
        Require(cells.size() == expected.rows[row].cells.size(), "the number of cells");
        for (std::size_t cell = 0; cell < cells.size(); ++cell) {
            RequireEqual(cells[cell].text, expected.rows[row].cells[cell].text, "a cell");
            Require(cells[cell].isEmpty == expected.rows[row].cells[cell].isEmpty, "an empty cell");
        }
    }
    Require(isRead == (expected.problemLine == 0), "whether the file can be read");
    if (!isRead) {
        RequireNamed(error, expected.problemLine, expected.problem);
    }
}

// ------------------------------------------------------------------------------------------- types

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// 0 in `pattern` is any digit, other characters are themselves.
bool Fits(std::string_view text, std::string_view pattern) {
    return text.size() == pattern.size() &&
           std::equal(text.begin(), text.end(), pattern.begin(),
                      [](char c, char p) { return p == '0' ? IsDigit(c) : c == p; });
}

int NumberAt(std::string_view text, std::size_t at, std::size_t count) {
    return std::stoi(std::string(text.substr(at, count)));
}

bool IsDate(std::string_view text) {
    using namespace std::chrono;
    return Fits(text, "0000-00-00") && NumberAt(text, 0, 4) > 0 &&
           year_month_day(year(NumberAt(text, 0, 4)),
                          month(static_cast<unsigned int>(NumberAt(text, 5, 2))),
                          day(static_cast<unsigned int>(NumberAt(text, 8, 2))))
               .ok();
}

/// The time as it is printed; empty for what is none.
std::string TimeOf(std::string_view text) {
    if (text.ends_with('Z')) {
        text.remove_suffix(1);
    }
    std::string time(text);
    if (Fits(time, "00:00")) {
        time += ":00";
    }
    std::string decimals;
    if (time.size() > 8 && time[8] == '.') {
        decimals = time.substr(9);
        time.resize(8);
        if (decimals.empty() || decimals.size() > 9 ||
            !std::all_of(decimals.begin(), decimals.end(), IsDigit)) {
            return {};
        }
    }
    if (!Fits(time, "00:00:00") || NumberAt(time, 0, 2) > 23 || NumberAt(time, 3, 2) > 59 ||
        NumberAt(time, 6, 2) > 59) {
        return {};
    }
    decimals.resize(3, '0');
    return decimals == "000" ? time : time + '.' + decimals;
}

std::string TimestampOf(std::string_view text) {
    if (text.size() < 11 || !IsDate(text.substr(0, 10)) || (text[10] != ' ' && text[10] != 'T')) {
        return {};
    }
    const std::string time = TimeOf(text.substr(11));
    return time.empty() ? time : std::string(text.substr(0, 10)) + ' ' + time;
}

bool IsWord(std::string_view text, std::string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char c, char w) {
        return c == w || (w >= 'a' && w <= 'z' && c == w - 'a' + 'A');
    });
}

std::string_view TakeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

/// What every cell of a column is.
enum class Cell { Nothing, Whole, LargeWhole, Real, Date, Time, Timestamp, Bool, Text };

/// A decimal number as programs write it: -12, 0.5, 1e-3, +5, .5. Of 5. and of numbers too small
/// for a real the column's type isn't settled, only that no value is lost.
Cell NumberOf(std::string_view text, bool& isOpen) {
    const bool hasPlus = text.starts_with('+');
    const std::string whole(text.substr(hasPlus ? 1 : 0));
    text.remove_prefix(hasPlus || text.starts_with('-') ? 1 : 0);
    const std::string_view digits = TakeDigits(text);
    const bool isBare = digits.empty() && text.size() > 1 && text[0] == '.' && IsDigit(text[1]);
    const bool isPhone = hasPlus && digits.size() >= 10 && text.empty();
    if ((digits.empty() && !isBare) || (digits.size() > 1 && digits[0] == '0') || isPhone) {
        return Cell::Text;
    }
    bool isWhole = true;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        isWhole = false;
        isOpen = TakeDigits(text).empty();
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        text.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
        isWhole = false;
        if (TakeDigits(text).empty()) {
            return Cell::Text;
        }
    }
    if (!text.empty()) {
        return Cell::Text;
    }
    const double real = std::strtod(whole.c_str(), nullptr);
    if (!isWhole) {
        constexpr double kTiny = 1e-300;
        isOpen = isOpen || std::fabs(real) < kTiny;
        return std::isfinite(real) ? Cell::Real : Cell::Text;
    }
    errno = 0;
    const long long number = std::strtoll(whole.c_str(), nullptr, 10);
    if (errno != 0) {
        return Cell::Text;
    }
    constexpr long long kExact = 1LL << 53;  // a real keeps all whole numbers up to here
    return number > kExact || number < -kExact ? Cell::LargeWhole : Cell::Whole;
}

struct LiteralType {
    Cell type = Cell::Nothing;
    bool isOpen = false;  // the type isn't settled by the cells seen

    void Add(const std::string& text) {
        bool isNextOpen = false;
        const Cell next = text.empty()                 ? Cell::Nothing
                          : IsDate(text)               ? Cell::Date
                          : !TimestampOf(text).empty() ? Cell::Timestamp
                          : !TimeOf(text).empty()      ? Cell::Time
                          : IsWord(text, "true") || IsWord(text, "false")
                              ? Cell::Bool
                              : NumberOf(text, isNextOpen);
        isOpen = isOpen || (isNextOpen && next != Cell::Text);
        if (type == Cell::Nothing || next == Cell::Nothing || type == next) {
            type = type == Cell::Nothing ? next : type;
        } else {
            type = Both(std::min(type, next), std::max(type, next));
        }
    }

private:
    /// Of two that differ, in their order.
    static Cell Both(Cell first, Cell second) {
        const bool isNumber = second <= Cell::Real;
        const bool losesDigits = first == Cell::LargeWhole && second == Cell::Real;
        return isNumber && !losesDigits ? second : Cell::Text;
    }
};

/// Of a column in the rows from `first` on. Requires rows of one length.
LiteralType TypeOf(const std::vector<Row>& rows, std::size_t first, std::size_t column) {
    LiteralType type;
    for (std::size_t row = first; row < rows.size(); ++row) {
        type.Add(rows[row].cells[column].text);
    }
    return type;
}

std::string_view Declared(Cell type) {
    switch (type) {
        case Cell::Whole:
        case Cell::LargeWhole:
            return "INTEGER";
        case Cell::Real:
            return "REAL";
        case Cell::Date:
            return "DATE";
        case Cell::Time:
            return "TIME";
        case Cell::Timestamp:
            return "TIMESTAMP";
        case Cell::Bool:
            return "BOOLEAN";
        default:
            return "TEXT";
    }
}

void CheckTypes(const std::vector<Row>& rows) {
    for (std::size_t column = 0; !rows.empty() && column < rows[0].cells.size(); ++column) {
        const LiteralType expected = TypeOf(rows, 0, column);
        ECsvType found = ECsvType::Unknown;
        for (const Row& row : rows) {
            found = CsvTypeOfBoth(found, CsvTypeOf(row.cells[column].text));
        }
        if (!expected.isOpen) {
            RequireEqual(CsvDeclaredType(found), Declared(expected.type),
                         "the type of a column's cells");
        }
    }
}

// --------------------------------------------------------------------------------------- the table

std::string Folded(std::string name) {
    for (char& c : name) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return name;
}

std::vector<std::string> NamesOf(const Row& first, bool hasHeader) {
    std::vector<std::string> names;
    std::vector<std::string> folded;
    for (const ECsvCell& cell : first.cells) {
        std::string name = hasHeader ? cell.text : "";
        std::erase(name, '\0');
        if (name.empty()) {
            name = "column" + std::to_string(names.size() + 1);
        }
        const std::string plain = name;
        for (int suffix = 2; std::find(folded.begin(), folded.end(), Folded(name)) != folded.end();
             ++suffix) {
            name = plain + '_' + std::to_string(suffix);
        }
        folded.push_back(Folded(name));
        names.push_back(std::move(name));
    }
    return names;
}

void CheckValue(const EField& field, const ECsvCell& cell, int type) {
    const std::string& text = cell.text;
    const bool isMissing = cell.isEmpty || (text.empty() && type != TYPE_CHAINE);
    Require(field.IsMissing() == isMissing, "a missing value");
    if (isMissing) {
        return;
    }
    switch (type) {
        case TYPE_INT64:
            Require(field.AsInt64() == std::strtoll(text.c_str(), nullptr, 10), "a whole number");
            break;
        case TYPE_DOUBLE:
            Require(field.AsDouble() == std::strtod(text.c_str(), nullptr), "a real");
            break;
        case TYPE_BOOL:
            Require(field.AsInt64() == (IsWord(text, "true") ? 1 : 0), "a boolean");
            break;
        case TYPE_TIME:
            RequireEqual(field.AsChaine().View(), TimeOf(text), "a time");
            break;
        case TYPE_TIMESTAMP:
            RequireEqual(field.AsChaine().View(), TimestampOf(text), "a timestamp");
            break;
        default:
            RequireEqual(field.AsChaine().View(), text, "a date or text");
            break;
    }
}

void CheckTable(ESqliteSource& source, const std::vector<Row>& rows, bool hasHeader) {
    const ESqlTableInfo& info = source.Tables()[0];
    const std::vector<std::string> names = NamesOf(rows[0], hasHeader);
    const std::size_t first = hasHeader ? 1 : 0;
    Require(source.Tables().size() == 1 && info.columns.size() == names.size(), "the columns");
    for (std::size_t column = 0; column < names.size(); ++column) {
        RequireEqual(info.columns[column].name.View(), names[column], "a column's name");
        const LiteralType expected = TypeOf(rows, first, column);
        if (!expected.isOpen) {
            RequireEqual(info.columns[column].declared.View(), Declared(expected.type),
                         "a column's type");
        }
    }
    ESqlError error;
    const auto table = source.OpenTable(info.code, error);
    Require(table != nullptr, "the table can be opened");
    std::size_t row = first;
    for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext(), ++row) {
        Require(row < rows.size(), "the number of records");
        for (std::size_t column = 0; column < names.size(); ++column) {
            CheckValue(table->Fields().At(static_cast<std::uint16_t>(column)),
                       rows[row].cells[column], info.columns[column].type);
        }
    }
    Require(table->status == DataEnd && row == rows.size(), "the number of records");
}

auto FirstOfOtherLength(const std::vector<Row>& rows) {
    return std::find_if(rows.begin(), rows.end(), [&rows](const Row& row) {
        return row.cells.size() != rows[0].cells.size();
    });
}

void CheckLoading(const Chaine& path, const ECsvOptions& options, const File& file) {
    ESqlError error;
    const std::unique_ptr<ESqliteSource> source = LoadCsv(path, options, error);
    const auto odd = FirstOfOtherLength(file.rows);
    const bool canBeLoaded = odd == file.rows.end() && file.problemLine == 0 && !file.rows.empty();
    Require((source != nullptr) == canBeLoaded, "whether the file can be loaded");
    if (source != nullptr) {
        CheckTable(*source, file.rows, options.header);
    } else if (odd != file.rows.end()) {
        RequireNamed(error, odd->line, "cells where the first row has");
    } else {
        RequireNamed(error, file.problemLine, file.problemLine > 0 ? file.problem : "single row");
    }
}

/// Loading takes some twenty times as long as reading. Of the inputs that libFuzzer makes up one in
/// 16 is loaded, of those that are replayed each.
bool IsLoaded([[maybe_unused]] std::string_view text) {
#ifdef ETABULON_FUZZ
    return Chaine::FoldHash(text) % 16 == 0;
#else
    return true;
#endif
}

}  // namespace
}  // namespace etabulon::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace etabulon;
    using namespace etabulon::fuzz;
    static const MemoryFile memory;
    Choices choices(bytes, size);
    ECsvOptions options;
    const char separators[] = {',', ';', '\t', '|'};
    options.separator = choices.Of(separators);
    options.header = choices.Below(2) == 0;
    options.table = "t";
    const std::string_view text = choices.Rest();
    if (text.starts_with("\x1F\x8B")) {
        return 0;  // packed by gzip
    }
    memory.Hold(text);
    const File file = LiteralReader(text, options.separator).Read();
    CheckReader(memory.Path(), options.separator, file);
    if (FirstOfOtherLength(file.rows) == file.rows.end()) {
        CheckTypes(file.rows);
    }
    if (IsLoaded(text)) {
        CheckLoading(memory.Path(), options, file);
    }
    return 0;
}
