// The helpers against the kernel: capabilities of a child, files of every kind, the random device.
#include "miro_host.h"
#include "orva_comm.h"
#include "orva_util.h"
#include "system_support.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

extern "C" int capget(cap_user_header_t header, cap_user_data_t data);

using namespace orva_test;

namespace {

// The calling thread's sets as three 64-bit words.
struct Sets {
    std::uint64_t effective, permitted, inheritable;
    bool operator==(const Sets &) const = default;
};

Sets current_sets() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    if (capget(&header, data) != 0) {
        return {};
    }
    const auto join = [](std::uint32_t low, std::uint32_t high) { return low | (std::uint64_t{high} << 32); };
    return {join(data[0].effective, data[1].effective), join(data[0].permitted, data[1].permitted),
            join(data[0].inheritable, data[1].inheritable)};
}

constexpr std::uint64_t kLowHalf = 0xFFFFFFFF;

// 0 when dropping `capability` takes the bit of `cleared` away and leaves the other low bits alone.
int drop_and_compare(std::uint32_t ofThisProcess, std::uint32_t capability, std::uint32_t cleared) {
    const Sets before = current_sets();
    if (ORVA_DeleteCap(ofThisProcess, capability) != 0) {
        return 2;
    }
    const Sets after = current_sets();
    const std::uint64_t others = kLowHalf & ~(std::uint64_t{1} << cleared);
    const bool holds = (after.effective & kLowHalf) == (before.effective & others) &&
                       (after.permitted & kLowHalf) == (before.permitted & others) &&
                       (after.inheritable & kLowHalf) == (before.inheritable & others);
    return holds ? 0 : 3;
}

TEST(DeleteCap, DropsOneCapabilityOfTheCallingThread) {
    for (const std::uint32_t capability : {0u, 17u, 21u, 31u}) {
        EXPECT_EQ(run_in_child([=] { return drop_and_compare(0, capability, capability); }), 0) << capability;
        EXPECT_EQ(run_in_child([=] { return drop_and_compare(1, capability, capability); }), 0) << capability;
    }
    // From 32 on the bit is counted from 0 again.
    EXPECT_EQ(run_in_child([] { return drop_and_compare(0, 33, 1); }), 0);
    EXPECT_EQ(run_in_child([] { return drop_and_compare(0, 40, 8); }), 0);
}

TEST(DeleteCap, OutOfRangeChangesNothing) {
    EXPECT_EQ(run_in_child([] {
                  const Sets before = current_sets();
                  const bool kept = ORVA_DeleteCap(7, 41) == 7 && ORVA_DeleteCap(0, 41) == 0;
                  return kept && before == current_sets() ? 0 : 1;
              }),
              0);
}

TEST(DeleteCap, ADroppedCapabilityIsReallyGone) {
    if ((current_sets().effective & (1u << CAP_CHOWN)) == 0) {
        GTEST_SKIP() << "this user cannot change owners in the first place";
    }
    const ScratchFolder folder;
    write_file(folder.file("f"), "x");
    EXPECT_EQ(run_in_child([&] {
                  if (chown(folder.file("f").c_str(), 1, 1) != 0 || ORVA_DeleteCap(0, CAP_CHOWN) != 0) {
                      return 1;
                  }
                  return chown(folder.file("f").c_str(), 2, 2) == 0 ? 2 : 0;
              }),
              0);
}

class FileContent : public ::testing::Test {
protected:
    void SetUp() override {
        std::uint32_t handle = 0;
        ASSERT_EQ(MIRO_HostStart(nullptr, &handle), 0u);
        ORVA_SetMemHandle(handle);
        ASSERT_EQ(ORVA_CreateMemPt(), 0u);
    }
    std::uint32_t read(const std::string &path) {
        return ORVA_FUNC_GetFileContent(path.c_str(), &content, &length);
    }
    // The content as a text, freed.
    std::string take() {
        std::string text(content, length + 1);
        EXPECT_EQ(MIRO_MemFree_F(ORVA_GetMemHandle(), content, "orva_util_test", 1), 0u);
        return text;
    }
    ScratchFolder folder;
    char *content = nullptr;
    std::uint32_t length = 0xDEADBEEF;
};

TEST_F(FileContent, GetFileContent_ReadsFilesOfEverySize) {
    for (const std::size_t size : {1u, 2u, 4095u, 4096u, 4097u, 1000000u}) {
        std::string text(size, 'a');
        text.back() = '\n';
        text.front() = '\0';
        write_file(folder.file("f"), text);
        ASSERT_EQ(read(folder.file("f")), 0u) << size;
        EXPECT_EQ(length, size);
        EXPECT_EQ(take(), text + '\0') << size;
    }
}

TEST_F(FileContent, GetFileContent_FollowsLinks) {
    write_file(folder.file("f"), "linked");
    std::filesystem::create_symlink("f", folder.file("link"));
    ASSERT_EQ(read(folder.file("link")), 0u);
    EXPECT_EQ(take(), std::string("linked\0", 7));
    std::filesystem::create_symlink("none", folder.file("broken"));
    std::filesystem::create_symlink("circle", folder.file("circle"));
    EXPECT_EQ(read(folder.file("broken")), ORVA_ERR_FILE_CONTENT_RESOLVE);
    EXPECT_EQ(read(folder.file("circle")), ORVA_ERR_FILE_CONTENT_RESOLVE);
}

TEST_F(FileContent, GetFileContent_RefusesWhatIsNotAFileWithASize) {
    write_file(folder.file("empty"), "");
    EXPECT_EQ(read(folder.file("empty")), ORVA_ERR_FILE_CONTENT_EMPTY);
    EXPECT_EQ(read(folder.file("none")), ORVA_ERR_FILE_CONTENT_RESOLVE);
    EXPECT_EQ(read(""), ORVA_ERR_FILE_CONTENT_RESOLVE);
    EXPECT_EQ(read("/proc/self/cmdline"), ORVA_ERR_FILE_CONTENT_EMPTY); // has content, but no size
    EXPECT_NE(read(folder.path()), 0u);
    EXPECT_EQ(content, nullptr);
    EXPECT_EQ(length, 0xDEADBEEFu);
}

TEST_F(FileContent, GetFileContent_AFileWithoutPermissionCannotBeOpened) {
    write_file(folder.file("f"), "x");
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    chmod(folder.file("f").c_str(), 0);
    EXPECT_EQ(run_in_child([&] {
                  if (geteuid() == 0 && setuid(65534) != 0) {
                      return 1;
                  }
                  return read(folder.file("f")) == ORVA_ERR_FILE_CONTENT_OPEN ? 0 : 2;
              }),
              0);
}

TEST(GetRandValue, ValuesDiffer) {
    std::set<std::uint32_t> values;
    for (int i = 0; i < 1000; ++i) {
        values.insert(ORVA_GetRandValue());
    }
    EXPECT_GT(values.size(), 990u);
}

TEST(GetRandValue, LeavesNoDescriptorBehind) {
    ORVA_GetRandValue();
    const auto count = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator{});
    };
    const auto before = count();
    for (int i = 0; i < 100; ++i) {
        ORVA_GetRandValue();
    }
    EXPECT_EQ(count(), before);
}

} // namespace
