#pragma once

#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "apps/etabulon/views/CliCross.h"
#include "apps/etabulon/walk/CliWalk.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridFiller.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon grid`: calculations over a table, across one or two levels.
class GridCommand final : public CliViewCommand {
public:
    [[nodiscard]] const char* Name() const override { return "grid"; }
    [[nodiscard]] const char* Description() const override {
        return "Print calculations across the values of up to two levels, with totals";
    }
    void DeclareView(CLI::App& app) override;

protected:
    [[nodiscard]] bool Prepare(const CliEnvironment& environment,
                               CliFailure& failure) const override;
    [[nodiscard]] bool Show(CliEnvironment& environment, const CliWalkContext& context,
                            CliFailure& failure) override;

private:
    /// What the options say about a table.
    struct Request {
        CliResultLevels levels;
        CliCalculations calculations;
    };
    /// A grid of all calculations, or one for each.
    struct Grids {
        std::vector<ERef<ETabulonGridFiller>> fillers;
        std::vector<CliCross> crosses;
    };
    [[nodiscard]] bool Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                            Request& request, CliFailure& failure) const;
    [[nodiscard]] bool Calculate(const CliWalkContext& context, const Request& request,
                                 CliCursor& cursor, Grids& grids, CliFailure& failure) const;
    void Send(const Request& request, Grids& grids) const;
    /// Prints the records behind a cell.
    [[nodiscard]] bool Drill(const CliEnvironment& environment, const CliWalkContext& context,
                             const Request& request, const Grids& grids, CliFailure& failure) const;

    std::vector<std::string> axes_;
    std::vector<std::string> calculations_;
    CliSortOptions sort_;
    std::optional<std::uint32_t> priority_;
    std::optional<std::string> drill_;
};

}  // namespace etabulon
