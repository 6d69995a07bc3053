// The message types that statements and records are about, from .proto files, a descriptor set, or the
// classes compiled into the program.
//
//   Schema schema;
//   schema.ImportProto("player.proto", {}, error);
//   const Descriptor* type = schema.FindType("demo.Player", error);
//   std::unique_ptr<Message> record = schema.NewRecord(type);
//
// Loaded once, before threads share it; afterwards every call is const. Outlives its records: they go first,
// then the factory that made them, then the pool that describes them.
#ifndef OSTRANE_RECORD_SCHEMA_H_
#define OSTRANE_RECORD_SCHEMA_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

#include "record/input_error.h"

namespace google {
namespace protobuf {
class Descriptor;
class DescriptorPool;
}  // namespace protobuf
}  // namespace google

namespace OstraneRecord {

struct SchemaState;

class Schema {
public:
    Schema();
    ~Schema();
    Schema(const Schema&) = delete;
    Schema& operator=(const Schema&) = delete;

    // Loads a .proto file and everything that it imports. `file` is a path as given, or one below a root.
    // Imports are looked for below the roots, in their order; without any, below the folder of `file`. What
    // is found in neither place, and is compiled into the program, such as protobuf's own files, is taken
    // from there. A file that is itself found only there gives the program's own message classes.
    // Returns 0, or GEN_ERR_ERR with file, line and column in `error` and no schema loaded.
    int ImportProto(const std::string& file, const std::vector<std::string>& roots, InputError& error);

    // Loads a serialised google.protobuf.FileDescriptorSet. Files that it lacks are looked for in the program.
    int ImportDescriptorSet(const std::string& file, InputError& error);
    // The same from memory; `name` stands for the file in errors.
    int ImportDescriptorSetBytes(const char* bytes, size_t size, const std::string& name, InputError& error);

    // The classes compiled into the program.
    void UseGenerated();

    // The message type with this full name. Null with COMMON_ERR_INVALID_FIELD_NAME, and a hint at the
    // nearest name, in `error`.
    const google::protobuf::Descriptor* FindType(const std::string& name, InputError& error) const;
    // The full names of the types of the loaded files, imports included, but map entries not.
    std::vector<std::string> TypeNames() const;

    // An empty record of a type of this schema.
    std::unique_ptr<google::protobuf::Message> NewRecord(const google::protobuf::Descriptor* type) const;
    google::protobuf::MessageFactory* Factory() const;

private:
    std::unique_ptr<SchemaState> m_pState;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_SCHEMA_H_
