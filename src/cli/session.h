// What apply and get share: the schema, the compiled statements, the input and the log, set up in this order
// and each failure told to the user where it happens.
#ifndef OSTRANE_CLI_SESSION_H_
#define OSTRANE_CLI_SESSION_H_

#include <google/protobuf/message.h>

#include <map>
#include <memory>
#include <string>

#include "arguments.h"
#include "common/protobuf_record.h"
#include "log/log_category.h"
#include "record/record_reader.h"
#include "record/schema.h"
#include "record/statement_plan.h"

namespace OstraneCli {

// Each method returns an exit status and has said what is wrong when that is not EXIT_DONE.
class Session {
public:
    explicit Session(const Arguments& arguments);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Everything before the first record.
    int Start();
    // Why the statements, the condition or the parameters do not fit; its code is 0 when they do.
    const OstraneRecord::StatementError& StartError() const { return m_startError; }

    // Goes to the next record. `hasRecord` is false at the end.
    int Next(bool& hasRecord);
    // Reads the current record into Message().
    int Decode();
    // Whether the condition on records is true of the current one, or there is none.
    int IsWanted(bool& isWanted);
    // Runs the statements on the current record; what went wrong is told.
    int Execute(OstraneRecord::ExecutionResult& result);

    const std::string& Statements() const { return m_statements; }
    const OstraneRecord::StatementPlan& Plan() const { return m_plan; }
    const OstraneRecord::RecordReader& Reader() const { return *m_pReader; }
    const google::protobuf::Message& Message() const { return *m_pMessage; }
    OstraneRecord::CodecOptions Codec() const;
    bool IsStream() const { return OstraneRecord::IsStream(m_arguments.inFormat); }

private:
    int OpenLog();
    int LoadSchema();
    int ReadStatements();
    int CompileStatements();
    int ReadParameter(const std::string& text, std::map<int, OstraneRecord::ParameterValue>& numbered);
    int ReadParameters();
    int CompileCondition();
    int BindParameters();
    std::string RecordPlace() const;
    int OpenInput();
    int LockInput();

    const Arguments& m_arguments;
    std::unique_ptr<OstraneLog::LogChannel> m_pLog;
    OstraneRecord::Schema m_schema;
    const google::protobuf::Descriptor* m_pType = nullptr;
    std::string m_statements;
    OstraneRecord::StatementPlan m_plan;
    OstraneRecord::StatementParameters m_parameters;
    OstraneRecord::RecordCondition m_condition;
    OstraneRecord::BoundPlan m_bound;
    OstraneRecord::StatementError m_startError;
    std::unique_ptr<google::protobuf::Message> m_pMessage;
    ProtobufRecord m_record;
    int m_input = -1;
    std::unique_ptr<OstraneRecord::RecordReader> m_pReader;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_SESSION_H_
