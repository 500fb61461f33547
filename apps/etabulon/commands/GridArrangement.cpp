#include "apps/etabulon/commands/GridArrangement.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliOrder.h"
#include "apps/etabulon/views/CliCrossPrinter.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <set>
#include <string_view>
#include <utility>

namespace etabulon {
namespace {

constexpr std::pair<std::string_view, ECrossBase> kBases[] = {
    {"line", ECrossBase::Line}, {"column", ECrossBase::Column}, {"total", ECrossBase::All}};

/// Reads numbers of labels, separated by commas, one for each level of an axis of `levels`.
CliResult<std::vector<std::uint32_t>> ReadMost(const std::string& text, std::string_view option,
                                               std::size_t levels) {
    const CliResult<std::vector<CliWordChoice>> words = ParseWords(text);
    if (!words) {
        return words.Failure();
    }
    std::vector<std::uint32_t> most;
    for (const CliWordChoice& word : *words) {
        std::uint32_t number = 0;
        const char* const end = word.text.data() + word.text.size();
        const auto read = std::from_chars(word.text.data(), end, number);
        if (read.ec != std::errc() || read.ptr != end) {
            return CliFailure{CliExit::Usage,
                              fmt::format("{} takes a number, not {}", option, Quoted(word.text))};
        }
        most.push_back(number);
    }
    if (most.size() > levels) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("{} has {}, but the axis has {}", option,
                        most.size() == 1 ? "a number" : fmt::format("{} numbers", most.size()),
                        levels == 0   ? "no level"
                        : levels == 1 ? "one level"
                                      : fmt::format("{} levels", levels))};
    }
    return most;
}

}  // namespace

void GridArrangement::Declare(CLI::App& app) {
    AddList(
        app, "--lines", lines_,
        "In place of --axes: the levels of the lines, nested from the first on, with subtotals");
    AddList(app, "--columns", columns_, "Likewise those of the columns");
    AddList(app, "--sort-lines", sortLines_,
            "Sort the lines by: a level of theirs, FUNCTION:column or total for their totals, or "
            "level=value for their cells in that column; behind each :asc or :desc turns it");
    AddList(app, "--sort-columns", sortColumns_, "Likewise the columns, by totals and lines");
    AddList(app, "--top-lines", topLines_,
            "Print this many lines, with 0 only others and totals; on nested lines numbers for the "
            "levels, separated by commas");
    AddList(app, "--top-columns", topColumns_, "Likewise columns");
    app.add_flag("--others", others_,
                 "Put the lines and columns that these leave out into one more each, calculated "
                 "from their records");
    app.add_option(
           "--percent", percent_,
           "Print what COUNT, COUNTVAL and SUM give as percents of the total of the line, of the "
           "column, or of all")
        ->type_name("BASE")
        ->check(CLI::IsMember({"line", "column", "total"}));
    AddList(app, "--totals", totals_,
            "Which totals are printed: lines, columns and subtotals, separated by commas, or none; "
            "without it all");
}

bool GridArrangement::IsUsed() const noexcept {
    return !lines_.empty() || !columns_.empty() || !sortLines_.empty() || !sortColumns_.empty() ||
           !topLines_.empty() || !topColumns_.empty() || others_ || !percent_.empty() ||
           !totals_.empty();
}

std::string GridArrangement::NamedAxes() const {
    const std::string lines = JoinLists(lines_);
    const std::string columns = JoinLists(columns_);
    return lines + (lines.empty() || columns.empty() ? "" : ",") + columns;
}

CliResult<> GridArrangement::ReadAxes(const CliResultRequest& request, Arranged& arranged) const {
    const std::span<const unsigned int> details(request.levels.details);
    std::size_t lines = std::min<std::size_t>(details.size(), 1);
    if (!NamedAxes().empty()) {
        const CliResult<std::vector<CliLevelChoice>> named = ParseLevels(JoinLists(lines_));
        if (!named) {
            return named.Failure();
        }
        lines = named->size();
    }
    if (lines == 0) {
        return CliFailure{CliExit::Usage,
                          "there are no lines to arrange: --lines or --axes is missing"};
    }
    arranged.lines = details.first(lines);
    arranged.columns = details.subspan(lines);
    return {};
}

CliResult<> GridArrangement::ReadOrders(const CliResultRequest& request, unsigned int calculation,
                                        Arranged& arranged) const {
    const auto read = [&](ECrossAxisOrder& order, const std::vector<std::string>& sort,
                          std::string_view sortOption, const std::vector<std::string>& top,
                          std::string_view topOption, std::span<const unsigned int> own,
                          std::span<const unsigned int> across) -> CliResult<> {
        CliResult<std::vector<ECrossKey>> keys =
            ReadOrder(JoinLists(sort),
                      {sortOption, request.levels, request.calculations, own, across, calculation});
        if (!keys) {
            return keys.Failure();
        }
        order.keys = std::move(*keys);
        CliResult<std::vector<std::uint32_t>> most =
            ReadMost(JoinLists(top), topOption, own.size());
        if (!most) {
            return most.Failure();
        }
        order.most = std::move(*most);
        order.others = others_ ? Chaine(kOthers) : Chaine();
        return {};
    };
    const CliResult<> lines = read(arranged.order.lines, sortLines_, "--sort-lines", topLines_,
                                   "--top-lines", arranged.lines, arranged.columns);
    return !lines ? lines
                  : read(arranged.order.columns, sortColumns_, "--sort-columns", topColumns_,
                         "--top-columns", arranged.columns, arranged.lines);
}

CliResult<> GridArrangement::ReadShown(const CliResultRequest& request, Arranged& arranged) const {
    for (const auto& [name, base] : kBases) {
        if (percent_ == name) {
            arranged.shown.percent = base;
        }
    }
    for (unsigned int index = 0; arranged.shown.percent && index < request.calculations.all.size();
         ++index) {
        if (CliResult<> checked = CheckShares(request.calculations, index, "--percent"); !checked) {
            return checked;
        }
    }
    if (arranged.shown.percent == ECrossBase::Line && arranged.columns.empty()) {
        return CliFailure{CliExit::Usage,
                          "--percent line needs columns of a level: without them a line has one "
                          "value of each calculation"};
    }
    if (totals_.empty()) {
        return {};
    }
    const CliResult<std::vector<CliWordChoice>> words = ParseWords(JoinLists(totals_));
    if (!words) {
        return words.Failure();
    }
    std::set<std::string> named;
    for (const CliWordChoice& word : *words) {
        if (word.text != "lines" && word.text != "columns" && word.text != "subtotals" &&
            !(word.text == "none" && words->size() == 1)) {
            return CliFailure{CliExit::Usage,
                              fmt::format("--totals takes lines, columns and subtotals, or none "
                                          "alone, not {}",
                                          Quoted(word.text))};
        }
        named.insert(word.text);
    }
    arranged.shown.hasLineTotals = named.contains("lines");
    arranged.shown.hasColumnTotals = named.contains("columns");
    arranged.order.lines.hasSubtotals = arranged.order.columns.hasSubtotals =
        named.contains("subtotals");
    return {};
}

CliResult<GridArrangement::Arranged> GridArrangement::Read(const CliResultRequest& request,
                                                           unsigned int calculation) const {
    Arranged arranged;
    if (const CliResult<> axes = ReadAxes(request, arranged); !axes) {
        return axes.Failure();
    }
    if (const CliResult<> orders = ReadOrders(request, calculation, arranged); !orders) {
        return orders.Failure();
    }
    if (const CliResult<> checked = CheckOthers(request.calculations); others_ && !checked) {
        return checked.Failure();
    }
    if (others_ && arranged.order.lines.most.empty() && arranged.order.columns.most.empty()) {
        return CliFailure{CliExit::Usage, "--others needs --top-lines or --top-columns"};
    }
    if (const CliResult<> shown = ReadShown(request, arranged); !shown) {
        return shown.Failure();
    }
    return arranged;
}

}  // namespace etabulon
