// What the tests of pop and get share.
#ifndef OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_
#define OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "support/captured_log.h"
#include "support/expr_tree.h"
#include "support/message_kinds.h"
#include "support/record_util_peer.h"
#include "support/show.h"

using OstraneCommon::Expr;
using OstraneCommon::IndexRangeList;
using Lines = std::vector<std::string>;
using Positions = std::vector<int>;

class SelectionTest : public testing::Test {
protected:
    SelectionTest() { m_record.m_pLog = m_log.Category(); }

    static MutableProtobufField Field(google::protobuf::Message* message, const std::string& name) {
        return {message, message->GetDescriptor()->FindFieldByName(name)};
    }

    int PopWithExpr(MutableProtobufField field, Expr& expr) {
        return ProtobufRecordUtil(m_record).PopWithExpr(field, expr);
    }
    int PopWithRange(MutableProtobufField field, IndexRangeList ranges, Expr* filter = nullptr) {
        return ProtobufRecordUtil(m_record).PopWithRange(field, ranges, filter);
    }
    int Get(MutableProtobufField src, bool isMutableSrc, IndexRangeList ranges, Expr* filter, MutableProtobufField dst,
            Positions* positions = nullptr) {
        ProtobufField source = {src.m_pParent, src.m_pFieldDesc};
        return ProtobufRecordUtil(m_record).GetWithRange(source, isMutableSrc, ranges, filter, dst, positions);
    }

    // `name < value` over message elements; `$ < value` with the name "$".
    Expr* Less(const std::string& name, int64_t value) {
        return m_tree.Node(OstraneCommon::EXPR_COMPARE_LT, "", {m_tree.Name(name), m_tree.Int(value)});
    }
    // A condition that no element can be asked: the name does not exist.
    Expr* Failing() { return Less("nowhere", 1); }

    CapturedLog m_log;
    ProtobufRecord m_record;
    ExprTree m_tree;
    fields::Fields m_message;
};

#endif  // OSTRANE_TESTS_COMMON_SELECTION_FIXTURE_H_
