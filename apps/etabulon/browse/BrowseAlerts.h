#pragma once

#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliResult.h"
#include "etabulon/tree/EDataTreeAvailableAlerts.h"

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

/// Raised on a node of a level that has more than so many leaves below it.
struct BrowseAlert {
    Chaine id;
    unsigned level = 0;
    std::uint32_t most = 0;
    bool propagates = false;
};

/// --alert: what is raised where, and the style of each.
class BrowseAlerts {
public:
    void Declare(CLI::App& app);
    /// The level of each must be one of `levels`.
    [[nodiscard]] CliResult<> Read(const CliLevels& levels);

    [[nodiscard]] const std::vector<BrowseAlert>& All() const noexcept { return all_; }
    [[nodiscard]] const EDataTreeAvailableAlerts& Available() const noexcept { return available_; }

private:
    std::vector<std::string> texts_;
    std::vector<BrowseAlert> all_;
    EDataTreeAvailableAlerts available_;
};

}  // namespace etabulon
