// Scenarios as their writers meet them: what is refused and how, and what the built-in ones say of themselves.
#include "events/event.h"
#include "events/json_lines.h"
#include "scenario/invariants.h"
#include "scenario/reader.h"
#include "scenario/texts.h"
#include "scenario/watch.h"
#include "system_support.h"

#include <array>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

namespace {

using namespace chassis;

std::string error_of(const std::string &text) {
    try {
        read_scenario(text, "file.toml");
    } catch (const ScenarioError &error) {
        return error.what();
    }
    return "";
}

const std::string kHead = "name = \"n\"\ntext = \"t\"\n";

struct Wrong {
    const char *name;
    std::string text;
    const char *message;
};

std::string many(const std::string &part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

TEST(ChassisScenario, Reader_NamesEachMistakeWithItsPlaceAndWhatWasExpected) {
    const std::string step = kHead + "[[step]]\ntitle = \"s\"\n";
    const std::array cases = {
        Wrong{"not TOML", "name = \n", "file.toml:1:8: "},
        Wrong{"a letter outside ASCII in a key", kHead + "# größer\nboards = 2 # \"ä\"\nhöhe = 1\n",
              "file.toml:5:2: a character outside ASCII must be in quotes or in a comment"},
        Wrong{"the same after quotes", "name = 'é\"' # é\ntext = \"\"\"ä\"\n\\\"ü\"\"\"\"\nx = é\n",
              "file.toml:4:5: a character outside ASCII must be in quotes or in a comment"},
        Wrong{"a header without a name", kHead + "x = [\n[\n1]]\n [[ =]]\n",
              "file.toml:6:5: expected the name of a table"},
        Wrong{"a bracket of the wrong kind", kHead + "x = [[}\n", "file.toml:3:7: expected ']', not '}'"},
        Wrong{"the other one", kHead + "x = {a = [1], b = ]\n", "file.toml:3:19: expected '}', not ']'"},
        Wrong{"a key of too many parts", kHead + "x" + many(".x", 200000) + " = 1\n",
              "file.toml:3:202: more than 100 dots on a line"},
        Wrong{"a table of too many parts", kHead + "# ....\n['x'" + many(".x", 200000) + "]\n",
              "file.toml:4:205: more than 100 dots on a line"},
        Wrong{"an unknown key", kHead + "bords = 3\n",
              "file.toml:3:1: bords: there is no such key; did you mean \"boards\"?"},
        Wrong{"a missing key", "text = \"t\"\n", "name: is missing; expected name of the scenario"},
        Wrong{"a number out of range", kHead + "boards = 31\n",
              "file.toml:3:10: boards: expected a whole number from 1 to 30"},
        Wrong{"a text for a number", kHead + "boards = \"four\"\n",
              "file.toml:3:10: boards: expected a whole number from 1 to 30"},
        Wrong{"a text for a flag", kHead + "restart = \"yes\"\n", "file.toml:3:11: restart: expected true or false"},
        Wrong{"a value for an array", kHead + "step = 1\n", "step: expected an array of tables, [[step]]"},
        Wrong{"an unknown fault", step + "[[step.fault]]\nkind = \"stcuk\"\nslot = 1\n",
              "file.toml:6:8: step[0].fault[0].kind: expected one of \"stuck\", \"noise\""},
        Wrong{"its suggestion", step + "[[step.fault]]\nkind = \"stcuk\"\nslot = 1\n", "did you mean \"stuck\"?"},
        Wrong{"a slot that is none", step + "[[step.fault]]\nkind = \"killed\"\nslot = \"middle\"\n",
              "file.toml:7:8: step[0].fault[0].slot: expected a slot from 1 to 30, \"first\" or \"last\""},
        Wrong{"an unknown command", step + "do = [\"round\", \"stub st 1\"]\n", "file.toml:5:16: step[0].do[1]: "},
        Wrong{"a command without its words", step + "do = [\"stub set 1\"]\n",
              "step[0].do[0]: expected: stub set slot name value"},
        Wrong{"an unknown event", step + "[[step.expect]]\nevent = \"reding\"\n",
              "file.toml:6:9: step[0].expect[0].event: expected one of "},
        Wrong{"an unknown value", step + "[[step.expect]]\nevent = \"reading\"\nwhere = { sensr = \"inlet\" }\n",
              "file.toml:7:11: step[0].expect[0].where.sensr: the event \"reading\" has no such value; did you mean "
              "\"sensor\"?"},
        Wrong{"a value of another type", step + "[[step.expect]]\nevent = \"reading\"\nwhere = { value = \"hot\" }\n",
              "step[0].expect[0].where.value: expected a whole number"},
        Wrong{"an unknown condition", step + "[[step.expect]]\nevent = \"reading\"\nwhere = { value = { mn = 1 } }\n",
              "step[0].expect[0].where.value.mn: there is no such key; did you mean \"min\"?"},
        Wrong{"a bound of a text", step + "[[step.expect]]\nevent = \"reading\"\nwhere = { sensor = { min = 1 } }\n",
              "expected no bound, since the value is not a number"},
        Wrong{
            "points out of order",
            kHead + "[[board]]\nslot = 1\n[[board.sensor]]\nname = \"x\"\nkind = \"voltage\"\ncurve = \"table\"\n"
                    "points = [[5, 1], [4, 1]]\n",
            "file.toml:9:10: board[0].sensor[0].points: expected an array of [seconds, value], in the order of time"},
    };
    for (const Wrong &wrong : cases) {
        EXPECT_NE(error_of(wrong.text).find(wrong.message), std::string::npos)
            << wrong.name << ": " << error_of(wrong.text);
    }
}

TEST(ChassisScenario, Reader_NamesValuesThatDoNotFitEachOther) {
    const std::string fault = kHead + "boards = 2\n[[step]]\ntitle = \"s\"\n[[step.fault]]\nslot = 1\n";
    const std::string expect = kHead + "[[step]]\ntitle = \"s\"\n[[step.expect]]\nevent = \"board\"\n";
    const std::string board = kHead + "[[board]]\nslot = 1\n";
    const std::string sensor = "[[board.sensor]]\nname = \"x\"\nkind = \"voltage\"\n";
    const std::array cases = {
        Wrong{"no sensor", fault + "kind = \"stuck\"\n",
              "file.toml:6:1: step[0].fault[0].sensor: is missing; expected the sensor that fails"},
        Wrong{"an unknown sensor", fault + "kind = \"stuck\"\nsensor = \"inlt\"\n",
              "file.toml:9:10: step[0].fault[0].sensor: expected a sensor of the board; did you mean \"inlet\"?"},
        Wrong{"a sensor for a link", fault + "kind = \"lost\"\nsensor = \"inlet\"\n",
              "fault[0].sensor: expected none, since lost is of the whole board"},
        Wrong{"a value that means nothing", fault + "kind = \"killed\"\nvalue = 7\n",
              "fault[0].value: expected none, since killed has no value"},
        Wrong{"more than all", fault + "kind = \"lost\"\nvalue = 101\n",
              "fault[0].value: expected percent, from 0 to 100"},
        Wrong{"less than no time", fault + "kind = \"late\"\nvalue = -1\n",
              "fault[0].value: expected milliseconds, from 0 on"},
        Wrong{"never, and how often", expect + "never = true\ncount = 2\n",
              "file.toml:8:9: step[0].expect[0].count: expected none beside `never`"},
        Wrong{"exactly, and at most", expect + "count = 2\nat_most = 3\n",
              "expect[0].count: expected either an exact count or bounds"},
        Wrong{"bounds that cross", expect + "at_least = 4\nat_most = 3\n",
              "expect[0].at_least: expected no more than `at_most`"},
        Wrong{"two boards in a slot", board + "[[board]]\nslot = 1\n",
              "file.toml:6:8: board[1].slot: expected another slot, since a board before has this one"},
        Wrong{"a board beyond all", kHead + "boards = 1\n[[board]]\nslot = 3\n",
              "board[0].slot: expected a slot of one of the scenario's `boards`"},
        Wrong{"two sensors of a name", board + sensor + sensor,
              "file.toml:9:8: board[0].sensor[1].name: expected another name, since a sensor before has this one"},
        Wrong{"an unknown stub", board + sensor + "stub = \"noSuch\"\n",
              "board[0].sensor[0].stub: expected the name of a stub"},
    };
    for (const Wrong &wrong : cases) {
        EXPECT_NE(error_of(wrong.text).find(wrong.message), std::string::npos)
            << wrong.name << ": " << error_of(wrong.text);
    }
}

TEST(ChassisScenario, Reader_FindsEveryMistakeInTheOrderOfTheFile) {
    const std::string error = error_of(kHead + "bords = 3\nseconds = -1\n");
    EXPECT_LT(error.find("file.toml:3:1: "), error.find("file.toml:4:11: ")) << error;
    EXPECT_NE(error.find("file.toml:4:11: "), std::string::npos) << error;
}

TEST(ChassisScenario, Reader_TakesEveryValue) {
    const Scenario scenario = read_scenario(
        kHead +
            "boards = 3\nseed = 7\nseconds = 9\nrestart = false\ninvariants = true\npoll = 0.5\n[[board]]\nslot = "
            "2\ntype = 0x18077\n"
            "[[board.sensor]]\nname = \"x\"\nkind = \"voltage\"\ncurve = \"ramp\"\nvalue = 10\nto = 20\nperiod = "
            "2.5\n"
            "[[step]]\ntitle = \"s\"\nat = 1.5\ndo = [\"kill last\"]\nneeds = \"private mount\"\nrest = true\n"
            "[[step.fault]]\nkind = \"late\"\nslot = \"last\"\nvalue = 5\nat = 1\nfor = 2\n"
            "[[step.expect]]\nevent = \"reading\"\nslot = 2\nwhere = { value = { min = 1, max = 2 }, source = { not "
            "= \"stub\" } }\nat_most = 3\nby = 4\ntext = \"{value}\"\n",
        "f");
    EXPECT_EQ(scenario.boards.size(), 3U);
    EXPECT_EQ(scenario.seed, 7U);
    EXPECT_EQ(scenario.seconds, 9U);
    EXPECT_FALSE(scenario.restart);
    EXPECT_TRUE(scenario.invariants);
    EXPECT_EQ(scenario.poll, std::chrono::milliseconds(500));
    EXPECT_EQ(scenario.boards[1].type, 0x18077U);
    ASSERT_EQ(scenario.boards[1].sensors.size(), 1U);
    EXPECT_EQ(scenario.boards[1].sensors[0].curve.period_ms, 2500);
    EXPECT_EQ(scenario.boards[0].sensors.size(), 6U);
    const Step &step = scenario.steps.at(0);
    EXPECT_EQ(step.at, Time(std::chrono::milliseconds(1500)));
    EXPECT_TRUE(step.rest && step.needs_private_mount);
    EXPECT_EQ(step.commands, std::vector<std::string>{"kill last"});
    EXPECT_EQ(step.faults.at(0).slot, "last");
    EXPECT_EQ(step.faults.at(0).setting.value, 5);
    EXPECT_EQ(step.faults.at(0).length, Duration(std::chrono::seconds(2)));
    const Expectation &expectation = step.expectations.at(0);
    EXPECT_EQ(expectation.kind, EventKind::kReading);
    EXPECT_EQ(expectation.where.size(), 3U);
    EXPECT_EQ(expectation.at_most, 3U);
    EXPECT_EQ(expectation.by, Time(std::chrono::seconds(4)));
}

TEST(ChassisScenario, Builtin_EachIsReadAndHasItsOwnName) {
    EXPECT_STREQ(builtin_scenarios().front().name, "demo");
    EXPECT_GE(builtin_scenarios().size(), 11U);
    for (const BuiltinScenario &builtin : builtin_scenarios()) {
        const Scenario scenario = load_scenario(builtin.name);
        EXPECT_EQ(scenario.name, builtin.name);
        EXPECT_FALSE(scenario.text.empty()) << builtin.name;
        EXPECT_FALSE(scenario.steps.empty()) << builtin.name;
    }
}

TEST(ChassisScenario, Builtin_UseEveryFaultThatThereIs) {
    std::string all;
    for (const BuiltinScenario &builtin : builtin_scenarios()) {
        all += builtin.text;
    }
    for (const FaultType &type : kFaultTypes) {
        EXPECT_TRUE(all.find(std::string("kind = \"") + type.name + "\"") != std::string::npos ||
                    all.find(std::string("fault start 1 ") + type.name) != std::string::npos)
            << type.name;
    }
}

TEST(ChassisScenario, Page_NamesEveryKeyFaultAndEvent) {
    const std::string page = orva_test::read_file(std::string(ORVA_TEST_SOURCE_DIR) + "/docs/scenarios.md");
    const auto schema = nlohmann::json::parse(scenario_schema());
    std::vector<nlohmann::json> open = {schema};
    std::size_t keys = 0;
    while (!open.empty()) {
        const nlohmann::json object = open.back();
        open.pop_back();
        for (const auto &[key, value] : object.at("properties").items()) {
            ++keys;
            const bool table = value.value("type", "") == "array" && value.at("items").contains("properties");
            const std::string name = table ? "." + key + "]]" : "`" + key + "`";
            EXPECT_TRUE(page.find(name) != std::string::npos || page.find("[[" + key + "]]") != std::string::npos)
                << key;
            if (table) {
                open.push_back(value.at("items"));
            }
        }
    }
    EXPECT_GT(keys, 30U);
    for (const FaultType &type : kFaultTypes) {
        EXPECT_NE(page.find(std::string("| `") + type.name + "` | "), std::string::npos) << type.name;
    }
    for (const EventType &type : event_types()) {
        if (type.kind != EventKind::kPacket) {
            EXPECT_NE(page.find(std::string("`") + type.name + "`"), std::string::npos) << type.name;
        }
        for (const FieldType &field : type.fields) {
            EXPECT_TRUE(type.kind == EventKind::kPacket ||
                        page.find(std::string("`") + field.name + "`") != std::string::npos)
                << type.name << "." << field.name;
        }
    }
}

Event reading(std::uint64_t number, std::int32_t slot, std::int64_t value, Time time = Time(0)) {
    Event event;
    event.number = number;
    event.time = time;
    event.kind = EventKind::kReading;
    event.slot = slot;
    event.fields = {text_field("sensor", "inlet"), {"value", value}};
    return event;
}

Expectation at_least_300() {
    Expectation expectation;
    expectation.kind = EventKind::kReading;
    expectation.where = {{"value", Comparison::kMin, std::int64_t{300}}};
    expectation.by = std::chrono::seconds(5);
    return expectation;
}

TEST(ChassisWatch, IsMetOnceEnoughEventsCame) {
    Expectation expectation = at_least_300();
    expectation.at_least = 2;
    Watch watch(expectation, 1, {});
    watch.see(reading(1, 1, 299));
    watch.see(reading(2, 2, 300));
    watch.see(reading(3, 1, 300));
    EXPECT_FALSE(watch.decided(Time(0)) || watch.met());
    watch.see(reading(4, 1, 301));
    EXPECT_TRUE(watch.decided(Time(0)) && watch.met());
}

TEST(ChassisWatch, NeverIsDecidedAtItsTimeOrAtTheFirstEvent) {
    Expectation expectation = at_least_300();
    expectation.at_most = 0;
    Watch quiet(expectation, kNoBoard, {});
    EXPECT_FALSE(quiet.decided(std::chrono::hours(1))) << "its time has not begun";
    quiet.begin(Time(0));
    EXPECT_FALSE(quiet.decided(std::chrono::milliseconds(4999)));
    EXPECT_TRUE(quiet.decided(std::chrono::seconds(5)) && quiet.met());
    Watch broken(expectation, kNoBoard, {});
    broken.see(reading(1, 1, 300));
    EXPECT_TRUE(broken.decided(Time(0)));
    EXPECT_FALSE(broken.met());
}

TEST(ChassisWatch, ExactCountFailsWhenItIsExceeded) {
    Expectation expectation = at_least_300();
    expectation.count = 1;
    Watch watch(expectation, kNoBoard, {});
    watch.see(reading(1, 1, 300));
    EXPECT_TRUE(watch.met());
    watch.see(reading(2, 1, 300));
    EXPECT_FALSE(watch.met());
}

TEST(ChassisWatch, EveryBoardNeedsEachOfThem) {
    Expectation expectation = at_least_300();
    expectation.every_board = true;
    expectation.text = "{count} of two";
    Watch watch(expectation, kNoBoard, {1, 2});
    watch.see(reading(1, 1, 300));
    watch.see(reading(2, 1, 300));
    EXPECT_FALSE(watch.met());
    EXPECT_EQ(watch.text(), "1 of two");
    watch.see(reading(3, 2, 300));
    EXPECT_TRUE(watch.met());
}

TEST(ChassisWatch, EventsAfterItsTimeDoNotCount) {
    const Expectation expectation = at_least_300();
    Watch watch(expectation, kNoBoard, {});
    watch.begin(Time(0));
    watch.see(reading(1, 1, 300, std::chrono::milliseconds(5001)));
    EXPECT_FALSE(watch.met());
}

TEST(ChassisWatch, FailureTellsWhatWasExpectedWhatCameNearestAndWhatWasAround) {
    const Clock clock;
    EventLog log(clock);
    Expectation expectation = at_least_300();
    Watch watch(expectation, 1, {});
    log.subscribe([&](const Event &event) { watch.see(event); });
    log.add(EventKind::kNote, kNoBoard, {text_field("text", "before")});
    log.add(EventKind::kReading, 1, {text_field("sensor", "inlet"), {"value", std::int64_t{299}}});
    log.add(EventKind::kNote, kNoBoard, {text_field("text", "after")});
    const std::string failure = watch.failure(log);
    EXPECT_NE(failure.find("expected: reading slot=1, value >= 300, at least 1 times within 5 s"), std::string::npos)
        << failure;
    EXPECT_NE(failure.find("came: 0 times"), std::string::npos) << failure;
    EXPECT_NE(failure.find(" reading slot=1 sensor=inlet value=299 (not value >= 300)"), std::string::npos)
        << failure;
    EXPECT_NE(failure.find("text=before"), std::string::npos) << failure;
    EXPECT_NE(failure.find("text=after"), std::string::npos) << failure;
}

// Events at chosen times of a chassis, and the checks that follow.
class ChassisInvariants : public ::testing::Test {
protected:
    ChassisInvariants() : clock_(Duration(0)), log_(clock_), invariants_(log_) {
        log_.subscribe([this](const Event &event) {
            if (event.kind == EventKind::kCheck && !event.flag("ok")) {
                failed_.push_back(event.text("text"));
            }
        });
    }

    void at(double seconds) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        clock_ = Clock(Duration(now) - Duration(static_cast<std::int64_t>(seconds * 1e9)));
    }
    void fault(double seconds, const char *name, bool on) {
        at(seconds);
        log_.add(EventKind::kFault, 1, {text_field("fault", name), flag_field("on", on)});
    }
    void board(double seconds, const char *state) {
        at(seconds);
        log_.add(EventKind::kBoard, 1, {text_field("state", state)});
    }
    void process(double seconds, const char *state, std::uint64_t status) {
        at(seconds);
        log_.add(EventKind::kProcess, 1, {text_field("state", state), number_field("status", status)});
    }
    void request(double seconds, const char *result, std::uint64_t ms) {
        at(seconds);
        log_.add(EventKind::kRequest, 1, {text_field("result", result), number_field("ms", ms)});
    }
    void figures(double seconds, std::uint64_t dropped, std::uint64_t blocks) {
        at(seconds);
        log_.add(EventKind::kFigures, 1,
                 {number_field("dropped", dropped), number_field("memory_blocks", blocks),
                  number_field("descriptors", 17), number_field("queue_messages", 0)});
    }
    void record(double seconds, const std::string &text) {
        at(seconds);
        log_.add(EventKind::kLog, 1,
                 {text_field("log", "diagnostic"), text_field("text", "diagnostic a1=0: [Position: 1/1]" + text)});
    }
    void sync(std::uint64_t code, bool in_step, const char *command) {
        log_.add(EventKind::kSync, 0, {number_field("code", code), flag_field("in_step", in_step)});
        log_.add(EventKind::kAction, kNoBoard, {text_field("command", command)});
    }
    void expect_only(Invariant invariant) {
        invariants_.finish();
        EXPECT_EQ(failed_, std::vector<std::string>{invariant_text(invariant)});
    }
    void expect_none() {
        invariants_.finish();
        EXPECT_EQ(failed_, std::vector<std::string>());
    }

    Clock clock_;
    EventLog log_;
    Invariants invariants_;
    std::vector<std::string> failed_;
};

TEST_F(ChassisInvariants, Request_IsAccountedForByAFaultThatWasOn) {
    board(0, "online");
    fault(1, "lost", true);
    request(5, "unanswered", 4000);
    fault(6, "lost", false);
    request(18, "unanswered", 4000);
    request(19, "refused", 0);
    expect_none();
}

TEST_F(ChassisInvariants, Request_IsNotAccountedForByAFaultThatLosesNothingOrIsOver) {
    board(0, "online");
    fault(1, "doubled", true);
    request(5, "unanswered", 4000);
    request(6, "unanswered", 4000);
    expect_only(Invariant::kRequests);
}

TEST_F(ChassisInvariants, Request_IsNotAccountedForByAFaultThatIsLongOver) {
    board(0, "online");
    fault(1, "lost", true);
    fault(2, "lost", false);
    request(17, "unanswered", 4000);
    expect_only(Invariant::kRequests);
}

TEST_F(ChassisInvariants, Process_MayEndByTheFaultsThatEndIt) {
    fault(1, "killed", true);
    process(1, "ended", 137);
    process(2, "started", 0);
    board(2, "online");
    fault(3, "killed", false);
    process(20, "stopped", 143);
    expect_none();
}

TEST_F(ChassisInvariants, Process_MayFeelAFaultOnceAnotherOneIsOver) {
    board(0, "online");
    fault(1, "stopped", true);
    fault(2, "queue-deleted", true);
    fault(3, "queue-deleted", false);
    fault(40, "stopped", false);
    process(40, "ended", 1);
    process(41, "started", 0);
    board(41, "online");
    fault(60, "late", true);
    EXPECT_TRUE(failed_.empty());
    process(61, "ended", 1);
    expect_only(Invariant::kProcesses);
}

TEST_F(ChassisInvariants, Process_MayNotCrashUnderAnotherFault) {
    fault(1, "bad-length", true);
    process(1, "ended", 139);
    expect_only(Invariant::kProcesses);
}

TEST_F(ChassisInvariants, Process_ThatIsToldToStopEndsWithoutAnError) {
    process(1, "stopped", 23);
    expect_only(Invariant::kProcesses);
}

TEST_F(ChassisInvariants, Board_MustBeOnlineInTimeAfterItsLastFault) {
    board(0, "online");
    fault(1, "no-answer", true);
    board(5, "lost");
    fault(6, "no-answer", false);
    board(15, "online");
    fault(20, "pulled", true);
    board(20, "pulled");
    fault(21, "pulled", false);
    figures(30, 0, 3);
    EXPECT_TRUE(failed_.empty());
    figures(31.1, 0, 3);
    expect_only(Invariant::kOnline);
}

TEST_F(ChassisInvariants, Board_MayNotBeLostWithoutAFault) {
    board(0, "online");
    board(1, "lost");
    expect_only(Invariant::kOnline);
}

TEST_F(ChassisInvariants, Records_AreFortyEightAnHourOfAKey) {
    for (int i = 0; i < 48; ++i) {
        record(i, "Invalid packet length, module: AGENT, realLen: " + std::to_string(i));
        record(i, "another text, " + std::to_string(i));
    }
    record(3600, "Invalid packet length, module: AGENT");
    process(3700, "started", 0);
    record(3701, "Invalid packet length, of the process before");
    EXPECT_TRUE(failed_.empty());
    for (int i = 0; i < 49; ++i) {
        record(3800, "Invalid packet length");
    }
    expect_only(Invariant::kRecords);
}

TEST_F(ChassisInvariants, Records_ThatWereDroppedAreInASummary) {
    figures(1, 100, 3);
    figures(2, 0, 3);
    record(2, "[OrvaDiagMgr] DiagID:371 drop: 60 logs in a hour. keyID: 0 format: f");
    record(2, "[OrvaDiagMgr] DiagID:371 drop: 40 logs in a hour. keyID: 1 format: f");
    figures(3, 7, 3);
    figures(4, 0, 3);
    record(4, "[OrvaDiagMgr] DiagID:371 drop: 6 logs in a hour. keyID: 0 format: f");
    expect_only(Invariant::kRecords);
}

TEST_F(ChassisInvariants, Backup_TakesWholeBlocksAndRefusesOthers) {
    sync(0, true, "sync");
    sync(0xC0000005, false, "sync-truncated");
    EXPECT_TRUE(failed_.empty());
    sync(0xC0000005, false, "sync temperature");
    expect_only(Invariant::kBackup);
}

TEST_F(ChassisInvariants, Backup_ThatIsNotInStepIsFound) {
    sync(0, false, "sync");
    expect_only(Invariant::kBackup);
}

TEST_F(ChassisInvariants, Process_MayNotGatherMemory) {
    figures(1, 0, 3);
    figures(2, 0, 60);
    EXPECT_TRUE(failed_.empty());
    figures(3, 0, 68);
    expect_only(Invariant::kLeaks);
}

TEST(ChassisEvents, Log_KeepsTheOrderWhenASubscriberAdds) {
    const Clock clock;
    EventLog log(clock);
    log.subscribe([&](const Event &event) {
        if (event.text("text") == "one") {
            log.add(EventKind::kNote, kNoBoard, {text_field("text", "two")});
        }
    });
    std::string seen;
    const int last = log.subscribe([&](const Event &event) { seen += event.text("text") + " "; });
    log.add(EventKind::kNote, kNoBoard, {text_field("text", "one")});
    EXPECT_EQ(seen, "one two ");
    log.unsubscribe(last);
    log.add(EventKind::kNote, kNoBoard, {text_field("text", "three")});
    EXPECT_EQ(seen, "one two ");
    EXPECT_EQ(log.count(), 3U);
}

TEST(ChassisEvents, Log_GivesPacketsToThoseThatAskForThem) {
    const Clock clock;
    EventLog log(clock);
    EXPECT_FALSE(log.wants_packets());
    std::size_t bytes = 0;
    log.subscribe([](const Event &event) { EXPECT_NE(event.kind, EventKind::kPacket); });
    log.subscribe([&](const Event &event) { bytes += event.bytes.size(); }, true);
    EXPECT_TRUE(log.wants_packets());
    const std::array<std::uint8_t, 3> packet = {1, 2, 3};
    log.add_packet(1, {}, packet);
    EXPECT_EQ(bytes, 3U);
    EXPECT_TRUE(log.recent().empty());
}

TEST(ChassisEvents, JsonLine_IsOneObjectWithItsValues) {
    Event event = reading(7, 2, -5, std::chrono::milliseconds(1234));
    event.fields.push_back(flag_field("ok", true));
    event.fields[0].value = std::string("a \"b\"\n\xff");
    const std::string line = json_line(event);
    EXPECT_EQ(line, "{\"n\":7,\"t\":1.234,\"event\":\"reading\",\"slot\":2,\"sensor\":\"a \\\"b\\\"\\n\xEF\xBF\xBD\","
                    "\"value\":-5,\"ok\":true}");
    EXPECT_EQ(nlohmann::json::parse(line).at("value"), -5);
}

} // namespace
