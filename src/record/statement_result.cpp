#include "record/statement_result.h"

#include <google/protobuf/descriptor.h>

#include <nlohmann/json.hpp>

#include "expr/parse_context.h"

namespace OstraneRecord {
namespace {

// A JSON string with its quotes. What is not UTF-8 shows as U+FFFD: a report must stay readable.
std::string Quote(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AddMember(std::string& object, const char* name, const std::string& value) {
    if (object.back() != '{') {
        object += ',';
    }
    object += '"';
    object += name;
    object += "\":";
    object += value;
}

std::string ErrorObject(const StatementError& error) {
    std::string object = "{";
    AddMember(object, "message", Quote(error.message));
    if (!error.hint.empty()) {
        AddMember(object, "hint", Quote(error.hint));
    }
    if (!error.text.empty()) {
        AddMember(object, "text", Quote(error.text));
    }
    if (error.line > 0) {
        AddMember(object, "offset", std::to_string(error.offset));
        AddMember(object, "line", std::to_string(error.line));
        AddMember(object, "column", std::to_string(error.column));
    }
    object += '}';
    return object;
}

template <typename List, typename ToText>
std::string JsonList(const List& list, ToText toText) {
    std::string text = "[";
    for (const auto& item : list) {
        if (text.size() > 1) {
            text += ',';
        }
        text += toText(item);
    }
    text += ']';
    return text;
}

}  // namespace

const char* CodeName(int code) {
    switch (code) {
        case 0:
            return "OK";
        case OstraneErrCode::GEN_ERR_ERR:
            return "GEN_ERR_ERR";
        case OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE:
            return "COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE";
        case OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX:
            return "COMMON_ERR_INVALID_EXPR_SYNTAX";
        case OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX:
            return "COMMON_ERR_INVALID_ARRAY_INDEX";
        case OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME:
            return "COMMON_ERR_INVALID_FIELD_NAME";
        case OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE:
            return "COMMON_ERR_INVALID_EXPR_TYPE";
        default:
            return "UNKNOWN";
    }
}

void StatementError::Clear() {
    code = 0;
    statement = 0;
    offset = 0;
    length = 0;
    line = 0;
    column = 0;
    for (std::string* part : {&field, &text, &message, &hint}) {
        part->clear();
    }
}

void StatementResult::Clear() {
    number = 0;
    text.clear();
    code = 0;
    if (error.code != 0) {
        error.Clear();
    }
    field = nullptr;
    matched = 0;
    changed = 0;
    positions.clear();
    sizeBefore = 0;
    sizeAfter = 0;
    hasElements = false;
    elements.clear();
    unknownFields = false;
    undone = false;
}

int64_t ExecutionResult::Matched() const {
    int64_t sum = 0;
    for (const StatementResult& statement : statements) {
        sum += statement.matched;
    }
    return sum;
}

int64_t ExecutionResult::Changed() const {
    if (code != 0) {
        return 0;
    }
    int64_t sum = 0;
    for (const StatementResult& statement : statements) {
        sum += statement.changed;
    }
    return sum;
}

std::string ReportLine(int64_t record, const StatementResult& result) {
    std::string object = "{";
    AddMember(object, "record", std::to_string(record));
    AddMember(object, "statement", std::to_string(result.number));
    AddMember(object, "text", Quote(result.text));
    AddMember(object, "code", std::to_string(result.code));
    AddMember(object, "codeName", Quote(CodeName(result.code)));
    if (result.field != nullptr) {
        AddMember(object, "field", Quote(std::string(result.field->full_name())));
    } else if (!result.error.field.empty()) {
        AddMember(object, "field", Quote(result.error.field));
    }
    if (result.code != 0) {
        AddMember(object, "error", ErrorObject(result.error));
        object += '}';
        return object;
    }
    AddMember(object, "matched", std::to_string(result.matched));
    AddMember(object, "changed", std::to_string(result.changed));
    AddMember(object, "positions",
              JsonList(result.positions, [](int32_t position) { return std::to_string(position); }));
    AddMember(object, "sizeBefore", std::to_string(result.sizeBefore));
    AddMember(object, "sizeAfter", std::to_string(result.sizeAfter));
    if (result.hasElements) {
        AddMember(object, "elements", JsonList(result.elements, [](const std::string& element) { return element; }));
    }
    if (result.unknownFields) {
        AddMember(object, "unknownFields", "true");
    }
    if (result.undone) {
        AddMember(object, "undone", "true");
    }
    object += '}';
    return object;
}

std::string ReportLines(int64_t record, const ExecutionResult& result) {
    std::string lines;
    for (const StatementResult& statement : result.statements) {
        lines += ReportLine(record, statement);
        lines += '\n';
    }
    return lines;
}

std::string ReportLine(int64_t record, const StatementError& error, const std::string& statements) {
    std::string object = "{";
    AddMember(object, "record", std::to_string(record));
    AddMember(object, "statement", std::to_string(error.statement));
    AddMember(object, "text", Quote(statements));
    AddMember(object, "code", std::to_string(error.code));
    AddMember(object, "codeName", Quote(CodeName(error.code)));
    if (!error.field.empty()) {
        AddMember(object, "field", Quote(error.field));
    }
    AddMember(object, "error", ErrorObject(error));
    object += '}';
    return object;
}

std::string ShowError(const StatementError& error, const std::string& statements) {
    OstraneCommon::ExprError shown;
    shown.code = error.code;
    shown.offset = error.offset;
    shown.length = error.length;
    shown.line = error.line;
    shown.column = error.column;
    shown.message = error.message;
    shown.hint = error.hint;
    std::string text = OstraneCommon::ShowError(statements, shown, CodeName(error.code));
    text.pop_back();  // its final line feed
    return text;
}

}  // namespace OstraneRecord
