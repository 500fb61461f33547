#pragma once

#include "apps/etabulon/commands/CliSortedCommand.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace etabulon {

struct CliTreeView;

/// `etabulon tree`: the records of a table as a tree of levels, each node with its number of
/// records and the results of calculations over them.
class TreeCommand final : public CliResultCommand {
public:
    [[nodiscard]] const char* Name() const override { return "tree"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the levels of a table as a tree with the number of records of each node";
    }
    void DeclareView(CLI::App& app) override;
    [[nodiscard]] CliResult<> Prepare(const CliEnvironment& environment) const override;

protected:
    [[nodiscard]] CliResult<> Show(CliEnvironment& environment,
                                   const CliWalkContext& context) override;

private:
    [[nodiscard]] CliResult<CliTreeView> MakeView(const ESqlTableInfo& table,
                                                  const CliTreeOrder& order,
                                                  const CliCalculations& calculations) const;
    [[nodiscard]] CliResult<> Print(const CliEnvironment& environment,
                                    const CliWalkContext& context, const CliTreeOrder& order,
                                    const CliCalculations& calculations, CliTreeView& view) const;

    [[nodiscard]] CliResult<> ArrangeResults(const CliTable& table,
                                             const CliCalculations& calculations,
                                             CliTreeView& view) const;

    std::string order_;
    std::string percent_;
    std::optional<std::uint32_t> depth_;
    bool showsLeaves_ = false;
};

}  // namespace etabulon
