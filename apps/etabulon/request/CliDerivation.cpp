#include "apps/etabulon/request/CliDerivation.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

namespace etabulon {
namespace {

using Kind = EDerivation::Kind;

struct Named {
    std::string_view name;
    Kind kind;
    std::string_view argument;  // what it means, for messages; empty: it takes none
};
constexpr std::array kNamed = {
    Named{"year", Kind::Year, {}},
    Named{"quarter", Kind::Quarter, {}},
    Named{"month", Kind::Month, {}},
    Named{"week", Kind::Week, {}},
    Named{"weekday", Kind::Weekday, {}},
    Named{"day", Kind::Day, {}},
    Named{"hour", Kind::Hour, {}},
    Named{"bin", Kind::Bin, "the width of a group"},
    Named{"bins", Kind::Bin, "a number of groups"},
    Named{"first", Kind::First, "a number of letters"},
};
constexpr std::uint32_t kMostGroups = 1000000;

/// A name that may have an argument in brackets: `bin(1000)`.
struct Call {
    const Named* named = nullptr;
    std::string_view argument;
    bool hasArgument = false;
};

Call ReadCall(std::string_view text) {
    Call call;
    const std::size_t open = text.find('(');
    const std::string_view name = Trimmed(text.substr(0, open));
    for (const Named& each : kNamed) {
        if (Lowered(name) == each.name) {
            call.named = &each;
        }
    }
    if (call.named != nullptr && open != std::string_view::npos) {
        call.hasArgument = text.back() == ')';
        call.argument = Trimmed(text.substr(open + 1, text.size() - open - 2));
        call.named = call.hasArgument ? call.named : nullptr;
    }
    return call;
}

/// The last dot that isn't in brackets.
std::size_t FindDot(std::string_view name) {
    std::size_t dot = std::string_view::npos;
    bool isInBrackets = false;
    for (std::size_t place = 0; place < name.size(); ++place) {
        isInBrackets = name[place] == '(' || (isInBrackets && name[place] != ')');
        dot = name[place] == '.' && !isInBrackets ? place : dot;
    }
    return dot;
}

template <class T>
bool Read(std::string_view text, T& number) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

CliResult<std::optional<CliDerivation>> Make(const Call& call, std::string_view text) {
    const Named& named = *call.named;
    if (named.argument.empty()) {
        if (call.hasArgument) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} in {} takes no argument", named.name, Quoted(text))};
        }
        return std::optional(
            CliDerivation{fmt::format(".{}", named.name), 0, EDerivation(named.kind)});
    }
    const std::string written = fmt::format(".{}({})", named.name, call.argument);
    double width = 0;
    std::uint32_t count = 0;
    if (named.name == "bin" && Read(call.argument, width) && width > 0 && std::isfinite(width)) {
        return std::optional(CliDerivation{written, 0, EDerivation::Bin(width)});
    }
    if (named.name != "bin" && Read(call.argument, count) && count > 0 && count <= kMostGroups) {
        return std::optional(named.kind == Kind::Bin
                                 ? CliDerivation{written, count, EDerivation::Bins(0, 1, count)}
                                 : CliDerivation{written, 0, EDerivation::First(count)});
    }
    return CliFailure{CliExit::Usage,
                      fmt::format("{} needs {}, such as {}({}), not {}", named.name, named.argument,
                                  named.name, named.kind == Kind::First ? 1 : 10, Quoted(text))};
}

}  // namespace

CliResult<std::optional<CliDerivation>> TakeDerivation(CliPathStep& step) {
    if (step.table && !step.isQuoted) {  // "quoted name".year
        const Call call = ReadCall(step.name);
        if (call.named == nullptr) {
            return std::optional<CliDerivation>();
        }
        auto made = Make(call, step.name);
        step.name = *std::exchange(step.table, std::nullopt);
        step.isQuoted = true;
        return made;
    }
    const std::size_t dot = step.isQuoted ? std::string::npos : FindDot(step.name);
    if (dot == std::string::npos || dot == 0) {
        return std::optional<CliDerivation>();
    }
    const std::string text = step.name.substr(dot + 1);
    const Call call = ReadCall(text);
    if (call.named == nullptr) {
        return std::optional<CliDerivation>();
    }
    step.name = Trimmed(std::string_view(step.name).substr(0, dot));
    return Make(call, text);
}

bool LooksDerived(std::string_view name) {
    const std::size_t dot = FindDot(name);
    return dot != std::string_view::npos && ReadCall(name.substr(dot + 1)).named != nullptr;
}

std::string DerivationsOf(int type) {
    std::string names;
    for (const Named& named : kNamed) {
        const EDerivation tried = named.kind == Kind::Bin     ? EDerivation::Bin(1)
                                  : named.kind == Kind::First ? EDerivation::First(1)
                                                              : EDerivation(named.kind);
        if (tried.Takes(type)) {
            names += names.empty() ? "" : ", ";
            names += named.name;
            names += named.argument.empty() ? "" : "(N)";
        }
    }
    return names;
}

}  // namespace etabulon
