// Board identity: who and where this board is, from the driver layer and the boot environment. Knows nothing of
// messages or sensors. The only state is the identity cache, whose words any thread may read and fill; they are
// accessed relaxed.
#include "orva_drvadp_comm.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

#include "drv_basic.h"
#include "log_record.h"
#include "optional_library.h"
#include "orva_comm.h"
#include "orva_diag.h"
#include "orva_elabel_comm.h"
#include "relaxed.h"
#include "safeio.h"

OrvaSelfBoardBase g_selfBoardBase = {
    .selfSlot = ORVA_SELF_SLOT_UNKNOWN,
    .deviceRunState = ORVA_RUN_STATE_UNKNOWN,
    .reserved = 0,
    .selfChassis = 0,
    .isBoxStack = 0,
    .frameType = 0,
};

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_drvadp_comm");

// ---- Boot environment

constexpr std::size_t kKindSize = 256;
constexpr std::size_t kNumberSize = 64;

// Reads a key into a zeroed buffer as zero-terminated text; the driver's result.
template <std::size_t Size>
std::uint32_t read_env(const char *key, char (&text)[Size]) {
    const std::uint32_t ret = drv_env_get(key, text, Size);
    text[Size - 1] = '\0';
    return ret;
}

// Text that is not a number counts as 0.
bool read_env_number(const char *key, std::uint32_t *number) {
    char text[kNumberSize] = {};
    if (read_env(key, text) != ORVA_OK) {
        return false;
    }
    *number = static_cast<std::uint32_t>(std::strtoll(text, nullptr, 10));
    return true;
}

std::uint32_t env_number_or(const char *key, std::uint32_t fallback, std::uint32_t *number, std::uint32_t nullCode) {
    if (number == nullptr) {
        return nullCode;
    }
    *number = fallback;
    read_env_number(key, number);
    return ORVA_OK;
}

constexpr std::uint32_t kDefaultChassis = 1;

// A chassis number of 0 counts as missing.
std::uint32_t chassis_id_or_default() {
    std::uint32_t number = 0;
    return read_env_number("chassisid", &number) && number != 0 ? number : kDefaultChassis;
}

// ---- Driver queries

constexpr std::uint32_t kLowHalf = 0xFFFF;
constexpr std::uint32_t kLowByte = 0xFF;
constexpr std::uint32_t kSlotlessBoardSlot = 1;
constexpr std::uint32_t kSlotStaysUnknown = 0x20; // low byte of the driver's code

bool board_has_no_slot(std::uint32_t ret) {
    return (ret & kLowHalf) == DRV_NO_SLOT;
}

void log_slot_failure(std::uint32_t ret) {
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kBoardLogModule, ret, "Failed to query self board id.");
    ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kBoardLogModule, orva::kCodeError,
                     "Failed to query self board id, Ret: 0x%x.", ret);
}

// Bit n marks backplane type kRzFrameBase + n.
constexpr std::uint32_t kRzFrameBase = 0x10040;
constexpr std::uint32_t kRzFrameSpan = 53;
constexpr std::uint64_t kRzFrames = 0x12000000020003;

constexpr bool is_rz_frame(std::uint32_t chassisType) {
    return chassisType - kRzFrameBase < kRzFrameSpan && ((kRzFrames >> (chassisType & 63)) & 1) != 0;
}

static_assert(is_rz_frame(0x10040) && is_rz_frame(0x10041) && is_rz_frame(0x10051) && is_rz_frame(0x10071) &&
              is_rz_frame(0x10074) && !is_rz_frame(0x10080));

constexpr std::uint32_t kElabelSize = 2048;

// The item of the own board's label; false when the label cannot be read or has none.
bool read_board_item(char (&item)[ORVA_BOARD_ITEM_LEN]) {
    char label[kElabelSize + 1] = {}; // ends in a zero also when the driver fills all it is given
    return drv_elabel_read(DRV_SELF_BOARD, 0, label, kElabelSize) == ORVA_OK &&
           ORVA_GetElabelElement(label, kElabelSize, "Item=", item, sizeof item) == ORVA_OK;
}

// ---- Numbers from addresses

constexpr int kPortTries = 300;
constexpr std::uint32_t kPortPauseMs = 1;

enum class PortNumber { kFound, kNoAddress, kTimedOut };

std::uint32_t selected_octet(const BoardPortInfo &port, std::uint32_t ip) {
    return (port.octetSelect == 1 ? ip : ip >> 8) & kLowByte;
}

// Asks for the address of a port until it is there, as its wait flag allows; *number is written when it is found.
PortNumber wait_for_port_number(const BoardPortInfo &port, std::uint32_t *number) {
    for (int attempt = 0; attempt < kPortTries; ++attempt) {
        std::uint32_t ip = 0;
        if (ORVA_GetIpAddress(port.ifName, &ip) == ORVA_OK) {
            *number = selected_octet(port, ip);
            return PortNumber::kFound;
        }
        if (port.waitFlag != 1) {
            return PortNumber::kNoAddress;
        }
        ORVA_SafeSleep(kPortPauseMs);
    }
    return PortNumber::kTimedOut;
}

// ---- Frame types

// Tables from a base on: a frame type is switched on by editing its entry.
constexpr std::uint32_t kRzBoxBase = 13;
constexpr std::uint8_t kRzBox[13] = {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
constexpr std::uint32_t kFanElabelBase = 12;
constexpr std::uint8_t kFanElabel[4] = {1, 0, 0, 0};
constexpr std::uint32_t kHalcySpan = 3; // 2U, 3U and 5U follow each other

template <std::size_t Count>
std::uint32_t frame_entry(const std::uint8_t (&table)[Count], std::uint32_t base) {
    const std::uint32_t index = orva::relaxed_load(&g_selfBoardBase.frameType) - base;
    return index < Count ? table[index] : 0;
}

std::uint32_t frame_is(std::uint32_t frameType) {
    return orva::relaxed_load(&g_selfBoardBase.frameType) == frameType ? 1 : 0;
}

} // namespace

// ---- Device kind

uint32_t ORVA_GetDeviceRunState(void) {
    if (orva::relaxed_load(&g_selfBoardBase.deviceRunState) != ORVA_RUN_STATE_UNKNOWN) {
        return orva::relaxed_load(&g_selfBoardBase.deviceRunState);
    }
    char service[kKindSize] = {};
    std::uint32_t ret = read_env("product_service_type", service);
    if (ret == ORVA_OK) {
        ORVA_DIAGLOG(ret, orva::kDiagCode, orva::kDiagWord3Event, 0, 0, "Get product_service_type is %s.", service);
        if (std::strcmp(service, "305") == 0) {
            orva::relaxed_store(&g_selfBoardBase.deviceRunState, ORVA_RUN_STATE_SERVICE_305);
            return ORVA_RUN_STATE_SERVICE_305;
        }
    }
    char family[kKindSize] = {};
    ret = read_env("product_family_type", family);
    if (ret != ORVA_OK) {
        return orva::relaxed_load(&g_selfBoardBase.deviceRunState);
    }
    ORVA_DIAGLOG(ret, orva::kDiagCode, orva::kDiagWord3Event, 0, 0, "Get product_family_type is %s.", family);
    const auto runState = static_cast<std::uint32_t>(std::strtol(family, nullptr, 10));
    orva::relaxed_store(&g_selfBoardBase.deviceRunState, runState);
    // Compat: callers' code. A family type out of range is cached and returned as it is.
    if (runState >= ORVA_RUN_STATE_LIMIT) {
        ORVA_DIAGLOG(0, orva::kDiagCode, orva::kDiagWord3Event, 0, 0, "product_family_type is out of range.");
    }
    return runState;
}

uint32_t ORVA_IsPtnTypeDevice(void) {
    return ORVA_GetDeviceRunState() == ORVA_RUN_STATE_PTN ? 1 : 0;
}

uint32_t ORVA_IsRouterUseHardBoardRoleDevice(void) {
    return ORVA_GetDeviceRunState() == ORVA_RUN_STATE_ROUTER_HARD_ROLE ||
                   ORVA_GetDeviceRunState() == ORVA_RUN_STATE_PTN ||
                   ORVA_GetDeviceRunState() == ORVA_RUN_STATE_SERVICE_305
               ? 1
               : 0;
}

// ---- Slot, board and chassis from the driver

uint32_t ORVA_DRVADP_GetSelfSlotID(uint32_t *slot) {
    if (slot == nullptr) {
        return ORVA_FAILED;
    }
    const std::uint32_t ret = drv_board_get_self_logic_slotid(slot);
    if (board_has_no_slot(ret)) {
        *slot = kSlotlessBoardSlot;
        return ORVA_OK;
    }
    if (ret != ORVA_OK) {
        log_slot_failure(ret);
    }
    return ret;
}

uint32_t ORVA_DRVADP_GetSelfSlotVar(void) {
    if (orva::relaxed_load(&g_selfBoardBase.selfSlot) != ORVA_SELF_SLOT_UNKNOWN) {
        return orva::relaxed_load(&g_selfBoardBase.selfSlot);
    }
    std::uint32_t slot = ORVA_SELF_SLOT_UNKNOWN;
    const std::uint32_t ret = drv_board_get_self_logic_slotid(&slot);
    if (board_has_no_slot(ret)) {
        slot = kSlotlessBoardSlot;
    } else if (ret != ORVA_OK) {
        log_slot_failure(ret);
        if ((ret & kLowByte) != kSlotStaysUnknown) {
            return orva::relaxed_load(&g_selfBoardBase.selfSlot);
        }
    }
    orva::relaxed_store(&g_selfBoardBase.selfSlot, slot);
    return slot;
}

uint32_t ORVA_DRVADP_GetBoardType(uint32_t *boardType) {
    if (boardType == nullptr) {
        return ORVA_ERR_BOARD_TYPE_NULL;
    }
    const std::uint32_t ret = drv_board_get_type(DRV_SELF_BOARD, boardType);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kBoardLogModule, orva::kCodeError,
                         "Unsuccess to query board type, Ret: 0x%x.", ret);
    }
    return ret;
}

uint32_t ORVA_DRVADP_GetChassisType(uint32_t *chassisType) {
    if (chassisType == nullptr) {
        return ORVA_ERR_CHASSIS_TYPE_NULL;
    }
    std::uint32_t type = 0;
    const std::uint32_t ret = drv_backplane_get_type(&type);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kBoardLogModule, orva::kCodeError,
                         "Unsuccess to query chassis type, Ret: 0x%x.", ret);
        return ret;
    }
    *chassisType = type;
    return ORVA_OK;
}

uint32_t ORVA_DRVADP_IsRzFrame(void) {
    std::uint32_t type = 0;
    return ORVA_DRVADP_GetChassisType(&type) == ORVA_OK && is_rz_frame(type) ? 1 : 0;
}

uint32_t ORVA_DRVADP_GetBoardElabelItem(char *item, uint32_t itemLen) {
    if (item == nullptr || itemLen == 0) {
        return ORVA_FAILED;
    }
    if (ORVA_DRVADP_IsRzFrame() == 1) {
        return ORVA_FAILED; // these chassis have no board item in the label
    }
    char value[ORVA_BOARD_ITEM_LEN] = {};
    if (!read_board_item(value)) {
        return ORVA_FAILED;
    }
    const int ret = memcpy_s(item, itemLen, value, sizeof value);
    if (ret != 0) {
        orva::log_mem_copy_code_error(kArea, static_cast<std::uint32_t>(ret));
    }
    item[itemLen - 1] = '\0';
    return ORVA_OK;
}

uint32_t ORVA_DRVADP_IsMatrixBoard(void) {
    const orva::OptionalLibrary library(orva::open_library("libdrv_basic.so"));
    if (library == nullptr) {
        return 0;
    }
    return dlsym(library.get(), "DRV_GetBoardProductType") != nullptr ? 1 : 0;
}

// ---- Chassis, stack, CPU and slot numbers from the boot environment

uint32_t ORVA_DRVADP_GetChassisID(uint32_t *chassisId) {
    if (chassisId == nullptr) {
        return ORVA_ERR_CHASSIS_ID_NULL;
    }
    *chassisId = kDefaultChassis;
    if (!read_env_number("stackid", chassisId)) {
        *chassisId = chassis_id_or_default();
    }
    std::uint32_t boardType = 0;
    if (ORVA_DRVADP_GetBoardType(&boardType) != ORVA_OK) {
        return ORVA_OK;
    }
    const BoardPortInfo *port = ORVA_GetBoardEthInfo(boardType);
    if (port != nullptr) {
        wait_for_port_number(*port, chassisId); // without an address the environment's number stays
    }
    return ORVA_OK;
}

uint32_t ORVA_DRVADP_GetChassisIdFromEnv(uint32_t *chassisId) {
    if (chassisId == nullptr) {
        return ORVA_ERR_ENV_CHASSIS_ID_NULL;
    }
    if (!read_env_number("stackid", chassisId)) {
        *chassisId = kDefaultChassis;
        *chassisId = chassis_id_or_default();
    }
    return ORVA_OK;
}

uint32_t ORVA_DRVADP_GetEnvOfChassisId(uint32_t *chassisId) {
    if (chassisId == nullptr) {
        return ORVA_ERR_ENV_CHASSIS_ID_NULL;
    }
    *chassisId = kDefaultChassis;
    *chassisId = chassis_id_or_default();
    return ORVA_OK;
}

// Compat: callers' code. The only reader of the environment that reports a missing key.
uint32_t ORVA_DRVADP_GetEnvOfStackId(uint32_t *stackId) {
    if (stackId == nullptr) {
        return ORVA_ERR_ENV_STACK_ID_NULL;
    }
    return read_env_number("stackid", stackId) ? ORVA_OK : ORVA_FAILED;
}

uint32_t ORVA_DRVADP_GetEnvOfStackEnable(uint32_t *enable) {
    return env_number_or("stkenv_enable", 0, enable, ORVA_ERR_ENV_STACK_ENABLE_NULL);
}

uint32_t ORVA_DRVADP_GetEnvOfCpuId(uint32_t *cpuId) {
    return env_number_or("cpu_id", 0, cpuId, ORVA_ERR_ENV_CPU_ID_NULL);
}

uint32_t ORVA_DRVADP_GetEnvOfSlotId(uint32_t *slotId) {
    return env_number_or("slotid", 1, slotId, ORVA_ERR_ENV_SLOT_ID_NULL);
}

uint32_t ORVA_GetBoardStackID(const BoardPortInfo *port, uint32_t *stackId) {
    if (stackId == nullptr || port == nullptr) {
        return ORVA_ERR_BOARD_STACK_ARGUMENT;
    }
    switch (wait_for_port_number(*port, stackId)) {
    case PortNumber::kFound:
        return ORVA_OK;
    case PortNumber::kNoAddress:
        return ORVA_ERR_BOARD_STACK_NO_ADDRESS;
    case PortNumber::kTimedOut:
        break;
    }
    return ORVA_FAILED;
}

// ---- Cached variables

uint32_t ORVA_DRVADP_GetFrameTypeVar(void) {
    return orva::relaxed_load(&g_selfBoardBase.frameType);
}

void ORVA_DRVADP_SetFrameTypeVar(uint32_t frameType) {
    if (orva::relaxed_load(&g_selfBoardBase.frameType) == 0) {
        orva::relaxed_store(&g_selfBoardBase.frameType, frameType);
    }
}

uint32_t ORVA_DRVADP_GetSelfChassisVar(void) {
    return orva::relaxed_load(&g_selfBoardBase.selfChassis);
}

void ORVA_DRVADP_SetSelfChassisVar(uint32_t chassis) {
    orva::relaxed_store(&g_selfBoardBase.selfChassis, chassis);
}

uint32_t ORVA_DRVADP_GetIsBoxStackVar(void) {
    return orva::relaxed_load(&g_selfBoardBase.isBoxStack);
}

void ORVA_DRVADP_SetIsBoxStackVar(uint32_t isBoxStack) {
    orva::relaxed_store(&g_selfBoardBase.isBoxStack, isBoxStack);
}

// ---- Frame-type predicates

uint32_t ORVA_DRVADP_IsQ1m(void) {
    return frame_is(ORVA_FRAME_TYPE_Q1M);
}

uint32_t ORVA_DRVADP_IsQ2m(void) {
    return frame_is(ORVA_FRAME_TYPE_Q2M);
}

uint32_t ORVA_DRVADP_IsQxm(void) {
    return frame_is(ORVA_FRAME_TYPE_Q1M) | frame_is(ORVA_FRAME_TYPE_Q2M);
}

uint32_t ORVA_DRVADP_Is1uHalcy(void) {
    return frame_is(ORVA_FRAME_TYPE_1U_HALCY);
}

uint32_t ORVA_DRVADP_Is3uHalcy(void) {
    return frame_is(ORVA_FRAME_TYPE_3U_HALCY);
}

uint32_t ORVA_DRVADP_Is5uHalcy(void) {
    return frame_is(ORVA_FRAME_TYPE_5U_HALCY);
}

uint32_t ORVA_DRVADP_Is2u3u5uHalcy(void) {
    return orva::relaxed_load(&g_selfBoardBase.frameType) - ORVA_FRAME_TYPE_2U_HALCY < kHalcySpan ? 1 : 0;
}

uint32_t ORVA_DRVADP_IsRzBox(void) {
    return frame_entry(kRzBox, kRzBoxBase);
}

uint32_t ORVA_DRVADP_IsSupportGetFanElabel(void) {
    return frame_entry(kFanElabel, kFanElabelBase);
}
