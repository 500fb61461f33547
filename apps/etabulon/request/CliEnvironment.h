#pragma once

#include <string>

namespace etabulon {

class CliInterrupt;
class CliOutput;

/// Makes a locale's order that of all texts; false with the reason.
using CliInstallLocale = bool (*)(const char* locale, std::string& error);

/// What the program lends a command.
struct CliEnvironment {
    CliOutput& output;  // stdout
    CliInterrupt& interrupt;
    bool isOutputTerminal = false;
    bool isErrorTerminal = false;
    bool hasStyle = false;                     // what is written to stdout may be coloured
    CliInstallLocale installLocale = nullptr;  // null without ICU
};

}  // namespace etabulon
