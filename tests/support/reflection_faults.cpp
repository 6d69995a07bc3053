#include "support/reflection_faults.h"

#include <google/protobuf/message.h>

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::Reflection;

namespace {

ReflectionFault* activeFault = nullptr;

bool IsToFail(ReflectionCall call) {
    return activeFault != nullptr && activeFault->Takes(call);
}

}  // namespace

ReflectionFault::ReflectionFault(ReflectionCall call, int ordinal) : m_call(call), m_ordinal(ordinal) {
    activeFault = this;
}

ReflectionFault::~ReflectionFault() {
    activeFault = nullptr;
}

bool ReflectionFault::Takes(ReflectionCall call) {
    if (m_call != ReflectionCall::Any && m_call != call) {
        return false;
    }
    return ++m_count == m_ordinal;
}

// With --wrap=NAME the linker binds the program's calls of NAME to __wrap_NAME, and __real_NAME to the
// function itself. The names are those of the members as the compiler spells them, so the object comes
// as the first argument. The list of them in CMakeLists.txt is the same.
#define OSTRANE_WRAPPED(CALL, SYMBOL, PARAMETERS, ARGUMENTS)                    \
    extern "C" void* Real##CALL PARAMETERS __asm__("__real_" SYMBOL);           \
    extern "C" void* Wrap##CALL PARAMETERS __asm__("__wrap_" SYMBOL);           \
    void* Wrap##CALL PARAMETERS {                                               \
        return IsToFail(ReflectionCall::CALL) ? nullptr : Real##CALL ARGUMENTS; \
    }

#define OSTRANE_WRAPPED_SCALAR(CALL, LETTER)                                                 \
    OSTRANE_WRAPPED(CALL,                                                                    \
                    "_ZNK6google8protobuf10Reflection28MutableRepeatedFieldInternalI" LETTER \
                    "EEPNS0_13RepeatedFieldIT_EEPNS0_7MessageEPKNS0_15FieldDescriptorE",     \
                    (const Reflection* self, Message* message, const FieldDescriptor* field), (self, message, field))

OSTRANE_WRAPPED_SCALAR(MutableBools, "b")
OSTRANE_WRAPPED_SCALAR(MutableInt32s, "i")
OSTRANE_WRAPPED_SCALAR(MutableUInt32s, "j")
OSTRANE_WRAPPED_SCALAR(MutableInt64s, "l")
OSTRANE_WRAPPED_SCALAR(MutableUInt64s, "m")
OSTRANE_WRAPPED_SCALAR(MutableDoubles, "d")
OSTRANE_WRAPPED_SCALAR(MutableFloats, "f")
OSTRANE_WRAPPED(MutableStrings,
                "_ZNK6google8protobuf10Reflection24MutableRawRepeatedStringEPNS0_7MessageEPKNS0_15FieldDescriptorEb",
                (const Reflection* self, Message* message, const FieldDescriptor* field, bool isString),
                (self, message, field, isString))
OSTRANE_WRAPPED(MutableElements,
                "_ZNK6google8protobuf10Reflection23MutableRawRepeatedFieldEPNS0_7MessageEPKNS0_15FieldDescriptorENS4_"
                "7CppTypeEiPKNS0_10DescriptorE",
                (const Reflection* self, Message* message, const FieldDescriptor* field, FieldDescriptor::CppType type,
                 int ctype, const Descriptor* descriptor),
                (self, message, field, type, ctype, descriptor))
OSTRANE_WRAPPED(AddMessage,
                "_ZNK6google8protobuf10Reflection10AddMessageEPNS0_7MessageEPKNS0_15FieldDescriptorEPNS0_"
                "14MessageFactoryE",
                (const Reflection* self, Message* message, const FieldDescriptor* field, MessageFactory* factory),
                (self, message, field, factory))

#undef OSTRANE_WRAPPED_SCALAR
#undef OSTRANE_WRAPPED
