#include "record/record_file.h"

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/temp_folder.h"

namespace {

using google::protobuf::Message;
using OstraneRecord::InputError;
using OstraneRecord::LoadRecordFile;
using testing::EndsWith;
using testing::HasSubstr;

class LoadRecordFileTest : public testing::Test {
protected:
    void SetUp() override {
        InputError error;
        ASSERT_EQ(m_schema.ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error), 0) << error.ToStr();
    }

    // The record on one line, or the error.
    std::string Load(const std::string& file, const std::string& type = "demo.Player") {
        InputError error;
        const int code = LoadRecordFile(file, m_schema, type, {}, m_pMessage, error);
        EXPECT_EQ(code, error.code);
        return code == 0 ? m_pMessage->ShortDebugString() : ShowError(error);
    }

    TempFolder m_folder;
    OstraneRecord::Schema m_schema;
    std::unique_ptr<Message> m_pMessage;
};

TEST_F(LoadRecordFileTest, TheEndingTellsTheFormat) {
    EXPECT_EQ(Load(m_folder.Write("a.json", "{\"name\": \"Mara\", \"scores\": [7]}")), "name: \"Mara\" scores: 7");
    EXPECT_EQ(Load(m_folder.Write("a.txtpb", "name: 'Mara' scores: 8")), "name: \"Mara\" scores: 8");
    EXPECT_EQ(Load(m_folder.Write("a.pb", m_pMessage->SerializeAsString())), "name: \"Mara\" scores: 8");
}

TEST_F(LoadRecordFileTest, TheRecordIsOfTheNamedType) {
    EXPECT_EQ(Load(m_folder.Write("a.json", "{\"city\": \"Bergen\"}"), "demo.Address"), "city: \"Bergen\"");
    EXPECT_EQ(m_pMessage->GetDescriptor()->full_name(), "demo.Address");
}

TEST_F(LoadRecordFileTest, ErrorsNameTheFileAndLeaveTheRecord) {
    ASSERT_EQ(Load(m_folder.Write("a.json", "{\"name\": \"Mara\"}")), "name: \"Mara\"");
    const struct {
        std::string file;
        std::string error;  // behind the file
    } rows[] = {
        {m_folder.At("none.json"), ": cannot be opened: No such file or directory"},
        {m_folder.Write("bad.json", "{\n\"level\": x}"), ":2:10: "},
        {m_folder.Write("half.json", "{}"), ": a record of demo.Player lacks required fields: name"},
        {m_folder.Write("a.txt", "{}"),
         ": the ending of the file's name names no format; one record has .json, .txtpb or .pb"},
        {m_folder.Write("a.ndjson", "{}"), ": the file holds any number of records, not one"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(Load(row.file), HasSubstr(": " + row.file + row.error));
        EXPECT_EQ(m_pMessage->ShortDebugString(), "name: \"Mara\"") << row.file;
    }
    EXPECT_EQ(Load(m_folder.At("a.json"), "demo.Plaier"),
              "error -4889 COMMON_ERR_INVALID_FIELD_NAME: the schema has no message type 'demo.Plaier'; "
              "did you mean 'demo.Player'?");
    EXPECT_EQ(m_pMessage->ShortDebugString(), "name: \"Mara\"");
}

TEST_F(LoadRecordFileTest, PartialRecordsAreReadWhenAskedFor) {
    OstraneRecord::CodecOptions options;
    options.partial = true;
    InputError error;
    EXPECT_EQ(LoadRecordFile(m_folder.Write("a.json", "{}"), m_schema, "demo.Player", options, m_pMessage, error), 0);
    EXPECT_EQ(m_pMessage->ByteSizeLong(), 0U);
}

TEST_F(LoadRecordFileTest, WithoutASchemaThereIsNoType) {
    const OstraneRecord::Schema empty;
    InputError error;
    EXPECT_NE(LoadRecordFile(m_folder.Write("a.json", "{}"), empty, "demo.Player", {}, m_pMessage, error), 0);
    EXPECT_THAT(error.ToStr(), EndsWith("no message type 'demo.Player'"));
    EXPECT_EQ(m_pMessage, nullptr);
}

}  // namespace
