// The documents show real sessions: every command in them is run, and says what stands there.
#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "cli/console_text.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

struct Document {
    const char* name;
    const char* path;
    size_t commands;  // at least
};

void PrintTo(const Document& document, std::ostream* out) {
    *out << document.name;
}

class Documents : public testing::TestWithParam<Document> {};

// In a folder that looks like a clone in which the program has been built.
TEST_P(Documents, SayWhatTheProgramSays) {
    TempFolder folder;
    fs::copy(OSTRANE_EXAMPLES, folder.At("examples"));
    fs::create_directories(folder.At("build/release/bin"));
    fs::create_symlink(OSTRANE_PROGRAM, folder.At("build/release/bin/ostrane"));
    std::vector<ConsoleCommand> commands = ReadConsole(GetParam().path);
    EXPECT_GE(commands.size(), GetParam().commands);
    RunConsole(folder.Path(), commands);
    for (const ConsoleCommand& command : commands) {
        EXPECT_EQ(command.outcome, command.said) << GetParam().path << ":" << command.line << ": " << command.typed;
    }
}

std::string NameOf(const testing::TestParamInfo<Document>& tested) {
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(All, Documents,
                         testing::Values(Document{"Readme", OSTRANE_EXAMPLES "/../README.md", 4},
                                         Document{"Tutorial", OSTRANE_EXAMPLES "/../docs/tutorial.md", 25}),
                         NameOf);

}  // namespace
