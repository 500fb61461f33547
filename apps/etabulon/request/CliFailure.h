#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace etabulon {

/// The program's exit statuses.
enum class CliExit : std::int32_t {
    Done = 0,
    Failed = 1,        // the data lack what was asked for, or the engine or the output failed
    Usage = 2,         // the command line can't be understood, whatever the data
    Cancelled = 130,   // a shell's status for an end by SIGINT
    Terminated = 143,  // and for an end by SIGTERM
};

/// Why a command can't go on: one sentence for stderr, or an empty text to end silently.
struct CliFailure {
    CliExit exit = CliExit::Failed;
    std::string text;
    bool isLocked = false;  // by another program: opening the file again would wait again
    std::size_t line = 0;   // of a script, where the failure lies; the first line is 1
};

/// Writes a sentence for the user to stderr.
void TellUser(std::string_view text);

}  // namespace etabulon
