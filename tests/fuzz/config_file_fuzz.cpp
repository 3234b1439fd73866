// The files that the library reads at fixed paths: the power-off file, the start markers, the address file. Input:
// which file, slot and index, then its text. Every file that is opened is closed, and nothing stays allocated.
#include <arpa/inet.h>
#include <map>

#include "fuzz_input.h"
#include "orva_comm.h"
#include "orva_imlib.h"
#include "platform_double.h"

namespace {

std::string g_text;
char g_written[64];

// The text as a file; what is appended to it goes to g_written.
FILE *open_text(const char *, const char *mode) {
    if (std::strcmp(mode, "a+") == 0 && g_text.empty()) {
        std::memset(g_written, 0, sizeof g_written);
        return fmemopen(g_written, sizeof g_written, "w+");
    }
    return g_text.empty() ? std::tmpfile() : fmemopen(g_text.data(), g_text.size(), "r");
}

void check_power_off(std::uint8_t slot, std::uint8_t index) {
    const std::uint32_t flag = ORVA_GetIndependPwrOffFlag(slot, index);
    REQUIRE(flag <= 1);
    REQUIRE(flag == 0 || (slot <= ORVA_INDEPEND_SLOT_MAX && index <= ORVA_INDEPEND_INDEX_MAX));
    REQUIRE(flag == 0 || g_text.find("independ_") != std::string::npos);
    // A line of its own in front of everything decides when it says on.
    if (slot <= ORVA_INDEPEND_SLOT_MAX && index <= ORVA_INDEPEND_INDEX_MAX) {
        g_text = "independ_" + std::to_string(slot) + "_" + std::to_string(index) + ":1;\n" + g_text;
        REQUIRE(ORVA_GetIndependPwrOffFlag(slot, index) == 1);
    }
}

void check_markers(std::uint8_t kind) {
    std::uint32_t warm = 7;
    ORVA_COMM_InitProcessStartMode(kind, &warm);
    REQUIRE(warm == (kind <= ORVA_PROCESS_AGENT ? ORVA_START_WARM : ORVA_START_COLD));
    const bool isEmpty = g_text.empty();
    std::memset(g_written, 0, sizeof g_written);
    ORVA_COMM_SetProcessStartMode(kind);
    REQUIRE(std::string(g_written) == (isEmpty && kind <= ORVA_PROCESS_AGENT ? "5\n" : ""));
}

void check_address() {
    std::uint32_t ip = 7;
    const std::string text = g_text.c_str();
    const std::string line = text.substr(0, text.find('\n') == std::string::npos ? text.size() : text.find('\n') + 1);
    const bool hasLine = !g_text.empty();
    const std::uint32_t expected = inet_addr(line.c_str());
    const bool isAddress = hasLine && expected != INADDR_NONE;
    REQUIRE(ORVA_GetActMpuIpAddrFromFile(&ip) == (isAddress ? ORVA_OK : ORVA_FAILED));
    REQUIRE(ip == (hasLine ? expected : 7));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::uint8_t choice = front.byte(), slot = front.byte(), index = front.byte();
    g_text = front.rest();
    orva_test::reset_platform();
    orva_test::libc().fopen = open_text;
    orva_test::libc().realpath = [](const char *, char *) { return strdup("/dev/null"); };
    switch (choice % 3) {
    case 0:
        check_power_off(slot, index);
        break;
    case 1:
        check_markers(slot);
        break;
    default:
        check_address();
    }
    REQUIRE(orva_test::calls_of("fopen") == orva_test::calls_of("fclose"));
    REQUIRE(orva_test::live_blocks() == 0);
    orva_test::reset_platform(); // what follows a run opens files of its own
    return 0;
}
