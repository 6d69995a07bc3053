// Wrong usage: status 2 and one line that says the right one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

struct UsageRow {
    std::vector<std::string> arguments;
    const char* said;
};

TEST(Usage, WrongOnesAreToldInOneLine) {
    const std::string proto = OSTRANE_EXAMPLES "/player.proto";
    const UsageRow rows[] = {
        {{}, "name a command: apply, get, explain or codes; see ostrane --help"},
        {{"aply"}, "'aply' was not expected; did you mean 'apply'? See ostrane --help"},
        {{"help", "aply"},
         "COMMAND takes apply, get, explain, codes, completion, manual or help, not 'aply'; did you mean 'apply'? See "
         "ostrane help --help"},
        {{"--tpye"}, "'--tpye' was not expected; see ostrane --help"},
        {{"--versoin"}, "'--versoin' was not expected; did you mean '--version'? See ostrane --help"},
        {{"--strict"},
         "'--strict' was not expected; it is an option of ostrane apply, ostrane get or ostrane explain; "
         "see ostrane --help"},
        {{"--type", "x", "apply"},
         "'--type' was not expected; options stand behind the command; see ostrane apply --help"},
        {{"get", "--in-place"},
         "'--in-place' was not expected; it is an option of ostrane apply; see ostrane get --help"},
        {{"apply", "--where", ""}, "--where needs a value, not an empty one; see ostrane apply --help"},
        {{"codes", "x"}, "'x' was not expected; see ostrane codes --help"},
        {{"completion"}, "name the shell: ostrane completion bash or zsh"},
        {{"completion", "bsh"},
         "SHELL takes bash or zsh, not 'bsh'; did you mean 'bash'? See ostrane completion --help"},
        {{"apply", "--type"}, "--type needs a value: --type NAME; see ostrane apply --help"},
        {{"apply", "--in", ""}, "--in needs a value, not an empty one; see ostrane apply --help"},
        {{"apply", "--where="}, "--where needs a value: --where EXPR; see ostrane apply --help"},
        {{"apply", "--in", "a", "--in", "b"}, "--in is given twice; see ostrane apply --help"},
        {{"apply", "--log", "debg"},
         "--log takes off, error or debug, not 'debg'; did you mean 'debug'? See ostrane apply --help"},
        {{"get", "--json-names", "snake"}, "--json-names takes proto or camel, not 'snake'; see ostrane get --help"},
        {{"apply", "--tpye", "x"}, "'--tpye' was not expected; did you mean '--type'? See ostrane apply --help"},
        {{"apply"}, "name the schema with --proto FILE or --descriptor-set FILE"},
        {{"apply", "--proto", "a", "--descriptor-set", "b"}, "--proto and --descriptor-set exclude each other"},
        {{"apply", "--descriptor-set", "b", "-I", "c"}, "-I goes with --proto"},
        {{"apply", "--proto", "a", "X"}, "name the record's message type with --type NAME"},
        {{"apply", "--proto", "a", "--type", "b"}, "give the statements, or a file of them with --file"},
        {{"apply", "--proto", "a", "--type", "b", "--file", "f", "X"},
         "statements on the command line and --file exclude each other"},
        {{"apply", "--proto", "a", "--type", "b", "X", "Y"},
         "'Y' was not expected; the statements are one argument, in quotes; see ostrane apply --help"},
        {{"get", "--proto", "a", "--type", "b", "f.json", "GET x"},
         "'GET x' was not expected; the file with the record is named by --in f.json; see ostrane get --help"},
        {{"get", "--proto", "a", "--type", "b", "GET x", "f.pb"},
         "'f.pb' was not expected; the file with the record is named by --in f.pb; see ostrane get --help"},
        {{"apply", "--proto", "a", "--type", "b", "X"}, "reading stdin needs --in-format; or name a file with --in"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.x", "X"},
         "the ending of 'f.x' names no format: give --in-format"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-format", "jsn", "X"},
         "--in-format takes json, ndjson, text, binary or delimited, not 'jsn'; did you mean 'json'? See ostrane apply "
         "--help"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--out-format", "x", "X"},
         "--out-format takes json, ndjson, text, binary or delimited, not 'x'; see ostrane apply --help"},
        {{"apply", "--proto", "a", "--type", "b", "--in-format", "json", "--in-place", "X"},
         "--in-place needs a file, named with --in"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-place", "--out", "g", "X"},
         "--in-place and --out exclude each other"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.json", "--in-place", "--out-format", "text", "X"},
         "--in-place keeps the format; --out FILE writes another one"},
        {{"apply", "--proto", "a", "--type", "b", "--in-format", "json", "--out", "-", "X"},
         "without --out the record goes to stdout; a file called - is ./-"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "-", "X"},
         "without --in the record comes from stdin; a file called - is ./-"},
        {{"apply", "--proto", "a", "--type", "b", "--in", "f.ndjson", "--out", "g.json", "X"},
         "json holds one record, the input any number: choose ndjson or delimited for the output"},
    };
    for (const UsageRow& row : rows) {
        const Outcome outcome = RunOstrane(row.arguments);
        EXPECT_EQ(outcome.status, 2) << row.said;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, std::string("ostrane: ") + row.said + "\n");
    }
}

TEST(Usage, AValueOfOneOptionIsOneArgument) {
    // The statement after -I DIR and --param NAME=JSON is the statement.
    const Outcome outcome = RunOstrane({"apply", "--proto", "player.proto", "--type", "demo.Player", "--in-format",
                                        "ndjson", "-I", OSTRANE_EXAMPLES, "--param", "v=1", "SET scores = [:v]"},
                                       WithInput(RECORD));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "{\"name\":\"ada\",\"scores\":[1]}\n");
}

}  // namespace
