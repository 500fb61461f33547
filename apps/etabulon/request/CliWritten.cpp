#include "apps/etabulon/request/CliWritten.h"

#include "apps/etabulon/output/CliCell.h"
#include "apps/etabulon/request/CliDerivation.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/foundation/EVariant.h"

namespace etabulon {
namespace {

std::string InQuotes(std::string_view text) {
    std::string written = "\"";
    for (const char c : text) {
        written.append(c == '"' ? 2 : 1, c);
    }
    return written + '"';
}

/// If only one part of table.name were quoted, it would be read as one name: both are, or none.
std::string WrittenStep(const CliPathStep& step) {
    if (!step.table) {
        const bool hasDot = step.isQuoted && step.name.find('.') != std::string::npos;
        return hasDot ? InQuotes(step.name) : WrittenName(step.name);
    }
    const bool isPlain = WrittenName(*step.table) == *step.table &&
                         step.table->find('.') == std::string::npos &&
                         WrittenName(step.name) == step.name;
    return isPlain ? *step.table + '.' + step.name
                   : InQuotes(*step.table) + '.' + InQuotes(step.name);
}

std::string AsGiven(const std::string& text, bool isQuoted) {
    return !isQuoted && text == "NULL" ? text : WrittenWord(text);
}

}  // namespace

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kCliBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kCliBlanks) + 1 - first);
}

std::string_view WordOf(CliEditKind kind) noexcept {
    for (const auto& [word, known] : kCliEditWords) {
        if (known == kind) {
            return word;
        }
    }
    return {};
}

std::string WrittenWord(std::string_view text) {
    const bool isPlain = text == Trimmed(text) && text != "NULL" &&
                         text.find_first_of("\",:>=\n\r") == std::string_view::npos &&
                         text.find(kCliBackward) == std::string_view::npos;
    return isPlain ? std::string(text) : InQuotes(text);
}

std::string WrittenValue(const EVariant& value) {
    CliCellMaker maker;
    const CliCell cell = maker.Of(value);
    switch (cell.kind) {
        case CliCellKind::Null:
            return "NULL";
        case CliCellKind::Bytes: {
            std::string digits;
            AppendHex(digits, cell.text);
            return digits;
        }
        default:
            return WrittenWord(cell.text);
    }
}

std::string WrittenName(std::string_view name) {
    if (name.empty()) {
        return "\"\"";
    }
    return LooksDerived(name) ? InQuotes(name) : WrittenWord(name);
}

std::string WrittenPath(const std::vector<CliPathStep>& steps) {
    std::string written;
    for (const CliPathStep& step : steps) {
        written += WrittenStep(step);
        if (step.mark == kLinkForward) {
            written += kLinkForward;
        } else if (step.mark == kLinkBackward) {
            written += kCliBackward;
        }
    }
    return written;
}

std::string WrittenEdit(const CliEditChoice& edit) {
    std::string written(WordOf(edit.kind));
    written += ' ';
    for (const CliPlaceChoice& place : edit.places) {
        written += &place == &edit.places.front() ? "" : ",";
        written += WrittenPath(place.path.steps) + '=' + AsGiven(place.value, place.isQuoted);
    }
    if (edit.kind == CliEditKind::Set) {
        written += ':' + WrittenPath(edit.column.steps) + '=' +
                   AsGiven(edit.value.text, edit.value.isQuoted);
    }
    return written;
}

}  // namespace etabulon
