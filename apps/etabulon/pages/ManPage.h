#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace etabulon {

/// The man page of the program or of one of its subcommands, written with the man macros from the
/// declarations of the command line. `date` is the date of the page, as 2026-01-31.
[[nodiscard]] std::string MakeManPage(const CLI::App& app, std::string_view date);

/// The name of the page: etabulon, etabulon-walk.
[[nodiscard]] std::string ManPageName(const CLI::App& app);

}  // namespace etabulon
