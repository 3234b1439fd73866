#include "platform_double.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

#include "drv_basic.h"
#include "orva_comm.h"
#include "orva_write_log.h"
#include "safeio.h"
#include "tova.h"

namespace orva_test {

namespace {

constexpr unsigned char kFreshFill = 0xA5;
constexpr std::size_t kGuard = 16;
constexpr unsigned char kGuardFill = 0xC3;

std::recursive_mutex g_lock; // tests may call the library from several threads

struct Block {
    Allocation where;
    unsigned char *memory; // start of the block proper; a guard follows it
};

std::map<void *, Block> &blocks() {
    static std::map<void *, Block> *const table = new std::map<void *, Block>;
    return *table;
}

std::string hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

std::string quoted(const char *text) {
    return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
}

std::string address(const void *pointer) {
    return pointer == nullptr ? "0" : "set";
}

std::string format_text(const char *format, va_list args) {
    char *text = nullptr;
    if (vasprintf(&text, format, args) < 0) {
        return "<format error>";
    }
    std::string result = text;
    std::free(text);
    return result;
}

void expect(bool holds, const std::string &otherwise) {
    if (!holds) {
        report_failure(otherwise);
    }
}

// The library names its call sites by its source folder; other callers bring handles and partitions of their own.
bool of_library(const char *file) {
    return std::strncmp(file, "src/comm/", 9) == 0;
}

void keep_log(const std::string &head, const char *format, va_list args) {
    {
        const std::lock_guard<std::recursive_mutex> guard(g_lock);
        platform().logs.push_back(head + " " + format_text(format, args));
        platform().formats.emplace_back(format);
    }
    if (platform().onLog) {
        platform().onLog();
    }
}

void keep_call(const std::string &call) {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    platform().calls.push_back(call);
}

} // namespace

Platform &platform() {
    static Platform *const state = new Platform;
    return *state;
}

std::size_t live_blocks() {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    return blocks().size();
}

std::string live_report() {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    std::string report;
    for (const auto &[pointer, block] : blocks()) {
        report += block.where.file + ":" + std::to_string(block.where.line) + " " + std::to_string(block.where.size) +
                  " bytes\n";
    }
    return report;
}

std::vector<std::string> take_logs() {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    platform().formats.clear();
    return std::exchange(platform().logs, {});
}

void reset_platform() {
    reset_calls();
    platform() = Platform{};
    ORVA_SetMemHandle(0x1234);
    ORVA_SetMemPtr(9);
}

unsigned walk_allocation_failures(const std::function<void()> &body, const std::function<void(unsigned)> &check) {
    for (unsigned nth = 1; nth < 1000; ++nth) {
        const unsigned before = calls_of("MIRO_MemAlloc_F");
        fail("MIRO_MemAlloc_F", nth, 0);
        body();
        if (calls_of("MIRO_MemAlloc_F") - before < nth) {
            fail("MIRO_MemAlloc_F", 0, 0);
            return nth - 1;
        }
        check(nth);
    }
    report_failure("allocations never end");
    return 0;
}

} // namespace orva_test

using namespace orva_test;

// Declares the control state of an import and, in a function body, leaves with the armed result.
#define CONTROLLED(name)                                                                                             \
    static CallState state_of_##name;                                                                                \
    [[maybe_unused]] static const bool registered_##name = (register_call(state_of_##name, #name), true);
#define FAULT(name, type)                                                                                            \
    if (take_fault(state_of_##name)) {                                                                               \
        return fault_result<type>(state_of_##name);                                                                  \
    }

CONTROLLED(MIRO_MemPtCreateEx)
CONTROLLED(MIRO_MemDbgOptSet)
CONTROLLED(MIRO_MemPtAutoFlexSetEx)
CONTROLLED(MIRO_MemPtDelete)
CONTROLLED(MIRO_MemAlloc_F)
CONTROLLED(MIRO_MemFree_F)
CONTROLLED(MIRO_TaskCreate)
CONTROLLED(MIRO_SystimeGet)
CONTROLLED(MIRO_TzLmtGet)
CONTROLLED(MIRO_TzGmtGet)
CONTROLLED(MIRO_DeadLoopTaskCheckBegin)
CONTROLLED(MIRO_DeadLoopTaskCheckEnd)
CONTROLLED(MIRO_HandleInitialize)
CONTROLLED(MIRO_ReltmrCbkStart)
CONTROLLED(MIRO_Unzip)
CONTROLLED(TOVA_PLogByProcName)
CONTROLLED(TOVA_DLog)
CONTROLLED(TOVA_SecurityEventLog)
CONTROLLED(TOVA_LifeCycleLog)
CONTROLLED(ORVA_WriteLog)
CONTROLLED(drv_env_get)
CONTROLLED(drv_board_get_self_logic_slotid)
CONTROLLED(drv_board_get_type)
CONTROLLED(drv_backplane_get_type)
CONTROLLED(drv_elabel_read)
CONTROLLED(memcpy_s)
CONTROLLED(memset_s)
CONTROLLED(strcpy_s)
CONTROLLED(strncpy_s)
CONTROLLED(strcat_s)
CONTROLLED(sprintf_s)
CONTROLLED(snprintf_s)
CONTROLLED(vsnprintf_s)
CONTROLLED(sscanf_s)
CONTROLLED(pipe_s)
CONTROLLED(socket_s)
CONTROLLED(read_s)
CONTROLLED(write_s)
CONTROLLED(close_s)
CONTROLLED(fchmod_s)
CONTROLLED(SetFdOwner)
CONTROLLED(safeio_fd_owner_assemble)

extern "C" {

// ---- OS layer

uint32_t MIRO_MemPtCreateEx(const char *name, const char *owner, void *start, const void *config, uint32_t size,
                            uint8_t *number) {
    keep_call("MIRO_MemPtCreateEx(" + quoted(name) + ", " + quoted(owner) + ", " + address(start) + ", " +
              address(config) + ", " + hex(size) + ")");
    FAULT(MIRO_MemPtCreateEx, uint32_t)
    *number = platform().nextPartition;
    return 0;
}

uint32_t MIRO_MemDbgOptSet(uint8_t number, uint32_t option) {
    keep_call("MIRO_MemDbgOptSet(" + hex(number) + ", " + hex(option) + ")");
    FAULT(MIRO_MemDbgOptSet, uint32_t)
    return 0;
}

uint32_t MIRO_MemPtAutoFlexSetEx(uint8_t number, uint32_t enable, uint32_t limit, void *r1, void *r2, void *r3) {
    keep_call("MIRO_MemPtAutoFlexSetEx(" + hex(number) + ", " + hex(enable) + ", " + hex(limit) + ", " + address(r1) +
              ", " + address(r2) + ", " + address(r3) + ")");
    FAULT(MIRO_MemPtAutoFlexSetEx, uint32_t)
    return 0;
}

uint32_t MIRO_MemPtDelete(uint8_t number) {
    keep_call("MIRO_MemPtDelete(" + hex(number) + ")");
    FAULT(MIRO_MemPtDelete, uint32_t)
    return 0;
}

void *MIRO_MemAlloc_F(uint32_t handle, uint8_t partition, size_t size, const char *file, uint32_t line) {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    const std::string where = std::string(file) + ":" + std::to_string(line);
    expect(handle != 0, "allocation without a memory handle, " + where);
    expect(!of_library(file) || (handle == ORVA_GetMemHandle() && partition == ORVA_GetMemPtr()),
           "allocation beside the library's handle or partition, " + where);
    FAULT(MIRO_MemAlloc_F, void *)
    auto *memory = static_cast<unsigned char *>(std::malloc(size + kGuard));
    std::memset(memory, kFreshFill, size);
    std::memset(memory + size, kGuardFill, kGuard);
    platform().allocations.push_back({size, file, line});
    blocks()[memory] = Block{{size, file, line}, memory};
    return memory;
}

uint32_t MIRO_MemFree_F(uint32_t handle, void *block, const char *file, uint32_t line) {
    const std::lock_guard<std::recursive_mutex> guard(g_lock);
    const std::string where = std::string(file) + ":" + std::to_string(line);
    expect(!of_library(file) || handle == ORVA_GetMemHandle(), "free beside the library's handle, " + where);
    const auto found = blocks().find(block);
    if (found == blocks().end()) {
        report_failure("free of a block that is not allocated, " + where);
        return 1;
    }
    const std::size_t size = found->second.where.size;
    const unsigned char *const fence = found->second.memory + size;
    expect(std::all_of(fence, fence + kGuard, [](unsigned char byte) { return byte == kGuardFill; }),
           "written past a block of " + std::to_string(size) + " bytes, freed at " + where);
    platform().frees.push_back({size, file, line});
    std::memset(block, 0xDD, size);
    std::free(block);
    blocks().erase(found);
    FAULT(MIRO_MemFree_F, uint32_t)
    return 0;
}

uint32_t MIRO_TaskCreate(const char *name, uint32_t *taskId, MIRO_TASK_ENTRY entry, uint32_t priority,
                         uint32_t stackSize, uint32_t options, void *argument) {
    keep_call("MIRO_TaskCreate(" + quoted(name) + ", " + hex(priority) + ", " + hex(stackSize) + ", " + hex(options) +
              ", " + address(argument) + ")");
    FAULT(MIRO_TaskCreate, uint32_t)
    *taskId = platform().nextTaskId;
    platform().lastTaskEntry = entry;
    platform().lastTaskArgument = argument;
    return 0;
}

uint32_t MIRO_SystimeGet(MIRO_SYSTIME *time) {
    FAULT(MIRO_SystimeGet, uint32_t)
    *time = platform().sysTime;
    if (platform().onSystime) {
        platform().onSystime(time);
    }
    return 0;
}

uint32_t MIRO_TzLmtGet(MIRO_ZONETIME *time) {
    FAULT(MIRO_TzLmtGet, uint32_t)
    *time = platform().localTime;
    return 0;
}

uint32_t MIRO_TzGmtGet(MIRO_ZONETIME *time) {
    FAULT(MIRO_TzGmtGet, uint32_t)
    *time = platform().gmtTime;
    return 0;
}

void MIRO_DeadLoopTaskCheckBegin(void) {
    take_fault(state_of_MIRO_DeadLoopTaskCheckBegin);
    keep_call("MIRO_DeadLoopTaskCheckBegin()");
}

void MIRO_DeadLoopTaskCheckEnd(void) {
    take_fault(state_of_MIRO_DeadLoopTaskCheckEnd);
    keep_call("MIRO_DeadLoopTaskCheckEnd()");
}

uint32_t MIRO_HandleInitialize(const char *name, uint32_t *module) {
    keep_call("MIRO_HandleInitialize(" + quoted(name) + ")");
    FAULT(MIRO_HandleInitialize, uint32_t)
    *module = 0x21;
    return 0;
}

uint32_t MIRO_ReltmrCbkStart(MIRO_TIMER_ID *timer, uint32_t module, uint32_t lengthMs, uint32_t param, void *argument,
                             uint32_t mode, MIRO_TIMER_CALLBACK callback) {
    keep_call("MIRO_ReltmrCbkStart(" + hex(module) + ", " + hex(lengthMs) + ", " + hex(param) + ", " +
              address(argument) + ", " + hex(mode) + ")");
    FAULT(MIRO_ReltmrCbkStart, uint32_t)
    *timer = 0xABCDEF0123;
    platform().lastTimerCallback = callback;
    return 0;
}

uint32_t MIRO_Unzip(const char *zipFile, const char *dstPath, uint32_t option) {
    keep_call("MIRO_Unzip(" + quoted(zipFile) + ", " + quoted(dstPath) + ", " + hex(option) + ")");
    FAULT(MIRO_Unzip, uint32_t)
    return 0;
}

// The tree is kept as a sorted chain through `right`, with `left` as the way back; root and first are its start.

static void *item_of(MIRO_AVL_NODE *node) {
    return node == nullptr ? nullptr : node->self;
}

void *MIRO_AVL_Find(MIRO_AVL_TREE *tree, const void *key) {
    for (MIRO_AVL_NODE *node = tree->first; node != nullptr; node = node->right) {
        if (tree->compare(key, node->key) == 0) {
            return node->self;
        }
    }
    return nullptr;
}

void *MIRO_AVL_Insert_Or_Find(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    expect(node->leftHeight == -1 && node->rightHeight == -1, "a node that is put in a tree has heights -1");
    expect(node->parent == nullptr && node->left == nullptr && node->right == nullptr,
           "a node that is put in a tree has no links");
    if (platform().onAvlInsert) {
        return platform().onAvlInsert(tree, node);
    }
    MIRO_AVL_NODE *before = nullptr;
    MIRO_AVL_NODE *after = tree->first;
    while (after != nullptr && tree->compare(after->key, node->key) < 0) {
        before = after;
        after = after->right;
    }
    if (after != nullptr && tree->compare(after->key, node->key) == 0) {
        return after->self;
    }
    node->left = before;
    node->right = after;
    node->leftHeight = 0;
    node->rightHeight = 0;
    (before == nullptr ? tree->first : before->right) = node;
    (after == nullptr ? tree->last : after->left) = node;
    tree->root = tree->first;
    return nullptr;
}

void MIRO_AVL_Delete(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    (node->left == nullptr ? tree->first : node->left->right) = node->right;
    (node->right == nullptr ? tree->last : node->right->left) = node->left;
    tree->root = tree->first;
    node->left = nullptr;
    node->right = nullptr;
    node->leftHeight = -1;
    node->rightHeight = -1;
}

void *MIRO_AVL_Next(MIRO_AVL_NODE *node) {
    return item_of(node->right);
}

// ---- Log sinks

uint32_t TOVA_PLogByProcName(uint32_t logType, const char *procName, uint32_t module, uint32_t level,
                             const char *format, ...) {
    va_list args;
    va_start(args, format);
    keep_log("PLog(" + hex(logType) + ", " + procName + ", " + hex(module) + ", " + hex(level) + ")", format, args);
    va_end(args);
    FAULT(TOVA_PLogByProcName, uint32_t)
    return platform().plogResult;
}

static std::string five(const char *name, uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5) {
    return std::string(name) + "(" + hex(a1) + ", " + hex(a2) + ", " + hex(a3) + ", " + hex(a4) + ", " + hex(a5) +
           ")";
}

#define FIVE_WORD_SINK(symbol, name, field)                                                                          \
    uint32_t symbol(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, const char *format, ...) {      \
        va_list args;                                                                                                \
        va_start(args, format);                                                                                      \
        keep_log(five(name, a1, a2, a3, a4, a5), format, args);                                                      \
        va_end(args);                                                                                                \
        FAULT(symbol, uint32_t)                                                                                      \
        return platform().field;                                                                                     \
    }
FIVE_WORD_SINK(TOVA_DLog, "DLog", dlogResult)
FIVE_WORD_SINK(TOVA_SecurityEventLog, "SecurityEventLog", securityResult)
FIVE_WORD_SINK(TOVA_LifeCycleLog, "LifeCycleLog", lifeCycleResult)

uint32_t ORVA_WriteLog(uint32_t module, uint32_t level, const char *format, ...) {
    va_list args;
    va_start(args, format);
    keep_log("WriteLog(" + hex(module) + ", " + hex(level) + ")", format, args);
    va_end(args);
    FAULT(ORVA_WriteLog, uint32_t)
    return platform().writeLogResult;
}

// ---- Driver layer

uint32_t drv_env_get(const char *key, char *buffer, uint32_t bufferLen) {
    keep_call("drv_env_get(" + quoted(key) + ", " + hex(bufferLen) + ")");
    FAULT(drv_env_get, uint32_t)
    if (platform().onEnvGet) {
        return platform().onEnvGet(key, buffer, bufferLen);
    }
    const auto found = platform().environment.find(key);
    if (found == platform().environment.end()) {
        return 1;
    }
    std::snprintf(buffer, bufferLen, "%s", found->second.c_str());
    return 0;
}

uint32_t drv_board_get_self_logic_slotid(uint32_t *slot) {
    keep_call("drv_board_get_self_logic_slotid()");
    FAULT(drv_board_get_self_logic_slotid, uint32_t)
    if (!platform().slot) {
        *slot = platform().slotBesideCode.value_or(*slot);
        return platform().slotCode;
    }
    *slot = *platform().slot;
    return 0;
}

uint32_t drv_board_get_type(uint32_t slot, uint32_t *boardType) {
    keep_call("drv_board_get_type(" + hex(slot) + ")");
    FAULT(drv_board_get_type, uint32_t)
    if (!platform().boardType) {
        return 1;
    }
    *boardType = *platform().boardType;
    return 0;
}

uint32_t drv_backplane_get_type(uint32_t *type) {
    keep_call("drv_backplane_get_type()");
    FAULT(drv_backplane_get_type, uint32_t)
    if (!platform().backplaneType) {
        return 1;
    }
    *type = *platform().backplaneType;
    return 0;
}

uint32_t drv_elabel_read(uint32_t slot, uint32_t index, char *buffer, uint32_t bufferLen) {
    keep_call("drv_elabel_read(" + hex(slot) + ", " + hex(index) + ", " + hex(bufferLen) + ")");
    FAULT(drv_elabel_read, uint32_t)
    if (!platform().elabel) {
        return 1;
    }
    // A label that fills the buffer gets no zero.
    const std::string &label = *platform().elabel;
    std::memcpy(buffer, label.c_str(), label.size() < bufferLen ? label.size() + 1 : bufferLen);
    return 0;
}

// ---- Safe-I/O

int memcpy_s(void *dst, size_t dstSize, const void *src, size_t count) {
    FAULT(memcpy_s, int)
    if (dst == nullptr || src == nullptr) {
        return EINVAL;
    }
    if (count > dstSize) {
        return ERANGE;
    }
    std::memcpy(dst, src, count);
    return 0;
}

int memset_s(void *dst, size_t dstSize, int value, size_t count) {
    FAULT(memset_s, int)
    if (dst == nullptr) {
        return EINVAL;
    }
    if (count > dstSize) {
        return ERANGE;
    }
    std::memset(dst, value, count);
    return 0;
}

// Copies `count` characters and a zero, or empties the destination.
static int copy_text(char *dst, size_t dstSize, const char *src, size_t count) {
    if (count >= dstSize) {
        dst[0] = '\0';
        return ERANGE;
    }
    std::memcpy(dst, src, count);
    dst[count] = '\0';
    return 0;
}

int strcpy_s(char *dst, size_t dstSize, const char *src) {
    FAULT(strcpy_s, int)
    if (dst == nullptr || dstSize == 0) {
        return EINVAL;
    }
    if (src == nullptr) {
        dst[0] = '\0';
        return EINVAL;
    }
    return copy_text(dst, dstSize, src, std::strlen(src));
}

int strncpy_s(char *dst, size_t dstSize, const char *src, size_t count) {
    FAULT(strncpy_s, int)
    if (dst == nullptr || dstSize == 0) {
        return EINVAL;
    }
    if (src == nullptr) {
        dst[0] = '\0';
        return EINVAL;
    }
    return copy_text(dst, dstSize, src, strnlen(src, count));
}

int strcat_s(char *dst, size_t dstSize, const char *src) {
    FAULT(strcat_s, int)
    if (dst == nullptr || dstSize == 0) {
        return EINVAL;
    }
    const size_t used = strnlen(dst, dstSize);
    if (src == nullptr || used == dstSize) {
        dst[0] = '\0';
        return EINVAL;
    }
    const int result = copy_text(dst + used, dstSize - used, src, std::strlen(src));
    if (result != 0) {
        dst[0] = '\0';
    }
    return result;
}

static int format_bounded(char *dst, size_t dstSize, size_t count, const char *format, va_list args) {
    if (dst == nullptr || dstSize == 0 || format == nullptr) {
        return -1;
    }
    const std::string text = format_text(format, args);
    const size_t length = text.size() < count ? text.size() : count;
    if (length >= dstSize) {
        dst[0] = '\0';
        return -1;
    }
    std::memcpy(dst, text.data(), length);
    dst[length] = '\0';
    return static_cast<int>(length);
}

int sprintf_s(char *dst, size_t dstSize, const char *format, ...) {
    FAULT(sprintf_s, int)
    va_list args;
    va_start(args, format);
    const int result = format_bounded(dst, dstSize, SIZE_MAX, format, args);
    va_end(args);
    return result;
}

int snprintf_s(char *dst, size_t dstSize, size_t count, const char *format, ...) {
    FAULT(snprintf_s, int)
    va_list args;
    va_start(args, format);
    const int result = format_bounded(dst, dstSize, count, format, args);
    va_end(args);
    return result;
}

int vsnprintf_s(char *dst, size_t dstSize, size_t count, const char *format, va_list args) {
    FAULT(vsnprintf_s, int)
    return format_bounded(dst, dstSize, count, format, args);
}

int sscanf_s(const char *text, const char *format, ...) {
    FAULT(sscanf_s, int)
    va_list args;
    va_start(args, format);
    const int result = std::vsscanf(text, format, args);
    va_end(args);
    return result;
}

int pipe_s(int fds[2]) {
    FAULT(pipe_s, int)
    return pipe(fds);
}

// A tracked descriptor of the double carries owner 5.
constexpr int kOwner = 5;

int socket_s(int domain, int type, int protocol) {
    keep_call("socket_s(" + hex(static_cast<unsigned>(domain)) + ", " + hex(static_cast<unsigned>(type)) + ", " +
              hex(static_cast<unsigned>(protocol)) + ")");
    FAULT(socket_s, int)
    const int fd = open("/dev/null", 0);
    return fd < 0 ? fd : (fd | (kOwner << 16));
}

ssize_t read_s(int fd, void *buffer, size_t length) {
    FAULT(read_s, ssize_t)
    if (platform().onRead) {
        return platform().onRead(fd, buffer, length);
    }
    const auto fake = platform().fakeFds.find(fd & SAFEIO_KERNEL_FD_MASK);
    if (fake == platform().fakeFds.end()) {
        return read(fd & SAFEIO_KERNEL_FD_MASK, buffer, length);
    }
    const size_t count = fake->second.size() < length ? fake->second.size() : length;
    std::memcpy(buffer, fake->second.data(), count);
    fake->second.erase(0, count);
    return static_cast<ssize_t>(count);
}

ssize_t write_s(int fd, const void *buffer, size_t length) {
    FAULT(write_s, ssize_t)
    const int plain = fd & SAFEIO_KERNEL_FD_MASK;
    if (platform().fakeFds.count(plain) == 0) {
        return write(plain, buffer, length);
    }
    platform().written.emplace_back(static_cast<const char *>(buffer), length);
    return static_cast<ssize_t>(length);
}

int close_s(int fd) {
    keep_call("close_s(" + hex(static_cast<unsigned>(fd)) + ")");
    FAULT(close_s, int)
    const int plain = fd & SAFEIO_KERNEL_FD_MASK;
    return platform().fakeFds.count(plain) != 0 ? 0 : close(plain);
}

int fchmod_s(int fd, mode_t mode) {
    keep_call("fchmod_s(" + hex(mode) + ")");
    FAULT(fchmod_s, int)
    const int plain = fd & SAFEIO_KERNEL_FD_MASK;
    return platform().fakeFds.count(plain) != 0 ? 0 : fchmod(plain, mode);
}

int SetFdOwner(int fd, uint32_t module, uint32_t *owner) {
    keep_call("SetFdOwner(" + hex(module) + ")");
    FAULT(SetFdOwner, int)
    if (fd < 0) {
        return -1;
    }
    *owner = kOwner;
    return 0;
}

int safeio_fd_owner_assemble(int fd, uint32_t owner) {
    FAULT(safeio_fd_owner_assemble, int)
    if (fd < 0 || owner >= 0x8000) {
        return -1;
    }
    return fd | static_cast<int>(owner << 16);
}
}
