#include "record/plan_describe.h"

namespace OstraneRecord {
namespace {

const char* VerbOf(PlanForm form) {
    switch (form) {
        case PlanForm::GetElements:
            return "read elements of ";
        case PlanForm::TakeElements:
            return "hand out and remove elements of ";
        case PlanForm::PopElements:
            return "remove elements of ";
        case PlanForm::GetSingular:
            return "read ";
        case PlanForm::GetEntries:
            return "read the entries of ";
        case PlanForm::SetElements:
            return "overwrite elements of ";
        case PlanForm::SetEach:
            return "change a field of elements of ";
        case PlanForm::SetField:
            return "set ";
        case PlanForm::SetList:
            return "replace the elements of ";
        case PlanForm::SetMapEntries:
            return "set entries of ";
        case PlanForm::SetRunFrom:
            return "overwrite a run of elements of ";
        case PlanForm::SetFieldFrom:
            return "replace ";
        case PlanForm::PushValues:
        case PlanForm::PushFrom:
            return "insert into ";
        case PlanForm::ClearField:
            return "clear ";
        case PlanForm::ClearMapValue:
            return "remove an entry of ";
    }
    return "";
}

std::string PathText(const CompiledStatements& compiled, const OstraneCommon::StatementPath& path) {
    return compiled.text.substr(static_cast<size_t>(path.begin), static_cast<size_t>(path.end - path.begin));
}

}  // namespace

std::string DescribeStatement(const CompiledStatements& compiled, const CompiledStatement& statement) {
    const OstraneCommon::Statement& written = compiled.list.statements[static_cast<size_t>(statement.number - 1)];
    std::string line = VerbOf(statement.form) + NameOf(statement.Field()) + " (" + KindOf(statement.Field()) + ") at " +
                       PathText(compiled, written.path);
    if (!statement.from.empty()) {
        line += " from " + PathText(compiled, written.from);
    }
    if (written.value != nullptr) {
        line += statement.computed.empty() ? ": " : ", calculated first: ";
        line += written.value->ToStr();
    }
    if (written.where != nullptr) {
        line += " where " + written.where->ToStr();
    }
    if (compiled.options.strict && statement.path.back().HasSelector()) {
        line += "; selecting none is an error";
    }
    return line;
}

}  // namespace OstraneRecord
