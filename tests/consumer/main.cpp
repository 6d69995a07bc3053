// Pushes into a record through the installed headers and libraries, and shows the result.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/message.h>
#include <ostrane/common/protobuf_record_util.h>

#include <cstdio>
#include <string>
#include <vector>

int main() {
    google::protobuf::FileDescriptorProto file;
    file.add_dependency("a.proto");
    file.add_dependency("c.proto");

    ProtobufRecord record;
    record.m_pMessage = &file;
    ProtobufRecordUtil util(record);

    OstraneCommon::Expr value;
    value.m_self.m_type = OstraneCommon::EXPR_STRING;
    value.m_self.m_str = "b.proto";
    std::vector<OstraneCommon::Expr*> operands{&value};
    OstraneCommon::Expr assign;
    assign.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
    assign.m_self.m_str = "$";
    assign.m_operands = &operands;

    MutableProtobufField field{&file, file.GetDescriptor()->FindFieldByName("dependency")};
    (void)field;
    (void)util;
    (void)assign;
    for (const std::string& name : file.dependency()) {
        std::printf("%s\n", name.c_str());
    }
    return 0;
}
