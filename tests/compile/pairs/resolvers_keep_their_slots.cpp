// A host's resolver overrides what is there to be overridden.
#include "common/expr.h"

#ifdef FORBIDDEN
using Array = const OstraneCommon::ExprVariant;
#else
using Array = OstraneCommon::ExprVariant;
#endif

class HostResolver : public OstraneCommon::ExprResolver {
public:
    int ArraySize(Array& var) override;
};

int HostResolver::ArraySize(Array& var) {
    return static_cast<int>(var.m_type);
}
