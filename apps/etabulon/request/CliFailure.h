#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace etabulon {

/// What the program ends with.
enum class CliExit : std::int32_t {
    Done = 0,
    Failed = 1,        // the data don't have what was asked for, or the engine or the output failed
    Usage = 2,         // the command line can't be understood, whatever the data
    Cancelled = 130,   // as shells count an end by SIGINT
    Terminated = 143,  // and by SIGTERM
};

/// Why a command can't go on: one sentence for stderr. An empty text says nothing.
struct CliFailure {
    CliExit exit = CliExit::Failed;
    std::string text;
    bool isLocked = false;  // a file, by another program: opening it once more would wait again

    /// Fills it in and returns false, for `return failure.Set(...)`.
    bool Set(CliExit newExit, std::string newText) {
        exit = newExit;
        text = std::move(newText);
        return false;
    }
};

/// Writes a sentence for the user to stderr.
void TellUser(std::string_view text);

}  // namespace etabulon
