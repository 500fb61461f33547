#include "apps/etabulon/pages/BashCompletion.h"

#include "apps/etabulon/commands/CliHelp.h"
#include "apps/etabulon/request/CliOptions.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {
namespace {

constexpr const char* kHead =
    R"(# Completion of etabulon for bash. Made from what the program declares.
)";

/// Parses the words before the cursor as the program would. The functions that are written in front
/// of it, such as `_etabulon_words`, list the commands, options and values.
constexpr const char* kBody = R"bash(
# The tables of a source. A database that takes long to list is left alone.
_etabulon_tables() {
    local source=$2
    source=${source//[\\\"\']/}
    [[ $source == "~/"* ]] && source=$HOME/${source#"~/"}
    [[ -f $source || -d $source ]] || return
    timeout 1 "$1" levels "$source" --format tsv 2>/dev/null | tail -n +2 | cut -f1
}

_etabulon() {
    local program=$1 word=${COMP_WORDS[COMP_CWORD]} command= option= source= kind=
    local -i positionals=0 index
    local IFS=$'\n'

    # bash makes a word of its own of the sign in --option=value.
    [[ $word == '=' ]] && word=
    for ((index = 1; index < COMP_CWORD; ++index)); do
        local each=${COMP_WORDS[index]}
        if [[ $each == '=' ]]; then
            continue
        elif [[ -n $option ]]; then
            # Behind --show VIEW come the options of that command.
            [[ $option == --show ]] && command=$each && positionals=2
            option=
        elif [[ $each == -* ]]; then
            kind=$(_etabulon_value "$command" "$each")
            [[ $kind ]] && option=$each
        elif [[ -z $command ]]; then
            command=$each
        else
            ((++positionals))
            [[ $positionals -eq 1 ]] && source=$each
        fi
    done

    if [[ -n $option ]]; then
        case $kind in
            file) compopt -o filenames && COMPREPLY=($(compgen -f -- "$word")) ;;
            set:*) COMPREPLY=($(compgen -W "${kind#set:}" -- "$word")) ;;
        esac
    elif [[ $word == -* || -z $command ]]; then
        COMPREPLY=($(compgen -W "$(_etabulon_words "$command" "$word")" -- "$word"))
    elif [[ $positionals -eq 0 ]]; then
        compopt -o filenames && COMPREPLY=($(compgen -f -- "$word"))
    elif [[ $positionals -eq 1 ]]; then
        COMPREPLY=($(compgen -W "$(_etabulon_tables "$program" "$source")" -- "$word"))
    fi
}
complete -F _etabulon etabulon
)bash";

std::vector<std::string> LongNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

/// One quoted shell word with a value on each line: the completion splits it at line ends.
std::string Lines(const std::vector<std::string>& words) {
    return fmt::format("$'{}'", fmt::join(words, "\\n"));
}

/// _etabulon_words COMMAND WORD: the options of a command; without one the commands, or the
/// program's own options.
std::string WordsFunction(const CLI::App& app) {
    std::vector<std::string> commands;
    std::string text = "_etabulon_words() {\n    case $1 in\n";
    for (const CLI::App* const command : app.get_subcommands({})) {
        commands.push_back(command->get_name());
        text += fmt::format("        {}) echo {} ;;\n", command->get_name(),
                            Lines(LongNames(*command)));
    }
    text += fmt::format(
        "        '')\n            if [[ $2 == -* ]]; then echo {}; else echo {}; fi\n"
        "            ;;\n    esac\n}}\n",
        Lines(LongNames(app)), Lines(commands));
    return text;
}

/// _etabulon_value COMMAND OPTION: the kind of the option's value, or nothing for a flag.
std::string ValueFunction(const CLI::App& app) {
    std::string text = "\n_etabulon_value() {\n    case $1:$2 in\n";
    for (const CLI::App* const command : app.get_subcommands({})) {
        for (const CLI::Option* const option : command->get_options()) {
            const std::string word = ValueWord(*option);
            if (option->get_positional() || word.empty()) {
                continue;
            }
            std::vector<std::string> values = ValueSet(*option);
            if (!values.empty()) {
                values.front() = "set:" + values.front();
            } else {
                values.push_back(word == "FILE" ? "file" : "text");
            }
            for (const std::string& name : option->get_lnames()) {
                text += fmt::format("        {}:--{}) echo {} ;;\n", command->get_name(), name,
                                    Lines(values));
            }
        }
    }
    return text + "    esac\n}\n";
}

}  // namespace

std::string MakeBashCompletion(const CLI::App& app) {
    return kHead + WordsFunction(app) + ValueFunction(app) + kBody;
}

}  // namespace etabulon
