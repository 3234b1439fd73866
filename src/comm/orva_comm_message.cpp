// Agent messages before conversion: header and length checks, IPMB sums, addresses, and the configuration nibbles.
#include "orva_comm.h"

#include <cstdint>

#include "bytes.h"
#include "log_record.h"
#include "orva_diag.h"
#include "orva_drvadp_comm.h"

namespace {

constexpr orva::Area kArea = orva::make_area("src/comm/orva_comm");

constexpr char kPacketModules[][12] = {"TQ9XA", "TQ9XB", "FAN", "PM", "AGENT", "MBUS", "AGENT_MGR"};
constexpr std::uint32_t kPacketLengthLine = 994;
constexpr char kPacketLengthText[] = "Invalid packet length, module: %s, realLen: %u, pktLen: %u, netFn: %u, cmd: %u";

constexpr std::uint32_t kChassisNet = 0xAC100000; // 172.16.0.0/16

constexpr std::uint8_t kFirstI2cMode = 3;
constexpr std::uint8_t kIsCheckedI2cMode[] = {1, 1, 0, 0, 0, 0, 1, 0, 1, 1}; // modes 3 to 12

struct HeaderWords {
    std::uint32_t kind;
    std::uint32_t srcSlot;
    std::uint32_t destSlot;
};

// The low 8 bits of the sum of the bytes from `begin` up to `end`.
std::uint8_t byte_sum(const std::uint8_t *frame, std::uint32_t begin, std::uint32_t end) {
    std::uint8_t sum = 0;
    for (std::uint32_t i = begin; i < end; ++i) {
        sum = static_cast<std::uint8_t>(sum + frame[i]);
    }
    return sum;
}

} // namespace

uint32_t ORVA_AGENT_CheckReqMsgValidity(uint8_t ownSlot, const uint32_t *header) {
    ORVA_AGENT_CheckReqMsgValidityPath();
    const auto words = orva::load_host<HeaderWords>(header);
    if (words.kind != ORVA_AGENT_REQUEST) {
        ORVA_LOG_DEBUG("The ReqOrReply flag is invalid, ReqOrReply: %u.", words.kind);
        return ORVA_ERR_REQ_KIND;
    }
    if (words.srcSlot > ORVA_AGENT_SLOT_MAX) {
        ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", words.srcSlot);
        return ORVA_ERR_REQ_SRC_SLOT;
    }
    if (words.destSlot != ORVA_AGENT_ALL_SLOTS && words.destSlot != ownSlot) {
        ORVA_LOG_DEBUG("The DestSlot is invalid, DestSlot: %u.", words.destSlot);
        return ORVA_ERR_REQ_DEST_SLOT;
    }
    return ORVA_OK;
}

void ORVA_AGENT_CheckReqMsgValidityPath() {}

// Compat: callers' code. Unlike a request, a reply calls no hook and is refused when it is for all boards.
uint32_t ORVA_AGENT_CheckAckMsgValidity(uint8_t ownSlot, const uint32_t *header) {
    const auto words = orva::load_host<HeaderWords>(header);
    if (words.kind != ORVA_AGENT_REPLY) {
        ORVA_LOG_DEBUG("The ReqOrReply flag is invalid, ReqOrReply: %u.", words.kind);
        return ORVA_ERR_ACK_KIND;
    }
    if (words.srcSlot > ORVA_AGENT_SLOT_MAX) {
        ORVA_LOG_DEBUG("The SrcSlot is invalid, SrcSlot: %u.", words.srcSlot);
        return ORVA_ERR_ACK_SRC_SLOT;
    }
    if (words.destSlot != ownSlot) {
        ORVA_LOG_DEBUG("The DestSlot is invalid, DestSlot: %u.", words.destSlot);
        return ORVA_ERR_ACK_DEST_SLOT;
    }
    return ORVA_OK;
}

uint32_t ORVA_CheckPakcetLen(uint32_t module, uint32_t realLen, uint32_t pktLen) {
    if (realLen <= pktLen) {
        return ORVA_OK;
    }
    ORVA_LOG_DEBUG("Invalid packet length, module: %s, realLen: %u, pktLen: %u", kPacketModules[module], realLen,
                   pktLen);
    return ORVA_FAILED;
}

uint32_t ORVA_CheckPakcetLenByMsg(uint32_t module, uint32_t realLen, uint32_t pktLen, uint32_t netFn, uint32_t cmd) {
    if (realLen <= pktLen) {
        return ORVA_OK;
    }
    const char *const name = kPacketModules[module];
    if (ORVA_DiagMgrNeedRestrain(ORVA_DIAG_ID_PACKET_LENGTH, 0, kArea.name, kPacketLengthLine, kPacketLengthText,
                                 name, realLen, pktLen, netFn, cmd) == 0) {
        ORVA_DIAGLOG(0, orva::kDiagCode, 0, 0, 0, kPacketLengthText, name, realLen, pktLen, netFn, cmd);
    }
    return ORVA_ERR_PACKET_LENGTH;
}

uint32_t ORVA_TRANS_CheckIpmbSum(const uint8_t *frame, uint32_t length) {
    if (frame == nullptr) {
        return ORVA_ERR_IPMB_NULL;
    }
    if (byte_sum(frame, 0, 3) != 0) {
        return ORVA_ERR_IPMB_HEADER_SUM;
    }
    return byte_sum(frame, 3, length) == 0 ? ORVA_OK : ORVA_ERR_IPMB_DATA_SUM;
}

uint32_t ORVA_GetAddressFromSlot(uint8_t slot, uint8_t subSlot) {
    const bool isBoxStack = ORVA_DRVADP_GetIsBoxStackVar() == 1;
    if (subSlot == 0) {
        return kChassisNet + slot * 256u + 250u;
    }
    return isBoxStack ? kChassisNet + 256u + slot : kChassisNet + slot * 256u + subSlot;
}

uint32_t ORVA_AGENT_IsCheckBetweenBoardI2cMode(uint8_t mode) {
    if (mode < kFirstI2cMode || mode >= kFirstI2cMode + sizeof kIsCheckedI2cMode) {
        return 0;
    }
    return kIsCheckedI2cMode[mode - kFirstI2cMode];
}

void ORVA_AGENT_SetGlobalCfgByFourBit(uint8_t value, uint8_t *bitmap, uint32_t startBit) {
    for (std::uint32_t k = 0; k < 4; ++k) {
        const std::uint64_t bit = std::uint64_t{startBit} + k;
        // Compat: callers' code. Bits that are 0 are not cleared; a caller that lowers an item clears its group
        // first.
        if ((value >> k & 1u) != 0) {
            bitmap[bit / 8] = static_cast<std::uint8_t>(bitmap[bit / 8] | 1u << bit % 8);
        }
    }
}

uint32_t ORVA_AGENT_GetGlobalCfgByFourBit(const uint8_t *bitmap, uint32_t startBit) {
    std::uint32_t value = 0;
    for (std::uint32_t k = 0; k < 4; ++k) {
        const std::uint64_t bit = std::uint64_t{startBit} + k;
        value |= (bitmap[bit / 8] >> bit % 8 & 1u) << k;
    }
    return value;
}
