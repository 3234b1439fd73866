#include "orva_deadloop.h"

#include <dlfcn.h>
#include <map>
#include <string>
#include <vector>

#include "debug_sink.h"
#include "orva_debugging.h"
#include "platform_double.h"

namespace {

using namespace orva_test;
using Lines = std::vector<std::string>;

const char *const kQarl = "libqarl_sysdiag_agent_native.so";
const char *const kWendo = "libzebbase.so";

// What the fake base library was given, and what it answers.
std::uint32_t g_kind, g_result, g_registrations, g_checkResult, g_checks;
OrvaDeadLoopHook g_hook;

std::uint32_t fake_registration(std::uint32_t kind, OrvaDeadLoopHook *hook) {
    ++g_registrations;
    g_kind = kind;
    g_hook = *hook;
    return g_result;
}

std::uint32_t fake_check() {
    ++g_checks;
    return g_checkResult;
}

void fake_monitor() {}
int g_opers;

// The loader of the test: the libraries and symbols that are there, and the text of the last failure.
class DeadLoop : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        g_orvaQarlDeadLoop = {};
        g_orvaWendoDeadLoop = {};
        ORVA_DEBUG_SetLogSwitchOff(0);
        g_registrations = 0;
        g_checks = 0;
        libraries_ = {{kQarl, &libraries_}, {kWendo, &symbols_}};
        symbols_ = {{"QARL_RegDeadloopMonCallback", reinterpret_cast<void *>(fake_monitor)},
                    {"QARL_DmOpers", &g_opers},
                    {"QARL_CheckAndRepairDeadloop", reinterpret_cast<void *>(fake_check)},
                    {"ZEB_DeadLoopUsrHookReg", reinterpret_cast<void *>(fake_registration)}};
        libc().dlopen = [this](const char *name, int mode) -> void * {
            EXPECT_EQ(mode, RTLD_LAZY);
            opened_.emplace_back(name);
            return find(libraries_, name);
        };
        libc().dlsym = [this](void *, const char *symbol) { return find(symbols_, symbol); };
        libc().dlclose = [](void *) {
            ADD_FAILURE() << "nothing is closed";
            return 0;
        };
        libc().dlerror = [this]() -> char * {
            if (error_.empty() || !withReason_) {
                return nullptr;
            }
            reason_ = std::exchange(error_, "");
            return reason_.data();
        };
    }

    void *find(const std::map<std::string, void *> &table, const char *name) {
        const auto found = table.find(name);
        if (found == table.end()) {
            error_ = std::string("no ") + name;
            return nullptr;
        }
        return found->second;
    }

    static std::string process(const std::string &text) {
        return "PLog(0x3, orva, 0x10000, 0x2) " + text;
    }
    static std::string system(const std::string &text) {
        return "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]" + text;
    }

    std::map<std::string, void *> libraries_, symbols_;
    Lines opened_;
    std::string error_, reason_;
    bool withReason_ = true;
};

// The loader's text is lost with the next look-up, which a sink may make.
TEST_F(DeadLoop, EveryFailure_CopiesTheLoadersTextBeforeItLogs) {
    libraries_.erase(kWendo);
    std::size_t recordsBefore = 99;
    const auto dlerrorOfTest = libc().dlerror;
    libc().dlerror = [&, dlerrorOfTest] {
        recordsBefore = platform().logs.size();
        return dlerrorOfTest();
    };
    EXPECT_EQ(ORVA_GetWendoDeadLoopHandle(), nullptr);
    EXPECT_EQ(recordsBefore, 0u);
    reason_.assign(reason_.size(), 'x');
    EXPECT_EQ(take_logs(), (Lines{process("dlopen wendoBase so fail!"),
                                  process("dlopen wendoBase so fail for no libzebbase.so!")}));
}

TEST_F(DeadLoop, GetQarlDeadLoopHandle_OpensOnceAndKeepsTheHandle) {
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), &libraries_);
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), &libraries_);
    EXPECT_EQ(opened_, Lines{kQarl});
    EXPECT_EQ(g_orvaQarlDeadLoop.handle, &libraries_);
    EXPECT_EQ(g_orvaQarlDeadLoop.entry, nullptr);
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(DeadLoop, GetQarlDeadLoopHandle_TriesAgainAfterAFailure) {
    libraries_.erase(kQarl);
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), nullptr);
    const Lines expected = {system("dlopen qarldeadloop so fail!"),
                            system(std::string("dlopen qarldeadloop so fail for no ") + kQarl + "!")};
    EXPECT_EQ(take_logs(), expected);
    withReason_ = false;
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), nullptr);
    EXPECT_EQ(take_logs(), Lines{system("dlopen qarldeadloop so fail!")});
    libraries_[kQarl] = this;
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), this);
    EXPECT_EQ(opened_.size(), 3u);
}

TEST_F(DeadLoop, GatedRecords_GoToTheDebugOutputWhileTheGateIsOpen) {
    const auto debug = [](const std::string &text) {
        return "DebugSink(0x0, 0xce42011, NULL, 0xce4bc006) [Position: 0/3][ORVA_COMM]" + text;
    };
    platform().slot = 3;
    bind_debug_sink();
    ORVA_DEBUG_SetLogSwitchOn(0x10000, 0);
    g_checkResult = 0;
    ORVA_CheckAndRepairDeadloop();
    EXPECT_EQ(take_logs(), Lines{debug("deadloop check and repaire ret : 0x0")});
    symbols_.erase("QARL_CheckAndRepairDeadloop");
    ORVA_CheckAndRepairDeadloop();
    const Lines noSymbol = {debug("dlsym qarl deadloop check and repaire func return NULL!"),
                            debug("dlsym qarl deadloop check and repaire func for no QARL_CheckAndRepairDeadloop!")};
    EXPECT_EQ(take_logs(), noSymbol);
    libraries_.erase(kQarl);
    g_orvaQarlDeadLoop.handle = nullptr;
    EXPECT_EQ(ORVA_GetQarlDeadLoopHandle(), nullptr);
    const Lines noLibrary = {debug("dlopen qarldeadloop so fail!"),
                             debug(std::string("dlopen qarldeadloop so fail for no ") + kQarl + "!")};
    EXPECT_EQ(take_logs(), noLibrary);
}

TEST_F(DeadLoop, GetWendoDeadLoopHandle_LogsToTheProcessLog) {
    libraries_.erase(kWendo);
    EXPECT_EQ(ORVA_GetWendoDeadLoopHandle(), nullptr);
    const Lines expected = {process("dlopen wendoBase so fail!"),
                            process("dlopen wendoBase so fail for no libzebbase.so!")};
    EXPECT_EQ(take_logs(), expected);
    withReason_ = false;
    EXPECT_EQ(ORVA_GetWendoDeadLoopHandle(), nullptr);
    EXPECT_EQ(take_logs(), Lines{process("dlopen wendoBase so fail!")});
    libraries_[kWendo] = this;
    EXPECT_EQ(ORVA_GetWendoDeadLoopHandle(), this);
    EXPECT_EQ(ORVA_GetWendoDeadLoopHandle(), this);
    EXPECT_EQ(opened_.size(), 3u);
    EXPECT_EQ(g_orvaWendoDeadLoop.handle, this);
}

TEST_F(DeadLoop, GetQarlDeadLoopHookFunc_FillsTheRecord) {
    OrvaDeadLoopHook hook{this, this, this, this};
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookFunc(&hook), 0u);
    EXPECT_EQ(hook.regMonCallback, reinterpret_cast<void *>(fake_monitor));
    EXPECT_EQ(hook.dmOpers, &g_opers);
    EXPECT_EQ(hook.reserved1, nullptr);
    EXPECT_EQ(hook.reserved2, nullptr);
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookFunc(nullptr), 1u);
}

TEST_F(DeadLoop, GetQarlDeadLoopHookFunc_ReportsEachMissingSymbol) {
    struct Case {
        const char *symbol;
        const char *text;
    };
    constexpr Case kCases[] = {{"QARL_RegDeadloopMonCallback", "dlsym reg deadloop callback fail"},
                               {"QARL_DmOpers", "dlsym deadloop opers fail"}};
    for (const Case &row : kCases) {
        const auto saved = symbols_;
        symbols_.erase(row.symbol);
        OrvaDeadLoopHook hook{};
        for (const bool withReason : {true, false}) {
            withReason_ = withReason;
            EXPECT_EQ(ORVA_GetQarlDeadLoopHookFunc(&hook), 1u) << row.symbol;
            Lines expected = {process(std::string(row.text) + "!")};
            if (withReason) {
                expected.push_back(process(std::string(row.text) + " for no " + row.symbol + "!"));
            }
            EXPECT_EQ(take_logs(), expected);
        }
        symbols_ = saved;
    }
}

TEST_F(DeadLoop, GetQarlDeadLoopHookRegFunc_KeepsTheRegistrationEntry) {
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookRegFunc(), 0u);
    EXPECT_EQ(g_orvaWendoDeadLoop.entry, reinterpret_cast<void *>(fake_registration));
    symbols_.erase("ZEB_DeadLoopUsrHookReg");
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookRegFunc(), 1u);
    const Lines expected = {process("dlsym wendo deadloop usrHook reg fail!"),
                            process("dlsym wendo deadloop usrHook reg fail for no ZEB_DeadLoopUsrHookReg!")};
    EXPECT_EQ(take_logs(), expected);
    withReason_ = false;
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookRegFunc(), 1u);
    EXPECT_EQ(take_logs(), Lines{process("dlsym wendo deadloop usrHook reg fail!")});
    libraries_.erase(kWendo);
    g_orvaWendoDeadLoop.handle = nullptr;
    EXPECT_EQ(ORVA_GetQarlDeadLoopHookRegFunc(), 1u);
    EXPECT_EQ(take_logs(), Lines{process("dlopen wendoBase so fail!")});
}

TEST_F(DeadLoop, RegWendoDeadloop_PassesTheHook) {
    struct Case {
        std::uint32_t result;
        Lines logs;
    };
    const Case cases[] = {{0, {}},
                          {22, {process("ORVA RegWendoDeadloop: Input invalid.")}},
                          {1, {process("ORVA RegWendoDeadloop: Hook registerd by others.")}},
                          {5, {}}};
    std::uint32_t calls = 0;
    for (const Case &row : cases) {
        g_result = row.result;
        g_hook = {this, this, this, this};
        ORVA_RegWendoDeadloop();
        EXPECT_EQ(g_registrations, ++calls);
        EXPECT_EQ(g_kind, 1u);
        EXPECT_EQ(g_hook.regMonCallback, reinterpret_cast<void *>(fake_monitor));
        EXPECT_EQ(g_hook.dmOpers, &g_opers);
        EXPECT_EQ(g_hook.reserved1, nullptr);
        EXPECT_EQ(g_hook.reserved2, nullptr);
        EXPECT_EQ(take_logs(), row.logs) << row.result;
    }
}

TEST_F(DeadLoop, RegWendoDeadloop_StopsWithoutTheMonitor) {
    libraries_.clear();
    withReason_ = false;
    ORVA_RegWendoDeadloop();
    const Lines expected = {system("dlopen qarldeadloop so fail!"),
                            process("Get Qarl deadloop hook func, ret : 0x1")};
    EXPECT_EQ(take_logs(), expected);
    EXPECT_EQ(g_registrations, 0u);
    EXPECT_EQ(opened_, Lines{kQarl});
}

TEST_F(DeadLoop, RegWendoDeadloop_StopsWithoutTheBaseLibrary) {
    libraries_.erase(kWendo);
    withReason_ = false;
    ORVA_RegWendoDeadloop();
    const Lines expected = {process("dlopen wendoBase so fail!"),
                            process("Get Wendo deadloop hook reg func, ret : 0x1")};
    EXPECT_EQ(take_logs(), expected);
    EXPECT_EQ(g_registrations, 0u);
}

TEST_F(DeadLoop, CheckAndRepairDeadloop_LogsEveryResultAsAnError) {
    for (const std::uint32_t result : {0u, 1u, 0xABCDu}) {
        g_checkResult = result;
        ORVA_CheckAndRepairDeadloop();
        char text[64];
        std::snprintf(text, sizeof text, "deadloop check and repaire ret : 0x%x", result);
        EXPECT_EQ(take_logs(), Lines{system(text)});
    }
    EXPECT_EQ(g_checks, 3u);
    EXPECT_EQ(calls_of("dlsym"), 3u) << "looked up by every call";
    EXPECT_EQ(g_orvaQarlDeadLoop.entry, reinterpret_cast<void *>(fake_check));
}

TEST_F(DeadLoop, CheckAndRepairDeadloop_ReportsWhatIsMissing) {
    symbols_.erase("QARL_CheckAndRepairDeadloop");
    ORVA_CheckAndRepairDeadloop();
    const Lines expected = {system("dlsym qarl deadloop check and repaire func return NULL!"),
                            system("dlsym qarl deadloop check and repaire func for no QARL_CheckAndRepairDeadloop!")};
    EXPECT_EQ(take_logs(), expected);
    EXPECT_EQ(g_orvaQarlDeadLoop.entry, nullptr);
    withReason_ = false;
    ORVA_CheckAndRepairDeadloop();
    EXPECT_EQ(take_logs(), Lines{system("dlsym qarl deadloop check and repaire func return NULL!")});
    libraries_.clear();
    g_orvaQarlDeadLoop.handle = nullptr;
    ORVA_CheckAndRepairDeadloop();
    EXPECT_EQ(take_logs(), Lines{system("dlopen qarldeadloop so fail!")});
    EXPECT_EQ(g_checks, 0u);
}

} // namespace
