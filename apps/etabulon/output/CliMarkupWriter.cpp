#include "apps/etabulon/output/CliMarkupWriter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"

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
    for (std::size_t place = 0; place < line.size(); ++place) {
        const char c = line[place];
        // An underscore within a word is plain, and column names often have one.
        const bool isMark = c == '_' && (place == 0 || place + 1 == line.size() ||
                                         !IsWord(line[place - 1]) || !IsWord(line[place + 1]));
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
void AppendContent(std::string& markup, const CliCell& cell, Escape escape) {
    switch (cell.kind) {
        case CliCellKind::Null:
            markup += "NULL";
            break;
        case CliCellKind::Text: {
            // Without quotes the text could be taken for NULL or for nothing.
            const std::string text = IsMistakable(cell.text) ? '"' + std::string(cell.text) + '"'
                                                             : std::string(cell.text);
            AppendLines(markup, text, escape);
            break;
        }
        case CliCellKind::Bytes:
            cell.text.empty() ? escape(markup, "\"\"") : AppendHex(markup, cell.text);
            break;
        default:
            markup += cell.text;
            break;
    }
}

std::string_view ClassOf(CliCellKind kind) noexcept {
    switch (kind) {
        case CliCellKind::Null:
            return R"( class="null")";
        case CliCellKind::Absent:
            return R"( class="absent")";
        case CliCellKind::Differing:
            return R"( class="differing")";
        case CliCellKind::Number:
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

void CliMarkdownWriter::Begin(std::span<const CliColumn> columns) {
    for (const CliColumn& column : columns) {
        text_ = "| ";
        AppendLines(text_, column.name, AppendMarkdownLine);
        Output().Append(text_);
        Output().Append(' ');
    }
    Output().EndLine("|");
    for (const CliColumn& column : columns) {
        Output().Append(column.isNumber ? "| ---: " : "| --- ");
    }
    Output().EndLine("|");
}

void CliMarkdownWriter::Cell(const CliCell& cell) {
    text_.clear();
    AppendContent(text_, cell, AppendMarkdownLine);
    const std::string_view mark = isTotal_ && !text_.empty() ? "**" : "";
    Output().Append("| ");
    Output().Append(mark);
    Output().Append(text_);
    Output().Append(mark);
    Output().Append(text_.empty() ? "" : " ");
}

void CliMarkdownWriter::EndRecord() {
    Output().EndLine("|");
    isTotal_ = false;
}

void CliHtmlWriter::PutCell(std::string_view name, std::string_view attributes,
                            std::string_view content) {
    Output().Append('<');
    Output().Append(name);
    Output().Append(attributes);
    Output().Append('>');
    Output().Append(content);
    Output().Append("</");
    Output().Append(name);
    Output().Append('>');
}

void CliHtmlWriter::Begin(std::span<const CliColumn> columns) {
    text_.clear();
    AppendLines(text_, title_, AppendHtmlLine);
    Output().EndLine("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">");
    std::string plainTitle = text_;
    for (std::size_t at = 0; (at = plainTitle.find("<br>", at)) != std::string::npos;) {
        plainTitle.replace(at, 4, " ");  // a title has no elements
    }
    PutCell("title", {}, plainTitle);
    Output().EndLine();
    Output().EndLine(kHtmlStyle);
    Output().EndLine("</head>\n<body>\n<table>");
    PutCell("caption", {}, text_);
    Output().EndLine("\n<thead>");
    Output().Append("<tr>");
    for (const CliColumn& column : columns) {
        isLabel_.push_back(column.isLabel);
        text_.clear();
        AppendLines(text_, column.name, AppendHtmlLine);
        PutCell("th", column.isNumber ? R"( scope="col" class="number")" : R"( scope="col")",
                text_);
    }
    Output().EndLine("</tr>\n</thead>\n<tbody>");
}

void CliHtmlWriter::Cell(const CliCell& cell) {
    if (place_ == 0) {
        Output().Append(isTotal_ ? R"(<tr class="total">)" : "<tr>");
    }
    text_.clear();
    AppendContent(text_, cell, AppendHtmlLine);
    std::string attributes(ClassOf(cell.kind));
    if (isLabel_[place_]) {
        attributes = R"( scope="row")" + attributes;
    }
    PutCell(isLabel_[place_] ? "th" : "td", attributes, text_);
    ++place_;
}

void CliHtmlWriter::EndRecord() {
    Output().EndLine("</tr>");
    place_ = 0;
    isTotal_ = false;
}

void CliHtmlWriter::Finish(bool isWhole) {
    if (isWhole) {
        Output().EndLine("</tbody>\n</table>\n</body>\n</html>");
    }
}

}  // namespace etabulon
