// Set and push by expression where protobuf gives null for what it should give.
#include <limits>

#include "fields3.pb.h"
#include "operation_fixture.h"
#include "support/broken_message.h"
#include "support/reflection_faults.h"
#include "support/watched_log.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::RepeatedField;
using google::protobuf::RepeatedPtrField;
using OstraneCommon::Expr;
using Peer = ProtobufRecordUtilPeer;

constexpr int GENERIC = OstraneErrCode::GEN_ERR_ERR;
constexpr int BAD_TYPE = OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE;

class AssignmentFaultsTest : public OperationTest {
protected:
    static std::string Line(const std::string& functionAndText) {
        return "ERROR src/common/protobuf_record_util.cpp " + functionAndText;
    }
    static std::string HeaderLine(const std::string& functionAndText) {
        return "ERROR src/common/protobuf_record_util.h " + functionAndText;
    }
    static RepeatedPtrField<Message>* Elements(Message* message, const std::string& name) {
        return message->GetReflection()->MutableRepeatedPtrField<Message>(
            message, message->GetDescriptor()->FindFieldByName(name));
    }

    int Set(MutableProtobufField field, Expr& expr) { return Util().SetWithExpr(field, expr); }
    int Push(MutableProtobufField field, Expr& expr) { return Util().PushWithExpr(field, expr); }
    Expr& SetTo(const std::string& index, const std::string& name, Expr* value) {
        return m_tree.Set(index, {m_tree.Assign(name, value)});
    }
    Expr& PushOf(const std::string& pos, const std::string& name, Expr* value) {
        return m_tree.Push(pos, {m_tree.Assign(name, value)});
    }
};

// Scalars

struct ScalarRow {
    const char* field;
    ReflectionCall call;
};

const ScalarRow SCALAR_ROWS[] = {
    {"many_bool", ContainerCall<bool>()},       {"many_int32", ContainerCall<int32_t>()},
    {"many_uint32", ContainerCall<uint32_t>()}, {"many_int64", ContainerCall<int64_t>()},
    {"many_uint64", ContainerCall<uint64_t>()}, {"many_double", ContainerCall<double>()},
    {"many_float", ContainerCall<float>()},
};

TEST_F(AssignmentFaultsTest, AScalarContainerThatIsNullLeavesTheField) {
    for (const ScalarRow& row : SCALAR_ROWS) {
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(row.field + (" " + NameOf(kind)));
            MessageMaker maker(kind, fields3::Fields::descriptor());
            Message* message = maker.Make(std::string(row.field) + ": [1, 0]");
            const std::string before = Show(*message);
            const std::string text = ": pRepeated(fields3.Fields." + std::string(row.field) + ") is null";
            {
                ReflectionFault fault(row.call);
                EXPECT_EQ(Set(Field(message, row.field), SetTo("0", "$", m_tree.Int(0))), GENERIC);
                EXPECT_TRUE(fault.HasFired());
            }
            EXPECT_EQ(m_log.TakeLines(), Lines{HeaderLine("SetRepeatedField" + text)});
            {
                ReflectionFault fault(row.call);
                EXPECT_EQ(Push(Field(message, row.field), PushOf("0", "$", m_tree.Int(0))), GENERIC);
                EXPECT_TRUE(fault.HasFired());
            }
            EXPECT_EQ(m_log.TakeLines(), Lines{HeaderLine("PushRepeatedField" + text)});
            EXPECT_EQ(Show(*message), before);
        }
    }
}

TEST_F(AssignmentFaultsTest, TheValueIsCastBeforeTheContainerIsAskedFor) {
    m_message.add_many_int32(1);
    ReflectionFault fault(ContainerCall<int32_t>());
    EXPECT_EQ(Set(Field(&m_message, "many_int32"), SetTo("0", "$", m_tree.Text("x"))), BAD_TYPE);
    EXPECT_EQ(Push(Field(&m_message, "many_int32"), PushOf("0", "$", m_tree.Text("x"))), BAD_TYPE);
    EXPECT_FALSE(fault.HasFired());
}

template <typename T>
class PrimitiveFaultsTest : public AssignmentFaultsTest {
protected:
    PrimitiveFaultsTest() {
        for (const ScalarRow& row : SCALAR_ROWS) {
            if (row.call == ContainerCall<T>()) {
                m_field = Field(&m_message, row.field);
            }
        }
        Container()->Add(T{1});
    }
    RepeatedField<T>* Container() {
        return m_message.GetReflection()->template MutableRepeatedField<T>(&m_message, m_field.m_pFieldDesc);
    }
    std::string FieldName() const { return std::string(m_field.m_pFieldDesc->full_name()); }

    MutableProtobufField m_field = {nullptr, nullptr};
};

using ScalarTypes = testing::Types<bool, int32_t, uint32_t, int64_t, uint64_t, double, float>;
TYPED_TEST_SUITE(PrimitiveFaultsTest, ScalarTypes);

TYPED_TEST(PrimitiveFaultsTest, TheContainerIsAskedForBeforeTheCount) {
    ProtobufRecordUtil util = this->Util();
    const TypeParam value = {};
    const Lines lines = {this->HeaderLine("SetRepeatedField: pRepeated(" + this->FieldName() + ") is null")};
    for (int idxEnd : {-1, 0, 1}) {
        ReflectionFault fault(ContainerCall<TypeParam>());
        EXPECT_EQ(Peer::SetRepeatedField<TypeParam>(util, this->m_field, 0, idxEnd, &value, 1), GENERIC);
        EXPECT_EQ(this->m_log.TakeLines(), lines);
    }
    for (int count : {-1, 0, 1}) {
        ReflectionFault fault(ContainerCall<TypeParam>());
        EXPECT_EQ(Peer::PushRepeatedField<TypeParam>(util, this->m_field, 0, &value, count), GENERIC);
        EXPECT_EQ(this->m_log.TakeLines(),
                  Lines{this->HeaderLine("PushRepeatedField: pRepeated(" + this->FieldName() + ") is null")});
    }
    EXPECT_EQ(this->Container()->size(), 1);
}

// More elements than a container can count. No value of them is read.
TYPED_TEST(PrimitiveFaultsTest, ElementsThatCannotBeAddedLeaveTheField) {
    ProtobufRecordUtil util = this->Util();
    const TypeParam* behind = this->Container()->data() + 1;
    EXPECT_EQ(Peer::PushRepeatedField<TypeParam>(util, this->m_field, 0, behind, std::numeric_limits<int>::max()),
              GENERIC);
    EXPECT_EQ(this->m_log.TakeLines(),
              Lines{this->HeaderLine("PushRepeatedField: Add element(" + this->FieldName() + ") failed")});
    ASSERT_EQ(this->Container()->size(), 1);
    EXPECT_EQ(this->Container()->Get(0), TypeParam{1});
}

// Strings

TEST_F(AssignmentFaultsTest, AStringContainerThatIsNullLeavesTheField) {
    for (const char* name : {"many_string", "many_bytes"}) {
        SCOPED_TRACE(name);
        m_message.Clear();
        Message* message = &m_message;
        message->GetReflection()->AddString(message, Field(message, name).m_pFieldDesc, "a");
        ReflectionFault fault(ReflectionCall::MutableStrings);
        EXPECT_EQ(Push(Field(message, name), PushOf("0", "$", m_tree.Text("b"))), GENERIC);
        EXPECT_TRUE(fault.HasFired());
        EXPECT_EQ(m_log.TakeLines(), Lines{Line("PushRepeatedStringWithExpr: pRepeatedField(fields.Fields." +
                                                std::string(name) + ") is null")});
        EXPECT_EQ(Show(*message), std::string(name) + ": \"a\"");
    }
}

TEST_F(AssignmentFaultsTest, AStringIsCastBeforeTheContainerIsAskedFor) {
    ReflectionFault fault(ReflectionCall::MutableStrings);
    EXPECT_EQ(Push(Field(&m_message, "many_string"), PushOf("0", "$", m_tree.Int(1))), BAD_TYPE);
    EXPECT_FALSE(fault.HasFired());
    EXPECT_EQ(m_message.many_string_size(), 0);
}

TEST_F(AssignmentFaultsTest, AStringThatCannotBeAddedIsAFailure) {
    RepeatedPtrField<std::string>* strings = m_message.mutable_many_string();
    strings->Reserve(4);
    strings->Add("a");
    // The next add takes a cleared element, which is none.
    strings->AddCleared(nullptr);
    EXPECT_EQ(Push(Field(&m_message, "many_string"), PushOf("0", "$", m_tree.Text("b"))), GENERIC);
    EXPECT_EQ(m_log.TakeLines(),
              Lines{Line("PushRepeatedStringWithExpr: Add element(fields.Fields.many_string) failed")});
    ASSERT_EQ(strings->size(), 2);
    EXPECT_EQ(strings->UnsafeArenaReleaseLast(), nullptr);
    EXPECT_EQ(Show(m_message), "many_string: \"a\"");
}

// Messages: set

TEST_F(AssignmentFaultsTest, SetAsksForTheMessageContainerBeforeItsEntries) {
    m_message.add_many_message()->set_a(1);
    ReflectionFault fault(ReflectionCall::MutableElements);
    EXPECT_EQ(Set(Field(&m_message, "many_message"), m_tree.Set("0", {m_tree.Text("no assignment")})), GENERIC);
    EXPECT_TRUE(fault.HasFired());
    EXPECT_EQ(m_log.TakeLines(),
              Lines{Line("SetRepeatedMessageWithExpr: pRepeated(fields.Fields.many_message) is null")});
    EXPECT_EQ(Show(m_message), "many_message { a: 1 }");
}

TEST_F(AssignmentFaultsTest, SetMeetsAnElementThatIsNull) {
    Message* message = &m_message;
    m_message.add_many_message()->set_a(1);
    Elements(message, "many_message")->UnsafeArenaAddAllocated(nullptr);
    EXPECT_EQ(Set(Field(message, "many_message"), m_tree.Set("1", {m_tree.Text("no assignment")})), GENERIC);
    EXPECT_EQ(m_log.TakeLines(),
              Lines{Line("SetRepeatedMessageWithExpr: pRepeated(fields.Fields.many_message)[1] is null")});
    EXPECT_EQ(Elements(message, "many_message")->UnsafeArenaReleaseLast(), nullptr);
    EXPECT_EQ(Show(m_message), "many_message { a: 1 }");
}

TEST_F(AssignmentFaultsTest, SetMeetsAnElementWithoutDescriptorOrReflection) {
    const google::protobuf::Descriptor* type = fields::Plain::descriptor();
    const google::protobuf::Reflection* reflection = fields::Plain::default_instance().GetReflection();
    for (bool hasReflection : {true, false}) {
        SCOPED_TRACE(hasReflection);
        MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
        Message* message = maker.Make("many_message {a: 1}");
        BrokenMessage broken(hasReflection ? nullptr : type, hasReflection ? reflection : nullptr);
        Elements(message, "many_message")->UnsafeArenaAddAllocated(&broken);
        EXPECT_EQ(Set(Field(message, "many_message"), m_tree.Set("-1", {m_tree.Text("no assignment")})), GENERIC);
        EXPECT_EQ(m_log.TakeLines(),
                  Lines{Line("SetRepeatedMessageWithExpr: fields.Fields.many_message desc or reflection is null")});
        // Also when there is nothing to assign.
        std::vector<Expr*> none;
        ProtobufRecordUtil util = Util();
        EXPECT_EQ(Peer::SetRepeatedMessageWithExpr(util, Field(message, "many_message"), 1, none.begin(), none.end()),
                  GENERIC);
        EXPECT_EQ(m_log.TakeLines().size(), 1U);
        EXPECT_EQ(Elements(message, "many_message")->UnsafeArenaReleaseLast(), &broken);
        EXPECT_EQ(Show(*message), "many_message { a: 1 }");
    }
}

// Messages: push

TEST_F(AssignmentFaultsTest, PushFailsWhereNoElementIsAdded) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("many_message {a: 1}");
        ReflectionFault fault(ReflectionCall::AddMessage);
        EXPECT_EQ(Push(Field(message, "many_message"), m_tree.Push("0", {m_tree.Text("no assignment")})), GENERIC);
        EXPECT_TRUE(fault.HasFired());
        EXPECT_EQ(m_log.TakeLines(),
                  Lines{Line("PushRepeatedMessageWithExpr: Add element(fields.Fields.many_message) failed")});
        EXPECT_EQ(Show(*message), "many_message { a: 1 }");
    }
}

// Protobuf makes a new element from the first one.
TEST_F(AssignmentFaultsTest, PushFailsWhereAMessageCannotMakeAnother) {
    MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
    Message* message = maker.Make();
    BrokenMessage broken(fields::Plain::descriptor(), fields::Plain::default_instance().GetReflection());
    Elements(message, "many_message")->UnsafeArenaAddAllocated(&broken);
    EXPECT_EQ(Push(Field(message, "many_message"), PushOf("0", "a", m_tree.Int(1))), GENERIC);
    EXPECT_EQ(m_log.TakeLines(),
              Lines{Line("PushRepeatedMessageWithExpr: Add element(fields.Fields.many_message) failed")});
    EXPECT_EQ(Elements(message, "many_message")->UnsafeArenaReleaseLast(), nullptr);
    EXPECT_EQ(Elements(message, "many_message")->UnsafeArenaReleaseLast(), &broken);
}

TEST_F(AssignmentFaultsTest, PushLeavesTheAddedElementWhereTheContainerIsNull) {
    for (MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make("many_message {a: 1}");
        ReflectionFault fault(ReflectionCall::MutableElements);
        EXPECT_EQ(Push(Field(message, "many_message"), PushOf("0", "a", m_tree.Int(2))), GENERIC);
        EXPECT_TRUE(fault.HasFired());
        EXPECT_EQ(m_log.TakeLines(),
                  Lines{Line("PushRepeatedMessageWithExpr: pRepeated(fields.Fields.many_message) is null")});
        // Neither filled nor moved.
        EXPECT_EQ(Show(*message, "many_message"), "[{a: 1}, {}]");
    }
}

TEST_F(AssignmentFaultsTest, PushRemovesAnElementWithoutDescriptorOrReflection) {
    const google::protobuf::Descriptor* type = fields::Plain::descriptor();
    const google::protobuf::Reflection* reflection = fields::Plain::default_instance().GetReflection();
    for (bool hasReflection : {true, false}) {
        SCOPED_TRACE(hasReflection);
        MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
        Message* message = maker.Make("many_message {a: 1}");
        RepeatedPtrField<Message>* elements = Elements(message, "many_message");
        // The container keeps it as a cleared element, and ends it.
        auto* broken = new BrokenMessage(hasReflection ? nullptr : type, hasReflection ? reflection : nullptr);
        elements->AddCleared(broken);
        EXPECT_EQ(Push(Field(message, "many_message"), m_tree.Push("0", {m_tree.Text("no assignment")})), GENERIC);
        EXPECT_EQ(m_log.TakeLines(),
                  Lines{Line("PushRepeatedMessageWithExpr: fields.Fields.many_message desc or reflection is null")});
        EXPECT_EQ(Show(*message), "many_message { a: 1 }");
        EXPECT_EQ(broken->clearCount, 1);
        EXPECT_EQ(elements->ClearedCount(), 1);
    }
}

// Whoever reads the record while the line is written meets no element that is about to leave.
TEST_F(AssignmentFaultsTest, ARefusedElementIsRemovedBeforeItsLineIsWritten) {
    struct Row {
        const char* field;
        Expr* entry;
        std::vector<int> sizes;  // at each line, of a field that had one element
    };
    const Row rows[] = {
        {"many_strict", m_tree.Text("no assignment"), {1}},
        {"many_strict", m_tree.Assign("nowhere", m_tree.Int(1)), {1}},
        // The assignment that fails speaks first, of the element that is there.
        {"many_strict", m_tree.Assign("id", m_tree.Text("x")), {2, 1}},
        {"many_strict", m_tree.Assign("note", m_tree.Text("x")), {1}},
        {"many_message", m_tree.Int(1), {1}},  // an element without reflection
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.field + (" " + row.entry->ToStr()));
        MessageMaker maker(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
        Message* message = maker.Make("many_strict {id: 1} many_message {a: 1}");
        Elements(message, "many_message")->AddCleared(new BrokenMessage(fields::Plain::descriptor(), nullptr));
        const MutableProtobufField field = Field(message, row.field);
        std::vector<int> sizes;
        WatchedLog watched([&] { sizes.push_back(message->GetReflection()->FieldSize(*message, field.m_pFieldDesc)); });
        m_record.m_pLog = watched.Category();
        EXPECT_LT(Push(field, m_tree.Push("0", {row.entry})), 0);
        EXPECT_EQ(sizes, row.sizes);
    }
    m_record.m_pLog = m_log.Category();
}

}  // namespace
