#include "ECsvReader.h"

#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"

#include <algorithm>

namespace etabulon {

namespace {

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
        char before = 0;
        for (const char c : cell.text) {
            self.breaks_ += c == '\r' || (c == '\n' && before != '\r') ? 1 : 0;
            before = c;
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

/// Cuts a file into lines, which end with a line feed, a carriage return, or both.
class Lines {
public:
    explicit Lines(ECsvInput& input) : input_(input) { input_.Rewind(); }

    /// The next line with its end, valid until the next call. Empty at the end of the file, and
    /// behind a failure.
    [[nodiscard]] std::string_view Next() {
        std::size_t searched = 0;
        for (;;) {
            const auto end =
                std::find_if(bytes_.begin() + static_cast<std::ptrdiff_t>(at_ + searched),
                             bytes_.end(), [](char c) { return c == '\n' || c == '\r'; });
            auto next = static_cast<std::size_t>(end - bytes_.begin());
            // What follows a carriage return at the end of the bytes isn't read yet.
            if (isEnd_ || (next < bytes_.size() && (*end == '\n' || next + 1 < bytes_.size()))) {
                next += std::string_view(bytes_).substr(next, 2) == "\r\n" ? 2 : 1;
                next = std::min(next, bytes_.size());
                const std::string_view line(bytes_.data() + at_, next - at_);
                at_ = next;
                return line;
            }
            searched = next - at_;
            bytes_.erase(0, at_);
            at_ = 0;
            Refill();
        }
    }
    [[nodiscard]] bool HasFailed() const noexcept { return hasFailed_; }

private:
    void Refill() {
        constexpr std::size_t kAtOnce = std::size_t{1} << 18;
        const std::size_t before = bytes_.size();
        std::size_t count = 0;
        bytes_.resize(before + kAtOnce);
        hasFailed_ = !input_.Read(bytes_.data() + before, kAtOnce, count);
        isEnd_ = count < kAtOnce;
        bytes_.resize(hasFailed_ ? 0 : before + count);
    }

    ECsvInput& input_;
    std::string bytes_;
    std::size_t at_ = 0;
    bool isEnd_ = false;  // bytes_ has the rest of the file
    bool hasFailed_ = false;
};

}  // namespace

bool ReadCsv(ECsvInput& input, char separator, ECsvRows& rows, ESqlError& error) {
    Lines lines(input);
    Reader reader(separator, rows);
    for (std::string_view line = lines.Next(); !line.empty(); line = lines.Next()) {
        if (reader.Line() == 0) {
            line.remove_prefix(CsvPreambleOf(line).size);
        }
        if (!reader.TakeLine(line)) {
            if (!reader.IsRefused()) {
                error = CsvError(input.Name(), reader.Line(), kCsvStrayQuote);
            }
            return false;
        }
    }
    if (lines.HasFailed()) {
        error = CsvError(input.Name(), reader.Line(), input.Problem());
        return false;
    }
    if (!reader.End()) {
        if (!reader.IsRefused()) {
            error = CsvError(input.Name(), reader.Line(), kCsvOpenQuote);
        }
        return false;
    }
    return true;
}

}  // namespace etabulon
