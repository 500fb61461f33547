#include "apps/etabulon/request/CliSortOptions.h"

#include "apps/etabulon/output/CliUtf8.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <utility>

namespace etabulon {
namespace {

CliResult<> AddNamedLevels(std::string_view named, std::string_view option,
                           CliResultLevels& result) {
    const CliResult<std::vector<CliLevelChoice>> choices = ParseLevels(named);
    if (!choices) {
        return choices.Failure();
    }
    std::set<unsigned int> met;
    for (const CliLevelChoice& choice : *choices) {
        const CliResult<unsigned int> id = result.levels.FindOrAdd(choice.data, choice.shown);
        if (!id) {
            return id.Failure();
        }
        if (!met.insert(*id).second) {
            return CliFailure{CliExit::Usage, fmt::format("level {} is given twice in {}",
                                                          Quoted(choice.shown), option)};
        }
        result.details.push_back(*id);
    }
    return {};
}

CliResult<> AddPlaceLevels(std::string_view at, CliLevels& levels) {
    const CliResult<std::vector<CliPlaceChoice>> places = ParsePlaces(at);
    return places ? levels.AddPlaces(*places) : places.Failure();
}

CliResult<> CheckDetails(const CliResultLevels& result, const std::set<unsigned int>& hidden,
                         std::string_view option) {
    for (const unsigned int id : result.details) {
        const std::string shown = Quoted(result.levels.all[id].shown);
        if (hidden.contains(id)) {
            return CliFailure{CliExit::Usage,
                              fmt::format("level {} is both in {} and in --hide", shown, option)};
        }
        if (result.place.HasValue(id)) {
            return CliFailure{CliExit::Usage,
                              fmt::format("level {} has one value by --at, and so no others for {}",
                                          shown, option)};
        }
    }
    return {};
}

void Arrange(CliResultLevels& result, const std::set<unsigned int>& reversed) {
    const std::set<unsigned int> details(result.details.begin(), result.details.end());
    const auto add = [&](unsigned int id, ETabulonSortDesc::HideFlag hiddenIn) {
        result.keys.Add({id, reversed.contains(id), hiddenIn});
    };
    const auto count = static_cast<unsigned int>(result.levels.all.size());
    for (unsigned int id = 0; id < count; ++id) {
        if (result.place.HasValue(id)) {
            add(id, 0);
        }
    }
    for (const unsigned int id : result.details) {
        add(id, 0);
    }
    for (unsigned int id = 0; id < count; ++id) {
        if (!result.place.HasValue(id) && !details.contains(id)) {
            add(id, ETabulonSortDesc::HideInCalc);
        }
    }
}

}  // namespace

void CliSortOptions::Declare(CLI::App& app) {
    levels_.Declare(app);
    AddList(app, "--hide", hide_, "Levels to leave out; what differs only in them is put together");
    AddList(app, "--reverse", reverse_, "Levels to sort in falling order");
    app.add_option(
           "--by", by_,
           "Sort by value: numbers and dates by their size, texts in the order of --locale, "
           "and NULL first; or by display, all values as the texts shown, in the order of "
           "--locale; or by data, all values as texts byte by byte (10 before 9)")
        ->type_name("ORDER")
        ->check(CLI::IsMember({"value", "display", "data"}));
    locale_.Declare(app);
}

CliResult<CliMarkedLevels> CliSortOptions::FindMarked(const CliLevels& levels) const {
    auto hidden = levels.FindAll(JoinLists(hide_), "--hide");
    if (!hidden) {
        return hidden.Failure();
    }
    auto reversed = levels.FindAll(JoinLists(reverse_), "--reverse");
    if (!reversed) {
        return reversed.Failure();
    }
    return CliMarkedLevels{std::move(*hidden), std::move(*reversed)};
}

CliResult<CliResultLevels> CliSortOptions::Read(const CliTable& table, std::string_view named,
                                                std::string_view option) const {
    CliResultLevels result(table);
    CliLevels& levels = result.levels;
    if (const CliResult<> added = levels.Add(levels_.Levels()); !added) {
        return added.Failure();
    }
    const auto listed = static_cast<unsigned int>(levels.all.size());
    if (const CliResult<> added = AddNamedLevels(named, option, result); !added) {
        return added.Failure();
    }
    if (const CliResult<> added = AddPlaceLevels(levels_.At(), levels); !added) {
        return added.Failure();
    }
    CliResult<ETabulonTag> place = levels.ReadTag(levels_.At());
    if (!place) {
        return place.Failure();
    }
    result.place = std::move(*place);
    const CliResult<CliMarkedLevels> marked = FindMarked(levels);
    if (!marked) {
        return marked.Failure();
    }
    if (result.details.empty()) {
        for (unsigned int id = 0; id < listed; ++id) {
            if (!marked->hidden.contains(id) && !result.place.HasValue(id)) {
                result.details.push_back(id);
            }
        }
    }
    result.compareSource = CompareSource();
    Arrange(result, marked->reversed);
    if (const CliResult<> checked = CheckDetails(result, marked->hidden, option); !checked) {
        return checked.Failure();
    }
    return result;
}

void SetSort(const CliResultLevels& result, ETabulonSortDesc& sort) {
    sort.SetSortLevels(result.keys);
    sort.SetCompareSource(result.compareSource);
}

CliResult<CliTreeOrder> CliSortOptions::ReadTree(const CliTable& table) const {
    CliTreeOrder order{CliLevels(table), {}, {}};
    if (const CliResult<> added = order.levels.Add(levels_.Levels()); !added) {
        return added.Failure();
    }
    CliResult<ETabulonTag> place = order.levels.ReadTag(levels_.At());
    if (!place) {
        return place.Failure();
    }
    order.place = std::move(*place);
    CliResult<CliMarkedLevels> marked = FindMarked(order.levels);
    if (!marked) {
        return marked.Failure();
    }
    order.marked = std::move(*marked);
    return order;
}

ETabulonSortDesc::SortKeyArray CliTreeOrder::Keys() const {
    ETabulonSortDesc::SortKeyArray keys;
    for (unsigned int id = 0; id < levels.all.size(); ++id) {
        keys.Add({id, marked.reversed.contains(id),
                  IsShown(id) ? 0U : ETabulonSortDesc::HideFlag{ETabulonSortDesc::HideInTree}});
    }
    return keys;
}

}  // namespace etabulon
