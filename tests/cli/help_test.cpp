// What the program tells about itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/player_program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(Options, Version) {
    const Outcome outcome = RunOstrane({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ostrane " OSTRANE_VERSION "\n");
}

TEST(Options, HelpShowsExamplesAndOnlyWhatThereIs) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"apply", "--help"}, {"get", "--help"}, {"explain", "--help"}}) {
        const Outcome outcome = RunOstrane(arguments);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Examples:\n  ostrane "));
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(Help, CommandAndOptionSayTheSame) {
    EXPECT_EQ(RunOstrane({"help"}).out, RunOstrane({"--help"}).out);
    for (const char* command : {"apply", "get", "explain", "codes", "completion", "manual", "help"}) {
        const Outcome outcome = RunOstrane({"help", command});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, RunOstrane({command, "--help"}).out);
        EXPECT_THAT(outcome.out, AllOf(HasSubstr(std::string("Usage: ostrane ") + command), HasSubstr("Example")));
    }
}

// The man page

// What roff prints of a piece of the page's source.
std::string Printed(std::string text) {
    const std::pair<const char*, const char*> escapes[] = {{"\\-", "-"}, {"\\(aq", "'"}, {"\\(ga", "`"}, {"\\fB", ""},
                                                           {"\\fR", ""}, {"\\fI", ""},   {"\\&", ""},    {"\\e", "\\"}};
    for (const auto& [written, shown] : escapes) {
        for (size_t at = 0; (at = text.find(written, at)) != std::string::npos; at += std::strlen(shown)) {
            text.replace(at, std::strlen(written), shown);
        }
    }
    return text;
}

// What stands between two heads of the page.
std::string SectionOf(const std::string& page, const std::string& title) {
    const size_t begin = page.find(".SH " + title + "\n");
    return begin == std::string::npos ? "" : page.substr(begin, page.find("\n.SH ", begin) - begin);
}

TEST(Manual, HasEveryOptionOfTheHelp) {
    const std::string page = Printed(RunOstrane({"manual"}).out);
    for (const std::string command : {"apply", "get", "explain"}) {
        std::istringstream lines(RunOstrane({command, "--help"}).out);
        for (std::string line; std::getline(lines, line);) {
            if (line.compare(0, 3, "  -") == 0 && line.compare(0, 5, "  -h,") != 0) {
                const std::string name = line.substr(2, line.find(' ', 2) - 2);
                EXPECT_TRUE(page.find("\n" + name + "\n") != std::string::npos ||
                            page.find("\n" + name + " ") != std::string::npos)
                    << name;
            }
        }
    }
    EXPECT_THAT(page, HasSubstr("\n--dry-run\nWrite no record; say what would have changed. Only with apply.\n"));
    EXPECT_THAT(page, HasSubstr("\n--report FILE\nWrite what each statement did to each record, as JSON lines; - is "
                                "stdout. Only with apply or get.\n"));
}

TEST(Manual, EveryStatementFitsTheSampleSchema) {
    std::istringstream lines(SectionOf(RunOstrane({"manual"}).out, "STATEMENTS"));
    std::string previous;
    int count = 0;
    for (std::string line; std::getline(lines, line); previous = line) {
        if (previous == ".TP") {
            const Outcome outcome = RunOstrane(Player("explain", {Printed(line)}));
            EXPECT_EQ(outcome.status, 0) << outcome.err;
            ++count;
        }
    }
    EXPECT_GE(count, 10);
}

TEST(Manual, RendersWithoutWarnings) {
    if (!HasProgram("groff")) {
        GTEST_SKIP() << "no groff here";
    }
    TempFolder folder;
    const std::string page = folder.Write("ostrane.1", RunOstrane({"manual"}).out);
    const std::string command =
        "groff -man -ww -Tutf8 " + page + " 2>" + folder.At("warnings") + " >" + folder.At("shown");
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(folder.Read("warnings"), "");
    EXPECT_THAT(folder.Read("shown"), HasSubstr("ostrane apply --proto player.proto --type demo.Player"));
}

TEST(Codes, ListsThemAll) {
    const Outcome outcome = RunOstrane({"codes"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(StartsWith("0      OK "), HasSubstr("\n-256   GEN_ERR_ERR  "),
                                   HasSubstr("\n-537   COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE  "),
                                   HasSubstr("\n-4377  COMMON_ERR_INVALID_EXPR_SYNTAX  "),
                                   HasSubstr("\n-4633  COMMON_ERR_INVALID_ARRAY_INDEX  "),
                                   HasSubstr("\n-4889  COMMON_ERR_INVALID_FIELD_NAME  "),
                                   HasSubstr("\n-5145  COMMON_ERR_INVALID_EXPR_TYPE  ")));
}

}  // namespace
