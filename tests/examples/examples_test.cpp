// The sample data is what other tests and readers take it for: every record fits its schema, all
// forms of one record agree, and a field of every kind is set.
#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "inventory.pb.h"
#include "player.pb.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptorSet;
using google::protobuf::Message;
using google::protobuf::TextFormat;
using google::protobuf::util::JsonStringToMessage;
using testing::Contains;

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.is_open()) << path;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Example(const std::string& name) {
    return ReadFile(std::string(OSTRANE_EXAMPLES_DIR) + "/" + name);
}

std::string Sample(const std::string& name) {
    return ReadFile(std::string(OSTRANE_SAMPLES_DIR) + "/" + name);
}

void ParseText(const std::string& text, demo::Player& player) {
    ASSERT_TRUE(TextFormat::ParseFromString(text, &player));
}

void ParseJson(const std::string& text, Message& message) {
    const auto status = JsonStringToMessage(text, &message);
    ASSERT_TRUE(status.ok()) << status.ToString();
}

// Notes the kind of every field that is set in `message` and below, such as "repeated sint32",
// "map", "oneof string" or "extension repeated int64".
void CollectKinds(const Message& message, std::set<std::string>& kinds) {
    std::vector<const FieldDescriptor*> fields;
    message.GetReflection()->ListFields(message, &fields);
    for (const FieldDescriptor* fieldDesc : fields) {
        std::string kind = fieldDesc->is_extension() ? "extension " : "";
        kind += fieldDesc->containing_oneof() != nullptr ? "oneof " : "";
        kind += fieldDesc->is_repeated() ? "repeated " : "";
        kinds.insert(fieldDesc->is_map() ? "map" : kind + fieldDesc->type_name());
        if (fieldDesc->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
            continue;
        }
        if (!fieldDesc->is_repeated()) {
            CollectKinds(message.GetReflection()->GetMessage(message, fieldDesc), kinds);
            continue;
        }
        for (int i = 0; i < message.GetReflection()->FieldSize(message, fieldDesc); ++i) {
            CollectKinds(message.GetReflection()->GetRepeatedMessage(message, fieldDesc, i), kinds);
        }
    }
}

TEST(Player, TextRecordHasAFieldOfEveryKind) {
    demo::Player player;
    ParseText(Example("player.txtpb"), player);
    ASSERT_TRUE(player.IsInitialized());

    std::set<std::string> kinds;
    CollectKinds(player, kinds);
    for (int type = 1; type <= FieldDescriptor::MAX_TYPE; ++type) {
        const std::string name = FieldDescriptor::TypeName(static_cast<FieldDescriptor::Type>(type));
        EXPECT_THAT(kinds, Contains(name));
        if (type != FieldDescriptor::TYPE_GROUP) {
            EXPECT_THAT(kinds, Contains("repeated " + name));
        }
    }
    for (const char* kind : {"map", "oneof int64", "extension string", "extension repeated int64"}) {
        EXPECT_THAT(kinds, Contains(kind));
    }
}

TEST(Player, JsonRecordIsTheTextRecordWithoutGroupAndExtensions) {
    demo::Player fromText;
    ParseText(Example("player.txtpb"), fromText);
    fromText.clear_guild();
    fromText.ClearExtension(demo::nickname);
    fromText.ClearExtension(demo::visits);
    demo::Player fromJson;
    ParseJson(Example("player.json"), fromJson);
    EXPECT_EQ(fromJson.DebugString(), fromText.DebugString());
}

TEST(Player, BinaryRecordIsTheTextRecord) {
    demo::Player fromText;
    ParseText(Example("player.txtpb"), fromText);
    demo::Player fromBinary;
    ASSERT_TRUE(fromBinary.ParseFromString(Sample("player.pb")));
    EXPECT_EQ(fromBinary.DebugString(), fromText.DebugString());
}

TEST(Player, EveryLineOfTheStreamIsARecord) {
    std::ifstream in(std::string(OSTRANE_EXAMPLES_DIR) + "/players.ndjson");
    std::vector<std::string> names;
    for (std::string line; std::getline(in, line);) {
        demo::Player player;
        ParseJson(line, player);
        EXPECT_TRUE(player.IsInitialized()) << line;
        names.push_back(player.name());
    }
    EXPECT_THAT(names, testing::ElementsAre("Mara", "Ivo", "Sanna", "Björn", "Ada"));
}

TEST(Player, DescriptorSetDescribesTheSchema) {
    FileDescriptorSet files;
    ASSERT_TRUE(files.ParseFromString(Sample("player.protoset")));
    ASSERT_EQ(files.file_size(), 1);
    google::protobuf::FileDescriptorProto generated;
    demo::Player::descriptor()->file()->CopyTo(&generated);
    demo::Player::descriptor()->file()->CopyJsonNameTo(&generated);
    EXPECT_EQ(files.file(0).DebugString(), generated.DebugString());
}

TEST(Inventory, RecordFitsItsSchemaAndKeepsPresence) {
    demo::Inventory inventory;
    ParseJson(Example("inventory.json"), inventory);
    ASSERT_EQ(inventory.crates_size(), 3);
    EXPECT_TRUE(inventory.crates(1).has_weight());
    EXPECT_EQ(inventory.crates(1).weight(), 0);
    EXPECT_FALSE(inventory.crates(2).has_weight());
}

TEST(ProtobufSchemas, DescriptorSetHoldsTheFilesThatProtobufInstalls) {
    FileDescriptorSet files;
    ASSERT_TRUE(files.ParseFromString(Sample("protobuf.protoset")));
    std::set<std::string> names;
    for (const auto& file : files.file()) {
        names.insert(file.name());
        EXPECT_TRUE(file.has_source_code_info()) << file.name();
    }
    EXPECT_THAT(names, Contains("google/protobuf/descriptor.proto"));
    EXPECT_THAT(names, Contains("google/protobuf/struct.proto"));
    EXPECT_THAT(names, Contains("google/protobuf/compiler/plugin.proto"));
}

}  // namespace
