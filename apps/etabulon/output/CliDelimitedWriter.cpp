#include "apps/etabulon/output/CliDelimitedWriter.h"

#include "apps/etabulon/output/CliOutput.h"

#include <algorithm>

namespace etabulon {
namespace {

// Compares in place: for cells this short find_first_of costs several times as much.

bool IsQuotedInCsv(char c) noexcept { return c == ',' || c == '"' || c == '\r' || c == '\n'; }

bool IsEscapedInTsv(char c) noexcept {
    return c == '\t' || c == '\n' || c == '\r' || c == '\\' || c == '\0';
}

}  // namespace

void CliDelimitedWriter::Begin(std::span<const CliColumn> columns) {
    for (const CliColumn& column : columns) {
        Cell(CliCellMaker::Of(std::string_view(column.name)));
    }
    EndRecord();
}

void CliDelimitedWriter::Cell(const CliCell& cell) {
    if (!isFirst_) {
        Output().Append(separator_);
    }
    isFirst_ = false;
    switch (cell.kind) {
        case CliCellKind::Null:
            PutNull();
            break;
        case CliCellKind::Text:
            PutText(cell.text);
            break;
        case CliCellKind::Bytes:
            // An empty blob isn't NULL: it is written as an empty text.
            cell.text.empty() ? PutText({}) : AppendHex(Output(), cell.text);
            break;
        case CliCellKind::Absent:
            PutNull();
            break;
        case CliCellKind::Differing:
            PutDiffering();
            break;
        default:
            Output().Append(cell.text);
            break;
    }
}

void CliDelimitedWriter::EndRecord() {
    Output().EndLine();
    isFirst_ = true;
}

void CliCsvWriter::PutText(std::string_view text) {
    // Blanks at the ends are quoted because many readers would trim them.
    const bool isPlain = !text.empty() && text != kDiffering && text.front() != ' ' &&
                         text.back() != ' ' &&
                         std::none_of(text.begin(), text.end(), IsQuotedInCsv);
    if (isPlain) {
        Output().Append(text);
        return;
    }
    Output().Append('"');
    for (;;) {
        const std::size_t quote = text.find('"');
        Output().Append(text.substr(0, quote));
        if (quote == std::string_view::npos) {
            break;
        }
        Output().Append("\"\"");
        text.remove_prefix(quote + 1);
    }
    Output().Append('"');
}

void CliTsvWriter::PutNull() { Output().Append("\\N"); }

void CliTsvWriter::PutText(std::string_view text) {
    constexpr std::string_view kEscaped("\t\n\r\\\0", 5);
    constexpr std::string_view kLetters = "tnr\\0";
    for (;;) {
        const auto found = std::find_if(text.begin(), text.end(), IsEscapedInTsv);
        const auto place = static_cast<std::size_t>(found - text.begin());
        Output().Append(text.substr(0, place));
        if (place == text.size()) {
            return;
        }
        Output().Append('\\');
        Output().Append(kLetters[kEscaped.find(text[place])]);
        text.remove_prefix(place + 1);
    }
}

}  // namespace etabulon
