// The shells complete command lines with the script that the program prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::HasSubstr;

std::string ScriptFor(const std::string& shell, const TempFolder& folder) {
    const Outcome outcome = RunOstrane({"completion", shell});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return folder.Write("_ostrane", outcome.out);
}

// The candidates that bash has for the last of the words, sorted, separated by spaces. An option and its value
// joined by = are three words to bash.
std::string Candidates(const std::string& words, const TempFolder& folder) {
    const std::string asked =
        folder.Write("asked.sh", "set -u\ncd '" + folder.Path() + "'\nsource ./_ostrane\nCOMP_WORDS=(" + words +
                                     ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_ostrane\n"
                                     "printf '%s\\n' \"${COMPREPLY[@]}\" | LC_ALL=C sort > answer\n");
    EXPECT_EQ(std::system(("bash " + asked).c_str()), 0) << words;
    std::string line = folder.Read("answer");
    for (char& c : line) {
        c = c == '\n' ? ' ' : c;
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

struct CandidatesRow {
    const char* words;
    const char* candidates;
};

TEST(BashCompletion, CandidatesFollowThePlace) {
    TempFolder folder;
    ScriptFor("bash", folder);
    folder.Write("player one.proto", "");
    folder.Write("play/x.json", "");
    const CandidatesRow rows[] = {
        // Commands
        {"ostrane ''", "--help --version -h apply codes completion explain get help manual"},
        {"ostrane ex", "explain"},
        {"ostrane co", "codes completion"},
        {"ostrane help ge", "get"},
        {"ostrane help ''", "--help -h apply codes completion explain get help manual"},
        {"ostrane completion ''", "--help -h bash zsh"},
        // Options of the command, and of no other
        {"ostrane apply --in", "--in --in-format --in-place"},
        {"ostrane get --in", "--in --in-format"},
        {"ostrane explain --js", ""},
        {"ostrane apply --proto x --re", "--report"},
        // Fixed values
        {"ostrane apply --in-format ''", "binary delimited json ndjson text"},
        {"ostrane apply --out-format d", "delimited"},
        {"ostrane apply --log ''", "debug error off"},
        {"ostrane get --json-names c", "camel"},
        {"ostrane get --json-names =", "camel proto"},
        {"ostrane get --json-names = p", "proto"},
        // Files and folders
        {"ostrane apply --proto pl", "play player one.proto"},
        {"ostrane apply --descriptor-set pl", "play player one.proto"},
        {"ostrane apply --in play/", "play/x.json"},
        {"ostrane apply --out pl", "play player one.proto"},
        {"ostrane apply --file pl", "play player one.proto"},
        {"ostrane apply --report = pl", "play player one.proto"},
        {"ostrane apply -I pl", "play"},
        // What only the user knows
        {"ostrane apply --type pl", ""},
        {"ostrane apply --where pl", ""},
        {"ostrane apply --param pl", ""},
        {"ostrane apply pl", ""},
    };
    for (const CandidatesRow& row : rows) {
        EXPECT_EQ(Candidates(row.words, folder), row.candidates) << row.words;
    }
}

// Every option in the help of every command stands among its candidates.
TEST(BashCompletion, KnowsEveryOptionOfTheHelp) {
    TempFolder folder;
    ScriptFor("bash", folder);
    for (const std::string command : {"apply", "get", "explain", "codes", "completion", "manual", "help"}) {
        std::istringstream lines(RunOstrane({command, "--help"}).out);
        const std::string candidates = " " + Candidates("ostrane " + command + " -", folder) + " ";
        size_t count = 0;
        for (std::string line; std::getline(lines, line);) {
            if (line.compare(0, 3, "  -") == 0 && line.compare(0, 5, "  -h,") != 0) {
                ++count;
                EXPECT_THAT(candidates, HasSubstr(" " + line.substr(2, line.find(' ', 2) - 2) + " ")) << command;
            }
        }
        EXPECT_EQ(count > 0, candidates != " --help -h ") << command;
    }
}

// Typed with a tab in an interactive shell, where a function in place of the program tells its arguments.
TEST(BashCompletion, WorksAtAPrompt) {
    TempFolder folder;
    const std::string script = ScriptFor("bash", folder);
    const Outcome outcome =
        TypeInto({"bash", "--norc", "--noprofile", "-i"},
                 "source " + script + "\nostrane() { printf '<%s>' \"$@\"; }\nostrane ap\t--json-n\tc\t\nexit\n",
                 {"TERM=dumb", "INPUTRC=/dev/null", "HISTFILE"});
    EXPECT_THAT(outcome.out, HasSubstr("<apply><--json-names><camel>"));
}

TEST(ZshCompletion, IsASoundScript) {
    TempFolder folder;
    const std::string script = ScriptFor("zsh", folder);
    for (const char* part : {"#compdef ostrane\n", "--in-format=[", ":FORMAT:(json ndjson text binary delimited)'",
                             "'*-I+[", ":DIR:_files -/'", "'apply:Change records with statements, and print"}) {
        EXPECT_THAT(folder.Read("_ostrane"), HasSubstr(part));
    }
    if (!HasProgram("zsh")) {
        GTEST_SKIP() << "no zsh here";
    }
    EXPECT_EQ(std::system(("zsh -n " + script).c_str()), 0);
    const Outcome outcome = TypeInto({"zsh", "-f", "-i"},
                                     "PROMPT='> '; fpath=(" + folder.Path() +
                                         " $fpath); autoload -Uz compinit; compinit -D -u\n"
                                         "ostrane() { printf '<%s>' \"$@\"; }\nostrane appl\t--json-n\tcam\t\nexit\n",
                                     {"TERM=dumb", "HISTFILE"});
    EXPECT_THAT(outcome.out, HasSubstr("<apply><--json-names=camel>"));
}

}  // namespace
