// Board ports and addresses: which interface a board uses, its address and subnet, and the board that a name
// means.
#include "orva_drvadp_comm.h"

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "board_port_table.h"
#include "log_record.h"
#include "safeio.h"

const char g_orvaBakPort[2][8] = {"bond0", "veth0"};

const OrvaBoardNameId g_boardNameToBoardIdMap[ORVA_BOARD_NAME_COUNT] = {
    {"ZQ71MRB4T8E", 0xFE000001},  {"LV46MRB7T3C", 0xFE000002},  {"LV83MRB5T1C", 0xFE000003},
    {"XTE4W9N27-KR", 0xFE000004}, {"LV19MRB2T6C", 0xFE000005},  {"LV19XTE835Q", 0xFE000006},
    {"MRB815N64-JS", 0xFE000007}, {"XTE472N64-JW", 0xFE000008}, {"XTE815N64-JS", 0xFE000009},
};

uint32_t ORVA_QueryEthPortCfg(const char *ifName, int32_t request, uint32_t *value) {
    if (ifName == nullptr || value == nullptr) {
        return ORVA_FAILED;
    }
    ifreq query;
    static_assert(sizeof query == 40 && sizeof query.ifr_name == 16);
    memset_s(&query, sizeof query, 0, sizeof query);
    if (strcpy_s(query.ifr_name, sizeof query.ifr_name, ifName) != 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError, "Get ip addr, ifaceName: %s",
                         ifName);
    }
    query.ifr_addr.sa_family = AF_INET;
    const int fd = socket_s(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        ORVA_LOG_PROCESS(TOVA_PLOG_ERROR, orva::kRuntimeLogModule, orva::kCodeError, "create socket error!");
        return ORVA_FAILED;
    }
    const bool answered = ioctl(fd & SAFEIO_KERNEL_FD_MASK, static_cast<std::uint32_t>(request), &query) >= 0;
    if (answered) {
        sockaddr_in address;
        std::memcpy(&address, &query.ifr_addr, sizeof address);
        *value = ntohl(address.sin_addr.s_addr);
    }
    close_s(fd);
    return answered ? ORVA_OK : ORVA_FAILED;
}

uint32_t ORVA_GetIpAddress(const char *ifName, uint32_t *ip) {
    return ORVA_QueryEthPortCfg(ifName, SIOCGIFADDR, ip);
}

const BoardPortInfo *ORVA_GetBoardEthInfo(uint32_t boardType) {
    for (const BoardPortInfo &row : g_boardPort) {
        if (row.boardType == boardType) {
            return &row;
        }
    }
    return nullptr;
}

uint32_t ORVA_GetBakEthInfoMask(uint32_t *value, uint32_t request) {
    for (const auto &port : g_orvaBakPort) {
        if (ORVA_QueryEthPortCfg(port, static_cast<std::int32_t>(request), value) == ORVA_OK) {
            return ORVA_OK;
        }
    }
    return ORVA_FAILED;
}

uint32_t ORVA_GetEthPortIpAddr(void) {
    std::uint32_t ip = 0;
    return ORVA_GetBakEthInfoMask(&ip, SIOCGIFADDR) == ORVA_OK ? ip : 0;
}

uint32_t ORVA_GetSubNetMask(uint32_t boardType, uint32_t *mask) {
    const BoardPortInfo *port = ORVA_GetBoardEthInfo(boardType);
    return port != nullptr ? ORVA_QueryEthPortCfg(port->ifName, SIOCGIFNETMASK, mask)
                           : ORVA_GetBakEthInfoMask(mask, SIOCGIFNETMASK);
}

// Compat: callers' code. A second-lowest octet of 255 gives 1 in the third octet, so that the result stays out of
// 172.16.0.x.
uint32_t ORVA_ComputerSubNetIpAddress(int32_t ip) {
    constexpr std::uint32_t kThirdOctet = 0xFF00;
    constexpr std::uint32_t kThirdOctetLowBit = 0x0100;
    constexpr std::uint32_t kInternalNet = 0xAC10FFFF; // 172.16 and the inverting half
    constexpr std::uint32_t kHostPart = 0xFFFF;
    std::uint32_t host = static_cast<std::uint32_t>(ip) & kHostPart;
    if ((host & kThirdOctet) == kThirdOctet) {
        host &= ~kThirdOctetLowBit;
    }
    return host ^ kInternalNet;
}

uint32_t ORVA_GetSubNetIpAddress(int32_t force) {
    std::uint32_t boardType = 0;
    const std::uint32_t ret = ORVA_DRVADP_GetBoardType(&boardType);
    if (ret != ORVA_OK) {
        orva::log_ret_code_error(ret);
        boardType = 0;
    }
    std::uint32_t mask = 0;
    if (ORVA_GetSubNetMask(boardType, &mask) != ORVA_OK && force == 0) {
        return 0;
    }
    return ORVA_ComputerSubNetIpAddress(static_cast<std::int32_t>(mask));
}

uint32_t ORVA_COMM_BoardNameToBoardId(const char *name, uint32_t *boardId) {
    if (name == nullptr || boardId == nullptr) {
        return ORVA_FAILED;
    }
    for (const OrvaBoardNameId &row : g_boardNameToBoardIdMap) {
        if (std::strcmp(name, row.name) == 0) {
            *boardId = row.boardId;
            return ORVA_OK;
        }
    }
    return ORVA_FAILED;
}
