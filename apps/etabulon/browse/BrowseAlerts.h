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

/// An alert that is raised on the nodes of a level with more than `most` leaves below them.
struct BrowseAlert {
    Chaine id;
    unsigned int level = 0;
    std::uint32_t most = 0;
    bool propagates = false;
};

/// The alerts that --alert asks for, with their levels and styles.
class BrowseAlerts {
public:
    void Declare(CLI::App& app);
    /// Reads the option's texts. The level of each must be one of `levels`.
    [[nodiscard]] CliResult<> Read(const CliLevels& levels);

    [[nodiscard]] const std::vector<BrowseAlert>& All() const noexcept { return all_; }
    [[nodiscard]] const EDataTreeAvailableAlerts& Available() const noexcept { return available_; }

private:
    std::vector<std::string> texts_;
    std::vector<BrowseAlert> all_;
    EDataTreeAvailableAlerts available_;
};

}  // namespace etabulon
