#pragma once

#include "apps/etabulon/CliOptions.h"
#include "apps/etabulon/CliSortOptions.h"
#include "apps/etabulon/CliViewCommand.h"
#include "apps/etabulon/CliWalk.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>

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
    /// What the options say about a table.
    struct Order {
        CliLevels levels;
        ETabulonTag place;
        std::set<unsigned int> hidden;
        std::set<unsigned int> reversed;
    };
    [[nodiscard]] bool ReadOrder(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                 Order& order, CliFailure& failure) const;
    [[nodiscard]] bool MakeView(const ESqlTableInfo& table, const Order& order, CliTreeView& view,
                                CliFailure& failure) const;
    [[nodiscard]] static ETabulonSortDesc::SortKeyArray SortKeys(const Order& order);
    [[nodiscard]] bool Print(const CliEnvironment& environment, const CliWalkContext& context,
                             const Order& order, CliTreeView& view, CliFailure& failure) const;

    CliSortOptions sort_;
    std::optional<std::uint32_t> depth_;
    bool showsLeaves_ = false;
};

}  // namespace etabulon
