// Header, length and checksum checks of received messages against plain models. Input: which check, then its
// arguments.
#include "fuzz_input.h"
#include "orva_comm.h"
#include "platform_double.h"

namespace {

std::uint32_t request_model(std::uint32_t own, std::uint32_t kind, std::uint32_t from, std::uint32_t to) {
    if (kind != 1) {
        return ORVA_ERR_REQ_KIND;
    }
    if (from > 30) {
        return ORVA_ERR_REQ_SRC_SLOT;
    }
    return to == 0xFFFFFFFF || to == own ? ORVA_OK : ORVA_ERR_REQ_DEST_SLOT;
}

std::uint32_t reply_model(std::uint32_t own, std::uint32_t kind, std::uint32_t from, std::uint32_t to) {
    if (kind != 2) {
        return ORVA_ERR_ACK_KIND;
    }
    if (from > 30) {
        return ORVA_ERR_ACK_SRC_SLOT;
    }
    return to == own ? ORVA_OK : ORVA_ERR_ACK_DEST_SLOT;
}

void check_headers(fuzz::Front &front) {
    const std::uint8_t own = front.byte();
    const std::uint32_t header[3] = {front.word(), front.word(), front.word()};
    REQUIRE(ORVA_AGENT_CheckReqMsgValidity(own, header) == request_model(own, header[0], header[1], header[2]));
    REQUIRE(ORVA_AGENT_CheckAckMsgValidity(own, header) == reply_model(own, header[0], header[1], header[2]));
}

void check_lengths(fuzz::Front &front) {
    const std::uint32_t module = front.byte() % (ORVA_PACKET_MODULE_AGENT_MGR + 1);
    const std::uint32_t real = front.word(), packet = front.word();
    REQUIRE((ORVA_CheckPakcetLen(module, real, packet) == ORVA_OK) == (real <= packet));
    const std::uint32_t netFn = front.word(), command = front.word();
    REQUIRE(ORVA_CheckPakcetLenByMsg(module, real, packet, netFn, command) ==
            (real <= packet ? ORVA_OK : ORVA_ERR_PACKET_LENGTH));
}

std::uint8_t sum(const std::string &bytes) {
    unsigned total = 0;
    for (const char byte : bytes) {
        total += static_cast<std::uint8_t>(byte);
    }
    return static_cast<std::uint8_t>(total);
}

void check_frame(fuzz::Front &front) {
    const bool repair = (front.byte() & 1) != 0;
    std::string frame = front.rest();
    if (frame.size() < 3) {
        return;
    }
    if (repair) { // random frames rarely have right sums
        frame[2] = static_cast<char>(frame[2] - sum(frame.substr(0, 3)));
        if (frame.size() > 3) {
            frame.back() = static_cast<char>(frame.back() - sum(frame.substr(3)));
        }
    }
    const auto copy = fuzz::exact_bytes(frame);
    std::uint32_t expected = sum(frame.substr(3)) != 0 ? ORVA_ERR_IPMB_DATA_SUM : ORVA_OK;
    expected = sum(frame.substr(0, 3)) != 0 ? ORVA_ERR_IPMB_HEADER_SUM : expected;
    REQUIRE(ORVA_TRANS_CheckIpmbSum(copy.get(), static_cast<std::uint32_t>(frame.size())) == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Front front(data, size);
    orva_test::reset_platform();
    constexpr void (*kChecks[])(fuzz::Front &) = {check_headers, check_lengths, check_frame};
    kChecks[front.byte() % std::size(kChecks)](front);
    return 0;
}
