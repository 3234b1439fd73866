/*
 * A management process of your own: boards register, it asks each for its temperatures and prints them.
 *
 *     orva-chassis boards --port 5300 --boards 3 &
 *     manager 5300 3
 *
 * Copy it and go on from here. It ends when every board has answered.
 */
#include "miro_host.h"
#include "orva_comm.h"
#include "orva_wire.h"

#include <arpa/inet.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

enum {
    MAGIC = 0x4F524348, /* begins every datagram */
    VERSION = 1,
    RUN = 1, /* the run's number, as `orva-chassis boards --run` has it */
    MAIN_SLOT = 0,
    SLOTS = 31,
    AGENT = 0x30, /* network function of requests; replies have the next one */
    AGENT_REPLY = 0x31,
    ADDRESS = 1, /* commands */
    TEMPERATURES = 2,
    PATIENCE_SECONDS = 20
};

#pragma pack(push, 1)
typedef struct {
    uint32_t magic; /* all in network byte order */
    uint32_t run;
    uint32_t length; /* of the prefix and the body */
    uint8_t netFn;
    uint16_t command;
    uint8_t version;
} Transport;

typedef struct {
    Transport transport;
    OrvaWirePrefix prefix; /* a reply repeats the word of its request */
    union {
        OrvaWireHeader header;
        OrvaWireAddrReg registration;
        OrvaWireAddrAck acknowledgement;
        OrvaWireReq request;
        OrvaWireTempInfo temperatures;
    } body;
} Packet;
#pragma pack(pop)

static int open_socket(uint16_t port) {
    const struct timeval patience = {PATIENCE_SECONDS, 0};
    struct sockaddr_in own;
    memset(&own, 0, sizeof own);
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    own.sin_port = htons(port);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, (const struct sockaddr *)&own, sizeof own) != 0 ||
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0) {
        perror("manager: no UDP port");
        exit(1);
    }
    return fd;
}

/* Prefix and body are in network byte order already. */
static void send_packet(int fd, const struct sockaddr_in *board, Packet *packet, uint8_t netFn, uint16_t command,
                        size_t bodyBytes) {
    const size_t length = sizeof packet->prefix + bodyBytes;
    const Transport transport = {htonl(MAGIC), htonl(RUN), htonl((uint32_t)length), netFn, htons(command), VERSION};
    packet->transport = transport;
    if (sendto(fd, packet, sizeof transport + length, 0, (const struct sockaddr *)board, sizeof *board) < 0) {
        perror("manager: sendto");
    }
}

/* The board stops registering when it has this. */
static void acknowledge(int fd, const struct sockaddr_in *board, uint32_t slot, uint32_t address) {
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    const OrvaWireHeader header = {ORVA_AGENT_REPLY, MAIN_SLOT, slot, ORVA_OK};
    packet.body.acknowledgement.header = header;
    packet.body.acknowledgement.word_16 = address;
    ORVA_AGENT_ChgAddrAckMsgToNet(&packet.prefix);
    send_packet(fd, board, &packet, AGENT_REPLY, ADDRESS, sizeof packet.body.acknowledgement);
}

static void ask_temperatures(int fd, const struct sockaddr_in *board, uint32_t slot) {
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    const OrvaWireHeader header = {ORVA_AGENT_REQUEST, MAIN_SLOT, slot, 0};
    packet.prefix.word = htons((uint16_t)slot);
    packet.body.request.header = header;
    ORVA_AGENT_ChgReqMsgToNet(&packet.body.request);
    send_packet(fd, board, &packet, AGENT, TEMPERATURES, sizeof packet.body.request);
}

static void take_registration(int fd, const struct sockaddr_in *board, Packet *packet) {
    OrvaWireAddrReg *registration = &packet->body.registration;
    ORVA_AGENT_ChgAddrRegMsgToHost(registration);
    if (ORVA_AGENT_CheckReqMsgValidity(MAIN_SLOT, (const void *)registration) == ORVA_OK) {
        acknowledge(fd, board, registration->header.src_slot, registration->word_16);
        ask_temperatures(fd, board, registration->header.src_slot);
    }
}

/* Returns the slot of the board, or 0 when the message is not what was asked for. */
static uint32_t take_temperatures(Packet *packet, size_t bodyBytes) {
    OrvaWireTempInfo *info = &packet->body.temperatures;
    if (bodyBytes < offsetof(OrvaWireTempInfo, readings) ||
        bodyBytes < offsetof(OrvaWireTempInfo, readings) + info->count * sizeof info->readings[0]) {
        return 0;
    }
    ORVA_AGENT_ChgTempInfoMsgToHost(info);
    if (ORVA_AGENT_CheckAckMsgValidity(MAIN_SLOT, (const void *)info) != ORVA_OK) {
        return 0;
    }
    printf("slot %u:", (unsigned)info->header.src_slot);
    for (unsigned i = 0; i < info->count; ++i) {
        printf(" %.1f C", (int32_t)info->readings[i].value / 10.0); /* tenths of a degree */
    }
    printf("\n");
    return info->header.src_slot;
}

/* Gives the bytes of the body, or -1 when the datagram is none of this run. */
static ssize_t receive(int fd, struct sockaddr_in *board, Packet *packet) {
    socklen_t size = sizeof *board;
    const size_t least = offsetof(Packet, body) + sizeof packet->body.header;
    memset(packet, 0, sizeof *packet);
    const ssize_t count = recvfrom(fd, packet, sizeof *packet, 0, (struct sockaddr *)board, &size);
    if (count < 0) {
        fprintf(stderr, "manager: no board for %d seconds\n", PATIENCE_SECONDS);
        exit(1);
    }
    if ((size_t)count < least || ntohl(packet->transport.magic) != MAGIC || ntohl(packet->transport.run) != RUN ||
        packet->transport.version != VERSION) {
        return -1;
    }
    return count - (ssize_t)offsetof(Packet, body);
}

int main(int argc, char **argv) {
    const int port = argc == 3 ? atoi(argv[1]) : 0;
    const int boards = argc == 3 ? atoi(argv[2]) : 0;
    if (port <= 0 || port > UINT16_MAX || boards <= 0 || boards >= SLOTS) {
        fprintf(stderr, "usage: manager PORT BOARDS\n");
        return 2;
    }
    uint32_t memory = 0;
    if (MIRO_HostStart(NULL, &memory) != MIRO_HOST_OK) {
        return 1;
    }
    ORVA_SetMemHandle(memory);
    ORVA_CreateMemPt();

    const int fd = open_socket((uint16_t)port);
    char answered[SLOTS] = {0};
    for (int left = boards; left > 0;) {
        _Alignas(8) Packet packet;
        struct sockaddr_in board;
        const ssize_t bodyBytes = receive(fd, &board, &packet);
        const uint16_t command = ntohs(packet.transport.command);
        if (bodyBytes >= (ssize_t)sizeof packet.body.registration && packet.transport.netFn == AGENT &&
            command == ADDRESS) {
            take_registration(fd, &board, &packet);
        } else if (bodyBytes > 0 && packet.transport.netFn == AGENT_REPLY && command == TEMPERATURES) {
            const uint32_t slot = take_temperatures(&packet, (size_t)bodyBytes);
            left -= slot != 0 && slot < SLOTS && !answered[slot];
            answered[slot < SLOTS ? slot : 0] = 1;
        }
    }
    close(fd);
    return 0;
}
