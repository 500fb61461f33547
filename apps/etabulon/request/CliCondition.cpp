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
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace etabulon {
namespace {

enum class Truth : std::uint8_t { No = 0, Unknown = 1, Yes = 2 };

Truth Of(bool is) { return is ? Truth::Yes : Truth::No; }
Truth Not(Truth truth) { return static_cast<Truth>(2 - static_cast<unsigned>(truth)); }

enum class Test : std::uint8_t {
    And,
    Or,
    Not,  // of the parts
    Equal,
    Unequal,
    Below,
    AtMost,
    Above,
    AtLeast,  // a value
    In,       // one of the values
    Between,  // two values, both included
    Null,
    Contains,
    Begins,  // a text
};

/// A part of an expression.
struct Node {
    Test test = Test::And;
    std::vector<std::unique_ptr<Node>> parts;
    CliVariable variable;
    std::vector<EVariant> values;
    std::size_t index = 0;  // of the variable among those of its condition

    [[nodiscard]] Truth Value(std::span<const EVariant* const> record) const {
        switch (test) {
            case Test::And:
            case Test::Or:
                return Joined(record);
            case Test::Not:
                return Not(parts[0]->Value(record));
            case Test::Null:
                return Of(record[index]->IsMissing());
            default:
                return record[index]->IsMissing() ? Truth::Unknown : Compared(*record[index]);
        }
    }

private:
    static Truth Not(Truth truth) { return etabulon::Not(truth); }
    [[nodiscard]] Truth Joined(std::span<const EVariant* const> record) const {
        Truth joined = test == Test::And ? Truth::Yes : Truth::No;
        for (const auto& part : parts) {
            const Truth each = part->Value(record);
            joined = test == Test::And ? std::min(joined, each) : std::max(joined, each);
        }
        return joined;
    }
    [[nodiscard]] Truth Compared(const EVariant& value) const {
        const auto order = [&value, this](std::size_t of) {
            return EVariant::Compare(value, values[of]);
        };
        switch (test) {
            case Test::Equal:
                return Of(order(0) == 0);
            case Test::Unequal:
                return Of(order(0) != 0);
            case Test::Below:
                return Of(order(0) < 0);
            case Test::AtMost:
                return Of(order(0) <= 0);
            case Test::Above:
                return Of(order(0) > 0);
            case Test::AtLeast:
                return Of(order(0) >= 0);
            case Test::Between:
                return Of(order(0) >= 0 && order(1) <= 0);
            case Test::In:
                return Of(std::any_of(values.begin(), values.end(), [&value](const EVariant& each) {
                    return EVariant::Compare(value, each) == 0;
                }));
            default:
                return ComparedText(value.AsChaine().View());
        }
    }
    [[nodiscard]] Truth ComparedText(std::string_view text) const {
        const Chaine wanted = values[0].AsChaine();
        return Of(test == Test::Begins ? text.starts_with(wanted.View())
                                       : text.find(wanted.View()) != std::string_view::npos);
    }
};
using NodePtr = std::unique_ptr<Node>;

/// Reads an expression from left to right. Each function fails by setting `failure_`.
class Reader {
public:
    Reader(const CliTable& table, std::string_view text) : table_(table), text_(text) {}

    [[nodiscard]] NodePtr Read() {
        NodePtr node = ReadJoined(/*isOr=*/true);
        SkipBlanks();
        if (!failure_ && place_ != text_.size()) {
            Fail("and, or, or the end is expected");
        }
        return failure_ ? nullptr : std::move(node);
    }
    [[nodiscard]] const CliFailure& Failure() const { return *failure_; }

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
    void Fail(const CliFailure& failure) {
        failure_ = failure_ ? failure_ : std::optional(failure);
    }
    void SkipBlanks() {
        place_ = std::min(text_.find_first_not_of(kCliBlanks, place_), text_.size());
    }
    [[nodiscard]] bool Take(std::string_view symbol) {
        SkipBlanks();
        if (!text_.substr(place_).starts_with(symbol)) {
            return false;
        }
        place_ += symbol.size();
        return true;
    }
    [[nodiscard]] static bool EndsWord(char c) {
        return kCliBlanks.find(c) != std::string_view::npos ||
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

    [[nodiscard]] NodePtr ReadJoined(bool isOr) {
        NodePtr first = isOr ? ReadJoined(/*isOr=*/false) : ReadOne();
        if (failure_ || !TakeWord(isOr ? "or" : "and")) {
            return first;
        }
        auto joined = std::make_unique<Node>();
        joined->test = isOr ? Test::Or : Test::And;
        joined->parts.push_back(std::move(first));
        do {
            joined->parts.push_back(isOr ? ReadJoined(/*isOr=*/false) : ReadOne());
        } while (!failure_ && TakeWord(isOr ? "or" : "and"));
        return joined;
    }

    [[nodiscard]] NodePtr ReadOne() {
        constexpr int kDeepest = 100;
        if (++depth_ > kDeepest) {
            Fail("there are too many brackets");
            return nullptr;
        }
        NodePtr node;
        if (TakeWord("not")) {
            node = Negated(ReadOne());
        } else if (Take("(")) {
            node = ReadJoined(/*isOr=*/true);
            if (!failure_ && !Take(")")) {
                Fail("a closing bracket is missing");
            }
        } else {
            node = ReadComparison();
        }
        --depth_;
        return node;
    }
    [[nodiscard]] static NodePtr Negated(NodePtr of) {
        auto node = std::make_unique<Node>();
        node->test = Test::Not;
        node->parts.push_back(std::move(of));
        return node;
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
               kCliBlanks.find(next) == std::string_view::npos &&
               std::string_view("=+-.'0123456789").find(next) == std::string_view::npos;
    }

    [[nodiscard]] NodePtr ReadComparison() {
        const std::size_t from = place_;
        const std::string_view path = ReadPathText();
        if (path.empty()) {
            Fail("a column is expected");
            return nullptr;
        }
        const CliResult<std::vector<CliPath>> paths = ParsePaths(path);
        if (!paths) {
            Fail(paths.Failure());
            return nullptr;
        }
        auto node = std::make_unique<Node>();
        CliResult<CliVariable> variable = table_.FindVariable(paths->front());
        if (!variable) {
            place_ = from;
            Fail(variable.Failure());
            return nullptr;
        }
        node->variable = std::move(*variable);
        const bool isNegated = TakeWord("not");
        ReadTest(*node, isNegated);
        return isNegated || isUnequalToNull_ ? Negated(std::move(node)) : std::move(node);
    }

    void ReadTest(Node& node, bool isNegated) {
        isUnequalToNull_ = false;
        if (TakeWord("in")) {
            node.test = Test::In;
            ReadList(node);
        } else if (TakeWord("between")) {
            node.test = Test::Between;
            ReadValue(node);
            if (!failure_ && !TakeWord("and")) {
                Fail("and is expected");
            }
            ReadValue(node);
        } else if (TakeWord("contains")) {
            ReadTextTest(node, Test::Contains);
        } else if (TakeWord("begins")) {
            static_cast<void>(TakeWord("with"));
            ReadTextTest(node, Test::Begins);
        } else if (!isNegated && TakeWord("is")) {
            node.test = Test::Null;
            isUnequalToNull_ = TakeWord("not");
            if (!TakeWord("null")) {
                Fail("null is expected");
            }
        } else if (!isNegated) {
            ReadSymbol(node);
        } else {
            Fail("in, between, contains or begins is expected behind not");
        }
    }

    void ReadSymbol(Node& node) {
        struct Symbol {
            std::string_view text;
            Test test;
        };
        static constexpr std::array kSymbols = {
            Symbol{"<=", Test::AtMost},  Symbol{">=", Test::AtLeast}, Symbol{"<>", Test::Unequal},
            Symbol{"!=", Test::Unequal}, Symbol{"<", Test::Below},    Symbol{">", Test::Above},
            Symbol{"=", Test::Equal}};
        for (const Symbol& symbol : kSymbols) {
            if (Take(symbol.text)) {
                node.test = symbol.test;
                const bool isNull = TakeWord("null");
                if (isNull && node.test != Test::Equal && node.test != Test::Unequal) {
                    Fail("NULL is neither below nor above a value: a value is expected");
                } else if (isNull) {
                    isUnequalToNull_ = node.test == Test::Unequal;
                    node.test = Test::Null;
                } else {
                    ReadValue(node);
                }
                return;
            }
        }
        Fail("=, !=, <, <=, >, >=, in, between, contains, begins or is null is expected");
    }

    void ReadTextTest(Node& node, Test test) {
        node.test = test;
        if (TypeInfo(node.variable.variable->TypeCode()).valueClass != EValueClass::Text) {
            Fail(fmt::format("column {} is no text, for contains and begins",
                             Quoted(node.variable.shown)));
        }
        ReadValue(node);
    }

    void ReadList(Node& node) {
        if (!Take("(")) {
            Fail("a list in brackets is expected");
        }
        do {
            ReadValue(node);
        } while (!failure_ && Take(","));
        if (!failure_ && !Take(")")) {
            Fail("a comma or a closing bracket is expected");
        }
    }

    void ReadValue(Node& node) {
        if (failure_) {
            return;
        }
        SkipBlanks();
        const std::size_t from = place_;
        CliWordChoice word;
        if (Take("'") || Take("\"")) {
            if (!ReadQuoted(text_[place_ - 1], word)) {
                return;
            }
        } else {
            while (place_ < text_.size() && !EndsWord(text_[place_])) {
                ++place_;
            }
            word.text = text_.substr(from, place_ - from);
            if (word.text.empty()) {
                Fail("a value is expected");
                return;
            }
        }
        CliResult<EVariant> value = MakeValue(node.variable, word);
        if (!value) {
            Fail(value.Failure());
            return;
        }
        node.values.push_back(std::move(*value));
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
    bool isUnequalToNull_ = false;  // of the last test
    std::optional<CliFailure> failure_;
};

/// Gives each variable of the node its index in `variables`, which gets those that it lacks.
void Number(Node& node, std::vector<CliVariable>& variables) {
    for (const auto& part : node.parts) {
        Number(*part, variables);
    }
    if (!node.parts.empty()) {
        return;
    }
    const auto known =
        std::find_if(variables.begin(), variables.end(),
                     [&node](const CliVariable& each) { return each.code == node.variable.code; });
    node.index = static_cast<std::size_t>(known - variables.begin());
    if (known == variables.end()) {
        variables.push_back(node.variable);
    }
}

}  // namespace

CliResult<std::vector<CliCondition>> ParseConditions(const CliTable& table, std::string_view text) {
    std::vector<CliCondition> conditions;
    if (Trimmed(text).empty()) {
        return conditions;
    }
    Reader reader(table, text);
    NodePtr whole = reader.Read();
    if (whole == nullptr) {
        return reader.Failure();
    }
    std::vector<NodePtr> all;
    if (whole->test == Test::And) {
        all = std::move(whole->parts);
    } else {
        all.push_back(std::move(whole));
    }
    for (NodePtr& node : all) {
        CliCondition& condition = conditions.emplace_back();
        Number(*node, condition.variables);
        condition.isMet = [tested = std::shared_ptr<const Node>(std::move(node))](
                              std::span<const EVariant* const> values) {
            return tested->Value(values) == Truth::Yes;
        };
    }
    return conditions;
}

}  // namespace etabulon
