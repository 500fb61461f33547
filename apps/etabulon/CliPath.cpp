#include "apps/etabulon/CliPath.h"

#include "apps/etabulon/CliUtf8.h"
#include "etabulon/foundation/ELinkEngine.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

constexpr std::string_view kBackwardText = "\xC2\xBB";  // » in UTF-8
constexpr std::string_view kBlanks = " \t";

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
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
        if (!scanner.ReadPath("=,", place.path)) {
            return false;
        }
        if (!scanner.Take('=')) {
            return scanner.Fail(fmt::format(
                "{} has no value (level=value; a comma in a value needs double quotes around it)",
                Quoted(place.path.shown)));
        }
        CliWordChoice word;
        if (!scanner.ReadWord(",", word)) {
            return false;
        }
        place.value = std::move(word.text);
        place.isQuoted = word.isQuoted;
        return true;
    });
}

bool ParseWords(std::string_view text, std::vector<CliWordChoice>& words, CliFailure& failure) {
    return ReadList(text, failure, words, [](Scanner& scanner, CliWordChoice& word) {
        return scanner.ReadWord(",", word);
    });
}

}  // namespace etabulon
