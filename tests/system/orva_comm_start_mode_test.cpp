// Start mode and run flags at their fixed paths, below folders that only the test case sees.
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "orva_comm.h"
#include "system_support.h"

using namespace orva_test;

namespace {

constexpr char kConfig[] = "/opt/keldv8/data/ORVA_CFG.ini";
constexpr const char *kMarkers[] = {"/tmp/orva_init_ok", "/tmp/orva_agent_init_ok"};

std::uint32_t start_mode(std::uint32_t kind) {
    std::uint32_t warm = 77;
    ORVA_COMM_InitProcessStartMode(kind, &warm);
    return warm;
}

} // namespace

class StartMode : public ::testing::Test {
protected:
    void SetUp() override {
        ORVA_ENTER_NAMESPACES_OR_SKIP(CLONE_NEWNS);
        ASSERT_TRUE(mount_tmpfs("/tmp"));
        ASSERT_TRUE(mount_tmpfs("/opt"));
        ASSERT_TRUE(std::filesystem::create_directories("/opt/keldv8/data"));
    }
};

TEST_F(StartMode, Processes_StartColdOnceAndWarmFromThenOn) {
    for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{0777}}) {
        for (std::uint32_t kind = 0; kind < 2; ++kind) {
            std::filesystem::remove(kMarkers[kind]);
            const auto process = [=] { // one life of the process: its start mode is its status
                umask(mask);
                const std::uint32_t warm = start_mode(kind);
                ORVA_COMM_SetProcessStartMode(kind);
                return static_cast<int>(warm);
            };
            EXPECT_EQ(run_in_child(process), 0);
            EXPECT_EQ(read_file(kMarkers[kind]), "5\n");
            EXPECT_EQ(mode_of(kMarkers[kind]), 0600u);
            EXPECT_EQ(run_in_child(process), 1);
            EXPECT_EQ(read_file(kMarkers[kind]), "5\n");
        }
    }
}

TEST_F(StartMode, Kinds_HaveMarkersOfTheirOwn) {
    ORVA_COMM_SetProcessStartMode(1);
    EXPECT_EQ(start_mode(0), 0u);
    EXPECT_EQ(start_mode(1), 1u);
    EXPECT_FALSE(std::filesystem::exists(kMarkers[0]));
}

TEST_F(StartMode, ProcessThatEndsBeforeItIsInitialisedStartsColdAgain) {
    EXPECT_EQ(run_in_child([] { return static_cast<int>(start_mode(0)); }), 0);
    EXPECT_EQ(start_mode(0), 0u);
}

TEST_F(StartMode, UnknownKind_StartsColdAndCreatesNothing) {
    ORVA_COMM_SetProcessStartMode(2);
    EXPECT_EQ(start_mode(2), 0u);
    EXPECT_TRUE(std::filesystem::is_empty("/tmp"));
}

TEST_F(StartMode, Set_LeavesAMarkerThatHoldsALine) {
    write_file(kMarkers[0], "an older line\n");
    chmod(kMarkers[0], 0644);
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_EQ(read_file(kMarkers[0]), "an older line\n");
    EXPECT_EQ(mode_of(kMarkers[0]), 0644u);
}

TEST_F(StartMode, Set_FillsAnEmptyMarker) {
    write_file(kMarkers[1], "");
    chmod(kMarkers[1], 0644);
    EXPECT_EQ(start_mode(1), 1u);
    ORVA_COMM_SetProcessStartMode(1);
    EXPECT_EQ(read_file(kMarkers[1]), "5\n");
    EXPECT_EQ(mode_of(kMarkers[1]), 0600u);
}

TEST_F(StartMode, Set_MarkerThatCannotBeOpenedLeavesAColdStart) {
    std::filesystem::create_directory(kMarkers[0]);
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_TRUE(std::filesystem::is_empty(kMarkers[0]));
}

// ---- Independent power-off

class PowerOff : public StartMode {};

TEST_F(PowerOff, Flag_IsOffWithoutAConfiguration) {
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 0u);
}

TEST_F(PowerOff, Flag_IsReadAfreshAtEveryCall) {
    write_file(kConfig, "# independent power-off\nindepend_3_1:0;\nindepend_29_4:1;\nindepend_30_0:1;\n");
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 0u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(29, 4), 1u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(30, 0), 0u);
    write_file(kConfig, "independ_3_1:0;\nindepend_3_1:1;\n");
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 1u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(29, 4), 0u);
}

TEST_F(PowerOff, Flag_IsFoundAfterVeryLongLines) {
    write_file(kConfig, std::string(100000, 'x') + "\nindepend_3_1:1;\n");
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 1u);
}
