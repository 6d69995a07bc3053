// What protobuf's own readers and writers do to a record without a word, and what the codecs do instead.
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "record/codec.h"
#include "record/schema.h"

namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
using namespace OstraneRecord;

class CodecShield : public testing::Test {
protected:
    void SetUp() override {
        InputError error;
        ASSERT_EQ(m_schema.ImportProto("kinds.proto", {OSTRANE_TESTDATA}, error), 0) << error.ToStr();
    }

    std::unique_ptr<Message> Record(const std::string& text) {
        InputError error;
        std::unique_ptr<Message> record = m_schema.NewRecord(m_schema.FindType("kinds.All", error));
        TextFormat::Parser parser;
        parser.AllowPartialMessage(true);
        EXPECT_TRUE(parser.ParseFromString(text, record.get())) << text;
        return record;
    }

    static std::string Encoded(RecordFormat format, const Message& record) {
        std::string bytes;
        InputError error;
        return EncodeRecord(format, record, {}, bytes, error) == 0 ? bytes : error.ToStr();
    }
    std::string Decoded(RecordFormat format, const std::string& bytes) {
        const std::unique_ptr<Message> record = Record("");
        InputError error;
        return DecodeRecord(format, bytes.data(), bytes.size(), {}, *record, error) == 0 ? Text(*record)
                                                                                         : error.ToStr();
    }
    static std::string Text(const Message& record) { return record.ShortDebugString(); }

    static std::string BareJson(const Message& record) {
        std::string json;
        return google::protobuf::util::MessageToJsonString(record, &json).ok() ? json : "an error";
    }

    Schema m_schema;
};

// The library's own JSON code was written anew in release 22.
#if GOOGLE_PROTOBUF_VERSION < 4022000

TEST_F(CodecShield, NullInsideAnArrayIsNotDropped) {
    const std::string json = R"({"i32s":[1,null,2]})";
    const std::unique_ptr<Message> bare = Record("");
    EXPECT_TRUE(google::protobuf::util::JsonStringToMessage(json, bare.get()).ok());
    EXPECT_EQ(Text(*bare), "i32s: 1 i32s: 2");

    EXPECT_EQ(Decoded(RecordFormat::Json, json), "1:12: null inside the list of kinds.All.i32s is no element");
}

TEST_F(CodecShield, AGroupIsNotWrittenAsFieldsOfItsParent) {
    const std::unique_ptr<Message> record = Record("i32: 1 Pair { left: 2 }");
    EXPECT_EQ(BareJson(*record), R"({"i32":1,"i32":2})");
    EXPECT_EQ(Encoded(RecordFormat::Json, *record), "the group kinds.All.pair has no form in JSON");
}

TEST_F(CodecShield, AnExtensionIsNotDropped) {
    const std::unique_ptr<Message> record = Record("i32: 1 [kinds.extra]: 2");
    EXPECT_EQ(BareJson(*record), R"({"i32":1})");
    EXPECT_EQ(Encoded(RecordFormat::Json, *record), "the extension kinds.extra has no form in JSON");
}

TEST_F(CodecShield, AnUnknownFieldIsNotDropped) {
    const std::unique_ptr<Message> record = Record("i32: 1");
    record->GetReflection()->MutableUnknownFields(record.get())->AddVarint(999, 5);
    EXPECT_EQ(BareJson(*record), R"({"i32":1})");
    EXPECT_EQ(Encoded(RecordFormat::Json, *record), "the unknown field 999 of kinds.All has no form in JSON");
}

TEST_F(CodecShield, BytesThatAreNotUtf8AreNotCutOutOfText) {
    const std::unique_ptr<Message> record = Record("");
    record->GetReflection()->SetString(record.get(), record->GetDescriptor()->FindFieldByName("s"), "a\xff");
    EXPECT_EQ(BareJson(*record), R"({"s":"a"})");
    EXPECT_EQ(Encoded(RecordFormat::Json, *record), "the text of kinds.All.s is not UTF-8, which JSON cannot carry");
}

#endif

TEST_F(CodecShield, AnUnknownFieldOfATextIsNotDropped) {
    const std::string text = "i32: 1 none: 2";
    const std::unique_ptr<Message> bare = Record("");
    TextFormat::Parser lenient;
    lenient.AllowUnknownField(true);
    EXPECT_TRUE(lenient.ParseFromString(text, bare.get()));
    EXPECT_EQ(Text(*bare), "i32: 1");

    EXPECT_EQ(Decoded(RecordFormat::Text, text), "1:12: Message type \"kinds.All\" has no field named \"none\".");
    EXPECT_EQ(Decoded(RecordFormat::Text, "i32: 1 999: 5"), "1:8: Expected identifier, got: 999");
}

TEST_F(CodecShield, AMissingRequiredFieldIsNamedAndNoException) {
    const std::unique_ptr<Message> record = Record("parts { count: 1 }");
#if defined(PROTOBUF_USE_EXCEPTIONS) && GOOGLE_PROTOBUF_VERSION < 4022000
    std::string bytes;
    EXPECT_THROW(record->SerializeToString(&bytes), google::protobuf::FatalException);
#endif
    for (const RecordFormat format : {RecordFormat::Binary, RecordFormat::Json, RecordFormat::Text}) {
        EXPECT_EQ(Encoded(format, *record), "a record of kinds.All lacks required fields: parts[0].id");
    }
}

}  // namespace
