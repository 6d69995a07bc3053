// Reaches the private steps of ProtobufRecordUtil.
#ifndef OSTRANE_TESTS_SUPPORT_RECORD_UTIL_PEER_H_
#define OSTRANE_TESTS_SUPPORT_RECORD_UTIL_PEER_H_

#include <vector>

#include "common/protobuf_record_util.h"

struct ProtobufRecordUtilPeer {
    using Expr = OstraneCommon::Expr;
    using ExprIterator = std::vector<Expr*>::iterator;

    template <typename T>
    static int SetRepeatedField(ProtobufRecordUtil& util, MutableProtobufField field, int idxBegin, int idxEnd,
                                const T* values, int count) {
        return util.SetRepeatedField<T>(field, idxBegin, idxEnd, values, count);
    }
    template <typename T>
    static int PushRepeatedField(ProtobufRecordUtil& util, MutableProtobufField field, int pos, const T* values,
                                 int count) {
        return util.PushRepeatedField<T>(field, pos, values, count);
    }
    static int AssignField(ProtobufRecordUtil& util, MutableProtobufField field, OstraneCommon::ExprVariant& value) {
        return util.AssignField(field, value);
    }
    static int SetRepeatedMessageWithExpr(ProtobufRecordUtil& util, MutableProtobufField field, int index,
                                          ExprIterator first, ExprIterator last) {
        return util.SetRepeatedMessageWithExpr(field, index, first, last);
    }
    static int PushRepeatedMessageWithExpr(ProtobufRecordUtil& util, MutableProtobufField field, int pos,
                                           ExprIterator first, ExprIterator last) {
        return util.PushRepeatedMessageWithExpr(field, pos, first, last);
    }
    static int SetRepeatedMessageWithPbField(ProtobufRecordUtil& util, MutableProtobufField field, int idxBegin,
                                             int idxEnd, OstraneCommon::PbField& src) {
        return util.SetRepeatedMessageWithPbField(field, idxBegin, idxEnd, src);
    }
    static int MarkMatchPositions(ProtobufRecordUtil& util, ProtobufField field, bool isMutableField,
                                  OstraneCommon::IndexRangeList& vecRange, Expr* pFilterExpr,
                                  std::vector<bool>& vecMatch, int& matchCount, int& minMatch) {
        return util.MarkMatchPositions(field, isMutableField, vecRange, pFilterExpr, vecMatch, matchCount, minMatch);
    }
    static const ProtobufRecord* Record(const ProtobufRecordUtil& util) { return &util.m_record; }
    static LogCategory* Log(const ProtobufRecordUtil& util) { return util.m_pLog; }
};

#endif  // OSTRANE_TESTS_SUPPORT_RECORD_UTIL_PEER_H_
