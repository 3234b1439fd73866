// The test kit's interface for C: the C++ doubles, with one set of libraries and queues for the process.
#include "orva_testing.h"

#include <algorithm>
#include <cstring>

#include "call_control.h"
#include "clock_double.h"
#include "library_double.h"
#include "platform_double.h"
#include "queue_double.h"

using namespace orva_test;

namespace {

Libraries g_libraries;
Queues g_queues;

const std::vector<std::string> &records(int kind) {
    return kind == ORVA_TESTING_LOGS ? platform().logs : platform().calls;
}

} // namespace

void orva_testing_reset(void) {
    reset_platform();
    g_libraries = {};
    g_queues = {};
}

void orva_testing_on_failure(void (*handler)(const char *text)) {
    set_failure_handler(handler);
}

void orva_testing_fail(const char *call, unsigned nth, int64_t result, int error) {
    fail(call, nth, result, error);
}

void orva_testing_fail_always(const char *call, int64_t result, int error) {
    fail_always(call, result, error);
}

unsigned orva_testing_calls_of(const char *call) {
    return calls_of(call);
}

size_t orva_testing_record_count(int kind) {
    return records(kind).size();
}

const char *orva_testing_record(int kind, size_t index) {
    return index < records(kind).size() ? records(kind)[index].c_str() : nullptr;
}

void orva_testing_forget_records(void) {
    platform().logs.clear();
    platform().formats.clear();
    platform().calls.clear();
}

size_t orva_testing_live_blocks(void) {
    return live_blocks();
}

void orva_testing_set_board(int what, int64_t value) {
    const auto answer = value < 0 ? std::nullopt : std::optional(static_cast<uint32_t>(value));
    switch (what) {
    case ORVA_TESTING_SLOT:
        platform().slot = answer;
        break;
    case ORVA_TESTING_BOARD_TYPE:
        platform().boardType = answer;
        break;
    case ORVA_TESTING_BACKPLANE_TYPE:
        platform().backplaneType = answer;
        break;
    default:
        report_failure("a board has no number " + std::to_string(what));
    }
}

void orva_testing_set_environment(const char *key, const char *value) {
    if (value == nullptr) {
        platform().environment.erase(key);
    } else {
        platform().environment[key] = value;
    }
}

void orva_testing_set_elabel(const char *label) {
    platform().elabel = label == nullptr ? std::nullopt : std::optional<std::string>(label);
}

void orva_testing_clock_stop(uint64_t seconds) {
    stop_clock(seconds);
}

void orva_testing_clock_step(uint64_t ms) {
    step_clock_ms(ms);
}

void orva_testing_add_symbol(const char *library, const char *symbol, void *address) {
    auto &symbols = g_libraries.present[library];
    if (symbol != nullptr) {
        symbols[symbol] = address;
    }
    g_libraries.install();
}

void orva_testing_use_queues(void) {
    g_queues.install();
}

int orva_testing_queue_put(int queueId, long type, const void *payload, size_t length) {
    const auto queue = g_queues.waiting.find(queueId);
    if (queue == g_queues.waiting.end()) {
        return -1;
    }
    queue->second.push_back({type, std::string(static_cast<const char *>(payload), length)});
    return 0;
}

int64_t orva_testing_queue_take(int queueId, long *type, void *payload, size_t size) {
    const auto queue = g_queues.waiting.find(queueId);
    if (queue == g_queues.waiting.end() || queue->second.empty()) {
        return -1;
    }
    const QueueMessage message = std::move(queue->second.front());
    queue->second.pop_front();
    if (type != nullptr) {
        *type = message.type;
    }
    std::memcpy(payload, message.payload.data(), std::min(size, message.payload.size()));
    return static_cast<int64_t>(message.payload.size());
}
