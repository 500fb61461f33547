#include "apps/etabulon/request/CliCondition.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataType.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

namespace etabulon {
namespace {

using Test = EFilter::Test;

// A long condition is written over several lines.
constexpr std::string_view kBlanks = " \t\r\n";

void AddOnce(std::vector<CliVariable>& variables, const CliVariable& added) {
    const bool isKnown =
        std::any_of(variables.begin(), variables.end(),
                    [&added](const CliVariable& each) { return each.code == added.code; });
    if (!isKnown) {
        variables.push_back(added);
    }
}

/// Reads an expression from left to right. Each function fails by setting `failure_`.
class Reader {
public:
    Reader(const CliTable& table, std::string_view text) : table_(table), text_(text) {}

    [[nodiscard]] CliResult<CliCondition> Read() {
        CliCondition condition;
        condition.filter = ReadJoined(/*isOr=*/true);
        SkipBlanks();
        if (!failure_ && place_ != text_.size()) {
            Fail("and, or, or the end is expected");
        }
        if (failure_) {
            return *failure_;
        }
        condition.variables = std::move(variables_);
        return condition;
    }

private:
    void Fail(std::string_view what) {
        if (failure_) {
            return;
        }
        SkipBlanks();
        const std::string rest(text_.substr(place_));
        failure_ = CliFailure{CliExit::Usage,
                              rest.empty()
                                  ? fmt::format("{} at the end of --where {}", what, Quoted(text_))
                                  : fmt::format("{} in --where before {}", what, Quoted(rest))};
    }
    /// A failure of what stands at this place.
    void FailAt(std::size_t place, const CliFailure& failure) {
        if (!failure_) {
            place_ = place;
            SkipBlanks();
            failure_ = failure;
            failure_->text =
                fmt::format("in --where before {}: {}", Quoted(text_.substr(place_)), failure.text);
        }
    }
    void SkipBlanks() { place_ = std::min(text_.find_first_not_of(kBlanks, place_), text_.size()); }
    [[nodiscard]] bool Take(std::string_view symbol) {
        SkipBlanks();
        if (!text_.substr(place_).starts_with(symbol)) {
            return false;
        }
        place_ += symbol.size();
        return true;
    }
    [[nodiscard]] static bool EndsWord(char c) {
        return kBlanks.find(c) != std::string_view::npos ||
               std::string_view("(),=!<>'\"").find(c) != std::string_view::npos;
    }
    /// A word of the language, in any case.
    [[nodiscard]] bool TakeWord(std::string_view word) {
        SkipBlanks();
        const std::string_view rest = text_.substr(place_);
        const bool isThere = Lowered(rest.substr(0, word.size())) == word &&
                             (rest.size() == word.size() || EndsWord(rest[word.size()]));
        place_ += isThere ? word.size() : 0;
        return isThere;
    }

    [[nodiscard]] EFilter ReadJoined(bool isOr) {
        std::vector<EFilter> parts;
        do {
            parts.push_back(isOr ? ReadJoined(/*isOr=*/false) : ReadOne());
        } while (!failure_ && TakeWord(isOr ? "or" : "and"));
        return isOr ? EFilter::Any(std::move(parts)) : EFilter::All(parts);
    }

    [[nodiscard]] EFilter ReadOne() {
        constexpr int kDeepest = 100;
        if (++depth_ > kDeepest) {
            Fail("there are too many brackets");
            return {};
        }
        EFilter filter;
        if (TakeWord("not")) {
            filter = EFilter::Not(ReadOne());
        } else if (Take("(")) {
            filter = ReadJoined(/*isOr=*/true);
            if (!failure_ && !Take(")")) {
                Fail("a closing bracket is missing");
            }
        } else {
            filter = ReadTests();
        }
        --depth_;
        return filter;
    }

    /// The text of a path. A > goes on with it unless a blank, a digit, a sign, a quote of a value
    /// or = is beside it; a bracket does behind a word with a dot: amount.bin(10).
    [[nodiscard]] std::string_view ReadPathText() {
        SkipBlanks();
        const std::size_t from = place_;
        while (place_ < text_.size()) {
            const char c = text_[place_];
            if (c == '"') {
                GoBehind('"', place_ + 1);
            } else if (c == '(' &&
                       text_.substr(from, place_ - from).find('.') != std::string_view::npos) {
                GoBehind(')', place_);
            } else if (EndsWord(c) && !GoesOn(from)) {
                break;
            } else {
                ++place_;
            }
        }
        return text_.substr(from, place_ - from);
    }
    /// To what follows the next `close`; to the end of the text if there is none.
    void GoBehind(char close, std::size_t from) {
        const std::size_t at = text_.find(close, from);
        place_ = at == std::string_view::npos ? text_.size() : at + 1;
    }
    /// Whether a > is here, with which the path that begins at `from` goes on.
    [[nodiscard]] bool GoesOn(std::size_t from) const {
        const char next = place_ + 1 < text_.size() ? text_[place_ + 1] : ' ';
        return text_[place_] == '>' && place_ != from &&
               kBlanks.find(next) == std::string_view::npos &&
               std::string_view("=+-.'0123456789").find(next) == std::string_view::npos;
    }

    /// A column, and what is asked of it.
    [[nodiscard]] EFilter ReadTests() {
        const std::size_t from = place_;
        const std::string_view path = ReadPathText();
        if (path.empty()) {
            Fail("a column is expected");
            return {};
        }
        const CliResult<std::vector<CliPath>> paths = ParsePaths(path);
        if (!paths) {
            FailAt(from, paths.Failure());
            return {};
        }
        const CliResult<CliVariable> variable = table_.FindVariable(paths->front());
        if (!variable) {
            FailAt(from, variable.Failure());
            return {};
        }
        AddOnce(variables_, *variable);
        const bool isNegated = TakeWord("not");
        const EFilter test = ReadTest(*variable, isNegated);
        return isNegated ? EFilter::Not(test) : test;
    }

    [[nodiscard]] EFilter ReadTest(const CliVariable& of, bool isNegated) {
        const ETabulonVariableID id(of.code);
        if (TakeWord("in")) {
            return ReadList(of);
        }
        if (TakeWord("between")) {
            const EVariant lowest = ReadValue(of);
            if (!failure_ && !TakeWord("and")) {
                Fail("and is expected");
            }
            return EFilter::Between(id, lowest, ReadValue(of));
        }
        if (TakeWord("contains")) {
            return EFilter::Contains(id, ReadText(of));
        }
        if (TakeWord("begins")) {
            static_cast<void>(TakeWord("with"));
            return EFilter::BeginsWith(id, ReadText(of));
        }
        if (isNegated) {
            Fail("in, between, contains or begins is expected behind not");
            return {};
        }
        if (!TakeWord("is")) {
            return ReadSymbol(of);
        }
        const bool isThere = TakeWord("not");
        if (!TakeWord("null")) {
            Fail("null is expected");
        }
        return IsNull(id, !isThere);
    }
    [[nodiscard]] static EFilter IsNull(const ETabulonVariableID& id, bool isNull) {
        const EFilter missing = EFilter::IsMissing(id);
        return isNull ? missing : EFilter::Not(missing);
    }

    [[nodiscard]] EFilter ReadSymbol(const CliVariable& of) {
        struct Symbol {
            std::string_view text;
            Test test;
        };
        static constexpr std::array kSymbols = {
            Symbol{"<=", Test::AtMost},  Symbol{">=", Test::AtLeast}, Symbol{"<>", Test::Unequal},
            Symbol{"!=", Test::Unequal}, Symbol{"<", Test::Below},    Symbol{">", Test::Above},
            Symbol{"=", Test::Equal}};
        const ETabulonVariableID id(of.code);
        for (const auto& [text, test] : kSymbols) {
            if (!Take(text)) {
                continue;
            }
            if (!TakeWord("null")) {
                return EFilter::Compare(id, test, ReadValue(of));
            }
            if (test != Test::Equal && test != Test::Unequal) {
                Fail("NULL is neither below nor above a value: a value is expected");
            }
            return IsNull(id, test == Test::Equal);
        }
        Fail("=, !=, <, <=, >, >=, in, between, contains, begins or is null is expected");
        return {};
    }

    [[nodiscard]] Chaine ReadText(const CliVariable& of) {
        if (TypeInfo(of.variable->TypeCode()).valueClass != EValueClass::Text) {
            Fail(fmt::format("column {} is no text, for contains and begins", Quoted(of.shown)));
        }
        return ReadValue(of).AsChaine();
    }

    /// NULL in the list is the missing value, as it is behind =.
    [[nodiscard]] EFilter ReadList(const CliVariable& of) {
        std::vector<EVariant> values;
        bool hasNull = false;
        if (!Take("(")) {
            Fail("a list in brackets is expected");
        }
        do {
            if (TakeWord("null")) {
                hasNull = true;
            } else {
                values.push_back(ReadValue(of));
            }
        } while (!failure_ && Take(","));
        if (!failure_ && !Take(")")) {
            Fail("a comma or a closing bracket is expected");
        }
        const ETabulonVariableID id(of.code);
        const EFilter isOne = EFilter::In(id, values);
        return hasNull ? EFilter::Any({isOne, EFilter::IsMissing(id)}) : isOne;
    }

    [[nodiscard]] EVariant ReadValue(const CliVariable& of) {
        if (failure_) {
            return {};
        }
        SkipBlanks();
        const std::size_t from = place_;
        CliWordChoice word;
        if (TakeWord("null")) {
            place_ = from;
            Fail("NULL is no value to compare with ('NULL' in quotes is the text)");
            return {};
        }
        if (Take("'") || Take("\"")) {
            if (!ReadQuoted(text_[place_ - 1], word)) {
                return {};
            }
        } else {
            while (place_ < text_.size() && !EndsWord(text_[place_])) {
                ++place_;
            }
            word.text = text_.substr(from, place_ - from);
            if (word.text.empty()) {
                Fail("a value is expected");
                return {};
            }
        }
        const CliResult<EVariant> value = MakeValue(of, word);
        if (!value) {
            FailAt(from, value.Failure());
            return {};
        }
        return *value;
    }
    [[nodiscard]] bool ReadQuoted(char quote, CliWordChoice& word) {
        word.isQuoted = true;
        for (;;) {
            const std::size_t close = text_.find(quote, place_);
            if (close == std::string_view::npos) {
                Fail("a quote isn't closed");
                return false;
            }
            word.text += text_.substr(place_, close - place_);
            place_ = close + 1;
            if (place_ == text_.size() || text_[place_] != quote) {
                return true;
            }
            word.text += quote;
            ++place_;
        }
    }
    /// A number may be compared with one that its column couldn't hold.
    [[nodiscard]] static CliResult<EVariant> MakeValue(const CliVariable& variable,
                                                       const CliWordChoice& word) {
        const CliResult<ETabulonValue> exact =
            etabulon::ReadValue(variable, "column", {word.text, /*isQuoted=*/true});
        if (exact) {
            return exact->Data();
        }
        if (IsNumber(int{variable.variable->TypeCode()})) {
            const EVariant number = EVariant::FromText(TYPE_DOUBLE, 0, Chaine(word.text));
            if (!number.IsMissing()) {
                return number;
            }
        }
        return exact.Failure();
    }

    const CliTable& table_;
    std::string_view text_;
    std::size_t place_ = 0;
    int depth_ = 0;
    std::vector<CliVariable> variables_;
    std::optional<CliFailure> failure_;
};

}  // namespace

CliResult<CliCondition> ParseCondition(const CliTable& table, std::string_view text) {
    const bool isBlank = text.find_first_not_of(kBlanks) == std::string_view::npos;
    return isBlank ? CliCondition() : Reader(table, text).Read();
}

namespace {

/// Each text is a condition by itself, and all of them must be met.
CliResult<CliCondition> ParseConditions(const CliTable& table,
                                        const std::vector<std::string>& texts) {
    CliCondition all;
    for (const std::string& text : texts) {
        const CliResult<CliCondition> one = ParseCondition(table, text);
        if (!one) {
            return one.Failure();
        }
        all.filter = EFilter::All({all.filter, one->filter});
        for (const CliVariable& variable : one->variables) {
            AddOnce(all.variables, variable);
        }
    }
    return all;
}

/// Several values of a level.
struct Several {
    CliVariable level;
    std::vector<ETabulonValue> values;
};

CliResult<std::vector<Several>> ReadSeveral(const CliTable& table, std::string_view at) {
    const CliResult<std::vector<CliPlaceChoice>> places = ParsePlaces(at);
    if (!places) {
        return places.Failure();
    }
    std::vector<Several> levels;
    for (const CliPlaceChoice& place : *places) {
        const CliResult<CliVariable> level = table.FindVariable(place.path);
        if (!level) {
            return level.Failure();
        }
        const CliResult<ETabulonValue> value =
            ReadValue(*level, "level", {place.value, place.isQuoted});
        if (!value) {
            return value.Failure();
        }
        const auto known =
            std::find_if(levels.begin(), levels.end(),
                         [&level](const Several& each) { return each.level.code == level->code; });
        Several& several =
            known != levels.end() ? *known : levels.emplace_back(Several{*level, {}});
        several.values.push_back(*value);
    }
    std::erase_if(levels, [](const Several& each) { return each.values.size() < 2; });
    return levels;
}

EFilter OneOf(const ETabulonVariableID& id, const std::vector<ETabulonValue>& values) {
    std::vector<EVariant> there;
    for (const ETabulonValue& value : values) {
        if (!value.IsNull()) {
            there.push_back(value.Data());
        }
    }
    const EFilter isOne = EFilter::In(id, there);
    return there.size() == values.size() ? isOne : EFilter::Any({isOne, EFilter::IsMissing(id)});
}

}  // namespace

CliResult<CliCondition> ReadCondition(const CliTable& table, const CliLevelOptions& options) {
    CliResult<CliCondition> condition = ParseConditions(table, options.Where());
    if (!condition) {
        return condition;
    }
    const CliResult<std::vector<Several>> levels = ReadSeveral(table, options.At());
    if (!levels) {
        return levels.Failure();
    }
    condition->isOfPlaces = condition->filter.IsEmpty() && !levels->empty();
    for (const auto& [level, values] : *levels) {
        condition->variables.push_back(level);
        condition->filter =
            EFilter::All({condition->filter, OneOf(ETabulonVariableID(level.code), values)});
    }
    return condition;
}

}  // namespace etabulon
