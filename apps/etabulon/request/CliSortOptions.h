#pragma once

#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliOptions.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// What a result is made of: the place, and the levels below it that its lines and columns are.
struct CliResultLevels {
    explicit CliResultLevels(const CliTable& table) : levels(table) {}

    CliLevels levels;
    ETabulonTag place;
    std::vector<unsigned int> details;
    /// Those of the place, then `details`, then what no result shows.
    ETabulonSortDesc::SortKeyArray keys;
    ETabulonSortDesc::SortCompareSource compareSource = ETabulonSortDesc::CompareOnDisplay;
};

/// The levels that --hide and --reverse name.
struct CliMarkedLevels {
    std::set<unsigned int> hidden;
    std::set<unsigned int> reversed;
};

/// What a tree is made of: all levels in their order, and which of them it shows.
struct CliTreeOrder {
    CliLevels levels;
    ETabulonTag place;
    CliMarkedLevels marked;

    /// The levels of the place have one value each: the tree begins below them.
    [[nodiscard]] bool IsShown(unsigned int level) const {
        return !marked.hidden.contains(level) && !place.HasValue(level);
    }
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys() const;
};

/// --levels, --at, --hide, --reverse, --by and --locale, for trees and results.
class CliSortOptions {
public:
    void Declare(CLI::App& app);
    /// Installs --locale; to be called before any text is compared.
    [[nodiscard]] CliResult<> Install(const CliEnvironment& environment) const {
        return locale_.Install(environment);
    }
    /// The details are the levels that `named` lists, which `option` was given; without any those
    /// of --levels that are neither hidden nor in --at. Levels that only `named` or --at name are
    /// levels too.
    [[nodiscard]] CliResult<CliResultLevels> Read(const CliTable& table, std::string_view named,
                                                  std::string_view option) const;
    [[nodiscard]] CliResult<CliTreeOrder> ReadTree(const CliTable& table) const;

    [[nodiscard]] const CliLevelOptions& Levels() const noexcept { return levels_; }
    [[nodiscard]] ETabulonSortDesc::SortCompareSource CompareSource() const noexcept {
        return by_ == "data" ? ETabulonSortDesc::CompareOnData : ETabulonSortDesc::CompareOnDisplay;
    }

private:
    [[nodiscard]] CliResult<CliMarkedLevels> FindMarked(const CliLevels& levels) const;

    CliLevelOptions levels_;
    std::vector<std::string> hide_;
    std::vector<std::string> reverse_;
    std::string by_ = "display";
    CliLocaleOptions locale_;
};

/// Sets a description up; its levels must be those of `result`.
void SetSort(const CliResultLevels& result, ETabulonSortDesc& sort);

}  // namespace etabulon
