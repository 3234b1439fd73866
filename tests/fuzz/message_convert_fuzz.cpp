// Converters over arbitrary messages in buffers of exactly the size that they ask for: the first input byte chooses
// the converter, the second the address, the rest is the message. A converter never leaves its buffer, and where a
// converter undoes it, the two give the message back, but for a count that was cut.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "orva_comm.h"

namespace {

struct Converter {
    void (*convert)(void *);
    std::size_t bytes;
    void (*undo)(void *); // on the body; null when no converter undoes it
    std::size_t prefix;
    std::size_t clampedCount; // offset of a count that is cut to 96, 0 for none
};

constexpr Converter kConverters[] = {
    {ORVA_AGENT_ChgSwitchOverMsgToHost, 20, ORVA_AGENT_ChgSwitchOverMsgToHost, 0, 0},
    {ORVA_AGENT_ChgSwitchOverMsgToNet, 28, ORVA_AGENT_ChgSwitchOverMsgToHost, 8, 0},
    {ORVA_AGENT_ChgSenAlmReqMsgToHost, 16, ORVA_AGENT_ChgSenAlmReqMsgToNet, 0, 0},
    {ORVA_AGENT_ChgSenAlmReqMsgToNet, 16, ORVA_AGENT_ChgSenAlmReqMsgToHost, 0, 0},
    {ORVA_AGENT_ChgAddrRegMsgToHost, 20, ORVA_AGENT_ChgAddrRegMsgToHost, 0, 0},
    {ORVA_AGENT_ChgAddrAckMsgToNet, 28, ORVA_AGENT_ChgAddrRegMsgToHost, 8, 0},
    {ORVA_AGENT_ChgTempInfoMsgToHost, 564, ORVA_AGENT_ChgTempInfoMsgToHost, 0, 0},
    {ORVA_AGENT_ChgTempInfoMsgToNet, 572, ORVA_AGENT_ChgTempInfoMsgToHost, 8, 0},
    {ORVA_AGENT_ChgVltInfoMsgToHost, 1364, ORVA_AGENT_ChgVltInfoMsgToHost, 0, 0},
    {ORVA_AGENT_ChgVltInfoMsgToNet, 1372, ORVA_AGENT_ChgVltInfoMsgToHost, 8, 0},
    {ORVA_AGENT_ChgMpuMngSensorInfoToHost, 2852, ORVA_AGENT_ChgMpuMngSensorInfoToNet, 0, 0},
    {ORVA_AGENT_ChgMpuMngSensorInfoToNet, 2852, ORVA_AGENT_ChgMpuMngSensorInfoToHost, 0, 0},
    {ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet, 2860, ORVA_AGENT_ChgMpuMngSensorInfoToHost, 8, 0},
    {ORVA_AGENT_ChgSubCardInfoMsgToHost, 5316, ORVA_AGENT_ChgSubCardInfoMsgToHost, 0, 0},
    {ORVA_AGENT_ChgSubCardInfoMsgToNet, 5324, ORVA_AGENT_ChgSubCardInfoMsgToHost, 8, 0},
    {ORVA_AGENT_ChgCardAttrMsgToHost, 24, ORVA_AGENT_ChgCardHumidMsgToHost, 0, 0},
    {ORVA_AGENT_ChgCardAttrMsgToNet, 32, ORVA_AGENT_ChgCardAttrMsgToHost, 8, 0},
    {ORVA_AGENT_ChgCardHumidMsgToHost, 24, ORVA_AGENT_ChgCardAttrMsgToHost, 0, 0},
    {ORVA_AGENT_ChgCardHumidMsgToNet, 32, ORVA_AGENT_ChgCardHumidMsgToHost, 8, 0},
    {ORVA_AGENT_ChgSimulateMsgToHost, 1252, nullptr, 0, 0},
    {ORVA_AGENT_ChgSimulateMsgToNet, 1260, ORVA_AGENT_ChgSimulateMsgToHost, 8, 0},
    {ORVA_AGENT_ChgSoNameReqToHost, 4, ORVA_AGENT_ChgSoNameReqToHost, 0, 0},
    {ORVA_AGENT_ChgSoNameReqToNet, 12, ORVA_AGENT_ChgSoNameReqToHost, 8, 0},
    {ORVA_AGENT_ChgSoNameAckToHost, 2180, nullptr, 0, 0},
    {ORVA_AGENT_ChgSoNameAckToNet, 2188, ORVA_AGENT_ChgSoNameAckToHost, 8, 0},
    {ORVA_AGENT_ChgFrameAttrMsgToHost, 144, ORVA_AGENT_ChgFrameAttrMsgToHost, 0, 0},
    {ORVA_AGENT_ChgReqFrameAtrrMsgToNet, 152, ORVA_AGENT_ChgFrameAttrMsgToHost, 8, 0},
    {ORVA_AGENT_ChgReqMsgToHost, 16, ORVA_AGENT_ChgReqMsgToNet, 0, 0},
    {ORVA_AGENT_ChgReqMsgToNet, 16, ORVA_AGENT_ChgReqMsgToHost, 0, 0},
    {ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, 16, ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, 0, 0},
    {ORVA_AGENT_ChgFrameCardPowerStateMsgToNet, 24, ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, 8, 0},
    {ORVA_AGENT_ChgPowerStateMsgToNet, 60, nullptr, 8, 0},
    {ORVA_AGENT_ChgPwrSenCfgMsgToHost, 4300, ORVA_AGENT_ChgPwrSenCfgMsgToHost, 0, 87},
    {ORVA_AGENT_ChgPwrSenCfgMsgToNet, 4308, ORVA_AGENT_ChgPwrSenCfgMsgToHost, 8, 95},
    {ORVA_AGENT_ChgHeartBeatMsgToHost, 44, ORVA_AGENT_ChgHeartBeatMsgToHost, 0, 0},
    {ORVA_AGENT_ChgHeartBeatMsgToNet, 36, ORVA_AGENT_ChgSensorCtrlMsgToHost, 8, 0},
    {ORVA_AGENT_ChgSensorCtrlMsgToHost, 28, ORVA_AGENT_ChgSensorCtrlMsgToHost, 0, 0},
    {ORVA_AGENT_ChgSensorCtrlMsgToNet, 36, ORVA_AGENT_ChgSensorCtrlMsgToHost, 8, 0},
};

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void check(const Converter &row, std::size_t offset, const std::uint8_t *data, std::size_t size) {
    const std::size_t bytes = row.bytes;
    const auto storage = std::make_unique<std::uint8_t[]>(offset + bytes);
    const auto before = std::make_unique<std::uint8_t[]>(bytes);
    std::memcpy(before.get(), data, size < bytes ? size : bytes);
    std::uint8_t *const message = storage.get() + offset;
    std::memcpy(message, before.get(), bytes);
    row.convert(message);
    if (row.clampedCount != 0) {
        std::uint8_t &count = before[row.clampedCount];
        count = count > 96 ? std::uint8_t{96} : count;
        require(message[row.clampedCount] == count);
    }
    if (row.undo == nullptr) {
        return;
    }
    row.undo(message + row.prefix);
    if (row.prefix != 0) {
        require(message[0] == before[1] && message[1] == before[0]);
        require(std::memcmp(message + 2, before.get() + 2, row.prefix - 2) == 0);
    }
    require(std::memcmp(message + row.prefix, before.get() + row.prefix, bytes - row.prefix) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    check(kConverters[data[0] % std::size(kConverters)], data[1] % 8, data + 2, size - 2);
    return 0;
}
