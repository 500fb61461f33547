#pragma once

#include "apps/etabulon/commands/CliSortedCommand.h"
#include "apps/etabulon/commands/GridArrangement.h"
#include "apps/etabulon/views/CliCross.h"
#include "apps/etabulon/walk/CliWalk.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridFiller.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon grid`: calculations over a table, across up to two levels.
class GridCommand final : public CliResultCommand {
public:
    [[nodiscard]] const char* Name() const override { return "grid"; }
    [[nodiscard]] const char* Description() const override {
        return "Print calculations across the values of up to two levels, with totals";
    }
    void DeclareView(CLI::App& app) override;

protected:
    [[nodiscard]] CliResult<> Show(CliEnvironment& environment,
                                   const CliWalkContext& context) override;

private:
    /// One grid of all calculations, or one grid for each calculation.
    struct Grids {
        std::vector<ERef<ETabulonGridFiller>> fillers;
        std::vector<CliCross> crosses;
        std::vector<std::string> notes;  // about labels that can't be told apart
        bool hasRecords = false;
    };
    [[nodiscard]] CliResult<CliResultRequest> Read(const CliTable& table) const;
    /// Walks the table and fills the grids. `cursor` must outlive them.
    [[nodiscard]] static CliResult<Grids> Calculate(const CliWalkContext& context,
                                                    const CliResultRequest& request,
                                                    CliCursor& cursor);
    void Send(const CliResultRequest& request, Grids& grids) const;
    /// Prints the records behind a cell.
    [[nodiscard]] CliResult<> Drill(const CliEnvironment& environment,
                                    const CliWalkContext& context, const CliResultRequest& request,
                                    const Grids& grids) const;

    /// The same for a grid that is arranged.
    /// Prints the lines that --limit leaves, and tells of the others.
    void Print(const CliEnvironment& environment, std::vector<CliCross>& crosses,
               bool areNumbers) const;
    [[nodiscard]] CliResult<> ShowArranged(const CliEnvironment& environment,
                                           const CliWalkContext& context,
                                           const CliResultRequest& request) const;
    [[nodiscard]] CliResult<> PrintArranged(const CliEnvironment& environment,
                                            const CliWalkContext& context,
                                            const CliResultRequest& request,
                                            const GridArrangement::Arranged& arranged,
                                            const ECrossTable& table) const;
    [[nodiscard]] CliResult<> DrillArranged(const CliEnvironment& environment,
                                            const CliWalkContext& context,
                                            const CliResultRequest& request,
                                            const GridArrangement::Arranged& arranged,
                                            const ECrossTable& table) const;

    GridArrangement arrangement_;
    std::vector<std::string> axes_;
    std::optional<std::uint32_t> priority_;
    std::optional<std::string> drill_;
};

}  // namespace etabulon
