// Unit tests of a user's agent, without a board, without other processes and without waiting: the agent's code runs
// against the library and the test kit's double of everything around it.
//
// Build:  c++ -std=c++20 agent_test.cpp $(pkg-config --cflags --libs orva_comm_testing) -lgtest -lgtest_main
// With CMake, link orva_comm::orva_comm_testing and GTest::gtest_main.

#include <array>
#include <cstring>
#include <ctime>
#include <dlfcn.h>

#include "clock_double.h"
#include "library_double.h"
#include "orva_comm.h"
#include "orva_drvadp_comm.h"
#include "platform_double.h"
#include "queue_double.h"

// ---- The agent: answers requests of its queue with the temperature that a vendor's library reads.

namespace {

constexpr std::uint32_t kModule = 3;
constexpr std::uint32_t kBodySize = 16; // kind, sender's slot, receiver's slot, temperature
constexpr std::int64_t kSampleSeconds = 5;

struct TemperatureAgent {
    std::uint32_t slot = 0;
    std::uint32_t queue = 0;
    std::int32_t (*readCelsius)() = nullptr;
    std::int64_t sampledAt = -kSampleSeconds;
    std::int32_t celsius = 0;
};

std::uint32_t start(TemperatureAgent &agent) {
    if (ORVA_DRVADP_GetSelfSlotID(&agent.slot) != ORVA_OK) {
        return ORVA_FAILED;
    }
    void *const library = dlopen("libthermometer.so", RTLD_NOW);
    if (library == nullptr) {
        return ORVA_FAILED;
    }
    agent.readCelsius = reinterpret_cast<std::int32_t (*)()>(dlsym(library, "thermometer_celsius"));
    return agent.readCelsius == nullptr ? ORVA_FAILED : ORVA_QueueCreate(kModule, &agent.queue);
}

// The sensor is slow: it is read once in five seconds.
std::int32_t temperature(TemperatureAgent &agent) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec - agent.sampledAt >= kSampleSeconds) {
        agent.celsius = agent.readCelsius();
        agent.sampledAt = now.tv_sec;
    }
    return agent.celsius;
}

// Answers one request into `replies`. ORVA_FAILED when none waits.
std::uint32_t answer_one(TemperatureAgent &agent, std::uint32_t replies) {
    std::array<std::uint32_t, kBodySize / 4> body = {};
    if (ORVA_QueueAsyRead(agent.queue, body.data(), kBodySize, ORVA_QUEUE_MESSAGE_TYPE) != kBodySize) {
        return ORVA_FAILED;
    }
    ORVA_AGENT_ChgReqMsgToHost(body.data());
    const std::uint32_t checked = ORVA_AGENT_CheckReqMsgValidity(static_cast<std::uint8_t>(agent.slot), body.data());
    if (checked != ORVA_OK) {
        return checked;
    }
    body = {ORVA_AGENT_REPLY, agent.slot, body[1], static_cast<std::uint32_t>(temperature(agent))};
    ORVA_AGENT_ChgReqMsgToNet(body.data());
    return ORVA_QueueAsyWrite(replies, body.data(), kBodySize);
}

// ---- Its tests

using orva_test::fail;

std::int32_t g_celsius = 0;
unsigned g_samples = 0;

std::int32_t fake_celsius() {
    ++g_samples;
    return g_celsius;
}

class TemperatureAgentTest : public orva_test::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        orva_test::stop_clock(1'000);
        orva_test::platform().slot = 4;
        libraries_.present["libthermometer.so"]["thermometer_celsius"] = reinterpret_cast<void *>(fake_celsius);
        libraries_.install();
        queues_.install();
        g_celsius = 41;
        g_samples = 0;
    }

    void start_agent() {
        ASSERT_EQ(start(agent_), ORVA_OK);
        ASSERT_EQ(ORVA_QueueCreate(kModule + 1, &replies_), ORVA_OK);
    }

    // A request as it is on the wire: big-endian words.
    void request(char kind, char from, char to) {
        const char words[kBodySize] = {0, 0, 0, kind, 0, 0, 0, from, 0, 0, 0, to};
        queues_.waiting[static_cast<int>(agent_.queue)].push_back(
            {ORVA_QUEUE_MESSAGE_TYPE, std::string(words, sizeof words)});
    }

    std::string reply() {
        auto &waiting = queues_.waiting[static_cast<int>(replies_)];
        const std::string payload = waiting.empty() ? "" : waiting.front().payload;
        waiting.clear();
        return payload;
    }

    orva_test::Libraries libraries_;
    orva_test::Queues queues_;
    TemperatureAgent agent_;
    std::uint32_t replies_ = 0;
};

TEST_F(TemperatureAgentTest, Answers_WithSlotsAndTemperatureInNetworkByteOrder) {
    start_agent();
    request(1, 7, 4);
    EXPECT_EQ(answer_one(agent_, replies_), ORVA_OK);
    EXPECT_EQ(reply(), std::string("\0\0\0\2\0\0\0\4\0\0\0\7\0\0\0\x29", kBodySize));
}

TEST_F(TemperatureAgentTest, SamplesOnceInFiveSeconds) {
    start_agent();
    for (int second = 0; second < 11; ++second) {
        request(1, 7, 4);
        EXPECT_EQ(answer_one(agent_, replies_), ORVA_OK);
        orva_test::step_clock_ms(1'000);
    }
    EXPECT_EQ(g_samples, 3u);
}

TEST_F(TemperatureAgentTest, RequestForAnotherBoardIsLoggedAndNotAnswered) {
    start_agent();
    request(1, 7, 5);
    EXPECT_EQ(answer_one(agent_, replies_), ORVA_ERR_REQ_DEST_SLOT);
    EXPECT_EQ(reply(), "");
}

TEST_F(TemperatureAgentTest, DoesNotStartWithoutSlotOrLibrary) {
    orva_test::platform().slot.reset();
    EXPECT_EQ(start(agent_), ORVA_FAILED);
    orva_test::platform().slot = 4;
    libraries_.present.clear();
    EXPECT_EQ(start(agent_), ORVA_FAILED);
    EXPECT_EQ(libraries_.calls.back(), "open libthermometer.so " + std::to_string(RTLD_NOW));
}

// Every allocation of the request path fails once; the agent drops the request, leaks nothing and answers the next.
TEST_F(TemperatureAgentTest, SurvivesEveryFailedAllocation) {
    start_agent();
    const unsigned failures = orva_test::walk_allocation_failures(
        [&] {
            request(1, 7, 4);
            answer_one(agent_, replies_);
        },
        [&](unsigned nth) {
            EXPECT_EQ(reply(), "") << "allocation " << nth;
            EXPECT_EQ(orva_test::live_blocks(), 0u);
            queues_.waiting[static_cast<int>(agent_.queue)].clear();
        });
    EXPECT_EQ(failures, 2u); // the buffer of the read and that of the write
    EXPECT_NE(reply(), "");
}

TEST_F(TemperatureAgentTest, FullReplyQueueIsToldToTheCaller) {
    start_agent();
    request(1, 7, 4);
    fail("msgsnd", 1, -1, EAGAIN);
    EXPECT_EQ(answer_one(agent_, replies_), ORVA_ERR_QUEUE_WRITE_SEND);
}

} // namespace
