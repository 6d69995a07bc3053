// Reads the fields of a record for expressions.
//
// A path is looked up in the element that a filter is asked about, or in the record's message.
#ifndef OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_
#define OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_

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

    int Resolve(ExprVariant* name, ExprVariant& out) override;
    bool IsStruct(ExprVariant& var) override;
    bool IsArray(ExprVariant& var) override;
    bool IsMap(ExprVariant& var) override;
    int ArraySize(ExprVariant& var) override;
    int MapSize(ExprVariant& var) override;
    int ArrayGet(ExprVariant& array, int index, ExprVariant& out) override;
    int MapFind(ExprVariant& map, Expr& key, ExprVariant& out, bool isMutable, bool& isFound) override;

    const ProtobufRecord& Record() const { return m_record; }

private:
    const ProtobufRecord& m_record;
    // Named values, innermost scope last; looked up before the record's fields.
    std::list<std::map<std::string, ExprVariant>> m_scopes;
};

}  // namespace OstraneCommon

#endif  // OSTRANE_COMMON_PROTOBUF_FIELD_RESOLVER_H_
