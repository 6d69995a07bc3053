// Input that cannot be read and output that cannot be written: the reason, and files as they were.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "cli/player_program.h"

namespace {

struct BadRow {
    const char* file;
    const char* contents;
    const char* statement;
    int status;
    const char* said;
};

TEST(BadInput, IsToldAndTheFileStays) {
    const BadRow rows[] = {
        {"a.json", "{\"name\":\"a\",\n \"scores\":[1 2]}", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:2:14: expected ',' or ']', found '2'\n"},
        {"a.json", "{\"name\":\"a\",\"scroes\":[]}", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:1:13: demo.Player has no field 'scroes'; did you mean 'scores'?\n"},
        {"a.json", "", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.json:1:1: expected '{', found the end of the text\n"},
        {"a.pb",
         "\x0a\x03"
         "ab",
         "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.pb: the data ends inside demo.Player.name: 3 bytes wanted, 2 left at byte 2\n"},
        {"a.txtpb", "name: 'a'\nscroes: 1", "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.txtpb:2:7: Message type \"demo.Player\" has no field named \"scroes\".\n"},
        {"a.delim",
         "\x05"
         "abc",
         "CLEAR scores", 2,
         "error -256 GEN_ERR_ERR: DIR/a.delim: the input ends inside record 0: 5 bytes wanted, 3 left; the record "
         "starts "
         "at byte 0\nrecords 0, matched 0, changed 0, failed 0\n"},
        {"a.json", "{\"level\":1}", "CLEAR scores", 2,
         "error -537 COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE: DIR/a.json: a record of demo.Player lacks required "
         "fields: "
         "name\n"},
        {"a.json", RECORD, "PUSH scroes = 1", 1,
         "error -4889 COMMON_ERR_INVALID_FIELD_NAME: demo.Player has no field 'scroes'\n  PUSH scroes = 1\n       ^\n"
         "  hint: did you mean 'scores'?\n"},
        {"a.json", RECORD, "PUSH scores[9] = 1", 1,
         "error -4633 COMMON_ERR_INVALID_ARRAY_INDEX: index 9 is beyond 3 elements of demo.Player.scores\n"
         "  PUSH scores[9] = 1\n              ^\n"},
        {"a.json", RECORD, "PUSH scores[1 = 7", 1,
         "error -4377 COMMON_ERR_INVALID_EXPR_SYNTAX: expected ']' after the index\n  PUSH scores[1 = 7\n"
         "                ^\n"},
    };
    for (const BadRow& row : rows) {
        TempFolder folder;
        const std::string in = folder.Write(row.file, row.contents);
        const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--in-place", row.statement}));
        EXPECT_EQ(outcome.status, row.status) << row.said;
        EXPECT_EQ(Short(outcome.err, folder), row.said);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(folder.Read(row.file), row.contents);
    }
}

TEST(BadInput, UnreadableFiles) {
    TempFolder folder;
    EXPECT_EQ(Short(RunOstrane(Player("apply", {"--in", folder.At("none.json"), "CLEAR scores"})).err, folder),
              std::string(HEAD) + "DIR/none.json: cannot be opened: No such file or directory\n");
    EXPECT_EQ(
        Short(RunOstrane(Player("apply", {"--in", folder.Path(), "--in-format", "json", "CLEAR scores"})).err, folder),
        std::string(HEAD) + "DIR: cannot be read: Is a directory at byte 0\n");
    EXPECT_EQ(Short(RunOstrane(Player("apply", {"--in-format", "json", "--file", folder.At("none")})).err, folder),
              std::string(HEAD) + "DIR/none: cannot be opened: No such file or directory\n");
}

TEST(BadInput, Schemas) {
    TempFolder folder;
    const std::string in = folder.Write("a.json", RECORD);
    const auto apply = [&](const std::string& proto, const std::string& type) {
        const Outcome outcome = RunOstrane({"apply", "--proto", proto, "--type", type, "--in", in, "CLEAR scores"});
        EXPECT_EQ(outcome.status, 2);
        return Short(outcome.err, folder);
    };
    EXPECT_EQ(apply(OSTRANE_EXAMPLES "/player.proto", "demo.Plyer"),
              "error -4889 COMMON_ERR_INVALID_FIELD_NAME: the schema has no message type 'demo.Plyer'; did you mean "
              "'demo.Player'?\n");
    EXPECT_EQ(apply(folder.At("none.proto"), "X"), std::string(HEAD) + "DIR/none.proto: no such file\n");
    const std::string proto = folder.Write("a.proto", "syntax = \"proto3\";\nimport \"dep.proto\";\nmessage A {}\n");
    EXPECT_EQ(apply(proto, "A"),
              std::string(HEAD) + "DIR/a.proto:2:1: the import \"dep.proto\" is not found; looked below 'DIR'\n");
    // A schema without a syntax line loads, and nothing of protobuf's own is printed.
    const std::string plain =
        folder.Write("plain.proto", "message A { repeated int32 scores = 1; optional string name = 2; }\n");
    const Outcome outcome = RunOstrane({"apply", "--proto", plain, "--type", "A", "--in", in, "CLEAR scores"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

// Output that cannot be written: status 2 and the reason.

TEST(BadOutput, AFullDevice) {
    Surroundings full = WithInput(RECORD);
    full.outPath = "/dev/full";
    const std::string said = std::string(HEAD) + "standard output: cannot be written: No space left on device\n";
    for (const std::vector<std::string>& arguments : {Player("apply", {"--in-format", "json", "CLEAR scores"}),
                                                      Player("get", {"--in-format", "json", "GET scores"}),
                                                      {"codes"},
                                                      {"--help"},
                                                      {"--version"}}) {
        const Outcome outcome = RunOstrane(arguments, full);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, said);
    }
    const Outcome named =
        RunOstrane(Player("apply", {"--in-format", "json", "--out", "/dev/full", "CLEAR scores"}), full);
    EXPECT_EQ(named.status, 2);
    EXPECT_EQ(named.err, std::string(HEAD) + "/dev/full: cannot be written: No space left on device\n");
}

// Whoever closed it wants no more, and no complaint either.
TEST(BadOutput, AClosedPipe) {
    Surroundings unread = WithInput(RECORD);
    unread.closesOut = true;
    for (const std::vector<std::string>& arguments : {Player("apply", {"--in-format", "ndjson", "CLEAR scores"}),
                                                      Player("get", {"--in-format", "ndjson", "GET scores"}),
                                                      Player("explain", {"--in-format", "ndjson", "GET scores"}),
                                                      {"codes"},
                                                      {"--help"}}) {
        const Outcome outcome = RunOstrane(arguments, unread);
        EXPECT_EQ(outcome.status, 2) << arguments[0];
        EXPECT_EQ(outcome.err, "") << arguments[0];
    }
}

TEST(BadOutput, WhatJsonCannotCarry) {
    TempFolder folder;
    const std::string in = folder.Write("a.txtpb", "name: 'a'\nGuild { title: 'g' }\n");
    const Outcome outcome = RunOstrane(Player("apply", {"--in", in, "--out", folder.At("a.json"), "SET level = 1"}));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(Short(outcome.err, folder),
              "error -5145 COMMON_ERR_INVALID_EXPR_TYPE: DIR/a.txtpb: the group "
              "demo.Player.guild has no form in JSON\n");
    EXPECT_FALSE(std::filesystem::exists(folder.At("a.json")));
}

}  // namespace
