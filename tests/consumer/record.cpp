// Runs a statement on a record through the installed record layer: ends with 0 when the record then
// holds what it should.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <ostrane/record/statement_plan.h>

#include <cstdio>

int main() {
    google::protobuf::FileDescriptorProto file;
    file.add_dependency("a.proto");
    file.add_dependency("c.proto");

    OstraneRecord::StatementPlan plan;
    OstraneRecord::StatementError error;
    const int compiled =
        OstraneRecord::StatementPlan::Compile("PUSH dependency[1] = ?", file.GetDescriptor(), {}, plan, error);
    if (compiled != 0) {
        std::printf("code %d: %s\n", compiled, error.message.c_str());
        return 1;
    }

    OstraneRecord::StatementParameters parameters;
    parameters.positional.push_back(OstraneRecord::ParameterValue::MakeString("b.proto"));
    OstraneRecord::ExecutionResult result;
    const int code = plan.Execute(file, parameters, result);

    std::printf("code %d: %s\n", code, file.ShortDebugString().c_str());
    const bool isAsExpected = code == 0 && file.dependency_size() == 3 && file.dependency(0) == "a.proto" &&
                              file.dependency(1) == "b.proto" && file.dependency(2) == "c.proto";
    return isAsExpected ? 0 : 1;
}
