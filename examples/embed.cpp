// What a host does to change a record of a schema that it has never seen, in the order in which it does it:
//
//   embed player.proto demo.Player player.json "PUSH scores[1] = ?" 7
//
// The changed record goes to stdout, a line for each statement to stderr.
#include <google/protobuf/message.h>
#include <ostrane/common/protobuf_record.h>
#include <ostrane/record/codec.h>
#include <ostrane/record/schema.h>
#include <ostrane/record/statement_plan.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

using namespace OstraneRecord;

static int Fail(const std::string& reason) {
    std::cerr << reason << "\n";
    return 1;
}

int main(int argc, char** argv) {
    if (argc < 5) {
        return Fail("usage: embed SCHEMA.proto TYPE RECORD.json STATEMENTS [PARAMETER...]");
    }
    // [schema] Destroyed last: it owns the types and the factory that the record lives by.
    Schema schema;
    InputError inputError;
    if (schema.ImportProto(argv[1], {}, inputError) != 0) {
        return Fail(inputError.ToStr());
    }
    const google::protobuf::Descriptor* type = schema.FindType(argv[2], inputError);
    if (type == nullptr) {
        return Fail(inputError.ToStr());
    }

    // [record]
    std::ifstream file(argv[3], std::ios::binary);
    std::ostringstream text;
    if (!(text << file.rdbuf())) {
        return Fail(std::string(argv[3]) + ": cannot be read, or is empty");
    }
    const std::string json = text.str();
    std::unique_ptr<google::protobuf::Message> message = schema.NewRecord(type);
    if (DecodeRecord(RecordFormat::Json, json.data(), json.size(), {}, *message, inputError) != 0) {
        return Fail(std::string(argv[3]) + ":" + inputError.ToStr());
    }

    // [compile] Once for the type.
    StatementPlan plan;
    StatementError error;
    if (StatementPlan::Compile(argv[4], type, {}, plan, error) != 0) {
        return Fail(ShowError(error, argv[4]));
    }

    // [bind] Once for the values, each of which is JSON here.
    StatementParameters parameters;
    for (int i = 5; i < argc; ++i) {
        std::string reason;
        parameters.positional.emplace_back();
        if (ParameterValue::FromJson(argv[i], parameters.positional.back(), reason) != 0) {
            return Fail(std::string(argv[i]) + ": " + reason);
        }
    }
    BoundPlan bound;
    if (plan.Bind(parameters, bound, error) != 0) {
        return Fail(ShowError(error, argv[4]));
    }

    // [execute] On any number of records; on failure the record is as it was.
    ProtobufRecord record;
    record.m_pMessage = message.get();
    ExecutionResult result;
    const int code = bound.Execute(record, result);
    for (const StatementResult& statement : result.statements) {
        std::cerr << ReportLine(0, statement) << "\n";
    }
    if (code != 0) {
        return Fail(ShowError(result.error, plan.Text()));
    }

    // [write]
    std::string bytes;
    if (EncodeRecord(RecordFormat::Json, *message, {}, bytes, inputError) != 0) {
        return Fail(inputError.ToStr());
    }
    std::cout << bytes;
    return std::cout.flush() ? 0 : 1;
}
