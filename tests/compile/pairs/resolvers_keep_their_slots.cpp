// A host's resolver overrides what is there to be overridden.
#include "common/expr.h"

class HostResolver : public OstraneCommon::ExprResolver {
public:
#ifdef FORBIDDEN
    int ArraySize(const OstraneCommon::ExprVariant& var) override;
#else
    int ArraySize(OstraneCommon::ExprVariant& var) override;
#endif
};

int HostResolver::ArraySize(OstraneCommon::ExprVariant& var) {
    return static_cast<int>(var.m_type);
}
