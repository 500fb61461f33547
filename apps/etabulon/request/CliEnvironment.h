#pragma once

#include <cstddef>
#include <string>

namespace etabulon {

class CliFilesInUse;
class CliInterrupt;
class CliOutput;
class CliView;
class EReportFile;

/// Makes a locale's order the order of all texts. Returns false and sets the reason if it can't.
using CliInstallLocale = bool (*)(const char* locale, std::string& error);

/// The parts of the program that a command uses.
struct CliEnvironment {
    CliOutput& output;  // stdout, or the file of --output
    CliInterrupt& interrupt;
    EReportFile& file;  // not open without --output
    CliView& view;
    CliFilesInUse& files;
    bool isOutputTerminal = false;
    bool isErrorTerminal = false;
    std::size_t outputColumns = 0;             // of the terminal; 0 if unknown
    bool hasStyle = false;                     // stdout may be coloured
    CliInstallLocale installLocale = nullptr;  // null without ICU
};

}  // namespace etabulon
