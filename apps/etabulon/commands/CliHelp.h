#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class FormatterBase;
class Option;
}  // namespace CLI

namespace etabulon {

class CliCommand;
class CliView;

/// An example of a command for --help and the man page. A test runs each example on the
/// demonstration data.
struct CliExample {
    const char* command;
    const char* text;
    const char* line;  // for a shell
};

/// The meaning of a word: of an exit status, or of a variable of the environment.
struct CliMeaning {
    const char* word;
    const char* text;
};

[[nodiscard]] std::span<const CliExample> CliExamples();
[[nodiscard]] std::span<const CliMeaning> CliExitMeanings();
[[nodiscard]] std::span<const CliMeaning> CliVariableMeanings();

/// The commands in the order in which --help lists them.
[[nodiscard]] std::vector<std::unique_ptr<CliCommand>> MakeCommands();

/// Declares the program and its commands, which must outlive `app`, as `view` must. The help, the
/// man pages and the completion are all made from what is declared here.
void DeclareProgram(CLI::App& app, const std::vector<std::unique_ptr<CliCommand>>& commands,
                    CliView& view);

/// An example's line, continued with backslashes where it would exceed `width` columns.
[[nodiscard]] std::string ShellLines(std::string_view line, std::size_t width);

/// The word for an option's value in the help, such as FILE. Empty for a flag.
[[nodiscard]] std::string ValueWord(const CLI::Option& option);

}  // namespace etabulon
