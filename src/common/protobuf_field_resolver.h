// Reads the fields of a record for expressions.
//
//
//   ProtobuFieldResolver resolver(record);
//   ExprVariant name;
//   name.m_type = EXPR_UNRESOLVE;
//   name.m_flags = EXPR_FLAG_NAME;
//   name.m_str = "items[2].tags";
//   resolver.Resolve(&name, tags);    // 0; resolver.IsArray(tags)
//
// Paths, operators and NULL are those of the statement language.
#ifndef OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_
#define OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "expr.h"
#include "protobuf_record.h"

namespace OstraneCommon {

// Built on the stack for one evaluation. The record outlives it. Values that it hands out point into
// the record's message: they are valid until that changes.
class ProtobuFieldResolver : public ExprResolver {
public:
    explicit ProtobuFieldResolver(const ProtobufRecord& record);
    ~ProtobuFieldResolver() override;

    // An EXPR_NULL for what is unset or missing, else an EXPR_UNRESOLVE whose `pb` is the field, the element
    // or the whole message; of an EXPR_QUESTION the value it was given. Returns 0, or
    // COMMON_ERR_INVALID_FIELD_NAME or COMMON_ERR_INVALID_EXPR_TYPE for a name that is not there.
    int Resolve(ExprVariant* name, ExprVariant& out) override;
    bool IsStruct(ExprVariant& var) override;
    bool IsArray(ExprVariant& var) override;
    bool IsMap(ExprVariant& var) override;
    int ArraySize(ExprVariant& var) override;
    int MapSize(ExprVariant& var) override;
    // Negative indexes count from the end; COMMON_ERR_INVALID_ARRAY_INDEX outside.
    int ArrayGet(ExprVariant& array, int index, ExprVariant& out) override;
    int MapFind(ExprVariant& map, Expr& key, ExprVariant& out, bool isMutable, bool& isFound) override;

    const ProtobufRecord& Record() const { return m_record; }

    // Gives a value to a bare name, and to the parameters `:name` and the number-th `?`, from 1, in the
    // innermost scope. A list is an EXPR_VALUE_LIST whose m_data.ptr is a const std::vector<ExprVariant>*
    // that outlives the resolver.
    void SetNamedValue(const std::string& name, const ExprVariant& value);
    void SetParameter(const std::string& name, const ExprVariant& value);
    void SetParameter(uint64_t number, const ExprVariant& value);
    void OpenScope() { m_scopes.emplace_back(); }
    void CloseScope();
    // The value of a bare name, innermost scope first, or null.
    const ExprVariant* FindNamedValue(const std::string& name) const;

private:
    int ResolveField(const ExprVariant& name, ExprVariant& out);

    const ProtobufRecord& m_record;
    // Named values, innermost scope last; looked up before the record's fields. The parameters' names start
    // with ':' and '?', which no field's does.
    std::list<std::map<std::string, ExprVariant>> m_scopes;
};

}  // namespace OstraneCommon

#endif  // OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_
