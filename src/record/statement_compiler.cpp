// A statement is looked up in this order, and the first error is told: the path, then its selector and WHERE,
// then the form that kind and field make, then the value or the source.
#include "record/statement_compiler.h"

#include <utility>

#include "record/plan_expr.h"
#include "record/plan_path.h"
#include "record/plan_value.h"
#include "record/record_writer.h"

namespace OstraneRecord {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using OstraneCommon::Statement;
using OstraneCommon::StatementKind;

constexpr char WHERE_HINT[] = "a condition on whole records stands beside the statements: --where";

class StatementCompiler {
public:
    StatementCompiler(CompiledStatements& compiled, const Statement& statement, CompiledStatement& out,
                      Failure& failure)
        : m_compiled(compiled), m_statement(statement), m_out(out), m_failure(failure) {}

    int Compile();

private:
    int CompileRead();
    int CompileClear();
    int CompilePush();
    int CompilePushFrom();
    int CompileSet();
    int CompileSetFrom();
    int CompileWhere();
    int CompileFrom(const FieldDescriptor* target, bool isElement);
    int CheckPushPosition();
    int CheckSourceType(const FieldDescriptor* target);
    // Splits the path of a SET at the step whose elements are selected, when there is one.
    int SplitAtSelector(int selectorStep);
    int FailType(const Place& place, std::string message, std::string hint, const FieldDescriptor* field) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, place, std::move(message), std::move(hint),
                    field);
    }
    // The message type at the last index of a path: what bare names of a SET are fields of.
    const Descriptor* ElementType() const;
    const PlanStep& Last() const { return m_out.path.back(); }
    Place WherePlace() const { return TreePlace(m_compiled.text, *m_statement.where); }

    CompiledStatements& m_compiled;
    const Statement& m_statement;
    CompiledStatement& m_out;
    Failure& m_failure;
};

int StatementCompiler::Compile() {
    m_out.kind = m_statement.kind;
    m_out.number = m_statement.number;
    m_out.place.offset = static_cast<size_t>(m_statement.begin);
    m_out.place.length = static_cast<size_t>(m_statement.end - m_statement.begin);
    m_out.text = m_compiled.text.substr(m_out.place.offset, m_out.place.length);

    int selectorStep = -1;
    const bool isSet = m_statement.kind == StatementKind::Set;
    const int ret =
        ResolvePath(m_statement.path, m_compiled, m_out.number, isSet ? &selectorStep : nullptr, m_out.path, m_failure);
    if (ret != 0) {
        return ret;
    }
    switch (m_statement.kind) {
        case StatementKind::Get:
        case StatementKind::Take:
        case StatementKind::Pop:
            return CompileRead();
        case StatementKind::Clear:
            return CompileClear();
        case StatementKind::Push:
            return m_statement.hasFrom ? CompilePushFrom() : CompilePush();
        case StatementKind::Set:
            break;
    }
    if (m_statement.hasFrom) {
        return selectorStep >= 0 ? FailType(m_out.path[static_cast<size_t>(selectorStep)].subscriptPlace,
                                            "SET .. FROM takes one index on the way, no selector", "", nullptr)
                                 : CompileSetFrom();
    }
    const int split = SplitAtSelector(selectorStep);
    return split != 0 ? split : CompileSet();
}

int StatementCompiler::CompileWhere() {
    if (m_statement.where == nullptr) {
        return 0;
    }
    PlanExpr condition;
    condition.tree = m_statement.where;
    condition.scope = OstraneCommon::ExprScope::OfElements(Last().field, m_compiled.descriptor);
    condition.place = WherePlace();
    OstraneCommon::ValueType type;
    const int ret = CompileExpr(true, m_compiled, m_out.number - 1, 0, condition, type, m_failure);
    if (ret != 0) {
        return ret;
    }
    m_out.where = 0;
    m_out.conditions.push_back(std::move(condition));
    return 0;
}

int StatementCompiler::CompileRead() {
    const PlanStep& last = Last();
    const bool isGet = m_statement.kind == StatementKind::Get;
    if (last.field->is_repeated() && !last.field->is_map()) {
        m_out.form = isGet                                     ? PlanForm::GetElements
                     : m_statement.kind == StatementKind::Take ? PlanForm::TakeElements
                                                               : PlanForm::PopElements;
        return CompileWhere();
    }
    if (m_statement.where != nullptr) {
        return FailType(WherePlace(),
                        "WHERE chooses among elements, and " + NameOf(last.field) + " is " +
                            (last.field->is_map() ? "a map" : KindOf(last.field)),
                        last.field->is_map() ? "" : WHERE_HINT, last.field);
    }
    if (isGet) {
        m_out.form = last.IsWholeArray() ? PlanForm::GetEntries : PlanForm::GetSingular;
        return 0;
    }
    const std::string verb = m_statement.kind == StatementKind::Take ? "TAKE" : "POP";
    return FailType(last.place,
                    verb + " removes elements of repeated fields, and " + NameOf(last.field) + " is " +
                        (last.field->is_map() ? "a map" : KindOf(last.field)),
                    last.IsMapValue() ? "CLEAR removes the entry" : "CLEAR empties it", last.field);
}

int StatementCompiler::CompileClear() {
    const PlanStep& last = Last();
    if (last.HasSelector()) {
        return FailType(last.subscriptPlace, "CLEAR empties the whole field", "POP removes chosen elements",
                        last.field);
    }
    if (last.field->is_required()) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, last.place,
                    NameOf(last.field) + " is required and cannot be cleared", "", last.field);
    }
    m_out.form = last.IsMapValue() ? PlanForm::ClearMapValue : PlanForm::ClearField;
    return 0;
}

int StatementCompiler::CheckPushPosition() {
    const PlanStep& last = Last();
    if (!last.field->is_repeated() || last.field->is_map()) {
        const bool isSingular = !last.field->is_repeated();
        return FailType(
            last.place, "PUSH inserts into repeated fields, and " + NameOf(last.field) + " is " + KindOf(last.field),
            isSingular ? "SET gives it a value" : "SET " + std::string(last.field->name()) + "[key] = .. adds an entry",
            last.field);
    }
    if (last.subscript == SubscriptKind::Ranges) {
        return FailType(last.subscriptPlace, "PUSH inserts at one position",
                        "write " + std::string(last.field->name()) + "[0] for the front, or no [..] for the end",
                        last.field);
    }
    if (last.subscript == SubscriptKind::Index && last.index.slot < 0 && last.index.value < -1) {
        return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX, last.subscriptPlace,
                    "the position " + std::to_string(last.index.value) +
                        " is none: PUSH inserts at 0 .. size, or with -1 at the end",
                    "", last.field);
    }
    return 0;
}

int StatementCompiler::CompilePush() {
    const int ret = CheckPushPosition();
    if (ret != 0) {
        return ret;
    }
    m_out.form = PlanForm::PushValues;
    ValueCompiler values(m_compiled, m_out, nullptr, m_failure);
    const int pushed = values.Pushed(m_statement.value, Last().field, m_out.value);
    if (pushed != 0) {
        return pushed;
    }
    // New elements start empty, so what they lack is known now, but for parameters that turn out to be null.
    const std::string missing =
        MissingRequiredItems(nullptr, m_out.value, ResolvedValues(PlanParameters(), std::vector<FieldValue>()));
    if (missing.empty()) {
        return 0;
    }
    return Fail(m_failure, OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE, m_out.value.place,
                "required fields would be missing: " + missing, "", Last().field);
}

int StatementCompiler::CompilePushFrom() {
    const int ret = CheckPushPosition();
    if (ret != 0) {
        return ret;
    }
    m_out.form = PlanForm::PushFrom;
    return CompileFrom(Last().field, false);
}

int StatementCompiler::SplitAtSelector(int selectorStep) {
    const size_t lastStep = m_out.path.size() - 1;
    const PlanStep& last = Last();
    const bool isArray = last.field->is_repeated() && !last.field->is_map();
    if (selectorStep >= 0 && last.subscript == SubscriptKind::Ranges) {
        return FailType(last.subscriptPlace, "one step of a path may carry a selector", "", last.field);
    }
    size_t at = lastStep;
    bool isSplit = false;
    if (selectorStep >= 0) {
        at = static_cast<size_t>(selectorStep);
        isSplit = true;
    } else if (isArray && (last.subscript != SubscriptKind::None || m_statement.where != nullptr)) {
        isSplit = true;
    } else if (m_statement.where != nullptr) {
        while (at > 0 && m_out.path[at].subscript != SubscriptKind::Index) {
            --at;
        }
        isSplit = m_out.path[at].subscript == SubscriptKind::Index;
        if (!isSplit) {
            return FailType(WherePlace(),
                            "WHERE chooses among elements, and " + NameOf(last.field) + " is " + KindOf(last.field),
                            last.field->is_map() ? "" : WHERE_HINT, last.field);
        }
    }
    if (!isSplit) {
        m_out.tail = m_out.path;
        return 0;
    }
    m_out.tail.assign(m_out.path.begin() + static_cast<std::ptrdiff_t>(at) + 1, m_out.path.end());
    m_out.path.resize(at + 1);
    m_out.form = m_out.tail.empty() ? PlanForm::SetElements : PlanForm::SetEach;
    return CompileWhere();
}

const Descriptor* StatementCompiler::ElementType() const {
    const bool isTailOnly = m_out.form != PlanForm::SetElements && m_out.form != PlanForm::SetEach;
    for (size_t i = m_out.tail.size(); i > 0; --i) {
        if (m_out.tail[i - 1].subscript != SubscriptKind::None) {
            return m_out.tail[i - 1].MessageType();
        }
    }
    return isTailOnly ? nullptr : Last().MessageType();
}

int StatementCompiler::CompileSet() {
    const bool isSelected = m_out.form == PlanForm::SetElements || m_out.form == PlanForm::SetEach;
    if (m_out.form == PlanForm::SetElements) {
        ValueCompiler values(m_compiled, m_out, Last().MessageType(), m_failure);
        return values.Element(m_statement.value, Last().field, m_out.value);
    }
    const PlanStep& last = m_out.tail.back();
    if (!isSelected) {
        m_out.form = !last.IsWholeArray()   ? PlanForm::SetField
                     : last.field->is_map() ? PlanForm::SetMapEntries
                                            : PlanForm::SetList;
    }
    const Descriptor* element = ElementType();
    ValueCompiler values(m_compiled, m_out, element, m_failure);
    if (last.subscript == SubscriptKind::Index) {
        return values.Element(m_statement.value, last.field, m_out.value);
    }
    // items[*].tags = null is items[*] = {tags: null}, where null clears arrays too.
    return values.Whole(m_statement.value, last.ValueField(), element != nullptr, m_out.value);
}

int StatementCompiler::CheckSourceType(const FieldDescriptor* target) {
    const PlanStep& source = m_out.from.back();
    const FieldDescriptor* field = source.ValueField();
    const bool isSame = field->cpp_type() == target->cpp_type() && field->message_type() == target->message_type() &&
                        field->enum_type() == target->enum_type() &&
                        (field->cpp_type() != FieldDescriptor::CPPTYPE_STRING || field->type() == target->type());
    if (isSame) {
        return 0;
    }
    return FailType(
        source.place,
        NameOf(field) + ", " + KindOf(field) + ", is of another type than " + NameOf(target) + ", " + KindOf(target),
        "", target);
}

// `isElement`: the target is one or several elements, or new ones, of a repeated field.
int StatementCompiler::CompileFrom(const FieldDescriptor* target, bool isElement) {
    const int ret = ResolvePath(m_statement.from, m_compiled, m_out.number, nullptr, m_out.from, m_failure);
    if (ret != 0) {
        return ret;
    }
    const PlanStep& source = m_out.from.back();
    if (source.IsWholeArray() && source.field->is_map()) {
        return FailType(source.place, NameOf(source.field) + " is a map, and no map can be copied", "", source.field);
    }
    const bool isRun = source.IsWholeArray() || source.subscript == SubscriptKind::Ranges;
    if (isRun && !isElement && !target->is_repeated()) {
        return FailType(source.place, NameOf(target) + " takes one value, and " + NameOf(source.field) + " gives many",
                        "write " + std::string(source.field->name()) + "[0] for the first one", target);
    }
    if (target->message_type() != nullptr) {
        m_out.mayLackRequired = HasRequiredFields(target->message_type());
        m_out.mayNestDeeper = MayNestTooDeep(target->message_type(), m_out.path);
    }
    return CheckSourceType(target);
}

int StatementCompiler::CompileSetFrom() {
    const PlanStep& last = Last();
    if (last.IsWholeArray() && last.field->is_map()) {
        return FailType(last.place, NameOf(last.field) + " is a map, and no map can be copied", "", last.field);
    }
    m_out.form = last.HasSelector() ? PlanForm::SetRunFrom : PlanForm::SetFieldFrom;
    if (last.subscript == SubscriptKind::Ranges && last.ranges.size() != 1) {
        return FailType(last.subscriptPlace, "SET .. FROM overwrites one range", "", last.field);
    }
    return CompileFrom(last.ValueField(), last.HasSelector());
}

}  // namespace

void NameField(const CompiledStatement& statement, Failure& failure) {
    if (failure.field.empty() && !statement.path.empty()) {
        failure.field = NameOf(statement.Field());
    }
}

int CompileStatements(CompiledStatements& compiled, int& statement, Failure& failure) {
    statement = 0;
    OstraneCommon::ExprError error;
    int ret = OstraneCommon::ParseStatements(compiled.text, compiled.context, compiled.list, error);
    if (ret != 0) {
        statement = error.statement;
        return Fail(failure, ret, error);
    }
    compiled.statements.reserve(compiled.list.statements.size());
    for (const Statement& written : compiled.list.statements) {
        compiled.statements.emplace_back();
        StatementCompiler compiler(compiled, written, compiled.statements.back(), failure);
        ret = compiler.Compile();
        if (ret != 0) {
            statement = written.number;
            const CompiledStatement& failed = compiled.statements.back();
            const size_t found = failed.path.size();
            const size_t steps = written.path.steps.size();
            if (found == steps || found + failed.tail.size() == steps) {
                NameField(failed, failure);
            }
            return ret;
        }
    }
    return 0;
}

}  // namespace OstraneRecord
