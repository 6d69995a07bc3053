#include "completion.h"

#include <CLI/CLI.hpp>
#include <map>
#include <vector>

#include "options.h"

namespace OstraneCli {
namespace {

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string Join(const std::vector<std::string>& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

// "-h" and "--help"; empty for a positional.
std::vector<std::string> NamesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

// What may stand behind the command: its options, and the values of its positional where they are fixed.
std::string WordsOf(const CLI::App& command) {
    std::vector<std::string> words;
    for (const CLI::Option* option : command.get_options()) {
        const std::vector<std::string> names =
            option->get_positional() ? FixedValues(option->get_type_name()) : NamesOf(*option);
        words.insert(words.end(), names.begin(), names.end());
    }
    return Join(words, " ");
}

// How bash finds the values of a kind.
std::string BashValues(const std::string& kind) {
    if (kind == "FILE" || kind == "DIR") {
        return "        compopt -o filenames 2>/dev/null\n        mapfile -t COMPREPLY < <(compgen " +
               std::string(kind == "FILE" ? "-f" : "-d") + " -- \"$current\")\n        return\n";
    }
    const std::vector<std::string>& fixed = FixedValues(kind);
    if (fixed.empty()) {
        return "        return\n";
    }
    return "        mapfile -t COMPREPLY < <(compgen -W '" + Join(fixed, " ") + "' -- \"$current\")\n        return\n";
}

constexpr char BASH_HEAD[] = R"END(# Completion of ostrane for bash.
_ostrane() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' word words=''
    COMPREPLY=()
    # The = of --option=value is a word of its own.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done
)END";

// One word in single quotes, for zsh. Brackets and colons separate the parts of a specification.
std::string ZshQuote(const std::string& text, bool hasColons) {
    std::string quoted;
    for (const char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
            continue;
        }
        if (c == '[' || c == ']' || c == '\\' || (c == ':' && hasColons)) {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted;
}

std::string ZshValues(const std::string& kind) {
    if (kind == "FILE") {
        return "_files";
    }
    if (kind == "DIR") {
        return "_files -/";
    }
    const std::vector<std::string>& fixed = FixedValues(kind);
    return fixed.empty() ? "" : "(" + Join(fixed, " ") + ")";
}

// '--in=[The file]:FILE:_files', as _arguments reads it.
std::string ZshSpecification(const CLI::Option& option) {
    const std::string kind = option.get_type_name();
    if (option.get_positional()) {
        // A text without candidates still has a list of them, which is empty: without one zsh would not complete
        // the options that may stand in its place.
        const std::string values = ZshValues(kind);
        return "'1:" + option.get_name(true) + ":" + (values.empty() ? "()" : values) + "'";
    }
    const bool takesValue = option.get_type_size() != 0;
    const bool isRepeatable = option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    const std::vector<std::string> names = NamesOf(option);
    const std::string description = "[" + ZshQuote(option.get_description(), false) + "]";
    std::string text;
    for (const std::string& name : names) {
        const bool isLong = name.compare(0, 2, "--") == 0;
        text += text.empty() ? "" : " ";
        // One that is there is not offered again, nor is its other name.
        text += "'" + std::string(isRepeatable ? "*" : names.size() > 1 ? "(" + Join(names, " ") + ")" : "") + name;
        text += takesValue ? (isLong ? "=" : "+") : "";
        text += description;
        text += takesValue ? ":" + ZshQuote(kind, true) + ":" + ZshValues(kind) : "";
        text += "'";
    }
    return text;
}

std::string ZshOptions(const CLI::App& command, const char* indent) {
    std::string text;
    for (const CLI::Option* option : command.get_options()) {
        text += std::string(" \\\n") + indent + ZshSpecification(*option);
    }
    return text;
}

}  // namespace

std::string BashCompletion(const CLI::App& app) {
    std::map<std::string, std::vector<std::string>> optionsOfKind;
    std::string commands;
    std::vector<std::string> names;
    for (const CLI::App* command : CommandsOf(app)) {
        names.push_back(command->get_name());
        commands += "    " + command->get_name() + ") words='" + WordsOf(*command) + "' ;;\n";
        for (const CLI::Option* option : command->get_options()) {
            std::vector<std::string>& options = optionsOfKind[option->get_type_name()];
            const std::string name = WrittenName(*option);
            const bool isKnown = std::find(options.begin(), options.end(), name) != options.end();
            if (option->get_type_size() != 0 && !option->get_positional() && !isKnown) {
                options.push_back(name);
            }
        }
    }
    std::string text = std::string(BASH_HEAD) + "    case $previous in\n";
    for (const auto& [kind, options] : optionsOfKind) {
        if (!options.empty()) {
            text += "    " + Join(options, " | ") + ")\n" + BashValues(kind) + "        ;;\n";
        }
    }
    text += "    esac\n    case $command in\n    '') words='" + Join(names, " ") + " " + WordsOf(app) + "' ;;\n";
    text += commands + "    esac\n    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n}\n";
    return text + "complete -F _ostrane ostrane\n";
}

std::string ZshCompletion(const CLI::App& app) {
    std::string text =
        "#compdef ostrane\n# Completion of ostrane for zsh.\n_ostrane() {\n    local curcontext=$curcontext state "
        "line\n"
        "    typeset -A opt_args\n    _arguments -C";
    text += ZshOptions(app, "        ") + " \\\n        '1:command:->command' '*::argument:->argument'\n";
    text += "    case $state in\n    command)\n        local -a commands=(\n";
    for (const CLI::App* command : CommandsOf(app)) {
        text += "            '" + command->get_name() + ":" + ZshQuote(command->get_description(), true) + "'\n";
    }
    text += "        )\n        _describe command commands\n        ;;\n    argument)\n        case $words[1] in\n";
    for (const CLI::App* command : CommandsOf(app)) {
        text += "        " + command->get_name() + ")\n            _arguments" +
                ZshOptions(*command, "                ") + "\n            ;;\n";
    }
    text += "        esac\n        ;;\n    esac\n}\n";
    // A file of fpath is the body of the function; a script that is sourced declares it.
    return text +
           "if [[ $funcstack[1] == _ostrane ]]; then\n    _ostrane \"$@\"\nelse\n    compdef _ostrane ostrane\nfi\n";
}

}  // namespace OstraneCli
