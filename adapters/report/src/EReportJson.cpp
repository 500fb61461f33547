#include "etabulon/report/EReportJson.h"

#include "etabulon/report/EReportText.h"

#include <algorithm>

namespace etabulon {
namespace {

/// A string with the appending function of a sink.
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

template <class Output>
void PutBytes(Output& output, std::string_view bytes) {
    output.Append(R"({"hex":")");
    AppendHex(output, bytes);
    output.Append(R"("})");
}

template <class Output>
void PutText(Output& output, std::string_view text) {
    if (std::all_of(text.begin(), text.end(), IsPlain)) {
        output.Append("\"");
        output.Append(text);
        output.Append("\"");
    } else if (IsUtf8(text)) {
        PutString(output, text);
    } else {
        PutBytes(output, text);
    }
}

template <class Output>
void PutValue(Output& output, const EReportCell& cell) {
    switch (cell.kind) {
        case EReportKind::Null:
        case EReportKind::Absent:
            output.Append("null");
            break;
        case EReportKind::Text:
            PutText(output, cell.text);
            break;
        case EReportKind::Differing:
            output.Append(R"({"special":"differ"})");
            break;
        case EReportKind::Bytes:
            PutBytes(output, cell.text);
            break;
        default:
            output.Append(cell.text);
            break;
    }
}

}  // namespace

void AppendJson(EReportSink& sink, const EReportCell& cell) { PutValue(sink, cell); }

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

void EReportJsonWriter::Begin(std::span<const EReportColumn> columns) {
    for (const EReportColumn& column : columns) {
        std::string& head = heads_.emplace_back(heads_.empty() ? "{" : ",");
        head += JsonName(column.name);
        head += ':';
    }
    if (isArray_) {
        sink_.Append("[");
    }
}

void EReportJsonWriter::Cell(const EReportCell& cell) {
    if (next_ == 0 && isArray_) {
        sink_.EndLine(hasRecords_ ? "," : "");
    }
    hasRecords_ = true;
    record_ += heads_[next_++];
    StringOutput output{record_};
    PutValue(output, cell);
}

void EReportJsonWriter::EndRecord() {
    record_ += '}';
    // A comma may follow in an array.
    isArray_ ? sink_.Append(record_) : sink_.EndLine(record_);
    record_.clear();
    next_ = 0;
}

void EReportJsonWriter::Finish(bool isWhole) {
    if (!isArray_) {
        return;
    }
    if (isWhole && hasRecords_) {
        sink_.EndLine({});
    }
    sink_.EndLine(isWhole ? "]" : "");
}

}  // namespace etabulon
