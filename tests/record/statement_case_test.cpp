// Runs every case of cases/*.case.
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

#include "case_file.h"
#include "common/protobuf_record.h"
#include "record/schema.h"
#include "record/statement_plan.h"
#include "support/captured_log.h"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
using namespace OstraneRecord;

// The schemas of the cases, each loaded once.
const Schema* SchemaOf(const std::string& file) {
    static std::map<std::string, std::unique_ptr<Schema>> schemas;
    std::unique_ptr<Schema>& schema = schemas[file];
    if (schema == nullptr) {
        schema = std::make_unique<Schema>();
        InputError error;
        const std::vector<std::string> roots = {OSTRANE_EXAMPLES, OSTRANE_TESTDATA};
        if (schema->ImportProto(file, roots, error) != 0) {
            ADD_FAILURE() << error.ToStr();
        }
    }
    return schema.get();
}

std::string Show(const Message& message) {
    std::string text;
    TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    printer.SetUseUtf8StringEscaping(true);
    printer.PrintToString(message, &text);
    return text;
}

void Parse(const std::string& text, Message& message) {
    TextFormat::Parser parser;
    parser.AllowPartialMessage(true);
    ASSERT_TRUE(parser.ParseFromString(text, &message)) << text;
}

std::string ShowResult(const StatementResult& result) {
    std::ostringstream shown;
    shown << "matched " << result.matched << ", changed " << result.changed << ", positions [";
    for (size_t i = 0; i < result.positions.size(); ++i) {
        shown << (i == 0 ? "" : ", ") << result.positions[i];
    }
    shown << "], sizes " << result.sizeBefore << " -> " << result.sizeAfter;
    if (result.hasElements) {
        shown << ", elements [";
        for (size_t i = 0; i < result.elements.size(); ++i) {
            shown << (i == 0 ? "" : ", ") << result.elements[i];
        }
        shown << "]";
    }
    shown << (result.unknownFields ? ", unknown fields" : "") << (result.undone ? ", undone" : "");
    return shown.str();
}

StatementParameters ParametersOf(const StatementCase& test) {
    StatementParameters parameters;
    for (const auto& written : test.parameters) {
        ParameterValue value;
        std::string message;
        EXPECT_EQ(ParameterValue::FromJson(written.second, value, message), 0) << message;
        if (std::isdigit(static_cast<unsigned char>(written.first.front())) != 0) {
            parameters.positional.resize(std::max<size_t>(parameters.positional.size(), std::stoul(written.first)));
            parameters.positional[std::stoul(written.first) - 1] = value;
        } else {
            parameters.named[written.first] = value;
        }
    }
    return parameters;
}

StatementOptions OptionsOf(const StatementCase& test) {
    StatementOptions options;
    for (const std::string& option : test.options) {
        options.strict = options.strict || option == "strict";
        options.partial = options.partial || option == "partial";
        options.camelNames = options.camelNames || option == "camel";
    }
    return options;
}

// The case as it came out, in the words of its file.
std::string ShowOutcome(const ExecutionResult& result, const std::string& shownError, const std::string& before,
                        const std::string& after) {
    std::string outcome;
    for (const StatementResult& statement : result.statements) {
        if (statement.code == 0) {
            outcome += "gives " + ShowResult(statement) + "\n";
        }
    }
    if (!shownError.empty()) {
        outcome += shownError + "\n";
    }
    if (!result.error.field.empty()) {
        outcome += "field " + result.error.field + "\n";
    }
    return outcome + (before == after ? "" : "after " + after + "\n");
}

class StatementCases : public testing::TestWithParam<StatementCase> {};

TEST_P(StatementCases, GivesWhatItSays) {
    const StatementCase& test = GetParam();
    ASSERT_FALSE(test.run.empty()) << test.error;
    const Schema* schema = SchemaOf(test.schema);
    InputError inputError;
    const google::protobuf::Descriptor* type = schema->FindType(test.type, inputError);
    ASSERT_NE(type, nullptr) << inputError.ToStr();
    const std::unique_ptr<Message> message = schema->NewRecord(type);
    const std::unique_ptr<Message> expected = schema->NewRecord(type);
    Parse(test.before, *message);
    Parse(test.hasAfter ? test.after : test.before, *expected);
    for (const auto& unknown : test.unknown) {
        for (Message* each : {message.get(), expected.get()}) {
            each->GetReflection()->MutableUnknownFields(each)->AddVarint(unknown.first, unknown.second);
        }
    }
    const std::string before = Show(*message);

    StatementPlan plan;
    ExecutionResult result;
    CapturedLog log;
    ProtobufRecord record;
    record.m_pMessage = message.get();
    record.m_pLog = log.Category();
    result.code = StatementPlan::Compile(test.run, type, OptionsOf(test), plan, result.error);
    if (result.code == 0) {
        plan.Execute(record, ParametersOf(test), result);
    }
    std::string shownError = result.code == 0 ? "" : ShowError(result.error, test.run);
    while (!shownError.empty() && shownError.back() == '\n') {
        shownError.pop_back();
    }
    const std::string outcome = ShowOutcome(result, shownError, before, Show(*message));

    // For writing new cases: each as it came out.
    if (std::getenv("OSTRANE_SHOW_OUTCOMES") != nullptr) {
        std::cout << "outcome of " << test.file << ": " << test.name << "\n" << outcome << "end of outcome\n";
    }

    EXPECT_EQ(shownError, test.error.empty() ? "" : "error " + test.error) << "outcome:\n" << outcome;
    EXPECT_EQ(Show(*message), Show(*expected)) << "outcome:\n" << outcome;
    if (!test.field.empty()) {
        EXPECT_EQ(result.error.field, test.field);
    }
    for (size_t i = 0; i < test.gives.size(); ++i) {
        ASSERT_LT(i, result.statements.size()) << "outcome:\n" << outcome;
        EXPECT_EQ(ShowResult(result.statements[i]), test.gives[i]) << "outcome:\n" << outcome;
    }
    // What reaches the operations has been checked: none of them has a reason to complain.
    for (const std::string& line : log.Lines()) {
        EXPECT_NE(line.compare(0, 5, "ERROR"), 0) << line;
    }
}

std::string NameOfCase(const testing::TestParamInfo<StatementCase>& info) {
    std::string name = info.param.file + "_";
    for (const char c : info.param.name) {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    }
    return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Files, StatementCases, testing::ValuesIn(ReadCases(OSTRANE_CASES)), NameOfCase);
// The manual shows nothing that is not so.
INSTANTIATE_TEST_SUITE_P(Manual, StatementCases, testing::ValuesIn(ReadCases(OSTRANE_MANUAL)), NameOfCase);

}  // namespace
