#pragma once

#include <string>

namespace CLI {
class App;
}

namespace etabulon {

/// The completion of the program for bash: its commands, their options, the values of options that
/// have a fixed set, files, and the tables of SOURCE.
[[nodiscard]] std::string MakeBashCompletion(const CLI::App& app);

}  // namespace etabulon
