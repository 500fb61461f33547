#include "apps/etabulon/output/CliJsonWriter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"

#include <algorithm>

namespace etabulon {
namespace {

/// A string with the appending functions of an output.
struct StringOutput {
    std::string& text;
    void Append(std::string_view more) { text += more; }
};

bool IsPlain(char c) noexcept { return c >= ' ' && c < '\x7F' && c != '"' && c != '\\'; }

template <class Output>
void PutEscape(Output& output, char c) {
    constexpr std::string_view kEscaped = "\"\\\b\f\n\r\t";
    constexpr std::string_view kLetters = "\"\\bfnrt";
    const std::size_t known = kEscaped.find(c);
    if (known != std::string_view::npos) {
        const std::array<char, 2> escape = {'\\', kLetters[known]};
        output.Append(std::string_view(escape.data(), escape.size()));
        return;
    }
    output.Append(std::string_view("\\u00"));
    AppendHex(output, std::string_view(&c, 1));
}

/// Requires UTF-8.
template <class Output>
void PutString(Output& output, std::string_view text) {
    output.Append(std::string_view("\""));
    while (!text.empty()) {
        const auto end = std::find_if(text.begin(), text.end(), [](char c) {
            return (c >= 0 && c < ' ') || c == '"' || c == '\\' || c == '\x7F';
        });
        const auto length = static_cast<std::size_t>(end - text.begin());
        output.Append(text.substr(0, length));
        if (length == text.size()) {
            break;
        }
        PutEscape(output, text[length]);
        text.remove_prefix(length + 1);
    }
    output.Append(std::string_view("\""));
}

void PutBytes(CliOutput& output, std::string_view bytes) {
    output.Append(R"({"hex":")");
    AppendHex(output, bytes);
    output.Append(R"("})");
}

void PutText(CliOutput& output, std::string_view text) {
    if (std::all_of(text.begin(), text.end(), IsPlain)) {
        output.Append('"');
        output.Append(text);
        output.Append('"');
    } else if (IsUtf8(text)) {
        PutString(output, text);
    } else {
        PutBytes(output, text);
    }
}

}  // namespace

void AppendJson(CliOutput& output, const CliCell& cell) {
    switch (cell.kind) {
        case CliCellKind::Null:
        case CliCellKind::Absent:
            output.Append("null");
            break;
        case CliCellKind::Text:
            PutText(output, cell.text);
            break;
        case CliCellKind::Differing:
            output.Append(R"({"special":"differ"})");
            break;
        case CliCellKind::Bytes:
            PutBytes(output, cell.text);
            break;
        default:
            output.Append(cell.text);
            break;
    }
}

std::string JsonName(std::string_view name) {
    std::string text;
    StringOutput output{text};
    if (IsUtf8(name)) {
        PutString(output, name);
    } else {
        // JSON takes only a string here: bytes that aren't UTF-8 are escaped as in messages.
        std::string shown;
        AppendShown(shown, name);
        PutString(output, shown);
    }
    return text;
}

void CliJsonWriter::Begin(std::span<const CliColumn> columns) {
    for (const CliColumn& column : columns) {
        std::string& head = heads_.emplace_back(heads_.empty() ? "{" : ",");
        head += JsonName(column.name);
        head += ':';
    }
    if (isArray_) {
        Output().Append('[');
    }
}

void CliJsonWriter::Cell(const CliCell& cell) {
    CliOutput& output = Output();
    if (place_ == 0 && isArray_) {
        output.EndLine(hasRecords_ ? "," : "");
    }
    hasRecords_ = true;
    output.Append(heads_[place_++]);
    AppendJson(output, cell);
}

void CliJsonWriter::EndRecord() {
    Output().Append('}');
    if (!isArray_) {
        Output().EndLine();
    }
    place_ = 0;
}

void CliJsonWriter::Finish(bool isWhole) {
    if (!isArray_) {
        return;
    }
    if (isWhole && hasRecords_) {
        Output().EndLine();
    }
    Output().EndLine(isWhole ? "]" : "");
}

}  // namespace etabulon
