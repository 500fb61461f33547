#pragma once

#include "apps/etabulon/commands/CliSortedCommand.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/views/CliCross.h"
#include "etabulon/cross/ECrossOrder.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

/// The options of a grid that arrange it: its axes, their order, limits, percents and totals.
class GridArrangement {
public:
    void Declare(CLI::App& app);
    /// Whether any of them was given: without them a grid is that of ETabulonGridFiller.
    [[nodiscard]] bool IsUsed() const noexcept;

    /// The levels of --lines and --columns as one list; nothing where neither was given.
    [[nodiscard]] std::string NamedAxes() const;

    /// How the grid of a request is arranged. The levels are those of the request's details.
    struct Arranged {
        std::span<const unsigned int> lines;
        std::span<const unsigned int> columns;
        ECrossOrder order;
        CliCrossShown shown;
    };
    /// `calculation` is the one that keys of the order mean which name none. The request must
    /// outlive the answer.
    [[nodiscard]] CliResult<Arranged> Read(const CliResultRequest& request,
                                           unsigned int calculation) const;

private:
    [[nodiscard]] CliResult<> ReadAxes(const CliResultRequest& request, Arranged& arranged) const;
    [[nodiscard]] CliResult<> ReadOrders(const CliResultRequest& request, unsigned int calculation,
                                         Arranged& arranged) const;
    [[nodiscard]] CliResult<> ReadShown(const CliResultRequest& request, Arranged& arranged) const;

    std::vector<std::string> lines_;
    std::vector<std::string> columns_;
    std::vector<std::string> sortLines_;
    std::vector<std::string> sortColumns_;
    std::vector<std::string> topLines_;
    std::vector<std::string> topColumns_;
    bool others_ = false;
    std::string percent_;
    std::vector<std::string> totals_;
};

}  // namespace etabulon
