#include "arguments.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <utility>

#include "completion.h"
#include "expr/name_hint.h"
#include "manual.h"
#include "options.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::RecordFormat;

namespace {

bool FailUsage(const std::string& message, int& exitStatus) {
    PrintUsageError(message);
    exitStatus = EXIT_NOT_POSSIBLE;
    return false;
}

bool ChooseFormats(const RawArguments& raw, Arguments& arguments, int& exitStatus) {
    if (!raw.inFormat.empty()) {
        OstraneRecord::FormatOfName(raw.inFormat, arguments.inFormat);
    } else if (arguments.inFile.empty()) {
        return FailUsage("reading stdin needs --in-format; or name a file with --in", exitStatus);
    } else if (!OstraneRecord::FormatOfFile(arguments.inFile, arguments.inFormat)) {
        return FailUsage("the ending of '" + arguments.inFile + "' names no format: give --in-format", exitStatus);
    }
    if (!raw.outFormat.empty()) {
        OstraneRecord::FormatOfName(raw.outFormat, arguments.outFormat);
    } else if (arguments.outFile.empty() || !OstraneRecord::FormatOfFile(arguments.outFile, arguments.outFormat)) {
        arguments.outFormat = arguments.inFormat;
    }
    if (arguments.inPlace && arguments.outFormat != arguments.inFormat) {
        return FailUsage("--in-place keeps the format; --out FILE writes another one", exitStatus);
    }
    if (OstraneRecord::IsStream(arguments.inFormat) && !OstraneRecord::IsStream(arguments.outFormat)) {
        return FailUsage(std::string(OstraneRecord::FormatName(arguments.outFormat)) +
                             " holds one record, the input any number: choose ndjson or delimited for the output",
                         exitStatus);
    }
    return true;
}

// Whether both are written and one file, by whatever names. A file that is not there yet has its own name alone.
bool IsSameFile(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty()) {
        return false;
    }
    struct stat first = {};
    struct stat second = {};
    if (stat(one.c_str(), &first) != 0 || stat(other.c_str(), &second) != 0) {
        return one == other;
    }
    // A device takes what several write.
    return S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool CheckArguments(const RawArguments& raw, Arguments& arguments, int& exitStatus) {
    if (arguments.protoFile.empty() == arguments.descriptorSet.empty()) {
        return FailUsage(arguments.protoFile.empty() ? "name the schema with --proto FILE or --descriptor-set FILE"
                                                     : "--proto and --descriptor-set exclude each other",
                         exitStatus);
    }
    if (arguments.protoFile.empty() && !arguments.roots.empty()) {
        return FailUsage("-I goes with --proto", exitStatus);
    }
    if (arguments.type.empty()) {
        return FailUsage("name the record's message type with --type NAME", exitStatus);
    }
    if (arguments.statements.empty() == arguments.statementFile.empty()) {
        return FailUsage(arguments.statements.empty() ? "give the statements, or a file of them with --file"
                                                      : "statements on the command line and --file exclude each other",
                         exitStatus);
    }
    for (const auto& [file, what] : {std::make_pair(&arguments.inFile, "--in the record comes from stdin"),
                                     std::make_pair(&arguments.outFile, "--out the record goes to stdout")}) {
        if (*file == "-") {
            return FailUsage(std::string("without ") + what + "; a file called - is ./-", exitStatus);
        }
    }
    for (const std::string* other : {&arguments.inFile, &arguments.outFile, &arguments.protoFile,
                                     &arguments.descriptorSet, &arguments.statementFile}) {
        if (IsSameFile(arguments.report, *other)) {
            return FailUsage("--report would write over '" + *other + "'", exitStatus);
        }
    }
    if (arguments.report == "-" && !arguments.WritesFile()) {
        return FailUsage(arguments.command == Command::Get
                             ? "the elements go to stdout: --report needs a file"
                             : "--report - is stdout, where the record goes: send the record to a file with --out or "
                               "--in-place",
                         exitStatus);
    }
    if (arguments.inPlace && arguments.inFile.empty()) {
        return FailUsage("--in-place needs a file, named with --in", exitStatus);
    }
    if (arguments.inPlace && !arguments.outFile.empty()) {
        return FailUsage("--in-place and --out exclude each other", exitStatus);
    }
    arguments.hasInput = arguments.command != Command::Explain || !arguments.inFile.empty() || !raw.inFormat.empty();
    return !arguments.hasInput || ChooseFormats(raw, arguments, exitStatus);
}

// The option of this name, as it is written, or null.
const CLI::Option* FindOption(const CLI::App& app, const std::string& written) {
    return written.size() > 1 && written.front() == '-' ? app.get_option_no_throw(written.substr(0, written.find('=')))
                                                        : nullptr;
}

// "apply or get": the commands that have the option.
std::string CommandsWith(const CLI::App& app, const std::string& option) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (FindOption(*command, option) != nullptr) {
            names.push_back("ostrane " + command->get_name());
        }
    }
    return Enumerate(names);
}

// Whether the text is rather a file's name than a statement.
bool IsFileName(const std::string& text) {
    RecordFormat format;
    return text.find(' ') == std::string::npos && OstraneRecord::FormatOfFile(text, format);
}

std::string HintAt(const std::string& word, const CLI::App& app, const CLI::App* chosen,
                   const std::string& statements) {
    if (chosen == nullptr && word.front() != '-') {
        return OstraneCommon::NameHint(word, FixedValues("COMMAND"));
    }
    if (word.front() != '-') {
        const bool takesStatements = FindOption(*chosen, "--file") != nullptr;
        for (const std::string& file : {word, statements}) {
            if (takesStatements && IsFileName(file)) {
                return "the file with the record is named by --in " + file;
            }
        }
        return takesStatements ? "the statements are one argument, in quotes" : "";
    }
    if (chosen != nullptr && FindOption(*chosen, word) != nullptr) {
        return "options stand behind the command";
    }
    const std::string owners = CommandsWith(app, word);
    if (!owners.empty()) {
        return "it is an option of " + owners;
    }
    std::vector<std::string> known;
    for (const CLI::Option* option : (chosen == nullptr ? app : *chosen).get_options()) {
        known.push_back(WrittenName(*option));
    }
    return OstraneCommon::NameHint(word, known);
}

// What CLI11 says of an option, in our words: its text starts with the option's name and a colon.
std::string OptionFault(const CLI::ParseError& error, const CLI::App& command) {
    std::string text = error.what();
    const std::string name = text.substr(0, text.find(':'));
    const CLI::Option* const option = FindOption(command, name);
    if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr && text.size() > name.size() + 2) {
        return name + text.substr(name.size() + 1);
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) == nullptr || option == nullptr) {
        return text;
    }
    const bool isRepeated = text.find("received") != std::string::npos;
    return name + (isRepeated ? " is given twice" : " needs a value: " + name + " " + option->get_type_name());
}

bool FailParse(const CLI::App& app, const CLI::ParseError& error, const std::string& statements, int& exitStatus) {
    const std::vector<CLI::App*> subcommands = app.get_subcommands();
    const CLI::App* const chosen = subcommands.empty() ? nullptr : subcommands.front();
    const std::vector<std::string> rest = app.remaining(true);
    std::string message;
    if (!rest.empty()) {
        const std::string hint = HintAt(rest.front(), app, chosen, statements);
        message = "'" + rest.front() + "' was not expected" + (hint.empty() ? "" : "; " + hint);
    } else if (chosen == nullptr) {
        message = "name a command: apply, get, explain or codes";
    } else {
        message = OptionFault(error, *chosen);
    }
    return FailUsage(message + (message.back() == '?' ? " See" : "; see") + " ostrane " +
                         (chosen == nullptr ? "" : chosen->get_name() + " ") + "--help",
                     exitStatus);
}

// The help of the command, or of all when it is null.
std::string HelpText(const CLI::App& app, const CLI::App* command) {
    const std::string name = app.get_name() + (command == nullptr ? "" : " " + command->get_name());
    const std::string made =
        app.get_formatter()->make_help(command == nullptr ? &app : command, name, CLI::AppFormatMode::Normal);
    std::string text;
    for (size_t i = 0; i < made.size(); ++i) {
        if (made.compare(i, 3, "\n\n\n") != 0) {
            text += made[i];
        }
    }
    return text;
}

// What the commands print that need nothing else; empty for those that work on records.
std::string OwnText(const CLI::App& app, const Arguments& arguments, const RawArguments& raw) {
    switch (arguments.command) {
        case Command::Help:
            return HelpText(app, raw.helpOf.empty() ? nullptr : app.get_subcommand(raw.helpOf));
        case Command::Completion:
            return raw.shell == "zsh" ? ZshCompletion(app) : BashCompletion(app);
        case Command::Manual:
            return ManualPage(app);
        default:
            return std::string();
    }
}

}  // namespace

bool ParseArguments(int argc, const char* const* argv, Arguments& arguments, int& exitStatus) {
    CLI::App app("Changes and reads parts of Protocol Buffers records in place.", "ostrane");
    RawArguments raw;
    DefineCommands(app, arguments, raw);
    exitStatus = EXIT_DONE;
    std::string text;
    try {
        app.parse(argc, argv);
        text = OwnText(app, arguments, raw);
    } catch (const CLI::CallForHelp&) {
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        text = HelpText(app, chosen.empty() ? nullptr : chosen.front());
    } catch (const CLI::CallForVersion& version) {
        text = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        return FailParse(app, error, arguments.statements, exitStatus);
    }
    if (arguments.command == Command::Completion && raw.shell.empty()) {
        return FailUsage("name the shell: ostrane completion " + Enumerate(FixedValues("SHELL")), exitStatus);
    }
    if (!text.empty()) {
        exitStatus = PrintText(text) ? EXIT_DONE : EXIT_NOT_POSSIBLE;
        return false;
    }
    return arguments.command == Command::Codes || CheckArguments(raw, arguments, exitStatus);
}

}  // namespace OstraneCli
