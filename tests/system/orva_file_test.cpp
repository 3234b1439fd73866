// The fan log at its fixed folder, in a private mount namespace; archives through the host platform.
#include "orva_file.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/stat.h>

#include "system_support.h"

namespace {

using namespace orva_test;
namespace fs = std::filesystem;

constexpr char kFanFolder[] = "/opt/keldv8/tmp/CmuLogzip";

void fan_log(const std::string &path, const std::string &text) {
    ORVA_FAN_WriteLog(path.c_str(), reinterpret_cast<const uint8_t *>(text.c_str()), 0, ORVA_FAN_LOG_TEXT);
}

class FileSystem : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWNS);
        ASSERT_TRUE(mount_tmpfs("/opt"));
    }
};

TEST_F(FileSystem, FanWriteLog_MakesItsFolderWhateverTheUmask) {
    fs::create_directories("/opt/keldv8/tmp");
    const mode_t mask = umask(0777);
    fan_log(std::string(kFanFolder) + "/fan.log", "fan 1 fails");
    umask(mask);
    EXPECT_EQ(mode_of(kFanFolder), 0770u);
    fs::permissions(std::string(kFanFolder) + "/fan.log", fs::perms::owner_all);
    EXPECT_EQ(read_file(std::string(kFanFolder) + "/fan.log"), "fan 1 fails\r\n ");
}

TEST_F(FileSystem, FanWriteLog_SetsTheModeOfAFolderThatIsThere) {
    fs::create_directories(kFanFolder);
    fs::permissions(kFanFolder, fs::perms::owner_all);
    fan_log(std::string(kFanFolder) + "/fan.log", "a");
    fan_log(std::string(kFanFolder) + "/fan.log", "b");
    EXPECT_EQ(mode_of(kFanFolder), 0770u);
    EXPECT_EQ(read_file(std::string(kFanFolder) + "/fan.log"), "a\r\n b\r\n ");
}

TEST_F(FileSystem, FanWriteLog_WritesNothingWithoutTheFolder) {
    const ScratchFolder other; // the parent of the fan folder is missing
    fan_log(other.file("fan.log"), "a");
    EXPECT_FALSE(fs::exists(other.file("fan.log")));
}

TEST(Archive, Unzip_ReturnsThePlatformsRefusal) {
    const ScratchFolder folder;
    write_file(folder.file("no.zip"), "this is no archive");
    EXPECT_NE(ORVA_Unzip(folder.file("no.zip").c_str(), folder.path().c_str()), 0u);
    EXPECT_NE(ORVA_Unzip(folder.file("missing.zip").c_str(), folder.path().c_str()), 0u);
}

} // namespace
