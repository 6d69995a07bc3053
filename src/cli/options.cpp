#include "options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "common/string_util.h"
#include "expr/name_hint.h"

namespace OstraneCli {

const char EXIT_STATUS_TEXT[] =
    "0 done; 1 a statement failed, and its record is unchanged, or with --keep-going any record failed; 2 wrong usage, "
    "input that cannot be read, or output that cannot be written.";

namespace {

constexpr int MAX_THREADS = 256;

constexpr char MAIN_FOOTER[] = R"(Examples:
  ostrane apply --proto player.proto --type demo.Player --in player.json 'PUSH scores[1] = 7'
  ostrane get --proto player.proto --type demo.Player --in player.pb 'GET items[*] WHERE qty < 5'
  ostrane help apply   shows its options and more examples; so does ostrane apply --help

Exit status: )";

constexpr char APPLY_FOOTER[] = R"(Statements are separated by ';' and change a record together or not at all.
A format follows the file's ending: .json; .ndjson .jsonl; .txtpb .textproto .pbtxt .prototxt; .pb .bin .binpb; .delim.
ndjson and delimited hold any number of records.

Examples:
  ostrane apply --proto player.proto --type demo.Player --in player.json 'PUSH scores[1] = 7'
  ostrane apply --proto player.proto --type demo.Player --in player.pb --in-place \
      --param limit=10 "POP items[*] WHERE qty < :limit; SET name = 'ada'"
  ostrane apply --descriptor-set all.pb --type demo.Player --in-format binary --out-format json \
      --file changes.txt < player.pb)";

constexpr char GET_FOOTER[] = R"(Prints the selected elements as JSON, one a line.

Examples:
  ostrane get --proto player.proto --type demo.Player --in player.json 'GET scores[-3..]'
  ostrane get --proto player.proto --type demo.Player --in players.ndjson "GET items[*] WHERE state = 'OPEN'")";

constexpr char EXPLAIN_FOOTER[] =
    R"(Shows of each statement what will be done, and the trees of its value and condition; of each record, when there is
an input, what would be matched and changed.

Examples:
  ostrane explain --proto player.proto --type demo.Player "POP items[*] WHERE qty < 5 AND state = 'OPEN'"
  ostrane explain --proto player.proto --type demo.Player --in player.json 'POP scores WHERE $ > 10')";

constexpr char CODES_FOOTER[] = R"(Example:
  ostrane codes)";

constexpr char COMPLETION_FOOTER[] = R"(Examples:
  source <(ostrane completion bash)                 in ~/.bashrc
  ostrane completion zsh > ~/.zfunc/_ostrane        in a folder of zsh's fpath)";

constexpr char MANUAL_FOOTER[] = R"(Example:
  ostrane manual | man -l -)";

constexpr char HELP_FOOTER[] = R"(Example:
  ostrane help apply)";

// A value that the option does not take, in words that follow the option's name; empty when it is one.
std::string ValueFault(const std::string& kind, const std::string& value) {
    if (value.empty()) {
        return "needs a value, not an empty one";
    }
    const std::vector<std::string>& known = FixedValues(kind);
    if (known.empty() || std::find(known.begin(), known.end(), value) != known.end()) {
        return std::string();
    }
    const std::string hint = OstraneCommon::NameHint(value, known);
    return "takes " + Enumerate(known) + ", not '" + value + "'" + (hint.empty() ? "" : "; " + hint);
}

// `kind` is what stands for the value in the help, and tells what it may be.
void SetKind(CLI::Option* option, const std::string& kind, const char* group) {
    option->type_name(kind)->group(group)->check([kind](const std::string& value) { return ValueFault(kind, value); });
}

void AddValue(CLI::App& app, const char* name, std::string& value, const char* kind, const char* description,
              const char* group) {
    SetKind(app.add_option(name, value, description), kind, group);
}

// May be given several times, with one value each.
void AddValues(CLI::App& app, const char* name, std::vector<std::string>& values, const char* kind,
               const char* description, const char* group) {
    CLI::Option* const option = app.add_option(name, values, description);
    option->expected(1)->take_all()->allow_extra_args(false);
    SetKind(option, kind, group);
}

void AddSchemaOptions(CLI::App& app, Arguments& arguments) {
    const char* const group = "Schema";
    AddValue(app, "--proto", arguments.protoFile, "FILE", "The .proto file, from here or below a root", group);
    AddValues(app, "-I", arguments.roots, "DIR", "A root of imports; may be given several times", group);
    AddValue(app, "--descriptor-set", arguments.descriptorSet, "FILE", "A FileDescriptorSet, in place of --proto",
             group);
    AddValue(app, "--type", arguments.type, "NAME", "The full name of the record's message type", group);
}

void AddInputOptions(CLI::App& app, Arguments& arguments, RawArguments& raw) {
    const char* const group = "Input";
    AddValue(app, "--in", arguments.inFile, "FILE", "The file with the record or records; else stdin", group);
    AddValue(app, "--in-format", raw.inFormat, "FORMAT",
             "json, ndjson, text, binary or delimited; else by the file's ending, and needed for stdin", group);
}

void AddOutputOptions(CLI::App& app, Arguments& arguments, RawArguments& raw) {
    const char* const group = "Output";
    AddValue(app, "--out", arguments.outFile, "FILE", "The file to write; else stdout", group);
    app.add_flag("--in-place", arguments.inPlace, "Write over the input file")->group(group);
    AddValue(app, "--out-format", raw.outFormat, "FORMAT",
             "json, ndjson, text, binary or delimited; else by the file's ending, or as the input", group);
}

void AddStatementOptions(CLI::App& app, Arguments& arguments, const char* name) {
    const char* const group = "Options";
    app.add_option(name, arguments.statements, "The text in the statement language, one argument in quotes")
        ->type_name("");
    AddValue(app, "--file", arguments.statementFile, "FILE", "Read the text from a file", group);
    AddValues(app, "--param", arguments.parameters, "NAME=JSON",
              "The value of :NAME, or of the first ? for 1; bytes are base64; several times", group);
    AddValue(app, "--where", arguments.where, "EXPR", "Only the records for which this condition is true", group);
    app.add_flag("--strict", arguments.strict, "A selector that selects nothing is an error");
    app.add_flag("--partial", arguments.partial, "Records may lack required fields, but none may be cleared");
    static const std::map<std::string, LogLevel> LEVELS = {
        {"off", LogLevel::Off}, {"error", LogLevel::Error}, {"debug", LogLevel::Debug}};
    CLI::Option* const log = app.add_option_function<std::string>(
        "--log", [&arguments](const std::string& level) { arguments.log = LEVELS.at(level); },
        "What the field operations log to stderr: off, error or debug");
    SetKind(log->default_str("off"), "LEVEL", group);
}

std::string ThreadsFault(const std::string& written) {
    int threads = 0;
    return StringToInt<int>(written, threads, MAX_THREADS, 1)
               ? std::string()
               : "takes a number from 1 to " + std::to_string(MAX_THREADS) + ", not '" + written + "'";
}

void AddRunOptions(CLI::App& app, Arguments& arguments) {
    const char* const group = "Options";
    AddValue(app, "--report", arguments.report, "FILE",
             "Write what each statement did to each record, as JSON lines; - is stdout", group);
    app.add_flag("--keep-going", arguments.keepGoing, "Pass over a record that fails, and go on");
    CLI::Option* const threads = app.add_option("--threads", arguments.threads,
                                                "How many threads take the records of a stream; their order stays");
    SetKind(threads->default_str("1"), "N", group);
    threads->check(ThreadsFault);
    app.add_flag_callback(
        "--no-progress", [&arguments] { arguments.hasProgress = false; },
        "Show no progress of a long stream on stderr");
    CLI::Option* const names = app.add_option_function<std::string>(
        "--json-names", [&arguments](const std::string& written) { arguments.camelNames = written == "camel"; },
        "The names in JSON output: proto (the schema's) or camel");
    SetKind(names->default_str("proto"), "NAMES", group);
    app.add_flag("--positions", arguments.positions,
                 "Put an element's position and a tab before it; of a stream, the record's number first");
}

CLI::App& AddCommand(CLI::App& app, const char* name, const char* description, const char* footer, Command command,
                     Arguments& arguments) {
    CLI::App* const added = app.add_subcommand(name, description);
    added->set_help_flag("-h,--help", "Show this help");
    added->footer(footer);
    added->group("Commands");
    added->callback([command, &arguments] { arguments.command = command; });
    return *added;
}

}  // namespace

const std::vector<std::string>& FixedValues(const std::string& kind) {
    static const std::map<std::string, std::vector<std::string>> VALUES = {
        {"FORMAT", {"json", "ndjson", "text", "binary", "delimited"}},
        {"LEVEL", {"off", "error", "debug"}},
        {"NAMES", {"proto", "camel"}},
        {"SHELL", {"bash", "zsh"}},
        {"COMMAND", {"apply", "get", "explain", "codes", "completion", "manual", "help"}},
    };
    static const std::vector<std::string> NONE;
    const auto found = VALUES.find(kind);
    return found == VALUES.end() ? NONE : found->second;
}

std::string WrittenName(const CLI::Option& option) {
    if (!option.get_lnames().empty()) {
        return "--" + option.get_lnames().front();
    }
    return option.get_snames().empty() ? option.get_name(true) : "-" + option.get_snames().front();
}

std::string Enumerate(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    }
    return text;
}

void DefineCommands(CLI::App& app, Arguments& arguments, RawArguments& raw) {
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "Show this help");
    app.set_version_flag("--version", std::string("ostrane ") + OSTRANE_VERSION, "Show the version");
    app.footer(std::string(MAIN_FOOTER) + EXIT_STATUS_TEXT);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");

    CLI::App& apply = AddCommand(app, "apply", "Change records with statements, and print or write them", APPLY_FOOTER,
                                 Command::Apply, arguments);
    AddSchemaOptions(apply, arguments);
    AddInputOptions(apply, arguments, raw);
    AddOutputOptions(apply, arguments, raw);
    AddStatementOptions(apply, arguments, "STATEMENTS");
    AddRunOptions(apply, arguments);
    apply.add_flag("--dry-run", arguments.dryRun, "Write no record; say what would have changed");

    CLI::App& get = AddCommand(app, "get", "Print what a GET statement selects", GET_FOOTER, Command::Get, arguments);
    AddSchemaOptions(get, arguments);
    AddInputOptions(get, arguments, raw);
    AddStatementOptions(get, arguments, "STATEMENT");
    AddRunOptions(get, arguments);

    CLI::App& explain = AddCommand(app, "explain", "Show what statements would do, and write nothing", EXPLAIN_FOOTER,
                                   Command::Explain, arguments);
    AddSchemaOptions(explain, arguments);
    AddInputOptions(explain, arguments, raw);
    AddStatementOptions(explain, arguments, "STATEMENTS");

    AddCommand(app, "codes", "List the result codes", CODES_FOOTER, Command::Codes, arguments);
    CLI::App& completion = AddCommand(app, "completion", "Print the completion script of a shell", COMPLETION_FOOTER,
                                      Command::Completion, arguments);
    SetKind(completion.add_option("SHELL", raw.shell, "bash or zsh"), "SHELL", "Options");
    AddCommand(app, "manual", "Print the man page, as roff", MANUAL_FOOTER, Command::Manual, arguments);
    CLI::App& help = AddCommand(app, "help", "Show the help of a command", HELP_FOOTER, Command::Help, arguments);
    SetKind(help.add_option("COMMAND", raw.helpOf, "The command; without it, help on all"), "COMMAND", "Options");
}

}  // namespace OstraneCli
