// Interface-manager binding: loads the agent library, keeps it told of the active unit's and the own address, names
// debug switches for it. What the agent does with them is its own business.
#include "orva_imlib.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/ioctl.h>

#include "cancel_hold.h"
#include "drv_basic.h"
#include "line_reader.h"
#include "log_record.h"
#include "mutex_scope.h"
#include "optional_library.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "relaxed.h"
#include "safeio.h"

OrvaImlib g_OrvaImlib;

namespace {

// ---- Agent library

using InitFunc = std::uint64_t (*)(const OrvaImInitRecord *record);

std::uint64_t agent_handle() {
    return __atomic_load_n(&g_OrvaImlib.imHandle, __ATOMIC_ACQUIRE);
}

// The entries of the last failed attempt. They stay in the record, but their library is closed: while no agent is
// bound they are neither called nor passed on.
struct UnboundEntries {
    OrvaImSetIpFunc setMainBoardIp;
    OrvaImSetIpFunc setLocalIp;
    OrvaImDebugFunc debug;
};

UnboundEntries g_unbound;

// What one loading attempt looked up; a row that was not reached leaves the record's entry alone.
template <typename Entry>
struct FoundEntry {
    bool isSearched;
    Entry entry;
};

struct AgentBinding {
    InitFunc init;
    FoundEntry<OrvaImSetIpFunc> setMainBoardIp, setLocalIp;
    FoundEntry<OrvaImDebugFunc> debug;
};

// Stores an entry so that usable_entry() never takes one for bound before entries_are_bound().
template <typename Entry>
void publish_entry(Entry *entry, Entry *unbound, const FoundEntry<Entry> &found) {
    if (found.isSearched) {
        __atomic_store_n(entry, nullptr, __ATOMIC_RELEASE);
        __atomic_store_n(unbound, found.entry, __ATOMIC_RELEASE);
        __atomic_store_n(entry, found.entry, __ATOMIC_RELEASE);
    }
}

void publish(const AgentBinding &binding) {
    publish_entry(&g_OrvaImlib.setMainBoardIp, &g_unbound.setMainBoardIp, binding.setMainBoardIp);
    publish_entry(&g_OrvaImlib.setLocalIp, &g_unbound.setLocalIp, binding.setLocalIp);
    publish_entry(&g_OrvaImlib.debug, &g_unbound.debug, binding.debug);
}

void entries_are_bound() {
    __atomic_store_n(&g_unbound.setMainBoardIp, nullptr, __ATOMIC_RELEASE);
    __atomic_store_n(&g_unbound.setLocalIp, nullptr, __ATOMIC_RELEASE);
    __atomic_store_n(&g_unbound.debug, nullptr, __ATOMIC_RELEASE);
}

// The entry, or null when its library may be closed. Read again when another thread replaced it meanwhile: the three
// words belong together only while the entry stays.
template <typename Entry>
Entry usable_entry(const Entry *entry, const Entry *unbound) {
    Entry stored = nullptr;
    bool isUnbound = false;
    do {
        stored = __atomic_load_n(entry, __ATOMIC_ACQUIRE);
        const bool isLastAttempt = __atomic_load_n(unbound, __ATOMIC_ACQUIRE) == stored;
        isUnbound = isLastAttempt && agent_handle() == 0;
    } while (__atomic_load_n(entry, __ATOMIC_ACQUIRE) != stored);
    return isUnbound ? nullptr : stored;
}

// Held for an attempt, so that binders follow each other. Recursive: an agent may call back while it initialises.
pthread_mutex_t g_binders = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

// A binder of the parent is not in the child.
void free_binders_in_child() {
    orva::remake_recursive_mutex(&g_binders);
}

void watch_forks() {
    static bool isWatching = false;
    if (!__atomic_exchange_n(&isWatching, true, __ATOMIC_RELAXED)) {
        pthread_atfork(nullptr, nullptr, free_binders_in_child);
    }
}

constexpr orva::LibrarySymbol<AgentBinding> kAgentSymbols[] = {
    {"IM_Agent_Init", [](AgentBinding &binding, void *address) { binding.init = orva::as_entry<InitFunc>(address); },
     orva::SymbolNeed::kRequired},
    {"IM_Agent_SetMainBoardIP",
     [](AgentBinding &binding, void *address) {
         binding.setMainBoardIp = {true, orva::as_entry<OrvaImSetIpFunc>(address)};
     },
     orva::SymbolNeed::kRequired},
    {"IM_Agent_SetLocalIP",
     [](AgentBinding &binding, void *address) {
         binding.setLocalIp = {true, orva::as_entry<OrvaImSetIpFunc>(address)};
     },
     orva::SymbolNeed::kOptional},
    {"IM_Agent_Debug",
     [](AgentBinding &binding, void *address) {
         binding.debug = {true, orva::as_entry<OrvaImDebugFunc>(address)};
     },
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

// Looks the entries up and initialises the agent; its handle, 0 on any failure.
std::uint64_t start_agent(void *library, std::uint32_t initParam, const char *processName, AgentBinding &binding) {
    OrvaImInitRecord record;
    if (orva::find_symbols(library, kAgentSymbols, binding) != nullptr ||
        !build_init_record(&record, initParam, processName)) {
        return 0;
    }
    return binding.init(&record);
}

// One attempt with what start-up stored, unless another thread bound the agent meanwhile.
std::uint32_t bind_unless_bound() {
    const orva::CancelHold cancelHold;
    const orva::MutexScope binders(&g_binders);
    if (agent_handle() != 0) {
        return ORVA_OK;
    }
    const std::uint32_t ret = ORVA_InitImlib(g_OrvaImlib.libraryPath, g_OrvaImlib.initParam, g_OrvaImlib.processName,
                                             orva::relaxed_load(&g_OrvaImlib.switchBlock));
    if (ret == ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeDone, "Init imlib success");
    }
    return ret;
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
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError,
                         "ORVA_SetImlibIpConfigInPnf unsuccess, ORVA_InitImlib return err.");
        return;
    }
    ORVA_SetMainBoardIpAddr();
    ORVA_SetLocalIpAddr();
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeDone,
                     "ORVA_CreateImlibIpAddrTimer OK, PLIM_CreateImlibIpAddrTimer succeed.");
}

uint32_t ORVA_InitImlib(const char *libraryPath, uint32_t initParam, const char *processName, uint32_t switchBlock) {
    if (libraryPath == nullptr) {
        return ORVA_FAILED;
    }
    watch_forks();
    const orva::CancelHold cancelHold;
    const orva::MutexScope binders(&g_binders);
    orva::OptionalLibrary library(orva::open_library(libraryPath));
    if (library == nullptr) {
        return ORVA_FAILED;
    }
    AgentBinding binding{};
    const std::uint64_t handle = start_agent(library.get(), initParam, processName, binding);
    if (handle == 0) {
        if (agent_handle() == 0) {
            publish(binding); // an earlier binding stays as it is
        }
        return ORVA_FAILED;
    }
    publish(binding);
    __atomic_store_n(&g_OrvaImlib.imHandle, handle, __ATOMIC_RELEASE);
    orva::relaxed_store(&g_OrvaImlib.switchBlock, switchBlock);
    entries_are_bound();
    static_cast<void>(library.release()); // stays open: the agent runs in it
    return ORVA_OK;
}

uint32_t ORVA_InitImlibAndSetIpAddrChk(void) {
    if (agent_handle() == 0) {
        const std::uint32_t ret = bind_unless_bound();
        if (ret != ORVA_OK) {
            return ret;
        }
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
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kLogModule, orva::kCodeError, "construct timerName ret=%d", length);
        return ORVA_FAILED;
    }
    std::uint32_t ret = MIRO_HandleInitialize(name, &g_OrvaImlib.timerModule);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeDone,
                         "ORVA_CreateImlibIpAddrTimer MIRO_HandleInitialize handle TarvoImlib unsuccess, ret: %u.",
                         ret);
        return ret;
    }
    // Compat: callers' code. A refused timer leaves the module registered, so that a second call does nothing and
    // succeeds.
    ret = MIRO_ReltmrCbkStart(&g_OrvaImlib.ipChkTimer, g_OrvaImlib.timerModule, ORVA_IMLIB_TIMER_MS, 0, nullptr,
                              MIRO_TIMER_PERIODIC, ORVA_InitImlibAndSetIpAddrChk);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError,
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
        const orva::LoaderReason reason;
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kBoardLogModule, orva::kCodeError,
                         "ORVA_InitSetProcessInfoFunc : open %s fail", libraryPath);
        if (reason.is_present()) {
            ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kBoardLogModule, orva::kCodeError,
                             "ORVA_InitSetProcessInfoFunc : open %s fail because %s", libraryPath, reason.words());
        }
        return;
    }
    if (orva::find_symbols(library.get(), kProcessInfoSymbols, g_OrvaImlib) != nullptr) {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kBoardLogModule, orva::kCodeError,
                         "ORVA Get setProcessInfo Func fail");
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

// ---- Addresses for the agent library

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
    ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeNone,
                     "ORVA_SetLocalIpAddr ipaddr changed, previw ip: 0x%08x, current ip: 0x%08x.", previous, ip);
    orva::relaxed_store(&g_OrvaImlib.localIp, ip);
    const OrvaImSetIpFunc push = usable_entry(&g_OrvaImlib.setLocalIp, &g_unbound.setLocalIp);
    if (push == nullptr) {
        return ORVA_OK;
    }
    ret = push(agent_handle(), ip);
    if (ret != ORVA_OK) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, ret, "imAgentSetLocalIp failed, ret=%u.", ret);
    } else {
        ORVA_LOG_PROCESS(TOVA_PLOG_INFO, orva::kRuntimeLogModule, orva::kCodeNone, "ORVA_SetLocalIpAddr success.");
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
    // Compat: callers' code. Only the file's address is tested for kNoAddress; one of the environment may be
    // 0xFFFFFFFF.
    *ip = inet_addr(text);
    return ORVA_OK;
}
