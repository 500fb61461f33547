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
    CliLevels levels;
    ETabulonTag place;
    std::vector<unsigned int> details;
    /// Those of the place, then `details`, then what no result shows.
    ETabulonSortDesc::SortKeyArray keys;
    ETabulonSortDesc::SortCompareSource compareSource = ETabulonSortDesc::CompareOnDisplay;
};

/// What a tree is made of: all levels in their order, and which of them it shows.
struct CliTreeOrder {
    CliLevels levels;
    ETabulonTag place;
    std::set<unsigned int> hidden;
    std::set<unsigned int> reversed;

    /// The levels of the place have one value each: the tree begins below them.
    [[nodiscard]] bool IsShown(unsigned int level) const {
        return !hidden.contains(level) && !place.HasValue(level);
    }
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys() const;
};

/// --levels, --at, --hide, --reverse, --by and --locale, for trees and results.
class CliSortOptions {
public:
    void Declare(CLI::App& app);
    /// Installs --locale; to be called before any text is compared.
    [[nodiscard]] bool Install(const CliEnvironment& environment, CliFailure& failure) const {
        return locale_.Install(environment, failure);
    }
    /// The details are the levels that `named` lists, which `option` was given; without any those
    /// of --levels that are neither hidden nor in --at. Levels that only `named` or --at name are
    /// levels too.
    [[nodiscard]] bool Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                            std::string_view named, std::string_view option,
                            CliResultLevels& result, CliFailure& failure) const;

    [[nodiscard]] bool ReadTree(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                CliTreeOrder& order, CliFailure& failure) const;

    [[nodiscard]] const CliLevelOptions& Levels() const noexcept { return levels_; }
    /// The levels that are in --hide and in --reverse.
    [[nodiscard]] bool FindMarked(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                  const CliLevels& levels, std::set<unsigned int>& hidden,
                                  std::set<unsigned int>& reversed, CliFailure& failure) const;
    [[nodiscard]] ETabulonSortDesc::SortCompareSource CompareSource() const noexcept {
        return by_ == "data" ? ETabulonSortDesc::CompareOnData : ETabulonSortDesc::CompareOnDisplay;
    }

private:
    CliLevelOptions levels_;
    std::vector<std::string> hide_;
    std::vector<std::string> reverse_;
    std::string by_ = "display";
    CliLocaleOptions locale_;
};

/// Sets a description up; its levels must be those of `result`.
void SetSort(const CliResultLevels& result, ETabulonSortDesc& sort);

}  // namespace etabulon
