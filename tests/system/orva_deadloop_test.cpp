// The dead-loop hooks with every combination of the two optional libraries, each in a process of its own.
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "system_support.h"

namespace {

using namespace orva_test;
namespace fs = std::filesystem;

constexpr char kQarl[] = "libqarl_sysdiag_agent_native.so";
constexpr char kWendo[] = "libzebbase.so";
const std::string kBuild = ORVA_TEST_BINARY_DIR;
const std::string kWhole = ORVA_TEST_LIBRARY_DIR;
const std::string kCrippled = kBuild + "/crippled_libs";

struct Case {
    const char *name;
    std::string qarl;   // folder of the system-diagnosis agent, empty: none
    std::string wendo;  // folder of the base library, empty: none
    std::string result; // of the registration, empty: the library's own
    const char *known;
    std::vector<std::string> texts;   // what the logs hold
    std::vector<std::string> without; // and what not
};

void PrintTo(const Case &row, std::ostream *out) {
    *out << row.name;
}

class DeadLoopSystem : public ::testing::TestWithParam<Case> {};

std::string all_logs(const ScratchFolder &folder) {
    std::string text;
    for (const auto &entry : fs::recursive_directory_iterator(folder.path())) {
        if (entry.is_regular_file()) {
            text += read_file(entry.path());
        }
    }
    return text;
}

TEST_P(DeadLoopSystem, RegisterAndCheck_DegradeToWhatIsThere) {
    const Case &row = GetParam();
    const ScratchFolder libraries;
    const ScratchFolder logs;
    const std::string trace = libraries.file("trace.log");
    if (!row.qarl.empty()) {
        fs::create_symlink(row.qarl + "/" + kQarl, libraries.file(kQarl));
    }
    if (!row.wendo.empty()) {
        fs::create_symlink(row.wendo + "/" + kWendo, libraries.file(kWendo));
    }
    std::vector<std::string> environment = {"LD_LIBRARY_PATH=" + libraries.path(), "ORVA_HOST_LOG_DIR=" + logs.path(),
                                            "ORVA_HOST_DEADLOOP_LOG=" + trace};
    if (!row.result.empty()) {
        environment.push_back("ORVA_HOST_ZEB_RESULT=" + row.result);
    }
    const ProgramResult run =
        run_program({kBuild + "/tests/system/programs/deadloop_program"}, environment, libraries.path());
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find(row.known), std::string::npos) << run.output;
    const std::string text = all_logs(logs);
    for (const std::string &wanted : row.texts) {
        EXPECT_NE(text.find(wanted), std::string::npos) << wanted << "\nin\n" << text;
    }
    for (const std::string &unwanted : row.without) {
        EXPECT_EQ(text.find(unwanted), std::string::npos) << unwanted << "\nin\n" << text;
    }
}

std::string case_name(const ::testing::TestParamInfo<Case> &row) {
    return row.param.name;
}

const std::vector<std::string> kNoFailure = {"deadloop hook func, ret", "hook reg func, ret", "fail!", "RegWendo"};

INSTANTIATE_TEST_SUITE_P(
    Combinations, DeadLoopSystem,
    ::testing::Values(
        Case{"none",
             "",
             "",
             "",
             "qarl missing none, wendo missing none",
             {"[ORVA_COMM][ORVA_LEVEL_ERR]dlopen qarldeadloop so fail!",
              "[ORVA_COMM][ORVA_LEVEL_ERR]dlopen qarldeadloop so fail for libqarl_sysdiag_agent_native.so: cannot "
              "open",
              "Get Qarl deadloop hook func, ret : 0x1"},
             {"wendoBase", "ret : 0x0"}},
        Case{"only_the_base_library",
             "",
             kWhole,
             "",
             "qarl missing none, wendo missing none",
             {"[ORVA_COMM][ORVA_LEVEL_ERR]dlopen qarldeadloop so fail!", "Get Qarl deadloop hook func, ret : 0x1"},
             {"wendoBase"}},
        Case{"only_the_agent",
             kWhole,
             "",
             "",
             "qarl open found, wendo missing none",
             {"dlopen wendoBase so fail!", "dlopen wendoBase so fail for libzebbase.so: cannot open",
              "Get Wendo deadloop hook reg func, ret : 0x1",
              "[ORVA_COMM][ORVA_LEVEL_ERR]deadloop check and repaire ret : 0x0"},
             {"qarldeadloop so fail"}},
        Case{"both",
             kWhole,
             kWhole,
             "",
             "qarl open found, wendo open found",
             {"[ORVA_COMM][ORVA_LEVEL_ERR]deadloop check and repaire ret : 0x0"},
             kNoFailure},
        Case{"registration_gives_0", kWhole, kWhole, "0", "wendo open found", {"repaire ret : 0x0"}, kNoFailure},
        Case{"registration_gives_1",
             kWhole,
             kWhole,
             "1",
             "wendo open found",
             {"ORVA RegWendoDeadloop: Hook registerd by others."},
             {"Input invalid"}},
        Case{"registration_gives_22",
             kWhole,
             kWhole,
             "22",
             "wendo open found",
             {"ORVA RegWendoDeadloop: Input invalid."},
             {"registerd by others"}},
        Case{"registration_gives_5", kWhole, kWhole, "5", "wendo open found", {"repaire ret : 0x0"}, kNoFailure},
        Case{"agent_without_callback",
             kCrippled + "/no_callback",
             kWhole,
             "",
             "qarl open found, wendo missing none",
             {"dlsym reg deadloop callback fail!", "dlsym reg deadloop callback fail for ",
              "undefined symbol: QARL_RegDeadloopMonCallback", "Get Qarl deadloop hook func, ret : 0x1"},
             {"opers fail"}},
        Case{"agent_without_operations",
             kCrippled + "/no_opers",
             kWhole,
             "",
             "qarl open found, wendo missing none",
             {"dlsym deadloop opers fail!", "dlsym deadloop opers fail for ", "undefined symbol: QARL_DmOpers",
              "Get Qarl deadloop hook func, ret : 0x1"},
             {"callback fail"}},
        Case{"agent_without_check",
             kCrippled + "/no_check",
             "",
             "",
             "qarl open none, wendo missing none",
             {"[ORVA_COMM][ORVA_LEVEL_ERR]dlsym qarl deadloop check and repaire func return NULL!",
              "[ORVA_COMM][ORVA_LEVEL_ERR]dlsym qarl deadloop check and repaire func for "},
             {"repaire ret"}},
        Case{"base_library_without_registration",
             kWhole,
             kCrippled + "/no_registration",
             "",
             "qarl open found, wendo open none",
             {"dlsym wendo deadloop usrHook reg fail!", "dlsym wendo deadloop usrHook reg fail for ",
              "Get Wendo deadloop hook reg func, ret : 0x1"},
             {"wendoBase"}}),
    case_name);

} // namespace
