// Each converter against a hand-written loop of the same swaps, and against the same loop over boost::endian. Arrays
// are full, the messages lie in the first-level cache.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "hand_converters.h"
#include "orva_comm.h"
#include "ratio_report.h"

namespace {

struct Converter {
    const char *name;
    orva_bench::Convert convert;
    int countOffset; // of a count, -1 for none
    int secondCountOffset;
};

constexpr Converter kConverters[] = {
    {"SwitchOverMsgToHost", ORVA_AGENT_ChgSwitchOverMsgToHost, -1, -1},
    {"SwitchOverMsgToNet", ORVA_AGENT_ChgSwitchOverMsgToNet, -1, -1},
    {"SenAlmReqMsgToHost", ORVA_AGENT_ChgSenAlmReqMsgToHost, -1, -1},
    {"SenAlmReqMsgToNet", ORVA_AGENT_ChgSenAlmReqMsgToNet, -1, -1},
    {"AddrRegMsgToHost", ORVA_AGENT_ChgAddrRegMsgToHost, -1, -1},
    {"AddrAckMsgToNet", ORVA_AGENT_ChgAddrAckMsgToNet, -1, -1},
    {"TempInfoMsgToHost", ORVA_AGENT_ChgTempInfoMsgToHost, 19, -1},
    {"TempInfoMsgToNet", ORVA_AGENT_ChgTempInfoMsgToNet, 27, -1},
    {"VltInfoMsgToHost", ORVA_AGENT_ChgVltInfoMsgToHost, 19, -1},
    {"VltInfoMsgToNet", ORVA_AGENT_ChgVltInfoMsgToNet, 27, -1},
    {"MpuMngSensorInfoToHost", ORVA_AGENT_ChgMpuMngSensorInfoToHost, 16, 17},
    {"MpuMngSensorInfoToNet", ORVA_AGENT_ChgMpuMngSensorInfoToNet, 16, 17},
    {"MpuMngSensorInfoMsgToNet", ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet, 24, 25},
    {"SubCardInfoMsgToHost", ORVA_AGENT_ChgSubCardInfoMsgToHost, 21, 22},
    {"SubCardInfoMsgToNet", ORVA_AGENT_ChgSubCardInfoMsgToNet, 29, 30},
    {"CardAttrMsgToHost", ORVA_AGENT_ChgCardAttrMsgToHost, -1, -1},
    {"CardAttrMsgToNet", ORVA_AGENT_ChgCardAttrMsgToNet, -1, -1},
    {"CardHumidMsgToHost", ORVA_AGENT_ChgCardHumidMsgToHost, -1, -1},
    {"CardHumidMsgToNet", ORVA_AGENT_ChgCardHumidMsgToNet, -1, -1},
    {"SimulateMsgToHost", ORVA_AGENT_ChgSimulateMsgToHost, 3, -1},
    {"SimulateMsgToNet", ORVA_AGENT_ChgSimulateMsgToNet, 8, -1},
    {"SoNameReqToHost", ORVA_AGENT_ChgSoNameReqToHost, -1, -1},
    {"SoNameReqToNet", ORVA_AGENT_ChgSoNameReqToNet, -1, -1},
    {"SoNameAckToHost", ORVA_AGENT_ChgSoNameAckToHost, 3, -1},
    {"SoNameAckToNet", ORVA_AGENT_ChgSoNameAckToNet, 8, -1},
    {"FrameAttrMsgToHost", ORVA_AGENT_ChgFrameAttrMsgToHost, -1, -1},
    {"ReqFrameAtrrMsgToNet", ORVA_AGENT_ChgReqFrameAtrrMsgToNet, -1, -1},
    {"ReqMsgToHost", ORVA_AGENT_ChgReqMsgToHost, -1, -1},
    {"ReqMsgToNet", ORVA_AGENT_ChgReqMsgToNet, -1, -1},
    {"FrameCardPowerStateMsgToHost", ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, -1, -1},
    {"FrameCardPowerStateMsgToNet", ORVA_AGENT_ChgFrameCardPowerStateMsgToNet, -1, -1},
    {"PowerStateMsgToNet", ORVA_AGENT_ChgPowerStateMsgToNet, -1, -1},
    {"PwrSenCfgMsgToHost", ORVA_AGENT_ChgPwrSenCfgMsgToHost, 87, -1},
    {"PwrSenCfgMsgToNet", ORVA_AGENT_ChgPwrSenCfgMsgToNet, 95, -1},
    {"HeartBeatMsgToHost", ORVA_AGENT_ChgHeartBeatMsgToHost, -1, -1},
    {"HeartBeatMsgToNet", ORVA_AGENT_ChgHeartBeatMsgToNet, -1, -1},
    {"SensorCtrlMsgToHost", ORVA_AGENT_ChgSensorCtrlMsgToHost, -1, -1},
    {"SensorCtrlMsgToNet", ORVA_AGENT_ChgSensorCtrlMsgToNet, -1, -1},
};

constexpr std::size_t kMessageBytes = 6336; // not a multiple of a page, so that the messages' words do not alias
constexpr std::size_t kMessages = 4;        // together less than the first-level cache
constexpr std::uint8_t kFullCount = 168;

struct alignas(64) Message {
    std::uint8_t bytes[kMessageBytes];
};

Message message_for(const Converter &row) {
    Message message{};
    for (const int offset : {row.countOffset, row.secondCountOffset}) {
        if (offset >= 0) {
            message.bytes[offset] = kFullCount;
        }
    }
    return message;
}

// Several messages in turn: each is converted once and then left alone for a while, as messages are.
orva_bench::Work repeated(orva_bench::Convert convert, const Converter &row) {
    auto messages = std::make_shared<std::vector<Message>>(kMessages, message_for(row));
    return [convert, messages](std::uint64_t times) {
        for (std::uint64_t i = 0; i < times; ++i) {
            convert((*messages)[i % kMessages].bytes);
            benchmark::ClobberMemory();
        }
    };
}

// The two must do the same, or their times say nothing.
bool do_the_same(const Converter &row, orva_bench::Convert other) {
    Message ours = message_for(row);
    for (int i = 0; i < static_cast<int>(kMessageBytes); ++i) {
        const bool isCount = row.countOffset >= 0 && i >= row.countOffset - 8 && i <= row.countOffset + 8;
        if (!isCount && i != row.secondCountOffset) {
            ours.bytes[i] = static_cast<std::uint8_t>(i * 37 + 1);
        }
    }
    Message theirs = ours;
    row.convert(ours.bytes);
    other(theirs.bytes);
    return std::memcmp(&ours, &theirs, sizeof ours) == 0;
}

} // namespace

int main(int argc, char **argv) {
    std::size_t count = 0;
    const orva_bench::HandConverter *hand = orva_bench_hand_converters(&count);
    orva_bench::RatioReport report;
    for (std::size_t i = 0; i < std::size(kConverters); ++i) {
        const Converter &row = kConverters[i];
        if (i >= count || std::strcmp(hand[i].name, row.name) != 0 || !do_the_same(row, hand[i].byBuiltin) ||
            !do_the_same(row, hand[i].byBoost)) {
            std::fprintf(stderr, "%s: the hand-written loop does not do the same\n", row.name);
            return 2;
        }
        const orva_bench::Work ours = repeated(row.convert, row);
        report.add(row.name, "hand", ours, repeated(hand[i].byBuiltin, row), orva_bench::Goal::kAtMostTime, 1.05);
        report.add(row.name, "boost::endian", ours, repeated(hand[i].byBoost, row), orva_bench::Goal::kAtMostTime,
                   1.05);
    }
    return report.run(argc, argv);
}
