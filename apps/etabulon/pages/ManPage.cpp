#include "apps/etabulon/pages/ManPage.h"

#include "apps/etabulon/commands/CliHelp.h"
#include "etabulon/version.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace etabulon {
namespace {

constexpr std::size_t kExampleWidth = 72;  // with the indent of a section, 80 columns

/// Takes a character beyond ASCII off the front of `text` and writes it by its number, which every
/// output device knows.
std::string TakeCharacter(std::string_view& text) {
    const auto byte = [&text](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const unsigned int first = byte(0);
    const std::size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    std::uint32_t code = first & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        code = (code << 6U) | (byte(index) & 0x3FU);
    }
    text.remove_prefix(std::min(length, text.size()));
    return fmt::format("\\[u{:04X}]", code);
}

/// Escapes a text for a line of a page, so that no character has a special meaning.
std::string Escaped(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const char c = text.front();
        if (static_cast<unsigned char>(c) >= 0x80U) {
            escaped += TakeCharacter(text);
            continue;
        }
        switch (c) {
            case '\\':
                escaped += "\\e";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '"':
                escaped += "\\(dq";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            default:
                escaped += c;
        }
        text.remove_prefix(1);
    }
    return escaped;
}

std::string Bold(std::string_view text) { return "\\fB" + Escaped(text) + "\\fR"; }

std::string Italic(std::string_view text) { return "\\fI" + Escaped(text) + "\\fR"; }

/// A word of a sentence. An option is bold, without the punctuation around it.
std::string Marked(std::string_view word) {
    const std::size_t begin = word.find("--");
    if (begin == std::string_view::npos || word.find_first_not_of("('", 0) != begin) {
        return Escaped(word);
    }
    constexpr std::string_view kName = "abcdefghijklmnopqrstuvwxyz-";
    const std::size_t end = std::min(word.find_first_not_of(kName, begin), word.size());
    return Escaped(word.substr(0, begin)) + Bold(word.substr(begin, end - begin)) +
           Escaped(word.substr(end));
}

/// Begins each sentence on a new line, so that the formatter sets the space between them. A line
/// that would begin with a request's character is escaped.
std::string Sentences(std::string_view paragraph) {
    std::string text;
    bool atStart = true;
    while (!paragraph.empty()) {
        const std::size_t length = std::min(paragraph.find(' '), paragraph.size());
        const std::string_view word = paragraph.substr(0, length);
        text += atStart ? "" : " ";
        text += atStart && (word.starts_with('.') || word.starts_with('\'')) ? "\\&" : "";
        text += Marked(word);
        paragraph.remove_prefix(std::min(length + 1, paragraph.size()));
        const char next = paragraph.empty() ? '\0' : paragraph.front();
        atStart = word.ends_with('.') && !word.ends_with("...") && next >= 'A' && next <= 'Z';
        text += atStart ? "\n" : "";
    }
    return text + '\n';
}

/// Writes a text of the help, which has a line for each paragraph.
std::string Description(const CLI::App& app) {
    std::string description = app.get_description();
    description += description.ends_with('.') ? "\n" : ".\n";
    description += app.get_footer();
    std::string_view rest = description;
    std::string paragraphs;
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        paragraphs += paragraphs.empty() ? "" : ".PP\n";
        paragraphs += Sentences(rest.substr(0, length));
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    return paragraphs;
}

std::string Section(std::string_view title) { return fmt::format(".SH {}\n", title); }

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app, bool positional) {
    return app.get_options(
        [positional](const CLI::Option* option) { return option->get_positional() == positional; });
}

std::string OptionHead(const CLI::Option& option) {
    std::string head;
    for (const std::string& name : option.get_snames()) {
        head += (head.empty() ? "" : ", ") + Bold("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        head += (head.empty() ? "" : ", ") + Bold("--" + name);
    }
    const std::string word = ValueWord(option);
    return word.empty() ? head : head + " " + Italic(word);
}

std::string Described(const CLI::Option& option) {
    const std::string text = option.get_description();
    const bool isRepeated = option.get_expected_max() == CLI::detail::expected_max_vector_size &&
                            text.find("more than once") == std::string::npos;
    return Sentences(text + "." + (isRepeated ? " May be given more than once." : ""));
}

std::string Usage(const CLI::App& app) {
    if (app.get_parent() == nullptr) {
        return Bold("etabulon") + " " + Italic("COMMAND") + " [" + Italic("ARGUMENT") + " ...]\n";
    }
    std::string usage = Bold("etabulon " + app.get_name());
    for (const CLI::Option* const option : OptionsOf(app, /*positional=*/true)) {
        const std::string word = Italic(option->get_name(true, false));
        usage += option->get_required() ? " " + word : " [" + word + "]";
    }
    return usage + " [" + Italic("OPTION") + " ...]\n";
}

std::string Commands(const CLI::App& app) {
    std::string text;
    for (const CLI::App* const command : app.get_subcommands({})) {
        text += fmt::format(".TP\n.BR {} (1)\n{}", Escaped(ManPageName(*command)),
                            Sentences(command->get_description() + "."));
    }
    return text.empty() ? text : Section("COMMANDS") + text;
}

std::string Options(const CLI::App& app) {
    std::string text = Section("OPTIONS");
    for (const CLI::Option* const option : OptionsOf(app, /*positional=*/true)) {
        text += ".TP\n" + Italic(option->get_name(true, false)) + "\n" + Described(*option);
    }
    for (const CLI::Option* const option : OptionsOf(app, /*positional=*/false)) {
        text += ".TP\n" + OptionHead(*option) + "\n" + Described(*option);
    }
    return text;
}

std::string Meanings(std::string_view title, std::span<const CliMeaning> meanings) {
    std::string text = Section(title);
    for (const CliMeaning& meaning : meanings) {
        text += ".TP\n" + Bold(meaning.word) + "\n" + Sentences(meaning.text);
    }
    return text;
}

/// The examples of a command; for the program the first example of each command.
std::string Examples(const CLI::App& app) {
    std::string text;
    std::string_view shown;
    for (const CliExample& example : CliExamples()) {
        const bool isFirst = example.command != shown;
        shown = example.command;
        if (app.get_parent() == nullptr ? isFirst : app.get_name() == example.command) {
            text += fmt::format("{}{}.PP\n.EX\n{}\n.EE\n", text.empty() ? "" : ".PP\n",
                                Sentences(std::string(example.text) + ":"),
                                Escaped(ShellLines(example.line, kExampleWidth)));
        }
    }
    return Section("EXAMPLES") + text;
}

/// Refers to the other pages, the program's own first.
std::string SeeAlso(const CLI::App& app) {
    const CLI::App* const program = app.get_parent() == nullptr ? &app : app.get_parent();
    std::vector<std::string> names;
    if (program != &app) {
        names.push_back(ManPageName(*program));
    }
    for (const CLI::App* const command : program->get_subcommands({})) {
        if (command != &app) {
            names.push_back(ManPageName(*command));
        }
    }
    std::string text = Section("SEE ALSO");
    for (const std::string& name : names) {
        text += fmt::format(".BR \\%{} (1){}\n", Escaped(name), name == names.back() ? "" : ",");
    }
    return text;
}

}  // namespace

std::string ManPageName(const CLI::App& app) {
    return app.get_parent() == nullptr ? app.get_name()
                                       : app.get_parent()->get_name() + "-" + app.get_name();
}

std::string MakeManPage(const CLI::App& app, std::string_view date) {
    const std::string name = ManPageName(app);
    std::string title = name;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    const std::string text = app.get_description();
    // The line that apropos lists: a phrase without a capital letter and a full stop.
    std::string phrase = text.substr(0, text.find_last_not_of('.') + 1);
    phrase.front() = static_cast<char>(phrase.front() | 0x20);
    return fmt::format(".TH {} 1 {} \"etabulon {}\" \"User Commands\"\n", Escaped(title), date,
                       kVersion) +
           Section("NAME") + Escaped(name) + " \\- " + Escaped(phrase) + "\n" +
           Section("SYNOPSIS") + Usage(app) + Section("DESCRIPTION") + Description(app) +
           Commands(app) + Options(app) + Meanings("EXIT STATUS", CliExitMeanings()) +
           Meanings("ENVIRONMENT", CliVariableMeanings()) + Examples(app) + SeeAlso(app);
}

}  // namespace etabulon
