#include "apps/etabulon/request/CliSortOptions.h"

#include "apps/etabulon/output/CliUtf8.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

constexpr unsigned int kNoLevel = static_cast<unsigned int>(-1);

bool AddNamedLevels(const CliDictionary& dictionary, const ESqlTableInfo& table,
                    std::string_view named, std::string_view option, CliResultLevels& result,
                    CliFailure& failure) {
    std::vector<CliLevelChoice> choices;
    if (!ParseLevels(named, choices, failure)) {
        return false;
    }
    std::set<unsigned int> met;
    for (const CliLevelChoice& choice : choices) {
        unsigned int id = kNoLevel;
        if (!FindOrAddLevel(dictionary, table, choice.data, choice.shown, result.levels, id,
                            failure)) {
            return false;
        }
        if (!met.insert(id).second) {
            return failure.Set(CliExit::Usage, fmt::format("level {} is given twice in {}",
                                                           Quoted(choice.shown), option));
        }
        result.details.push_back(id);
    }
    return true;
}

bool AddPlaceLevels(const CliDictionary& dictionary, const ESqlTableInfo& table,
                    std::string_view at, CliLevels& levels, CliFailure& failure) {
    std::vector<CliPlaceChoice> places;
    if (!ParsePlaces(at, places, failure)) {
        return false;
    }
    return std::all_of(places.begin(), places.end(), [&](const CliPlaceChoice& place) {
        unsigned int id = kNoLevel;
        return FindOrAddLevel(dictionary, table, place.path, place.path.shown, levels, id, failure);
    });
}

bool CheckDetails(const CliResultLevels& result, const std::set<unsigned int>& hidden,
                  std::string_view option, CliFailure& failure) {
    for (const unsigned int id : result.details) {
        const std::string shown = Quoted(result.levels.all[id].shown);
        if (hidden.contains(id)) {
            return failure.Set(CliExit::Usage,
                               fmt::format("level {} is both in {} and in --hide", shown, option));
        }
        if (result.place.HasValue(id)) {
            return failure.Set(
                CliExit::Usage,
                fmt::format("level {} has one value by --at, and so no others for {}", shown,
                            option));
        }
    }
    return true;
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
    app.add_option("--by", by_,
                   "Sort by display, the texts in the order of --locale, or by data, all values as "
                   "texts byte by byte (10 before 9)")
        ->type_name("ORDER")
        ->check(CLI::IsMember({"display", "data"}));
    locale_.Declare(app);
}

bool CliSortOptions::FindMarked(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                const CliLevels& levels, std::set<unsigned int>& hidden,
                                std::set<unsigned int>& reversed, CliFailure& failure) const {
    return FindLevels(dictionary, table, levels, JoinLists(hide_), "--hide", hidden, failure) &&
           FindLevels(dictionary, table, levels, JoinLists(reverse_), "--reverse", reversed,
                      failure);
}

bool CliSortOptions::Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                          std::string_view named, std::string_view option, CliResultLevels& result,
                          CliFailure& failure) const {
    CliLevels& levels = result.levels;
    if (!MakeLevels(dictionary, table, levels_.Levels(), levels, failure)) {
        return false;
    }
    const auto listed = static_cast<unsigned int>(levels.all.size());
    std::set<unsigned int> hidden;
    std::set<unsigned int> reversed;
    if (!AddNamedLevels(dictionary, table, named, option, result, failure) ||
        !AddPlaceLevels(dictionary, table, levels_.At(), levels, failure) ||
        !MakeTag(dictionary, table, levels, levels_.At(), result.place, failure) ||
        !FindMarked(dictionary, table, levels, hidden, reversed, failure)) {
        return false;
    }
    if (result.details.empty()) {
        for (unsigned int id = 0; id < listed; ++id) {
            if (!hidden.contains(id) && !result.place.HasValue(id)) {
                result.details.push_back(id);
            }
        }
    }
    result.compareSource = CompareSource();
    Arrange(result, reversed);
    return CheckDetails(result, hidden, option, failure);
}

void SetSort(const CliResultLevels& result, ETabulonSortDesc& sort) {
    sort.SetSortLevels(result.keys);
    sort.SetCompareSource(result.compareSource);
}

bool CliSortOptions::ReadTree(const CliDictionary& dictionary, const ESqlTableInfo& table,
                              CliTreeOrder& order, CliFailure& failure) const {
    return MakeLevels(dictionary, table, levels_.Levels(), order.levels, failure) &&
           MakeTag(dictionary, table, order.levels, levels_.At(), order.place, failure) &&
           FindMarked(dictionary, table, order.levels, order.hidden, order.reversed, failure);
}

ETabulonSortDesc::SortKeyArray CliTreeOrder::Keys() const {
    ETabulonSortDesc::SortKeyArray keys;
    for (unsigned id = 0; id < levels.all.size(); ++id) {
        keys.Add({id, reversed.contains(id),
                  IsShown(id) ? 0U : ETabulonSortDesc::HideFlag{ETabulonSortDesc::HideInTree}});
    }
    return keys;
}

}  // namespace etabulon
