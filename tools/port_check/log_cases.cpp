// Log sinks and the driver layer.
#include "port_check.h"

#include <array>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace port_check {

namespace {

constexpr std::uint32_t kInfoId = 0xCE41001;

void process_log() {
    require(PORT_CHECK_IMPORT(TOVA_PLogByProcName)(1, "orva", 8, 1, "port check %d", 1) == 0,
            "TOVA_PLogByProcName fails");
}

void diagnostic_log() {
    require(PORT_CHECK_IMPORT(TOVA_DLog)(0, kInfoId, 3, 0, 0, "port check %u %s", 1u, "x") == 0, "TOVA_DLog fails");
}

void security_log() {
    require(PORT_CHECK_IMPORT(TOVA_SecurityEventLog)(0, 0xCE41018, 0, 0, 0, "port check") == 0,
            "TOVA_SecurityEventLog fails");
}

void life_cycle_log() {
    require(PORT_CHECK_IMPORT(TOVA_LifeCycleLog)(0, 0xCE4102C, 0, 0, 0, "port check") == 0,
            "TOVA_LifeCycleLog fails");
}

void system_log() {
    require(PORT_CHECK_IMPORT(ORVA_WriteLog)(0x10000, 2, "port check, f=%s, l=%u", "x", 1u) != 0,
            "ORVA_WriteLog gives 0");
}

void any_thread() {
    const auto log = PORT_CHECK_IMPORT(TOVA_DLog);
    std::atomic<int> ended{0};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (unsigned i = 0; i < 20; ++i) {
                log(0, kInfoId, 3, thread, i, "port check");
            }
            ++ended;
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    require(ended == 8, "a thread did not come back");
}

// A buffer with known bytes after the part that a call is given.
struct Guarded {
    static constexpr std::uint32_t kGiven = 64;
    std::array<char, 128> bytes{};

    Guarded() {
        std::memset(bytes.data() + kGiven, 0x5A, bytes.size() - kGiven);
    }
    bool has_end() const {
        return std::memchr(bytes.data(), '\0', kGiven) != nullptr;
    }
    bool overrun() const {
        for (std::size_t i = kGiven; i < bytes.size(); ++i) {
            if (bytes[i] != 0x5A) {
                return true;
            }
        }
        return false;
    }
};

void environment() {
    const auto get = PORT_CHECK_IMPORT(drv_env_get);
    for (const char *key : {"product_service_type", "product_family_type", "chassisid", "stackid", "stkenv_enable",
                            "cpu_id", "slotid", "ACT_MPU", "no such key"}) {
        Guarded value;
        const std::uint32_t code = get(key, value.bytes.data(), Guarded::kGiven);
        require(!value.overrun(), std::string(key) + " is written beyond the buffer");
        require(code != 0 || value.has_end(), std::string(key) + " has no terminating zero");
    }
}

void label() {
    Guarded text;
    const std::uint32_t code =
        PORT_CHECK_IMPORT(drv_elabel_read)(DRV_SELF_BOARD, 0, text.bytes.data(), Guarded::kGiven);
    require(!text.overrun(), "the label is written beyond the buffer");
    require(code != 0 || text.has_end(), "the label has no terminating zero");
}

void slot() {
    constexpr std::uint32_t kLastSlot = 30;
    std::uint32_t slot_number = 0xFFFFFFFF;
    const std::uint32_t code = PORT_CHECK_IMPORT(drv_board_get_self_logic_slotid)(&slot_number);
    require(code != 0 || slot_number <= kLastSlot, "the slot is " + std::to_string(slot_number));
}

void board_types() {
    std::uint32_t type = 0;
    require(PORT_CHECK_IMPORT(drv_board_get_type)(DRV_SELF_BOARD, &type) == 0, "the own board has no type");
    require(PORT_CHECK_IMPORT(drv_backplane_get_type)(&type) == 0, "the backplane has no type");
}

constexpr Case kCases[] = {
    {"log-process", "TOVA_PLogByProcName takes a record of the library", process_log},
    {"log-diagnostic", "TOVA_DLog returns 0 on success", diagnostic_log},
    {"log-security", "TOVA_SecurityEventLog returns 0 on success", security_log},
    {"log-life-cycle", "TOVA_LifeCycleLog returns 0 on success", life_cycle_log},
    {"log-system", "ORVA_WriteLog returns non-zero", system_log},
    {"log-any-thread", "a sink may be called from any thread", any_thread},
    {"driver-environment", "drv_env_get stores zero-terminated text within the buffer", environment},
    {"driver-label", "drv_elabel_read stores zero-terminated text within the buffer", label},
    {"driver-slot", "the own slot is 0 to 30, or the query fails", slot},
    {"driver-types", "the own board and the backplane have a type", board_types},
};

} // namespace

std::span<const Case> log_cases() {
    return kCases;
}

} // namespace port_check
