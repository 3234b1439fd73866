// The host's driver layer with real description files: every query, every fault of a file, several threads.
#include "drv_basic.h"
#include "drv_basic_host.h"
#include "orva_drvadp_comm.h"
#include "system_support.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using orva_test::in_child;
using orva_test::read_file;
using orva_test::run_in_child;
using orva_test::ScratchFolder;
using orva_test::standard_error_to;
using orva_test::write_file;

constexpr uint32_t kUntouched = 0xA5A5A5A5;

std::string environment(const char *key) {
    char text[256] = "unset";
    const uint32_t result = drv_env_get(key, text, sizeof text);
    return result == 0 ? text : "failed " + std::to_string(result);
}

std::string label(uint32_t slot, uint32_t index) {
    char text[2048] = "unset";
    const uint32_t result = drv_elabel_read(slot, index, text, sizeof text);
    return result == 0 ? text : "failed " + std::to_string(result);
}

std::string failure_text(uint32_t result) {
    return "failed " + std::to_string(result);
}

std::string description_error() {
    char text[512] = "";
    EXPECT_EQ(DRV_HostDescriptionError(text, sizeof text), 0u);
    return text;
}

uint32_t load(const std::string &text) {
    return DRV_HostLoadBoardText("b.toml", text.data(), text.size());
}

std::string sample(const char *name) {
    return std::string(ORVA_TEST_SOURCE_DIR "/platform/host/drv_basic/boards/") + name;
}

void expect_every_query_fails(uint32_t slot_result, uint32_t type_result, uint32_t backplane_result,
                              const std::string &environment_result, const std::string &label_result) {
    uint32_t word = kUntouched;
    EXPECT_EQ(drv_board_get_self_logic_slotid(&word), slot_result);
    EXPECT_EQ(drv_board_get_type(DRV_SELF_BOARD, &word), type_result);
    EXPECT_EQ(drv_backplane_get_type(&word), backplane_result);
    EXPECT_EQ(word, kUntouched);
    EXPECT_EQ(environment("chassisid"), environment_result);
    EXPECT_EQ(label(DRV_SELF_BOARD, 0), label_result);
}

class HostDrvBasic : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("ORVA_HOST_BOARD");
    }
    ScratchFolder scratch;
};

constexpr char kMinimal[] = "[board]\nslot = 2\ntype = 0x18002\n[chassis]\ntype = 7\n";

} // namespace

TEST_F(HostDrvBasic, BuiltInBoard_AnswersEveryQuery) {
    for (const char *variable : {static_cast<const char *>(nullptr), ""}) {
        in_child([&] {
            if (variable != nullptr) {
                setenv("ORVA_HOST_BOARD", variable, 1);
            }
            uint32_t word = kUntouched;
            EXPECT_EQ(drv_board_get_self_logic_slotid(&word), 0u);
            EXPECT_EQ(word, 1u);
            EXPECT_EQ(drv_board_get_type(DRV_SELF_BOARD, &word), 0u);
            EXPECT_EQ(word, 0x18010u);
            EXPECT_EQ(drv_backplane_get_type(&word), 0u);
            EXPECT_EQ(word, 0x10001u);
            const std::pair<const char *, const char *> expected[] = {
                {"product_service_type", "100"},
                {"product_family_type", "1"},
                {"chassisid", "1"},
                {"stackid", "1"},
                {"stkenv_enable", "0"},
                {"cpu_id", "0"},
                {"slotid", "1"},
                {"ACT_MPU", "127.0.0.1"},
            };
            for (const auto &[key, value] : expected) {
                EXPECT_EQ(environment(key), value) << key;
            }
            EXPECT_EQ(label(DRV_SELF_BOARD, 0), "BoardType=HOST-BOARD\nBarCode=HOST0000000001\nItem=HB180101-001\n"
                                                "Description=Board of the host platform\n"
                                                "Manufactured=2026-01-05\nVendorName=Host\n");
            EXPECT_EQ(description_error(), "");
        });
    }
}

TEST_F(HostDrvBasic, BuiltInBoard_SuitsTheLibrary) {
    in_child([&] {
        uint32_t word = kUntouched;
        EXPECT_EQ(ORVA_DRVADP_GetBoardType(&word), 0u);
        const BoardPortInfo *port = ORVA_GetBoardEthInfo(word);
        ASSERT_NE(port, nullptr);
        EXPECT_STREQ(port->ifName, "veth0");
        EXPECT_EQ(ORVA_DRVADP_GetSelfSlotVar(), 1u);
        EXPECT_EQ(ORVA_GetDeviceRunState(), 1u);
        EXPECT_EQ(ORVA_DRVADP_IsMatrixBoard(), 0u);
        char item[32];
        EXPECT_EQ(ORVA_DRVADP_GetBoardElabelItem(item, sizeof item), 0u);
        EXPECT_STREQ(item, "HB180101-001");
    });
}

TEST_F(HostDrvBasic, Library_IsNotThatOfAMatrixBoard) {
    void *library = dlopen("libdrv_basic.so", RTLD_LAZY);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(dlsym(library, "DRV_GetBoardProductType"), nullptr);
    EXPECT_NE(dlsym(library, "drv_env_get"), nullptr);
    dlclose(library);
}

TEST_F(HostDrvBasic, Environment_NamesTheDescription) {
    in_child([&] {
        setenv("ORVA_HOST_BOARD", sample("main_board.toml").c_str(), 1);
        uint32_t word = kUntouched;
        EXPECT_EQ(drv_board_get_self_logic_slotid(&word), 0u);
        EXPECT_EQ(word, 0u);
        const std::pair<uint32_t, uint32_t> types[] = {
            {DRV_SELF_BOARD, 0x10011}, {0, 0x10011}, {3, 0x18003}, {4, 0x12018}};
        for (const auto &[slot, type] : types) {
            EXPECT_EQ(drv_board_get_type(slot, &word), 0u) << slot;
            EXPECT_EQ(word, type);
        }
        word = kUntouched;
        EXPECT_EQ(drv_board_get_type(5, &word), DRV_HOST_ERR_BOARD);
        EXPECT_EQ(word, kUntouched);
        EXPECT_EQ(drv_backplane_get_type(&word), 0u);
        EXPECT_EQ(word, 0x10002u);
        EXPECT_EQ(environment("ACT_MPU"), "10.0.0.1");
        EXPECT_EQ(environment("product_family_type"), "3");
        EXPECT_EQ(environment("stackid"), failure_text(DRV_HOST_ERR_ABSENT));
        const std::string own =
            "BoardType=MAIN-BOARD\nBarCode=MB00000001\nItem=MB100110-002\nManufactured=2026-01-05\n";
        EXPECT_EQ(label(DRV_SELF_BOARD, 0), own);
        EXPECT_EQ(label(0, 0), own);
        EXPECT_EQ(label(3, 0), "BoardType=LINE-BOARD\r\nBarCode=LB00000003\r\nItem=LB180030\r\n");
        EXPECT_EQ(label(3, 1), failure_text(DRV_HOST_ERR_LABEL));
        EXPECT_EQ(label(4, 0), failure_text(DRV_HOST_ERR_LABEL));
    });
}

TEST_F(HostDrvBasic, NoSlotNumber_IsACodeOfItsOwnLowHalf) {
    in_child([&] {
        ASSERT_EQ(DRV_HostLoadBoard(sample("no_slot.toml").c_str()), 0u);
        uint32_t slot = kUntouched;
        const uint32_t result = drv_board_get_self_logic_slotid(&slot);
        EXPECT_EQ(result, DRV_HOST_ERR_NO_SLOT);
        EXPECT_EQ(result & 0xFFFFu, DRV_NO_SLOT);
        EXPECT_EQ(slot, kUntouched);
        EXPECT_EQ(drv_board_get_type(DRV_SELF_BOARD, &slot), 0u);
        EXPECT_EQ(drv_board_get_type(1, &slot), DRV_HOST_ERR_BOARD);
    });
}

TEST_F(HostDrvBasic, FailTable_MakesEachQueryFailWithItsCode) {
    in_child([&] {
        ASSERT_EQ(DRV_HostLoadBoard(sample("failing.toml").c_str()), 0u);
        expect_every_query_fails(0x01230020, 0x01240001, 0x01250001, failure_text(0x01260001),
                                 failure_text(0x01270001));
        EXPECT_EQ(load(std::string(kMinimal) + "[fail]\nslot = 9\n"), 0u);
        uint32_t word = 0;
        EXPECT_EQ(drv_board_get_self_logic_slotid(&word), 9u);
        EXPECT_EQ(drv_backplane_get_type(&word), 0u) << "the others answer";
    });
}

TEST_F(HostDrvBasic, Samples_AreAllUsable) {
    in_child([&] {
        int count = 0;
        for (const auto &entry :
             std::filesystem::directory_iterator(ORVA_TEST_SOURCE_DIR "/platform/host/drv_basic/boards")) {
            EXPECT_EQ(DRV_HostLoadBoard(entry.path().c_str()), 0u) << entry.path();
            ++count;
        }
        EXPECT_GE(count, 4);
    });
}

TEST_F(HostDrvBasic, Queries_RefuseNullAndEmptyArguments) {
    in_child([&] {
        char buffer[8] = "as was";
        EXPECT_EQ(drv_env_get(nullptr, buffer, sizeof buffer), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_env_get("chassisid", nullptr, 8), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_env_get("chassisid", buffer, 0), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_board_get_self_logic_slotid(nullptr), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_board_get_type(0, nullptr), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_backplane_get_type(nullptr), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_elabel_read(DRV_SELF_BOARD, 0, nullptr, 8), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(drv_elabel_read(DRV_SELF_BOARD, 0, buffer, 0), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(DRV_HostLoadBoardText("x", nullptr, 0), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(DRV_HostDescriptionError(nullptr, 8), DRV_HOST_ERR_ARGUMENT);
        EXPECT_EQ(DRV_HostDescriptionError(buffer, 0), DRV_HOST_ERR_ARGUMENT);
        EXPECT_STREQ(buffer, "as was");
    });
}

TEST_F(HostDrvBasic, Texts_FitExactlyOrLeaveTheBufferAsItWas) {
    in_child([&] {
        ASSERT_EQ(load(std::string(kMinimal) + "[environment]\nk = \"12345\"\nempty = \"\"\n"
                                               "[[elabel]]\nlines = [\"A=1\"]\n"),
                  0u);
        char buffer[8];
        std::memset(buffer, '?', sizeof buffer);
        EXPECT_EQ(drv_env_get("k", buffer, 5), DRV_HOST_ERR_BUFFER);
        EXPECT_EQ(drv_elabel_read(DRV_SELF_BOARD, 0, buffer, 4), DRV_HOST_ERR_BUFFER);
        EXPECT_EQ(std::string(buffer, sizeof buffer), "????????");
        EXPECT_EQ(drv_env_get("k", buffer, 6), 0u);
        EXPECT_STREQ(buffer, "12345");
        EXPECT_EQ(buffer[6], '?');
        EXPECT_EQ(drv_elabel_read(DRV_SELF_BOARD, 0, buffer, 5), 0u);
        EXPECT_STREQ(buffer, "A=1\n");
        EXPECT_EQ(drv_env_get("empty", buffer, 1), 0u);
        EXPECT_STREQ(buffer, "");
    });
}

TEST_F(HostDrvBasic, Description_TakesTheWholeRangeOfEachValue) {
    in_child([&] {
        ASSERT_EQ(load("[board]\nslot = 30\ntype = 0xFFFFFFFF\n[chassis]\ntype = 0\n"
                       "[environment]\nnegative = -5\n\"a key\" = \"caf\\u00e9\"\n"
                       "[[other_board]]\nslot = 0\ntype = 0\n"
                       "[[elabel]]\nslot = 30\nindex = 0xFFFFFFFF\nlines = []\n"),
                  0u)
            << description_error();
        uint32_t word = kUntouched;
        EXPECT_EQ(drv_board_get_self_logic_slotid(&word), 0u);
        EXPECT_EQ(word, 30u);
        EXPECT_EQ(drv_board_get_type(30, &word), 0u);
        EXPECT_EQ(word, 0xFFFFFFFFu);
        EXPECT_EQ(drv_board_get_type(0, &word), 0u);
        EXPECT_EQ(word, 0u);
        EXPECT_EQ(environment("negative"), "-5");
        EXPECT_EQ(environment("a key"), "caf\xc3\xa9");
        EXPECT_EQ(label(DRV_SELF_BOARD, 0xFFFFFFFF), "") << "a label of the own slot is the own board's";
    });
}

TEST_F(HostDrvBasic, Faults_AreReportedWithFileLineAndKey) {
    struct Case {
        const char *name;
        std::string text;
        const char *message;
    };
    const std::string minimal = kMinimal;
    const Case cases[] = {
        {"empty", "", "b.toml:1: [board] missing"},
        {"no chassis", "[board]\nslot = 1\ntype = 1\n", "b.toml:1: [chassis] missing"},
        {"no slot", "\n[board]\ntype = 1\n", "b.toml:2: [board] slot: missing"},
        {"no type", "[board]\nslot = 1\n", "b.toml:1: [board] type: missing"},
        {"slot of a wrong type", "[board]\nslot = true\ntype = 1\n",
         "b.toml:2: [board] slot: expected an integer, found a boolean"},
        {"slot of another word", "[board]\nslot = \"some\"\ntype = 1\n",
         "b.toml:2: [board] slot: must be a number or \"none\""},
        {"slot above 30", "[board]\nslot = 31\ntype = 1\n", "b.toml:2: [board] slot: must be from 0 to 30"},
        {"slot below 0", "[board]\nslot = -1\ntype = 1\n", "b.toml:2: [board] slot: must be from 0 to 30"},
        {"type as text", "[board]\nslot = 1\n\ntype = \"0x18001\"\n",
         "b.toml:4: [board] type: expected an integer, found a string"},
        {"type too large", "[board]\nslot = 1\ntype = 0x100000000\n",
         "b.toml:3: [board] type: must be from 0 to 4294967295"},
        {"chassis type as a fraction", "[board]\nslot = 1\ntype = 1\n[chassis]\ntype = 1.5\n",
         "b.toml:5: [chassis] type: expected an integer, found a floating-point number"},
        {"board is not a table", "board = 5\n", "b.toml:1: board: expected a table, found an integer"},
        {"unknown key", minimal + "[fail]\nslots = 1\n", "b.toml:7: [fail] slots: unknown key"},
        {"unknown table", minimal + "[enviroment]\nchassisid = 1\n", "b.toml:6: enviroment: unknown key"},
        {"failing with success", minimal + "[fail]\nslot = 0\n",
         "b.toml:7: [fail] slot: must be from 1 to 4294967295"},
        {"environment value of a wrong type", minimal + "[environment]\nchassisid = 1\ncpu_id = 1979-05-27\n",
         "b.toml:8: [environment] cpu_id: expected a string or an integer, found a date or time"},
        {"environment value as a list", minimal + "[environment]\ncpu_id = [1]\n",
         "b.toml:7: [environment] cpu_id: expected a string or an integer, found an array"},
        {"environment value with a line end", minimal + "[environment]\ncpu_id = \"1\\n\"\n",
         "b.toml:7: [environment] cpu_id: holds a control character"},
        {"environment value with a zero", minimal + "[environment]\ncpu_id = \"1\\u0000\"\n",
         "b.toml:7: [environment] cpu_id: holds a control character"},
        {"environment is not a table", "environment = [1]\n" + minimal,
         "b.toml:1: environment: expected a table, found an array"},
        {"other board is one table", minimal + "[other_board]\nslot = 1\n",
         "b.toml:6: other_board: expected an array of tables, found a table"},
        {"other board is a number", "other_board = [1]\n" + minimal,
         "b.toml:1: other_board: expected a table, found an integer"},
        {"other board without a slot", minimal + "[[other_board]]\ntype = 1\n",
         "b.toml:6: [other_board] slot: missing"},
        {"other board without a type", minimal + "[[other_board]]\nslot = 1\n",
         "b.toml:6: [other_board] type: missing"},
        {"other board in the own slot", minimal + "[[other_board]]\nslot = 2\ntype = 1\n",
         "b.toml:7: [other_board] slot: is the own board's"},
        {"other board twice", minimal + "[[other_board]]\nslot = 1\ntype = 1\n[[other_board]]\nslot = 1\ntype = 1\n",
         "b.toml:10: [other_board] slot: the slot is described twice"},
        {"label without lines", minimal + "[[elabel]]\nindex = 0\n", "b.toml:6: [elabel] lines: missing"},
        {"label lines as text", minimal + "[[elabel]]\nlines = \"A=1\"\n",
         "b.toml:7: [elabel] lines: expected an array of strings, found a string"},
        {"label line of a wrong type", minimal + "[[elabel]]\nlines = [\n\"A=1\",\n2]\n",
         "b.toml:9: [elabel] lines: expected a string, found an integer"},
        {"label line without a key", minimal + "[[elabel]]\nlines = [\"=1\"]\n",
         "b.toml:7: [elabel] lines: must be key=value"},
        {"label line without an equals sign", minimal + "[[elabel]]\nlines = [\"\"]\n",
         "b.toml:7: [elabel] lines: must be key=value"},
        {"label line with a line end", minimal + "[[elabel]]\nlines = [\"A=1\\r\"]\n",
         "b.toml:7: [elabel] lines: holds a control character"},
        {"label with another line end", minimal + "[[elabel]]\nlines = []\nline_end = \"cr\"\n",
         "b.toml:8: [elabel] line_end: must be \"lf\" or \"crlf\""},
        {"label with a line end of a wrong type", minimal + "[[elabel]]\nlines = []\nline_end = 13\n",
         "b.toml:8: [elabel] line_end: expected a string, found an integer"},
        {"label twice, once by its slot", minimal + "[[elabel]]\nlines = []\n[[elabel]]\nslot = 2\nlines = []\n",
         "b.toml:8: [elabel] index: the label is described twice"},
        {"key twice", "[board]\nslot = 1\nslot = 2\n", nullptr},
    };
    in_child([&] {
        ASSERT_EQ(load(minimal), 0u);
        for (const Case &one : cases) {
            EXPECT_EQ(load(one.text), DRV_HOST_ERR_DESCRIPTION) << one.name;
            if (one.message != nullptr) {
                EXPECT_EQ(description_error(), one.message) << one.name;
            }
        }
        uint32_t type = 0;
        EXPECT_EQ(drv_board_get_type(DRV_SELF_BOARD, &type), 0u);
        EXPECT_EQ(type, 0x18002u) << "a failed load leaves the board in force";
        EXPECT_EQ(load(minimal), 0u);
        EXPECT_EQ(description_error(), "") << "a good load clears the message";
    });
}

std::string many(std::string start, const char *text, int times) {
    for (int i = 0; i < times; ++i) {
        start += text;
    }
    return start;
}

void *load_given(void *text) {
    EXPECT_EQ(load(*static_cast<const std::string *>(text)), DRV_HOST_ERR_DESCRIPTION);
    return nullptr;
}

TEST_F(HostDrvBasic, Descriptions_OfAnyDepthAreReadOnASmallStack) {
    in_child([&] {
        const std::string deep_key = many("a", ".a", 100);
        std::string texts[] = {many("a = ", "[", 100000), many("a = ", "{a = ", 100000),
                               "[" + deep_key + "]\n" + deep_key + " = [\n{" + deep_key + " = 1}]\n"};
        // The least that a task of the host platform has.
        const auto stack_bytes = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN)) + 256 * 1024;
        pthread_attr_t attributes;
        ASSERT_EQ(pthread_attr_init(&attributes), 0);
        ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_bytes), 0);
        for (std::string &text : texts) {
            pthread_t thread;
            ASSERT_EQ(pthread_create(&thread, &attributes, load_given, &text), 0);
            pthread_join(thread, nullptr);
        }
        pthread_attr_destroy(&attributes);
    });
}

TEST_F(HostDrvBasic, SyntaxErrors_AreReportedWithFileLineAndKey) {
    struct Case {
        const char *name;
        std::string text;
        const char *start;
    };
    const Case cases[] = {
        {"no value", "[board]\nslot = 1\ntype =\n", "b.toml:3: type: "},
        {"text without its end", "[board]\nslot = \"none\n", "b.toml:2: slot: "},
        {"table without its end", "[board\nslot = 1\n", "b.toml:1: "},
        {"key twice", "[board]\nslot = 1\nslot = 2\n", "b.toml:3: slot: "},
        {"a word for a value", "\n[board]\n  slot = yes\n", "b.toml:3: slot: "},
        {"a header of no key", "[board]\nslot = 1\n[%]\n", "b.toml:3: "},
        {"a header of a sign", "[board]\nslot = 1\n[!]\n", "b.toml:3: expected the name of a table"},
        {"arrays closed early", "a = [[}]\n", "b.toml:1: a: "},
        {"nested too deeply", "a = " + std::string(100000, '[') + "\n", "b.toml:1: a: "},
        {"a key of too many parts", many("[board]\nb", ".a", 500000) + " = 1",
         "b.toml:2: b.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.: more than 100 dots on a line"},
        {"a header of too many parts", many("[a", ".a", 101), "b.toml:1: more than 100 dots on a line"},
        {"a byte outside ASCII", "[board]\nslot = \"\xff\"\n",
         "b.toml:2: slot: a byte outside ASCII; a text holds such a character as an escape"},
        {"a letter outside ASCII for a key", "[board]\na \xc3\x9f\n", "b.toml:2: a byte outside ASCII"},
        {"a zero byte", std::string("[board]\n\0slot = 1\n", 18), "b.toml:2: "},
    };
    in_child([&] {
        for (const Case &one : cases) {
            EXPECT_EQ(load(one.text), DRV_HOST_ERR_DESCRIPTION) << one.name;
            const std::string message = description_error();
            EXPECT_TRUE(message.starts_with(one.start) && message.size() > 15) << one.name << ": " << message;
        }
    });
}

TEST_F(HostDrvBasic, Messages_OfHostileNamesStayOnOneLine) {
    in_child([&] {
        EXPECT_EQ(load("\"a\\nb\\u001b\" = 1\n"), DRV_HOST_ERR_DESCRIPTION);
        EXPECT_EQ(description_error(), "b.toml:1: a\\nb\\x1b: unknown key");
        char four[4];
        EXPECT_EQ(DRV_HostDescriptionError(four, sizeof four), 0u);
        EXPECT_STREQ(four, "b.t");
    });
}

TEST_F(HostDrvBasic, UnusableDescription_IsReportedOnceAndFailsEveryQuery) {
    const std::string broken = scratch.file("broken.toml");
    write_file(broken, "[board]\nslot = \"one\"\ntype = 1\n");
    const std::string large = scratch.file("large.toml");
    write_file(large, "#" + std::string(1024 * 1024, ' '));
    const std::string pipe = scratch.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string missing = scratch.file("missing.toml");
    const std::pair<std::string, std::string> cases[] = {
        {broken, broken + ":2: [board] slot: must be a number or \"none\""},
        {missing, missing + ": cannot be read: No such file or directory"},
        {scratch.path(), scratch.path() + ": cannot be read: Is a directory"},
        {large, large + ": longer than 1048576 bytes"},
        {pipe, pipe + ":1: [board] missing"},
    };
    for (const auto &[path, message] : cases) {
        in_child([&, &named = path, &expected = message] {
            const std::string output = scratch.file("stderr");
            unlink(output.c_str());
            standard_error_to(output);
            setenv("ORVA_HOST_BOARD", named.c_str(), 1);
            for (int i = 0; i < 2; ++i) {
                expect_every_query_fails(DRV_HOST_ERR_DESCRIPTION, DRV_HOST_ERR_DESCRIPTION, DRV_HOST_ERR_DESCRIPTION,
                                         failure_text(DRV_HOST_ERR_DESCRIPTION),
                                         failure_text(DRV_HOST_ERR_DESCRIPTION));
            }
            EXPECT_EQ(read_file(output), "drv_basic: " + expected + "\n");
            EXPECT_EQ(description_error(), expected);
            EXPECT_EQ(DRV_HostLoadBoard(sample("no_slot.toml").c_str()), 0u);
            EXPECT_EQ(environment("chassisid"), "2") << "a later load repairs it";
        });
    }
}

TEST_F(HostDrvBasic, HostLoadBoard_ReplacesTheBoardAndReturnsToTheBuiltInOne) {
    in_child([&] {
        standard_error_to(scratch.file("stderr"));
        EXPECT_EQ(environment("chassisid"), "1");
        EXPECT_EQ(DRV_HostLoadBoard(sample("no_slot.toml").c_str()), 0u);
        EXPECT_EQ(environment("chassisid"), "2");
        EXPECT_EQ(DRV_HostLoadBoard(scratch.file("missing.toml").c_str()), DRV_HOST_ERR_DESCRIPTION);
        EXPECT_EQ(environment("chassisid"), "2");
        EXPECT_EQ(DRV_HostLoadBoard(nullptr), 0u);
        EXPECT_EQ(environment("chassisid"), "1");
        setenv("ORVA_HOST_BOARD", sample("no_slot.toml").c_str(), 1);
        EXPECT_EQ(DRV_HostLoadBoard(nullptr), 0u);
        EXPECT_EQ(environment("chassisid"), "2");
        EXPECT_EQ(DRV_HostLoadBoard(""), 0u);
        EXPECT_EQ(environment("chassisid"), "1");
    });
}

TEST_F(HostDrvBasic, FailedLoadBeforeTheFirstQuery_LeavesTheBuiltInBoard) {
    in_child([&] {
        EXPECT_EQ(load("x"), DRV_HOST_ERR_DESCRIPTION);
        EXPECT_EQ(environment("chassisid"), "1");
    });
}

TEST_F(HostDrvBasic, FirstQuery_OfManyThreadsReadsTheFileOnce) {
    in_child([&] {
        const std::string broken = scratch.file("broken.toml");
        write_file(broken, "board = 1\n");
        standard_error_to(scratch.file("stderr"));
        setenv("ORVA_HOST_BOARD", broken.c_str(), 1);
        std::atomic<int> failed{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([&failed] {
                uint32_t word = 0;
                failed += drv_backplane_get_type(&word) == DRV_HOST_ERR_DESCRIPTION ? 1 : 0;
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(failed, 8);
        EXPECT_EQ(read_file(scratch.file("stderr")),
                  "drv_basic: " + broken + ":1: board: expected a table, found an integer\n");
    });
}

TEST_F(HostDrvBasic, AChildProcess_QueriesWhileOthersLoaded) {
    in_child([&] {
        std::atomic<bool> done{false};
        std::thread busy([&] {
            while (!done) {
                load(kMinimal);
            }
        });
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(run_in_child([] {
                          alarm(20);
                          uint32_t type = 0;
                          return drv_backplane_get_type(&type) == 0 ? 0 : 1;
                      }),
                      0);
        }
        done = true;
        busy.join();
    });
}

TEST_F(HostDrvBasic, Queries_DuringReloadsSeeOneWholeBoard) {
    in_child([&] {
        const std::array<std::string, 2> boards = {
            "[board]\nslot = 1\ntype = 100\n[chassis]\ntype = 1\n[environment]\nk = \"aaaaaaaaaaaaaaaa\"\n",
            "[board]\nslot = 2\ntype = 200\n[chassis]\ntype = 2\n[environment]\nk = \"bbbbbbbbbbbbbbbb\"\n"};
        ASSERT_EQ(load(boards[0]), 0u);
        std::atomic<bool> done{false};
        std::atomic<int> wrong{0};
        std::vector<std::thread> readers;
        for (int i = 0; i < 4; ++i) {
            readers.emplace_back([&] {
                while (!done) {
                    const std::string text = environment("k");
                    wrong += text == std::string(16, 'a') || text == std::string(16, 'b') ? 0 : 1;
                }
            });
        }
        for (std::size_t i = 0; i < 200; ++i) {
            EXPECT_EQ(load(boards[i % 2]), 0u);
        }
        done = true;
        for (std::thread &reader : readers) {
            reader.join();
        }
        EXPECT_EQ(wrong, 0);
    });
}
