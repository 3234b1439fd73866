#include "runtime.h"

#include "board/board_folder.h"
#include "wire/message_bodies.h"

#include "drv_basic_host.h"
#include "miro_host.h"
#include "orva_comm.h"
#include "orva_deadloop.h"
#include "orva_drvadp_comm.h"
#include "orva_imlib.h"
#include "tova_host.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <system_error>

namespace chassis {

namespace {

constexpr const char *kInterfaceManager = "libim_agent.so";
constexpr std::array kOptionalLibraries = {kInterfaceManager, "libzebbase.so", "libqarl_sysdiag_agent_native.so"};

void direct_logs(const std::string &process_name) {
    TovaHostConfig config{};
    config.folder = "log";
    config.processName = process_name.c_str();
    if (TOVA_HostStart(&config) != TOVA_HOST_OK) {
        throw std::runtime_error("the log folder cannot be used");
    }
}

void load_board() {
    const std::string file = description_file(".").string();
    if (DRV_HostLoadBoard(file.c_str()) != 0) {
        throw std::runtime_error("the board description cannot be used");
    }
}

} // namespace

Descriptor take_signals(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : signals) {
        sigaddset(&set, number);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    Descriptor descriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
    if (descriptor.get() < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

int next_signal(const Descriptor &signals) {
    signalfd_siginfo info{};
    const ssize_t count = read(signals.get(), &info, sizeof info);
    return count == sizeof info ? static_cast<int>(info.ssi_signo) : 0;
}

void load_optional_libraries() {
    for (const char *name : kOptionalLibraries) {
        dlopen(name, RTLD_LAZY); // stays open
    }
}

void start_runtime(const std::filesystem::path &folder, const std::string &process_name) {
    std::filesystem::current_path(folder);
    direct_logs(process_name);
    load_board();
    std::uint32_t memory = 0;
    MIRO_HostStart(nullptr, &memory);
    ORVA_SetMemHandle(memory);
    if (ORVA_CreateMemPt() != ORVA_OK) {
        throw std::runtime_error("the memory partition cannot be made");
    }
    ORVA_SetSingleProcess(1); // queues are then keyed by the working folder
    std::uint32_t chassis_id = 0;
    ORVA_DRVADP_GetChassisIdFromEnv(&chassis_id);
    ORVA_DRVADP_SetSelfChassisVar(chassis_id);
    ORVA_DRVADP_GetSelfSlotVar();
    setenv("ORVA_HOST_DEADLOOP_LOG", dead_loop_log(folder).c_str(), 1);
    ORVA_RegWendoDeadloop();
    setenv("ORVA_HOST_IM_LOG", interface_manager_log(folder).c_str(), 1);
    ORVA_SetImlibIpConfigInPnf(kInterfaceManager, 0, process_name.c_str(), 0);
}

void start_manager(const std::filesystem::path &run_folder) {
    const auto folder = board_folder(run_folder, kMainSlot);
    const std::array<SlotType, 1> own = {{{kMainSlot, default_type(kMainSlot)}}};
    make_board_folder(folder, own.front(), own);
    load_optional_libraries();
    start_runtime(folder, "manager");
}

} // namespace chassis
