// Statements on a large real record: the descriptor set of protobuf's own schemas, with the places and comments of
// their sources. What a statement makes of it is compared with an edit of the text that protoc decodes it to: the
// edit knows lines and indentation, and nothing of the library.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "common/protobuf_record.h"
#include "record/codec.h"
#include "record/schema.h"
#include "record/statement_plan.h"
#include "support/temp_folder.h"

namespace {

using google::protobuf::DescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorSet;
using namespace OstraneRecord;
using Lines = std::vector<std::string>;

std::string FromFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// `bytes` as protoc converts them: "--decode" or "--encode".
std::string Protoc(const std::string& direction, const std::string& bytes) {
    const TempFolder folder;
    const std::string command = OSTRANE_PROTOC " " + direction + "=google.protobuf.FileDescriptorSet -I " +
                                OSTRANE_PROTO_ROOT + " google/protobuf/descriptor.proto <" + folder.Write("in", bytes) +
                                " >" + folder.At("out");
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return folder.Read("out");
}

Lines LinesOf(const std::string& text) {
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string TextOf(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

// The place behind the last line of the block that opens at `open`.
size_t BlockEnd(const Lines& lines, size_t open) {
    const std::string close = lines.at(open).substr(0, lines.at(open).find_first_not_of(' ')) + "}";
    return static_cast<size_t>(std::find(lines.begin() + static_cast<std::ptrdiff_t>(open), lines.end(), close) -
                               lines.begin()) +
           1;
}

// The place of `line` from `from` on.
size_t PlaceOf(const Lines& lines, const std::string& line, size_t from = 0) {
    const auto found = std::find(lines.begin() + static_cast<std::ptrdiff_t>(from), lines.end(), line);
    EXPECT_NE(found, lines.end()) << line;
    return static_cast<size_t>(found - lines.begin());
}

// The set as a record of the schema that protobuf installs (dynamic classes), or of the program's own classes.
class DescriptorSet : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        m_before = FromFile(OSTRANE_SAMPLES_DIR "/protobuf.protoset");
        ASSERT_TRUE(m_set.ParseFromString(m_before));
        InputError error;
        if (GetParam()) {
            const std::string root = OSTRANE_PROTO_ROOT;
            ASSERT_EQ(m_schema.ImportProto(root + "/google/protobuf/descriptor.proto", {root}, error), 0)
                << error.ToStr();
        } else {
            m_schema.UseGenerated();
        }
        m_pType = m_schema.FindType("google.protobuf.FileDescriptorSet", error);
        ASSERT_NE(m_pType, nullptr) << error.ToStr();
        ASSERT_EQ(m_pType != FileDescriptorSet::descriptor(), GetParam());
        m_message = m_schema.NewRecord(m_pType);
        ASSERT_EQ(DecodeRecord(RecordFormat::Binary, m_before.data(), m_before.size(), {}, *m_message, error), 0)
            << error.ToStr();
    }

    static std::string Decoded(const std::string& bytes) { return Protoc("--decode", bytes); }
    Lines DecodedBefore() const { return LinesOf(Decoded(m_before)); }

    ExecutionResult Run(const std::string& text, const StatementParameters& parameters = {}) {
        StatementPlan plan;
        ExecutionResult result;
        result.code = StatementPlan::Compile(text, m_pType, {}, plan, result.error);
        if (result.code == 0) {
            ProtobufRecord record;
            record.m_pMessage = m_message.get();
            plan.Execute(record, parameters, result);
        }
        EXPECT_EQ(result.code, 0) << ShowError(result.error, text);
        return result;
    }

    // The record is now what the lines say, for protoc in both directions.
    void ExpectRecord(const Lines& expected) const {
        std::string bytes;
        InputError error;
        ASSERT_EQ(EncodeRecord(RecordFormat::Binary, *m_message, {}, bytes, error), 0) << error.ToStr();
        EXPECT_NE(bytes, m_before);
        // Texts of 30,000 lines are told apart by their first difference.
        const Lines decoded = LinesOf(Decoded(bytes));
        const auto apart = std::mismatch(decoded.begin(), decoded.end(), expected.begin(), expected.end());
        EXPECT_TRUE(apart.first == decoded.end() && apart.second == expected.end())
            << "line " << (apart.first - decoded.begin()) + 1 << ": "
            << (apart.first == decoded.end() ? "the end" : *apart.first) << ", not "
            << (apart.second == expected.end() ? "the end" : *apart.second);
        EXPECT_TRUE(Protoc("--encode", TextOf(expected)) == bytes);
    }

    int FileIndex(const std::string& name) const {
        int index = 0;
        while (index < m_set.file_size() && m_set.file(index).name() != name) {
            ++index;
        }
        EXPECT_LT(index, m_set.file_size()) << name;
        return index;
    }
    // "file[4].message_type[2]"
    std::string MessagePath(const std::string& file, const std::string& message) const {
        const int fileIndex = FileIndex(file);
        const auto& types = m_set.file(fileIndex).message_type();
        const auto found = std::find_if(types.begin(), types.end(),
                                        [&](const DescriptorProto& type) { return type.name() == message; });
        EXPECT_NE(found, types.end()) << message;
        return "file[" + std::to_string(fileIndex) + "].message_type[" + std::to_string(found - types.begin()) + "]";
    }

    Schema m_schema;
    const google::protobuf::Descriptor* m_pType = nullptr;
    std::unique_ptr<google::protobuf::Message> m_message;
    FileDescriptorSet m_set;  // before any statement
    std::string m_before;
};

TEST_P(DescriptorSet, ReadsTheRepeatedFieldsOfAMessageWithHighNumbers) {
    const std::string path = MessagePath("google/protobuf/descriptor.proto", "FileDescriptorProto");
    const ExecutionResult result = Run("GET " + path + ".field[*] WHERE label = 'LABEL_REPEATED' AND number > 10");
    Lines read;
    for (const std::string& element : result.statements.at(0).elements) {
        FieldDescriptorProto field;
        ASSERT_TRUE(google::protobuf::util::JsonStringToMessage(element, &field).ok()) << element;
        read.push_back(field.DebugString());
    }

    // The same from the text: blocks `field {` of the message, by their own lines.
    const Lines lines = DecodedBefore();
    const size_t file = PlaceOf(lines, "  name: \"google/protobuf/descriptor.proto\"");
    const size_t name = PlaceOf(lines, "    name: \"FileDescriptorProto\"", file);
    Lines expected;
    for (size_t i = name; i < BlockEnd(lines, name - 1); ++i) {
        if (lines[i] != "    field {") {
            continue;
        }
        const Lines block(lines.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                          lines.begin() + static_cast<std::ptrdiff_t>(BlockEnd(lines, i)) - 1);
        int number = 0;
        std::string text;
        for (const std::string& line : block) {
            text += line.substr(6) + "\n";
            number = line.compare(0, 14, "      number: ") == 0 ? std::stoi(line.substr(14)) : number;
        }
        const bool isRepeated = std::count(block.begin(), block.end(), "      label: LABEL_REPEATED") == 1;
        if (isRepeated && number > 10) {
            expected.push_back(text);
        }
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(read, expected);
}

TEST_P(DescriptorSet, RemovesTheFieldsOfANameInEveryMessage) {
    // Paths of all messages, nested ones too.
    Lines paths;
    const std::function<void(const std::string&, const DescriptorProto&)> collect = [&](const std::string& path,
                                                                                        const DescriptorProto& type) {
        paths.push_back(path);
        for (int i = 0; i < type.nested_type_size(); ++i) {
            collect(path + ".nested_type[" + std::to_string(i) + "]", type.nested_type(i));
        }
    };
    for (int f = 0; f < m_set.file_size(); ++f) {
        for (int m = 0; m < m_set.file(f).message_type_size(); ++m) {
            collect("file[" + std::to_string(f) + "].message_type[" + std::to_string(m) + "]",
                    m_set.file(f).message_type(m));
        }
    }
    std::string text;
    for (const std::string& path : paths) {
        text += "POP " + path + ".field[*] WHERE name LIKE '%deprecated%';\n";
    }
    const int64_t removed = Run(text).Changed();

    Lines expected;
    int64_t left = 0;
    const Lines lines = DecodedBefore();
    for (size_t i = 0; i < lines.size(); ++i) {
        const size_t indent = lines[i].find_first_not_of(' ');
        const bool isField = lines[i].substr(indent) == "field {";
        if (isField && lines.at(i + 1).find("name: \"") == indent + 2 &&
            lines.at(i + 1).find("deprecated") != std::string::npos) {
            i = BlockEnd(lines, i) - 1;
            ++left;
            continue;
        }
        expected.push_back(lines[i]);
    }
    EXPECT_GE(left, 5);
    EXPECT_EQ(removed, left);
    ExpectRecord(expected);
}

TEST_P(DescriptorSet, AddsADependency) {
    const std::string file = "google/protobuf/compiler/plugin.proto";
    StatementParameters parameters;
    parameters.named["file"] = ParameterValue::MakeInt(FileIndex(file));
    parameters.named["name"] = ParameterValue::MakeString("google/protobuf/any.proto");
    Run("PUSH file[:file].dependency[0] = :name", parameters);

    Lines expected = DecodedBefore();
    const size_t first = PlaceOf(expected, "  dependency: \"google/protobuf/descriptor.proto\"",
                                 PlaceOf(expected, "  name: \"" + file + "\""));
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(first),
                    "  dependency: \"google/protobuf/any.proto\"");
    ExpectRecord(expected);
}

TEST_P(DescriptorSet, RenamesAnEnumValue) {
    const std::string file = "google/protobuf/descriptor.proto";
    const std::string path = MessagePath(file, "FieldDescriptorProto");
    const ExecutionResult result =
        Run("SET " + path + ".enum_type[-1].value[*].name = 'LABEL_MANY' WHERE name = 'LABEL_REPEATED'");
    EXPECT_EQ(result.Changed(), 1);

    Lines expected = DecodedBefore();
    expected.at(PlaceOf(expected, "        name: \"LABEL_REPEATED\"", PlaceOf(expected, "  name: \"" + file + "\""))) =
        "        name: \"LABEL_MANY\"";
    ExpectRecord(expected);
}

TEST_P(DescriptorSet, InsertsIntoTheMiddleOfPackedNumbers) {
    const std::string file = "google/protobuf/compiler/plugin.proto";
    const int fileIndex = FileIndex(file);
    const auto& locations = m_set.file(fileIndex).source_code_info().location();
    ASSERT_GT(locations.size(), 50);
    std::string text;
    for (int i = 0; i < locations.size(); ++i) {
        text += "PUSH file[" + std::to_string(fileIndex) + "].source_code_info.location[" + std::to_string(i) +
                "].span[" + std::to_string(locations.Get(i).span_size() / 2) + "] = 4711;\n";
    }
    EXPECT_EQ(Run(text).Changed(), locations.size());

    Lines expected = DecodedBefore();
    size_t end = BlockEnd(expected, PlaceOf(expected, "  name: \"" + file + "\"") - 1);
    for (size_t i = PlaceOf(expected, "  name: \"" + file + "\""); i < end; ++i) {
        if (expected[i] != "    location {") {
            continue;
        }
        const auto isSpan = [](const std::string& line) { return line.compare(0, 12, "      span: ") == 0; };
        const auto first = std::find_if(expected.begin() + static_cast<std::ptrdiff_t>(i), expected.end(), isSpan);
        const auto last = std::find_if_not(first, expected.end(), isSpan);
        expected.insert(first + (last - first) / 2, "      span: 4711");
        ++end;
    }
    ExpectRecord(expected);
}

std::string NameOf(const testing::TestParamInfo<bool>& isDynamic) {
    return isDynamic.param ? "Dynamic" : "Generated";
}

INSTANTIATE_TEST_SUITE_P(Classes, DescriptorSet, testing::Bool(), NameOf);

}  // namespace
