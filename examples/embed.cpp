// What a host does to change a record of a schema that it has never seen, in the order in which it does it:
//
//   embed player.proto demo.Player player.json "PUSH scores[1] = ?" 7
//
// The changed record goes to stdout, a line for each statement to stderr.
#include <google/protobuf/message.h>
#include <ostrane/common/protobuf_record.h>
#include <ostrane/record/codec.h>
#include <ostrane/record/file_bytes.h>
#include <ostrane/record/schema.h>
#include <ostrane/record/statement_plan.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

using namespace OstraneRecord;

[[noreturn]] static void Stop(const std::string& reason) {
    std::cerr << reason << "\n";
    std::exit(1);
}

// Every call returns 0 or a negative code, and leaves its reason in an object that knows where.
static void Need(int code, const InputError& error) {
    if (code != 0) {
        Stop(error.ToStr());
    }
}
static void Need(int code, const StatementError& error, const std::string& statements) {
    if (code != 0) {
        Stop(ShowError(error, statements));
    }
}

int main(int argc, char** argv) {
    if (argc < 5) {
        Stop("usage: embed SCHEMA.proto TYPE RECORD.json STATEMENTS [PARAMETER...]");
    }
    // [schema] Destroyed last: it owns the types and the factory that the record lives by.
    Schema schema;
    InputError inputError;
    int code = schema.ImportProto(argv[1], {}, inputError);
    Need(code, inputError);
    const google::protobuf::Descriptor* type = schema.FindType(argv[2], inputError);
    Need(type == nullptr ? inputError.code : 0, inputError);

    // [record]
    std::string bytes;
    code = ReadFileBytes(argv[3], bytes, inputError);
    Need(code, inputError);
    std::unique_ptr<google::protobuf::Message> message = schema.NewRecord(type);
    code = DecodeRecord(RecordFormat::Json, bytes.data(), bytes.size(), {}, *message, inputError);
    inputError.file = argv[3];
    Need(code, inputError);

    // [compile] Once for the type.
    StatementPlan plan;
    StatementError error;
    code = StatementPlan::Compile(argv[4], type, {}, plan, error);
    Need(code, error, argv[4]);

    // [bind] Once for the values, each of which is JSON here.
    StatementParameters parameters;
    for (int i = 5; i < argc; ++i) {
        std::string reason;
        code = ParameterValue::FromJson(argv[i], parameters.positional.emplace_back(), reason);
        if (code != 0) {
            Stop(std::string(argv[i]) + ": " + reason);
        }
    }
    BoundPlan bound;
    code = plan.Bind(parameters, bound, error);
    Need(code, error, argv[4]);

    // [execute] On any number of records; on failure the record is as it was.
    ProtobufRecord record;
    record.m_pMessage = message.get();
    ExecutionResult result;
    code = bound.Execute(record, result);
    for (const StatementResult& statement : result.statements) {
        std::cerr << ReportLine(0, statement) << "\n";
    }
    Need(code, result.error, plan.Text());

    // [write]
    code = EncodeRecord(RecordFormat::Json, *message, {}, bytes, inputError);
    Need(code, inputError);
    return std::cout << bytes << std::flush ? 0 : 1;
}
