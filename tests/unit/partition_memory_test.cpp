// Blocks are released under the line of their release, not of their allocation: leak reports and the platform's
// double-free reports name the place that freed.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/msg.h>
#include <unistd.h>

#include "orva_api_log.h"
#include "orva_comm.h"
#include "orva_debugging.h"
#include "orva_util.h"
#include "platform_double.h"

using namespace orva_test;

namespace {

// A file with content that is removed with the scope.
class TextFile {
public:
    TextFile() : path_("/tmp/orva_partition_memory." + std::to_string(::getpid())) {
        std::FILE *file = std::fopen(path_.c_str(), "w");
        std::fputs("content", file);
        std::fclose(file);
    }
    ~TextFile() {
        std::remove(path_.c_str());
    }
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;
    const char *path() const {
        return path_.c_str();
    }

private:
    std::string path_;
};

void read_whole_file(std::size_t failing) {
    const TextFile file;
    if (failing != 0) {
        fail("fread", 1, 0, EIO);
    }
    char *content = nullptr;
    std::uint32_t length = 0;
    if (ORVA_FUNC_GetFileContent(file.path(), &content, &length) == ORVA_OK) {
        MIRO_MemFree_F(ORVA_GetMemHandle(), content, "src/comm/test", 99999);
    }
}

struct ReleaseCase {
    const char *name;
    void (*run)();
    std::size_t blocks; // allocated and freed by the call
};

const ReleaseCase kReleaseCases[] = {
    {"a queue read",
     [] {
         char buffer[8];
         ORVA_QueueAsyRead(1, buffer, sizeof buffer, 0);
     },
     1},
    {"a queue write", [] { ORVA_QueueAsyWrite(1, "x", 1); }, 1},
    {"a queue write whose copy fails",
     [] {
         fail("memcpy_s", 1, 22);
         ORVA_QueueAsyWrite(1, "x", 1);
     },
     1},
    {"a queue that is emptied", [] { ORVA_QueueClear(1); }, 2},
    {"a mutex that cannot be made",
     [] {
         fail("pthread_mutex_init", 1, EAGAIN);
         void *mutex = nullptr;
         ORVA_CreatMutex(1, &mutex);
     },
     1},
    {"a packet dump", [] { ORVA_DEBUG_OutPacket(3, "name", reinterpret_cast<const uint8_t *>("x"), 1); }, 1},
    {"a whole file", [] { read_whole_file(0); }, 2},
    {"a file that cannot be read", [] { read_whole_file(1); }, 2},
    {"the console's path", [] { ORVA_GetSerialFd(); }, 1},
    {"a text for the console", [] { ORVA_SerialLog("text"); }, 2},
    {"a typed fault record", [] { ORVA_DiagFemaByType(0xCE41008, 3, 1, 9, 4, "text"); }, 2},
    {"a fault record of a sensor", [] { ORVA_SensorFemaByNoAndType(0xCE41009, 3, 1, 7, 9, 4, "text"); }, 2},
    {"a fault record of a position", [] { ORVA_DiagFema(2, 4, 0, 5, "text"); }, 2},
    {"a fault record of a card", [] { ORVA_CardFemaByType(0xCE4100A, 2, 9, 6, "text"); }, 2},
    {"a security record", [] { ORVA_SecurityEventLog(0xCE41018, 3, 1, 9, 4, "text"); }, 2},
    {"a fault record without a text",
     [] {
         const std::string nothing;
         ORVA_DiagFemaByType(0xCE41008, 3, 1, 9, 4, "%s", nothing.c_str());
     },
     2},
};

class Releases : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        platform().slot = 3;
        libc().msgrcv = [](int, void *, size_t, long, int) -> ssize_t { return -1; };
        libc().msgsnd = [](int, const void *, size_t, int) { return 0; };
    }
};

TEST_F(Releases, EveryBlock_IsFreedUnderALineAfterItsAllocation) {
    for (const ReleaseCase &row : kReleaseCases) {
        SCOPED_TRACE(row.name);
        platform().allocations.clear();
        platform().frees.clear();
        row.run();
        EXPECT_EQ(platform().allocations.size(), row.blocks);
        ASSERT_EQ(platform().frees.size(), row.blocks);
        for (const Allocation &freed : platform().frees) {
            const auto same = [&](const Allocation &made) { return made.line == freed.line; };
            EXPECT_TRUE(std::ranges::none_of(platform().allocations, same)) << freed.file << ":" << freed.line;
            const auto before = [&](const Allocation &made) {
                return made.size == freed.size && made.line < freed.line;
            };
            EXPECT_TRUE(std::ranges::any_of(platform().allocations, before)) << freed.file << ":" << freed.line;
        }
    }
}

} // namespace
