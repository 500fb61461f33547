#pragma once

#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliOptions.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// The levels of a result: those of its place, and those whose values are its lines and columns.
struct CliResultLevels {
    explicit CliResultLevels(const CliTable& table) : levels(table) {}

    CliLevels levels;
    ETabulonTag place;
    std::vector<unsigned int> details;
    /// First the levels of the place, then `details`, then the hidden ones.
    ETabulonSortDesc::SortKeyArray keys;
    ETabulonSortDesc::SortCompareSource compareSource = ETabulonSortDesc::CompareOnValue;
};

/// The levels that --hide and --reverse name.
struct CliMarkedLevels {
    std::set<unsigned int> hidden;
    std::set<unsigned int> reversed;
};

/// The levels of a tree in their order, and which of them the tree shows.
struct CliTreeOrder {
    CliLevels levels;
    ETabulonTag place;
    CliMarkedLevels marked;

    /// The levels of the place aren't shown: each has one value, and the tree begins below them.
    [[nodiscard]] bool IsShown(unsigned int level) const {
        return !marked.hidden.contains(level) && !place.HasValue(level);
    }
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys() const;
};

/// --levels, --at, --hide, --reverse, --by and --locale, for trees and results.
class CliSortOptions {
public:
    void Declare(CLI::App& app);
    /// Installs --locale. To be called before any text is compared.
    [[nodiscard]] CliResult<> Install(const CliEnvironment& environment) const {
        return locale_.Install(environment);
    }
    /// The details are the levels listed in `named`, the text of `option`. If it lists none, they
    /// are the levels of --levels that are neither in --hide nor in --at. A level that only
    /// `named` or --at names is added to the levels.
    [[nodiscard]] CliResult<CliResultLevels> Read(const CliTable& table, std::string_view named,
                                                  std::string_view option) const;
    [[nodiscard]] CliResult<CliTreeOrder> ReadTree(const CliTable& table) const;

    [[nodiscard]] const CliLevelOptions& Levels() const noexcept { return levels_; }
    [[nodiscard]] ETabulonSortDesc::SortCompareSource CompareSource() const noexcept {
        return by_ == "data"      ? ETabulonSortDesc::CompareOnData
               : by_ == "display" ? ETabulonSortDesc::CompareOnDisplay
                                  : ETabulonSortDesc::CompareOnValue;
    }

private:
    [[nodiscard]] CliResult<CliMarkedLevels> FindMarked(const CliLevels& levels) const;

    CliLevelOptions levels_;
    std::vector<std::string> hide_;
    std::vector<std::string> reverse_;
    std::string by_ = "value";
    CliLocaleOptions locale_;
};

/// Sets up a sort description whose levels are those of `result`.
void SetSort(const CliResultLevels& result, ETabulonSortDesc& sort);

}  // namespace etabulon
