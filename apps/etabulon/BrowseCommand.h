#pragma once

#include "apps/etabulon/BrowseAlerts.h"
#include "apps/etabulon/CliCommand.h"
#include "apps/etabulon/CliOptions.h"
#include "apps/etabulon/CliSortOptions.h"
#include "apps/etabulon/CliWalk.h"

#include <set>
#include <string>

namespace etabulon {

class BrowseCursor;
class BrowseTerminal;

/// What the tree is made of.
struct BrowseOrder {
    CliLevels levels;
    ETabulonTag place;
    std::set<unsigned int> hidden;
    std::set<unsigned int> reversed;
};

/// `etabulon browse`: the tree of a table in the terminal, to be opened, rearranged and refreshed.
class BrowseCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "browse"; }
    [[nodiscard]] const char* Description() const override {
        return "Explore the levels of a table as a tree in the terminal";
    }
    void Declare(CLI::App& app) override;
    [[nodiscard]] bool Run(CliEnvironment& environment, CliFailure& failure) override;

private:
    [[nodiscard]] bool ReadOrder(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                 BrowseOrder& order, CliFailure& failure) const;
    [[nodiscard]] bool Browse(const CliEnvironment& environment, const CliWalkContext& context,
                              const BrowseOrder& order, CliFailure& failure);
    /// Returns the signal that ended it, or 0.
    [[nodiscard]] int Show(BrowseTerminal& terminal, CliInterrupt& interrupt, BrowseCursor& cursor,
                           const std::string& tableName, const BrowseOrder& order) const;

    CliSourceOptions source_;
    CliSortOptions sort_;
    BrowseAlerts alerts_;
};

}  // namespace etabulon
