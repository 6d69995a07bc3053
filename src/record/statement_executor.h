// Runs one compiled statement on a record.
#ifndef OSTRANE_RECORD_STATEMENT_EXECUTOR_H_
#define OSTRANE_RECORD_STATEMENT_EXECUTOR_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "record/compiled_statements.h"
#include "record/record_location.h"
#include "record/record_writer.h"
#include "record/source_values.h"

namespace OstraneRecord {

// Every form looks first, calculates every value from the record as it stands, checks, and then writes: a
// statement that fails has changed nothing.
class StatementExecutor {
public:
    StatementExecutor(const CompiledStatements& compiled, const CompiledStatement& statement,
                      const PlanParameters& parameters, ProtobufRecord& record, StatementResult& result,
                      Failure& failure);

    // Returns 0 with the result, or a negative code with the reason in the failure.
    int Run();

private:
    // What a SET writes into: where it leads from one base, and what was calculated for it.
    struct Target {
        RecordLocation location;
        std::vector<FieldValue> computed;
    };

    int RunGetElements(bool takes);
    int RunPop();
    int RunGetSingular();
    int RunGetEntries();
    int RunSetElements();
    int RunSetEach();
    int RunSetField();
    int RunSetRunFrom();
    int RunSetFieldFrom();
    int RunPush();
    int RunPreparedSet(AssignExpr& set);
    int RunPreparedPush(AssignExpr& push, int pos);
    int RunPushFrom();
    int RunClear();
    int RunClearMapValue();

    // Where the statement's path leads; `isWritten`: an index beyond its array is an error.
    int LocatePath(bool isWritten);
    // The elements that selector and WHERE choose, into the result's positions.
    int Select(bool loneMustExist);
    // LocatePath and Select; `isWritten`: a lone index beyond the array is an error too.
    int LocateElements(bool isWritten);
    // Strict, what is written behind the step must select something of an array of `size`.
    int CheckStrict(const PlanStep& step, int size, bool isNothing);
    OstraneCommon::IndexRangeList Ranges() const;
    int RemoveSelected();
    int SelectedToJson();
    // Into the result's elements, one an index; -1 is the value of a singular field.
    int ToJson(const google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* field,
               const int32_t* indexes, size_t count);
    int Calculate(const OstraneCommon::ExprRow& row, const google::protobuf::Message* base,
                  std::vector<FieldValue>& out);
    int CheckTarget(const PlanPath& path, const Target& target, bool isElement);
    int CheckCreated(const PlanPath& path, const RecordLocation& location);
    int LookUpTarget(const google::protobuf::Message& base, const google::protobuf::Message* element, Target& out);
    int64_t ChangedEntries(const google::protobuf::Message* parent, const google::protobuf::FieldDescriptor* map,
                           const ResolvedValues& values) const;
    int WriteTarget(google::protobuf::Message* base, const Target& target);
    // LocatePath, and where the first new element goes.
    int LocatePush(int& pos);
    int FailPushPosition(int pos);
    // Copies what FROM names; strict, its selector must select something.
    int TakeSource(SourceValues& source);
    int CheckSource(const SourceValues& source);
    int WriteFieldFrom(google::protobuf::Message* parent, SourceValues& source);
    void TellPushed(int pos, int count);
    // The index lies beyond an array of `size`.
    int FailIndex(const PlanStep& step, int32_t index, int size, std::string hint = std::string());
    int FailLacking(const std::string& missing, const Place& place);
    int FailOperation(int ret);
    int Fail(int code, const Place& place, std::string message, std::string hint = std::string());

    const CompiledStatements& m_compiled;
    const CompiledStatement& m_statement;
    const PlanParameters& m_parameters;
    ProtobufRecord& m_record;
    google::protobuf::Message* m_root;
    StatementResult& m_result;
    Failure& m_failure;
    RecordLocation m_location;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_STATEMENT_EXECUTOR_H_
