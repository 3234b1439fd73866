// The pieces of the chassis's page: the model, the guard, the feed, the metrics, and what one request is answered.
#include "web/feed.h"
#include "web/guard.h"
#include "web/history.h"
#include "web/http_server.h"
#include "web/metrics.h"
#include "web/model.h"
#include "web/model_json.h"
#include "web/report.h"
#include "web/sentences.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace chassis;
using std::chrono::milliseconds;

constexpr const char *kToken = "0123456789abcdef0123456789abcdef";

class ModelTest : public testing::Test {
protected:
    ModelTest() {
        model_.add_board(3, 0x18010, default_sensors(3));
    }
    void add(EventKind kind, std::int32_t slot, std::vector<Field> fields) {
        Event event;
        event.number = ++number_;
        event.time = milliseconds(100 * static_cast<int>(number_));
        event.kind = kind;
        event.slot = slot;
        event.fields = std::move(fields);
        model_.take(event);
    }
    void read_outlet(std::int64_t value, const char *state, const char *source, std::int64_t hardware) {
        add(EventKind::kReading, 3,
            {text_field("sensor", "outlet"),
             {"value", value},
             text_field("state", state),
             text_field("source", source),
             {"hardware", hardware},
             text_field("shown", "38.0 C")});
    }
    void request(const char *result, std::uint64_t attempts = 1) {
        add(EventKind::kRequest, 3,
            {text_field("message", "temperature"), text_field("result", result), number_field("code", 0x01DA0006),
             number_field("attempts", attempts)});
    }
    const BoardView &board() const {
        return model_.boards().at(3);
    }
    const SensorView &outlet() const {
        return board().sensors[1];
    }
    std::string metrics() const {
        return metrics_text(model_, {2, 30, 4, 1});
    }

    ModelLimits limits_{Keep::kRecent, 8, 2, 5};
    Model model_{limits_};
    std::uint64_t number_ = 0;
};

TEST(History, Recent_KeepsTheNewestPoints) {
    History history(Keep::kRecent, 8);
    for (int i = 0; i < 1000; ++i) {
        history.add({i, i, i, false});
        const auto points = history.points();
        ASSERT_LE(points.size(), 8U);
        ASSERT_EQ(points.back().ms, i);
        for (std::size_t at = 1; at < points.size(); ++at) {
            ASSERT_EQ(points[at].ms, points[at - 1].ms + 1);
        }
    }
}

TEST(History, Whole_KeepsExtremesAndIsEquallyFineEverywhere) {
    History history(Keep::kWhole, 64);
    for (int i = 0; i < 10000; ++i) {
        const int value = i == 5000 ? 900 : i == 7000 ? -900 : i % 7;
        history.add({i, value, value, false});
        ASSERT_LE(history.points().size(), 64U + 3U);
        ASSERT_EQ(history.points().back().ms, i);
    }
    const auto points = history.points();
    const auto has = [&](std::int32_t value) {
        return std::ranges::any_of(points, [=](const HistoryPoint &point) { return point.value == value; });
    };
    EXPECT_TRUE(has(900) && has(-900));
    EXPECT_LT(points.front().ms, 10000 / 16);
    for (std::size_t i = 1; i < points.size(); ++i) {
        EXPECT_LT(points[i - 1].ms, points[i].ms);
        EXPECT_LT(points[i].ms - points[i - 1].ms, 2 * 10000 / 16);
    }
}

TEST_F(ModelTest, Board_HasItsStateItsProcessAndItsFaults) {
    add(EventKind::kProcess, 3,
        {text_field("state", "ended"), number_field("status", 137), number_field("starts", 2)});
    add(EventKind::kBoard, 3, {text_field("state", "lost"), text_field("reason", "its process ended")});
    EXPECT_EQ(board().state, "lost");
    EXPECT_EQ(board().type, 0x18010); // the event has none
    EXPECT_EQ(board().status, 137);
    EXPECT_EQ(board().starts, 2);
    const auto fault = [&](bool on) {
        add(EventKind::kFault, 3,
            {text_field("fault", "noise"), flag_field("on", on), text_field("sensor", "inlet"),
             text_field("text", "noise inlet")});
    };
    fault(true);
    fault(true);
    EXPECT_EQ(board().faults.size(), 1U);
    fault(false);
    EXPECT_TRUE(board().faults.empty());
}

TEST_F(ModelTest, Reading_IsKeptAndIsNewsWhenItsStateOrSourceChanges) {
    read_outlet(380, "normal", "hardware", 380);
    read_outlet(385, "normal", "hardware", 385);
    EXPECT_TRUE(model_.first_events().empty());
    read_outlet(905, "high", "stub", 386);
    EXPECT_EQ(model_.first_events().size(), 1U);
    EXPECT_EQ(sentence_of(model_.first_events()[0].event),
              "outlet is overridden (stub), high; the hardware says 38.0 C");
    EXPECT_EQ(outlet().value, 905);
    EXPECT_EQ(outlet().hardware, 386);
    EXPECT_EQ(outlet().history.points(),
              (std::vector<HistoryPoint>{{100, 380, 380, false}, {200, 385, 385, false}, {300, 905, 386, true}}));
}

TEST_F(ModelTest, Requests_AreCountedByTheirEnd) {
    for (const char *result : {"answered", "answered", "refused", "unanswered", "lost"}) {
        request(result);
    }
    request("answered", 3);
    EXPECT_EQ(board().requests.answered, 3U);
    EXPECT_EQ(board().requests.refused, 1U);
    EXPECT_EQ(board().requests.unanswered, 1U);
    EXPECT_EQ(board().requests.lost, 1U);
    EXPECT_EQ(board().requests.repeats, 2U);
    EXPECT_EQ(model_.count(EventKind::kRequest), 6U);
}

TEST_F(ModelTest, Events_StayBoundedWithTheFirstAndTheLast) {
    for (int i = 0; i < 100; ++i) {
        request("refused");
    }
    EXPECT_EQ(model_.first_events().size(), 2U);
    EXPECT_EQ(model_.last_events().size(), 5U);
    EXPECT_EQ(model_.left_out(), 93U);
    EXPECT_EQ(model_.last_events().back().event.number, 100U);
    add(EventKind::kLog, 3, {text_field("log", "diagnostic"), text_field("text", std::string(100000, 'x'))});
    EXPECT_LT(model_.last_events().back().event.text("text").size(), 3000U);
}

TEST_F(ModelTest, BoardThatNobodyPlanned_AppearsWithItsFirstEvent) {
    add(EventKind::kBoard, 7,
        {text_field("state", "online"), text_field("reason", "it has registered"), number_field("type", 0x12018),
         text_field("address", "172.16.7.250")});
    EXPECT_EQ(model_.boards().at(7).type, 0x12018);
    EXPECT_EQ(model_.boards().at(7).sensors.size(), default_sensors(7).size());
    EXPECT_EQ(model_.boards().at(7).address, "172.16.7.250");
}

TEST_F(ModelTest, Changes_AreThoseSinceARevision) {
    read_outlet(905, "high", "stub", 386);
    const std::uint64_t seen = model_.revision();
    EXPECT_EQ(changes_json(model_, seen).find("\"boards\":[]") == std::string::npos, false);
    request("refused");
    const std::string changes = changes_json(model_, seen);
    EXPECT_NE(changes.find("\"slot\":3"), std::string::npos);
    EXPECT_NE(snapshot_json(model_).find("\"refused\":1"), std::string::npos);
    EXPECT_EQ(history_json(model_, 3).value_or("").find("[0.1,905,386,1]") == std::string::npos, false);
    EXPECT_FALSE(history_json(model_, 8));
}

TEST_F(ModelTest, Report_HoldsNoMarkThatEndsItsScript) {
    add(EventKind::kLog, 3, {text_field("log", "diagnostic"), text_field("text", "</script><b>\xff\xfe")});
    const std::string report = report_text(model_, "name = \"</script>@DATA@\"");
    std::size_t ends = 0;
    for (std::size_t at = report.find("</script>"); at != std::string::npos; at = report.find("</script>", at + 1)) {
        ++ends;
    }
    EXPECT_EQ(ends, 4U); // the data and three programs
    EXPECT_NE(report.find("\\u003c/script>@DATA@"), std::string::npos);
    EXPECT_EQ(report.find("@STYLE@"), std::string::npos);
    EXPECT_EQ(report.find("src="), std::string::npos);
}

TEST_F(ModelTest, Metrics_TellWhatTheModelHas) {
    read_outlet(905, "high", "stub", 386);
    request("unanswered");
    add(EventKind::kRun, kNoBoard, {text_field("scenario", "a \"b\"\\\n"), number_field("seed", 7)});
    model_.set_stages(3, {{"queue read", 5, 1000, 2000, 3000}});
    model_.set_manager_figures({1, 2, 3, 4, 5, 6, 7, 8});
    for (const char *line : {
             "orva_sensor_temperature_celsius{slot=\"3\",sensor=\"outlet\"} 90.5\n",
             "orva_sensor_hardware_temperature_celsius{slot=\"3\",sensor=\"outlet\"} 38.6\n",
             "orva_sensor_high_voltage_volts{slot=\"3\",sensor=\"12V\"} 12.6\n",
             "orva_sensor_normal{slot=\"3\",sensor=\"outlet\"} 0\n",
             "orva_sensor_overridden{slot=\"3\",sensor=\"outlet\"} 1\n",
             "orva_board_state{slot=\"3\",state=\"starting\"} 1\n",
             "orva_requests_total{slot=\"3\",result=\"unanswered\"} 1\n",
             "orva_request_path_seconds{slot=\"3\",stage=\"queue read\",statistic=\"mean\"} 2e-06\n",
             "orva_log_records_dropped{slot=\"0\",process=\"manager\"} 2\n",
             "scenario=\"a \\\"b\\\"\\\\\\n\",seed=\"7\"",
             "orva_web_dropped_clients_total 1\n",
         }) {
        EXPECT_NE(metrics().find(line), std::string::npos) << line << metrics();
    }
    EXPECT_EQ(metrics().find("orva_sensor_temperature_celsius{slot=\"3\",sensor=\"inlet\"}"), std::string::npos);
}

TEST(Feed, Next_GivesEveryMessageInOrderThenNothing) {
    Feed feed(3);
    std::uint64_t seen = feed.last();
    Feed::Text text;
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kNothing);
    feed.publish("one");
    feed.publish("two");
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kMessage);
    EXPECT_EQ(*text, "one");
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kMessage);
    EXPECT_EQ(*text, "two");
    feed.publish("three");
    feed.close();
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kMessage);
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kClosed);
}

TEST(Feed, Next_TellsAReaderThatItIsTooSlow) {
    Feed feed(3);
    std::uint64_t seen = feed.last();
    Feed::Text text;
    for (int i = 0; i < 3; ++i) {
        feed.publish("message");
    }
    std::uint64_t other = seen;
    EXPECT_EQ(feed.next(other, milliseconds(0), text), Feed::Outcome::kMessage);
    feed.publish("message");
    EXPECT_EQ(feed.next(seen, milliseconds(0), text), Feed::Outcome::kTooSlow);
    EXPECT_EQ(feed.next(other, milliseconds(0), text), Feed::Outcome::kMessage);
}

TEST(Feed, Close_WakesWhoWaits) {
    Feed feed(3);
    std::thread reader([&] {
        std::uint64_t seen = 0;
        Feed::Text text;
        EXPECT_EQ(feed.next(seen, std::chrono::hours(1), text), Feed::Outcome::kClosed);
    });
    feed.close();
    reader.join();
}

TEST(WebAddress, IsAnAddressOrANameAndAPort) {
    EXPECT_EQ(web_address("127.0.0.1:80"), (WebAddress{"127.0.0.1", 80}));
    EXPECT_EQ(web_address("Lab-3.Example.org:65535"), (WebAddress{"lab-3.example.org", 65535}));
    EXPECT_EQ(web_address("[::1]:0"), (WebAddress{"::1", 0}));
    for (const char *wrong : {"", ":", ":80", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "a b:80",
                              "[::1]", "[127.0.0.1]:80", "::1:80", "127.0.0.1:80 ", "a@b:80"}) {
        EXPECT_FALSE(web_address(wrong)) << wrong;
    }
    EXPECT_EQ(web_address_text({"::1", 80}), "[::1]:80");
}

struct GuardCase {
    const char *name;
    const char *served; // address
    const char *host;
    int status; // 0: served
};

constexpr std::array kGuardCases = {
    GuardCase{"own", "127.0.0.1:80", "127.0.0.1:80", 0},
    GuardCase{"default port", "127.0.0.1:80", "127.0.0.1", 0},
    GuardCase{"name of loopback", "127.0.0.1:8080", "LocalHost:8080", 0},
    GuardCase{"other port", "127.0.0.1:8080", "127.0.0.1:8081", 421},
    GuardCase{"foreign", "127.0.0.1:8080", "example.org:8080", 421},
    GuardCase{"foreign that begins like it", "127.0.0.1:8080", "127.0.0.1.example.org:8080", 421},
    GuardCase{"machine on loopback", "127.0.0.1:8080", "bench3:8080", 421},
    GuardCase{"machine", "0.0.0.0:8080", "bench3:8080", 0},
    GuardCase{"any address", "0.0.0.0:8080", "192.168.1.7:8080", 0},
    GuardCase{"any IPv6 address", "[::]:8080", "[fe80::1]:8080", 0},
    GuardCase{"foreign everywhere", "0.0.0.0:8080", "example.org:8080", 421},
    GuardCase{"given name", "lab.example.org:8080", "lab.example.org:8080", 0},
    GuardCase{"loopback of a given name", "lab.example.org:8080", "localhost:8080", 421},
};

TEST(Guard, Refusal_KnowsTheServersOwnNames) {
    for (const GuardCase &row : kGuardCases) {
        const Guard guard(*web_address(row.served), "Bench3", kToken);
        const auto refusal = guard.refusal({"GET", {row.host}, {}, {}, ""});
        EXPECT_EQ(refusal ? refusal->status : 0, row.status) << row.name;
        const auto origin = guard.refusal({"GET", {row.host}, {std::string("http://") + row.host}, {}, ""});
        EXPECT_EQ(origin ? origin->status : 0, row.status) << row.name;
    }
}

TEST(Guard, Token_IsLongAndNew) {
    EXPECT_EQ(make_token().size(), 32U);
    EXPECT_NE(make_token(), make_token());
}

class Requests : public testing::Test {
protected:
    std::string answer(const std::string &request) {
        return serve_bytes(request, guard_, site_);
    }
    std::string command(const std::string &headers, const std::string &body) {
        return answer("POST /command HTTP/1.1\r\nHost: localhost:8080\r\nContent-Type: application/json\r\n" +
                      headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }

    std::string commands_;
    Guard guard_{*web_address("127.0.0.1:8080"), "bench3", kToken};
    Site site_{[](std::uint64_t &seen) {
                   seen = 0;
                   return std::string("{\"snapshot\":1}");
               },
               [](std::int32_t slot) { return slot == 3 ? std::optional<std::string>("{}") : std::nullopt; },
               [](const ServerCounts &) { return std::string("metrics\n"); },
               [this](const std::string &body) {
                   commands_ += body;
                   return CommandReply{200, "{}"};
               },
               [] {}};
};

TEST_F(Requests, Page_HasAPolicyThatAllowsNothingFromElsewhere) {
    const std::string page = answer("GET / HTTP/1.1\r\nHost: localhost:8080\r\n\r\n");
    EXPECT_EQ(page.rfind("HTTP/1.1 200 OK\r\n", 0), 0U);
    EXPECT_NE(page.find("\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; "), std::string::npos);
    EXPECT_NE(page.find("\r\nConnection: close\r\n"), std::string::npos);
    EXPECT_NE(page.find("</html>"), std::string::npos);
    const std::string head = answer("HEAD / HTTP/1.1\r\nHost: localhost:8080\r\n\r\n");
    EXPECT_EQ(head.find("</html>"), std::string::npos);
}

TEST_F(Requests, Live_BeginsWithTheSnapshot) {
    const std::string stream = answer("GET /live HTTP/1.1\r\nHost: localhost:8080\r\n\r\n");
    ASSERT_GT(stream.size(), 5U);
    EXPECT_NE(stream.find("Content-Type: text/event-stream\r\n"), std::string::npos);
    EXPECT_NE(stream.find("event: snapshot\ndata: {\"snapshot\":1}\n\n"), std::string::npos);
    EXPECT_EQ(stream.substr(stream.size() - 5), "0\r\n\r\n");
}

TEST_F(Requests, Command_NeedsTheTokenAndReachesTheSiteOnce) {
    EXPECT_EQ(command("", "{}").rfind("HTTP/1.1 403 ", 0), 0U);
    EXPECT_EQ(command("X-Orva-Token: wrong\r\n", "{}").rfind("HTTP/1.1 403 ", 0), 0U);
    const std::string token = std::string("X-Orva-Token: ") + kToken + "\r\n";
    EXPECT_EQ(command(token + token, "{}").rfind("HTTP/1.1 403 ", 0), 0U);
    EXPECT_EQ(command(token + "Origin: http://example.org\r\n", "{}").rfind("HTTP/1.1 403 ", 0), 0U);
    EXPECT_EQ(command(token, std::string(5000, ' ')).rfind("HTTP/1.1 413 ", 0), 0U);
    EXPECT_EQ(commands_, "");
    EXPECT_EQ(command(token, "{1}").rfind("HTTP/1.1 200 ", 0), 0U);
    EXPECT_EQ(commands_, "{1}");
}

TEST_F(Requests, OneRequestAConnection_WhateverFollowsIt) {
    const std::string two = "GET /metrics HTTP/1.1\r\nHost: localhost:8080\r\n\r\n";
    const std::string both = answer(two + two);
    EXPECT_EQ(both.find("HTTP/1.1", 8), std::string::npos) << both;
}

TEST_F(Requests, RangesAreNotServed) {
    const std::string part = answer("GET /metrics HTTP/1.1\r\nHost: localhost:8080\r\nRange: bytes=0-1,0-1\r\n\r\n");
    EXPECT_EQ(part.rfind("HTTP/1.1 200 ", 0), 0U);
    EXPECT_NE(part.find("\r\n\r\nmetrics\n"), std::string::npos) << part;
}

} // namespace
