#include "record/schema.h"

#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "expr/name_hint.h"
#include "support/temp_folder.h"

namespace {

using google::protobuf::Descriptor;
using OstraneRecord::InputError;
using OstraneRecord::Schema;
using testing::ElementsAre;
using testing::HasSubstr;

// The error's line, the test's own folder taken out of it.
std::string Show(const InputError& error, const TempFolder& folder) {
    std::string text = error.ToStr();
    for (size_t at = text.find(folder.Path()); at != std::string::npos; at = text.find(folder.Path())) {
        text.replace(at, folder.Path().size(), "DIR");
    }
    return text;
}

// The error of loading `file`, which must fail.
std::string LoadError(const TempFolder& folder, const std::string& file, const std::vector<std::string>& roots = {}) {
    Schema schema;
    InputError error;
    EXPECT_EQ(schema.ImportProto(file, roots, error), -256);
    EXPECT_EQ(error.code, -256);
    EXPECT_EQ(schema.Factory(), nullptr);
    return Show(error, folder);
}

constexpr char HEAD[] = "syntax = \"proto2\";\n";

TEST(Schema, OwnFolderIsTheRootWithoutRoots) {
    TempFolder folder;
    folder.Write("a/b.proto", std::string(HEAD) + "package p;\nmessage B {}\n");
    const std::string file = folder.Write(
        "a/a.proto", std::string(HEAD) + "package p;\nimport \"b.proto\";\nmessage A { optional B b = 1; }\n");
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(file, {}, error), 0) << error.ToStr();
    EXPECT_THAT(schema.TypeNames(), ElementsAre("p.A", "p.B"));
    const Descriptor* const type = schema.FindType("p.A", error);
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(schema.NewRecord(type)->GetDescriptor(), type);
}

TEST(Schema, RootsAreSearchedInTheirOrder) {
    TempFolder folder;
    folder.Write("one/dep.proto", std::string(HEAD) + "message First {}\n");
    folder.Write("two/dep.proto", std::string(HEAD) + "message Second {}\n");
    folder.Write("two/main.proto", std::string(HEAD) + "import \"dep.proto\";\n");
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto("main.proto", {folder.At("one"), folder.At("two")}, error), 0) << error.ToStr();
    EXPECT_THAT(schema.TypeNames(), ElementsAre("First"));
}

TEST(Schema, AFileBelowARootIsNamedFromThere) {
    TempFolder folder;
    folder.Write("root/a/b.proto", std::string(HEAD) + "message B {}\n");
    const std::string file =
        folder.Write("root/a/a.proto", std::string(HEAD) + "import \"a/b.proto\";\nmessage A { optional B b = 1; }\n");
    Schema schema;
    InputError error;
    EXPECT_EQ(schema.ImportProto(file, {folder.At("root")}, error), 0) << error.ToStr();
    EXPECT_EQ(schema.ImportProto("a/a.proto", {folder.At("root")}, error), 0) << error.ToStr();
}

TEST(Schema, AFileBelowNoRootIsTakenAsGiven) {
    TempFolder folder;
    folder.Write("root/dep.proto", std::string(HEAD) + "message Dep {}\n");
    const std::string file = folder.Write(
        "elsewhere/a.proto", std::string(HEAD) + "import \"dep.proto\";\nmessage A { optional Dep d = 1; }\n");
    Schema schema;
    InputError error;
    EXPECT_EQ(schema.ImportProto(file, {folder.At("root")}, error), 0) << error.ToStr();
    EXPECT_THAT(schema.TypeNames(), ElementsAre("A", "Dep"));
}

TEST(Schema, ProtobufsOwnFilesNeedNoRoot) {
    TempFolder folder;
    std::string text = HEAD;
    for (const char* name : {"any", "api", "descriptor", "duration", "empty", "field_mask", "source_context", "struct",
                             "timestamp", "type", "wrappers", "compiler/plugin"}) {
        text += std::string("import \"google/protobuf/") + name + ".proto\";\n";
    }
    const std::string file =
        folder.Write("a.proto", text + "message A { optional google.protobuf.Timestamp t = 1; }\n");
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(file, {}, error), 0) << error.ToStr();
    EXPECT_NE(schema.FindType("google.protobuf.compiler.CodeGeneratorRequest", error), nullptr);
    EXPECT_NE(schema.FindType("A", error), nullptr);
}

TEST(Schema, AFileOfTheProgramGivesItsOwnClasses) {
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto("google/protobuf/descriptor.proto", {}, error), 0) << error.ToStr();
    const Descriptor* const type = schema.FindType("google.protobuf.FileDescriptorSet", error);
    EXPECT_EQ(type, google::protobuf::FileDescriptorSet::descriptor());
    EXPECT_NE(dynamic_cast<google::protobuf::FileDescriptorSet*>(schema.NewRecord(type).get()), nullptr);
}

TEST(Schema, AFileOnDiskComesBeforeTheProgramsOwn) {
    TempFolder folder;
    folder.Write("google/protobuf/empty.proto", std::string(HEAD) + "message Mine {}\n");
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto("google/protobuf/empty.proto", {folder.Path()}, error), 0) << error.ToStr();
    EXPECT_THAT(schema.TypeNames(), ElementsAre("Mine"));
}

TEST(Schema, GeneratedGivesTheProgramsClasses) {
    Schema schema;
    schema.UseGenerated();
    InputError error;
    EXPECT_EQ(schema.FindType("google.protobuf.FileDescriptorProto", error),
              google::protobuf::FileDescriptorProto::descriptor());
}

TEST(Schema, ARecordOutlivesNeitherFactoryNorPool) {
    std::unique_ptr<Schema> schema(new Schema());
    InputError error;
    ASSERT_EQ(schema->ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error), 0) << error.ToStr();
    std::unique_ptr<google::protobuf::Message> record = schema->NewRecord(schema->FindType("demo.Player", error));
    ASSERT_NE(record, nullptr);
    record.reset();
    schema.reset();
}

// Errors: one line each, places from 1.

TEST(SchemaErrors, NoSuchFile) {
    TempFolder folder;
    EXPECT_EQ(LoadError(folder, folder.At("none.proto")), "DIR/none.proto: no such file");
    EXPECT_EQ(LoadError(folder, "none.proto", {folder.Path()}), "none.proto: no such file; nor is it below 'DIR'");
    EXPECT_EQ(LoadError(folder, folder.Path()), "DIR: a folder, not a .proto file");
}

TEST(SchemaErrors, NoSuchRoot) {
    TempFolder folder;
    EXPECT_EQ(LoadError(folder, "a.proto", {folder.At("none")}),
              "DIR/none: no such folder, which should be a root of imports");
}

TEST(SchemaErrors, MissingImportIsToldAtTheImport) {
    TempFolder folder;
    const std::string file =
        folder.Write("a.proto", std::string(HEAD) + "import \"dep.proto\";\nmessage A { optional Dep d = 1; }\n");
    EXPECT_EQ(LoadError(folder, file), "DIR/a.proto:2:1: the import \"dep.proto\" is not found; looked below 'DIR'");
}

TEST(SchemaErrors, SyntaxErrorInAnImport) {
    TempFolder folder;
    folder.Write("dep.proto", std::string(HEAD) + "message Dep {\n  optional int32 a;\n}\n");
    const std::string file = folder.Write("a.proto", std::string(HEAD) + "import \"dep.proto\";\n");
    EXPECT_EQ(LoadError(folder, file), "DIR/dep.proto:3:19: Missing field number");
}

TEST(SchemaErrors, UnknownFieldType) {
    TempFolder folder;
    const std::string file = folder.Write("a.proto", std::string(HEAD) + "message A {\n  optional Itm item = 1;\n}\n");
    EXPECT_EQ(LoadError(folder, file), "DIR/a.proto:3:12: \"Itm\" is not defined");
}

TEST(SchemaErrors, AFileThatImportsItself) {
    TempFolder folder;
    const std::string file = folder.Write("a.proto", std::string(HEAD) + "import \"a.proto\";\n");
    EXPECT_EQ(LoadError(folder, file), "DIR/a.proto:2:1: File recursively imports itself: a.proto -> a.proto");
}

TEST(SchemaErrors, ACycleOfImports) {
    TempFolder folder;
    folder.Write("b.proto", std::string(HEAD) + "import \"a.proto\";\n");
    const std::string file = folder.Write("a.proto", std::string(HEAD) + "import \"b.proto\";\n");
    EXPECT_THAT(LoadError(folder, file), HasSubstr("File recursively imports itself: a.proto -> b.proto -> a.proto"));
}

TEST(SchemaErrors, AFileThatIsNoProto) {
    TempFolder folder;
    EXPECT_THAT(LoadError(folder, folder.Write("a.proto", std::string(100, '\0'))), HasSubstr("DIR/a.proto:1:1: "));
    std::string deep = HEAD;
    for (int i = 0; i < 5000; ++i) {
        deep += "message M {";
    }
    EXPECT_THAT(LoadError(folder, folder.Write("deep.proto", deep)), HasSubstr("DIR/deep.proto:2:"));
}

TEST(SchemaErrors, UnknownTypeHintsAtTheNearest) {
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error), 0) << error.ToStr();
    EXPECT_EQ(schema.FindType("demo.Plyer", error), nullptr);
    EXPECT_EQ(error.code, -4889);
    EXPECT_EQ(error.ToStr(), "the schema has no message type 'demo.Plyer'; did you mean 'demo.Player'?");
    EXPECT_EQ(schema.FindType("Player", error), nullptr);
    EXPECT_EQ(error.hint, "did you mean 'demo.Player'?");
    EXPECT_EQ(schema.FindType("demo.Rank", error), nullptr);
    EXPECT_EQ(error.code, -4889);
    EXPECT_EQ(error.ToStr(), "'demo.Rank' is an enum: a record has a message type");
    EXPECT_EQ(schema.FindType("demo.Player.AttrsEntry", error), nullptr);
    EXPECT_EQ(schema.FindType("", error), nullptr);
}

TEST(SchemaErrors, AFailedLoadLeavesNoSchema) {
    TempFolder folder;
    Schema schema;
    InputError error;
    ASSERT_EQ(schema.ImportProto(OSTRANE_EXAMPLES "/player.proto", {}, error), 0);
    EXPECT_NE(schema.ImportProto(folder.At("none.proto"), {}, error), 0);
    EXPECT_TRUE(schema.TypeNames().empty());
    EXPECT_EQ(schema.FindType("demo.Player", error), nullptr);
}

// Descriptor sets, made by protoc itself.

std::string MakeSet(const TempFolder& folder, const std::string& arguments) {
    const std::string out = folder.At("set.pb");
    const std::string command = std::string(OSTRANE_PROTOC) + " --descriptor_set_out=" + out + " " + arguments;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return out;
}

TEST(DescriptorSet, WithAllImports) {
    TempFolder folder;
    Schema schema;
    InputError error;
    const std::string set = MakeSet(folder, "--include_imports -I " OSTRANE_TESTDATA " kinds.proto");
    ASSERT_EQ(schema.ImportDescriptorSet(set, error), 0) << error.ToStr();
    EXPECT_NE(schema.FindType("kinds.All", error), nullptr);
}

TEST(DescriptorSet, ProtobufsOwnFilesMayBeLeftOut) {
    TempFolder folder;
    Schema schema;
    InputError error;
    const std::string set = MakeSet(folder, "-I " OSTRANE_TESTDATA " kinds.proto");
    ASSERT_EQ(schema.ImportDescriptorSet(set, error), 0) << error.ToStr();
    EXPECT_NE(schema.FindType("kinds.All", error), nullptr);
}

TEST(DescriptorSet, MissingImport) {
    TempFolder folder;
    folder.Write("dep.proto", std::string(HEAD) + "message Dep {}\n");
    folder.Write("a.proto", std::string(HEAD) + "import \"dep.proto\";\nmessage A { optional Dep d = 1; }\n");
    const std::string set = MakeSet(folder, "-I " + folder.Path() + " a.proto");
    Schema schema;
    InputError error;
    EXPECT_EQ(schema.ImportDescriptorSet(set, error), -256);
    EXPECT_EQ(Show(error, folder),
              "DIR/set.pb: the descriptor set lacks the imported file 'dep.proto'; "
              "protoc adds imports with --include_imports");
}

TEST(DescriptorSet, FilesThatDoNotFitTogether) {
    google::protobuf::FileDescriptorSet set;
    google::protobuf::FileDescriptorProto* const file = set.add_file();
    file->set_name("a.proto");
    google::protobuf::FieldDescriptorProto* const field = file->add_message_type()->add_field();
    file->mutable_message_type(0)->set_name("A");
    field->set_name("f");
    field->set_number(1);
    field->set_type_name("None");
    const std::string bytes = set.SerializeAsString();
    Schema schema;
    InputError error;
    EXPECT_EQ(schema.ImportDescriptorSetBytes(bytes.data(), bytes.size(), "mem", error), -256);
    EXPECT_EQ(error.ToStr(), "mem: the file 'a.proto' of the set: A.f: \"None\" is not defined");
}

TEST(DescriptorSet, WhatIsNoSet) {
    TempFolder folder;
    Schema schema;
    InputError error;
    error.line = 2;
    EXPECT_EQ(schema.ImportDescriptorSet(folder.At("none"), error), -256);
    EXPECT_EQ(error.line, 0) << "nothing of an earlier error";
    EXPECT_EQ(Show(error, folder), "DIR/none: cannot be opened: No such file or directory");
    EXPECT_EQ(schema.ImportDescriptorSet(folder.Write("empty", ""), error), -256);
    EXPECT_EQ(Show(error, folder), "DIR/empty: the descriptor set holds no files");
    EXPECT_EQ(schema.ImportDescriptorSet(folder.Write("text", "\x0a\x7fnot a set"), error), -256);
    EXPECT_THAT(Show(error, folder), HasSubstr("DIR/text: no descriptor set: the data ends inside"));
    google::protobuf::FileDescriptorSet twice;
    twice.add_file()->set_name("a.proto");
    twice.add_file()->set_name("a.proto");
    const std::string bytes = twice.SerializeAsString();
    EXPECT_EQ(schema.ImportDescriptorSetBytes(bytes.data(), bytes.size(), "mem", error), -256);
    EXPECT_EQ(error.ToStr(), "mem: the descriptor set holds the file 'a.proto' twice");
}

struct NearestCase {
    const char* name;
    std::vector<std::string> known;
    const char* nearest;
};

TEST(NearestName, Table) {
    const NearestCase cases[] = {
        {"scroes", {"scores", "name"}, "scores"},
        {"score", {"name", "scores"}, "scores"},
        {"SCORES", {"scores"}, "scores"},
        {"Player", {"demo.Item", "demo.Player"}, "demo.Player"},
        {"demo.Plaer", {"demo.Player"}, "demo.Player"},
        {"a", {"b"}, ""},
        {"ac", {"ab"}, "ab"},
        {"zzz", {"scores", "name"}, ""},
        {"", {"a"}, ""},
        {"x", {}, ""},
        {"ab", {"ba", "ab"}, "ab"},
    };
    for (const NearestCase& row : cases) {
        EXPECT_EQ(OstraneCommon::NearestName(row.name, row.known), row.nearest) << row.name;
    }
    EXPECT_EQ(OstraneCommon::NearestName(std::string(100000, 'a'), {std::string(100000, 'a')}), "");
}

}  // namespace
