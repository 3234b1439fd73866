// Counting and fault injection shared by the platform double and the wrapped C library calls.
//
//   fail("msgget", 2, -1, EACCES);      the 2nd call from now on fails with result -1 and errno EACCES
//   fail_always("drv_env_get", 7);      every call fails with result 7
//   calls_of("msgget")                  how often it was called since the last reset
#ifndef ORVA_CALL_CONTROL_H
#define ORVA_CALL_CONTROL_H

#include <atomic>
#include <cstdint>
#include <string>
#include <type_traits>

namespace orva_test {

struct CallState {
    const char *name = nullptr;
    std::atomic<unsigned> count{0};
    std::atomic<unsigned> failNth{0}; // counted from the call of fail(); 0 = none
    std::atomic<bool> always{false};
    std::int64_t result = 0;
    int error = 0;
    CallState *next = nullptr;
};

// Every controlled call is known by its name; unknown names fail the test.
void register_call(CallState &state, const char *name);
void fail(const char *name, unsigned nth, std::int64_t result, int error = 0);
void fail_always(const char *name, std::int64_t result, int error = 0);
unsigned calls_of(const char *name);
void reset_calls();

// What the kit finds wrong goes to the handler: a double free, a write past a block, an unknown name of a call.
// Without one it is printed on the standard error and the process aborts.
void set_failure_handler(void (*handler)(const char *text));
void report_failure(const std::string &text);

// True when this call is to fail; errno is set then.
bool take_fault(CallState &state);

template <typename Result>
Result fault_result(const CallState &state) {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(static_cast<std::uintptr_t>(state.result));
    } else if constexpr (!std::is_void_v<Result>) {
        return static_cast<Result>(state.result);
    }
}

} // namespace orva_test

#endif
