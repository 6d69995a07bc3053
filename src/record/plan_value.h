// The values of SET and PUSH: literals checked against the fields that take them.
#ifndef OSTRANE_RECORD_PLAN_VALUE_H_
#define OSTRANE_RECORD_PLAN_VALUE_H_

#include <map>
#include <string>

#include "record/compiled_statements.h"

namespace OstraneRecord {

// Fails because a literal sets both, which are of one oneof.
int FailBothSet(const OneofUse::Member& first, const OneofUse::Member& second, const std::string& hint,
                Failure& failure);

// Compiles the values of one statement.
class ValueCompiler {
public:
    // `element` is the message type that bare names are fields of, null where they are the record's.
    ValueCompiler(CompiledStatements& compiled, CompiledStatement& statement,
                  const google::protobuf::Descriptor* element, Failure& failure)
        : m_compiled(compiled),
          m_statement(statement),
          m_pElement(element),
          m_failure(failure),
          m_depth(DepthOf(statement)) {}

    // A value for the singular field, for the whole repeated field, or for the whole map. null clears a singular
    // field, and the others where `nullClears` says so: where they are sub-fields.
    int Whole(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, bool nullClears,
              ValueNode& out);
    // A value for one element of the repeated field.
    int Element(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, ValueNode& out);
    // One or several new elements of the repeated field: always a list, or the parameter that gives it.
    int Pushed(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, ValueNode& out);

private:
    // Of one literal.
    using OneofUses = std::map<const google::protobuf::OneofDescriptor*, OneofUse>;

    static int DepthOf(const CompiledStatement& statement);
    int FailTooDeep(const Place& place, const google::protobuf::FieldDescriptor* field);
    Place PlaceOf(const OstraneCommon::Expr* node) const;
    int Scalar(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, bool isElement,
               ValueNode& out);
    int Message(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, ValueNode& out);
    int Member(OstraneCommon::Expr* assign, const google::protobuf::Descriptor* type, OneofUses& oneofs,
               ValueNode& out);
    int CheckName(const ValueMember& member, const ValueNode& literal, const Place& place);
    int CheckOneof(const ValueMember& member, const Place& place, OneofUses& oneofs);
    int Entries(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, bool nullClears,
                ValueNode& out);
    int List(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, bool nullClears,
             ValueNode& out);
    std::string ListHint(const OstraneCommon::Expr& node, const google::protobuf::FieldDescriptor* field) const;
    int Parameter(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, bool takesNull,
                  bool takesSingle, bool takesList, ValueNode& out);
    std::vector<const google::protobuf::FieldDescriptor*> MessagePath() const;
    std::string ExtensionHint(const OstraneCommon::Expr& list) const;
    std::string ShownName(const google::protobuf::FieldDescriptor* field) const;
    int Computed(OstraneCommon::Expr* node, const google::protobuf::FieldDescriptor* field, ValueNode& out);

    CompiledStatements& m_compiled;
    CompiledStatement& m_statement;
    const google::protobuf::Descriptor* m_pElement;
    Failure& m_failure;
    // The singular message fields whose literals are open, outermost first: the way to an old value.
    std::vector<const google::protobuf::FieldDescriptor*> m_chain;
    // The literals that are open, of messages, lists and maps.
    int m_open = 0;
    // Inside a new message, a list or a map's entry there is no old value.
    int m_newDepth = 0;
    int m_depth;  // of messages, counted from the record
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_PLAN_VALUE_H_
