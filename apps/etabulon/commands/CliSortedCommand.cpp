#include "apps/etabulon/commands/CliSortedCommand.h"

#include <utility>

namespace etabulon {

void CliResultCommand::DeclareCalculations(CLI::App& app, const std::string& description) {
    AddList(app, "--calc", calculations_, description);
}

CliResult<CliCalculations> CliResultCommand::ReadCalculations(const CliTable& table) const {
    return calculations_.empty() ? CliCalculations()
                                 : MakeCalculations(table, JoinLists(calculations_));
}

CliResult<CliResultRequest> CliResultCommand::ReadRequest(const CliTable& table,
                                                          std::string_view named,
                                                          std::string_view option) const {
    CliResult<CliCalculations> calculations = MakeCalculations(table, JoinLists(calculations_));
    if (!calculations) {
        return calculations.Failure();
    }
    CliResult<CliResultLevels> levels = Sort().Read(table, named, option);
    if (!levels) {
        return levels.Failure();
    }
    return CliResultRequest{std::move(*levels), std::move(*calculations)};
}

}  // namespace etabulon
