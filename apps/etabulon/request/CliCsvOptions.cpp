#include "apps/etabulon/request/CliCsvOptions.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliPath.h"
#include "etabulon/csv/ECsvTable.h"
#include "etabulon/csv/ECsvTypes.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

namespace etabulon {
namespace {

constexpr std::array<std::pair<const char*, ECsvDates>, 3> kDates = {
    {{"dmy", ECsvDates::DayFirst}, {"mdy", ECsvDates::MonthFirst}, {"ymd", ECsvDates::YearFirst}}};

const char* NameOf(ECsvDates dates) {
    for (const auto& [name, order] : kDates) {
        if (order == dates) {
            return name;
        }
    }
    return "";
}

std::string CheckSeparator(const std::string& text) {
    const bool isAscii = text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80;
    const bool canSeparate = isAscii && std::string_view("\"\n\r").find(text[0]) == text.npos;
    return canSeparate || text == "tab"
               ? ""
               : "a separator is one ASCII character, but no quote and no line break, or the word "
                 "tab";
}

std::string CheckDecimal(const std::string& text) {
    return text == "." || text == "," ? "" : "the decimal character is . or ,";
}

std::string CheckDates(const std::string& text) {
    const bool isThere = std::any_of(kDates.begin(), kDates.end(),
                                     [&text](const auto& each) { return text == each.first; });
    return isThere ? ""
                   : fmt::format("{} is no order of day, month and year; there is dmy, mdy, ymd",
                                 Quoted(text));
}

std::string CheckNulls(const std::string& text) {
    const auto words = ParseWords(text);
    if (!words) {
        return words.Failure().text;
    }
    const bool isAnyEmpty = std::any_of(words->begin(), words->end(),
                                        [](const auto& word) { return word.text.empty(); });
    return words->empty() || isAnyEmpty
               ? "a word for the missing value is missing; an empty cell is one without the option"
               : "";
}

// The comma is the last one: numbers and texts have it too.
constexpr std::string_view kSeparators = ";\t|,";
/// How often each of kSeparators stands in a row outside of quotes.
using SeparatorCounts = std::array<std::size_t, kSeparators.size()>;

/// Of the first rows.
std::vector<SeparatorCounts> CountSeparators(std::string_view start) {
    constexpr std::size_t kEnough = 50;
    std::vector<SeparatorCounts> rows;
    bool isInQuotes = false;
    bool isInRow = false;
    for (const char c : start) {
        if (!isInQuotes && (c == '\n' || c == '\r')) {
            if (rows.size() == kEnough) {
                break;
            }
            isInRow = false;
            continue;
        }
        if (!isInRow) {
            rows.emplace_back();
            isInRow = true;
        }
        isInQuotes = isInQuotes != (c == '"');
        if (const std::size_t which = kSeparators.find(c);
            !isInQuotes && which != std::string_view::npos) {
            ++rows.back()[which];
        }
    }
    return rows;
}

/// The separator that the first row has most of. Of two that it has equally often, the one that
/// more of the rows below have as often as it.
char GuessSeparator(std::string_view start, char decimal) {
    const std::vector<SeparatorCounts> rows = CountSeparators(start);
    SeparatorCounts first = rows.empty() ? SeparatorCounts{} : rows.front();
    if (decimal == ',' && std::any_of(first.begin(), first.end() - 1, std::identity())) {
        first.back() = 0;  // a comma separates only where nothing else does
    }
    std::size_t best = decimal == ',' ? 0 : kSeparators.size() - 1;
    std::size_t bestRows = 0;
    for (std::size_t which = 0; which < kSeparators.size(); ++which) {
        const auto odd = std::find_if(rows.begin(), rows.end(), [&](const SeparatorCounts& row) {
            return row[which] != first[which];
        });
        const auto alike = static_cast<std::size_t>(odd - rows.begin());
        if (first[which] > 0 &&
            (first[which] > first[best] || (first[which] == first[best] && alike > bestRows))) {
            best = which;
            bestRows = alike;
        }
    }
    return kSeparators[best];
}

/// What a column's texts would be, and by which option.
std::string WhatItWouldBe(const ECsvHint& hint) {
    std::vector<std::string> options;
    if (hint.decimal != 0) {
        options.push_back(fmt::format("a number by --decimal '{}'", hint.decimal));
    }
    for (const ECsvDates order : hint.dates) {
        options.push_back(fmt::format("a {} by --dates {}", hint.haveTimes ? "timestamp" : "date",
                                      NameOf(order)));
    }
    if (hint.hasThousands) {
        const std::string decimal =
            hint.groupedDecimal != 0 ? fmt::format(" by --decimal '{}'", hint.groupedDecimal) : "";
        options.push_back(
            fmt::format("a number{} without the separators between thousands", decimal));
    }
    return fmt::format("{}", fmt::join(options, ", or "));
}

}  // namespace

void CliCsvOptions::Declare(CLI::App& app) {
    options_ = {
        app.add_option("--separator,--delimiter", separator_,
                       "Separates the cells of a table of text: one character, or tab; "
                       "without it what the first line has most of")
            ->type_name("C")
            ->check(CheckSeparator),
        app.add_option("--decimal", decimal_,
                       "Decimal character of a table of text: a point, as without it, or a comma")
            ->type_name("C")
            ->check(CheckDecimal),
        app.add_option("--dates", dates_,
                       "Order of day, month and year in dates of a table of text: 31.12.2024 is "
                       "dmy, 12/31/2024 mdy; without it only 2024-12-31 is a date")
            ->type_name("ORDER")
            ->check(CLI::Validator(CheckDates, DescribeValueSet({"dmy", "mdy", "ymd"}), "ORDER")),
        app.add_option("--null", nulls_,
                       "Words of a table of text that mean a missing value, as an empty cell does: "
                       "NA,n/a,-")
            ->type_name("LIST")
            ->allow_extra_args(false)
            ->check(CheckNulls)};
}

ECsvFormat CliCsvOptions::Format(std::string_view start) const {
    ECsvFormat format;
    format.notation.decimal = decimal_.empty() ? '.' : decimal_.front();
    if (const ECsvPreamble preamble = CsvPreambleOf(start); separator_.empty()) {
        format.separator = preamble.separator != 0 ? preamble.separator
                                                   : GuessSeparator(start.substr(preamble.size),
                                                                    format.notation.decimal);
    } else {
        format.separator = separator_ == "tab" ? '\t' : separator_.front();
    }
    for (const auto& [name, order] : kDates) {
        format.notation.dates = dates_ == name ? order : format.notation.dates;
    }
    for (const std::string& list : nulls_) {
        const auto words = ParseWords(list);
        for (std::size_t word = 0; words && word < words->size(); ++word) {
            format.nulls.push_back((*words)[word].text);
        }
    }
    return format;
}

CliResult<> CliCsvOptions::RefuseFor(const std::string& source, std::string_view kind) const {
    for (const CLI::Option* const option : options_) {
        if (option->count() > 0) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} belongs to tables of text (CSV), and {} is {}",
                                          option->get_name(), Quoted(source), kind)};
        }
    }
    return {};
}

void TellHints(const ECsvTable& file, std::span<const ECsvHint> hints) {
    constexpr std::size_t kMost = 8;
    for (const ECsvHint& hint : hints.first(std::min(hints.size(), kMost))) {
        TellUser(fmt::format("column {} of {} stays text: {} would be {}",
                             Quoted(file.Info().columns[hint.column].name.View()),
                             file.Location().View(), Quoted(hint.example), WhatItWouldBe(hint)));
    }
    if (hints.size() > kMost) {
        TellUser(fmt::format("{} more columns of {} stay text that would be numbers or dates",
                             hints.size() - kMost, file.Location().View()));
    }
}

}  // namespace etabulon
