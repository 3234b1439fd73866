#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "log_line.h"
#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

// Takes the place of the fixed paths: every open goes to one scratch file, or fails when there is none.
class ScratchFile {
public:
    ScratchFile() {
        const int fd = mkstemp(path_);
        close(fd);
        unlink(path_);
        libc().fopen = [this](const char *path, const char *mode) {
            opened.emplace_back(path, mode);
            return real_open(mode);
        };
        libc().realpath = [this](const char *path, char *) {
            resolved.emplace_back(path);
            return strdup(path_);
        };
    }
    ~ScratchFile() {
        unlink(path_);
    }
    ScratchFile(const ScratchFile &) = delete;
    ScratchFile &operator=(const ScratchFile &) = delete;

    void write(const std::string &content) {
        FILE *file = real_open("w");
        std::fwrite(content.data(), 1, content.size(), file);
        std::fclose(file);
    }
    std::string read() {
        FILE *file = real_open("r");
        if (file == nullptr) {
            return "<missing>";
        }
        char buffer[100];
        const std::size_t count = std::fread(buffer, 1, sizeof buffer, file);
        std::fclose(file);
        return std::string(buffer, count);
    }
    mode_t mode() {
        struct stat status {};
        ::stat(path_, &status);
        return status.st_mode & 07777;
    }
    void set_mode(mode_t mode) {
        ::chmod(path_, mode);
    }

    std::vector<std::pair<std::string, std::string>> opened;
    std::vector<std::string> resolved;

private:
    FILE *real_open(const char *mode) {
        const auto hook = std::exchange(libc().fopen, nullptr);
        FILE *file = std::fopen(path_, mode);
        libc().fopen = hook;
        return file;
    }

    char path_[32] = "/tmp/orva_start_XXXXXX";
};

using Opened = std::vector<std::pair<std::string, std::string>>;

} // namespace

class StartMode : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        file_ = std::make_unique<ScratchFile>();
    }
    void TearDown() override {
        file_.reset();
        PlatformTest::TearDown();
    }

    std::unique_ptr<ScratchFile> file_;
};

struct Kind {
    std::uint32_t kind;
    const char *marker;
};

constexpr Kind kKinds[] = {{0, "/tmp/orva_init_ok"}, {1, "/tmp/orva_agent_init_ok"}};

TEST_F(StartMode, Init_WithoutAMarkerIsCold) {
    for (const Kind &kind : kKinds) {
        file_->opened.clear();
        std::uint32_t warm = 77;
        ORVA_COMM_InitProcessStartMode(kind.kind, &warm);
        EXPECT_EQ(warm, 0u);
        EXPECT_EQ(file_->opened, (Opened{{kind.marker, "r"}}));
        EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x10000, 0x4) Get reboot flag file fopen null"});
        EXPECT_EQ(file_->read(), "<missing>");
    }
}

TEST_F(StartMode, Init_WithAMarkerIsWarmAlsoWhenItIsEmpty) {
    for (const char *content : {"5\n", ""}) {
        for (const Kind &kind : kKinds) {
            file_->write(content);
            file_->opened.clear();
            std::uint32_t warm = 77;
            const unsigned closed = calls_of("fclose");
            ORVA_COMM_InitProcessStartMode(kind.kind, &warm);
            EXPECT_EQ(calls_of("fclose") - closed, 1u);
            EXPECT_EQ(warm, 1u);
            EXPECT_EQ(file_->opened, (Opened{{kind.marker, "r"}}));
            EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x10000, 0x4) Reboot flag file already exists and orva "
                                           "start mode warm"});
        }
    }
}

TEST_F(StartMode, UnknownKinds_StartColdAndLeaveNothing) {
    for (const std::uint32_t kind : {2u, 0x100u, 0xFFFFFFFFu}) {
        std::uint32_t warm = 77;
        ORVA_COMM_InitProcessStartMode(kind, &warm);
        EXPECT_EQ(warm, 0u);
        ORVA_COMM_SetProcessStartMode(kind);
    }
    EXPECT_TRUE(file_->opened.empty());
    EXPECT_TRUE(take_logs().empty());
    EXPECT_EQ(file_->read(), "<missing>");
}

TEST_F(StartMode, Set_CreatesAMarkerOfTheExactMode) {
    for (const Kind &kind : kKinds) {
        file_->write("");
        file_->set_mode(0644);
        file_->opened.clear();
        file_->resolved.clear();
        ORVA_COMM_SetProcessStartMode(kind.kind);
        EXPECT_EQ(file_->opened, (Opened{{kind.marker, "a+"}}));
        EXPECT_EQ(file_->resolved, std::vector<std::string>{kind.marker});
        EXPECT_EQ(file_->read(), "5\n");
        EXPECT_EQ(file_->mode(), 0600u);
        EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x10000, 0x4) Reboot flag file is created"});
        std::uint32_t warm = 77;
        ORVA_COMM_InitProcessStartMode(kind.kind, &warm);
        EXPECT_EQ(warm, 1u);
        take_logs();
    }
}

TEST_F(StartMode, Set_CreatesAMissingMarker) {
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_EQ(file_->read(), "5\n");
    EXPECT_EQ(file_->mode(), 0600u);
}

TEST_F(StartMode, Set_LeavesAMarkerThatHoldsALine) {
    for (const char *content : {"5\n", "x", "\n"}) {
        file_->write(content);
        file_->set_mode(0640);
        ORVA_COMM_SetProcessStartMode(1);
        EXPECT_EQ(file_->read(), content);
        EXPECT_EQ(file_->mode(), 0640u);
    }
    EXPECT_TRUE(file_->resolved.empty());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(StartMode, Set_UnopenedMarkerIsRecorded) {
    fail("fopen", 1, 0, EACCES);
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x10000, 0x4) Reboot flag file fopen null"});
    EXPECT_EQ(calls_of("fclose"), 0u);
}

TEST_F(StartMode, Set_GoesOnWhenModeOrLineCannotBeWritten) {
    fail("fchmod_s", 1, -1, EPERM);
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_EQ(file_->read(), "5\n");
    EXPECT_EQ(take_logs().back(), "PLog(0x1, orva, 0x10000, 0x4) Reboot flag file is created");
    file_->write("");
    fail("fputs", 1, EOF, ENOSPC);
    fail("fwrite", 1, 0, ENOSPC); // a compiler may call this in its place
    ORVA_COMM_SetProcessStartMode(0);
    EXPECT_EQ(file_->read(), "");
    EXPECT_EQ(take_logs(), Records{"PLog(0x1, orva, 0x10000, 0x4) Reboot flag file is created"});
}

TEST_F(StartMode, Set_FreesAndClosesOnEveryPath) {
    for (const char *content : {"", "5\n"}) {
        file_->write(content);
        const unsigned closed = calls_of("fclose");
        ORVA_COMM_SetProcessStartMode(0);
        EXPECT_EQ(calls_of("fclose") - closed, 1u);
    }
}

// ---- Independent power-off

class PowerOff : public StartMode {};

struct ConfigCase {
    const char *name;
    const char *content;
    std::uint8_t slot, index;
    std::uint32_t expected;
};

constexpr ConfigCase kConfigs[] = {
    {"one line", "independ_3_1:1;\n", 3, 1, 1},
    {"without the end of the line", "independ_3_1:1;", 3, 1, 1},
    {"without the semicolon", "independ_3_1:1\n", 3, 1, 1},
    {"text after it", "independ_3_1:1; on\n", 3, 1, 1},
    {"other slot", "independ_4_1:1;\n", 3, 1, 0},
    {"other index", "independ_3_2:1;\n", 3, 1, 0},
    {"off", "independ_3_1:0;\n", 3, 1, 0},
    {"flag of another number", "independ_3_1:2;\n", 3, 1, 0},
    {"off, then on", "independ_3_1:0;\nindepend_3_1:1;\n", 3, 1, 1},
    {"on, then off", "independ_3_1:1;\nindepend_3_1:0;\n", 3, 1, 1},
    {"other lines", "# fans\n\n[power]\nspeed=7\nindepend_0_0:1;\n", 0, 0, 1},
    {"two numbers only", "independ_3_1\nindepend_3:1;\n", 3, 1, 0},
    {"leading blank", " independ_3_1:1;\n", 3, 1, 0},
    {"highest slot and index", "independ_29_4:1;\n", 29, 4, 1},
    {"slot out of range", "independ_30_1:1;\n", 30, 1, 0},
    {"index out of range", "independ_3_5:1;\n", 3, 5, 0},
    {"slot that is equal in its low byte", "independ_259_1:1;\n", 3, 1, 0},
    {"empty file", "", 3, 1, 0},
};

TEST_F(PowerOff, Flag_IsWhatTheConfigurationSays) {
    for (const ConfigCase &config : kConfigs) {
        SCOPED_TRACE(config.name);
        file_->write(config.content);
        const unsigned opened = calls_of("fopen");
        const unsigned closed = calls_of("fclose");
        EXPECT_EQ(ORVA_GetIndependPwrOffFlag(config.slot, config.index), config.expected);
        // The replaced call opens the scratch file by itself, so one open counts twice.
        EXPECT_EQ(calls_of("fclose") - closed, (calls_of("fopen") - opened) / 2);
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(PowerOff, Flag_OutOfRangeOpensNothing) {
    file_->write("independ_30_1:1;\nindepend_3_5:1;\nindepend_255_255:1;\n");
    file_->opened.clear();
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(30, 1), 0u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 5), 0u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(255, 255), 0u);
    EXPECT_TRUE(file_->opened.empty());
}

TEST_F(PowerOff, Flag_ReadsTheInstalledFile) {
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 0u);
    EXPECT_EQ(file_->opened, (Opened{{"/opt/keldv8/data/ORVA_CFG.ini", "r"}}));
    EXPECT_EQ(calls_of("fclose"), 0u);
}

TEST_F(PowerOff, Flag_UnreadableLineEndsTheSearch) {
    file_->write("independ_3_1:0;\nindepend_3_1:1;\n");
    const unsigned closed = calls_of("fclose");
    fail("sscanf_s", 1, -1);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 0u);
    EXPECT_EQ(calls_of("fclose") - closed, 1u);
    EXPECT_EQ(ORVA_GetIndependPwrOffFlag(3, 1), 1u);
}

// ---- The small ones

TEST_F(StartMode, CheckIsCaseTemp_KnowsTwoTypes) {
    for (int type = -128; type <= 127; ++type) {
        EXPECT_EQ(ORVA_CheckIsCaseTemp(static_cast<std::int8_t>(type)), type == 0x20 || type == 0x08 ? 1u : 0u)
            << type;
    }
}

TEST_F(StartMode, SyncHook_IsAlwaysZero) {
    EXPECT_EQ(liborva_comm_PAT_C2HSyncHookFunc(), 0u);
    EXPECT_TRUE(platform().calls.empty());
}
