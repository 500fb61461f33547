#include "apps/etabulon/request/CliPath.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/foundation/ELinkEngine.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

/// Reads a text from left to right: up to its end or, in the mode by lines, up to the next line end
/// outside of quotes.
class Scanner {
public:
    explicit Scanner(std::string_view text, bool isByLines = false)
        : text_(text), isByLines_(isByLines) {}

    [[nodiscard]] bool IsAtEnd() const noexcept {
        return place_ == text_.size() || (isByLines_ && IsLineEnd());
    }
    /// Moves to the next line. Returns false behind the last one. Requires a text that isn't empty.
    [[nodiscard]] bool NextLine();
    void SkipLine();
    /// Reads the word in front of the next blank.
    [[nodiscard]] std::string_view ReadVerb();
    [[nodiscard]] std::size_t Line() const noexcept { return line_; }
    [[nodiscard]] bool Take(char c) {
        if (IsAtEnd() || text_[place_] != c) {
            return false;
        }
        ++place_;
        return true;
    }
    [[nodiscard]] bool ReadWord(std::string_view stops, CliWordChoice& word);
    [[nodiscard]] bool ReadPath(std::string_view stops, CliPath& path);
    void SkipBlanks() {
        place_ = std::min(text_.find_first_not_of(kCliBlanks, place_), text_.size());
    }
    [[nodiscard]] std::size_t Place() const noexcept { return place_; }
    [[nodiscard]] std::string Since(std::size_t from) const {
        return std::string(Trimmed(text_.substr(from, place_ - from)));
    }
    /// Begins the item that the message of a failure quotes.
    void BeginItem() noexcept {
        item_ = place_;
        itemLine_ = line_;
    }
    bool Fail(std::string_view what);
    /// The same with the whole text of the message.
    bool Refuse(std::string text);
    /// The reason why a read returned false.
    [[nodiscard]] const CliFailure& Failure() const noexcept { return failure_; }

private:
    [[nodiscard]] bool IsLineEnd() const noexcept {
        const std::string_view rest = text_.substr(place_, 2);
        return rest.front() == '\n' || rest == "\r\n" || rest == "\r";
    }
    [[nodiscard]] bool ReadQuoted(CliWordChoice& word);
    [[nodiscard]] bool ReadStep(std::string_view stops, CliPathStep& step);
    [[nodiscard]] char TakeMark();
    [[nodiscard]] bool IsBackwardAt(std::size_t place) const {
        return text_.substr(place, kCliBackward.size()) == kCliBackward;
    }

    std::string_view text_;
    bool isByLines_;
    std::size_t place_ = 0;
    std::size_t item_ = 0;
    std::size_t itemLine_ = 1;
    std::size_t line_ = 1;     // of counted_
    std::size_t counted_ = 0;  // where a line begins
    CliFailure failure_;
};

bool Scanner::NextLine() {
    place_ = std::min(text_.find('\n', place_), text_.size() - 1) + 1;
    // The line may have had quoted texts with line ends.
    const std::string_view passed = text_.substr(counted_, place_ - counted_);
    line_ += static_cast<std::size_t>(std::count(passed.begin(), passed.end(), '\n'));
    counted_ = place_;
    return place_ != text_.size();
}

void Scanner::SkipLine() {
    while (!IsAtEnd()) {
        ++place_;
    }
}

std::string_view Scanner::ReadVerb() {
    const std::size_t from = place_;
    while (!IsAtEnd() && kCliBlanks.find(text_[place_]) == std::string_view::npos) {
        ++place_;
    }
    return text_.substr(from, place_ - from);
}

bool Scanner::Fail(std::string_view what) {
    SkipLine();
    return Refuse(fmt::format("{} in {}", what, Quoted(Since(item_))));
}

bool Scanner::Refuse(std::string text) {
    failure_ = {CliExit::Usage, std::move(text), /*isLocked=*/false, isByLines_ ? itemLine_ : 0};
    return false;
}

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

/// Stops in front of any of `stops`. If > is among them, » is too.
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
        place_ += kCliBackward.size();
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

/// Stops in front of = and of any of `ends`.
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

/// Reads items with commas between them up to the end of the text or line.
template <class Item, class ReadItem>
bool ReadList(Scanner& scanner, std::vector<Item>& items, ReadItem read) {
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

template <class Item, class ReadItem>
CliResult<std::vector<Item>> ReadList(std::string_view text, ReadItem read) {
    Scanner scanner(text);
    std::vector<Item> items;
    if (!ReadList(scanner, items, read)) {
        return scanner.Failure();
    }
    return items;
}

bool ReadSet(Scanner& scanner, CliEditChoice& edit) {
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

bool ReadEdit(Scanner& scanner, CliEditKind kind, CliEditChoice& edit) {
    edit.kind = kind;
    if (kind == CliEditKind::Set) {
        return ReadSet(scanner, edit);
    }
    const auto read = [](Scanner& from, CliPlaceChoice& place) {
        return ReadPlace(from, ",:", place);
    };
    return ReadList(scanner, edit.places, read) &&
           (!edit.places.empty() ||
            scanner.Refuse(fmt::format("{} needs a place: level=value", Quoted(WordOf(kind)))));
}

/// asc or desc without quotes.
std::optional<bool> DirectionOf(const CliPath& path) {
    const CliPathStep& step = path.steps.front();
    if (path.steps.size() != 1 || step.isQuoted || step.table ||
        (step.name != "asc" && step.name != "desc")) {
        return std::nullopt;
    }
    return step.name == "desc";
}

bool ReadOrderKey(Scanner& scanner, CliOrderChoice& key) {
    scanner.SkipBlanks();
    const std::size_t from = scanner.Place();
    if (!scanner.ReadPath(",:=", key.data)) {
        return false;
    }
    if (scanner.Take('=') && !scanner.ReadWord(",:", key.value.emplace())) {
        return false;
    }
    key.shown = scanner.Since(from);
    while (scanner.Take(':')) {
        CliPath path;
        if (!scanner.ReadPath(",:=", path)) {
            return false;
        }
        const std::optional<bool> direction = DirectionOf(path);
        if (key.isFalling || (!direction && (key.operand || key.value))) {
            return scanner.Fail(
                "a key of an order is a column, FUNCTION:column or level=value, with :asc or :desc "
                "behind it, not what stands");
        }
        if (direction) {
            key.isFalling = direction;
        } else {
            key.operand = std::move(path);
            key.shown = scanner.Since(from);
        }
    }
    return true;
}

}  // namespace

CliResult<std::vector<CliOrderChoice>> ParseOrder(std::string_view text) {
    return ReadList<CliOrderChoice>(text, ReadOrderKey);
}

CliResult<std::vector<CliLevelChoice>> ParseLevels(std::string_view text) {
    return ReadList<CliLevelChoice>(text, [](Scanner& scanner, CliLevelChoice& level) {
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

CliResult<std::vector<CliPath>> ParsePaths(std::string_view text) {
    return ReadList<CliPath>(
        text, [](Scanner& scanner, CliPath& path) { return scanner.ReadPath(",", path); });
}

CliResult<std::vector<CliPlaceChoice>> ParsePlaces(std::string_view text) {
    return ReadList<CliPlaceChoice>(text, [](Scanner& scanner, CliPlaceChoice& place) {
        return ReadPlace(scanner, ",", place);
    });
}

CliResult<std::vector<CliWordChoice>> ParseWords(std::string_view text) {
    return ReadList<CliWordChoice>(
        text, [](Scanner& scanner, CliWordChoice& word) { return scanner.ReadWord(",", word); });
}

CliResult<CliEditChoice> ParseEdit(CliEditKind kind, std::string_view text) {
    Scanner scanner(text);
    CliEditChoice edit;
    if (!ReadEdit(scanner, kind, edit)) {
        return scanner.Failure();
    }
    return edit;
}

CliResult<std::vector<CliScriptEdit>> ParseScript(std::string_view text) {
    Scanner scanner(text, /*isByLines=*/true);
    std::vector<CliScriptEdit> edits;
    for (bool hasLine = !text.empty(); hasLine; hasLine = scanner.NextLine()) {
        scanner.SkipBlanks();
        scanner.BeginItem();
        const std::size_t line = scanner.Line();
        if (scanner.IsAtEnd() || scanner.Take('#')) {
            scanner.SkipLine();
            continue;
        }
        const std::string_view word = scanner.ReadVerb();
        const auto* const known =
            std::find_if(kCliEditWords.begin(), kCliEditWords.end(),
                         [word](const auto& each) { return each.first == word; });
        if (known == kCliEditWords.end()) {
            scanner.Refuse(
                fmt::format("an edit begins with set, insert or delete, not {}", Quoted(word)));
            return scanner.Failure();
        }
        scanner.BeginItem();
        CliScriptEdit& added = edits.emplace_back();
        added.line = line;
        if (!ReadEdit(scanner, known->second, added.edit)) {
            return scanner.Failure();
        }
    }
    return edits;
}

}  // namespace etabulon
