#include "apps/etabulon/request/CliLimit.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/request/CliOptions.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {

void CliLimit::Declare(CLI::App& app, const std::string& description) {
    app.add_option("--limit", limit_,
                   description + "; on a terminal stderr tells what that leaves out")
        ->check(CheckNumberFrom0)
        ->type_name("N");
}

void NoteLimit(CliOutput& output, std::uint64_t printed, std::uint64_t all, std::string_view noun) {
    if (printed < all) {
        output.Remark(fmt::format("--limit leaves out {} of {} {}", all - printed, all, noun));
    }
}

void NoteLimit(CliOutput& output, std::uint64_t printed, CliRest rest) {
    const bool isOne = printed == 1;
    if (rest == CliRest::Unknown) {
        output.Remark(fmt::format("--limit ends the reading after {} {}: there may be more",
                                  printed, isOne ? "record" : "records"));
    } else if (printed == 0) {
        output.Remark("--limit leaves out all records");
    } else {
        output.Remark(fmt::format("--limit leaves out the records after the first {}",
                                  isOne ? "one" : std::to_string(printed)));
    }
}

}  // namespace etabulon
