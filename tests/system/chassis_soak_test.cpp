// The soak itself: it counts every message, and it notices one that is lost or came twice.
#include "system_support.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <vector>

namespace {

using orva_test::read_file;
using orva_test::ScratchFolder;

const std::string kProgram = std::string(ORVA_TEST_BINARY_DIR) + "/chassis/orva-chassis";
// By its bare name, since a path may have a blank.
const std::string kFaultyQueue = "LD_PRELOAD=libfaulty_queue.so";
const std::string kFaultyQueuePath = std::string("LD_LIBRARY_PATH=") + ORVA_TEST_LIBRARY_DIR;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

class ChassisSoak : public ::testing::Test {
protected:
    ChassisSoak() : own_queues_(orva_test::enter_namespaces(CLONE_NEWIPC)), temporary_(scratch_.file("tmp")) {
        std::filesystem::create_directories(temporary_);
    }

    orva_test::ProgramResult soak(const std::string &minutes, std::vector<std::string> environment) const {
        environment.push_back("TMPDIR=" + temporary_);
#ifdef __SANITIZE_ADDRESS__
        // The sanitizer keeps freed memory for a while, which looks like growth.
        const char *options = std::getenv("ASAN_OPTIONS");
        environment.push_back(std::string("ASAN_OPTIONS=quarantine_size_mb=8:") +
                              (options != nullptr ? options : ""));
#endif
        return orva_test::run_program({kProgram, "soak", "--minutes", minutes, "--boards", "3"}, environment);
    }

    void expect_nothing_left() const {
        EXPECT_TRUE(std::filesystem::is_empty(temporary_));
        for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
            EXPECT_EQ(read_file(entry.path() / "cmdline").find(temporary_), std::string::npos) << entry.path();
        }
        if (own_queues_) {
            const std::string queues = read_file("/proc/sysvipc/msg");
            EXPECT_EQ(queues.find('\n'), queues.size() - 1) << queues;
        }
    }

    ScratchFolder scratch_;
    bool own_queues_;
    std::string temporary_;
};

TEST_F(ChassisSoak, Messages_AreCountedAndNothingIsLeft) {
    const auto result = soak("0.05", {});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_NE(result.output.find("   [ok]     messages sent: "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("   [ok]     orva-chassis: 3 boards, 0 lost, "), std::string::npos) << result.output;
    expect_nothing_left();
}

TEST_F(ChassisSoak, Signal_EndsItAndLeavesNothing) {
    const auto result = orva_test::run_program(
        {"sh", "-c",
         "'" + kProgram +
             "' soak --minutes 60 --boards 3 > output 2>&1 & until grep -q 'boards over the chassis' output; "
             "do sleep 0.05; done; kill -TERM $!; wait $!"},
        {"TMPDIR=" + temporary_}, scratch_.path());
    EXPECT_EQ(result.status, 128 + 15) << result.output << read_file(scratch_.file("output"));
    expect_nothing_left();
}

TEST_F(ChassisSoak, Message_ThatIsLostIsNoticed) {
    if (kSanitized) {
        GTEST_SKIP() << "the sanitizer's library must come first";
    }
    const auto result = soak("0.03", {kFaultyQueue, kFaultyQueuePath, "FAULTY_QUEUE=lost"});
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_NE(result.output.find("   [FAILED] messages sent: "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(" messages were sent, "), std::string::npos) << result.output;
    expect_nothing_left();
}

TEST_F(ChassisSoak, Message_ThatComesTwiceIsNoticed) {
    if (kSanitized) {
        GTEST_SKIP() << "the sanitizer's library must come first";
    }
    const auto result = soak("0.03", {kFaultyQueue, kFaultyQueuePath, "FAULTY_QUEUE=doubled"});
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_NE(result.output.find(" came before\n"), std::string::npos) << result.output;
    expect_nothing_left();
}

} // namespace
