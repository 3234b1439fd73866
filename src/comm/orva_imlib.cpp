// Interface-manager binding: loads the agent library, keeps it told of the active unit's and the own address, names
// debug switches for it. What the agent does with them is its own business.
#include "orva_imlib.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <sys/ioctl.h>

#include "drv_basic.h"
#include "line_reader.h"
#include "log_record.h"
#include "optional_library.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "relaxed.h"
#include "safeio.h"

OrvaImlib g_OrvaImlib;

namespace {

constexpr std::uint32_t kLogModule = 8;
constexpr std::uint32_t kTimerNameLogModule = 0x10000;
constexpr std::uint32_t kProcessInfoLogModule = 0x800;
constexpr std::uint32_t kCodeNone = 0;
constexpr std::uint32_t kCodeDone = 1;
constexpr std::uint32_t kCodeError = 2;

// ---- Agent library

using InitFunc = std::uint64_t (*)(const OrvaImInitRecord *record);

std::uint64_t agent_handle() {
    return orva::relaxed_load(&g_OrvaImlib.imHandle);
}

// The entries of the last attempt, until it succeeds. A failed one leaves them in the record but closes the library,
// so while no agent is bound they are neither called nor handed out.
struct UnboundEntries {
    OrvaImSetIpFunc setMainBoardIp;
    OrvaImSetIpFunc setLocalIp;
    OrvaImDebugFunc debug;
};

UnboundEntries g_unbound;

template <typename Entry>
void store_entry(Entry *entry, Entry *unbound, void *address) {
    orva::relaxed_store(unbound, orva::as_entry<Entry>(address));
    orva::relaxed_store(entry, orva::as_entry<Entry>(address));
}

// The entry, or null when its library may be closed.
template <typename Entry>
Entry usable_entry(const Entry *entry, const Entry *unbound) {
    const Entry stored = orva::relaxed_load(entry);
    return agent_handle() == 0 && stored == orva::relaxed_load(unbound) ? nullptr : stored;
}

void entries_are_bound() {
    orva::relaxed_store(&g_unbound.setMainBoardIp, nullptr);
    orva::relaxed_store(&g_unbound.setLocalIp, nullptr);
    orva::relaxed_store(&g_unbound.debug, nullptr);
}

// What one loading attempt fills.
struct AgentBinding {
    OrvaImlib *imlib;
    InitFunc init;
};

constexpr orva::LibrarySymbol<AgentBinding> kAgentSymbols[] = {
    {"IM_Agent_Init", [](AgentBinding &binding, void *address) { binding.init = orva::as_entry<InitFunc>(address); },
     orva::SymbolNeed::kRequired},
    {"IM_Agent_SetMainBoardIP",
     [](AgentBinding &binding, void *address) {
         store_entry(&binding.imlib->setMainBoardIp, &g_unbound.setMainBoardIp, address);
     },
     orva::SymbolNeed::kRequired},
    {"IM_Agent_SetLocalIP",
     [](AgentBinding &binding, void *address) {
         store_entry(&binding.imlib->setLocalIp, &g_unbound.setLocalIp, address);
     },
     orva::SymbolNeed::kOptional},
    {"IM_Agent_Debug",
     [](AgentBinding &binding, void *address) { store_entry(&binding.imlib->debug, &g_unbound.debug, address); },
     orva::SymbolNeed::kOptional},
};

constexpr orva::LibrarySymbol<OrvaImlib> kProcessInfoSymbols[] = {
    {"IM_Agent_SetProcessInfo",
     [](OrvaImlib &imlib, void *address) {
         orva::relaxed_store(&imlib.setProcessInfo, orva::as_entry<OrvaImProcessInfoFunc>(address));
     },
     orva::SymbolNeed::kRequired},
};

bool build_init_record(OrvaImInitRecord *record, std::uint32_t initParam, const char *processName) {
    memset_s(record, sizeof *record, 0, sizeof *record);
    if (strcpy_s(record->processName, sizeof record->processName, processName) != 0) {
        return false;
    }
    record->initParam = static_cast<std::uint16_t>(initParam);
    record->getSysTime = reinterpret_cast<void (*)(void)>(&ORVA_GetSysTime);
    return true;
}

// ---- Address sources

constexpr std::uint32_t kNoAddress = 0xFFFFFFFF; // what inet_addr gives for a text that is not an address
constexpr std::uint32_t kEnvAddressSize = 128;

// ---- Debug switches

struct DebugSwitch {
    std::uint32_t bits;
    std::uint32_t number;
};

constexpr std::uint32_t kSwitchBits = 32;
constexpr std::uint32_t kBlockShift = 12;

struct DebugSwitchTable {
    DebugSwitch rows[kSwitchBits + 2];
};

// One row per bit, then the two combinations that have numbers of their own.
constexpr DebugSwitchTable kDebugSwitches = [] {
    DebugSwitchTable table{};
    for (std::uint32_t bit = 0; bit < kSwitchBits; ++bit) {
        table.rows[bit] = {1u << bit, bit + 1};
    }
    table.rows[kSwitchBits] = {3, 100};
    table.rows[kSwitchBits + 1] = {5, 101};
    return table;
}();

std::uint32_t debug_switch_number(std::uint32_t bits) {
    for (const DebugSwitch &row : kDebugSwitches.rows) {
        if (row.bits == bits) {
            return row.number;
        }
    }
    return 0;
}

// ---- Timer

constexpr std::size_t kTimerNameSize = 64;

} // namespace

// ---- Binding

void ORVA_SetImlibIpConfigInPnf(const char *libraryPath, uint32_t initParam, const char *processName,
                                uint32_t switchBlock) {
    if (agent_handle() != 0) {
        return;
    }
    memset_s(&g_OrvaImlib, sizeof g_OrvaImlib, 0, sizeof g_OrvaImlib);
    g_OrvaImlib.switchBlock = switchBlock;
    g_OrvaImlib.initParam = initParam;
    if (strcpy_s(g_OrvaImlib.libraryPath, sizeof g_OrvaImlib.libraryPath, libraryPath) != 0 ||
        strcpy_s(g_OrvaImlib.processName, sizeof g_OrvaImlib.processName, processName) != 0) {
        return;
    }
    ORVA_CreateImlibIpAddrTimer(processName); // first, so that the timer retries a failed initialisation
    if (ORVA_InitImlib(libraryPath, initParam, processName, switchBlock) != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kLogModule, kCodeError,
                         "ORVA_SetImlibIpConfigInPnf unsuccess, ORVA_InitImlib return err.");
        return;
    }
    ORVA_SetMainBoardIpAddr();
    ORVA_SetLocalIpAddr();
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kLogModule, kCodeDone,
                     "ORVA_CreateImlibIpAddrTimer OK, PLIM_CreateImlibIpAddrTimer succeed.");
}

uint32_t ORVA_InitImlib(const char *libraryPath, uint32_t initParam, const char *processName, uint32_t switchBlock) {
    if (libraryPath == nullptr) {
        return ORVA_FAILED;
    }
    orva::OptionalLibrary library(orva::open_library(libraryPath));
    if (library == nullptr) {
        return ORVA_FAILED;
    }
    AgentBinding binding{&g_OrvaImlib, nullptr};
    if (orva::find_symbols(library.get(), kAgentSymbols, binding) != nullptr) {
        return ORVA_FAILED;
    }
    OrvaImInitRecord record;
    if (!build_init_record(&record, initParam, processName)) {
        return ORVA_FAILED;
    }
    const std::uint64_t handle = binding.init(&record);
    if (handle == 0) {
        return ORVA_FAILED;
    }
    orva::relaxed_store(&g_OrvaImlib.imHandle, handle);
    orva::relaxed_store(&g_OrvaImlib.switchBlock, switchBlock);
    entries_are_bound();
    static_cast<void>(library.release()); // stays open: the agent runs in it
    return ORVA_OK;
}

uint32_t ORVA_InitImlibAndSetIpAddrChk(void) {
    if (agent_handle() == 0) {
        const std::uint32_t ret =
            ORVA_InitImlib(g_OrvaImlib.libraryPath, g_OrvaImlib.initParam, g_OrvaImlib.processName,
                           orva::relaxed_load(&g_OrvaImlib.switchBlock));
        if (ret != ORVA_OK) {
            return ret;
        }
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kLogModule, kCodeDone, "Init imlib success");
    }
    ORVA_SetMainBoardIpAddr();
    return ORVA_SetLocalIpAddr();
}

uint32_t ORVA_CreateImlibIpAddrTimer(const char *processName) {
    if (g_OrvaImlib.timerModule != 0) {
        return ORVA_OK;
    }
    if (processName == nullptr) {
        return ORVA_FAILED;
    }
    char name[kTimerNameSize] = {};
    const int length = snprintf_s(name, sizeof name, sizeof name - 1, "PlimImlib_%s", processName);
    if (length < 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kTimerNameLogModule, kCodeError, "construct timerName ret=%d", length);
        return ORVA_FAILED;
    }
    std::uint32_t ret = MIRO_HandleInitialize(name, &g_OrvaImlib.timerModule);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kLogModule, kCodeDone,
                         "ORVA_CreateImlibIpAddrTimer MIRO_HandleInitialize handle TarvoImlib unsuccess, ret: %u.",
                         ret);
        return ret;
    }
    ret = MIRO_ReltmrCbkStart(&g_OrvaImlib.ipChkTimer, g_OrvaImlib.timerModule, ORVA_IMLIB_TIMER_MS, 0, nullptr,
                              MIRO_TIMER_PERIODIC, ORVA_InitImlibAndSetIpAddrChk);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kLogModule, kCodeError,
                         "ORVA_CreateImlibIpAddrTimer MIRO_ReltmrCbkStart unsuccess, ret: %u.", ret);
    }
    return ret;
}

void ORVA_InitSetProcessInfoFunc(const char *libraryPath) {
    if (libraryPath == nullptr) {
        return;
    }
    orva::OptionalLibrary library(orva::open_library(libraryPath));
    if (library == nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kProcessInfoLogModule, kCodeError,
                         "ORVA_InitSetProcessInfoFunc : open %s fail", libraryPath);
        const char *reason = dlerror();
        if (reason != nullptr) {
            ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kProcessInfoLogModule, kCodeError,
                             "ORVA_InitSetProcessInfoFunc : open %s fail because %s", libraryPath, reason);
        }
        return;
    }
    if (orva::find_symbols(library.get(), kProcessInfoSymbols, g_OrvaImlib) != nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kProcessInfoLogModule, kCodeError, "ORVA Get setProcessInfo Func fail");
        return;
    }
    static_cast<void>(library.release());
}

uint64_t ORVA_GetImHandle(void) {
    return agent_handle();
}

OrvaImDebugFunc ORVA_GetDebugFunc(void) {
    return usable_entry(&g_OrvaImlib.debug, &g_unbound.debug);
}

OrvaImProcessInfoFunc ORVA_GetSetProcessInfoFunc(void) {
    return orva::relaxed_load(&g_OrvaImlib.setProcessInfo);
}

uint32_t ORVA_GetDebugSwitchId(uint32_t switchBit) {
    return ORVA_IMLIB_SWITCH_BASE + (orva::relaxed_load(&g_OrvaImlib.switchBlock) << kBlockShift) +
           debug_switch_number(switchBit);
}

// ---- Addresses handed over

uint32_t ORVA_SetMainBoardIpAddr(void) {
    std::uint32_t ip = 0;
    const std::uint32_t ret = ORVA_GetActMpuIpAddr(&ip);
    if (ret != ORVA_OK) {
        return ret;
    }
    if (ip == orva::relaxed_load(&g_OrvaImlib.mainBoardIp)) {
        return ORVA_OK;
    }
    orva::relaxed_store(&g_OrvaImlib.mainBoardIp, ip);
    const OrvaImSetIpFunc push = usable_entry(&g_OrvaImlib.setMainBoardIp, &g_unbound.setMainBoardIp);
    return push == nullptr ? ORVA_OK : push(agent_handle(), ip);
}

uint32_t ORVA_SetLocalIpAddr(void) {
    std::uint32_t hostOrder = 0;
    std::uint32_t ret = ORVA_GetLocalIpAddr(&hostOrder);
    if (ret != ORVA_OK) {
        return ret;
    }
    const std::uint32_t ip = htonl(hostOrder);
    const std::uint32_t previous = orva::relaxed_load(&g_OrvaImlib.localIp);
    if (ip == previous) {
        return ORVA_OK;
    }
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kLogModule, kCodeNone,
                     "ORVA_SetLocalIpAddr ipaddr changed, previw ip: 0x%08x, current ip: 0x%08x.", previous, ip);
    orva::relaxed_store(&g_OrvaImlib.localIp, ip);
    const OrvaImSetIpFunc push = usable_entry(&g_OrvaImlib.setLocalIp, &g_unbound.setLocalIp);
    if (push == nullptr) {
        return ORVA_OK;
    }
    ret = push(agent_handle(), ip);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, kLogModule, ret, "imAgentSetLocalIp failed, ret=%u.", ret);
    } else {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, kLogModule, kCodeNone, "ORVA_SetLocalIpAddr success.");
    }
    return ret;
}

// ---- Address sources

uint32_t ORVA_GetLocalIpAddr(uint32_t *ip) {
    if (ip == nullptr) {
        return ORVA_FAILED;
    }
    std::uint32_t boardType = 0;
    std::uint32_t ret = ORVA_DRVADP_GetBoardType(&boardType);
    if (ret != ORVA_OK) {
        return ret;
    }
    const BoardPortInfo *port = ORVA_GetBoardEthInfo(boardType);
    std::uint32_t found = 0;
    ret = port != nullptr ? ORVA_GetIpAddress(port->ifName, &found) : ORVA_GetBakEthInfoMask(&found, SIOCGIFADDR);
    if (ret == ORVA_OK) {
        *ip = found;
    }
    return ret;
}

uint32_t ORVA_GetActMpuIpAddr(uint32_t *ip) {
    return ORVA_ChoseActMpuIp(ip);
}

uint32_t ORVA_ChoseActMpuIp(uint32_t *ip) {
    if (ORVA_GetActMpuIpAddrFromFile(ip) == ORVA_OK) {
        return ORVA_OK;
    }
    return ORVA_GetActMpuIpAddrFromEnv(ip) == ORVA_OK ? ORVA_OK : ORVA_FAILED;
}

uint32_t ORVA_GetActMpuIpAddrFromFile(uint32_t *ip) {
    if (ip == nullptr) {
        return ORVA_FAILED;
    }
    FILE *file = std::fopen(ORVA_ACT_MPU_FILE, "r");
    if (file == nullptr) {
        return ORVA_FAILED;
    }
    orva::LineReader lines(file);
    const char *const line = lines.next();
    if (line == nullptr) {
        return ORVA_FAILED;
    }
    *ip = inet_addr(line);
    return *ip != kNoAddress ? ORVA_OK : ORVA_FAILED;
}

uint32_t ORVA_GetActMpuIpAddrFromEnv(uint32_t *ip) {
    return ORVA_GetIpAddrFromEnv(ORVA_ACT_MPU_KEY, ip);
}

uint32_t ORVA_GetIpAddrFromEnv(const char *key, uint32_t *ip) {
    if (key == nullptr || ip == nullptr) {
        return ORVA_FAILED;
    }
    *ip = 0;
    char text[kEnvAddressSize] = {};
    const std::uint32_t ret = drv_env_get(key, text, sizeof text);
    if (ret != ORVA_OK) {
        return ret;
    }
    text[sizeof text - 1] = '\0';
    // Kept: the converted value is not tested for kNoAddress, only the file's is; callers hand 0xFFFFFFFF on.
    *ip = inet_addr(text);
    return ORVA_OK;
}
