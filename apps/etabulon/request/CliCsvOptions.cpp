#include "apps/etabulon/request/CliCsvOptions.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliPath.h"
#include "etabulon/csv/ECsvTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
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
    return text.size() == 1 || text == "tab" ? "" : "a separator is one character, or the word tab";
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

/// The separator that the first line has most of outside of quotes.
char GuessSeparator(std::string_view start, char decimal) {
    // Beside decimal commas a comma separates only where nothing else does.
    const std::string_view separators = decimal == ',' ? ";\t|" : ",;\t|";
    std::array<std::size_t, 4> counts{};
    bool hasComma = false;
    bool isInQuotes = false;
    for (const char c : start) {
        if (c == '"') {
            isInQuotes = !isInQuotes;
        } else if (!isInQuotes) {
            if (c == '\n' || c == '\r') {
                break;
            }
            hasComma = hasComma || c == ',';
            if (const std::size_t which = separators.find(c); which != std::string_view::npos) {
                ++counts[which];
            }
        }
    }
    const auto most = std::max_element(counts.begin(), counts.end());
    return *most == 0 && hasComma ? ','
                                  : separators[static_cast<std::size_t>(most - counts.begin())];
}

/// What a column's texts would be, and by which option.
std::string WhatItWouldBe(const ECsvHint& hint) {
    std::vector<std::string> options;
    if (hint.decimal != 0) {
        options.push_back(fmt::format("a number by --decimal {}", hint.decimal));
    }
    for (const ECsvDates order : hint.dates) {
        options.push_back(fmt::format("a date by --dates {}", NameOf(order)));
    }
    if (hint.hasThousands) {
        options.emplace_back("a number without the separators between thousands");
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
    if (separator_.empty()) {
        format.separator = GuessSeparator(start, format.notation.decimal);
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

void TellHints(const ECsvTable& file) {
    for (const ECsvHint& hint : file.Hints()) {
        TellUser(fmt::format("column {} of {} stays text: {} would be {}",
                             Quoted(file.Info().columns[hint.column].name.View()),
                             file.Location().View(), Quoted(hint.example), WhatItWouldBe(hint)));
    }
}

}  // namespace etabulon
