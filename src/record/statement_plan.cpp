// The boundary: what goes in and out of the record layer, all or nothing over a list, and no exception past it.
#include "record/statement_plan.h"

#include <google/protobuf/message.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "common/protobuf_record.h"
#include "record/compiled_statements.h"
#include "record/plan_describe.h"
#include "record/plan_expr.h"
#include "record/record_rollback.h"
#include "record/record_writer.h"
#include "record/statement_compiler.h"
#include "record/statement_executor.h"

namespace OstraneRecord {

struct CompiledCondition {
    std::string text;
    const google::protobuf::Descriptor* descriptor = nullptr;
    OstraneCommon::ExprParseContext context;
    OstraneCommon::BoundExpr bound;
    std::vector<std::string> parameterNames;
};

namespace {

using google::protobuf::Descriptor;
using google::protobuf::Message;
using OstraneCommon::StatementKind;

// Fills `error` from what failed in `text`, and returns its code.
int Tell(const Failure& failure, const std::string& text, int statement, StatementError& error) {
    OstraneCommon::ExprError located = failure.error;
    const bool hasPlace =
        statement > 0 || located.length > 0 || located.code == OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    error = StatementError();
    error.code = located.code;
    error.statement = statement;
    error.field = failure.field;
    error.message = located.message;
    error.hint = located.hint;
    if (!hasPlace) {
        return error.code;
    }
    located.offset = located.offset > text.size() ? text.size() : located.offset;
    if (located.length > 0 && located.code != OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX) {
        // Who knows the tree alone knows where a token starts, not where it ends.
        located.length = std::max(located.length, TokenAt(text, static_cast<int32_t>(located.offset)).length);
    }
    OstraneCommon::LocateError(text, located);
    error.offset = located.offset;
    error.length = located.length;
    error.line = located.line;
    error.column = located.column;
    error.text = text.substr(located.offset, located.length);
    return error.code;
}

int TellPlain(int code, const char* message, StatementError& error) {
    error = StatementError();
    error.code = code;
    error.message = message;
    return code;
}

// Runs `body`, which returns a code, and turns what it throws into one.
template <typename Body>
int Guard(StatementError& error, const Body& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "out of memory", error);
    } catch (const std::exception& thrown) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, thrown.what(), error);
    } catch (...) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "an exception of unknown type was thrown", error);
    }
}

bool IsChange(const CompiledStatement& statement) {
    return statement.kind != StatementKind::Get;
}

// Whether its writes can fail once its checks have passed: what only removes asks for no memory.
bool NeedsMemory(const CompiledStatement& statement) {
    return statement.kind != StatementKind::Pop && statement.kind != StatementKind::Take &&
           statement.kind != StatementKind::Clear;
}

// A statement that failed has selected and changed nothing.
void ForgetChanges(StatementResult& result) {
    result.matched = result.changed = 0;
    result.sizeAfter = result.sizeBefore;
    result.positions.clear();
    result.elements.clear();
}

int RunStatement(const CompiledStatements& compiled, const CompiledStatement& statement,
                 const PlanParameters& parameters, ProtobufRecord& record, StatementResult& result) {
    Failure failure;
    StatementExecutor executor(compiled, statement, parameters, record, result, failure);
    const int ret = executor.Run();
    if (ret != 0) {
        result.code = Tell(failure, compiled.text, statement.number, result.error);
        ForgetChanges(result);
    }
    return ret;
}

// The results of a former run are filled again, so that a plan that runs on many records asks for memory once.
// Whatever throws, the result is of this run.
void BeginResult(const CompiledStatement& statement, StatementResult& result) {
    result.Clear();
    result.number = statement.number;
    result.field = statement.Field();
    result.text = statement.text;
}

// `resultCount`: of the statements that have begun, whose results are this run's.
int RunAll(const CompiledStatements& compiled, const PlanParameters& parameters, ProtobufRecord& record,
           RecordRollback& rollback, size_t& resultCount, ExecutionResult& result) {
    const size_t count = compiled.statements.size();
    result.statements.resize(count);
    for (size_t i = 0; i < count; ++i) {
        const CompiledStatement& statement = compiled.statements[i];
        StatementResult& own = result.statements[i];
        resultCount = i + 1;
        BeginResult(statement, own);
        if (count > 1 && IsChange(statement) && (i + 1 < count || NeedsMemory(statement))) {
            rollback.Keep(statement.path.front().field);
        }
        const int ret = RunStatement(compiled, statement, parameters, record, own);
        if (ret != 0) {
            result.error = own.error;
            return ret;
        }
    }
    return 0;
}

}  // namespace

int BoundPlan::Execute(ProtobufRecord& record, ExecutionResult& result) const {
    result.code = 0;
    if (result.error.code != 0) {
        result.error.Clear();
    }
    if (m_pCompiled == nullptr || record.m_pMessage == nullptr) {
        result.statements.clear();
        return result.code = TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no plan, or no message", result.error);
    }
    const Message& message = *record.m_pMessage;
    const bool isGenerated = m_pCompiled->generatedClass != nullptr && typeid(message) == *m_pCompiled->generatedClass;
    if (!isGenerated && record.m_pMessage->GetDescriptor() != m_pCompiled->descriptor) {
        result.statements.clear();
        return result.code =
                   TellPlain(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE,
                             "the record is of another type than the statements were compiled for", result.error);
    }
    RecordRollback rollback(record.m_pMessage);
    PlanParameters parameters;
    parameters.values = m_pValues.get();
    parameters.rootReflection = isGenerated ? m_pCompiled->generatedReflection : message.GetReflection();
    size_t resultCount = 0;
    result.code =
        Guard(result.error, [&]() { return RunAll(*m_pCompiled, parameters, record, rollback, resultCount, result); });
    if (result.code != 0) {
        result.statements.resize(resultCount);
        StatementError ignored;
        const bool isRestored = Guard(ignored, [&rollback]() {
                                    rollback.Restore();
                                    return 0;
                                }) == 0;
        if (!result.statements.empty() && result.statements.back().code == 0) {
            // What threw has told nothing yet.
            StatementResult& last = result.statements.back();
            last.code = result.code;
            ForgetChanges(last);
            Guard(ignored, [&last, &result]() {
                last.error = result.error;
                return 0;
            });
        }
        for (StatementResult& statement : result.statements) {
            statement.undone = isRestored && statement.code == 0;
        }
    }
    return result.code;
}

int BoundPlan::Execute(Message& message, ExecutionResult& result) const {
    ProtobufRecord record;
    record.m_pMessage = &message;
    return Execute(record, result);
}

int StatementPlan::Compile(const std::string& text, const Descriptor* descriptor, const StatementOptions& options,
                           StatementPlan& out, StatementError& error) {
    if (descriptor == nullptr) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no message type", error);
    }
    return Guard(error, [&]() {
        auto compiled = std::make_shared<CompiledStatements>();
        compiled->text = text;
        compiled->descriptor = descriptor;
        compiled->options = options;
        if (descriptor->file()->pool() == google::protobuf::DescriptorPool::generated_pool()) {
            const Message* prototype = google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor);
            if (prototype != nullptr) {
                compiled->generatedClass = &typeid(*prototype);
                compiled->generatedReflection = prototype->GetReflection();
            }
        }
        int statement = 0;
        Failure failure;
        const int ret = CompileStatements(*compiled, statement, failure);
        if (ret != 0) {
            return Tell(failure, text, statement, error);
        }
        out.m_pCompiled = std::move(compiled);
        return 0;
    });
}

int StatementPlan::Bind(const StatementParameters& parameters, BoundPlan& out, StatementError& error) const {
    if (m_pCompiled == nullptr) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no plan", error);
    }
    return Guard(error, [&]() {
        const bool hasParameters = !m_pCompiled->parameterUses.empty() || !m_pCompiled->expressionUses.empty() ||
                                   !parameters.positional.empty() || !parameters.named.empty();
        const bool hasTree = std::any_of(
            m_pCompiled->statements.begin(), m_pCompiled->statements.end(), [](const CompiledStatement& statement) {
                return statement.form == PlanForm::PushValues || statement.form == PlanForm::SetElements;
            });
        std::shared_ptr<BoundValues> values;
        if (hasParameters || hasTree) {
            values = std::make_shared<BoundValues>();
            int statement = 0;
            Failure failure;
            const int ret = BindParameters(*m_pCompiled, parameters, *values, statement, failure);
            if (ret != 0) {
                return Tell(failure, m_pCompiled->text, statement, error);
            }
            PrepareTrees(*m_pCompiled, *values);
        }
        out.m_pCompiled = m_pCompiled;
        out.m_pValues = std::move(values);
        return 0;
    });
}

int StatementPlan::Execute(ProtobufRecord& record, const StatementParameters& parameters,
                           ExecutionResult& result) const {
    BoundPlan bound;
    result.error.Clear();
    result.code = Bind(parameters, bound, result.error);
    if (result.code != 0) {
        result.statements.clear();
        return result.code;
    }
    return bound.Execute(record, result);
}

int StatementPlan::Execute(Message& message, const StatementParameters& parameters, ExecutionResult& result) const {
    ProtobufRecord record;
    record.m_pMessage = &message;
    return Execute(record, parameters, result);
}

const std::string& StatementPlan::Text() const {
    static const std::string empty;
    return m_pCompiled == nullptr ? empty : m_pCompiled->text;
}

size_t StatementPlan::StatementCount() const {
    return m_pCompiled == nullptr ? 0 : m_pCompiled->statements.size();
}

bool StatementPlan::HasElements(size_t index) const {
    if (index >= StatementCount()) {
        return false;
    }
    const StatementKind kind = m_pCompiled->statements[index].kind;
    return kind == StatementKind::Get || kind == StatementKind::Take;
}

bool StatementPlan::Changes(size_t index) const {
    return index < StatementCount() && IsChange(m_pCompiled->statements[index]);
}

std::vector<std::string> StatementPlan::ParameterNames() const {
    return m_pCompiled == nullptr ? std::vector<std::string>() : m_pCompiled->list.parameterNames;
}

std::vector<std::string> StatementPlan::Describe() const {
    std::vector<std::string> lines;
    if (m_pCompiled == nullptr) {
        return lines;
    }
    for (const CompiledStatement& statement : m_pCompiled->statements) {
        lines.push_back(DescribeStatement(*m_pCompiled, statement));
    }
    return lines;
}

int RecordCondition::Compile(const std::string& text, const Descriptor* descriptor,
                             const StatementParameters& parameters, RecordCondition& out, StatementError& error) {
    if (descriptor == nullptr) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no message type", error);
    }
    return Guard(error, [&]() {
        auto compiled = std::make_shared<CompiledCondition>();
        compiled->text = text;
        compiled->descriptor = descriptor;
        OstraneCommon::Expr* tree = nullptr;
        Failure failure;
        int ret = OstraneCommon::Expr::Parse(text, compiled->context, tree, failure.error);
        if (ret == 0) {
            OstraneCommon::ExprScope scope;
            scope.record = descriptor;
            ret = BindTree(tree, scope, true, text, parameters, compiled->bound, failure);
        }
        if (ret != 0) {
            failure.error.code = ret;
            return Tell(failure, text, 1, error);
        }
        std::vector<const OstraneCommon::Expr*> questions;
        CollectParameters(tree, questions);
        for (const OstraneCommon::Expr* question : questions) {
            if (!question->m_self.m_str.empty()) {
                compiled->parameterNames.push_back(question->m_self.m_str);
            }
        }
        out.m_pCompiled = std::move(compiled);
        return 0;
    });
}

std::vector<std::string> RecordCondition::ParameterNames() const {
    return m_pCompiled == nullptr ? std::vector<std::string>() : m_pCompiled->parameterNames;
}

int RecordCondition::Holds(ProtobufRecord& record, bool& holds, StatementError& error) const {
    if (record.m_pMessage == nullptr) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no message", error);
    }
    return Holds(*record.m_pMessage, holds, error);
}

int RecordCondition::Holds(const Message& message, bool& holds, StatementError& error) const {
    if (m_pCompiled == nullptr) {
        return TellPlain(OstraneErrCode::GEN_ERR_ERR, "there is no condition", error);
    }
    if (message.GetDescriptor() != m_pCompiled->descriptor) {
        return TellPlain(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE,
                         "the record is of another type than the condition was compiled for", error);
    }
    return Guard(error, [&]() {
        OstraneCommon::ExprRow row;
        row.record = &message;
        Failure failure;
        const int ret = m_pCompiled->bound.Test(row, holds, failure.error);
        if (ret != 0) {
            failure.error.code = ret;
            return Tell(failure, m_pCompiled->text, 1, error);
        }
        return 0;
    });
}

}  // namespace OstraneRecord
