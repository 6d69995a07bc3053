// The program that shows how a host embeds the library, run as its users run it, and what else the manual shows.
#include <gmock/gmock.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <ostrane/common/protobuf_record.h>
#include <ostrane/log/log_category.h>
#include <ostrane/record/codec.h>
#include <ostrane/record/schema.h>
#include <ostrane/record/statement_plan.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "player.pb.h"
#include "support/temp_folder.h"

namespace {

using google::protobuf::util::JsonStringToMessage;
using namespace OstraneRecord;
using testing::HasSubstr;

const std::string kSchema = OSTRANE_EXAMPLES "/player.proto";
const std::string kRecord = OSTRANE_EXAMPLES "/player.json";

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

// `arguments` as a shell reads them.
Outcome RunCommand(const std::string& program, const std::string& arguments) {
    const TempFolder folder;
    const std::string command = program + " " + arguments + " >" + folder.At("out") + " 2>" + folder.At("err");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.Read("out"), folder.Read("err")};
}

Outcome Embed(const std::string& statements) {
    return RunCommand(OSTRANE_EMBED, kSchema + " demo.Player " + kRecord + " " + statements);
}

std::string TextOf(const std::string& json) {
    demo::Player player;
    EXPECT_TRUE(JsonStringToMessage(json, &player).ok()) << json;
    return player.DebugString();
}

TEST(Embed, PushesAParameter) {
    const Outcome outcome = Embed("'PUSH scores[1] = ?' 7");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "{\"record\":0,\"statement\":1,\"text\":\"PUSH scores[1] = ?\",\"code\":0,\"codeName\":\"OK\","
              "\"field\":\"demo.Player.scores\",\"matched\":1,\"changed\":1,\"positions\":[1],\"sizeBefore\":3,"
              "\"sizeAfter\":4}\n");

    std::ostringstream before;
    before << std::ifstream(kRecord).rdbuf();
    demo::Player expected;
    ASSERT_TRUE(JsonStringToMessage(before.str(), &expected).ok());
    expected.clear_scores();
    for (const int score : {10, 7, 20, 30}) {
        expected.add_scores(score);
    }
    EXPECT_EQ(TextOf(outcome.out), expected.DebugString());
}

TEST(Embed, PrintsTheRecordThatApplyPrints) {
    const Outcome embed = Embed("\"PUSH scores[1] = ?; POP items[*] WHERE state = ?\" 7 '\"OPEN\"'");
    const Outcome apply =
        RunCommand(OSTRANE_PROGRAM, "apply --proto " + kSchema + " --type demo.Player --in " + kRecord +
                                        " \"PUSH scores[1] = 7; POP items[*] WHERE state = 'OPEN'\"");
    EXPECT_EQ(embed.status, 0);
    EXPECT_EQ(apply.status, 0) << apply.err;
    EXPECT_THAT(embed.out, HasSubstr("Mara"));
    EXPECT_EQ(embed.out, apply.out);
}

TEST(Embed, ReportsWhatGetSelects) {
    const Outcome outcome = Embed("'GET items[*] WHERE qty < ?' 2");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err,
                HasSubstr("{\"sku\":\"c\",\"qty\":1,\"state\":\"OPEN\",\"origin\":{\"city\":\"Bergen\"}}"));
}

TEST(Embed, EveryFailureIsToldAndPrintsNoRecord) {
    const TempFolder folder;
    folder.Write("a.json/b", "");
    const struct {
        const char* topic;
        std::string arguments;
        std::string error;
    } rows[] = {
        {"no arguments", "", "usage: embed"},
        {"a schema that is not there", "nowhere.proto T r.json 'GET a'", "nowhere.proto"},
        {"a type that is not there", kSchema + " demo.Plaier " + kRecord + " 'GET level'", "did you mean"},
        {"a record that is not there", kSchema + " demo.Player nowhere.json 'GET level'",
         "error -256 GEN_ERR_ERR: nowhere.json: cannot be opened: No such file or directory\n"},
        {"a folder in place of a record", kSchema + " demo.Player " + folder.At("a.json") + " 'GET level'",
         "a.json: cannot be read: Is a directory\n"},
        {"a record of another type", kSchema + " demo.Item " + kRecord + " 'GET qty'", kRecord + ":2:3: "},
        {"a file of no format", kSchema + " demo.Player " + kSchema + " 'GET level'",
         kSchema + ": the ending of the file's name names no format; "},
        {"statements that do not compile", kSchema + " demo.Player " + kRecord + " 'PUSH scroes = 1'",
         "error -4889 COMMON_ERR_INVALID_FIELD_NAME: demo.Player has no field 'scroes'\n"
         "  PUSH scroes = 1\n"
         "       ^\n"
         "  hint: did you mean 'scores'?\n"},
        {"a parameter that is no JSON", kSchema + " demo.Player " + kRecord + " 'PUSH scores = ?' 1 seven",
         "error -256 GEN_ERR_ERR: parameter 2: not JSON at byte 1; a text stands in double quotes\n"},
        {"a parameter that does not fit", kSchema + " demo.Player " + kRecord + " 'PUSH scores = ?' 4294967295",
         "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: parameter 1: 4294967295 does not fit demo.Player.scores"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunCommand(OSTRANE_EMBED, row.arguments);
        EXPECT_EQ(outcome.status, 1) << row.topic;
        EXPECT_EQ(outcome.out, "") << row.topic;
        EXPECT_THAT(outcome.err, HasSubstr(row.error)) << row.topic;
    }
    const Outcome late = Embed("'CLEAR tags; PUSH scores[?] = 1' 9");
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.out, "");
    EXPECT_THAT(late.err, HasSubstr("\"undone\":true"));
    EXPECT_THAT(late.err,
                HasSubstr("error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 3 elements of demo.Player"));
}

TEST(Embed, AGeneratedClassNeedsNoSchema) {
    StatementPlan plan;
    StatementError error;
    demo::Player player;
    StatementPlan::Compile("PUSH scores[1] = ?", demo::Player::descriptor(), {}, plan, error);

    player.add_scores(10);
    StatementParameters parameters;
    parameters.positional.push_back(ParameterValue::MakeInt(7));
    ExecutionResult result;
    EXPECT_EQ(plan.Execute(player, parameters, result), 0);
    EXPECT_EQ(player.ShortDebugString(), "scores: 10 scores: 7");
}

TEST(Embed, APlanRunsOnManyRecords) {
    Schema schema;
    InputError inputError;
    ASSERT_EQ(schema.ImportProto(kSchema, {}, inputError), 0) << inputError.ToStr();
    const google::protobuf::Descriptor* type = schema.FindType("demo.Player", inputError);
    std::unique_ptr<google::protobuf::Message> message = schema.NewRecord(type);
    StatementPlan plan;
    StatementError error;
    ASSERT_EQ(StatementPlan::Compile("PUSH scores[1] = ?", type, {}, plan, error), 0) << error.message;
    StatementParameters parameters;
    parameters.positional.push_back(ParameterValue::MakeInt(7));

    BoundPlan bound;
    int code = plan.Bind(parameters, bound, error);
    EXPECT_EQ(code, 0) << error.message;
    std::vector<std::string> changed;
    for (const std::string bytes : {"{\"name\": \"a\", \"scores\": [1]}", "{\"name\": \"b\", \"scores\": [2, 3]}"}) {
        code = DecodeRecord(RecordFormat::Ndjson, bytes.data(), bytes.size(), {}, *message, inputError);
        EXPECT_EQ(code, 0) << inputError.ToStr();
        ExecutionResult result;
        code = bound.Execute(*message, result);
        EXPECT_EQ(code, 0) << result.error.message;
        changed.push_back(message->ShortDebugString());
    }
    EXPECT_EQ(changed, (std::vector<std::string>{"name: \"a\" scores: 1 scores: 7",
                                                 "name: \"b\" scores: 2 scores: 7 scores: 3"}));
}

TEST(Embed, AConditionChoosesAmongRecords) {
    Schema schema;
    InputError inputError;
    ASSERT_EQ(schema.ImportProto(kSchema, {}, inputError), 0) << inputError.ToStr();
    const google::protobuf::Descriptor* type = schema.FindType("demo.Player", inputError);
    StatementError error;
    int code = 0;
    RecordCondition condition;
    code = RecordCondition::Compile("level > 3 AND size(items) = 0", type, {}, condition, error);
    EXPECT_EQ(code, 0) << error.message;
    std::unique_ptr<google::protobuf::Message> message = schema.NewRecord(type);
    for (const bool isHigh : {false, true}) {
        const std::string bytes = isHigh ? "{\"name\": \"a\", \"level\": 4}" : "{\"name\": \"a\", \"level\": 3}";
        ASSERT_EQ(DecodeRecord(RecordFormat::Json, bytes.data(), bytes.size(), {}, *message, inputError), 0);
        bool holds = false;
        code = condition.Holds(*message, holds, error);
        EXPECT_EQ(code, 0) << error.message;
        EXPECT_EQ(holds, isHigh);
    }
}

TEST(Embed, ARecordMayHaveALog) {
    demo::Player player;
    ProtobufRecord record;
    record.m_pMessage = &player;
    std::string reason;
    std::unique_ptr<OstraneLog::LogChannel> log = OstraneLog::LogChannel::ToStderr(reason);
    if (log != nullptr) {
        log->SetBounds(LOG_PRIORITY_FATAL, LOG_PRIORITY_ERROR);  // errors and more severe
        record.m_pLog = log->Category();
    }
    EXPECT_NE(record.m_pLog, nullptr) << reason;
    StatementPlan plan;
    StatementError error;
    ASSERT_EQ(StatementPlan::Compile("PUSH scores = 7", demo::Player::descriptor(), {}, plan, error), 0);
    ExecutionResult result;
    EXPECT_EQ(plan.Execute(record, {}, result), 0);
    EXPECT_EQ(player.ShortDebugString(), "scores: 7");
}

// The lines of the file without indentation, one after the other.
std::string Unindented(std::istream& in) {
    std::string text = "\n";
    for (std::string line; std::getline(in, line);) {
        text += line.substr(std::min(line.find_first_not_of(' '), line.size())) + "\n";
    }
    return text;
}

TEST(Embed, IsAHostInThirtyLinesOfCode) {
    std::ifstream in(OSTRANE_EXAMPLES "/embed.cpp");
    ASSERT_TRUE(in);
    int lines = 0;
    for (std::string line; std::getline(in, line);) {
        const size_t start = line.find_first_not_of(' ');
        const bool isCode = start != std::string::npos && line.compare(start, 2, "//") != 0 &&
                            line.compare(start, 8, "#include") != 0 && line.find("\"usage: ") == std::string::npos;
        lines += isCode ? 1 : 0;
    }
    EXPECT_EQ(lines, 30);
}

TEST(Embed, TheManualShowsWhatIsCompiled) {
    std::string sources;
    for (const char* path : {OSTRANE_EXAMPLES "/embed.cpp", OSTRANE_EXAMPLES "/../tests/examples/embed_test.cpp"}) {
        std::ifstream in(path);
        ASSERT_TRUE(in) << path;
        sources += Unindented(in);
    }
    std::ifstream manual(OSTRANE_EXAMPLES "/../docs/embedding.md");
    int excerpts = 0;
    for (std::string line; std::getline(manual, line);) {
        if (line != "```cpp") {
            continue;
        }
        std::stringstream excerpt;
        while (std::getline(manual, line) && line != "```") {
            excerpt << line << "\n";
        }
        const std::string text = Unindented(excerpt);
        EXPECT_GT(text.size(), 20U);
        EXPECT_NE(sources.find(text), std::string::npos) << text;
        ++excerpts;
    }
    EXPECT_EQ(excerpts, 12);
}

}  // namespace
