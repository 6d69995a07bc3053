#include "manual.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <utility>
#include <vector>

#include "options.h"

namespace OstraneCli {
namespace {

// Every form of a statement; a line of the page each, with the words that explain it.
const std::pair<const char*, const char*> STATEMENT_FORMS[] = {
    {"GET items[*] WHERE qty < 5", "the selected elements"},
    {"TAKE inbox[..2]", "removes elements and hands them out"},
    {"POP scores[0, -1]", "removes elements"},
    {"SET scores[*] = $ * 2 WHERE $ > 10", "overwrites elements; $ is the element"},
    {"SET items[*].qty = qty + 1 WHERE sku = 'a'", "changes a field of elements"},
    {"SET items[0] = {qty: 4, price: null}", "changes several"},
    {"SET level = 3; SET attrs['hp'] = 5", "a singular field, a value of a map"},
    {"SET hand FROM items[0]", "copies a field"},
    {"PUSH scores[1] = 7", "inserts before a position; without one, at the end"},
    {"PUSH scores[0] FROM scores[-2..]", "inserts copies of elements"},
    {"CLEAR tags", "empties a field"},
};

// Text that roff prints as it stands.
std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
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
            case '^':
                escaped += "\\(ha";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            case '`':
                escaped += "\\(ga";
                break;
            default:
                escaped += c;
        }
    }
    return !escaped.empty() && escaped.front() == '.' ? "\\&" + escaped : escaped;
}

std::string Section(const std::string& title) {
    return ".SH " + title + "\n";
}

std::string Item(const std::string& head, const std::string& text) {
    return ".TP\n" + head + "\n" + Escape(text) + "\n";
}

std::string Bold(const std::string& text) {
    return "\\fB" + Escape(text) + "\\fR";
}

// Lines that are not filled.
std::string Verbatim(const std::string& text) {
    std::string out = ".PP\n.nf\n";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        out += Escape(line) + "\n";
    }
    return out + ".fi\n";
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

bool WorksOnRecords(const CLI::App& command) {
    return command.get_option_no_throw("--type") != nullptr;
}

std::string Synopsis(const CLI::App& app) {
    std::string text = Section("SYNOPSIS");
    for (const CLI::App* command : CommandsOf(app)) {
        text += (command == CommandsOf(app).front() ? "" : ".br\n") + Bold("ostrane " + command->get_name());
        text += WorksOnRecords(*command) ? " [\\fIOPTIONS\\fR]" : "";
        for (const CLI::Option* option : command->get_options()) {
            text += option->get_positional() ? " [\\fI" + option->get_name(true) + "\\fR]" : "";
        }
        text += "\n";
    }
    return text;
}

std::string CommandList(const CLI::App& app) {
    std::string text = Section("COMMANDS");
    for (const CLI::App* command : CommandsOf(app)) {
        text += Item(Bold(command->get_name()), command->get_description() + ".");
    }
    return text;
}

// "Only with apply." where not every command has it.
std::string OwnersOf(const std::vector<const CLI::App*>& commands, const std::string& name) {
    std::vector<std::string> owners;
    for (const CLI::App* command : commands) {
        if (command->get_option_no_throw(name) != nullptr) {
            owners.push_back(command->get_name());
        }
    }
    return owners.size() == commands.size() ? "" : " Only with " + Enumerate(owners) + ".";
}

// The options of all commands that work on records, each once, under the heads of their groups.
std::string OptionList(const CLI::App& app) {
    std::vector<const CLI::App*> commands;
    for (const CLI::App* command : CommandsOf(app)) {
        if (WorksOnRecords(*command)) {
            commands.push_back(command);
        }
    }
    std::string text = Section("OPTIONS");
    // The first of them has all groups.
    for (const std::string& group : commands.front()->get_groups()) {
        std::vector<std::string> known;
        text += ".SS " + group + "\n";
        for (const CLI::App* command : commands) {
            for (const CLI::Option* option : command->get_options()) {
                const std::string name = WrittenName(*option);
                if (option->get_positional() || option->get_group() != group ||
                    std::find(known.begin(), known.end(), name) != known.end()) {
                    continue;
                }
                known.push_back(name);
                const std::string value = option->get_type_size() == 0 ? "" : option->get_type_name();
                const std::string byDefault = option->get_default_str();
                text += Item(Bold(name) + (value.empty() ? "" : " \\fI" + Escape(value) + "\\fR"),
                             option->get_description() + (byDefault.empty() ? "" : "; by default " + byDefault) + "." +
                                 OwnersOf(commands, name));
            }
        }
    }
    text += ".SS Of the program itself\n";
    for (const CLI::Option* option : app.get_options()) {
        text += Item(Bold(WrittenName(*option)), option->get_description() + ".");
    }
    return text;
}

std::string StatementList() {
    std::string text = Section("STATEMENTS");
    text +=
        "Statements are separated by ; and change a record together or not at all.\n"
        "Positions count from 0, negative ones from the end; a..b includes both ends.\n"
        "In a shell, a statement stands in single quotes, or in double quotes when it has none of $, ` and \\e.\n";
    for (const auto& [form, meaning] : STATEMENT_FORMS) {
        text += Item(Bold(form), meaning);
    }
    return text;
}

// What help shows of a command below "Examples:".
std::string ExamplesOf(const CLI::App& command) {
    const std::string footer = command.get_footer();
    const size_t head = footer.find("Example");
    const size_t begin = head == std::string::npos ? head : footer.find('\n', head);
    return begin == std::string::npos ? "" : footer.substr(begin + 1);
}

std::string ExampleList(const CLI::App& app) {
    std::string text = Section("EXAMPLES");
    for (const CLI::App* command : CommandsOf(app)) {
        text += Verbatim(ExamplesOf(*command));
    }
    return text;
}

}  // namespace

std::string ManualPage(const CLI::App& app) {
    std::string text = ".TH OSTRANE 1 \"\" \"ostrane " OSTRANE_VERSION "\"\n";
    text += Section("NAME") + "ostrane \\- change and read parts of Protocol Buffers records\n";
    text += Synopsis(app);
    text += Section("DESCRIPTION") +
            "Runs statements on records of any message type: elements of repeated fields are set, inserted,\n"
            "removed and read by position, range and condition, and fields are copied into fields.\n"
            "A record comes as JSON, as text, or in binary; ndjson and delimited are streams of records.\n";
    text += CommandList(app) + OptionList(app) + StatementList();
    text += Section("FILES") + "A format follows the file's ending where none is named:\n" +
            Item(Bold("json"), ".json") + Item(Bold("ndjson"), ".ndjson, .jsonl") +
            Item(Bold("text"), ".txtpb, .textproto, .pbtxt, .prototxt") + Item(Bold("binary"), ".pb, .bin, .binpb") +
            Item(Bold("delimited"), ".delim");
    text += Section("ENVIRONMENT") +
            Item(Bold("NO_COLOR"), "When it is set and not empty, errors have no colour on a terminal.");
    text += Section("\"EXIT STATUS\"") + Escape(EXIT_STATUS_TEXT) + "\n";
    return text + ExampleList(app);
}

}  // namespace OstraneCli
