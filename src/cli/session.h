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
    // Goes to the next record, read into Record(). `hasRecord` is false at the end.
    int NextRecord(bool& hasRecord);
    // Runs the statements on the current record; what went wrong is told.
    int Execute(OstraneRecord::ExecutionResult& result);

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
    int ReadParameter(const std::string& text, std::map<int, OstraneRecord::ParameterValue>& numbered,
                      std::map<std::string, OstraneRecord::ParameterValue>& named);
    int BindParameters();
    int OpenInput();
    int LockInput();

    const Arguments& m_arguments;
    std::unique_ptr<OstraneLog::LogChannel> m_pLog;
    OstraneRecord::Schema m_schema;
    const google::protobuf::Descriptor* m_pType = nullptr;
    std::string m_statements;
    OstraneRecord::StatementPlan m_plan;
    OstraneRecord::BoundPlan m_bound;
    std::unique_ptr<google::protobuf::Message> m_pMessage;
    ProtobufRecord m_record;
    int m_input = -1;
    std::unique_ptr<OstraneRecord::RecordReader> m_pReader;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_SESSION_H_
