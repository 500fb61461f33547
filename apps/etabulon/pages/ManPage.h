#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace etabulon {

/// The man page of the program, or, for one of its subcommands, of the command: in the man macros,
/// from what the command line declares. `date` is that of the page, as 2026-01-31.
[[nodiscard]] std::string MakeManPage(const CLI::App& app, std::string_view date);

/// The name of its page: etabulon, etabulon-walk.
[[nodiscard]] std::string ManPageName(const CLI::App& app);

}  // namespace etabulon
