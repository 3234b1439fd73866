/*
 * A board of your own: it joins a chassis that runs, in a slot that is free, and answers with two temperatures.
 *
 *     orva-chassis run demo --boards 3 --seconds 60 &
 *     agent $(orva-chassis address) 7
 *
 * or is started for every board: orva-chassis run --agent ./agent
 *
 * Copy it and go on from here. It ends when the chassis is silent for a while.
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
    MAIN_SLOT = 0,
    SLOTS = 31,
    AGENT = 0x30, /* network function of requests; replies have the next one */
    AGENT_REPLY = 0x31,
    RESULT = 0, /* commands */
    ADDRESS = 1,
    TEMPERATURES = 2,
    HEART_BEAT = 4,
    BOARD_TYPE = 0x18001,
    SENSORS = 2,
    PATIENCE = 40 /* quarters of a second */
};
#define REFUSED_UNKNOWN 0xC0000001u

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
    OrvaWirePrefix prefix; /* a reply repeats the word of its request, still in network byte order */
    union {
        OrvaWireHeader header;
        OrvaWireReq result;
        OrvaWireAddrReg registration;
        OrvaWireTempInfo temperatures;
        OrvaWireHeartBeat heartBeat;
    } body;
} Packet;
#pragma pack(pop)

static uint32_t g_run;
static uint32_t g_slot;
static uint32_t g_beats;

/* Only the chassis is heard from here on. */
static int connect_to(uint16_t port) {
    const struct timeval quarter = {0, 250000};
    struct sockaddr_in chassis;
    memset(&chassis, 0, sizeof chassis);
    chassis.sin_family = AF_INET;
    chassis.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    chassis.sin_port = htons(port);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect(fd, (const struct sockaddr *)&chassis, sizeof chassis) != 0 ||
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &quarter, sizeof quarter) != 0) {
        perror("agent: no UDP socket");
        exit(1);
    }
    return fd;
}

/* Prefix and body are in network byte order already. */
static void send_packet(int fd, Packet *packet, uint8_t netFn, uint16_t command, size_t bodyBytes) {
    const size_t length = sizeof packet->prefix + bodyBytes;
    const Transport transport = {htonl(MAGIC), htonl(g_run), htonl((uint32_t)length), netFn, htons(command), VERSION};
    packet->transport = transport;
    if (send(fd, packet, sizeof transport + length, MSG_NOSIGNAL) < 0) {
        perror("agent: send");
    }
}

static OrvaWireHeader header_of(uint32_t kind, uint32_t word) {
    const OrvaWireHeader header = {kind, g_slot, MAIN_SLOT, word};
    return header;
}

static void register_board(int fd) {
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    packet.body.registration.header = header_of(ORVA_AGENT_REQUEST, BOARD_TYPE);
    ORVA_AGENT_ChgReqMsgToNet(&packet.body.registration);
    packet.body.registration.word_16 = htonl(ORVA_GetAddressFromSlot((uint8_t)g_slot, 0));
    send_packet(fd, &packet, AGENT, ADDRESS, sizeof packet.body.registration);
}

/* The sequence number is in host order where a converter takes the whole frame. */
static void answer_temperatures(int fd, uint16_t sequence) {
    static const uint32_t tenths[SENSORS] = {215, 384};
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    OrvaWireTempInfo *info = &packet.body.temperatures;
    packet.prefix.word = sequence;
    info->header = header_of(ORVA_AGENT_REPLY, ORVA_OK);
    for (uint8_t i = 0; i < SENSORS; ++i) {
        info->readings[i].value = tenths[i];
        info->readings[i].reserved_4[0] = (uint8_t)(i + 1); /* number of the sensor */
    }
    info->count = SENSORS;
    ORVA_AGENT_ChgTempInfoMsgToNet(&packet.prefix);
    send_packet(fd, &packet, AGENT_REPLY, TEMPERATURES,
                offsetof(OrvaWireTempInfo, readings) + SENSORS * sizeof info->readings[0]);
}

static void answer_heart_beat(int fd, uint16_t sequence) {
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    OrvaWireHeartBeat *beat = &packet.body.heartBeat;
    packet.prefix.word = sequence;
    beat->header = header_of(ORVA_AGENT_REPLY, ORVA_OK);
    beat->word_16 = ++g_beats;
    beat->reserved_32[0] = 1; /* online */
    beat->reserved_32[1] = 1; /* and so says the hardware */
    ORVA_AGENT_ChgHeartBeatMsgToNet(&packet.prefix);
    send_packet(fd, &packet, AGENT_REPLY, HEART_BEAT, sizeof *beat);
}

static void send_result(int fd, uint16_t sequence, uint32_t code) {
    _Alignas(8) Packet packet;
    memset(&packet, 0, sizeof packet);
    packet.prefix.word = htons(sequence);
    packet.body.result.header = header_of(ORVA_AGENT_REPLY, code);
    ORVA_AGENT_ChgReqMsgToNet(&packet.body.result);
    send_packet(fd, &packet, AGENT_REPLY, RESULT, sizeof packet.body.result);
}

static void answer(int fd, Packet *request) {
    const uint16_t sequence = ntohs(request->prefix.word);
    const uint16_t command = ntohs(request->transport.command);
    ORVA_AGENT_ChgReqMsgToHost(&request->body.header);
    const uint32_t code = ORVA_AGENT_CheckReqMsgValidity((uint8_t)g_slot, (const void *)&request->body.header);
    if (code != ORVA_OK) {
        send_result(fd, sequence, code);
    } else if (request->transport.netFn == AGENT && command == TEMPERATURES) {
        answer_temperatures(fd, sequence);
    } else if (request->transport.netFn == AGENT && command == HEART_BEAT) {
        answer_heart_beat(fd, sequence);
    } else {
        send_result(fd, sequence, REFUSED_UNKNOWN);
    }
}

int main(int argc, char **argv) {
    const int port = argc == 4 ? atoi(argv[1]) : 0;
    const int slot = argc == 4 ? atoi(argv[3]) : 0;
    uint32_t memory = 0;
    if (port <= 0 || port > UINT16_MAX || slot <= 0 || slot >= SLOTS) {
        fprintf(stderr, "usage: agent PORT RUN SLOT\n");
        return 2;
    }
    g_run = (uint32_t)strtoul(argv[2], NULL, 10);
    g_slot = (uint32_t)slot;
    if (MIRO_HostStart(NULL, &memory) != MIRO_HOST_OK) {
        return 1;
    }
    ORVA_SetMemHandle(memory);
    ORVA_CreateMemPt();

    const int fd = connect_to((uint16_t)port);
    int registered = 0;
    for (int silent = 0; silent < PATIENCE;) {
        _Alignas(8) Packet packet;
        if (!registered) {
            register_board(fd);
        }
        const ssize_t count = recv(fd, &packet, sizeof packet, 0);
        silent = count < 0 ? silent + 1 : 0;
        if (count < (ssize_t)(offsetof(Packet, body) + sizeof packet.body.header) ||
            ntohl(packet.transport.magic) != MAGIC || ntohl(packet.transport.run) != g_run) {
            continue;
        }
        if (packet.transport.netFn == AGENT_REPLY && ntohs(packet.transport.command) == ADDRESS) {
            registered = 1;
        } else {
            answer(fd, &packet);
        }
    }
    close(fd);
    printf("beats: %u\n", (unsigned)g_beats);
    return registered ? 0 : 1;
}
