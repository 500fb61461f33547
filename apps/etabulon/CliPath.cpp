#include "apps/etabulon/CliPath.h"

#include "apps/etabulon/CliUtf8.h"
#include "etabulon/foundation/ELinkEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace etabulon {
namespace {

constexpr std::string_view kBackwardText = "\xC2\xBB";  // » in UTF-8
constexpr std::string_view kBlanks = " \t";
constexpr std::array<std::pair<std::string_view, CliEditKind>, 3> kEditWords = {
    {{"set", CliEditKind::Set}, {"insert", CliEditKind::Insert}, {"delete", CliEditKind::Delete}}};

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

/// Where the first edit of a script ends: at the first line end outside of quotes. A quote opens a
/// text only where a name or value may begin.
std::size_t EndOfEdit(std::string_view text) {
    std::size_t place = std::min(text.find_first_not_of(kBlanks), text.size());
    if (place < text.size() && text[place] == '#') {
        return std::min(text.find('\n'), text.size());
    }
    place = std::min(text.find_first_of(" \t\n", place), text.size());
    bool mayOpen = true;
    bool isInQuotes = false;
    for (; place < text.size(); ++place) {
        const char c = text[place];
        if (isInQuotes) {
            isInQuotes = c != '"';
            // A doubled quote opens again at once.
            mayOpen = !isInQuotes;
        } else if (c == '\n') {
            return place;
        } else if (c == '"' && mayOpen) {
            isInQuotes = true;
        } else if (kBlanks.find(c) == std::string_view::npos) {
            constexpr std::string_view kStarts = ",:=>.\xBB";  // the last one ends a »
            mayOpen = kStarts.find(c) != std::string_view::npos;
        }
    }
    return text.size();
}

/// Goes through the text of an option from the left.
class Scanner {
public:
    Scanner(std::string_view text, CliFailure& failure) : text_(text), failure_(failure) {}

    [[nodiscard]] bool IsAtEnd() const noexcept { return place_ == text_.size(); }
    [[nodiscard]] bool Take(char c) {
        if (IsAtEnd() || text_[place_] != c) {
            return false;
        }
        ++place_;
        return true;
    }
    [[nodiscard]] bool ReadWord(std::string_view stops, CliWordChoice& word);
    [[nodiscard]] bool ReadPath(std::string_view stops, CliPath& path);
    void SkipBlanks() { place_ = std::min(text_.find_first_not_of(kBlanks, place_), text_.size()); }
    [[nodiscard]] std::size_t Place() const noexcept { return place_; }
    [[nodiscard]] std::string Since(std::size_t from) const {
        return std::string(Trimmed(text_.substr(from, place_ - from)));
    }
    bool Fail(std::string_view what) {
        return failure_.Set(CliExit::Usage, fmt::format("{} in {}", what, Quoted(text_)));
    }

private:
    [[nodiscard]] bool ReadQuoted(CliWordChoice& word);
    [[nodiscard]] bool ReadStep(std::string_view stops, CliPathStep& step);
    [[nodiscard]] char TakeMark();
    [[nodiscard]] bool IsBackwardAt(std::size_t place) const {
        return text_.substr(place, kBackwardText.size()) == kBackwardText;
    }

    std::string_view text_;
    std::size_t place_ = 0;
    CliFailure& failure_;
};

bool Scanner::ReadQuoted(CliWordChoice& word) {
    word.isQuoted = true;
    for (;;) {
        const std::size_t quote = text_.find('"', place_);
        if (quote == std::string_view::npos) {
            return Fail("a double quote isn't closed");
        }
        word.text += text_.substr(place_, quote - place_);
        place_ = quote + 1;
        if (!Take('"')) {
            return true;
        }
        word.text += '"';
    }
}

/// Stops in front of one of `stops`; » is one where > is.
bool Scanner::ReadWord(std::string_view stops, CliWordChoice& word) {
    word = {};
    SkipBlanks();
    if (Take('"')) {
        if (!ReadQuoted(word)) {
            return false;
        }
        SkipBlanks();
        return true;
    }
    const bool stopsAtMarks = stops.find(kLinkForward) != std::string_view::npos;
    const std::size_t from = place_;
    while (!IsAtEnd() && stops.find(text_[place_]) == std::string_view::npos &&
           !(stopsAtMarks && IsBackwardAt(place_))) {
        ++place_;
    }
    word.text = Since(from);
    return true;
}

char Scanner::TakeMark() {
    if (Take(kLinkForward)) {
        return kLinkForward;
    }
    if (IsBackwardAt(place_)) {
        place_ += kBackwardText.size();
        return kLinkBackward;
    }
    return 0;
}

bool Scanner::ReadStep(std::string_view stops, CliPathStep& step) {
    CliWordChoice word;
    if (!ReadWord(stops, word)) {
        return false;
    }
    if (word.isQuoted && Take('.')) {
        step.table = std::move(word.text);
        if (!ReadWord(stops, word)) {
            return false;
        }
    }
    if (word.isQuoted && !IsAtEnd() && stops.find(text_[place_]) == std::string_view::npos &&
        !IsBackwardAt(place_)) {
        return Fail("there is text behind a closing quote");
    }
    if (word.text.empty() && !word.isQuoted) {
        return Fail("a name is missing");
    }
    step.name = std::move(word.text);
    step.isQuoted = word.isQuoted;
    return true;
}

bool Scanner::ReadPath(std::string_view stops, CliPath& path) {
    SkipBlanks();
    const std::size_t from = place_;
    const std::string allStops = std::string(stops) + kLinkForward;
    do {
        CliPathStep& step = path.steps.emplace_back();
        if (!ReadStep(allStops, step)) {
            return false;
        }
        step.mark = TakeMark();
    } while (path.steps.back().mark != 0);
    path.shown = Since(from);
    return true;
}

/// Stops in front of one of `ends` too.
bool ReadPlace(Scanner& scanner, const std::string& ends, CliPlaceChoice& place) {
    if (!scanner.ReadPath("=" + ends, place.path)) {
        return false;
    }
    if (!scanner.Take('=')) {
        return scanner.Fail(fmt::format(
            "{} has no value (level=value; a comma in a value needs double quotes around it)",
            Quoted(place.path.shown)));
    }
    CliWordChoice word;
    if (!scanner.ReadWord(ends, word)) {
        return false;
    }
    place.value = std::move(word.text);
    place.isQuoted = word.isQuoted;
    return true;
}

/// Reads items up to the end with commas between them.
template <class Item, class ReadItem>
bool ReadList(std::string_view text, CliFailure& failure, std::vector<Item>& items, ReadItem read) {
    Scanner scanner(text, failure);
    scanner.SkipBlanks();
    if (scanner.IsAtEnd()) {
        return true;
    }
    do {
        if (!read(scanner, items.emplace_back())) {
            return false;
        }
        scanner.SkipBlanks();
    } while (scanner.Take(','));
    return scanner.IsAtEnd() || scanner.Fail("a comma is missing");
}

}  // namespace

bool ParseLevels(std::string_view text, std::vector<CliLevelChoice>& levels, CliFailure& failure) {
    return ReadList(text, failure, levels, [](Scanner& scanner, CliLevelChoice& level) {
        scanner.SkipBlanks();
        const std::size_t from = scanner.Place();
        if (!scanner.ReadPath(",:", level.data)) {
            return false;
        }
        if (scanner.Take(':') && !scanner.ReadPath(",:", level.label.emplace())) {
            return false;
        }
        level.shown = scanner.Since(from);
        return true;
    });
}

bool ParsePaths(std::string_view text, std::vector<CliPath>& paths, CliFailure& failure) {
    return ReadList(text, failure, paths,
                    [](Scanner& scanner, CliPath& path) { return scanner.ReadPath(",", path); });
}

bool ParsePlaces(std::string_view text, std::vector<CliPlaceChoice>& places, CliFailure& failure) {
    return ReadList(text, failure, places, [](Scanner& scanner, CliPlaceChoice& place) {
        return ReadPlace(scanner, ",", place);
    });
}

bool ParseWords(std::string_view text, std::vector<CliWordChoice>& words, CliFailure& failure) {
    return ReadList(text, failure, words, [](Scanner& scanner, CliWordChoice& word) {
        return scanner.ReadWord(",", word);
    });
}

bool ParseEdit(CliEditKind kind, std::string_view text, CliEditChoice& edit, CliFailure& failure) {
    edit = {};
    edit.kind = kind;
    if (kind != CliEditKind::Set) {
        return ReadList(text, failure, edit.places,
                        [](Scanner& scanner, CliPlaceChoice& place) {
                            return ReadPlace(scanner, ",:", place);
                        }) &&
               (!edit.places.empty() ||
                failure.Set(CliExit::Usage,
                            fmt::format("{} needs a place: level=value", Quoted(WordOf(kind)))));
    }
    Scanner scanner(text, failure);
    scanner.SkipBlanks();
    if (!scanner.Take(':')) {
        do {
            if (!ReadPlace(scanner, ",:", edit.places.emplace_back())) {
                return false;
            }
        } while (scanner.Take(','));
        if (!scanner.Take(':')) {
            return scanner.Fail("behind the place : and column=value are missing");
        }
    }
    if (!scanner.ReadPath("=,", edit.column)) {
        return false;
    }
    if (!scanner.Take('=')) {
        return scanner.Fail(
            fmt::format("column {} has no value (column=value)", Quoted(edit.column.shown)));
    }
    if (!scanner.ReadWord(",", edit.value)) {
        return false;
    }
    return scanner.IsAtEnd() ||
           scanner.Fail(
               "there is more behind the value (a comma in it needs double quotes "
               "around it; each column has a set of its own)");
}

std::string_view WordOf(CliEditKind kind) noexcept {
    for (const auto& [word, known] : kEditWords) {
        if (known == kind) {
            return word;
        }
    }
    return {};
}

bool SplitScript(std::string_view text, std::vector<CliScriptEdit>& edits, std::size_t& line,
                 CliFailure& failure) {
    line = 0;
    for (std::size_t next = 1; !text.empty(); line = next) {
        line = next;
        const std::size_t end = EndOfEdit(text);
        std::string_view edit = text.substr(0, end);
        next += 1 + static_cast<std::size_t>(std::count(edit.begin(), edit.end(), '\n'));
        text.remove_prefix(std::min(text.size(), end + 1));
        if (!edit.empty() && edit.back() == '\r') {
            edit.remove_suffix(1);
        }
        edit = Trimmed(edit);
        if (edit.empty() || edit.front() == '#') {
            continue;
        }
        const std::string_view word = edit.substr(0, edit.find_first_of(kBlanks));
        const auto* const known =
            std::find_if(kEditWords.begin(), kEditWords.end(),
                         [word](const auto& each) { return each.first == word; });
        if (known == kEditWords.end()) {
            return failure.Set(
                CliExit::Usage,
                fmt::format("an edit begins with set, insert or delete, not {}", Quoted(word)));
        }
        edits.push_back({line, std::string(Trimmed(edit.substr(word.size()))), known->second});
    }
    return true;
}

std::string WrittenWord(std::string_view text) {
    const bool isPlain = text == Trimmed(text) && text != "NULL" && !text.starts_with('#') &&
                         text.find_first_of("\",:>=\n\r") == std::string_view::npos &&
                         text.find(kBackwardText) == std::string_view::npos;
    if (isPlain) {
        return std::string(text);
    }
    std::string written = "\"";
    for (const char c : text) {
        written.append(c == '"' ? 2 : 1, c);
    }
    return written + '"';
}

std::string Written(const CliEditChoice& edit) {
    const auto value = [](const std::string& text, bool isQuoted) {
        return !isQuoted && text == "NULL" ? text : WrittenWord(text);
    };
    std::string written(WordOf(edit.kind));
    const char* separator = " ";
    for (const CliPlaceChoice& place : edit.places) {
        written += separator + place.path.shown + '=' + value(place.value, place.isQuoted);
        separator = ",";
    }
    if (edit.kind == CliEditKind::Set) {
        written += edit.places.empty() ? " :" : ":";
        written += edit.column.shown + '=' + value(edit.value.text, edit.value.isQuoted);
    }
    return written;
}

}  // namespace etabulon
