// A platform that breaks one statement of the port check, named by ORVA_CRIPPLE, and passes every other call on to
// the libraries after it. Preloaded before the host platform's.
#include "drv_basic.h"
#include "miro.h"
#include "orva_write_log.h"
#include "safeio.h"
#include "tova.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

bool breaks(std::string_view statement) {
    const char *named = std::getenv("ORVA_CRIPPLE");
    return named != nullptr && statement == named;
}

template <typename Function>
Function next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define NEXT(function) (next<decltype(&::function)>(#function))
#define CRIPPLED extern "C" __attribute__((visibility("default")))

constexpr std::size_t kShift = 8; // aligned for pointers, not for any scalar

} // namespace

// ---- Memory

CRIPPLED uint32_t MIRO_MemPtCreateEx(const char *name, const char *owner, void *start, const void *config,
                                     uint32_t size, uint8_t *number) {
    return breaks("memory-partition") ? 1 : NEXT(MIRO_MemPtCreateEx)(name, owner, start, config, size, number);
}

CRIPPLED uint32_t MIRO_MemDbgOptSet(uint8_t number, uint32_t option) {
    return breaks("memory-debug-option") ? 1 : NEXT(MIRO_MemDbgOptSet)(number, option);
}

CRIPPLED uint32_t MIRO_MemPtDelete(uint8_t number) {
    return breaks("memory-delete") ? 1 : NEXT(MIRO_MemPtDelete)(number);
}

CRIPPLED void *MIRO_MemAlloc_F(uint32_t handle, uint8_t partition, size_t size, const char *file, uint32_t line) {
    static char shared[4096];
    if (breaks("memory-growth") && size == 1024) {
        return nullptr; // the size that the case asks for again and again
    }
    if (breaks("memory-content") && size == 2997) {
        return shared + 16;
    }
    if (breaks("memory-content") && size == 2990) {
        return shared;
    }
    if (breaks("memory-alignment")) {
        auto *block = static_cast<char *>(NEXT(MIRO_MemAlloc_F)(handle, partition, size + kShift, file, line));
        return block != nullptr ? block + kShift : nullptr;
    }
    return NEXT(MIRO_MemAlloc_F)(handle, partition, size, file, line);
}

CRIPPLED uint32_t MIRO_MemFree_F(uint32_t handle, void *block, const char *file, uint32_t line) {
    if (breaks("memory-alignment")) {
        return NEXT(MIRO_MemFree_F)(handle, static_cast<char *>(block) - kShift, file, line);
    }
    const uint32_t code = NEXT(MIRO_MemFree_F)(handle, block, file, line);
    if (breaks("memory-foreign-free") && code != 0) {
        std::abort();
    }
    return breaks("memory-free") && code == 0 ? 1 : code;
}

// ---- Tasks, time, timers

CRIPPLED uint32_t MIRO_TaskCreate(const char *name, uint32_t *taskId, MIRO_TASK_ENTRY entry, uint32_t priority,
                                  uint32_t stackSize, uint32_t options, void *argument) {
    if (breaks("task-entry") && argument != nullptr) {
        entry(argument); // on the caller's thread
        return 0;
    }
    if (breaks("task-stack")) {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN)));
        struct Start {
            MIRO_TASK_ENTRY entry;
            void *argument;
        };
        pthread_t thread;
        const auto run = [](void *start) -> void * {
            const Start own = *static_cast<Start *>(start);
            own.entry(own.argument);
            return nullptr;
        };
        return static_cast<uint32_t>(pthread_create(&thread, &attributes, run, new Start{entry, argument}));
    }
    return NEXT(MIRO_TaskCreate)(name, taskId, entry, priority, stackSize, options, argument);
}

CRIPPLED uint32_t MIRO_SystimeGet(MIRO_SYSTIME *time) {
    const uint32_t code = NEXT(MIRO_SystimeGet)(time);
    time->year = static_cast<uint16_t>(time->year - (breaks("time-system") ? 1 : 0));
    return code;
}

CRIPPLED uint32_t MIRO_TzGmtGet(MIRO_ZONETIME *time) {
    return breaks("time-zone") ? 1 : NEXT(MIRO_TzGmtGet)(time);
}

CRIPPLED uint32_t MIRO_HandleInitialize(const char *name, uint32_t *module) {
    const uint32_t code = NEXT(MIRO_HandleInitialize)(name, module);
    *module = breaks("timer-module") ? 0 : *module;
    return code;
}

CRIPPLED uint32_t MIRO_ReltmrCbkStart(MIRO_TIMER_ID *timer, uint32_t module, uint32_t lengthMs, uint32_t param,
                                      void *argument, uint32_t mode, MIRO_TIMER_CALLBACK callback) {
    if (breaks("timer-module")) {
        NEXT(MIRO_HandleInitialize)("crippled", &module); // a handle that the real timers take
    }
    if (breaks("timer-overlap")) {
        for (int i = 0; i < 4; ++i) {
            std::thread([callback] {
                for (;;) {
                    callback();
                    usleep(5000);
                }
            }).detach();
        }
        return 0;
    }
    // The overlap case has the shorter timer: that one goes on.
    const bool once = breaks("timer-periodic") && lengthMs == 10;
    return NEXT(MIRO_ReltmrCbkStart)(timer, module, lengthMs, param, argument, once ? MIRO_TIMER_ONCE : mode,
                                     callback);
}

CRIPPLED void MIRO_DeadLoopTaskCheckEnd(void) {
    while (breaks("dead-loop-brackets")) {
        pause();
    }
    NEXT(MIRO_DeadLoopTaskCheckEnd)();
}

CRIPPLED uint32_t MIRO_Unzip(const char *zipFile, const char *dstPath, uint32_t option) {
    return breaks("unzip") ? 0 : NEXT(MIRO_Unzip)(zipFile, dstPath, option);
}

// ---- Trees

namespace {

thread_local int t_comparisons = 0;
thread_local MIRO_AVL_COMPARE t_compare = nullptr;

int32_t compare_copies(const void *a, const void *b) {
    const uint32_t copies[] = {*static_cast<const uint32_t *>(a), *static_cast<const uint32_t *>(b)};
    ++t_comparisons;
    return t_compare(copies, copies + 1);
}

bool g_foreign_change = false;         // the changing tree of the case is between two states
const MIRO_AVL_TREE *g_tree = nullptr; // that had the latest insertion

} // namespace

CRIPPLED void *MIRO_AVL_Find(MIRO_AVL_TREE *tree, const void *key) {
    void *found = NEXT(MIRO_AVL_Find)(tree, key);
    if (breaks("tree-find") && found == nullptr) {
        return tree->first != nullptr && *static_cast<const uint32_t *>(key) == 5 ? tree->first->self : nullptr;
    }
    if (breaks("tree-lookup-reads") && found != nullptr) {
        ++tree->root->leftHeight;
    }
    return breaks("tree-side-by-side") && __atomic_load_n(&g_foreign_change, __ATOMIC_RELAXED) ? nullptr : found;
}

CRIPPLED void *MIRO_AVL_Insert_Or_Find(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    if (breaks("tree-key")) {
        t_compare = tree->compare;
        tree->compare = compare_copies;
        void *result = NEXT(MIRO_AVL_Insert_Or_Find)(tree, node);
        tree->compare = t_compare;
        return result;
    }
    g_tree = tree;
    void *result = NEXT(MIRO_AVL_Insert_Or_Find)(tree, node);
    if (breaks("tree-insert") && result == nullptr && *static_cast<uint32_t *>(node->key) == 5) {
        return node->self;
    }
    return breaks("tree-equal-key") && result != nullptr ? node->self : result;
}

CRIPPLED void MIRO_AVL_Delete(MIRO_AVL_TREE *tree, MIRO_AVL_NODE *node) {
    const uint32_t key = *static_cast<uint32_t *>(node->key);
    if (breaks("tree-delete") && key == 700 && *static_cast<uint32_t *>(tree->first->key) == 0) {
        return;
    }
    if (breaks("tree-side-by-side")) {
        // Only the changing tree of the case loses and gets a key again and again.
        __atomic_store_n(&g_foreign_change, g_foreign_change || key == 30, __ATOMIC_RELAXED);
    }
    NEXT(MIRO_AVL_Delete)(tree, node);
    if (breaks("tree-ends") && tree->root == nullptr) {
        tree->last = node;
    }
}

CRIPPLED void *MIRO_AVL_Next(MIRO_AVL_NODE *node) {
    if (breaks("tree-order") && *static_cast<uint32_t *>(node->key) == 1980) {
        return nullptr; // the last but one
    }
    if (breaks("tree-next-alone") && g_tree->root == nullptr) {
        return nullptr; // asks the tree, which is gone
    }
    return NEXT(MIRO_AVL_Next)(node);
}

// ---- Log sinks: what is not broken succeeds without a word.

CRIPPLED uint32_t TOVA_PLogByProcName(uint32_t, const char *, uint32_t, uint32_t, const char *, ...) {
    return breaks("log-process") ? 1 : 0;
}

CRIPPLED uint32_t TOVA_DLog(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, const char *, ...) {
    if (breaks("log-any-thread") && gettid() != getpid()) {
        std::abort();
    }
    return breaks("log-diagnostic") ? 1 : 0;
}

CRIPPLED uint32_t TOVA_SecurityEventLog(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, const char *, ...) {
    return breaks("log-security") ? 1 : 0;
}

CRIPPLED uint32_t TOVA_LifeCycleLog(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, const char *, ...) {
    return breaks("log-life-cycle") ? 1 : 0;
}

CRIPPLED uint32_t ORVA_WriteLog(uint32_t, uint32_t, const char *, ...) {
    return breaks("log-system") ? 0 : 1;
}

// ---- Driver layer

CRIPPLED uint32_t drv_env_get(const char *key, char *buffer, uint32_t bufferLen) {
    if (breaks("driver-environment")) {
        std::memset(buffer, 'x', bufferLen);
        return 0;
    }
    return NEXT(drv_env_get)(key, buffer, bufferLen);
}

CRIPPLED uint32_t drv_elabel_read(uint32_t slot, uint32_t index, char *buffer, uint32_t bufferLen) {
    if (breaks("driver-label")) {
        std::memset(buffer, 'x', bufferLen + 1);
        return 0;
    }
    return NEXT(drv_elabel_read)(slot, index, buffer, bufferLen);
}

CRIPPLED uint32_t drv_board_get_self_logic_slotid(uint32_t *slot) {
    *slot = 31;
    return breaks("driver-slot") ? 0 : NEXT(drv_board_get_self_logic_slotid)(slot);
}

CRIPPLED uint32_t drv_backplane_get_type(uint32_t *type) {
    return breaks("driver-types") ? 1 : NEXT(drv_backplane_get_type)(type);
}

// ---- Safe I/O

CRIPPLED int memcpy_s(void *dst, size_t dstSize, const void *src, size_t count) {
    const int error = NEXT(memcpy_s)(dst, dstSize, src, count);
    if (breaks("copy-memory") && error != 0 && dst != nullptr && dstSize != 0) {
        *static_cast<char *>(dst) = '\0';
    }
    return error;
}

CRIPPLED int memset_s(void *dst, size_t dstSize, int value, size_t count) {
    const int error = NEXT(memset_s)(dst, dstSize, value, count);
    return breaks("fill-memory") ? 0 : error;
}

CRIPPLED int strcpy_s(char *dst, size_t dstSize, const char *src) {
    const int error = NEXT(strcpy_s)(dst, dstSize, src);
    *dst = breaks("copy-text") && error != 0 ? '#' : *dst;
    return error;
}

CRIPPLED int strncpy_s(char *dst, size_t dstSize, const char *src, size_t count) {
    const int error = NEXT(strncpy_s)(dst, dstSize, src, count);
    *dst = breaks("copy-counted-text") && error != 0 ? '#' : *dst;
    return error;
}

CRIPPLED int strcat_s(char *dst, size_t dstSize, const char *src) {
    const int error = NEXT(strcat_s)(dst, dstSize, src);
    return breaks("append-text") ? 0 : error;
}

CRIPPLED int sprintf_s(char *dst, size_t dstSize, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    int length = std::vsnprintf(dst, dstSize, format, arguments);
    va_end(arguments);
    if (length >= static_cast<int>(dstSize) && !breaks("format-text")) {
        *dst = '\0';
        length = -1;
    }
    return length;
}

CRIPPLED int snprintf_s(char *dst, size_t dstSize, size_t count, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = next<decltype(&::vsnprintf_s)>("vsnprintf_s")(dst, dstSize, count, format, arguments);
    va_end(arguments);
    return breaks("format-counted") && length == static_cast<int>(count) ? -1 : length;
}

CRIPPLED int vsnprintf_s(char *dst, size_t dstSize, size_t count, const char *format, std::va_list arguments) {
    const int length = NEXT(vsnprintf_s)(dst, dstSize, count, format, arguments);
    return breaks("format-arguments") && length == static_cast<int>(count) ? -1 : length;
}

CRIPPLED int sscanf_s(const char *text, const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int count = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return breaks("scan-text") && count > 0 ? 1 : count;
}

namespace {

// Refuses tracked descriptors where the statement is broken.
bool refuses(std::string_view statement, int fd) {
    if (!breaks(statement) || fd <= SAFEIO_KERNEL_FD_MASK) {
        return false;
    }
    errno = EBADF;
    return true;
}

} // namespace

CRIPPLED int pipe_s(int fds[2]) {
    const int result = NEXT(pipe_s)(fds);
    fds[0] |= breaks("descriptor-pipe") ? SAFEIO_KERNEL_FD_MASK + 1 : 0;
    return result;
}

CRIPPLED int socket_s(int domain, int type, int protocol) {
    const int fd = NEXT(socket_s)(domain, type, protocol);
    return breaks("descriptor-socket") ? fd & SAFEIO_KERNEL_FD_MASK : fd;
}

CRIPPLED int SetFdOwner(int fd, uint32_t module, uint32_t *owner) {
    const int result = NEXT(SetFdOwner)(fd, module, owner);
    return breaks("descriptor-owner") ? 0 : result;
}

CRIPPLED int safeio_fd_owner_assemble(int fd, uint32_t owner) {
    return NEXT(safeio_fd_owner_assemble)(fd, breaks("descriptor-assemble") ? owner * 2 : owner);
}

CRIPPLED ssize_t read_s(int fd, void *buffer, size_t length) {
    return refuses("descriptor-read", fd) ? -1 : NEXT(read_s)(fd, buffer, length);
}

CRIPPLED ssize_t write_s(int fd, const void *buffer, size_t length) {
    return refuses("descriptor-write", fd) ? -1 : NEXT(write_s)(fd, buffer, length);
}

CRIPPLED int close_s(int fd) {
    return refuses("descriptor-close", fd) ? -1 : NEXT(close_s)(fd);
}

CRIPPLED int fchmod_s(int fd, mode_t mode) {
    return refuses("descriptor-mode", fd) ? -1 : NEXT(fchmod_s)(fd, mode);
}
