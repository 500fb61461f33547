#pragma once

#include "apps/etabulon/browse/BrowseAlerts.h"
#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstdint>
#include <optional>

namespace etabulon {

class BrowseCursor;
class CliView;
class BrowseTerminal;
class BrowseWake;

/// `etabulon browse`: explores the tree of a table in the terminal.
class BrowseCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "browse"; }
    [[nodiscard]] const char* Description() const override {
        return "Explore the levels of a table as a tree in the terminal";
    }
    void Declare(CLI::App& app) override;
    [[nodiscard]] CliResult<> Run(CliEnvironment& environment) override;

private:
    [[nodiscard]] CliResult<> Browse(const CliEnvironment& environment,
                                     const CliWalkContext& context, const CliTreeOrder& order);
    /// Where the user sits: the screen, and what wakes the program.
    struct Seat {
        BrowseTerminal& terminal;
        BrowseWake& wake;
    };
    /// Runs the browser. Returns the signal that ended it, or 0.
    [[nodiscard]] int Show(const Seat& seat, const CliWalkContext& context, BrowseCursor& cursor,
                           const CliTreeOrder& order, CliView& view) const;

    CliSourceOptions source_;
    CliSortOptions sort_;
    BrowseAlerts alerts_;
    CliColourOptions colour_;
    std::optional<std::uint32_t> depth_;
    bool explains_ = false;
};

}  // namespace etabulon
