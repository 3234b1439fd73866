// The sample interface-manager agent: checks what it is initialised with, remembers the two addresses and writes a
// line for each change and each debug text. Knows nothing of who calls it.
#include "im_agent.h"

#include "fork_guard.h"
#include "im_agent_host.h"
#include "line_text.h"
#include "miro.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>

#define IM_AGENT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The record holds the address of a function of this type.
using TimeFunction = uint32_t (*)(MIRO_SYSTIME *);

// Handles are this and the instance's number: never 0, and no small number by accident.
constexpr std::uint64_t kHandleBase = 0x494D000000000000U;

struct Instance {
    std::array<char, 32> name;
    TimeFunction time;
    std::uint32_t main_board_ip;
    std::uint32_t local_ip;
};

constinit std::mutex g_mutex;
constinit std::array<Instance, IM_AGENT_MAX_INSTANCES> g_instances{};
constinit std::size_t g_instance_count = 0;
constinit std::uint64_t g_init_calls = 0;
constinit host::LineLog g_log{"ORVA_HOST_IM_LOG"};

[[gnu::constructor]] void keep_locks_usable_after_fork() {
    host::keep_usable_after_fork(g_mutex);
    host::keep_usable_after_fork(g_log.lock());
}

// The caller's clock, empty where it does not answer: the line then carries the system's.
std::string time_text(TimeFunction time) {
    MIRO_SYSTIME now{};
    if (time == nullptr || time(&now) != 0) {
        return {};
    }
    char text[48];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", now.year, now.month, now.day, now.hour,
                  now.minute, now.second);
    return text;
}

std::uint32_t log_line(TimeFunction time, std::string_view text) {
    return g_log.write(time_text(time), text) ? IM_AGENT_OK : IM_AGENT_NO_OUTPUT;
}

template <std::size_t Size>
bool all_zero(const std::uint8_t (&bytes)[Size]) {
    return std::all_of(bytes, bytes + Size, [](std::uint8_t byte) { return byte == 0; });
}

// Why a record cannot be used, or null.
const char *fault_of(const OrvaImInitRecord &record) {
    if (std::memchr(record.processName, 0, sizeof record.processName) == nullptr) {
        return "the process name has no end";
    }
    if (record.reserved32 != 0 || !all_zero(record.reserved38) || record.reserved72 != nullptr ||
        record.reserved80 != 0 || !all_zero(record.reserved84)) {
        return "a reserved field is not zero";
    }
    return record.getSysTime == nullptr ? "there is no time function" : nullptr;
}

// The handle of a fresh instance, 0 when there is no room.
std::uint64_t add_instance(const OrvaImInitRecord &record, TimeFunction time) {
    if (g_instance_count == g_instances.size()) {
        return 0;
    }
    Instance &instance = g_instances[g_instance_count++];
    std::memcpy(instance.name.data(), record.processName, instance.name.size());
    instance.time = time;
    return kHandleBase + g_instance_count;
}

Instance *instance_of(std::uint64_t handle) {
    const std::uint64_t number = handle - kHandleBase;
    return number >= 1 && number <= g_instance_count ? &g_instances[number - 1] : nullptr;
}

std::uint64_t init(const OrvaImInitRecord *record) {
    if (record == nullptr) {
        log_line(nullptr, "init refused: no record");
        return 0;
    }
    if (const char *fault = fault_of(*record)) {
        log_line(nullptr, std::string("init refused: ") + fault);
        return 0;
    }
    const auto time = reinterpret_cast<TimeFunction>(record->getSysTime);
    const std::string who = std::string("process=") + record->processName;
    if (g_init_calls++ < host::environment_number("ORVA_HOST_IM_FAIL_INIT", 0, ULONG_MAX, 0)) {
        log_line(time, "init " + who + " fails as asked, call " + std::to_string(g_init_calls));
        return 0;
    }
    const std::uint64_t handle = add_instance(*record, time);
    log_line(time, handle != 0 ? "init " + who + " parameter=" + std::to_string(record->initParam)
                               : "init refused: too many instances");
    return handle;
}

std::string dotted(std::uint32_t ip_net_order) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &ip_net_order, text, sizeof text);
    return text;
}

std::uint32_t set_address(std::uint64_t handle, std::uint32_t Instance::*field, const char *what,
                          std::uint32_t ip_net_order) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    Instance *instance = instance_of(handle);
    if (instance == nullptr) {
        log_line(nullptr, std::string(what) + " refused: unknown handle");
        return IM_AGENT_INVALID;
    }
    const std::uint32_t old = instance->*field;
    if (old == ip_net_order) {
        return IM_AGENT_OK;
    }
    instance->*field = ip_net_order;
    return log_line(instance->time, std::string(what) + " process=" + instance->name.data() + " old=" + dotted(old) +
                                        " new=" + dotted(ip_net_order));
}

// No exception reaches a caller; running out of memory is a failure like another.
template <typename Result, typename Body>
Result guarded(Result failed, Body body) {
    try {
        return body();
    } catch (const std::exception &) {
        return failed;
    }
}

std::uint32_t debug_line(const OrvaDebugRecord &record, const char *name, std::uint32_t id, const char *format,
                         std::va_list arguments) {
    std::string text;
    if (record.zero != 0 || !host::format_text(text, format, arguments)) {
        return IM_AGENT_INVALID;
    }
    char fields[64];
    std::snprintf(fields, sizeof fields, "debug switch=0x%08x id=0x%08x name=", record.switchId, id);
    return log_line(nullptr, fields + std::string(name != nullptr ? name : "-") + ": " + text);
}

} // namespace

IM_AGENT_EXPORT uint64_t IM_Agent_Init(const OrvaImInitRecord *record) {
    return guarded<std::uint64_t>(0, [&] {
        const std::lock_guard<std::mutex> lock(g_mutex);
        return init(record);
    });
}

IM_AGENT_EXPORT uint32_t IM_Agent_SetMainBoardIP(uint64_t handle, uint32_t ipNetOrder) {
    return guarded(IM_AGENT_NO_OUTPUT,
                   [&] { return set_address(handle, &Instance::main_board_ip, "main-board-ip", ipNetOrder); });
}

IM_AGENT_EXPORT uint32_t IM_Agent_SetLocalIP(uint64_t handle, uint32_t ipNetOrder) {
    return guarded(IM_AGENT_NO_OUTPUT,
                   [&] { return set_address(handle, &Instance::local_ip, "local-ip", ipNetOrder); });
}

IM_AGENT_EXPORT uint32_t IM_Agent_Debug(OrvaDebugRecord record, const char *name, uint32_t id, const char *format,
                                        ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result =
        guarded(IM_AGENT_NO_OUTPUT, [&] { return debug_line(record, name, id, format, arguments); });
    va_end(arguments);
    return result;
}

// Its arguments belong to the interface manager and are not read here.
IM_AGENT_EXPORT uint32_t IM_Agent_SetProcessInfo(...) {
    return guarded(IM_AGENT_NO_OUTPUT, [] { return log_line(nullptr, "process information set"); });
}

IM_AGENT_EXPORT uint32_t IM_Agent_HostAddresses(uint64_t handle, uint32_t *mainBoardIp, uint32_t *localIp) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const Instance *instance = instance_of(handle);
    if (instance == nullptr || mainBoardIp == nullptr || localIp == nullptr) {
        return IM_AGENT_INVALID;
    }
    *mainBoardIp = instance->main_board_ip;
    *localIp = instance->local_ip;
    return IM_AGENT_OK;
}
