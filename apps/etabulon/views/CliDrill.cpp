#include "apps/etabulon/views/CliDrill.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "etabulon/foundation/EDataType.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

namespace etabulon {
namespace {

/// How a word names a label. In quotes by the label's text, or else as the label is printed, where
/// that has marks of its own; or else by the value that the label stands for.
enum class Naming : std::uint8_t { OfText = 0, OfPrint = 1, OfData = 2 };
constexpr std::array kNamings = {Naming::OfText, Naming::OfPrint, Naming::OfData};

/// `data` is null for values that are shown themselves.
bool IsMeant(const EVariant& label, const EVariant* data, const CliWordChoice& word,
             Naming naming) {
    if (naming == Naming::OfData && data != nullptr && !data->IsMissing() &&
        data->AsChaine().View() == word.text) {
        return true;
    }
    const std::string shown = LabelText(label);
    if (!word.isQuoted) {
        return shown == word.text && label.IsMissing() == (word.text == "NULL");
    }
    return !label.IsMissing() &&
           (naming == Naming::OfText
                ? label.AsChaine().View() == word.text
                : shown == fmt::format("\"{}\"", word.text) ||
                      (shown == word.text &&
                       TypeInfo(label.Type()).valueClass != EValueClass::Text));
}

/// Several values have the label that the word names.
CliFailure TellAlike(const CliWordChoice& word, const std::string& level,
                     const std::vector<std::string>& data) {
    return {CliExit::Failed,
            fmt::format("{} in --drill is the label of {} values of {}: name one "
                        "of them by the value itself{}",
                        Quoted(word.text), data.size(), Quoted(level), WhatThereIs({}, data))};
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
    for (const Naming naming : kNamings) {
        std::vector<unsigned int> found;
        std::vector<std::string> data;
        for (unsigned int index = 0; index < count; ++index) {
            const CliCrossLabel& label = axis.labels[index];
            if (IsMeant(label.values.front(), label.data ? &*label.data : nullptr, word, naming)) {
                found.push_back(index);
                data.push_back(WrittenValue(label.data.value_or(label.values.front())));
            }
        }
        if (found.size() > 1) {
            return TellAlike(word, axis.titles.front(), data);
        }
        if (!found.empty()) {
            return found.front();
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

    /// None if there is no such entry.
    [[nodiscard]] CliResult<std::optional<std::uint32_t>> Find(
        std::span<const CliWordChoice> words) {
        // A word that means others may be a label too, which is quoted then.
        for (const Naming naming : kNamings) {
            for (const bool isOfOthers : {true, false}) {
                const std::vector<std::uint32_t> found = Find(words, isOfOthers, naming);
                if (found.size() > 1) {
                    return ExplainAlike(words, found);
                }
                if (!found.empty()) {
                    return std::optional(found.front());
                }
            }
        }
        return std::optional<std::uint32_t>();
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
        if (IsBare(words[furthest], kOthers)) {
            return {CliExit::Failed,
                    fmt::format("there are no others of {} for --drill: --others puts what a limit "
                                "leaves out into one line",
                                Quoted(level))};
        }
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
    [[nodiscard]] std::vector<std::uint32_t> Find(std::span<const CliWordChoice> words,
                                                  bool isOfOthers, Naming naming) {
        std::vector<std::uint32_t> found;
        for (std::uint32_t index = 0; index < table_.Count(side_); ++index) {
            const ECrossEntry entry = table_.Entry(side_, index);
            if ((entry.part == ECrossEntry::Others) == isOfOthers &&
                MatchedWords(index, entry, words, naming) == words.size()) {
                found.push_back(index);
            }
        }
        return found;
    }
    /// By the first level at which the entries differ.
    [[nodiscard]] CliFailure ExplainAlike(std::span<const CliWordChoice> words,
                                          std::span<const std::uint32_t> alike) {
        std::vector<std::string> data;
        std::size_t level = 0;
        for (; level < words.size() && data.size() < 2; ++level) {
            data.clear();
            for (const std::uint32_t index : alike) {
                table_.ReadLabel(side_, index, label_);
                const EVariant* const value = DataAt(level);
                std::string written = value != nullptr ? WrittenValue(*value) : std::string();
                if (std::find(data.begin(), data.end(), written) == data.end()) {
                    data.push_back(std::move(written));
                }
            }
        }
        return TellAlike(words[level - 1], levels_.all[axis_[level - 1]].shown, data);
    }
    [[nodiscard]] std::size_t KnownLevels(const ECrossEntry& entry) const noexcept {
        return entry.part == ECrossEntry::Detail ? axis_.size() : entry.depth;
    }
    /// Of the entry read last.
    [[nodiscard]] EVariant LabelAt(std::size_t place) const {
        return ShownLabel(levels_.all[axis_[place]], label_.Find(axis_[place]));
    }
    /// The value that the label stands for; null if it is shown itself.
    [[nodiscard]] const EVariant* DataAt(std::size_t index) const {
        const ETabulonValue* const value = label_.Find(axis_[index]);
        return value != nullptr && levels_.all[axis_[index]].HasLabel() ? &value->Data() : nullptr;
    }
    [[nodiscard]] std::size_t MatchedWords(std::uint32_t index, const ECrossEntry& entry,
                                           std::span<const CliWordChoice> words,
                                           Naming naming = Naming::OfText) {
        table_.ReadLabel(side_, index, label_);
        const std::size_t known = KnownLevels(entry);
        std::size_t place = 0;
        const auto matches = [&] {
            if (place < known) {
                return IsMeant(LabelAt(place), DataAt(place), words[place], naming);
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
    const CliResult<std::optional<std::uint32_t>> found = search.Find(words);
    if (!found) {
        return found.Failure();
    }
    return *found ? CliResult<std::uint32_t>(**found) : search.Explain(words, limit);
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
