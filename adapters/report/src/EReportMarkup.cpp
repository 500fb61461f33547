#include "etabulon/report/EReportMarkup.h"

#include "etabulon/report/EReportText.h"

#include <algorithm>

namespace etabulon {
namespace {

bool IsWord(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           static_cast<unsigned char>(c) >= 0x80U;
}

/// Appends lines joined by <br>. Each is made fit to be shown, then escaped by `escape`.
template <class Escape>
void AppendLines(std::string& markup, std::string_view text, Escape escape) {
    for (;;) {
        const std::size_t end = text.find('\n');
        std::string shown;
        AppendShown(shown, text.substr(0, end));
        escape(markup, shown);
        if (end == std::string_view::npos) {
            return;
        }
        markup += "<br>";
        text.remove_prefix(end + 1);
    }
}

void AppendMarkdownLine(std::string& markup, std::string_view line) {
    constexpr std::string_view kEscaped = "\\`*[]<>|~&";
    for (std::size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        // An underscore within a word is plain, and column names often have one.
        const bool isMark = c == '_' && (at == 0 || at + 1 == line.size() ||
                                         !IsWord(line[at - 1]) || !IsWord(line[at + 1]));
        if (isMark || kEscaped.find(c) != std::string_view::npos) {
            markup += '\\';
        }
        markup += c;
    }
}

void AppendHtmlLine(std::string& markup, std::string_view line) {
    for (const char c : line) {
        switch (c) {
            case '&':
                markup += "&amp;";
                break;
            case '<':
                markup += "&lt;";
                break;
            case '>':
                markup += "&gt;";
                break;
            case '"':
                markup += "&quot;";
                break;
            default:
                markup += c;
                break;
        }
    }
}

/// The content of a cell; `escape` as for AppendLines.
template <class Escape>
void AppendContent(std::string& markup, const EReportCell& cell, Escape escape) {
    switch (cell.kind) {
        case EReportKind::Null:
            markup += "NULL";
            break;
        case EReportKind::Text: {
            // Without quotes the text could be taken for NULL or for nothing.
            const std::string text = IsMistakable(cell.text) ? '"' + std::string(cell.text) + '"'
                                                             : std::string(cell.text);
            AppendLines(markup, text, escape);
            break;
        }
        case EReportKind::Bytes:
            cell.text.empty() ? escape(markup, "\"\"") : AppendHex(markup, cell.text);
            break;
        default:
            markup += cell.text;
            break;
    }
}

std::string_view ClassOf(EReportKind kind) noexcept {
    switch (kind) {
        case EReportKind::Null:
            return R"( class="null")";
        case EReportKind::Absent:
            return R"( class="absent")";
        case EReportKind::Differing:
            return R"( class="differing")";
        case EReportKind::Number:
            return R"( class="number")";
        default:
            return {};
    }
}

constexpr std::string_view kHtmlStyle =
    "<style>\n"
    "table { border-collapse: collapse; font-family: sans-serif; }\n"
    "caption { text-align: left; padding-bottom: 0.5em; }\n"
    "th, td { border: 1px solid #bbb; padding: 0.2em 0.6em; text-align: left; }\n"
    ".number { text-align: right; }\n"
    ".null, .differing { color: #666; }\n"
    ".total { font-weight: bold; }\n"
    "</style>";

}  // namespace

void EReportMarkdownWriter::Begin(std::span<const EReportColumn> columns) {
    for (const EReportColumn& column : columns) {
        text_ = "| ";
        AppendLines(text_, column.name, AppendMarkdownLine);
        sink_.Append(text_);
        sink_.Append(" ");
    }
    sink_.EndLine("|");
    for (const EReportColumn& column : columns) {
        sink_.Append(column.isNumber ? "| ---: " : "| --- ");
    }
    sink_.EndLine("|");
}

void EReportMarkdownWriter::Cell(const EReportCell& cell) {
    text_.clear();
    AppendContent(text_, cell, AppendMarkdownLine);
    const std::string_view mark = isTotal_ && !text_.empty() ? "**" : "";
    sink_.Append("| ");
    sink_.Append(mark);
    sink_.Append(text_);
    sink_.Append(mark);
    sink_.Append(text_.empty() ? "" : " ");
}

void EReportMarkdownWriter::EndRecord() {
    sink_.EndLine("|");
    isTotal_ = false;
}

void EReportHtmlWriter::PutCell(std::string_view name, std::string_view attributes,
                                std::string_view content) {
    sink_.Append("<");
    sink_.Append(name);
    sink_.Append(attributes);
    sink_.Append(">");
    sink_.Append(content);
    sink_.Append("</");
    sink_.Append(name);
    sink_.Append(">");
}

void EReportHtmlWriter::Begin(std::span<const EReportColumn> columns) {
    text_.clear();
    AppendLines(text_, title_, AppendHtmlLine);
    sink_.EndLine("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">");
    std::string plainTitle = text_;
    for (std::size_t at = 0; (at = plainTitle.find("<br>", at)) != std::string::npos;) {
        plainTitle.replace(at, 4, " ");  // a title has no elements
    }
    PutCell("title", {}, plainTitle);
    sink_.EndLine({});
    sink_.EndLine(kHtmlStyle);
    sink_.EndLine("</head>\n<body>\n<table>");
    PutCell("caption", {}, text_);
    sink_.EndLine("\n<thead>");
    sink_.Append("<tr>");
    for (const EReportColumn& column : columns) {
        isLabel_.push_back(column.isLabel);
        text_.clear();
        AppendLines(text_, column.name, AppendHtmlLine);
        PutCell("th", column.isNumber ? R"( scope="col" class="number")" : R"( scope="col")",
                text_);
    }
    sink_.EndLine("</tr>\n</thead>\n<tbody>");
}

void EReportHtmlWriter::Cell(const EReportCell& cell) {
    if (column_ == 0) {
        sink_.Append(isTotal_ ? R"(<tr class="total">)" : "<tr>");
    }
    text_.clear();
    AppendContent(text_, cell, AppendHtmlLine);
    std::string attributes(ClassOf(cell.kind));
    if (isLabel_[column_]) {
        attributes = R"( scope="row")" + attributes;
    }
    PutCell(isLabel_[column_] ? "th" : "td", attributes, text_);
    ++column_;
}

void EReportHtmlWriter::EndRecord() {
    sink_.EndLine("</tr>");
    column_ = 0;
    isTotal_ = false;
}

void EReportHtmlWriter::Finish(bool isWhole) {
    if (isWhole) {
        sink_.EndLine("</tbody>\n</table>\n</body>\n</html>");
    }
}

}  // namespace etabulon
