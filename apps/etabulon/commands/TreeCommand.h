#pragma once

#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace etabulon {

struct CliTreeView;

/// `etabulon tree`: the records of a table as a tree of levels, each node with the number of
/// records there.
class TreeCommand final : public CliViewCommand {
public:
    [[nodiscard]] const char* Name() const override { return "tree"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the levels of a table as a tree with the number of records of each node";
    }
    void DeclareView(CLI::App& app) override;

protected:
    [[nodiscard]] bool Prepare(const CliEnvironment& environment,
                               CliFailure& failure) const override;
    [[nodiscard]] bool Show(CliEnvironment& environment, const CliWalkContext& context,
                            CliFailure& failure) override;

private:
    [[nodiscard]] bool MakeView(const ESqlTableInfo& table, const CliTreeOrder& order,
                                CliTreeView& view, CliFailure& failure) const;
    [[nodiscard]] bool Print(const CliEnvironment& environment, const CliWalkContext& context,
                             const CliTreeOrder& order, CliTreeView& view,
                             CliFailure& failure) const;

    CliSortOptions sort_;
    std::optional<std::uint32_t> depth_;
    bool showsLeaves_ = false;
};

}  // namespace etabulon
