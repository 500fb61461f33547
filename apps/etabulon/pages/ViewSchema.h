#pragma once

#include <string>

namespace CLI {
class App;
}

namespace etabulon {

/// The schema of saved views (JSON Schema, 2020-12), from the options that the program declares.
[[nodiscard]] std::string MakeViewSchema(const CLI::App& program);

}  // namespace etabulon
