#pragma once

#include "apps/etabulon/CliCommand.h"
#include "apps/etabulon/CliOptions.h"
#include "apps/etabulon/CliWalk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon walk`: the records below a place, each with its tag, its key and its values.
class WalkCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "walk"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the records of a table with their places in the levels";
    }
    void Declare(CLI::App& app) override;
    [[nodiscard]] bool Run(CliEnvironment& environment, CliFailure& failure) override;

private:
    [[nodiscard]] bool FindValues(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                  const CliLevels& levels, std::vector<CliVariable>& values,
                                  CliFailure& failure) const;

    CliSourceOptions source_;
    CliLevelOptions levels_;
    std::vector<std::string> columns_;
    std::optional<std::int64_t> limit_;
    CliOutputOptions output_;
};

}  // namespace etabulon
