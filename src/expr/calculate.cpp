// The value of a tree, read through a resolver.
//
// Names are resolved, and types checked, before anything is computed: the tree is bound as it is for a
// search, with the resolver's answers as constants. A ProtobuFieldResolver's record is bound to directly,
// since its schema also tells defaults from values that were set.
#include <google/protobuf/message.h>

#include "common/protobuf_field_resolver.h"
#include "expr/bound_program.h"

namespace OstraneCommon {

int Expr::Calculate(ExprResolver& resolver, ExprVariant& out, std::string& errmsg) const {
    const ProtobuFieldResolver* const fields = dynamic_cast<const ProtobuFieldResolver*>(&resolver);
    EvalContext context;
    ExprScope scope;
    if (fields != nullptr && fields->Record().m_pMessage != nullptr) {
        context.row.record = fields->Record().m_pMessage;
        scope.record = context.row.record->GetDescriptor();
    }
    BindSource source;
    source.resolver = &resolver;
    BoundProgram program;
    ExprError error;
    int ret = BindProgram(*this, scope, source, false, program, error);
    Value value;
    if (ret == 0) {
        context.error = &error;
        ret = EvalProgram(program, context, value);
    }
    if (ret != 0) {
        errmsg = error.message;
        return ret;
    }
    out = VariantOf(value, program.root->type);
    return 0;
}

}  // namespace OstraneCommon
