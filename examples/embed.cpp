// What a host does to change a record of a schema that it has never seen, in the order in which it does it:
//
//   embed player.proto demo.Player player.json "PUSH scores[1] = ?" 7
//
// The changed record goes to stdout, a line for each statement to stderr.
#include <google/protobuf/message.h>
#include <ostrane/record/codec.h>
#include <ostrane/record/record_file.h>
#include <ostrane/record/schema.h>
#include <ostrane/record/statement_plan.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

using namespace OstraneRecord;

// Every call returns 0 or a negative code, and leaves its reason in an object that knows where; by reference, so
// that it is read when the call has filled it.
template <typename... Why>
static void Need(int code, const Why&... why) {
    if (code != 0) {
        std::cerr << ShowError(why...) << "\n";
        std::exit(1);
    }
}

int main(int argc, char** argv) {
    if (argc < 5) {
        std::cerr << "usage: embed SCHEMA.proto TYPE RECORD STATEMENTS [PARAMETER...]\n";
        return 1;
    }
    // [schema] Destroyed last: it owns the types and the factory that the record lives by.
    Schema schema;
    InputError inputError;
    Need(schema.ImportProto(argv[1], {}, inputError), inputError);

    // [record] Of any type of the schema; the file's ending tells its format.
    std::unique_ptr<google::protobuf::Message> message;
    Need(LoadRecordFile(argv[3], schema, argv[2], {}, message, inputError), inputError);

    // [compile] Once for the type.
    StatementPlan plan;
    StatementError error;
    Need(StatementPlan::Compile(argv[4], message->GetDescriptor(), {}, plan, error), error, argv[4]);

    // [bind, execute] For one record in one call. On failure the record is as it was.
    StatementParameters parameters;
    Need(StatementParameters::FromJson({argv + 5, argv + argc}, parameters, inputError), inputError);
    ExecutionResult result;
    const int code = plan.Execute(*message, parameters, result);
    std::cerr << ReportLines(0, result);
    Need(code, result.error, argv[4]);

    // [write]
    std::string bytes;
    Need(EncodeRecord(RecordFormat::Json, *message, {}, bytes, inputError), inputError);
    return std::cout << bytes << std::flush ? 0 : 1;
}
