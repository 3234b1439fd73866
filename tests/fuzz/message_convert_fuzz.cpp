// Converters over arbitrary messages in buffers of exactly the size that they ask for: the first input byte chooses
// the converter, the second the address, the rest is the message. The message becomes that of a plain model, so
// nothing outside the layout changes. The layouts are written here once more, from the contracts in orva_comm.h.
#include <cstdlib>
#include <iterator>

#include "fuzz_input.h"
#include "orva_comm.h"

namespace {

enum class Count : std::uint8_t { None, Byte, BigWord, HostWord };

// `times` fields of `width` bytes from `at`, `stride` apart. With a count at `countAt` they are as many as it says,
// `times` at most.
struct Field {
    unsigned width, at, times = 1, stride = 4;
    Count count = Count::None;
    unsigned countAt = 0;
};

struct Converter {
    void (*convert)(void *);
    std::size_t bytes;
    Field fields[8];
    unsigned clampedCount = 0; // offset of a count that is cut to 96, 0 for none
};

constexpr Field kPrefix{2, 0};
constexpr Field words(unsigned at, unsigned times) {
    return {4, at, times};
}
constexpr Field array(unsigned width, unsigned at, unsigned stride, unsigned countAt, unsigned bound) {
    return {width, at, bound, stride, Count::Byte, countAt};
}
constexpr Field counted(Count kind, unsigned width, unsigned at, unsigned stride, unsigned countAt, unsigned bound) {
    return {width, at, bound, stride, kind, countAt};
}

constexpr Converter kConverters[] = {
    {ORVA_AGENT_ChgSwitchOverMsgToHost, 20, {words(0, 5)}},
    {ORVA_AGENT_ChgSwitchOverMsgToNet, 28, {kPrefix, words(8, 5)}},
    {ORVA_AGENT_ChgSenAlmReqMsgToHost, 16, {words(0, 4)}},
    {ORVA_AGENT_ChgSenAlmReqMsgToNet, 16, {words(0, 4)}},
    {ORVA_AGENT_ChgAddrRegMsgToHost, 20, {words(0, 5)}},
    {ORVA_AGENT_ChgAddrAckMsgToNet, 28, {kPrefix, words(8, 5)}},
    {ORVA_AGENT_ChgTempInfoMsgToHost, 564, {words(0, 4), array(4, 24, 8, 19, 68)}},
    {ORVA_AGENT_ChgTempInfoMsgToNet, 572, {kPrefix, words(8, 4), array(4, 32, 8, 27, 68)}},
    {ORVA_AGENT_ChgVltInfoMsgToHost, 1364, {words(0, 4), array(4, 24, 8, 19, 168)}},
    {ORVA_AGENT_ChgVltInfoMsgToNet, 1372, {kPrefix, words(8, 4), array(4, 32, 8, 27, 168)}},
    {ORVA_AGENT_ChgMpuMngSensorInfoToHost,
     2852,
     {words(0, 4), array(2, 24, 12, 16, 68), array(4, 28, 12, 16, 68), array(2, 840, 12, 17, 168),
      array(4, 844, 12, 17, 168)}},
    {ORVA_AGENT_ChgMpuMngSensorInfoToNet,
     2852,
     {words(0, 4), array(2, 24, 12, 16, 68), array(4, 28, 12, 16, 68), array(2, 840, 12, 17, 168),
      array(4, 844, 12, 17, 168)}},
    {ORVA_AGENT_ChgMpuMngSensorInfoMsgToNet,
     2860,
     {kPrefix, words(8, 4), array(2, 32, 12, 24, 68), array(4, 36, 12, 24, 68), array(2, 848, 12, 25, 168),
      array(4, 852, 12, 25, 168)}},
    {ORVA_AGENT_ChgSubCardInfoMsgToHost,
     5316,
     {words(0, 5), array(4, 24, 8, 21, 14), array(2, 140, 22, 22, 168), array(2, 142, 22, 22, 168),
      array(2, 3838, 22, 22, 68), array(2, 3840, 22, 22, 68)}},
    {ORVA_AGENT_ChgSubCardInfoMsgToNet,
     5324,
     {kPrefix, words(8, 5), array(4, 32, 8, 29, 14), array(2, 148, 22, 30, 168), array(2, 150, 22, 30, 168),
      array(2, 3846, 22, 30, 68), array(2, 3848, 22, 30, 68)}},
    {ORVA_AGENT_ChgCardAttrMsgToHost, 24, {words(0, 4), words(20, 1)}},
    {ORVA_AGENT_ChgCardAttrMsgToNet, 32, {kPrefix, words(8, 4), words(28, 1)}},
    {ORVA_AGENT_ChgCardHumidMsgToHost, 24, {words(0, 4), words(20, 1)}},
    {ORVA_AGENT_ChgCardHumidMsgToNet, 32, {kPrefix, words(8, 4), words(28, 1)}},
    {ORVA_AGENT_ChgSimulateMsgToHost,
     1252,
     {words(0, 1), counted(Count::BigWord, 4, 4, 40, 0, 32), counted(Count::BigWord, 4, 8, 40, 0, 32)}},
    {ORVA_AGENT_ChgSimulateMsgToNet,
     1260,
     {kPrefix, words(8, 1), counted(Count::HostWord, 4, 12, 40, 8, 32), counted(Count::HostWord, 4, 16, 40, 8, 32)}},
    {ORVA_AGENT_ChgSoNameReqToHost, 4, {words(0, 1)}},
    {ORVA_AGENT_ChgSoNameReqToNet, 12, {kPrefix, words(8, 1)}},
    {ORVA_AGENT_ChgSoNameAckToHost,
     2180,
     {words(0, 1), counted(Count::BigWord, 2, 68, 68, 0, 32), counted(Count::BigWord, 2, 70, 68, 0, 32)}},
    {ORVA_AGENT_ChgSoNameAckToNet,
     2188,
     {kPrefix, words(8, 1), counted(Count::HostWord, 2, 76, 68, 8, 32), counted(Count::HostWord, 2, 78, 68, 8, 32)}},
    {ORVA_AGENT_ChgFrameAttrMsgToHost, 144, {words(0, 4), words(140, 1)}},
    {ORVA_AGENT_ChgReqFrameAtrrMsgToNet, 152, {kPrefix, words(8, 4), words(148, 1)}},
    {ORVA_AGENT_ChgReqMsgToHost, 16, {words(0, 4)}},
    {ORVA_AGENT_ChgReqMsgToNet, 16, {words(0, 4)}},
    {ORVA_AGENT_ChgFrameCardPowerStateMsgToHost, 16, {words(0, 4)}},
    {ORVA_AGENT_ChgFrameCardPowerStateMsgToNet, 24, {kPrefix, words(8, 4)}},
    {ORVA_AGENT_ChgPowerStateMsgToNet, 60, {kPrefix, words(8, 5), words(56, 1)}},
    {ORVA_AGENT_ChgPwrSenCfgMsgToHost,
     4300,
     {words(0, 4), words(80, 1), array(2, 2206, 22, 87, 96), array(2, 2208, 22, 87, 96)},
     87},
    {ORVA_AGENT_ChgPwrSenCfgMsgToNet,
     4308,
     {kPrefix, words(8, 4), words(88, 1), array(2, 2214, 22, 95, 96), array(2, 2216, 22, 95, 96)},
     95},
    {ORVA_AGENT_ChgHeartBeatMsgToHost, 44, {words(0, 8), words(36, 2)}},
    {ORVA_AGENT_ChgHeartBeatMsgToNet, 36, {kPrefix, words(8, 7)}},
    {ORVA_AGENT_ChgSensorCtrlMsgToHost, 28, {words(0, 7)}},
    {ORVA_AGENT_ChgSensorCtrlMsgToNet, 36, {kPrefix, words(8, 7)}},
};

std::uint32_t times_of(const Field &field, const std::string &message) {
    const auto *at = reinterpret_cast<const std::uint8_t *>(message.data()) + field.countAt;
    std::uint32_t count = field.times;
    if (field.count == Count::Byte) {
        count = *at;
    } else if (field.count == Count::BigWord) {
        count = std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
    } else if (field.count == Count::HostWord) {
        std::memcpy(&count, at, sizeof count);
    }
    return std::min(count, std::uint32_t{field.times});
}

std::string model(const Converter &row, const std::string &message) {
    std::string result = message;
    for (const Field &field : row.fields) {
        for (std::uint32_t i = 0; field.width != 0 && i < times_of(field, message); ++i) {
            const auto first = result.begin() + field.at + i * field.stride;
            std::reverse(first, first + field.width);
        }
    }
    if (row.clampedCount != 0) {
        auto &count = reinterpret_cast<std::uint8_t &>(result[row.clampedCount]);
        count = std::min<std::uint8_t>(count, 96);
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    const Converter &row = kConverters[front.byte() % std::size(kConverters)];
    const std::size_t offset = front.byte() % 8;
    std::string message = front.bytes(row.bytes);
    message.resize(row.bytes);
    const auto storage = std::make_unique<char[]>(offset + row.bytes);
    std::memcpy(storage.get() + offset, message.data(), row.bytes);
    row.convert(storage.get() + offset);
    REQUIRE(std::string(storage.get() + offset, row.bytes) == model(row, message));
    REQUIRE(std::string(storage.get(), offset) == std::string(offset, '\0'));
    return 0;
}
