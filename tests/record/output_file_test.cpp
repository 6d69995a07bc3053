#include "record/output_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace {

using OstraneRecord::InputError;
using OstraneRecord::OutputFile;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

// Names in the folder, in order.
std::vector<std::string> List(const TempFolder& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

unsigned ModeOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777U;
}

void WriteAll(const std::string& path, const std::string& bytes) {
    OutputFile out;
    InputError error;
    ASSERT_EQ(out.Replace(path, error), 0) << error.ToStr();
    ASSERT_EQ(out.Write(bytes, error), 0) << error.ToStr();
    ASSERT_EQ(out.Commit(error), 0) << error.ToStr();
}

TEST(OutputFile, ReplacesTheWholeFileAndKeepsItsMode) {
    TempFolder folder;
    const std::string path = folder.Write("a", "old and longer");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    WriteAll(path, "new");
    EXPECT_EQ(folder.Read("a"), "new");
    EXPECT_EQ(ModeOf(path), 0640U);
    EXPECT_THAT(List(folder), ElementsAre("a"));
}

TEST(OutputFile, KeepsTheOwner) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    TempFolder folder;
    const std::string path = folder.Write("a", "old");
    ASSERT_EQ(chown(path.c_str(), 12345, 23456), 0);
    ASSERT_EQ(chmod(path.c_str(), 04755), 0);
    WriteAll(path, "new");
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 12345U);
    EXPECT_EQ(status.st_gid, 23456U);
    EXPECT_EQ(status.st_mode & 07777U, 04755U);
}

TEST(OutputFile, ANewFileGetsTheUsualMode) {
    TempFolder folder;
    const mode_t old = umask(027);
    WriteAll(folder.At("a"), "new");
    umask(old);
    EXPECT_EQ(folder.Read("a"), "new");
    EXPECT_EQ(ModeOf(folder.At("a")), 0640U);
}

TEST(OutputFile, FollowsLinks) {
    TempFolder folder;
    folder.Write("real/a", "old");
    std::filesystem::create_symlink("real/a", folder.At("one"));
    std::filesystem::create_symlink(folder.At("one"), folder.At("two"));
    WriteAll(folder.At("two"), "new");
    EXPECT_EQ(folder.Read("real/a"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.At("two")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.At("one")));

    std::filesystem::create_symlink("real/b", folder.At("dangling"));
    WriteAll(folder.At("dangling"), "made");
    EXPECT_EQ(folder.Read("real/b"), "made");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.At("dangling")));
}

TEST(OutputFile, WithoutCommitNothingHappened) {
    TempFolder folder;
    const std::string path = folder.Write("a", "old");
    for (const std::string& target : {path, folder.At("new")}) {
        OutputFile out;
        InputError error;
        ASSERT_EQ(out.Replace(target, error), 0);
        ASSERT_EQ(out.Write(std::string(1 << 20, 'x'), error), 0);
        EXPECT_EQ(List(folder).size(), 2U);
    }
    EXPECT_EQ(folder.Read("a"), "old");
    EXPECT_THAT(List(folder), ElementsAre("a"));
}

TEST(OutputFile, ASignalHandlerRemovesWhatIsUnfinished) {
    TempFolder folder;
    OutputFile first;
    std::unique_ptr<OutputFile> second(new OutputFile());
    InputError error;
    ASSERT_EQ(first.Replace(folder.At("a"), error), 0);
    ASSERT_EQ(second->Replace(folder.At("b"), error), 0);
    EXPECT_EQ(List(folder).size(), 2U);
    second.reset();
    EXPECT_EQ(List(folder).size(), 1U);
    OutputFile::RemoveTemporaryFiles();
    EXPECT_THAT(List(folder), IsEmpty());
}

TEST(OutputFile, ErrorsNameFileAndReason) {
    TempFolder folder;
    OutputFile out;
    InputError error;
    EXPECT_EQ(out.Replace(folder.Path(), error), -256);
    EXPECT_THAT(error.ToStr(), EndsWith(": cannot be written: Is a directory"));
    EXPECT_EQ(out.Replace(folder.At("none/a"), error), -256);
    EXPECT_THAT(error.ToStr(), EndsWith("none/a: cannot be written: no file can be made in its folder: "
                                        "No such file or directory"));
    EXPECT_EQ(out.Replace(folder.Write("a", "") + "/b", error), -256);
    EXPECT_THAT(error.ToStr(), EndsWith("a/b: cannot be written: Not a directory"));
}

TEST(OutputFile, ALongNameLeavesRoomForTheTemporaryOne) {
    TempFolder folder;
    const std::string name(255, 'n');
    WriteAll(folder.At(name), "x");
    EXPECT_EQ(folder.Read(name), "x");
}

TEST(OutputFile, ADeviceIsWrittenToAsItIs) {
    OutputFile out;
    InputError error;
    ASSERT_EQ(out.Replace("/dev/full", error), 0) << error.ToStr();
    EXPECT_EQ(out.Write("x", error), 0);
    EXPECT_EQ(out.Commit(error), -256);
    EXPECT_EQ(error.ToStr(), "/dev/full: cannot be written: No space left on device");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

}  // namespace
