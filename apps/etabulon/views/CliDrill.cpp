#include "apps/etabulon/views/CliDrill.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "etabulon/foundation/EDataType.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace etabulon {
namespace {

/// How a word in quotes names a label: by the label's text, or else as the label is printed, where
/// that has marks of its own.
enum class Quotes : std::uint8_t { OfText = 0, OfPrint = 1 };

bool IsMeant(const EVariant& label, const CliWordChoice& word, Quotes quotes) {
    const std::string shown = LabelText(label);
    if (!word.isQuoted) {
        return shown == word.text && label.IsMissing() == (word.text == "NULL");
    }
    return !label.IsMissing() &&
           (quotes == Quotes::OfText
                ? label.AsChaine().View() == word.text
                : shown == fmt::format("\"{}\"", word.text) ||
                      (shown == word.text &&
                       TypeInfo(label.Type()).valueClass != EValueClass::Text));
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
    for (const Quotes quotes : {Quotes::OfText, Quotes::OfPrint}) {
        for (unsigned int index = 0; index < count; ++index) {
            if (IsMeant(axis.labels[index].values.front(), word, quotes)) {
                return index;
            }
        }
    }
    std::vector<std::string> names;
    for (const CliCrossLabel& label : axis.labels) {
        names.push_back(WrittenLabel(label.values.front()));
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("{} in --drill isn't a label of {}{}", Quoted(word.text),
                                  Quoted(axis.titles.front()), WhatThereIs(word.text, names))};
}

bool IsBare(const CliWordChoice& word, std::string_view text) {
    return !word.isQuoted && word.text == text;
}

/// Compares the entries of an axis with words.
class EntrySearch {
public:
    EntrySearch(const ECrossTable& table, ECrossSide side, const CliLevels& levels,
                std::span<const unsigned int> axis)
        : table_(table), side_(side), levels_(levels), axis_(axis) {}

    [[nodiscard]] std::optional<std::uint32_t> Find(std::span<const CliWordChoice> words) {
        // A word that means others may be a label too, which is quoted then.
        for (const Quotes quotes : {Quotes::OfText, Quotes::OfPrint}) {
            for (const bool isOfOthers : {true, false}) {
                if (const auto found = Find(words, isOfOthers, quotes)) {
                    return found;
                }
            }
        }
        return std::nullopt;
    }
    [[nodiscard]] CliFailure Explain(std::span<const CliWordChoice> words, std::string_view limit) {
        std::size_t furthest = 0;
        std::vector<std::string> names;
        for (std::uint32_t index = 0; index < table_.Count(side_); ++index) {
            const ECrossEntry entry = table_.Entry(side_, index);
            const std::size_t matched = MatchedWords(index, entry, words);
            if (matched > furthest) {
                furthest = matched;
                names.clear();
            }
            if (matched == furthest && matched < KnownLevels(entry)) {
                std::string name = WrittenLabel(LabelAt(matched));
                if (names.empty() || names.back() != name) {
                    names.push_back(std::move(name));
                }
            }
        }
        furthest = std::min(furthest, words.size() - 1);
        const std::string& text = words[furthest].text;
        const std::string& level = levels_.all[axis_[furthest]].shown;
        if (!limit.empty()) {
            return {
                CliExit::Failed,
                fmt::format("{} in --drill isn't a label of {} that {} shows{}; without {} "
                            "those that it leaves out can be drilled into too",
                            Quoted(text), Quoted(level), limit, WhatThereIs(text, names), limit)};
        }
        return {CliExit::Failed, fmt::format("{} in --drill isn't a label of {}{}", Quoted(text),
                                             Quoted(level), WhatThereIs(text, names))};
    }

private:
    [[nodiscard]] std::optional<std::uint32_t> Find(std::span<const CliWordChoice> words,
                                                    bool isOfOthers, Quotes quotes) {
        for (std::uint32_t index = 0; index < table_.Count(side_); ++index) {
            const ECrossEntry entry = table_.Entry(side_, index);
            if ((entry.part == ECrossEntry::Others) == isOfOthers &&
                MatchedWords(index, entry, words, quotes) == words.size()) {
                return index;
            }
        }
        return std::nullopt;
    }
    [[nodiscard]] std::size_t KnownLevels(const ECrossEntry& entry) const noexcept {
        return entry.part == ECrossEntry::Detail ? axis_.size() : entry.depth;
    }
    /// Of the entry read last.
    [[nodiscard]] EVariant LabelAt(std::size_t place) const {
        return ShownLabel(levels_.all[axis_[place]], label_.Find(axis_[place]));
    }
    [[nodiscard]] std::size_t MatchedWords(std::uint32_t index, const ECrossEntry& entry,
                                           std::span<const CliWordChoice> words,
                                           Quotes quotes = Quotes::OfText) {
        table_.ReadLabel(side_, index, label_);
        const std::size_t known = KnownLevels(entry);
        std::size_t place = 0;
        const auto matches = [&] {
            if (place < known) {
                return IsMeant(LabelAt(place), words[place], quotes);
            }
            const bool isOthers = entry.part == ECrossEntry::Others && place == known;
            return IsBare(words[place], isOthers ? kOthers : kTotal);
        };
        while (place < words.size() && matches()) {
            ++place;
        }
        return place;
    }

    const ECrossTable& table_;
    ECrossSide side_;
    const CliLevels& levels_;
    std::span<const unsigned int> axis_;
    ETabulonTag label_;
};

}  // namespace

CliResult<std::uint32_t> FindEntry(const ECrossTable& table, ECrossSide side,
                                   const CliLevels& levels, std::span<const unsigned int> axis,
                                   std::span<const CliWordChoice> words, std::string_view limit) {
    if (std::all_of(words.begin(), words.end(),
                    [](const CliWordChoice& word) { return IsBare(word, kTotal); })) {
        return ECrossTable::kTotal;
    }
    EntrySearch search(table, side, levels, axis);
    if (const auto found = search.Find(words)) {
        return *found;
    }
    return search.Explain(words, limit);
}

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
