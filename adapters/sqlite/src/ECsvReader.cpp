#include "ECsvReader.h"

#include "etabulon/csv/ECsvTypes.h"

#include <filesystem>
#include <fstream>

namespace etabulon {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

int NoSpace(unsigned char) { return 0; }  // blanks are part of their cell

/// Gives libcsv one line at a time, to know the line of every row.
class Reader {
public:
    Reader(char separator, ECsvRows& rows) : rows_(rows) {
        ok_ = csv_init(&parser_,
                       CSV_STRICT | CSV_STRICT_FINI | CSV_EMPTY_IS_NULL | CSV_APPEND_NULL) == 0;
        csv_set_delim(&parser_, static_cast<unsigned char>(separator));
        csv_set_space_func(&parser_, &NoSpace);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { csv_free(&parser_); }

    /// False for bad quoting and after a refused row.
    [[nodiscard]] bool TakeLine(std::string_view line) {
        ++line_;
        return ok_ &&
               csv_parse(&parser_, line.data(), line.size(), &OnCell, &OnRow, this) ==
                   line.size() &&
               !refused_;
    }
    [[nodiscard]] bool End() { return csv_fini(&parser_, &OnCell, &OnRow, this) == 0 && !refused_; }
    [[nodiscard]] std::uint64_t Line() const noexcept { return line_; }
    [[nodiscard]] std::uint64_t RowLine() const noexcept { return rowLine_; }
    [[nodiscard]] bool IsRefused() const noexcept { return refused_; }

private:
    static void OnCell(void* bytes, std::size_t size, void* reader) {
        auto& self = *static_cast<Reader*>(reader);
        if (self.count_ == 0) {
            self.rowLine_ = self.line_;
        }
        if (self.count_ == self.cells_.size()) {
            self.cells_.emplace_back();
        }
        ECsvCell& cell = self.cells_[self.count_++];
        cell.isEmpty = bytes == nullptr;
        cell.text.assign(bytes != nullptr ? static_cast<const char*>(bytes) : "", size);
        for (const char c : cell.text) {
            self.breaks_ += c == '\n' ? 1 : 0;
        }
        if (self.count_ == 1) {
            self.rowLine_ -= self.breaks_;
        }
    }
    static void OnRow(int, void* reader) {
        auto& self = *static_cast<Reader*>(reader);
        self.cells_.resize(self.count_);
        if (!self.refused_) {
            self.refused_ = !self.rows_.TakeRow(self.cells_, self.rowLine_);
        }
        self.count_ = 0;
        self.breaks_ = 0;
    }

    csv_parser parser_{};
    ECsvRows& rows_;
    std::vector<ECsvCell> cells_;
    std::size_t count_ = 0;
    std::uint64_t line_ = 0;     // the last line read
    std::uint64_t rowLine_ = 0;  // the line of the row's first cell
    std::uint64_t breaks_ = 0;   // line breaks within quotes in this row
    bool ok_ = false;
    bool refused_ = false;
};

}  // namespace

bool ReadCsv(const Chaine& path, char separator, ECsvRows& rows, ESqlError& error) {
    std::error_code failure;
    std::ifstream file(path.c_str(), std::ios::binary);
    if (std::filesystem::is_directory(path.c_str(), failure) || !file) {
        error = CsvError(path, 0, "there is no such file, or it can't be read");
        return false;
    }
    Reader reader(separator, rows);
    std::string line;
    while (std::getline(file, line)) {
        if (!file.eof()) {
            line.push_back('\n');
        }
        std::string_view bytes = line;
        if (reader.Line() == 0 && bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            bytes.remove_prefix(kByteOrderMark.size());
        }
        if (!reader.TakeLine(bytes)) {
            if (!reader.IsRefused()) {
                error = CsvError(path, reader.Line(), "a quote stands where none may be");
            }
            return false;
        }
    }
    if (file.bad()) {
        error = CsvError(path, reader.Line(), "the file can't be read any further");
        return false;
    }
    if (!reader.End()) {
        if (!reader.IsRefused()) {
            error = CsvError(path, reader.Line(), "the file ends within quotes");
        }
        return false;
    }
    return true;
}

}  // namespace etabulon
