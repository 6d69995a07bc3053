// The field operations that are no templates.
//
//   SetWithExpr, PushWithExpr          one value, or one message element from sub-field values
//     -> SetRepeatedFieldWithExpr ..   a worker by element type
//       -> SetRepeatedField ..         the scalar primitives (header)
//       -> AssignField                 one sub-field
//   UpdateWithPbField                  a whole field or message
//     -> PushWithPbField
//   SetWithPbField, PushWithPbField    a run of another field's elements
//     -> SetRepeatedFieldWithPbField ..
//   PopWithExpr -> PopWithRange        selected elements leave
//   GetWithRange                       selected elements are handed out
//     -> PopRepeatedField .., GetRepeatedField ..
//       -> MarkMatchPositions          the expression library decides which
//
// An element that is inserted is added at the end and moved to its place by moving pointers or raw
// values, never by copying a string or a message.
#include "common/protobuf_record_util.h"

#include <google/protobuf/arena.h>
#include <sys/types.h>

#include "common/protobuf_field_resolver.h"
#include "common/string_util.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

using google::protobuf::Descriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::RepeatedPtrField;
using OstraneCommon::Expr;
using OstraneCommon::ExprType;
using OstraneCommon::ExprVariant;
using OstraneCommon::IndexRangeList;
using OstraneCommon::PbField;

namespace {

constexpr const char* SOURCE_PATH = "src/common/protobuf_record_util.cpp";

#define OSTRANE_ERROR(...) OSTRANE_LOG(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, __VA_ARGS__)
#define OSTRANE_DEBUG(...) OSTRANE_LOG(m_pLog, LOG_PRIORITY_DEBUG, SOURCE_PATH, __VA_ARGS__)

std::string TypeName(const Message& message) {
    return std::string(message.GetDescriptor()->full_name());
}

// The value node of the one assignment `$ = value` that a scalar or string element takes, in `value`.
// The lines carry the name of the operation that asks, since both operations share the rules.
int FindElementValue(LogCategory* log, const char* function, Expr& expr, Expr*& value) {
    if (expr.OperandCount() != 2) {
        OSTRANE_LOG_AS(log, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "require only 1 assign expr, but %zd",
                       static_cast<ssize_t>(expr.OperandCount()) - 1);
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    }
    Expr& assign = expr.OperandRef(1);
    if (assign.m_self.m_type != OstraneCommon::EXPR_ASSIGN) {
        OSTRANE_LOG_AS(log, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "require assign expr, expr=%s",
                       assign.m_self.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    }
    if (assign.IsOperandEmpty()) {
        OSTRANE_LOG_AS(log, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "invalid assign expr");
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
    }
    const std::string& name = assign.m_self.m_str;
    if (name.size() != 1 || name[0] != '$') {
        OSTRANE_LOG_AS(log, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "not found field '%s'", name.c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    value = assign.Operand(0);
    return 0;
}

// Whether the tree starts like a set or push expression: an index and at least one value.
bool HasIndexAndValue(const Expr& expr) {
    return expr.OperandCount() > 1 && expr.OperandRef(0).m_self.m_type == OstraneCommon::EXPR_INDEX_RANGE;
}

// The pointers of a container, in order; null when it is empty.
template <typename Element>
Element** Pointers(RepeatedPtrField<Element>* container) {
    return container->empty() ? nullptr : &*container->pointer_begin();
}

// One pass: the last element comes to `pos`, those from `pos` on move up by one place.
template <typename Element>
void MoveLastTo(RepeatedPtrField<Element>* container, int pos) {
    const int size = container->size();
    if (pos < size - 1) {
        Element** pointers = Pointers(container);
        std::rotate(pointers + pos, pointers + size - 1, pointers + size);
    }
}

// Exchanges two messages of one type. Protobuf's own exchange wants one implementation on both sides,
// which a generated and a dynamic message of one type do not share: their contents are copied.
void Exchange(Message* a, Message* b) {
    if (a->GetReflection() == b->GetReflection()) {
        a->GetReflection()->Swap(a, b);
        return;
    }
    const std::unique_ptr<Message> former(a->New());
    former->CopyFrom(*a);
    a->CopyFrom(*b);
    b->CopyFrom(*former);
}

void Exchange(std::string* a, std::string* b) {
    a->swap(*b);
}

void Copy(std::string* target, const std::string& source) {
    target->assign(source);
}

// As CopyFrom, which a protobuf built with assertions lets search the whole target for the source first.
void Copy(Message* target, const Message& source) {
    if (target != &source) {
        target->Clear();
        target->MergeFrom(source);
    }
}

std::unique_ptr<std::string> NewLike(const std::string& /*element*/) {
    return std::make_unique<std::string>();
}

std::unique_ptr<Message> NewLike(const Message& element) {
    return std::unique_ptr<Message>(element.New());
}

// The elements that a source stands for, first and last.
struct SourceBounds {
    explicit SourceBounds(const PbField& src, const Reflection* reflection = nullptr) {
        if (src.isArrayRange) {
            begin = src.idxBegin;
            end = src.idxEnd;
        } else if (src.pFieldDesc != nullptr) {
            reflection = reflection != nullptr ? reflection : src.pMessage->GetReflection();
            end = reflection->FieldSize(*src.pMessage, src.pFieldDesc) - 1;
        }
    }

    int Count() const { return end - begin + 1; }

    int begin = 0;
    int end = 0;  // the whole message is one element
};

// The message behind a source that may be consumed: its owner allows it to be changed.
Message* Consumable(const PbField& src) {
    return const_cast<Message*>(src.pMessage);
}

template <typename Element>
RepeatedPtrField<Element>* MutableElements(Message* parent, const FieldDescriptor* fieldDesc,
                                           const Reflection* reflection = nullptr) {
    if (reflection == nullptr) {
        reflection = parent->GetReflection();
    }
    return reflection->MutableRepeatedPtrField<Element>(parent, fieldDesc);
}

template <typename Element>
const RepeatedPtrField<Element>& Elements(const Message& parent, const FieldDescriptor* fieldDesc) {
    return parent.GetReflection()->GetRepeatedPtrField<Element>(parent, fieldDesc);
}

bool IsSameField(const MutableProtobufField& field, const PbField& src) {
    return src.pMessage == field.m_pParent && src.pFieldDesc == field.m_pFieldDesc;
}

// The elements of the source run when it is a run of the target itself, else none. The elements stay
// where they are while the container grows and its pointers move.
template <typename Element>
std::vector<Element*> OwnRun(RepeatedPtrField<Element>* target, const MutableProtobufField& field, const PbField& src,
                             const SourceBounds& run) {
    if (!IsSameField(field, src) || run.Count() <= 0) {
        return {};
    }
    Element** pointers = Pointers(target);
    return std::vector<Element*>(pointers + run.begin, pointers + run.end + 1);
}

// Writes copies of the elements of a run to `places` of the same container, as they were before any is
// written.
template <typename Element>
void CopyFromItself(Element** places, const std::vector<Element*>& run) {
    std::vector<std::unique_ptr<Element>> values;
    values.reserve(run.size());
    for (const Element* element : run) {
        values.push_back(NewLike(*element));
        Copy(values.back().get(), *element);
    }
    for (size_t k = 0; k < run.size(); ++k) {
        Exchange(places[k], values[k].get());
    }
}

// Moves the elements of a run, which begins at `begin` before the pass of a push to `pos`, to the
// places from `pos` on of the same container. The position that an element leaves gets the element
// that stood at its new place; was that one of the run too, then what stood at that one's new place.
//
//   [a, b, c]  push own 0..1 at 1  ->  the pass  [a, "", b, c, ""]  ->  ["", a, b, c, ""]
template <typename Element>
void MoveWithinItself(Element** pointers, int pos, const std::vector<Element*>& run, int begin) {
    const int count = static_cast<int>(run.size());
    const std::vector<Element*> displaced(pointers + pos, pointers + pos + count);
    std::copy(run.begin(), run.end(), pointers + pos);
    for (int k = 0; k < count; ++k) {
        const int left = begin + k < pos ? begin + k : begin + k + 1;
        if (left >= pos && left < pos + count) {
            continue;
        }
        // Place m was taken by the pass from position pos + m - 1, place 0 by a new element.
        int m = k;
        while (m > 0 && pos + m - 1 >= begin && pos + m - 1 < begin + count) {
            m = pos + m - 1 - begin;
        }
        pointers[left] = displaced[static_cast<size_t>(m)];
    }
}

// Writes the places from `pos` on of a container that has been pushed to from a run of its own.
template <typename Element>
void FillFromItself(RepeatedPtrField<Element>* container, int pos, const std::vector<Element*>& run, bool isMutable,
                    int begin) {
    if (isMutable) {
        MoveWithinItself(Pointers(container), pos, run, begin);
    } else {
        CopyFromItself(Pointers(container) + pos, run);
    }
}

// The reflections of a target and of a source, asked for unless they are there.
struct Reflections {
    Reflections(const MutableProtobufField& field, const PbField& src, const Reflection* targetReflection,
                const Reflection* sourceReflection)
        : target(targetReflection != nullptr ? targetReflection : field.m_pParent->GetReflection()),
          source(sourceReflection != nullptr ? sourceReflection : src.pMessage->GetReflection()) {}

    const Reflection* target;
    const Reflection* source;
};

// Writes the elements idxBegin .. idxEnd of the target field, which is `field`, from those of the source field,
// from srcBegin on, in ascending order.
template <typename Element>
void FillFromField(RepeatedPtrField<Element>* target, const MutableProtobufField& field, int idxBegin, int idxEnd,
                   const PbField& src, int srcBegin, const Reflections& reflections) {
    if (idxBegin > idxEnd) {
        return;
    }
    const Reflection* reflection = reflections.target;
    const Reflection* sourceReflection = reflections.source;
    if (!src.isMutable) {
        const RepeatedPtrField<Element>& source =
            sourceReflection->GetRepeatedPtrField<Element>(*src.pMessage, src.pFieldDesc);
        for (int i = idxBegin, j = srcBegin; i <= idxEnd; ++i, ++j) {
            Copy(target->Mutable(i), source.Get(j));
        }
        return;
    }
    RepeatedPtrField<Element>* source =
        sourceReflection->MutableRepeatedPtrField<Element>(Consumable(src), src.pFieldDesc);
    // With one owner of both, an arena or the heap, and one maker of their elements, the objects change
    // places, which costs far less than exchanging the contents of two messages.
    if (field.m_pParent->GetArena() != src.pMessage->GetArena() ||
        reflection->GetMessageFactory() != sourceReflection->GetMessageFactory()) {
        for (int i = idxBegin, j = srcBegin; i <= idxEnd; ++i, ++j) {
            Exchange(target->Mutable(i), source->Mutable(j));
        }
        return;
    }
    Element** targetPointers = Pointers(target) + idxBegin;
    Element** sourcePointers = Pointers(source) + srcBegin;
    const int count = idxEnd - idxBegin + 1;
    if (source != target) {
        std::swap_ranges(targetPointers, targetPointers + count, sourcePointers);
        return;
    }
    // The runs may overlap.
    for (int i = 0; i < count; ++i) {
        std::swap(targetPointers[i], sourcePointers[i]);
    }
}

// The same for messages, whose source may be a whole message.
void FillMessages(RepeatedPtrField<Message>* target, const MutableProtobufField& field, int idxBegin, int idxEnd,
                  const PbField& src, int srcBegin, const Reflections& reflections) {
    if (src.pFieldDesc != nullptr) {
        FillFromField(target, field, idxBegin, idxEnd, src, srcBegin, reflections);
        return;
    }
    for (int i = idxBegin; i <= idxEnd; ++i) {
        if (src.isMutable) {
            Exchange(target->Mutable(i), Consumable(src));
        } else {
            target->Mutable(i)->CopyFrom(*src.pMessage);
        }
    }
}

}  // namespace

int ProtobufRecordUtil::AssignField(MutableProtobufField& field, ExprVariant& value, const Reflection* reflection) {
    Message* parent = field.m_pParent;
    const FieldDescriptor* fieldDesc = field.m_pFieldDesc;
    if (reflection == nullptr) {
        reflection = parent->GetReflection();
    }
    switch (fieldDesc->cpp_type()) {
#define OSTRANE_ASSIGN(CPPTYPE, T, Setter)                  \
    case FieldDescriptor::CPPTYPE: {                        \
        T element = T{};                                    \
        if (OstraneCommon::CastElement(value, element)) {   \
            reflection->Setter(parent, fieldDesc, element); \
            return 0;                                       \
        }                                                   \
        break;                                              \
    }
        OSTRANE_ASSIGN(CPPTYPE_INT32, int32_t, SetInt32)
        OSTRANE_ASSIGN(CPPTYPE_INT64, int64_t, SetInt64)
        OSTRANE_ASSIGN(CPPTYPE_UINT32, uint32_t, SetUInt32)
        OSTRANE_ASSIGN(CPPTYPE_UINT64, uint64_t, SetUInt64)
        OSTRANE_ASSIGN(CPPTYPE_DOUBLE, double, SetDouble)
        OSTRANE_ASSIGN(CPPTYPE_FLOAT, float, SetFloat)
        OSTRANE_ASSIGN(CPPTYPE_BOOL, bool, SetBool)
#undef OSTRANE_ASSIGN
        case FieldDescriptor::CPPTYPE_ENUM: {
            const std::string* name = nullptr;
            const EnumValueDescriptor* enumValue = nullptr;
            if (value.CastRef(name) && name != nullptr) {
                enumValue = fieldDesc->enum_type()->FindValueByName(*name);
            }
            if (enumValue != nullptr) {
                reflection->SetEnum(parent, fieldDesc, enumValue);
                return 0;
            }
            break;
        }
        case FieldDescriptor::CPPTYPE_STRING: {
            const std::string* text = nullptr;
            if (value.CastRef(text) && text != nullptr) {
                reflection->SetString(parent, fieldDesc, *text);
                return 0;
            }
            break;
        }
        default:
            break;
    }
    OSTRANE_ERROR("type cast failed, proto-cpp-type=%d, variant=%s", static_cast<int>(fieldDesc->cpp_type()),
                  value.ToStr().c_str());
    return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
}

// The scalar types of a dispatch: a row a type, each returning what its worker returns.
#define OSTRANE_SCALAR_CASES(ROW) \
    ROW(CPPTYPE_INT32, int32_t)   \
    ROW(CPPTYPE_INT64, int64_t)   \
    ROW(CPPTYPE_UINT32, uint32_t) \
    ROW(CPPTYPE_UINT64, uint64_t) \
    ROW(CPPTYPE_DOUBLE, double)   \
    ROW(CPPTYPE_FLOAT, float)     \
    ROW(CPPTYPE_BOOL, bool)

int ProtobufRecordUtil::SetWithExpr(MutableProtobufField& field, Expr& expr) {
    const Reflection* reflection = field.m_pParent->GetReflection();
    if (reflection == nullptr) {
        OSTRANE_ERROR("GetReflection failed, field=%s", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    if (!HasIndexAndValue(expr)) {
        OSTRANE_ERROR("invalid operands, expr = %s", expr.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const int size = reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc);
    const std::string& indexText = expr.OperandRef(0).m_self.m_str;
    int index = 0;
    if (size <= 0 || !StringToInt<int>(indexText, index, size - 1, -1)) {
        OSTRANE_ERROR("field=%s, invalid array index=%s, repeated.size=%d", FullName(field.m_pFieldDesc).c_str(),
                      indexText.c_str(), size);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    if (index == -1) {
        index = size - 1;
    }
    const FieldDescriptor::CppType cppType = field.m_pFieldDesc->cpp_type();
    if (cppType == FieldDescriptor::CPPTYPE_MESSAGE) {
        return SetRepeatedMessageWithExpr(field, index, expr.m_operands->begin() + 1, expr.m_operands->end(),
                                          reflection);
    }
    Expr* value = nullptr;
    const int ret = FindElementValue(m_pLog, __func__, expr, value);
    if (ret != 0) {
        return ret;
    }
    switch (cppType) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return SetRepeatedFieldWithExpr<T>(field, index, *value, reflection);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_STRING:
            return SetRepeatedStringWithExpr(field, index, *value, reflection);
        default:
            // Enum elements too: their values are copied from a source field only.
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(cppType));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

int ProtobufRecordUtil::SetRepeatedStringWithExpr(MutableProtobufField& field, int index, Expr& value,
                                                  const Reflection* reflection) {
    const std::string* text = nullptr;
    if (!value.m_self.CastRef(text) || text == nullptr) {
        OSTRANE_ERROR("cast to string failed, field=%s, expr=%s", FullName(field.m_pFieldDesc).c_str(),
                      value.m_self.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    reflection->SetRepeatedString(field.m_pParent, field.m_pFieldDesc, index, *text);
    return 0;
}

// Gives the sub-fields that the run names their values, in order. Each failure calls beforeFailure, then
// writes its line in the name of `function`, and returns.
template <typename BeforeFailure>
int ProtobufRecordUtil::AssignSubFields(const char* function, Message* element, ExprIterator first, ExprIterator last,
                                        BeforeFailure beforeFailure) {
    const Descriptor* elementDesc = element->GetDescriptor();
    const Reflection* elementReflection = element->GetReflection();
    for (; first != last; ++first) {
        Expr& assign = **first;
        const std::string& name = assign.m_self.m_str;
        if (assign.m_self.m_type != OstraneCommon::EXPR_ASSIGN || assign.IsOperandEmpty()) {
            beforeFailure();
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "invalid assign expr, field=%s",
                           name.c_str());
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_SYNTAX;
        }
        MutableProtobufField subField = {element, elementDesc->FindFieldByName(name)};
        if (subField.m_pFieldDesc == nullptr) {
            beforeFailure();
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "%s not exist in %s", name.c_str(),
                           std::string(elementDesc->full_name()).c_str());
            return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
        }
        const int ret = AssignField(subField, assign.OperandRef(0).m_self, elementReflection);
        if (ret != 0) {
            beforeFailure();
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "AssignField(%s) failed, ret=%d",
                           name.c_str(), ret);
            return ret;
        }
    }
    return 0;
}

// No rollback: the sub-fields before a failing one keep their new values, and required ones are not
// looked at, since the element was there before.
int ProtobufRecordUtil::SetRepeatedMessageWithExpr(MutableProtobufField& field, int index, ExprIterator first,
                                                   ExprIterator last, const Reflection* reflection) {
    RepeatedPtrField<Message>* pRepeated = MutableElements<Message>(field.m_pParent, field.m_pFieldDesc, reflection);
    if (pRepeated == nullptr) {
        OSTRANE_ERROR("pRepeated(%s) is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    Message* element = pRepeated->Mutable(index);
    if (element == nullptr) {
        OSTRANE_ERROR("pRepeated(%s)[%d] is null", FullName(field.m_pFieldDesc).c_str(), index);
        return OstraneErrCode::GEN_ERR_ERR;
    }
    if (element->GetDescriptor() == nullptr || element->GetReflection() == nullptr) {
        OSTRANE_ERROR("%s desc or reflection is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    return AssignSubFields(__func__, element, first, last, [] {});
}

int ProtobufRecordUtil::PushWithExpr(MutableProtobufField& field, Expr& expr) {
    const Reflection* reflection = field.m_pParent->GetReflection();
    if (reflection == nullptr) {
        OSTRANE_ERROR("GetReflection failed, field=%s", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    if (!HasIndexAndValue(expr)) {
        OSTRANE_ERROR("invalid operands, expr = %s", expr.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const int size = reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc);
    const std::string& posText = expr.OperandRef(0).m_self.m_str;
    int pos = 0;
    if (!StringToInt<int>(posText, pos, size, -1)) {
        OSTRANE_ERROR("field=%s, invalid array index=%s, repeated.size=%d", FullName(field.m_pFieldDesc).c_str(),
                      posText.c_str(), size);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    if (pos == -1) {
        pos = size;
    }
    const FieldDescriptor::CppType cppType = field.m_pFieldDesc->cpp_type();
    if (cppType == FieldDescriptor::CPPTYPE_MESSAGE) {
        return PushRepeatedMessageWithExpr(field, pos, expr.m_operands->begin() + 1, expr.m_operands->end(),
                                           reflection);
    }
    Expr* value = nullptr;
    const int ret = FindElementValue(m_pLog, __func__, expr, value);
    if (ret != 0) {
        return ret;
    }
    switch (cppType) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return PushRepeatedFieldWithExpr<T>(field, pos, *value, reflection);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_STRING:
            return PushRepeatedStringWithExpr(field, pos, *value, reflection);
        default:
            // Enum elements too: their values are copied from a source field only.
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(cppType));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

int ProtobufRecordUtil::PushRepeatedStringWithExpr(MutableProtobufField& field, int pos, Expr& value,
                                                   const Reflection* reflection) {
    const std::string* text = nullptr;
    if (!value.m_self.CastRef(text) || text == nullptr) {
        OSTRANE_ERROR("cast to string failed, field=%s, expr=%s", FullName(field.m_pFieldDesc).c_str(),
                      value.m_self.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    RepeatedPtrField<std::string>* pRepeated =
        MutableElements<std::string>(field.m_pParent, field.m_pFieldDesc, reflection);
    if (pRepeated == nullptr) {
        OSTRANE_ERROR("pRepeatedField(%s) is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    // Reuses a cleared element that the container kept.
    if (pRepeated->Add() == nullptr) {
        OSTRANE_ERROR("Add element(%s) failed", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    MoveLastTo(pRepeated, pos);
    std::string* element = Pointers(pRepeated)[pos];
    if (element == nullptr) {
        OSTRANE_ERROR("element(%s)[%d] is null", FullName(field.m_pFieldDesc).c_str(), pos);
        return OstraneErrCode::GEN_ERR_ERR;
    }
    element->assign(*text);
    return 0;
}

int ProtobufRecordUtil::PushRepeatedMessageWithExpr(MutableProtobufField& field, int pos, ExprIterator first,
                                                    ExprIterator last, const Reflection* reflection) {
    if (reflection == nullptr) {
        reflection = field.m_pParent->GetReflection();
    }
    Message* element = reflection->AddMessage(field.m_pParent, field.m_pFieldDesc, nullptr);
    if (element == nullptr) {
        OSTRANE_ERROR("Add element(%s) failed", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    RepeatedPtrField<Message>* pRepeated = MutableElements<Message>(field.m_pParent, field.m_pFieldDesc, reflection);
    if (pRepeated == nullptr) {
        OSTRANE_ERROR("pRepeated(%s) is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    // The removed element is cleared and stays allocated: the next add reuses it.
    const auto removeElement = [pRepeated] { pRepeated->RemoveLast(); };
    if (element->GetDescriptor() == nullptr || element->GetReflection() == nullptr) {
        removeElement();
        OSTRANE_ERROR("%s desc or reflection is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    const int ret = AssignSubFields(__func__, element, first, last, removeElement);
    if (ret != 0) {
        return ret;
    }
    if (!element->IsInitialized()) {
        removeElement();
        OSTRANE_ERROR("PushRepeatedMessage(%s) failed, miss required sub-fields",
                      std::string(element->GetDescriptor()->name()).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE;
    }
    MoveLastTo(pRepeated, pos);
    return 0;
}

namespace {

// The lines of all steps of an update carry its name.
#define OSTRANE_UPDATE_LOG(priority, ...) OSTRANE_LOG_AS(log, priority, SOURCE_PATH, "UpdateWithPbField", __VA_ARGS__)

// Exchanges or copies a whole message into another.
void TakeMessage(LogCategory* log, Message* target, const PbField& src) {
    if (src.isMutable) {
        OSTRANE_UPDATE_LOG(LOG_PRIORITY_DEBUG, "swap message %s", TypeName(*target).c_str());
        Exchange(target, Consumable(src));
        return;
    }
    OSTRANE_UPDATE_LOG(LOG_PRIORITY_DEBUG, "copy message %s", TypeName(*target).c_str());
    target->CopyFrom(*src.pMessage);
}

// The target is a whole message.
int ReplaceMessage(LogCategory* log, Message* target, const PbField& src) {
    if (src.pFieldDesc != nullptr) {
        if (!src.pFieldDesc->is_repeated() && !src.pMessage->GetReflection()->HasField(*src.pMessage, src.pFieldDesc)) {
            target->Clear();
            return 0;
        }
        OSTRANE_UPDATE_LOG(LOG_PRIORITY_ERROR, "expect sourceFieldDesc is null, source: %s, target: %s",
                           TypeName(*src.pMessage).c_str(), TypeName(*target).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    if (src.pMessage->GetDescriptor() != target->GetDescriptor()) {
        OSTRANE_UPDATE_LOG(LOG_PRIORITY_ERROR, "inconsistent message, source: %s, target: %s",
                           TypeName(*src.pMessage).c_str(), TypeName(*target).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    TakeMessage(log, target, src);
    return 0;
}

// The target is a singular message field, the source a whole message. A message that is already
// present is not overwritten: callers tell a new field from a changed one by it.
int ReplaceMessageField(LogCategory* log, MutableProtobufField& field, const PbField& src) {
    Message* parent = field.m_pParent;
    const Reflection* reflection = parent->GetReflection();
    if (reflection->HasField(*parent, field.m_pFieldDesc)) {
        OSTRANE_UPDATE_LOG(LOG_PRIORITY_ERROR, "expect fieldDesc is null, source: %s, target: %s",
                           TypeName(*src.pMessage).c_str(), TypeName(*parent).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_FIELD_NAME;
    }
    const google::protobuf::OneofDescriptor* oneof = field.m_pFieldDesc->containing_oneof();
    const bool isParent = src.pMessage == parent;
    PbField taken = src;
    std::unique_ptr<Message> before;
    if (isParent || (oneof != nullptr && reflection->HasOneof(*parent, oneof))) {
        // Taken before the field is opened: a copy of the parent must not meet its own target, and the member of the
        // oneof that is freed by opening another one may hold the source. A message cannot be moved into itself.
        before.reset(src.pMessage->New());
        taken.pMessage = before.get();
        taken.isMutable = src.isMutable && !isParent;
        if (taken.isMutable) {
            Exchange(before.get(), Consumable(src));
        } else {
            before->CopyFrom(*src.pMessage);
        }
    }
    TakeMessage(log, reflection->MutableMessage(parent, field.m_pFieldDesc), taken);
    return 0;
}

// Both are singular fields.
int ReplaceSingularField(LogCategory* log, MutableProtobufField& field, const PbField& src) {
    Message* parent = field.m_pParent;
    const FieldDescriptor* fieldDesc = field.m_pFieldDesc;
    const Reflection* reflection = parent->GetReflection();
    const Message& source = *src.pMessage;
    const Reflection* sourceReflection = source.GetReflection();
    if (!sourceReflection->HasField(source, src.pFieldDesc)) {
        reflection->ClearField(parent, fieldDesc);
        return 0;
    }
    OSTRANE_UPDATE_LOG(LOG_PRIORITY_DEBUG, "set field: %s", std::string(fieldDesc->full_name()).c_str());
    switch (fieldDesc->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, Type)                                                                     \
    case FieldDescriptor::CPPTYPE:                                                                     \
        reflection->Set##Type(parent, fieldDesc, sourceReflection->Get##Type(source, src.pFieldDesc)); \
        return 0;
        OSTRANE_ROW(CPPTYPE_INT32, Int32)
        OSTRANE_ROW(CPPTYPE_INT64, Int64)
        OSTRANE_ROW(CPPTYPE_UINT32, UInt32)
        OSTRANE_ROW(CPPTYPE_UINT64, UInt64)
        OSTRANE_ROW(CPPTYPE_DOUBLE, Double)
        OSTRANE_ROW(CPPTYPE_FLOAT, Float)
        OSTRANE_ROW(CPPTYPE_BOOL, Bool)
        OSTRANE_ROW(CPPTYPE_ENUM, Enum)
        OSTRANE_ROW(CPPTYPE_STRING, String)
#undef OSTRANE_ROW
        default:
            OSTRANE_UPDATE_LOG(LOG_PRIORITY_ERROR, "%s, invalid type: %d", std::string(fieldDesc->full_name()).c_str(),
                               static_cast<int>(fieldDesc->cpp_type()));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

}  // namespace

int ProtobufRecordUtil::UpdateWithPbField(MutableProtobufField& field, ExprType type, PbField* src) {
    LogCategory* log = m_record.m_pLog;
    Message* parent = field.m_pParent;
    const FieldDescriptor* fieldDesc = field.m_pFieldDesc;
    const Reflection* reflection = parent->GetReflection();
    if (type == OstraneCommon::EXPR_OP_POP) {
        if (fieldDesc != nullptr) {
            reflection->ClearField(parent, fieldDesc);
        } else {
            parent->Clear();
        }
        return 0;
    }
    if (src == nullptr) {
        OSTRANE_LOG(log, LOG_PRIORITY_ERROR, SOURCE_PATH, "input value is null");
        return OstraneErrCode::GEN_ERR_ERR;
    }
    if (fieldDesc == nullptr) {
        return ReplaceMessage(log, parent, *src);
    }
    if (fieldDesc->is_repeated()) {
        OSTRANE_LOG(log, LOG_PRIORITY_DEBUG, SOURCE_PATH,
                    "replace repeated field: %s, src.isRange: %d, src.range: [%d, %d]",
                    std::string(fieldDesc->name()).c_str(), src->isArrayRange ? 1 : 0, src->idxBegin, src->idxEnd);
        reflection->ClearField(parent, fieldDesc);
        ProtobufRecordUtil pushUtil(const_cast<ProtobufRecord&>(m_record));
        MutableProtobufField target = {parent, fieldDesc};
        return pushUtil.PushWithPbField(target, -1, *src);
    }
    if (src->pFieldDesc == nullptr) {
        return ReplaceMessageField(log, field, *src);
    }
    return ReplaceSingularField(log, field, *src);
}

int ProtobufRecordUtil::SetWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd, PbField& src) {
    const Reflection* sourceReflection = src.pMessage->GetReflection();
    if (sourceReflection->FieldSize(*src.pMessage, src.pFieldDesc) < 1) {
        // Names the target: it is the field that the caller asked to change.
        OSTRANE_ERROR("src repeated field(%s) is empty", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const Reflection* reflection = field.m_pParent->GetReflection();
    if (reflection == nullptr) {
        OSTRANE_ERROR("GetReflection failed, field=%s", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    const int count = reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc);
    if (count == 0) {
        OSTRANE_ERROR("invalid idxBegin: %d, idxEnd: %d, count: %d", idxBegin, idxEnd, count);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    if (idxBegin < 0) {
        idxBegin += count;
    }
    if (idxEnd < 0) {
        idxEnd += count;
    }
    // An idxBegin that is still negative is the caller's to avoid.
    if (idxEnd >= count || idxBegin > idxEnd) {
        OSTRANE_ERROR("invalid idxBegin: %d, idxEnd: %d, count: %d", idxBegin, idxEnd, count);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    switch (field.m_pFieldDesc->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return SetRepeatedFieldWithPbField<T>(field, idxBegin, idxEnd, src, reflection, sourceReflection);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_ENUM:
            return SetRepeatedEnumWithPbField(field, idxBegin, idxEnd, src);
        case FieldDescriptor::CPPTYPE_STRING:
            return SetRepeatedStringWithPbField(field, idxBegin, idxEnd, src, reflection, sourceReflection);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return SetRepeatedMessageWithPbField(field, idxBegin, idxEnd, src, reflection, sourceReflection);
        default:
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(field.m_pFieldDesc->cpp_type()));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

namespace {

// Whether the source holds an element for each of idxBegin .. idxEnd. More are accepted.
bool HasEnough(LogCategory* log, const char* function, const MutableProtobufField& field, int idxBegin, int idxEnd,
               const SourceBounds& run) {
    if (run.end - run.begin >= idxEnd - idxBegin) {
        return true;
    }
    OSTRANE_LOG_AS(log, LOG_PRIORITY_ERROR, SOURCE_PATH, function,
                   "assign element(%s) count not match, idxBegin: %d, idxEnd: %d, srcIdxBegin: %d, srcIdxEnd: %d",
                   std::string(field.m_pFieldDesc->full_name()).c_str(), idxBegin, idxEnd, run.begin, run.end);
    return false;
}

}  // namespace

int ProtobufRecordUtil::SetRepeatedEnumWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd,
                                                   PbField& src) {
    const SourceBounds run(src);
    if (!HasEnough(m_pLog, __func__, field, idxBegin, idxEnd, run)) {
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const Reflection* sourceReflection = src.pMessage->GetReflection();
    const Reflection* reflection = field.m_pParent->GetReflection();
    for (int i = idxBegin, j = run.begin; i <= idxEnd; ++i, ++j) {
        reflection->SetRepeatedEnum(field.m_pParent, field.m_pFieldDesc, i,
                                    sourceReflection->GetRepeatedEnum(*src.pMessage, src.pFieldDesc, j));
    }
    return 0;
}

int ProtobufRecordUtil::SetRepeatedStringWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd,
                                                     PbField& src, const Reflection* reflection,
                                                     const Reflection* sourceReflection) {
    const SourceBounds run(src, sourceReflection);
    if (!HasEnough(m_pLog, __func__, field, idxBegin, idxEnd, run)) {
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const Reflections reflections(field, src, reflection, sourceReflection);
    FillFromField(MutableElements<std::string>(field.m_pParent, field.m_pFieldDesc, reflections.target), field,
                  idxBegin, idxEnd, src, run.begin, reflections);
    return 0;
}

int ProtobufRecordUtil::SetRepeatedMessageWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd,
                                                      PbField& src, const Reflection* reflection,
                                                      const Reflection* sourceReflection) {
    const SourceBounds run(src, sourceReflection);
    if (!HasEnough(m_pLog, __func__, field, idxBegin, idxEnd, run)) {
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    const Reflections reflections(field, src, reflection, sourceReflection);
    FillMessages(MutableElements<Message>(field.m_pParent, field.m_pFieldDesc, reflections.target), field, idxBegin,
                 idxEnd, src, run.begin, reflections);
    return 0;
}

int ProtobufRecordUtil::PushWithPbField(MutableProtobufField& field, int pos, PbField& src) {
    const Reflection* sourceReflection = src.pMessage->GetReflection();
    if (src.pFieldDesc != nullptr && sourceReflection->FieldSize(*src.pMessage, src.pFieldDesc) == 0) {
        // Nothing to insert is a success, although setting from nothing is an error.
        OSTRANE_DEBUG("src repeated field(%s) is empty", FullName(field.m_pFieldDesc).c_str());
        return 0;
    }
    const Reflection* reflection = field.m_pParent->GetReflection();
    if (reflection == nullptr) {
        OSTRANE_ERROR("GetReflection failed, field=%s", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    const int count = reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc);
    if (pos > count) {
        OSTRANE_ERROR("invalid idx = %d, count = %d", pos, count);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    if (pos == -1) {
        pos = count;
    }
    switch (field.m_pFieldDesc->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return PushRepeatedFieldWithPbField<T>(field, pos, src, reflection, sourceReflection);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_ENUM:
            return PushRepeatedEnumWithPbField(field, pos, src);
        case FieldDescriptor::CPPTYPE_STRING:
            return PushRepeatedStringWithPbField(field, pos, src, reflection, sourceReflection);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return PushRepeatedMessageWithPbField(field, pos, src, reflection, sourceReflection);
        default:
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(field.m_pFieldDesc->cpp_type()));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

int ProtobufRecordUtil::PushRepeatedEnumWithPbField(MutableProtobufField& field, int pos, PbField& src) {
    const Reflection* sourceReflection = src.pMessage->GetReflection();
    const Reflection* reflection = field.m_pParent->GetReflection();
    const SourceBounds run(src);
    // Read before the field grows and moves, since the run may be its own. The first value fills the
    // places until the pass has been made; it is read for an empty run too.
    const EnumValueDescriptor* placeholder =
        sourceReflection->GetRepeatedEnum(*src.pMessage, src.pFieldDesc, run.begin);
    std::vector<const EnumValueDescriptor*> values;
    for (int j = run.begin; j <= run.end; ++j) {
        values.push_back(sourceReflection->GetRepeatedEnum(*src.pMessage, src.pFieldDesc, j));
        reflection->AddEnum(field.m_pParent, field.m_pFieldDesc, placeholder);
    }
    const int last = reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc) - 1;
    for (int k = last; k > pos; --k) {
        reflection->SwapElements(field.m_pParent, field.m_pFieldDesc, k, k - 1);
    }
    int place = pos;
    for (const EnumValueDescriptor* value : values) {
        reflection->SetRepeatedEnum(field.m_pParent, field.m_pFieldDesc, place, value);
        ++place;
    }
    return 0;
}

int ProtobufRecordUtil::PushRepeatedStringWithPbField(MutableProtobufField& field, int pos, PbField& src,
                                                      const Reflection* reflection,
                                                      const Reflection* sourceReflection) {
    const Reflections reflections(field, src, reflection, sourceReflection);
    const SourceBounds run(src, reflections.source);
    RepeatedPtrField<std::string>* target =
        MutableElements<std::string>(field.m_pParent, field.m_pFieldDesc, reflections.target);
    const std::vector<std::string*> ownRun = OwnRun(target, field, src, run);
    if (pos == target->size() && ownRun.empty() && !src.isMutable) {
        // Nothing moves: each place is filled while it is at hand.
        const RepeatedPtrField<std::string>& source =
            reflections.source->GetRepeatedPtrField<std::string>(*src.pMessage, src.pFieldDesc);
        for (int j = run.begin; j <= run.end; ++j) {
            Copy(target->Add(), source.Get(j));
        }
        return 0;
    }
    for (int added = 0; added < run.Count(); ++added) {
        target->Add();
    }
    MoveLastTo(target, pos);
    if (!ownRun.empty()) {
        FillFromItself(target, pos, ownRun, src.isMutable, run.begin);
        return 0;
    }
    FillFromField(target, field, pos, pos + run.Count() - 1, src, run.begin, reflections);
    return 0;
}

int ProtobufRecordUtil::PushRepeatedMessageWithPbField(MutableProtobufField& field, int pos, PbField& src,
                                                       const Reflection* reflection,
                                                       const Reflection* sourceReflection) {
    const Reflections reflections(field, src, reflection, sourceReflection);
    const SourceBounds run(src, reflections.source);
    std::vector<Message*> ownRun;
    std::unique_ptr<Message> ownParent;
    PbField source = src;
    if (IsSameField(field, src)) {
        ownRun =
            OwnRun(MutableElements<Message>(field.m_pParent, field.m_pFieldDesc, reflections.target), field, src, run);
    } else if (src.pFieldDesc == nullptr && src.pMessage == field.m_pParent) {
        // A message cannot be moved into itself, and a copy must not meet its own target.
        ownParent.reset(src.pMessage->New());
        ownParent->CopyFrom(*src.pMessage);
        source.pMessage = ownParent.get();
        source.isMutable = false;
    }
    for (int added = 0; added < run.Count(); ++added) {
        if (reflections.target->AddMessage(field.m_pParent, field.m_pFieldDesc, nullptr) == nullptr) {
            OSTRANE_ERROR("Add element(%s) failed", FullName(field.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
    }
    RepeatedPtrField<Message>* target =
        MutableElements<Message>(field.m_pParent, field.m_pFieldDesc, reflections.target);
    MoveLastTo(target, pos);
    if (!ownRun.empty()) {
        FillFromItself(target, pos, ownRun, src.isMutable, run.begin);
        return 0;
    }
    FillMessages(target, field, pos, pos + run.Count() - 1, source, run.begin, reflections);
    return 0;
}

int ProtobufRecordUtil::MarkMatchPositions(ProtobufField& field, bool isMutableField, IndexRangeList& vecRange,
                                           Expr* pFilterExpr, std::vector<bool>& vecMatch, int& matchCount,
                                           int& minMatch) {
    Expr exprAlwaysTrue;
    ExprVariant arrayVar;
    arrayVar.m_type = OstraneCommon::EXPR_UNRESOLVE;
    arrayVar.m_data.pb.SetField(field.m_pParent, field.m_pFieldDesc, isMutableField);
    OstraneCommon::ProtobuFieldResolver resolver(m_record);
    std::string errmsg;
    Expr& filter = pFilterExpr != nullptr ? *pFilterExpr : exprAlwaysTrue;
    const int ret =
        filter.FindArrayMatchPositions(resolver, arrayVar, vecRange, vecMatch, matchCount, minMatch, errmsg);
    if (ret != 0) {
        OSTRANE_ERROR("FindArrayMatchPositions failed, ret: %d, errmsg: %s", ret, errmsg.c_str());
    }
    return ret;
}

int ProtobufRecordUtil::PopWithExpr(MutableProtobufField& field, Expr& expr) {
    const Reflection* reflection = field.m_pParent->GetReflection();
    if (reflection == nullptr) {
        OSTRANE_ERROR("GetReflection failed, field=%s", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    if (expr.IsOperandEmpty()) {
        reflection->ClearField(field.m_pParent, field.m_pFieldDesc);
        return 0;
    }
    const ExprVariant& range = expr.OperandRef(0).m_self;
    if (range.m_type != OstraneCommon::EXPR_INDEX_RANGE) {
        OSTRANE_ERROR("invalid array index expr = %s", range.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    // An empty text means everything, and no filter narrows that.
    if (range.m_str.empty()) {
        reflection->ClearField(field.m_pParent, field.m_pFieldDesc);
        return 0;
    }
    if (reflection->FieldSize(*field.m_pParent, field.m_pFieldDesc) <= 0) {
        OSTRANE_ERROR("'%s' is empty", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    IndexRangeList vecRange;
    if (OstraneCommon::ParseIndexRange(range.m_str, vecRange) != 0) {
        OSTRANE_ERROR("invalid range=%s", range.m_str.c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    return PopWithRange(field, vecRange, expr.OperandCount() > 1 ? expr.Operand(1) : nullptr);
}

int ProtobufRecordUtil::PopWithRange(MutableProtobufField& field, IndexRangeList& vecRange, Expr* pConditionExpr) {
    switch (field.m_pFieldDesc->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return PopRepeatedField<T>(field, vecRange, pConditionExpr);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_STRING:
            return PopRepeatedString(field, vecRange, pConditionExpr);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return PopRepeatedMessage(field, vecRange, pConditionExpr);
        default:
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(field.m_pFieldDesc->cpp_type()));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

template <typename Element>
int ProtobufRecordUtil::PopRepeatedElements(const char* function, MutableProtobufField& field, IndexRangeList& vecRange,
                                            Expr* pExpr) {
    RepeatedPtrField<Element>* pRepeated = MutableElements<Element>(field.m_pParent, field.m_pFieldDesc);
    if (pRepeated == nullptr) {
        OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "pRepeated(%s) is null",
                       FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    const int count = pRepeated->size();
    if (count == 0) {
        return 0;
    }
    std::vector<bool> vecPop;
    int popCount = 0;
    int minPop = count;
    ProtobufField marked = {field.m_pParent, field.m_pFieldDesc};
    const int ret = MarkMatchPositions(marked, true, vecRange, pExpr, vecPop, popCount, minPop);
    if (ret != 0) {
        OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "MarkMatchPositions failed, field=%s, ret=%d",
                       FullName(field.m_pFieldDesc).c_str(), ret);
        return ret;
    }
    if (popCount == 0) {
        return 0;
    }
    if (field.m_pFieldDesc->is_map()) {
        // A filter that read the map by key has left the container stale.
        pRepeated = MutableElements<Element>(field.m_pParent, field.m_pFieldDesc);
        if (pRepeated == nullptr) {
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "pRepeated(%s) is null",
                           FullName(field.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
    }
    Element** pointers = Pointers(pRepeated);
    size_t write = static_cast<size_t>(minPop);
    OstraneCommon::ForEachUnmarked(vecPop, write, [pointers, &write](size_t read) {
        std::swap(pointers[write], pointers[read]);
        ++write;
    });
    // Freeing a long list of marks after so many small elements would make glibc tidy up behind all of those.
    std::vector<bool>().swap(vecPop);
    pRepeated->DeleteSubrange(count - popCount, popCount);
    return 0;
}

int ProtobufRecordUtil::PopRepeatedString(MutableProtobufField& field, IndexRangeList& vecRange, Expr* pExpr) {
    return PopRepeatedElements<std::string>(__func__, field, vecRange, pExpr);
}

int ProtobufRecordUtil::PopRepeatedMessage(MutableProtobufField& field, IndexRangeList& vecRange, Expr* pExpr) {
    return PopRepeatedElements<Message>(__func__, field, vecRange, pExpr);
}

int ProtobufRecordUtil::GetWithRange(ProtobufField& src, bool isMutableSrc, IndexRangeList& vecRange, Expr* pFilterExpr,
                                     MutableProtobufField& dst, std::vector<int>* pVecRepeatedIndex) {
    switch (src.m_pFieldDesc->cpp_type()) {
#define OSTRANE_ROW(CPPTYPE, T)    \
    case FieldDescriptor::CPPTYPE: \
        return GetRepeatedField<T>(src, isMutableSrc, vecRange, pFilterExpr, dst, pVecRepeatedIndex);
        OSTRANE_SCALAR_CASES(OSTRANE_ROW)
#undef OSTRANE_ROW
        case FieldDescriptor::CPPTYPE_STRING:
            return GetRepeatedString(src, isMutableSrc, vecRange, pFilterExpr, dst, pVecRepeatedIndex);
        case FieldDescriptor::CPPTYPE_MESSAGE:
            return GetRepeatedMessage(src, isMutableSrc, vecRange, pFilterExpr, dst, pVecRepeatedIndex);
        default:
            OSTRANE_ERROR("invalid type=%d", static_cast<int>(src.m_pFieldDesc->cpp_type()));
            return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
}

int ProtobufRecordUtil::GetWithRange(MutableProtobufField& src, IndexRangeList& vecRange, Expr* pFilterExpr,
                                     MutableProtobufField& dst, std::vector<int>* pVecRepeatedIndex) {
    ProtobufField source = {src.m_pParent, src.m_pFieldDesc};
    return GetWithRange(source, true, vecRange, pFilterExpr, dst, pVecRepeatedIndex);
}

// Selects, finds the containers and calls append(target, source, mutableSource, i, matchCount) for every
// selected position; `source` is null when the elements are moved, `mutableSource` when they are copied.
// Ends at the first code that is not 0.
template <typename Element, typename Append>
int ProtobufRecordUtil::GetRepeatedElements(const char* function, ProtobufField& src, bool isMutableSrc,
                                            IndexRangeList& vecRange, Expr* pFilterExpr, MutableProtobufField& dst,
                                            std::vector<int>* pVecRepeatedIndex, Append append) {
    const int count = src.m_pParent->GetReflection()->FieldSize(*src.m_pParent, src.m_pFieldDesc);
    if (count == 0) {
        return 0;
    }
    std::vector<bool> vecMatch;
    int matchCount = 0;
    int minMatch = count;
    int ret = MarkMatchPositions(src, isMutableSrc, vecRange, pFilterExpr, vecMatch, matchCount, minMatch);
    if (ret != 0) {
        OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "MarkMatchPositions failed, src=%s, ret=%d",
                       FullName(src.m_pFieldDesc).c_str(), ret);
        return ret;
    }
    if (matchCount == 0) {
        return 0;
    }
    RepeatedPtrField<Element>* target = MutableElements<Element>(dst.m_pParent, dst.m_pFieldDesc);
    if (target == nullptr) {
        OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "pTargetRepeated(%s) is null",
                       FullName(dst.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    const RepeatedPtrField<Element>* source = nullptr;
    RepeatedPtrField<Element>* mutableSource = nullptr;
    if (isMutableSrc) {
        mutableSource = MutableElements<Element>(const_cast<Message*>(src.m_pParent), src.m_pFieldDesc);
        if (mutableSource == nullptr) {
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "pMutableRepeated(%s) is null",
                           FullName(src.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
    } else {
        source = &Elements<Element>(*src.m_pParent, src.m_pFieldDesc);
    }
    target->Reserve(matchCount);
    if (pVecRepeatedIndex != nullptr) {
        pVecRepeatedIndex->reserve(static_cast<size_t>(matchCount));
    }
    OstraneCommon::ForEachMatch(vecMatch, static_cast<size_t>(minMatch), [&](size_t match) {
        const int i = static_cast<int>(match);
        ret = append(target, source, mutableSource, i, matchCount);
        if (ret == 0 && pVecRepeatedIndex != nullptr) {
            pVecRepeatedIndex->push_back(i);
        }
        return ret == 0;
    });
    return ret;
}

int ProtobufRecordUtil::GetRepeatedString(ProtobufField& src, bool isMutableSrc, IndexRangeList& vecRange,
                                          Expr* pFilterExpr, MutableProtobufField& dst,
                                          std::vector<int>* pVecRepeatedIndex) {
    const auto append = [](RepeatedPtrField<std::string>* target, const RepeatedPtrField<std::string>* source,
                           RepeatedPtrField<std::string>* mutableSource, int i, int /*matchCount*/) {
        if (mutableSource != nullptr) {
            target->Add()->swap(*mutableSource->Mutable(i));
        } else {
            target->Add()->assign(source->Get(i));
        }
        return 0;
    };
    return GetRepeatedElements<std::string>(__func__, src, isMutableSrc, vecRange, pFilterExpr, dst, pVecRepeatedIndex,
                                            append);
}

namespace {

// What new elements of `dst` are made from when `element` is of another implementation than they are,
// as a dynamic message is beside a generated one; null when it serves itself.
const Message* ForeignPrototype(const ProtobufField& src, const MutableProtobufField& dst, const Message& element) {
    const Reflection* reflection = dst.m_pParent->GetReflection();
    if (src.m_pFieldDesc == dst.m_pFieldDesc && src.m_pParent->GetReflection() == reflection) {
        return nullptr;
    }
    const Message* prototype = reflection->GetMessageFactory()->GetPrototype(dst.m_pFieldDesc->message_type());
    if (prototype == nullptr || element.GetReflection() == nullptr ||
        prototype->GetReflection() == element.GetReflection()) {
        return nullptr;
    }
    return prototype;
}

// Whether a message of type `outer` may hold one of type `inner` at some depth. Says yes where a look at
// a handful of types cannot tell.
bool MayHold(const Descriptor* outer, const Descriptor* inner) {
    constexpr size_t MAX_TYPES = 8;
    std::vector<const Descriptor*> types = {outer};
    for (size_t next = 0; next < types.size(); ++next) {
        const Descriptor* type = types[next];
        if (type == inner || type->extension_range_count() > 0 || types.size() > MAX_TYPES) {
            return true;
        }
        for (int i = 0; i < type->field_count(); ++i) {
            const Descriptor* subType = type->field(i)->message_type();
            if (subType != nullptr && std::find(types.begin(), types.end(), subType) == types.end()) {
                types.push_back(subType);
            }
        }
    }
    return false;
}

// Whether elements can change their container instead of their contents: both containers belong to one
// owner, and the target does not lie inside an element that would be put into it. To find that out
// costs more than exchanging the contents of a few messages saves.
bool CanChangeContainer(const ProtobufField& src, const MutableProtobufField& dst, int matchCount) {
    constexpr int FEW_MESSAGES = 20;
    return matchCount > FEW_MESSAGES && src.m_pParent->GetArena() == dst.m_pParent->GetArena() &&
           !src.m_pFieldDesc->is_map() && !dst.m_pFieldDesc->is_map() &&
           !MayHold(src.m_pFieldDesc->message_type(), dst.m_pParent->GetDescriptor());
}

}  // namespace

int ProtobufRecordUtil::GetRepeatedMessage(ProtobufField& src, bool isMutableSrc, IndexRangeList& vecRange,
                                           Expr* pFilterExpr, MutableProtobufField& dst,
                                           std::vector<int>* pVecRepeatedIndex) {
    google::protobuf::Arena* arena = dst.m_pParent->GetArena();
    bool isFirst = true;
    bool canChangeContainer = false;
    const Message* foreignPrototype = nullptr;
    const char* const function = __func__;
    const auto append = [&](RepeatedPtrField<Message>* target, const RepeatedPtrField<Message>* source,
                            RepeatedPtrField<Message>* mutableSource, int i, int matchCount) {
        const Message& element = mutableSource != nullptr ? mutableSource->Get(i) : source->Get(i);
        if (isFirst) {
            isFirst = false;
            foreignPrototype = ForeignPrototype(src, dst, element);
            canChangeContainer =
                isMutableSrc && foreignPrototype == nullptr && CanChangeContainer(src, dst, matchCount);
        }
        // Made where the target lives, so that it is handed over as it is.
        Message* added = foreignPrototype != nullptr ? foreignPrototype->New(arena) : element.New(arena);
        if (added == nullptr) {
            OSTRANE_LOG_AS(m_pLog, LOG_PRIORITY_ERROR, SOURCE_PATH, function, "new Message(%s) failed",
                           FullName(dst.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
        if (canChangeContainer) {
            // The contents end up as they would by an exchange, without touching them.
            std::swap(added, Pointers(mutableSource)[i]);
        } else if (mutableSource != nullptr) {
            Exchange(added, mutableSource->Mutable(i));
        } else {
            added->MergeFrom(element);
        }
        target->AddAllocated(added);
        return 0;
    };
    return GetRepeatedElements<Message>(__func__, src, isMutableSrc, vecRange, pFilterExpr, dst, pVecRepeatedIndex,
                                        append);
}
