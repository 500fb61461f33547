#include "apps/etabulon/views/CliDrill.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/views/CliCrossPrinter.h"

#include <fmt/format.h>

namespace etabulon {
namespace {

bool IsMeant(const EVariant& label, const CliWordChoice& word) {
    const std::string shown = LabelText(label);
    if (label.IsMissing() || !word.isQuoted) {
        return shown == word.text && label.IsMissing() == (word.text == "NULL");
    }
    return shown == word.text || shown == fmt::format("\"{}\"", word.text);
}

/// The label in the form that --drill reads.
std::string WrittenLabel(const EVariant& label) {
    const std::string shown = LabelText(label);
    const bool isMarked = shown == fmt::format("\"{}\"", label.AsChaine().View());
    return label.IsMissing() || isMarked ? shown : WrittenWord(shown);
}

CliResult<unsigned int> FindLabel(const CliCrossAxis& axis, const CliWordChoice& word) {
    const auto count = static_cast<unsigned int>(axis.labels.size());
    if (!word.isQuoted && word.text == kTotal) {
        return count;
    }
    for (unsigned int index = 0; index < count; ++index) {
        if (IsMeant(axis.labels[index], word)) {
            return index;
        }
    }
    std::vector<std::string> names;
    for (const EVariant& label : axis.labels) {
        names.push_back(WrittenLabel(label));
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("{} in --drill isn't a label of {}{}", Quoted(word.text),
                                  Quoted(axis.title), WhatThereIs(word.text, names))};
}

}  // namespace

CliResult<CliCellPlace> FindCell(const CliCross& cross, std::string_view text) {
    const CliResult<std::vector<CliWordChoice>> words = ParseWords(text);
    if (!words) {
        return words.Failure();
    }
    const std::size_t axes = cross.columns.isData ? 2 : 1;
    // A calculation's column may be named too: all calculations have the same records.
    if (words->empty() || words->size() > 2 || words->size() < axes) {
        return CliFailure{CliExit::Usage, axes == 2 ? "--drill takes two labels: line,column"
                                                    : "--drill takes the label of a line"};
    }
    const CliResult<unsigned int> line = FindLabel(cross.lines, words->front());
    if (!line) {
        return line.Failure();
    }
    if (words->size() == 1) {
        return CliCellPlace{*line, 0};
    }
    const CliResult<unsigned int> column = FindLabel(cross.columns, words->back());
    if (!column) {
        return column.Failure();
    }
    return CliCellPlace{*line, *column};
}

}  // namespace etabulon
