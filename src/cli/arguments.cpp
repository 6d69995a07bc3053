#include "arguments.h"

#include <CLI/CLI.hpp>
#include <map>
#include <sstream>

#include "expr/name_hint.h"
#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::RecordFormat;

namespace {

constexpr char FORMATS_HELP[] = "json, ndjson, text, binary or delimited";

constexpr char MAIN_FOOTER[] = R"(
Examples:
  ostrane apply --proto player.proto --type demo.Player --in player.json "PUSH scores[1] = 7"
  ostrane get --proto player.proto --type demo.Player --in player.pb "GET items[*] WHERE qty < 5"
  ostrane COMMAND --help   shows the options and more examples

Exit status: 0 done, 1 a statement failed, 2 wrong usage, input that cannot be read or output that cannot be written.)";

constexpr char APPLY_FOOTER[] = R"(
Statements are separated by ';' and change a record together or not at all.
A format follows the file's ending: .json; .ndjson .jsonl; .txtpb .textproto .pbtxt .prototxt; .pb .bin .binpb; .delim.
ndjson and delimited hold any number of records.

Examples:
  ostrane apply --proto player.proto --type demo.Player --in player.json "PUSH scores[1] = 7"
  ostrane apply --proto player.proto --type demo.Player --in player.pb --in-place \
      --param limit=10 "POP items[*] WHERE qty < :limit; SET name = 'ada'"
  ostrane apply --descriptor-set all.pb --type demo.Player --in-format binary --out-format json \
      --file changes.txt < player.pb)";

constexpr char GET_FOOTER[] = R"(
Prints the selected elements as JSON, one a line.

Examples:
  ostrane get --proto player.proto --type demo.Player --in player.json "GET scores[-3..]"
  ostrane get --proto player.proto --type demo.Player --in players.ndjson "GET items[*] WHERE state = 'OPEN'")";

constexpr char EXPLAIN_FOOTER[] = R"(
Shows of each statement what will be done, and the trees of its value and condition; of each record, when there is
an input, what would be matched and changed.

Examples:
  ostrane explain --proto player.proto --type demo.Player "POP items[*] WHERE qty < 5 AND state = 'OPEN'"
  ostrane explain --proto player.proto --type demo.Player --in player.json "POP scores WHERE $ > 10")";

// The texts of options that are not yet what they stand for.
struct RawFormats {
    std::string in;
    std::string out;
};

bool FailUsage(const std::string& message, int& exitStatus) {
    PrintUsageError(message);
    exitStatus = EXIT_NOT_POSSIBLE;
    return false;
}

void AddSchemaOptions(CLI::App& app, Arguments& arguments) {
    const std::string group = "Schema";
    app.add_option("--proto", arguments.protoFile, "The .proto file, from here or below a root")
        ->type_name("FILE")
        ->group(group);
    app.add_option("-I", arguments.roots, "A root of imports; may be given several times")
        ->type_name("DIR")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--descriptor-set", arguments.descriptorSet, "A FileDescriptorSet, in place of --proto")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--type", arguments.type, "The full name of the record's message type")
        ->type_name("NAME")
        ->group(group);
}

void AddInputOptions(CLI::App& app, Arguments& arguments, RawFormats& formats) {
    const std::string group = "Input";
    app.add_option("--in", arguments.inFile, "The file with the record or records; else stdin")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--in-format", formats.in, std::string(FORMATS_HELP) + "; needed for stdin")
        ->type_name("FORMAT")
        ->group(group);
}

void AddStatementOptions(CLI::App& app, Arguments& arguments, const char* name) {
    app.add_option(name, arguments.statements, "The text in the statement language")->type_name("");
    app.add_option("--file", arguments.statementFile, "Read the text from a file")->type_name("FILE");
    app.add_option("--param", arguments.parameters, "The value of :NAME, or of the first ? for 1; several times")
        ->type_name("NAME=JSON")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--where", arguments.where, "Only the records for which this condition is true")->type_name("EXPR");
    app.add_flag("--strict", arguments.strict, "A selector that selects nothing is an error");
    app.add_flag("--partial", arguments.partial, "Records may lack required fields");
    static const std::map<std::string, LogLevel> LEVELS = {
        {"off", LogLevel::Off}, {"error", LogLevel::Error}, {"debug", LogLevel::Debug}};
    app.add_option_function<std::string>(
           "--log", [&arguments](const std::string& level) { arguments.log = LEVELS.at(level); },
           "What the field operations log to stderr: off, error or debug")
        ->type_name("LEVEL")
        ->check(CLI::IsMember({"off", "error", "debug"}))
        ->default_str("off");
}

void AddRunOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("--report", arguments.report, "Write what each statement did to each record, as JSON lines")
        ->type_name("FILE");
    app.add_flag("--keep-going", arguments.keepGoing, "Pass over a record that fails, and go on");
    app.add_option_function<std::string>(
           "--json-names", [&arguments](const std::string& names) { arguments.camelNames = names == "camel"; },
           "The names in JSON output: proto (the schema's) or camel")
        ->type_name("NAMES")
        ->check(CLI::IsMember({"proto", "camel"}))
        ->default_str("proto");
    app.add_flag("--positions", arguments.positions,
                 "Put an element's position and a tab before it; of a stream, the record's number first");
}

void AddApply(CLI::App& app, Arguments& arguments, RawFormats& formats) {
    CLI::App* const apply = app.add_subcommand("apply", "Change records with statements, and print or write them");
    AddSchemaOptions(*apply, arguments);
    AddInputOptions(*apply, arguments, formats);
    const std::string group = "Output";
    apply->add_option("--out", arguments.outFile, "The file to write; else stdout")->type_name("FILE")->group(group);
    apply->add_flag("--in-place", arguments.inPlace, "Write over the input file")->group(group);
    apply->add_option("--out-format", formats.out, std::string(FORMATS_HELP) + "; else by the file, or as the input")
        ->type_name("FORMAT")
        ->group(group);
    AddStatementOptions(*apply, arguments, "STATEMENTS");
    AddRunOptions(*apply, arguments);
    apply->add_flag("--dry-run", arguments.dryRun, "Write no record; say what would have changed");
    apply->footer(APPLY_FOOTER);
    apply->callback([&arguments] { arguments.command = Command::Apply; });
}

void AddGet(CLI::App& app, Arguments& arguments, RawFormats& formats) {
    CLI::App* const get = app.add_subcommand("get", "Print what a GET statement selects");
    AddSchemaOptions(*get, arguments);
    AddInputOptions(*get, arguments, formats);
    AddStatementOptions(*get, arguments, "STATEMENT");
    AddRunOptions(*get, arguments);
    get->footer(GET_FOOTER);
    get->callback([&arguments] { arguments.command = Command::Get; });
}

void AddExplain(CLI::App& app, Arguments& arguments, RawFormats& formats) {
    CLI::App* const explain = app.add_subcommand("explain", "Show what statements would do, and write nothing");
    AddSchemaOptions(*explain, arguments);
    AddInputOptions(*explain, arguments, formats);
    AddStatementOptions(*explain, arguments, "STATEMENTS");
    explain->footer(EXPLAIN_FOOTER);
    explain->callback([&arguments] { arguments.command = Command::Explain; });
}

bool ReadFormat(const char* option, const std::string& name, RecordFormat& format, int& exitStatus) {
    if (OstraneRecord::FormatOfName(name, format)) {
        return true;
    }
    const std::string hint = OstraneCommon::NameHint(name, {"json", "ndjson", "text", "binary", "delimited"});
    return FailUsage(
        std::string(option) + " takes " + FORMATS_HELP + ", not '" + name + "'" + (hint.empty() ? "" : "; " + hint),
        exitStatus);
}

bool ChooseFormats(const RawFormats& formats, Arguments& arguments, int& exitStatus) {
    if (!formats.in.empty()) {
        if (!ReadFormat("--in-format", formats.in, arguments.inFormat, exitStatus)) {
            return false;
        }
    } else if (arguments.inFile.empty()) {
        return FailUsage("reading stdin needs --in-format; or name a file with --in", exitStatus);
    } else if (!OstraneRecord::FormatOfFile(arguments.inFile, arguments.inFormat)) {
        return FailUsage("the ending of '" + arguments.inFile + "' names no format: give --in-format", exitStatus);
    }
    if (!formats.out.empty()) {
        if (!ReadFormat("--out-format", formats.out, arguments.outFormat, exitStatus)) {
            return false;
        }
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

bool CheckArguments(const RawFormats& formats, Arguments& arguments, int& exitStatus) {
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
    arguments.hasInput = arguments.command != Command::Explain || !arguments.inFile.empty() || !formats.in.empty();
    return !arguments.hasInput || ChooseFormats(formats, arguments, exitStatus);
}

// The options that the command knows, for a hint at the one that was meant.
std::vector<std::string> OptionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_lnames().empty()) {
            names.push_back("--" + option->get_lnames().front());
        }
    }
    return names;
}

bool FailParse(const CLI::App& app, const CLI::ParseError& error, int& exitStatus) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const CLI::App& command = chosen.empty() ? app : *chosen.front();
    std::string message = error.what();
    const std::vector<std::string> rest = app.remaining(true);
    if (!rest.empty()) {
        std::vector<std::string> known = OptionNames(command);
        if (chosen.empty()) {
            known = {"apply", "get", "explain", "codes"};
        }
        const std::string hint = OstraneCommon::NameHint(rest.front(), known);
        message = "'" + rest.front() + "' was not expected" + (hint.empty() ? "" : "; " + hint);
    }
    if (chosen.empty() && rest.empty()) {
        message = "name a command: apply, get, explain or codes";
    }
    return FailUsage(message + (message.back() == '?' ? " See" : "; see") + " ostrane " +
                         (chosen.empty() ? "" : command.get_name() + " ") + "--help",
                     exitStatus);
}

}  // namespace

bool ParseArguments(int argc, const char* const* argv, Arguments& arguments, int& exitStatus) {
    CLI::App app("Changes and reads parts of Protocol Buffers records in place.", "ostrane");
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("ostrane ") + OSTRANE_VERSION);
    app.footer(MAIN_FOOTER);
    RawFormats formats;
    AddApply(app, arguments, formats);
    AddGet(app, arguments, formats);
    AddExplain(app, arguments, formats);
    app.add_subcommand("codes", "List the result codes")->callback([&arguments] {
        arguments.command = Command::Codes;
    });

    exitStatus = EXIT_DONE;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        // Help or the version.
        std::ostringstream text;
        app.exit(success, text, text);
        exitStatus = PrintText(text.str()) ? EXIT_DONE : EXIT_NOT_POSSIBLE;
        return false;
    } catch (const CLI::ParseError& error) {
        return FailParse(app, error, exitStatus);
    }
    return arguments.command == Command::Codes || CheckArguments(formats, arguments, exitStatus);
}

}  // namespace OstraneCli
