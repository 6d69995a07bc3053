// What the tests of the program share: command lines about the sample schema and short inputs.
#ifndef OSTRANE_TESTS_CLI_PLAYER_PROGRAM_H_
#define OSTRANE_TESTS_CLI_PLAYER_PROGRAM_H_

#include <string>
#include <vector>

#include "cli/program.h"
#include "support/temp_folder.h"

// How an error of an input or an output begins.
constexpr char HEAD[] = "error -256 GEN_ERR_ERR: ";

constexpr char RECORD[] = R"({"name":"ada","scores":[10,20,30]})";

// Three records; the second has no scores.
constexpr char THREE[] =
    "{\"name\":\"a\",\"scores\":[1]}\n{ \"name\": \"b\" }\n{\"name\":\"c\",\"level\":9,\"scores\":[1,2]}\n";

// The sample schema, then the rest.
inline std::vector<std::string> Player(const std::string& command, const std::vector<std::string>& rest) {
    std::vector<std::string> arguments = {command, "--proto", OSTRANE_EXAMPLES "/player.proto", "--type",
                                          "demo.Player"};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    return arguments;
}

inline Surroundings WithInput(const std::string& text) {
    Surroundings surroundings;
    surroundings.input = text;
    return surroundings;
}

// What the program says, the test's own folder taken out of it.
inline std::string Short(std::string text, const TempFolder& folder) {
    for (size_t at = text.find(folder.Path()); at != std::string::npos; at = text.find(folder.Path())) {
        text.replace(at, folder.Path().size(), "DIR");
    }
    return text;
}

#endif  // OSTRANE_TESTS_CLI_PLAYER_PROGRAM_H_
