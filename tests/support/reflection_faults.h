// Makes calls of protobuf's reflection give null, to reach the paths that ask for it.
//
//   ReflectionFault fault(ReflectionCall::MutableStrings);
//   EXPECT_EQ(util.PushWithExpr(field, expr), OstraneErrCode::GEN_ERR_ERR);
//   EXPECT_TRUE(fault.HasFired());
//
// Link ostrane_reflection_faults: the linker leads the program's own calls through here. Calls that
// libprotobuf makes itself are not touched. One thread, one fault at a time.
#ifndef OSTRANE_TESTS_SUPPORT_REFLECTION_FAULTS_H_
#define OSTRANE_TESTS_SUPPORT_REFLECTION_FAULTS_H_

#include <cstdint>
#include <type_traits>

enum class ReflectionCall {
    MutableBools,
    MutableInt32s,
    MutableUInt32s,
    MutableInt64s,
    MutableUInt64s,
    MutableDoubles,
    MutableFloats,
    MutableStrings,
    MutableElements,  // messages, and strings where protobuf reaches them by their base
    AddMessage,
    Any,  // whichever of them comes
};

// The call that gives the container of a scalar type.
template <typename T>
constexpr ReflectionCall ContainerCall() {
    if (std::is_same<T, bool>::value) {
        return ReflectionCall::MutableBools;
    }
    if (std::is_same<T, double>::value) {
        return ReflectionCall::MutableDoubles;
    }
    if (std::is_same<T, float>::value) {
        return ReflectionCall::MutableFloats;
    }
    if (std::is_signed<T>::value) {
        return sizeof(T) == sizeof(int32_t) ? ReflectionCall::MutableInt32s : ReflectionCall::MutableInt64s;
    }
    return sizeof(T) == sizeof(uint32_t) ? ReflectionCall::MutableUInt32s : ReflectionCall::MutableUInt64s;
}

// While it lives, the `ordinal`-th such call, from 1, gives null; the others go through.
class ReflectionFault {
public:
    explicit ReflectionFault(ReflectionCall call, int ordinal = 1);
    ReflectionFault(const ReflectionFault&) = delete;
    ReflectionFault& operator=(const ReflectionFault&) = delete;
    ~ReflectionFault();

    // Whether a call was given null.
    bool HasFired() const { return m_count >= m_ordinal; }
    // Whether this call, which is being made, is to fail.
    bool Takes(ReflectionCall call);

private:
    const ReflectionCall m_call;
    const int m_ordinal;
    int m_count = 0;
};

#endif  // OSTRANE_TESTS_SUPPORT_REFLECTION_FAULTS_H_
