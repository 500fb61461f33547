#include "etabulon/report/EReportDelimited.h"

#include <algorithm>

namespace etabulon {
namespace {

// Compares in place: for cells this short find_first_of costs several times as much.

bool IsQuotedInCsv(char c) noexcept { return c == ',' || c == '"' || c == '\r' || c == '\n'; }

bool IsEscapedInTsv(char c) noexcept {
    return c == '\t' || c == '\n' || c == '\r' || c == '\\' || c == '\0';
}

}  // namespace

void EReportDelimitedWriter::Begin(std::span<const EReportColumn> columns) {
    for (const EReportColumn& column : columns) {
        Cell(EReportCellMaker::Of(std::string_view(column.name)));
    }
    EndRecord();
}

void EReportDelimitedWriter::Cell(const EReportCell& cell) {
    if (!isFirst_) {
        line_ += separator_;
    }
    isFirst_ = false;
    switch (cell.kind) {
        case EReportKind::Null:
        case EReportKind::Absent:
            PutNull(line_);
            break;
        case EReportKind::Text:
            PutText(line_, cell.text);
            break;
        case EReportKind::Bytes:
            // An empty blob isn't NULL: it is written as an empty text.
            cell.text.empty() ? PutText(line_, {}) : AppendHex(line_, cell.text);
            break;
        case EReportKind::Differing:
            PutDiffering(line_);
            break;
        default:
            line_ += cell.text;
            break;
    }
}

void EReportDelimitedWriter::EndRecord() {
    sink_.EndLine(line_);
    line_.clear();
    isFirst_ = true;
}

void EReportCsvWriter::PutText(std::string& line, std::string_view text) {
    // Blanks at the ends are quoted because many readers would trim them.
    const bool isPlain = !text.empty() && text != kDiffering && text.front() != ' ' &&
                         text.back() != ' ' &&
                         std::none_of(text.begin(), text.end(), IsQuotedInCsv);
    if (isPlain) {
        line += text;
        return;
    }
    line += '"';
    for (;;) {
        const std::size_t quote = text.find('"');
        line += text.substr(0, quote);
        if (quote == std::string_view::npos) {
            break;
        }
        line += "\"\"";
        text.remove_prefix(quote + 1);
    }
    line += '"';
}

void EReportTsvWriter::PutText(std::string& line, std::string_view text) {
    constexpr std::string_view kEscaped("\t\n\r\\\0", 5);
    constexpr std::string_view kLetters = "tnr\\0";
    for (;;) {
        const auto found = std::find_if(text.begin(), text.end(), IsEscapedInTsv);
        const auto length = static_cast<std::size_t>(found - text.begin());
        line += text.substr(0, length);
        if (length == text.size()) {
            return;
        }
        line += '\\';
        line += kLetters[kEscaped.find(text[length])];
        text.remove_prefix(length + 1);
    }
}

}  // namespace etabulon
