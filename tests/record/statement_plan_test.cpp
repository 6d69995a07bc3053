// The interface around the statements: compiling, binding, results, reports.
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "player_record.h"
#include "support/temp_folder.h"

namespace {

using namespace OstraneErrCode;
using namespace OstraneRecord;

StatementPlan Compiled(const std::string& text) {
    StatementPlan plan;
    StatementError error;
    EXPECT_EQ(StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error), 0) << ShowError(error, text);
    return plan;
}

TEST(StatementPlan, OnePlanServesManyRecordsAndParameters) {
    const StatementPlan plan = Compiled("PUSH scores[1] = ?");
    for (int i = 0; i < 3; ++i) {
        StatementParameters parameters;
        parameters.positional.push_back(ParameterValue::MakeInt(i));
        PlayerRecord player("scores: [10, 20]");
        ExecutionResult result;
        EXPECT_EQ(plan.Execute(player.Record(), parameters, result), 0);
        EXPECT_EQ(player.Show(), "scores: 10 scores: " + std::to_string(i) + " scores: 20");
    }
}

TEST(StatementPlan, ABoundPlanOutlivesItsPlan) {
    BoundPlan bound;
    {
        const StatementPlan plan = Compiled("POP scores WHERE $ > 1");
        StatementError error;
        EXPECT_EQ(plan.Bind({}, bound, error), 0);
    }
    PlayerRecord player("scores: [1, 2]");
    ExecutionResult result;
    EXPECT_EQ(bound.Execute(player.Record(), result), 0);
    EXPECT_EQ(player.Show(), "scores: 1");
}

// Of any number of members that parameters name, one may be set.
TEST(StatementPlan, ParametersOfAOneofAreCountedWhenTheyAreBound) {
    const TempFolder folder;
    Schema schema;
    InputError inputError;
    const std::string file = folder.Write("t.proto",
                                          "syntax = 'proto3'; message Out { In in = 1; }"
                                          "message In { oneof c { int32 a = 1; int32 b = 2; int32 d = 3; } }");
    ASSERT_EQ(schema.ImportProto(file, {}, inputError), 0) << inputError.ToStr();
    StatementPlan plan;
    StatementError error;
    const google::protobuf::Descriptor* type = schema.FindType("Out", inputError);
    ASSERT_EQ(StatementPlan::Compile("SET in = {a: ?, b: ?, d: ?}", type, {}, plan, error), 0) << error.message;
    const struct {
        std::vector<std::string> values;
        std::string expected;
    } rows[] = {
        {{"null", "2", "null"}, "in { b: 2 }"},
        {{"null", "null", "3"}, "in { d: 3 }"},
        {{"null", "null", "null"}, "in { }"},
        {{"1", "null", "3"}, "'a' and 'd' cannot both be set: they are of the oneof In.c"},
        {{"null", "2", "3"}, "'b' and 'd' cannot both be set: they are of the oneof In.c"},
    };
    for (const auto& row : rows) {
        StatementParameters parameters;
        ASSERT_EQ(StatementParameters::FromJson(row.values, parameters, inputError), 0) << inputError.ToStr();
        const std::unique_ptr<google::protobuf::Message> record = schema.NewRecord(type);
        ExecutionResult result;
        const int code = plan.Execute(*record, parameters, result);
        EXPECT_EQ(code == 0 ? record->ShortDebugString() : result.error.message, row.expected);
    }
}

TEST(StatementPlan, AMessageAloneIsARecord) {
    const StatementPlan plan = Compiled("PUSH scores[?] = 7");
    StatementParameters parameters;
    parameters.positional.push_back(ParameterValue::MakeInt(1));
    PlayerRecord player("scores: [10, 20]");
    ExecutionResult result;
    EXPECT_EQ(plan.Execute(player.Message(), parameters, result), 0);
    EXPECT_EQ(player.Show(), "scores: 10 scores: 7 scores: 20");

    BoundPlan bound;
    StatementError error;
    ASSERT_EQ(plan.Bind(parameters, bound, error), 0);
    EXPECT_EQ(bound.Execute(player.Message(), result), 0);
    EXPECT_EQ(player.Show(), "scores: 10 scores: 7 scores: 7 scores: 20");
    EXPECT_EQ(bound.Execute(PlayerRecord().Message(), result), COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(plan.Execute(player.Message(), {}, result), COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(result.error.message, "parameter 1 has no value");
}

// What a PUSH of one known value writes is put together when it is bound, whatever type it has.
TEST(StatementPlan, ABoundPushServesManyRecordsOfDifferentSizes) {
    struct Row {
        const char* text;
        std::vector<int64_t> parameters;
        bool isAppend;
    };
    const std::vector<Row> rows = {
        {"PUSH scores[1] = 7", {}, false},   {"PUSH scores[?] = ?", {1, 7}, false}, {"PUSH scores[?] = 7", {-1}, true},
        {"PUSH scores[-1] = [7]", {}, true}, {"PUSH scores = ?", {7}, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        StatementParameters parameters;
        for (const int64_t value : row.parameters) {
            parameters.positional.push_back(ParameterValue::MakeInt(value));
        }
        BoundPlan bound;
        StatementError error;
        ASSERT_EQ(Compiled(row.text).Bind(parameters, bound, error), 0) << error.message;
        ExecutionResult result;
        PlayerRecord three("scores: [10, 20, 30]");
        EXPECT_EQ(bound.Execute(three.Record(), result), 0);
        EXPECT_EQ(three.Show(), row.isAppend ? "scores: 10 scores: 20 scores: 30 scores: 7"
                                             : "scores: 10 scores: 7 scores: 20 scores: 30");
        EXPECT_EQ(result.statements[0].positions, std::vector<int32_t>{row.isAppend ? 3 : 1});
        PlayerRecord none;
        EXPECT_EQ(bound.Execute(none.Record(), result), row.isAppend ? 0 : COMMON_ERR_INVALID_ARRAY_INDEX);
        EXPECT_EQ(none.Show(), row.isAppend ? "scores: 7" : PlayerRecord().Show());
    }
}

TEST(StatementPlan, ABoundPushOfAnyKindOutlivesPlanAndParameters) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"PUSH tags[0] = ?", "tags: \"some text longer than fifteen letters\" tags: \"t\""},
        {"PUSH keys[0] = ?", "tags: \"t\" keys: \"some text longer than fifteen letters\""},
        {"PUSH profile.languages = ?", "tags: \"t\" profile { languages: \"some text longer than fifteen letters\" }"},
    };
    for (const auto& row : cases) {
        BoundPlan bound;
        {
            StatementParameters parameters;
            parameters.positional.push_back(ParameterValue::MakeString("some text longer than fifteen letters"));
            StatementError error;
            ASSERT_EQ(Compiled(row.first).Bind(parameters, bound, error), 0) << row.first << ": " << error.message;
        }
        for (int i = 0; i < 2; ++i) {
            PlayerRecord player("tags: \"t\"");
            ExecutionResult result;
            EXPECT_EQ(bound.Execute(player.Record(), result), 0) << row.first;
            EXPECT_EQ(player.Show(), row.second);
        }
    }
}

// A host hands the same result to one execution after the other.
TEST(StatementPlan, AResultKeepsNothingOfTheRunBefore) {
    PlayerRecord player("scores: [1, 2, 3]");
    ExecutionResult used;
    EXPECT_EQ(Compiled("GET scores; POP scores[0]; SET scores[9] = 1; GET tags").Execute(player.Record(), {}, used),
              COMMON_ERR_INVALID_ARRAY_INDEX);
    ASSERT_EQ(used.statements.size(), 3U);
    EXPECT_TRUE(used.statements[1].undone);
    for (const char* text : {"SET level = 2; CLEAR level", "GET level", "SET scores[8] = 1", "GET scores; GET tags"}) {
        const StatementPlan plan = Compiled(text);
        ExecutionResult fresh;
        PlayerRecord same("scores: [1, 2, 3]");
        EXPECT_EQ(plan.Execute(same.Record(), {}, fresh), plan.Execute(player.Record(), {}, used)) << text;
        EXPECT_EQ(used.error.message, fresh.error.message) << text;
        ASSERT_EQ(used.statements.size(), fresh.statements.size()) << text;
        for (size_t i = 0; i < fresh.statements.size(); ++i) {
            EXPECT_EQ(ReportLine(0, used.statements[i]), ReportLine(0, fresh.statements[i])) << text;
        }
    }
}

TEST(StatementPlan, TellsWhatItWillDo) {
    const StatementPlan plan =
        Compiled("GET scores; PUSH scores = level + 1; POP items WHERE qty < 5; SET tags FROM series.string_values");
    ASSERT_EQ(plan.StatementCount(), 4U);
    EXPECT_TRUE(plan.HasElements(0));
    EXPECT_FALSE(plan.Changes(0));
    EXPECT_FALSE(plan.HasElements(1));
    EXPECT_TRUE(plan.Changes(1));
    const std::vector<std::string> lines = plan.Describe();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "read elements of demo.Player.scores (a repeated int32 field) at scores");
    EXPECT_EQ(lines[1],
              "insert into demo.Player.scores (a repeated int32 field) at scores, calculated first: level + 1");
    EXPECT_EQ(lines[2], "remove elements of demo.Player.items (a repeated field of demo.Item) at items where qty < 5");
    EXPECT_EQ(lines[3], "replace demo.Player.tags (a repeated string field) at tags from series.string_values");
}

TEST(StatementPlan, FailedCompilationLeavesThePlan) {
    StatementPlan plan = Compiled("GET scores");
    StatementError error;
    EXPECT_EQ(StatementPlan::Compile("GET scroes", PlayerRecord::Type(), {}, plan, error),
              COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(plan.Text(), "GET scores");
    EXPECT_EQ(error.statement, 1);
    EXPECT_EQ(error.offset, 4U);
    EXPECT_EQ(error.length, 6U);
    EXPECT_EQ(error.line, 1);
    EXPECT_EQ(error.column, 5);
    EXPECT_EQ(error.text, "scroes");
    EXPECT_EQ(error.hint, "did you mean 'scores'?");
}

TEST(StatementPlan, ColumnsCountCodePointsAndOffsetsBytes) {
    StatementPlan plan;
    StatementError error;
    EXPECT_NE(
        StatementPlan::Compile("PUSH tags = 'æøå';\n PUSH tags = ['é', 5]", PlayerRecord::Type(), {}, plan, error), 0);
    EXPECT_EQ(error.statement, 2);
    EXPECT_EQ(error.line, 2);
    EXPECT_EQ(error.column, 20);
    EXPECT_EQ(error.offset, 42U);
    EXPECT_EQ(error.text, "5");
}

TEST(StatementPlan, TheOffendingTextIsAWholeToken) {
    StatementPlan plan;
    StatementError error;
    EXPECT_NE(StatementPlan::Compile("POP items[*] WHERE qty = '5'", PlayerRecord::Type(), {}, plan, error), 0);
    EXPECT_EQ(error.text, "'5'");
    EXPECT_NE(StatementPlan::Compile("POP items[*] WHERE sku = -1.5", PlayerRecord::Type(), {}, plan, error), 0);
    EXPECT_EQ(error.text, "-1.5");
    EXPECT_NE(StatementPlan::Compile("POP items[*] WHERE sku[0] = 'a'", PlayerRecord::Type(), {}, plan, error), 0);
    EXPECT_EQ(error.text, "sku");
    PlayerRecord player("scores: 1");
    ProtobufRecord record;
    record.m_pMessage = &player.Message();
    ExecutionResult result;
    EXPECT_NE(Compiled("POP scores[*] WHERE 1 / ($ - 1) = 2").Execute(record, {}, result), 0);
    EXPECT_EQ(result.error.text, "/");
}

TEST(StatementPlan, ARecordOfAnotherTypeIsRefused) {
    const StatementPlan plan = Compiled("GET scores");
    PlayerRecord player("hand { sku: \"a\" qty: 1 }");
    ProtobufRecord record;
    record.m_pMessage = player.Message().GetReflection()->MutableMessage(&player.Message(), player.Field("hand"));
    ExecutionResult result;
    EXPECT_EQ(plan.Execute(record, {}, result), COMMON_ERR_INVALID_EXPR_TYPE);
    record.m_pMessage = nullptr;
    EXPECT_EQ(plan.Execute(record, {}, result), GEN_ERR_ERR);
    StatementPlan unmade;
    EXPECT_EQ(unmade.Execute(player.Record(), {}, result), GEN_ERR_ERR);
    StatementError error;
    EXPECT_EQ(StatementPlan::Compile("GET scores", nullptr, {}, unmade, error), GEN_ERR_ERR);
}

// A generated class has one type; the same type may also come as a dynamic message.
TEST(StatementPlan, OfAGeneratedTypeEveryClassOfItIsARecordAndNoOtherIs) {
    StatementPlan plan;
    StatementError error;
    const google::protobuf::Descriptor* type = google::protobuf::FieldDescriptorProto::descriptor();
    ASSERT_EQ(StatementPlan::Compile("SET number = 7", type, {}, plan, error), 0);
    ExecutionResult result;
    google::protobuf::FieldDescriptorProto generated;
    EXPECT_EQ(plan.Execute(generated, {}, result), 0);
    EXPECT_EQ(generated.number(), 7);
    google::protobuf::DynamicMessageFactory factory;
    const std::unique_ptr<google::protobuf::Message> dynamic(factory.GetPrototype(type)->New());
    EXPECT_EQ(plan.Execute(*dynamic, {}, result), 0);
    EXPECT_EQ(dynamic->ShortDebugString(), "number: 7");
    google::protobuf::EnumValueDescriptorProto other;
    EXPECT_EQ(plan.Execute(other, {}, result), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(result.error.message, "the record is of another type than the statements were compiled for");
    EXPECT_TRUE(result.statements.empty()) << "nothing of the run before";
    EXPECT_EQ(other.ByteSizeLong(), 0U);
}

TEST(StatementPlan, SaysNothingOfStatementsThatAreNotThere) {
    const StatementPlan plan = Compiled("GET scores; PUSH scores = 1");
    EXPECT_TRUE(plan.HasElements(0));
    EXPECT_TRUE(plan.Changes(1));
    EXPECT_FALSE(plan.HasElements(2));
    EXPECT_FALSE(plan.Changes(2));
    const StatementPlan unmade;
    EXPECT_FALSE(unmade.HasElements(0));
    EXPECT_FALSE(unmade.Changes(0));
    BoundPlan unbound;
    ExecutionResult result;
    PlayerRecord player;
    EXPECT_EQ(unbound.Execute(player.Record(), result), GEN_ERR_ERR);
}

TEST(StatementPlan, AListOnAnArenaIsUndoneToo) {
    google::protobuf::Arena arena;
    std::unique_ptr<google::protobuf::Message> owned = PlayerRecord::NewPlayer();
    google::protobuf::Message* message = owned->New(&arena);
    PlayerRecord source("scores: [1, 2] items { sku: \"a\" qty: 1 }");
    message->CopyFrom(source.Message());
    message->GetReflection()->MutableUnknownFields(message)->AddVarint(77, 5);
    const std::string before = message->ShortDebugString();
    ProtobufRecord record;
    record.m_pMessage = message;
    ExecutionResult result;
    EXPECT_EQ(Compiled("CLEAR items; POP scores[0]; PUSH scores[9] = 1").Execute(record, {}, result),
              COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(message->ShortDebugString(), before);
    EXPECT_TRUE(result.statements.at(0).undone);
    EXPECT_TRUE(result.statements.at(1).undone);
    EXPECT_FALSE(result.statements.at(2).undone);
    EXPECT_EQ(result.Matched(), 2);
    EXPECT_EQ(result.Changed(), 0);
}

TEST(StatementReport, OneObjectAStatement) {
    PlayerRecord player("scores: [1, 2, 3]");
    ASSERT_EQ(player.Run("TAKE scores[1..]; PUSH tags = 'a\"b'"), 0);
    EXPECT_EQ(ReportLine(0, player.Result().statements.at(0)),
              R"({"record":0,"statement":1,"text":"TAKE scores[1..]","code":0,"codeName":"OK",)"
              R"("field":"demo.Player.scores","matched":2,"changed":2,"positions":[1,2],"sizeBefore":3,"sizeAfter":1,)"
              R"("elements":[2,3]})");
    EXPECT_EQ(ReportLine(7, player.Result().statements.at(1)),
              R"({"record":7,"statement":2,"text":"PUSH tags = 'a\"b'","code":0,"codeName":"OK",)"
              R"("field":"demo.Player.tags","matched":1,"changed":1,"positions":[0],"sizeBefore":0,"sizeAfter":1})");
}

TEST(StatementReport, AFailureAndWhatItUndid) {
    PlayerRecord player("scores: [1]");
    ASSERT_EQ(player.Run("CLEAR scores; SET scores[3] = 1; CLEAR tags"), COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(ReportLines(4, player.Result()), ReportLine(4, player.Result().statements.at(0)) + "\n" +
                                                   ReportLine(4, player.Result().statements.at(1)) + "\n");
    const auto first = nlohmann::json::parse(ReportLine(0, player.Result().statements.at(0)));
    EXPECT_EQ(first.at("undone"), true);
    EXPECT_EQ(first.at("changed"), 1);
    EXPECT_EQ(ReportLine(0, player.Result().statements.at(1)),
              R"({"record":0,"statement":2,"text":"SET scores[3] = 1","code":-4633,)"
              R"("codeName":"COMMON_ERR_INVALID_ARRAY_INDEX","field":"demo.Player.scores",)"
              R"("error":{"message":"index 3 is beyond 0 elements of demo.Player.scores",)"
              R"("hint":"it is empty: PUSH inserts elements","text":"3","offset":25,"line":1,"column":26}})");
}

TEST(StatementReport, WhatDoesNotCompileHasItsLineAlone) {
    StatementPlan plan;
    StatementError error;
    const std::string text = "GET scroes";
    ASSERT_NE(StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error), 0);
    const auto line = nlohmann::json::parse(ReportLine(0, error, text));
    EXPECT_EQ(line.at("statement"), 1);
    EXPECT_EQ(line.at("code"), COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(line.at("error").at("hint"), "did you mean 'scores'?");
}

TEST(StatementReport, ASyntaxErrorNamesItsStatement) {
    const struct {
        const char* text;
        int statement;
    } rows[] = {
        {"", 1},
        {";", 1},
        {"PUSH scores[1 = 7", 1},
        {"CLEAR scores extra", 1},
        {"CLEAR scores; CLEAR tags; PUSH scores[1 = 7; GET tags", 3},
        {"CLEAR scores; CLEAR tags extra; GET tags", 2},
        {"CLEAR scores; bogus", 2},
        {"CLEAR scores;; GET tags", 2},
        {"CLEAR scores; GET tags WHERE $ = ';' OR", 2},
        {"CLEAR scores; -- a; b\n GET tags WHERE $ = 'open", 2},
    };
    for (const auto& row : rows) {
        StatementPlan plan;
        StatementError error;
        EXPECT_EQ(StatementPlan::Compile(row.text, PlayerRecord::Type(), {}, plan, error),
                  COMMON_ERR_INVALID_EXPR_SYNTAX);
        EXPECT_EQ(error.statement, row.statement) << row.text;
        EXPECT_EQ(nlohmann::json::parse(ReportLine(0, error, row.text)).at("statement"), row.statement) << row.text;
    }
}

TEST(ParameterValue, ReadsJsonExactly) {
    ParameterValue value;
    std::string message;
    EXPECT_EQ(ParameterValue::FromJson("18446744073709551615", value, message), 0);
    EXPECT_EQ(value.kind, ParameterValue::Kind::UInt);
    EXPECT_EQ(value.bits, std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(ParameterValue::FromJson("-9223372036854775808", value, message), 0);
    EXPECT_EQ(value.kind, ParameterValue::Kind::Int);
    EXPECT_EQ(static_cast<int64_t>(value.bits), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(ParameterValue::FromJson("[true, null, [1.5, \"a\"]]", value, message), 0);
    ASSERT_EQ(value.items.size(), 3U);
    EXPECT_TRUE(value.items[0].boolean);
    EXPECT_EQ(value.items[1].kind, ParameterValue::Kind::Null);
    EXPECT_EQ(value.items[2].items.at(0).number, 1.5);
    EXPECT_EQ(value.items[2].items.at(1).text, "a");
}

TEST(ParameterValue, RefusesWhatItCannotHold) {
    ParameterValue value = ParameterValue::MakeInt(4);
    std::string message;
    EXPECT_EQ(ParameterValue::FromJson("18446744073709551616", value, message), GEN_ERR_ERR);
    EXPECT_EQ(message, "the integer 18446744073709551616 is beyond 64 bits");
    EXPECT_EQ(ParameterValue::FromJson("{\"a\": 1}", value, message), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(ParameterValue::FromJson("1e400", value, message), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(message, "no number is as large as 1e400");
    EXPECT_EQ(ParameterValue::FromJson("[1,", value, message), GEN_ERR_ERR);
    EXPECT_EQ(ParameterValue::FromJson("", value, message), GEN_ERR_ERR);
    EXPECT_EQ(ParameterValue::FromJson(std::string(100000, '['), value, message), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(value.bits, 4U) << "a refused text leaves the value";
}

TEST(StatementParameters, ReadJsonValuesInTheirOrder) {
    StatementParameters parameters;
    parameters.named["n"] = ParameterValue::MakeInt(4);
    InputError error;
    EXPECT_EQ(StatementParameters::FromJson({"7", "\"a\""}, parameters, error), 0);
    ASSERT_EQ(parameters.positional.size(), 2U);
    EXPECT_EQ(parameters.positional[0].bits, 7U);
    EXPECT_EQ(parameters.positional[1].text, "a");
    EXPECT_EQ(parameters.named.size(), 1U) << "they stay as they are";
    EXPECT_EQ(StatementParameters::FromJson({}, parameters, error), 0);
    EXPECT_EQ(parameters.positional.size(), 0U) << "no value is left of the former ones";
}

TEST(StatementParameters, NameTheValueThatCannotBeRead) {
    StatementParameters parameters;
    parameters.positional.push_back(ParameterValue::MakeInt(4));
    InputError error;
    EXPECT_EQ(StatementParameters::FromJson({"7", "seven"}, parameters, error), GEN_ERR_ERR);
    EXPECT_EQ(ShowError(error),
              "error -256 GEN_ERR_ERR: parameter 2: not JSON at byte 1; a text stands in double quotes");
    EXPECT_EQ(StatementParameters::FromJson({"{}"}, parameters, error), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(ShowError(error),
              "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: parameter 1: a parameter cannot be a JSON object");
    ASSERT_EQ(parameters.positional.size(), 1U);
    EXPECT_EQ(parameters.positional[0].bits, 4U) << "refused texts leave the values";
}

TEST(RecordCondition, HoldsOnlyWhereItIsTrue) {
    RecordCondition condition;
    StatementError error;
    StatementParameters parameters;
    parameters.named["min"] = ParameterValue::MakeInt(3);
    ASSERT_EQ(RecordCondition::Compile("hits > :min AND size(scores) = 0", PlayerRecord::Type(), parameters, condition,
                                       error),
              0);
    for (const auto& expected : std::vector<std::pair<std::string, bool>>{
             {"hits: 4", true}, {"hits: 3", false}, {"", false}, {"hits: 4 scores: 1", false}}) {
        PlayerRecord player(expected.first);
        bool holds = !expected.second;
        EXPECT_EQ(condition.Holds(player.Record(), holds, error), 0);
        EXPECT_EQ(holds, expected.second) << expected.first;
        holds = !expected.second;
        EXPECT_EQ(condition.Holds(*player.Record().m_pMessage, holds, error), 0);
        EXPECT_EQ(holds, expected.second) << expected.first;
    }
}

TEST(RecordCondition, TellsWhatIsWrong) {
    RecordCondition condition;
    StatementError error;
    EXPECT_EQ(RecordCondition::Compile("hits >", PlayerRecord::Type(), {}, condition, error),
              COMMON_ERR_INVALID_EXPR_SYNTAX);
    EXPECT_EQ(RecordCondition::Compile("hist > 1", PlayerRecord::Type(), {}, condition, error),
              COMMON_ERR_INVALID_FIELD_NAME);
    EXPECT_EQ(error.column, 1);
    EXPECT_EQ(RecordCondition::Compile("hits > :x", PlayerRecord::Type(), {}, condition, error),
              COMMON_ERR_INVALID_FIELD_NAME);
    ASSERT_EQ(RecordCondition::Compile("1 / hits = 1", PlayerRecord::Type(), {}, condition, error), 0);
    PlayerRecord player("hits: 0");
    bool holds = false;
    EXPECT_EQ(condition.Holds(player.Record(), holds, error), COMMON_ERR_INVALID_EXPR_TYPE);
    ProtobufRecord empty;
    EXPECT_EQ(condition.Holds(empty, holds, error), GEN_ERR_ERR);
    EXPECT_EQ(error.message, "there is no message");
    EXPECT_EQ(RecordCondition().Holds(player.Record(), holds, error), GEN_ERR_ERR);
    EXPECT_EQ(error.message, "there is no condition");
    const google::protobuf::FileDescriptorProto other;
    EXPECT_EQ(condition.Holds(other, holds, error), COMMON_ERR_INVALID_EXPR_TYPE);
    EXPECT_EQ(error.message, "the record is of another type than the condition was compiled for");
}

}  // namespace
