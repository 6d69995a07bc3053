// Turns a tree into nodes that know the schema.
#ifndef OSTRANE_EXPR_EVAL_BIND_H_
#define OSTRANE_EXPR_EVAL_BIND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "expr/bound_program.h"
#include "expr/eval_path.h"
#include "expr/statement.h"

namespace OstraneCommon {

// Binds one tree. Every step returns null after it has told the error.
class Binder {
public:
    Binder(const ExprScope& scope, const BindSource& source, BoundProgram& program, ExprError& error)
        : m_scope(scope), m_source(source), m_program(program), m_error(error) {}

    NodePtr Bind(const Expr* expr);
    NodePtr BindCondition(const Expr* expr, const char* what);
    // Only the steps of a name of the record; false after the error was told.
    bool BindRecordName(const Expr& expr, const NamePath& name, BoundPath& path);
    // Only the key of a step to an entry of the map step.field; the key's text lives in the program.
    bool BindKey(const ExprVariant& key, BoundStep& step);

private:
    // eval_bind.cpp: operators.
    NodePtr Dispatch(const Expr& expr);
    NodePtr BindComparison(const Expr& expr);
    void HintAtQuotes(const Expr& unknown, const Expr& partner);
    NodePtr BindIsNull(const Expr& expr, const Expr& operand);
    NodePtr BindConnective(const Expr& expr);
    NodePtr BindArithmetic(const Expr& expr);
    NodePtr BindSign(const Expr& expr);
    NodePtr BindBetween(const Expr& expr);
    // eval_bind_call.cpp: LIKE, CONTAINS, functions.
    NodePtr BindLike(const Expr& expr);
    NodePtr BindContains(const Expr& expr);
    NodePtr BindFunction(const Expr& expr);
    NodePtr BindCoalesce(const Expr& expr);
    NodePtr BindSize(const Expr& expr);
    // eval_bind_in.cpp: IN, and CONTAINS of a list.
    NodePtr BindIn(const Expr& expr);
    NodePtr BindInItems(NodePtr value, std::vector<NodePtr> items);
    NodePtr BindInField(NodePtr value, NodePtr list);
    bool SettleItem(const BoundNode& value, NodePtr item, std::vector<Value>& constants, bool& hasNull,
                    std::vector<InItem>& items);
    // eval_bind_name.cpp: literals, parameters and names.
    NodePtr BindParameter(const Expr& expr);
    NodePtr BindName(const Expr& expr, bool asksPresence);
    NodePtr BindPath(const Expr& expr, const NamePath& name, bool asksPresence);
    NodePtr BindSelf(const ExprVariant& place, bool asksPresence);
    NodePtr BindResolved(const Expr& expr, const NamePath& name, bool asksPresence);
    NodePtr MakeResolved(ExprVariant& answer, const ExprVariant& place, bool asksPresence);
    bool NameWithParameters(const Expr& expr, std::string& text);
    bool FindStart(const ExprVariant& place, const NamePath& name, BoundPath& path,
                   const google::protobuf::Descriptor*& descriptor);
    bool BindSteps(const Expr& expr, const NamePath& name, const google::protobuf::Descriptor* descriptor,
                   BoundPath& path);
    bool BindSubscript(const ExprVariant& place, const Expr* subscript, const ExprVariant* parameter, BoundStep& step);
    NodePtr MakeConstant(const ExprVariant& variant, const ExprVariant& place);
    NodePtr MakeConstantList(const std::vector<ExprVariant>& items, const ExprVariant& place);
    NodePtr MakeFieldConstant(const ExprVariant& variant, const ExprVariant& place);
    NodePtr MakeText(const std::string& text, bool isBytes);
    const ExprVariant* FindParameter(const ExprVariant& question);

    // Checks, and small steps that several productions share.
    bool TakeOperands(const Expr& expr, size_t least, size_t most);
    bool IsScalar(const BoundNode& node);
    bool Settle(NodePtr& left, NodePtr& right, ExprType op, bool& isEnumName);
    bool SettleSide(const BoundNode& fixed, NodePtr& constant);
    NodePtr Compared(ExprType op, NodePtr left, NodePtr right);
    NodePtr Truth(NodePtr node, const char* what);
    NodePtr Folded(NodePtr node);
    void Share(NodePtr& a, NodePtr& b);
    void ShareAll(std::vector<NodePtr*> nodes);
    NodePtr Fail(int code, const ExprVariant& place, const std::string& message, const std::string& hint = "");
    NodePtr FailAt(int code, int32_t offset, size_t length, const std::string& message, const std::string& hint = "");
    NodePtr TypeError(const ExprVariant& place, const std::string& message, const std::string& hint = "");

    const ExprScope& m_scope;
    const BindSource& m_source;
    BoundProgram& m_program;
    ExprError& m_error;
    ExprParseContext m_names;  // of taken apart names
    ExprVariant m_resolvedParameter;
    int m_depth = 0;
    int64_t m_nodeCount = 0;
};

// "an integer", "a repeated field", for messages.
std::string KindText(const BoundNode& node);
// "an integer and a text".
std::string KindsText(const BoundNode& left, const BoundNode& right);
// Whether values of the two can stand beside each other, in a comparison or in coalesce(): NULL goes with all, an
// enum with numbers and names of its own.
bool IsOneKind(const BoundNode& left, const BoundNode& right);

inline bool IsTextKind(ValueKind kind) {
    return kind == ValueKind::Text || kind == ValueKind::Bytes;
}

// Whether the node is a constant, and it as one.
ConstantNode* AsConstant(const NodePtr& node);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_EVAL_BIND_H_
