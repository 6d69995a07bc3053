// Sets, pushes, updates, pops and gets parts of a record's message, in place and through reflection.
//
//   [10, 20]  push 7 at 1  ->  [10, 7, 20]
//
//   ProtobufRecord record;  // m_pLog may stay null
//   MutableProtobufField scores = {&message, message.GetDescriptor()->FindFieldByName("scores")};
//   ProtobufRecordUtil(record).PushWithExpr(scores, expr);
//
// Built on the stack for one operation. Every operation is one synchronous call that returns 0 or a
// negative code of OstraneErrCode, throws nothing of its own, and writes at most one line a failing
// step to the record's log category. The caller serialises access to the record, and keeps messages,
// descriptors, trees and categories alive over a call. Nothing is kept between calls.
//
// Common to all operations, and trusted: a handle's descriptor is one of its message's own fields, or
// an extension of it; it names a repeated field unless said otherwise; nodes that an operation reads
// are not null; neither message of a copy lies inside the other unless said otherwise. Protobuf itself
// raises an exception or aborts where a field is used as what it is not.
#ifndef OSTRANE_COMMON_PROTOBUF_RECORD_UTIL_H_
#define OSTRANE_COMMON_PROTOBUF_RECORD_UTIL_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/repeated_field.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "err_code.h"
#include "expr.h"
#include "log.h"
#include "match_runs.h"
#include "protobuf_record.h"

// A field of a message, to read from. For a repeated field it names the whole array. Owns nothing.
struct ProtobufField {
    const google::protobuf::Message* m_pParent;
    const google::protobuf::FieldDescriptor* m_pFieldDesc;
};

// A field of a message, to write to. A null descriptor denotes the message itself. Owns nothing.
struct MutableProtobufField {
    google::protobuf::Message* m_pParent;
    const google::protobuf::FieldDescriptor* m_pFieldDesc;
};

class ProtobufRecordUtil {
public:
    // Takes a copy of the record's log category, which may be null.
    explicit ProtobufRecordUtil(ProtobufRecord& record) : m_record(record), m_pLog(record.m_pLog) {}

    // Overwrites one existing element with the value of a set expression: operand 0 an
    // EXPR_INDEX_RANGE whose text is the index, -1 .. size - 1 with -1 the last; then for a scalar or
    // string element one EXPR_ASSIGN to "$", for a message element one to each sub-field. Enum
    // elements are refused. Sub-fields assigned before a failing one keep their new values; every
    // other failure leaves the field unchanged. A sub-field that is named must be singular.
    int SetWithExpr(MutableProtobufField& field, OstraneCommon::Expr& expr);

    // Inserts one element before the position of a push expression, which is formed like a set
    // expression: -1 .. size, where -1 appends as size does. A message element that lacks required
    // fields, or whose assignments fail, is removed again.
    int PushWithExpr(MutableProtobufField& field, OstraneCommon::Expr& expr);

    // Clears the target when `type` is EXPR_OP_POP; replaces it by `src` whatever else `type` is. The
    // target is a field, repeated or singular, or a whole message. `src` may be null for a pop alone.
    // An unset singular source clears the target; a repeated target is cleared before it is refilled
    // and stays so when refilling fails; a message field that is present is not overwritten by a
    // whole message. A mutable whole message is swapped in. Source and target fields have one type.
    // The target message does not lie inside the source message, nor a whole message inside the one that
    // it replaces; the source may lie inside the member of a oneof that the target displaces.
    int UpdateWithPbField(MutableProtobufField& field, OstraneCommon::ExprType type, OstraneCommon::PbField* src);

    // Overwrites the elements idxBegin .. idxEnd, both inclusive, with the first elements of the
    // source run. Negative indexes count from the end once; idxBegin must not lie before the first
    // element. The source is a repeated field of the same type with a descriptor, and its range lies
    // inside it. Strings and messages of a mutable source are exchanged, not copied: the source
    // positions then hold the target's former values. References to such elements may afterwards be to
    // the other field's. Elements are written one at a time in ascending order, so a field copied onto
    // its own later elements repeats its leading ones. No element that is written may hold the source
    // message inside, and no element that is read the target message.
    int SetWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd, OstraneCommon::PbField& src);

    // Inserts the elements of the source run at `pos`, -1 .. size, where -1 appends as size does.
    // One pass moves the last element to `pos`, whatever the number of elements, and callers rely on
    // the result:
    //
    //   [a, b, c]  push [X, Y] at 1  ->  [a, X, Y, c, placeholder]
    //   [a, b, c]  push [] at 0      ->  [c, a, b]       (an empty run of a source that has elements)
    //
    // A source field without elements is a success that changes nothing. Strings and messages of a
    // mutable source are exchanged with what the pass left at their new places. A run of the target
    // field itself is taken as it stood before the push. References to elements, and what may not lie
    // inside what: as for set.
    int PushWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src);

    // Removes the elements that a pop expression selects: operand 0 an EXPR_INDEX_RANGE with the range
    // text, operand 1 a filter or none. Without operands, or with an empty range text, everything is
    // removed and a filter is not looked at. A selection from an empty field is an error.
    int PopWithExpr(MutableProtobufField& field, OstraneCommon::Expr& expr);

    // Removes the elements that lie in the ranges and satisfy the filter, which may be null. The
    // others keep their order. Enum elements are refused. A failure changes nothing.
    int PopWithRange(MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                     OstraneCommon::Expr* pConditionExpr);

    // Appends the selected elements of `src` to `dst`, a field of the same element type, and their
    // positions to `pVecRepeatedIndex` unless that is null. With `isMutableSrc` strings and messages
    // are moved and left empty, and scalars are exchanged with new elements; the source keeps its
    // length. Enum elements are refused. The selection is made before the first element is appended,
    // so `dst` may be `src` itself, and either may lie inside an element of the other, except that an
    // element that is moved must not hold `dst`. References to messages that are moved may afterwards be
    // to the new elements of `dst`.
    int GetWithRange(ProtobufField& src, bool isMutableSrc, OstraneCommon::IndexRangeList& vecRange,
                     OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst, std::vector<int>* pVecRepeatedIndex);

    // The same from a handle that may be written to: the selected elements are moved.
    int GetWithRange(MutableProtobufField& src, OstraneCommon::IndexRangeList& vecRange,
                     OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst, std::vector<int>* pVecRepeatedIndex);

private:
    friend struct ProtobufRecordUtilPeer;  // defined by tests alone

    using ExprIterator = std::vector<OstraneCommon::Expr*>::iterator;

    // Writes a value into a singular field, converted to its type: integers by truncation, enums by
    // name alone. A message field is refused.
    int AssignField(MutableProtobufField& field, OstraneCommon::ExprVariant& value,
                    const google::protobuf::Reflection* reflection = nullptr);

    // The seven scalar types: bool, int32, uint32, int64, uint64, double, float. The caller picks T
    // from the field's type. Here and below, a caller that has the reflections hands them on: asking a message
    // for its own counts beside a short run of values, or a single element.

    // Overwrites idxBegin .. idxEnd, both inside the field, with the first of `count` values.
    template <typename T>
    int SetRepeatedField(MutableProtobufField& field, int idxBegin, int idxEnd, const T* values, int count,
                         const google::protobuf::Reflection* reflection = nullptr);
    // Appends `count` elements, moves the last one down to `pos` (0 .. size) and writes the values from
    // there on.
    template <typename T>
    int PushRepeatedField(MutableProtobufField& field, int pos, const T* values, int count,
                          const google::protobuf::Reflection* reflection = nullptr);

    template <typename T>
    int SetRepeatedFieldWithExpr(MutableProtobufField& field, int index, OstraneCommon::Expr& value,
                                 const google::protobuf::Reflection* reflection);
    int SetRepeatedStringWithExpr(MutableProtobufField& field, int index, OstraneCommon::Expr& value,
                                  const google::protobuf::Reflection* reflection);
    int SetRepeatedMessageWithExpr(MutableProtobufField& field, int index, ExprIterator first, ExprIterator last,
                                   const google::protobuf::Reflection* reflection = nullptr);

    template <typename BeforeFailure>
    int AssignSubFields(const char* function, google::protobuf::Message* element, ExprIterator first, ExprIterator last,
                        BeforeFailure beforeFailure);

    template <typename T>
    int PushRepeatedFieldWithExpr(MutableProtobufField& field, int pos, OstraneCommon::Expr& value,
                                  const google::protobuf::Reflection* reflection);
    int PushRepeatedStringWithExpr(MutableProtobufField& field, int pos, OstraneCommon::Expr& value,
                                   const google::protobuf::Reflection* reflection);
    int PushRepeatedMessageWithExpr(MutableProtobufField& field, int pos, ExprIterator first, ExprIterator last,
                                    const google::protobuf::Reflection* reflection = nullptr);

    template <typename T>
    int SetRepeatedFieldWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd, OstraneCommon::PbField& src,
                                    const google::protobuf::Reflection* reflection,
                                    const google::protobuf::Reflection* sourceReflection);
    int SetRepeatedEnumWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd, OstraneCommon::PbField& src);
    int SetRepeatedStringWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd, OstraneCommon::PbField& src,
                                     const google::protobuf::Reflection* reflection,
                                     const google::protobuf::Reflection* sourceReflection);
    int SetRepeatedMessageWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd,
                                      OstraneCommon::PbField& src,
                                      const google::protobuf::Reflection* reflection = nullptr,
                                      const google::protobuf::Reflection* sourceReflection = nullptr);

    template <typename T>
    int PushRepeatedFieldWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src,
                                     const google::protobuf::Reflection* reflection,
                                     const google::protobuf::Reflection* sourceReflection);
    int PushRepeatedEnumWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src);
    int PushRepeatedStringWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src,
                                      const google::protobuf::Reflection* reflection,
                                      const google::protobuf::Reflection* sourceReflection);
    int PushRepeatedMessageWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src,
                                       const google::protobuf::Reflection* reflection,
                                       const google::protobuf::Reflection* sourceReflection);

    // Marks the elements that lie in the ranges and satisfy the filter. `vecMatch` comes empty,
    // `matchCount` 0 and `minMatch` the element count.
    int MarkMatchPositions(ProtobufField& field, bool isMutableField, OstraneCommon::IndexRangeList& vecRange,
                           OstraneCommon::Expr* pFilterExpr, std::vector<bool>& vecMatch, int& matchCount,
                           int& minMatch);

    template <typename T>
    int PopRepeatedField(MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                         OstraneCommon::Expr* pExpr);
    int PopRepeatedString(MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                          OstraneCommon::Expr* pExpr);
    int PopRepeatedMessage(MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                           OstraneCommon::Expr* pExpr);

    template <typename Element>
    int PopRepeatedElements(const char* function, MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                            OstraneCommon::Expr* pExpr);

    template <typename T>
    int GetRepeatedField(ProtobufField& src, bool isMutableSrc, OstraneCommon::IndexRangeList& vecRange,
                         OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst,
                         std::vector<int>* pVecRepeatedIndex);
    int GetRepeatedString(ProtobufField& src, bool isMutableSrc, OstraneCommon::IndexRangeList& vecRange,
                          OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst,
                          std::vector<int>* pVecRepeatedIndex);
    int GetRepeatedMessage(ProtobufField& src, bool isMutableSrc, OstraneCommon::IndexRangeList& vecRange,
                           OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst,
                           std::vector<int>* pVecRepeatedIndex);

    template <typename Element, typename Append>
    int GetRepeatedElements(const char* function, ProtobufField& src, bool isMutableSrc,
                            OstraneCommon::IndexRangeList& vecRange, OstraneCommon::Expr* pFilterExpr,
                            MutableProtobufField& dst, std::vector<int>* pVecRepeatedIndex, Append append);

    // The full name of a field, which protobuf gives as a string or as a view of one.
    static std::string FullName(const google::protobuf::FieldDescriptor* fieldDesc) {
        return std::string(fieldDesc->full_name());
    }

    const ProtobufRecord& m_record;
    LogCategory* m_pLog;
};

// Where the lines of the templates below say they stand.
#define OSTRANE_HEADER_ERROR(...) \
    OSTRANE_LOG(m_pLog, LOG_PRIORITY_ERROR, "src/common/protobuf_record_util.h", __VA_ARGS__)

// The public way to the containers in every protobuf release, deprecated in some.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace OstraneCommon {

// Whether two runs of elements share storage.
template <typename T>
bool IsOverlapping(const T* a, int aCount, const T* b, int bCount) {
    const std::less<const T*> isBefore;
    return aCount > 0 && bCount > 0 && isBefore(a, b + bCount) && isBefore(b, a + aCount);
}

// Casts a value to an element type: integers and bool through the 64 bits, floating point through
// the double. No range check.
template <typename T>
bool CastElement(const ExprVariant& value, T& element) {
    using Wide = typename std::conditional<std::is_floating_point<T>::value, double, uint64_t>::type;
    Wide wide = 0;
    if (!value.Cast(wide)) {
        return false;
    }
    element = static_cast<T>(wide);
    return true;
}

// The run of a scalar source field: `count` values from `values` on.
template <typename T>
struct SourceRun {
    SourceRun(const PbField& src, const google::protobuf::Reflection* reflection) {
        const google::protobuf::RepeatedField<T>& container =
            reflection->GetRepeatedField<T>(*src.pMessage, src.pFieldDesc);
        values = container.data();
        count = container.size();
        if (src.isArrayRange) {
            values += src.idxBegin;
            count = src.idxEnd + 1 - src.idxBegin;
        }
    }

    const T* values;
    int count;
};

}  // namespace OstraneCommon

template <typename T>
int ProtobufRecordUtil::SetRepeatedField(MutableProtobufField& field, int idxBegin, int idxEnd, const T* values,
                                         int count, const google::protobuf::Reflection* reflection) {
    if (reflection == nullptr) {
        reflection = field.m_pParent->GetReflection();
    }
    google::protobuf::RepeatedField<T>* pRepeated =
        reflection->MutableRepeatedField<T>(field.m_pParent, field.m_pFieldDesc);
    if (pRepeated == nullptr) {
        OSTRANE_HEADER_ERROR("pRepeated(%s) is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    // More values than elements are accepted, the surplus is ignored.
    if (idxEnd - idxBegin >= count) {
        OSTRANE_HEADER_ERROR("assign element(%s) count not match, idxBegin: %d, idxEnd: %d, assignCount: %d",
                             FullName(field.m_pFieldDesc).c_str(), idxBegin, idxEnd, count);
        return OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX;
    }
    if (idxEnd < idxBegin) {
        return 0;
    }
    T* target = pRepeated->mutable_data() + idxBegin;
    const int runCount = idxEnd - idxBegin + 1;
    if (!OstraneCommon::IsOverlapping<T>(target, runCount, values, runCount)) {
        std::copy(values, values + runCount, target);
        return 0;
    }
    // A run onto its own later elements repeats its leading ones: each element is read after the ones
    // before it have been written.
    for (int i = 0; i < runCount; ++i) {
        target[i] = values[i];
    }
    return 0;
}

template <typename T>
int ProtobufRecordUtil::PushRepeatedField(MutableProtobufField& field, int pos, const T* values, int count,
                                          const google::protobuf::Reflection* reflection) {
    if (reflection == nullptr) {
        reflection = field.m_pParent->GetReflection();
    }
    google::protobuf::RepeatedField<T>* pRepeated =
        reflection->MutableRepeatedField<T>(field.m_pParent, field.m_pFieldDesc);
    if (pRepeated == nullptr) {
        OSTRANE_HEADER_ERROR("pRepeated(%s) is null", FullName(field.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    // Growing frees the storage that the values may lie in.
    std::unique_ptr<T[]> ownValues;
    if (OstraneCommon::IsOverlapping<T>(pRepeated->data(), pRepeated->size(), values, count)) {
        ownValues.reset(new T[static_cast<size_t>(count)]);
        std::copy(values, values + count, ownValues.get());
        values = ownValues.get();
    }
    if (count > 0) {
        const int oldSize = pRepeated->size();
        T* added = nullptr;
        if (count <= std::numeric_limits<int>::max() - oldSize) {
            pRepeated->Reserve(oldSize + count);
            added = pRepeated->AddNAlreadyReserved(count);
        }
        if (added == nullptr) {
            OSTRANE_HEADER_ERROR("Add element(%s) failed", FullName(field.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
        if (pos == oldSize) {
            std::copy(values, values + count, added);
            return 0;
        }
        // The container leaves new elements unwritten. They are moved below, and those that get no
        // value of their own are serialised.
        std::fill(added, added + count, T{});
    }
    // One pass, whatever count is: the last element comes to `pos`, the others move up by one place.
    //   [10, 20, 30], pos 1, {7, 8}  ->  [10, 7, 8, 30, 0]
    const int size = pRepeated->size();
    T* data = pRepeated->mutable_data();
    if (pos < size - 1) {
        std::rotate(data + pos, data + size - 1, data + size);
    }
    if (count > 0) {
        std::copy(values, values + count, data + pos);
    }
    return 0;
}

template <typename T>
int ProtobufRecordUtil::SetRepeatedFieldWithExpr(MutableProtobufField& field, int index, OstraneCommon::Expr& value,
                                                 const google::protobuf::Reflection* reflection) {
    T element = T{};
    if (!OstraneCommon::CastElement(value.m_self, element)) {
        OSTRANE_HEADER_ERROR("expr type cast failed, field=%s, expr=%s", FullName(field.m_pFieldDesc).c_str(),
                             value.m_self.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    return SetRepeatedField<T>(field, index, index, &element, 1, reflection);
}

template <typename T>
int ProtobufRecordUtil::PushRepeatedFieldWithExpr(MutableProtobufField& field, int pos, OstraneCommon::Expr& value,
                                                  const google::protobuf::Reflection* reflection) {
    T element = T{};
    if (!OstraneCommon::CastElement(value.m_self, element)) {
        OSTRANE_HEADER_ERROR("expr type cast failed, field=%s, expr=%s", FullName(field.m_pFieldDesc).c_str(),
                             value.m_self.ToStr().c_str());
        return OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;
    }
    return PushRepeatedField<T>(field, pos, &element, 1, reflection);
}

template <typename T>
int ProtobufRecordUtil::SetRepeatedFieldWithPbField(MutableProtobufField& field, int idxBegin, int idxEnd,
                                                    OstraneCommon::PbField& src,
                                                    const google::protobuf::Reflection* reflection,
                                                    const google::protobuf::Reflection* sourceReflection) {
    const OstraneCommon::SourceRun<T> run(src, sourceReflection);
    return SetRepeatedField<T>(field, idxBegin, idxEnd, run.values, run.count, reflection);
}

template <typename T>
int ProtobufRecordUtil::PushRepeatedFieldWithPbField(MutableProtobufField& field, int pos, OstraneCommon::PbField& src,
                                                     const google::protobuf::Reflection* reflection,
                                                     const google::protobuf::Reflection* sourceReflection) {
    const OstraneCommon::SourceRun<T> run(src, sourceReflection);
    return PushRepeatedField<T>(field, pos, run.values, run.count, reflection);
}

template <typename T>
int ProtobufRecordUtil::PopRepeatedField(MutableProtobufField& field, OstraneCommon::IndexRangeList& vecRange,
                                         OstraneCommon::Expr* pExpr) {
    google::protobuf::RepeatedField<T>* pRepeated =
        field.m_pParent->GetReflection()->MutableRepeatedField<T>(field.m_pParent, field.m_pFieldDesc);
    if (pRepeated == nullptr) {
        OSTRANE_HEADER_ERROR("pRepeated(%s) is null", FullName(field.m_pFieldDesc).c_str());
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
        OSTRANE_HEADER_ERROR("MarkMatchPositions failed, field=%s, ret=%d", FullName(field.m_pFieldDesc).c_str(), ret);
        return ret;
    }
    if (popCount == 0) {
        return 0;
    }
    OstraneCommon::MoveUnmarkedDown(pRepeated->mutable_data(), static_cast<size_t>(minPop), vecPop);
    pRepeated->Truncate(count - popCount);
    return 0;
}

template <typename T>
int ProtobufRecordUtil::GetRepeatedField(ProtobufField& src, bool isMutableSrc, OstraneCommon::IndexRangeList& vecRange,
                                         OstraneCommon::Expr* pFilterExpr, MutableProtobufField& dst,
                                         std::vector<int>* pVecRepeatedIndex) {
    const google::protobuf::RepeatedField<T>& source =
        src.m_pParent->GetReflection()->GetRepeatedField<T>(*src.m_pParent, src.m_pFieldDesc);
    google::protobuf::RepeatedField<T>* pTargetRepeated =
        dst.m_pParent->GetReflection()->MutableRepeatedField<T>(dst.m_pParent, dst.m_pFieldDesc);
    if (pTargetRepeated == nullptr) {
        OSTRANE_HEADER_ERROR("pTargetRepeated(%s) is null", FullName(dst.m_pFieldDesc).c_str());
        return OstraneErrCode::GEN_ERR_ERR;
    }
    std::vector<bool> vecMatch;
    int matchCount = 0;
    int minMatch = source.size();
    const int ret = MarkMatchPositions(src, isMutableSrc, vecRange, pFilterExpr, vecMatch, matchCount, minMatch);
    if (ret != 0) {
        OSTRANE_HEADER_ERROR("MarkMatchPositions failed, src=%s, ret=%d", FullName(src.m_pFieldDesc).c_str(), ret);
        return ret;
    }
    if (matchCount == 0) {
        return 0;
    }
    google::protobuf::RepeatedField<T>* pSrcMutableRepeated = nullptr;
    if (isMutableSrc) {
        google::protobuf::Message* sourceParent = const_cast<google::protobuf::Message*>(src.m_pParent);
        pSrcMutableRepeated = sourceParent->GetReflection()->MutableRepeatedField<T>(sourceParent, src.m_pFieldDesc);
        if (pSrcMutableRepeated == nullptr) {
            OSTRANE_HEADER_ERROR("pSrcMutableRepeated(%s) is null", FullName(src.m_pFieldDesc).c_str());
            return OstraneErrCode::GEN_ERR_ERR;
        }
    }
    if (pVecRepeatedIndex != nullptr) {
        pVecRepeatedIndex->reserve(static_cast<size_t>(matchCount));
    }
    pTargetRepeated->Reserve(matchCount);
    OstraneCommon::ForEachMatch(vecMatch, static_cast<size_t>(minMatch), [&](size_t match) {
        const int i = static_cast<int>(match);
        // Add may move the storage of the source too, when it is the target itself: the source
        // element is looked up after it.
        T* element = pTargetRepeated->Add();
        *element = T{};
        if (isMutableSrc) {
            std::swap(*element, *pSrcMutableRepeated->Mutable(i));
        } else {
            *element = source.Get(i);
        }
        if (pVecRepeatedIndex != nullptr) {
            pVecRepeatedIndex->push_back(i);
        }
        return true;
    });
    return 0;
}

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
#undef OSTRANE_HEADER_ERROR

#endif  // OSTRANE_COMMON_PROTOBUF_RECORD_UTIL_H_
