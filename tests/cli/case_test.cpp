// Every statement case goes through the built program too, and comes out as through the library: the record,
// the report, the error that is shown, and the exit status.
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/program.h"
#include "record/case_file.h"
#include "record/schema.h"
#include "record/statement_plan.h"
#include "support/temp_folder.h"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
using namespace OstraneRecord;

// The schemas of the cases, each loaded once.
const Schema& SchemaOf(const std::string& file) {
    static std::map<std::string, std::unique_ptr<Schema>> schemas;
    std::unique_ptr<Schema>& schema = schemas[file];
    if (schema == nullptr) {
        schema = std::make_unique<Schema>();
        InputError error;
        EXPECT_EQ(schema->ImportProto(file, {OSTRANE_EXAMPLES, OSTRANE_TESTDATA}, error), 0) << error.ToStr();
    }
    return *schema;
}

// A record of the case's type with this text and the case's unknown fields.
std::unique_ptr<Message> MakeRecord(const StatementCase& test, const std::string& text) {
    const Schema& schema = SchemaOf(test.schema);
    InputError error;
    const google::protobuf::Descriptor* const type = schema.FindType(test.type, error);
    std::unique_ptr<Message> message = type == nullptr ? nullptr : schema.NewRecord(type);
    if (message != nullptr) {
        TextFormat::Parser parser;
        parser.AllowPartialMessage(true);
        EXPECT_TRUE(parser.ParseFromString(text, message.get())) << text;
        for (const auto& [number, value] : test.unknown) {
            message->GetReflection()->MutableUnknownFields(message.get())->AddVarint(number, value);
        }
    }
    return message;
}

// What the library makes of a case, in the forms in which the program shows it.
struct Expected {
    int status = 0;
    std::string error;   // on stderr
    std::string report;  // the file
    std::vector<std::string> elements;
};

StatementParameters ParametersOf(const StatementCase& test) {
    StatementParameters parameters;
    for (const auto& [name, json] : test.parameters) {
        ParameterValue value;
        std::string reason;
        EXPECT_EQ(ParameterValue::FromJson(json, value, reason), 0) << reason;
        if (std::isdigit(static_cast<unsigned char>(name.front())) != 0) {
            const size_t number = std::stoul(name);
            parameters.positional.resize(std::max(parameters.positional.size(), number));
            parameters.positional[number - 1] = value;
        } else {
            parameters.named[name] = value;
        }
    }
    return parameters;
}

bool HasOption(const StatementCase& test, const char* option) {
    return std::find(test.options.begin(), test.options.end(), option) != test.options.end();
}

Expected RunThroughLibrary(const StatementCase& test, Message& message) {
    StatementOptions options;
    options.strict = HasOption(test, "strict");
    options.partial = HasOption(test, "partial");
    options.camelNames = HasOption(test, "camel");
    Expected expected;
    StatementPlan plan;
    BoundPlan bound;
    StatementError error;
    if (StatementPlan::Compile(test.run, message.GetDescriptor(), options, plan, error) != 0 ||
        plan.Bind(ParametersOf(test), bound, error) != 0) {
        expected.status = 1;
        expected.error = ShowError(error, test.run) + "\n";
        expected.report = ReportLine(0, error, test.run) + "\n";
        return expected;
    }
    ExecutionResult result;
    if (bound.Execute(message, result) != 0) {
        expected.status = 1;
        expected.error = ShowError(result.error, test.run) + "\n";
    }
    expected.report = ReportLines(0, result);
    for (const StatementResult& statement : result.statements) {
        expected.elements.insert(expected.elements.end(), statement.elements.begin(), statement.elements.end());
    }
    return expected;
}

std::vector<std::string> CommandLine(const StatementCase& test, const char* command, const TempFolder& folder) {
    std::vector<std::string> arguments = {command,          "-I",          OSTRANE_EXAMPLES, "-I",
                                          OSTRANE_TESTDATA, "--proto",     test.schema,      "--type",
                                          test.type,        "--in-format", "binary"};
    for (const std::string& option : test.options) {
        arguments.push_back("--" + (option == "camel" ? std::string("json-names") : option));
        if (option == "camel") {
            arguments.push_back("camel");
        }
    }
    for (const auto& [name, json] : test.parameters) {
        arguments.insert(arguments.end(), {"--param", name + "=" + json});
    }
    arguments.insert(arguments.end(), {"--report", folder.At("report"), test.run});
    return arguments;
}

void CheckCase(const StatementCase& test) {
    ASSERT_FALSE(test.run.empty()) << test.error;
    const std::unique_ptr<Message> message = MakeRecord(test, test.before);
    ASSERT_NE(message, nullptr);
    Surroundings surroundings;
    surroundings.input = message->SerializePartialAsString();
    const bool isRefused = !message->IsInitialized() && !HasOption(test, "partial");
    const Expected expected = RunThroughLibrary(test, *message);

    TempFolder folder;
    const Outcome outcome = RunOstrane(CommandLine(test, "apply", folder), surroundings);
    if (isRefused && expected.report.find("\"matched\"") != std::string::npos) {
        // The program asks more of a record than the library does.
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        return;
    }
    EXPECT_EQ(outcome.status, expected.status) << outcome.err;
    EXPECT_EQ(outcome.err, expected.error);
    EXPECT_EQ(folder.Read("report"), expected.report);
    if (expected.status != 0) {
        EXPECT_EQ(outcome.out, "");
        return;
    }
    const std::unique_ptr<Message> written = MakeRecord(test, "");
    ASSERT_TRUE(written->ParsePartialFromString(outcome.out));
    const std::unique_ptr<Message> after = MakeRecord(test, test.hasAfter ? test.after : test.before);
    EXPECT_EQ(written->DebugString(), message->DebugString());
    EXPECT_EQ(written->DebugString(), after->DebugString());

    if (test.run.compare(0, 4, "GET ") == 0 && test.run.find(';') == std::string::npos) {
        std::string lines;
        for (const std::string& element : expected.elements) {
            lines += element + "\n";
        }
        EXPECT_EQ(RunOstrane(CommandLine(test, "get", folder), surroundings).out, lines);
    }
}

class CaseFiles : public testing::TestWithParam<std::string> {};

TEST_P(CaseFiles, GoThroughTheProgram) {
    const std::vector<StatementCase> cases = ReadCases(GetParam());
    ASSERT_FALSE(cases.empty());
    for (const StatementCase& test : cases) {
        SCOPED_TRACE(test.file + ": " + test.name);
        CheckCase(test);
    }
}

std::vector<std::string> Files() {
    std::vector<std::string> files = {OSTRANE_MANUAL};
    for (const auto& entry : std::filesystem::directory_iterator(OSTRANE_CASES)) {
        if (entry.path().extension() == ".case") {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string NameOfFile(const testing::TestParamInfo<std::string>& info) {
    return std::filesystem::path(info.param).stem().string();
}

INSTANTIATE_TEST_SUITE_P(All, CaseFiles, testing::ValuesIn(Files()), NameOfFile);

}  // namespace
