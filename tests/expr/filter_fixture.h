// Asking conditions and values of records that are written as text.
#ifndef OSTRANE_TESTS_EXPR_FILTER_FIXTURE_H_
#define OSTRANE_TESTS_EXPR_FILTER_FIXTURE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/expr.h"
#include "common/protobuf_field_resolver.h"
#include "expr/bound_filter.h"
#include "expr/parse_context.h"

namespace FilterTest {

using OstraneCommon::BoundExpr;
using OstraneCommon::Expr;
using OstraneCommon::ExprBindings;
using OstraneCommon::ExprError;
using OstraneCommon::ExprParseContext;
using OstraneCommon::ExprRow;
using OstraneCommon::ExprScope;
using OstraneCommon::ExprVariant;
using OstraneCommon::IndexRangeList;

// A value as a test states it: 7, -7, 1.5, 'a', x'61', true, NULL, and OPEN for the enum value.
inline std::string Show(const ExprVariant& value) {
    const bool isEnum =
        (value.m_type == OstraneCommon::EXPR_UINT || value.m_type == OstraneCommon::EXPR_INT) && !value.m_str.empty();
    if (isEnum) {
        return value.m_str;
    }
    return value.m_type == OstraneCommon::EXPR_NULL ? "NULL" : value.ToStr();
}

// The value of `text`, or "code: message".
struct Answer {
    int code = 0;
    std::string value;
    ExprError error;
};

inline std::string ShowError(const ExprError& error) {
    return std::to_string(error.code) + "@" + std::to_string(error.offset) + ": " + error.message;
}

inline Answer Calculate(const std::string& text, const ExprScope& scope, const ExprRow& row,
                        const ExprBindings& parameters = ExprBindings()) {
    ExprParseContext context;
    Expr* tree = nullptr;
    Answer answer;
    answer.code = Expr::Parse(text, context, tree, answer.error);
    BoundExpr bound;
    if (answer.code == 0) {
        answer.code = BoundExpr::Bind(*tree, scope, parameters, bound, answer.error);
    }
    ExprVariant value;
    if (answer.code == 0) {
        answer.code = bound.Calculate(row, value, answer.error);
    }
    answer.value = answer.code == 0 ? Show(value) : ShowError(answer.error);
    return answer;
}

// What a search gave: "2 of 5 from 1: .#..#", or the code and the reason.
inline std::string ShowMatches(const std::vector<bool>& marks, int count, int first) {
    std::string out =
        std::to_string(count) + " of " + std::to_string(marks.size()) + " from " + std::to_string(first) + ": ";
    for (const bool mark : marks) {
        out += mark ? '#' : '.';
    }
    return out;
}

inline std::string Find(Expr& filter, OstraneCommon::ExprResolver& resolver, const google::protobuf::Message& owner,
                        const google::protobuf::FieldDescriptor* field, IndexRangeList ranges) {
    ExprVariant array;
    array.m_type = OstraneCommon::EXPR_UNRESOLVE;
    array.m_data.pb.SetField(&owner, field, false);
    std::vector<bool> marks;
    int count = 0;
    int first = 99;
    std::string errmsg;
    const int ret = filter.FindArrayMatchPositions(resolver, array, ranges, marks, count, first, errmsg);
    return ret == 0 ? ShowMatches(marks, count, first) : std::to_string(ret) + ": " + errmsg;
}

// The elements of `fieldName` of the record for which `filterText` holds.
inline std::string Find(const std::string& filterText, google::protobuf::Message& record, const std::string& fieldName,
                        const IndexRangeList& ranges = IndexRangeList()) {
    ExprParseContext context;
    Expr* filter = nullptr;
    ExprError error;
    if (Expr::Parse(filterText, context, filter, error) != 0) {
        return "does not parse: " + error.message;
    }
    ProtobufRecord holder;
    holder.m_pMessage = &record;
    OstraneCommon::ProtobuFieldResolver resolver(holder);
    return Find(*filter, resolver, record, record.GetDescriptor()->FindFieldByName(fieldName), ranges);
}

// Reads a message from its text.
inline void Read(const std::string& text, google::protobuf::Message& out) {
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &out)) << text;
}

// The same message of a type that was made at run time.
class DynamicTwin {
public:
    explicit DynamicTwin(const google::protobuf::Message& message)
        : m_copy(m_factory.GetPrototype(message.GetDescriptor())->New()) {
        m_copy->ParsePartialFromString(message.SerializePartialAsString());
    }
    google::protobuf::Message& Get() { return *m_copy; }

private:
    google::protobuf::DynamicMessageFactory m_factory;
    std::unique_ptr<google::protobuf::Message> m_copy;
};

}  // namespace FilterTest

#endif  // OSTRANE_TESTS_EXPR_FILTER_FIXTURE_H_
