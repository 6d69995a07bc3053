// Pushes into a record through the installed headers and libraries: ends with 0 when the record then
// holds what it should.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <ostrane/common/protobuf_record_util.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The tree of `PUSH [position] = 'text'`, put together by hand.
struct PushOfText {
    PushOfText(const std::string& position, const std::string& text) {
        index.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
        index.m_self.m_str = position;
        value.m_self.m_type = OstraneCommon::EXPR_STRING;
        value.m_self.m_str = text;
        assign.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
        assign.m_self.m_str = "$";
        assign.m_operands = &assignOperands;
        push.m_self.m_type = OstraneCommon::EXPR_OP_PUSH;
        push.m_operands = &pushOperands;
    }

    OstraneCommon::Expr index;
    OstraneCommon::Expr value;
    OstraneCommon::Expr assign;
    OstraneCommon::Expr push;
    std::vector<OstraneCommon::Expr*> assignOperands{&value};
    std::vector<OstraneCommon::Expr*> pushOperands{&index, &assign};
};

}  // namespace

int main() {
    google::protobuf::FileDescriptorProto file;
    file.add_dependency("a.proto");
    file.add_dependency("c.proto");

    ProtobufRecord record;
    record.m_pMessage = &file;
    MutableProtobufField field = {&file, file.GetDescriptor()->FindFieldByName("dependency")};
    PushOfText tree("1", "b.proto");
    const int code = ProtobufRecordUtil(record).PushWithExpr(field, tree.push);

    std::printf("code %d: %s\n", code, file.ShortDebugString().c_str());
    const bool isAsExpected = code == 0 && file.dependency_size() == 3 && file.dependency(0) == "a.proto" &&
                              file.dependency(1) == "b.proto" && file.dependency(2) == "c.proto";
    return isAsExpected ? 0 : 1;
}
