// Values of the boot environment: whatever the text, each reader answers as a plain model does, and so does the
// address of the active unit. Input: the text.
#include <arpa/inet.h>
#include <cstring>

#include "fuzz_input.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "platform_double.h"

namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;

// A driver that fills the buffer without a zero when the text is longer.
void serve(const std::string &text) {
    orva_test::platform().onEnvGet = [text](const char *, char *buffer, std::uint32_t size) -> std::uint32_t {
        const std::size_t count = std::min<std::size_t>(size, text.size());
        std::memcpy(buffer, text.data(), count);
        if (count < size) {
            buffer[count] = '\0';
        }
        return 0;
    };
}

std::uint32_t number_of(const std::string &text, std::size_t most) {
    return static_cast<std::uint32_t>(std::strtoll(text.substr(0, most).c_str(), nullptr, 10));
}

void check_readers(const std::string &text) {
    constexpr std::uint32_t (*kReaders[])(std::uint32_t *) = {
        ORVA_DRVADP_GetChassisIdFromEnv, ORVA_DRVADP_GetEnvOfStackId, ORVA_DRVADP_GetEnvOfStackEnable,
        ORVA_DRVADP_GetEnvOfCpuId, ORVA_DRVADP_GetEnvOfSlotId};
    for (const auto &read : kReaders) {
        std::uint32_t value = kUntouched;
        REQUIRE(read(&value) == ORVA_OK);
        REQUIRE(value == number_of(text, 63));
    }
    std::uint32_t chassis = kUntouched;
    REQUIRE(ORVA_DRVADP_GetEnvOfChassisId(&chassis) == ORVA_OK);
    const std::uint32_t number = number_of(text, 63);
    REQUIRE(chassis == (number == 0 ? 1 : number));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const std::string text = front.rest_text();
    orva_test::reset_platform();
    serve(text);
    check_readers(text);
    std::uint32_t ip = kUntouched;
    REQUIRE(ORVA_GetActMpuIpAddrFromEnv(&ip) == ORVA_OK);
    g_selfBoardBase.deviceRunState = 0xFFFFFFFF;
    ORVA_GetDeviceRunState();
    ORVA_IsRouterUseHardBoardRoleDevice();
    return 0;
}
