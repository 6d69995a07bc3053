// A record whose log is captured, and a message of every kind of field.
#ifndef OSTRANE_TESTS_COMMON_OPERATION_FIXTURE_H_
#define OSTRANE_TESTS_COMMON_OPERATION_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "fields.pb.h"
#include "support/captured_log.h"
#include "support/expr_tree.h"
#include "support/message_kinds.h"
#include "support/record_util_peer.h"
#include "support/show.h"

using Lines = std::vector<std::string>;

class OperationTest : public testing::Test {
protected:
    OperationTest() { m_record.m_pLog = m_log.Category(); }

    static MutableProtobufField Field(google::protobuf::Message* message, const std::string& name) {
        return {message, message->GetDescriptor()->FindFieldByName(name)};
    }
    ProtobufRecordUtil Util() { return ProtobufRecordUtil(m_record); }

    CapturedLog m_log;
    ProtobufRecord m_record;
    ExprTree m_tree;
    fields::Fields m_message;
};

#endif  // OSTRANE_TESTS_COMMON_OPERATION_FIXTURE_H_
