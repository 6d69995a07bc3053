// What apply and get share: the schema, the compiled statements, the input and the log, set up in this order
// and each failure told to the user where it happens.
#ifndef OSTRANE_CLI_SESSION_H_
#define OSTRANE_CLI_SESSION_H_

#include <google/protobuf/message.h>
#include <sys/types.h>

#include <cstdint>
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

// A method that returns an exit status has said what is wrong when that is not EXIT_DONE. Once started, all
// but the reader is shared by threads.
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

    const std::string& Statements() const { return m_statements; }
    const OstraneRecord::StatementPlan& Plan() const { return m_plan; }
    const OstraneRecord::BoundPlan& Bound() const { return m_bound; }
    // Null when every record is wanted.
    const OstraneRecord::RecordCondition* Condition() const {
        return m_arguments.where.empty() ? nullptr : &m_condition;
    }
    const std::string& ConditionText() const { return m_arguments.where; }
    OstraneRecord::CodecOptions Codec() const;
    // An empty record, and all but the message of what the statements run on.
    std::unique_ptr<google::protobuf::Message> NewMessage() const { return m_schema.NewRecord(m_pType); }
    ProtobufRecord NewRecord() const;

    OstraneRecord::RecordReader& Reader() { return *m_pReader; }
    const OstraneRecord::RecordReader& Reader() const { return *m_pReader; }
    // In bytes; 0 when it cannot be known, as of a pipe.
    uint64_t InputSize() const;
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
    int OpenInput();
    int LockInput();

    const Arguments& m_arguments;
    std::unique_ptr<OstraneLog::LogChannel> m_pLog;
    OstraneRecord::Schema m_schema;
    const google::protobuf::Descriptor* m_pType = nullptr;
    bool m_mayLackRequired = true;  // a record of the type, or something in it
    std::string m_statements;
    OstraneRecord::StatementPlan m_plan;
    OstraneRecord::StatementParameters m_parameters;
    OstraneRecord::RecordCondition m_condition;
    OstraneRecord::BoundPlan m_bound;
    OstraneRecord::StatementError m_startError;
    int m_input = -1;
    off_t m_start = 0;  // where the input stood when it was opened
    std::unique_ptr<OstraneRecord::RecordReader> m_pReader;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_SESSION_H_
