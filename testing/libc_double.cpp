#include "libc_double.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "call_control.h"

namespace orva_test {

namespace {

CallState *g_states = nullptr;
void (*g_failureHandler)(const char *text) = nullptr;

CallState *find_call(const char *name) {
    for (CallState *state = g_states; state != nullptr; state = state->next) {
        if (std::strcmp(state->name, name) == 0) {
            return state;
        }
    }
    report_failure(std::string("no controlled call is named ") + name);
    return nullptr;
}

} // namespace

void set_failure_handler(void (*handler)(const char *text)) {
    g_failureHandler = handler;
}

void report_failure(const std::string &text) {
    if (g_failureHandler != nullptr) {
        g_failureHandler(text.c_str());
        return;
    }
    std::fprintf(stderr, "orva_comm_testing: %s\n", text.c_str());
    std::abort();
}

void register_call(CallState &state, const char *name) {
    state.name = name;
    state.next = g_states;
    g_states = &state;
}

void fail(const char *name, unsigned nth, std::int64_t result, int error) {
    if (CallState *state = find_call(name)) {
        state->result = result;
        state->error = error;
        state->failNth = nth;
    }
}

void fail_always(const char *name, std::int64_t result, int error) {
    if (CallState *state = find_call(name)) {
        state->result = result;
        state->error = error;
        state->always = true;
    }
}

unsigned calls_of(const char *name) {
    const CallState *state = find_call(name);
    return state == nullptr ? 0 : state->count.load();
}

void reset_calls() {
    for (CallState *state = g_states; state != nullptr; state = state->next) {
        state->count = 0;
        state->failNth = 0;
        state->always = false;
    }
    libc() = LibcHooks{};
}

bool take_fault(CallState &state) {
    state.count.fetch_add(1);
    bool fails = state.always;
    unsigned left = state.failNth;
    while (left > 0 && !state.failNth.compare_exchange_weak(left, left - 1)) {
    }
    fails = fails || left == 1;
    if (fails) {
        errno = state.error;
    }
    return fails;
}

LibcHooks &libc() {
    static LibcHooks *const hooks = new LibcHooks;
    return *hooks;
}

} // namespace orva_test

using namespace orva_test;

// Sanitizers that are linked in statically call wrapped functions (dlsym) before anything is set up: until the calls
// are registered each goes straight through, by code that is not instrumented.
#define PLAIN_CODE __attribute__((no_sanitize("address"), no_sanitize("thread"), no_sanitize("undefined")))
static volatile bool g_ready = false; // volatile: set while the program starts, never before

#define X(result, name, parameters, arguments)                                                                       \
    static CallState state_of_##name;                                                                                \
    [[maybe_unused]] static const bool registered_##name = (register_call(state_of_##name, #name), true);            \
    extern "C" result __real_##name parameters;                                                                      \
    extern "C" result __wrap_##name parameters;                                                                      \
    extern "C" PLAIN_CODE result __wrap_##name parameters {                                                          \
        if (!g_ready) {                                                                                              \
            return __real_##name arguments;                                                                          \
        }                                                                                                            \
        if (take_fault(state_of_##name)) {                                                                           \
            return fault_result<result>(state_of_##name);                                                            \
        }                                                                                                            \
        if (libc().name) {                                                                                           \
            return libc().name arguments;                                                                            \
        }                                                                                                            \
        return __real_##name arguments;                                                                              \
    }
ORVA_LIBC_CALLS(X)
#undef X

#define X(result, name, parameters, arguments)                                                                       \
    static CallState state_of_##name;                                                                                \
    [[maybe_unused]] static const bool registered_##name = (register_call(state_of_##name, #name), true);
ORVA_LIBC_VARIADIC_CALLS(X)
#undef X

extern "C" {

int __real_open(const char *path, int flags, ...);
int __real_fcntl(int fd, int command, ...);
int __real_ioctl(int fd, unsigned long request, ...);
int __wrap_open(const char *path, int flags, ...);
int __wrap_fcntl(int fd, int command, ...);
int __wrap_ioctl(int fd, unsigned long request, ...);
int __wrap_fprintf(FILE *file, const char *format, ...);

int __wrap_open(const char *path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = va_arg(args, mode_t);
    va_end(args);
    if (take_fault(state_of_open)) {
        return fault_result<int>(state_of_open);
    }
    return libc().open ? libc().open(path, flags, mode) : __real_open(path, flags, mode);
}

int __wrap_fcntl(int fd, int command, ...) {
    va_list args;
    va_start(args, command);
    const long argument = va_arg(args, long);
    va_end(args);
    if (take_fault(state_of_fcntl)) {
        return fault_result<int>(state_of_fcntl);
    }
    return libc().fcntl ? libc().fcntl(fd, command, argument) : __real_fcntl(fd, command, argument);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list args;
    va_start(args, request);
    void *const argument = va_arg(args, void *);
    va_end(args);
    if (take_fault(state_of_ioctl)) {
        return fault_result<int>(state_of_ioctl);
    }
    return libc().ioctl ? libc().ioctl(fd, request, argument) : __real_ioctl(fd, request, argument);
}

int __wrap_fprintf(FILE *file, const char *format, ...) {
    va_list args;
    va_start(args, format);
    char *text = nullptr;
    int result = vasprintf(&text, format, args);
    va_end(args);
    if (take_fault(state_of_fprintf)) {
        result = fault_result<int>(state_of_fprintf);
    } else if (libc().fprintf) {
        result = libc().fprintf(file, text);
    } else {
        result = static_cast<int>(__real_fwrite(text, 1, static_cast<size_t>(result), file));
    }
    std::free(text);
    return result;
}
}

// The last initialiser of the file.
[[maybe_unused]] static const bool made_ready = [] {
    g_ready = true;
    return true;
}();
