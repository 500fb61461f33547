#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "etabulon/csv/fwd.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace etabulon {

/// --separator, --null, --decimal and --dates: how a table of text is written.
class CliCsvOptions {
public:
    void Declare(CLI::App& app);
    /// The format of a table of text that begins with `start`.
    [[nodiscard]] ECsvFormat Format(std::string_view start) const;
    /// Fails if any of the options is given, since `source` is something else, as in "an SQLite
    /// database".
    [[nodiscard]] CliResult<> RefuseFor(const std::string& source, std::string_view kind) const;

private:
    std::vector<const CLI::Option*> options_;
    std::string separator_;
    std::string decimal_;
    std::string dates_;
    std::vector<std::string> nulls_;
};

/// Tells the user of columns that another notation would read as numbers or dates: of the first
/// ones, and how many more there are.
void TellHints(const ECsvTable& file, std::span<const ECsvHint> hints);

}  // namespace etabulon
