// Statements compiled for one message type, and run on records of that type.
//
//   OstraneRecord::StatementPlan plan;
//   OstraneRecord::StatementError error;
//   if (StatementPlan::Compile("PUSH scores[1] = ?", player.GetDescriptor(), {}, plan, error) != 0) {
//       std::cerr << OstraneRecord::ShowError(error, text);
//   }
//   StatementParameters parameters;
//   parameters.positional.push_back(ParameterValue::MakeInt(7));
//   BoundPlan bound;
//   plan.Bind(parameters, bound, error);   // once
//   ExecutionResult result;
//   bound.Execute(player, result);         // on any number of records
//
// Names, types, operators, indexes and literals are checked against the descriptor when the text is
// compiled, parameters when they are bound; what depends on the record alone is left for execution. A list
// changes a record wholly or not at all, with the help of a copy of each of the record's fields that it changes;
// a single statement makes all its checks before it writes, and copies nothing. (Memory that runs out while a
// single statement writes is the one failure that can leave it half done; not all of protobuf's containers outlive
// it.) No exception leaves what returns a code, and no record, statement or parameter aborts the process.
#ifndef OSTRANE_RECORD_STATEMENT_PLAN_H_
#define OSTRANE_RECORD_STATEMENT_PLAN_H_

#include <memory>
#include <string>
#include <vector>

#include "record/statement_parameters.h"
#include "record/statement_result.h"

namespace google {
namespace protobuf {
class Descriptor;
class Message;
}  // namespace protobuf
}  // namespace google

struct ProtobufRecord;

namespace OstraneRecord {

struct CompiledStatements;
struct CompiledCondition;
struct BoundValues;

struct StatementOptions {
    bool strict = false;      // a selector that selects nothing is an error
    bool partial = false;     // records may lack required fields: an incomplete message may be copied
    bool camelNames = false;  // elements of GET and TAKE with JSON's names, not the schema's
};

// A compiled list with the values of its parameters. Immutable: may be shared by threads, each with records
// of its own. Outlives the plan that it came from; the descriptor outlives both.
class BoundPlan {
public:
    // Runs the statements in order on the record's message, which must be of the compiled type, as a whole:
    // if one fails, the message is as it was before the first, and the earlier results say undone. Returns
    // 0 or the failing statement's code; `result` is replaced.
    int Execute(ProtobufRecord& record, ExecutionResult& result) const;
    // The same on a message alone; nothing is logged.
    int Execute(google::protobuf::Message& message, ExecutionResult& result) const;

private:
    friend class StatementPlan;
    std::shared_ptr<const CompiledStatements> m_pCompiled;
    std::shared_ptr<const BoundValues> m_pValues;  // null when the plan alone says everything
};

// A compiled list. Immutable and cheap to copy: copies share.
class StatementPlan {
public:
    // Compiles `text` for messages of type `descriptor`, which outlives the plan. Returns 0, or a negative
    // code with the reason in `error`, and `out` untouched.
    static int Compile(const std::string& text, const google::protobuf::Descriptor* descriptor,
                       const StatementOptions& options, StatementPlan& out, StatementError& error);

    // Checks the values against what the statements do with them. Returns 0, or a negative code with the
    // reason in `error`, and `out` untouched.
    int Bind(const StatementParameters& parameters, BoundPlan& out, StatementError& error) const;

    // Both steps for one record, or for a message alone. A parameter that does not fit is told in `result.error`
    // alone.
    int Execute(ProtobufRecord& record, const StatementParameters& parameters, ExecutionResult& result) const;
    int Execute(google::protobuf::Message& message, const StatementParameters& parameters,
                ExecutionResult& result) const;

    const std::string& Text() const;
    size_t StatementCount() const;
    // Whether statement `index`, from 0, hands elements out (GET, TAKE), and whether it changes the record; false of
    // one that is not there.
    bool HasElements(size_t index) const;
    bool Changes(size_t index) const;
    // Of the parameters written `:name`, each once, without the colon.
    std::vector<std::string> ParameterNames() const;
    // What will be done, for a person: one line a statement, naming target, selection, source and checks.
    std::vector<std::string> Describe() const;

private:
    std::shared_ptr<const CompiledStatements> m_pCompiled;
};

// A condition on whole records, such as `level > 3 AND size(items) = 0`, for choosing among many.
class RecordCondition {
public:
    // As StatementPlan::Compile; the parameters are bound at once.
    static int Compile(const std::string& text, const google::protobuf::Descriptor* descriptor,
                       const StatementParameters& parameters, RecordCondition& out, StatementError& error);

    // Whether the condition is true of the record; false for NULL. Returns 0 or a negative code with the
    // reason in `error`.
    int Holds(ProtobufRecord& record, bool& holds, StatementError& error) const;
    int Holds(const google::protobuf::Message& message, bool& holds, StatementError& error) const;

    // Of the parameters written `:name`, as often as they stand there, without the colon.
    std::vector<std::string> ParameterNames() const;

private:
    std::shared_ptr<const CompiledCondition> m_pCompiled;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_STATEMENT_PLAN_H_
