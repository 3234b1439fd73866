/**
 * @file
 * The agent messages as packed structures, so that nobody counts offsets.
 *
 * What is fixed has a name, the rest is reserved bytes, carried as they are. An addition to the system's interface.
 * `./dev wire` writes this file from the description in wire/; docs/wire.md shows the same layouts as tables.
 *
 * A structure is a body with full arrays; a frame is an OrvaWirePrefix and then the body. The structures have no
 * alignment, so a pointer to any received byte will do. A member is in the byte order of the buffer: the host's after
 * a converter to the host, the network's after a converter to the net.
 */
/* clang-format off */
#ifndef ORVA_WIRE_H
#define ORVA_WIRE_H

#include "orva_types.h"

#pragma pack(push, 1)

/** Before the body in a frame. */
typedef struct OrvaWirePrefix {
    uint16_t word; /**< Converted to the net only. */
    uint8_t reserved_2[6]; /**< Carried as they are. */
} OrvaWirePrefix;

/** Starts every body except Simulate, SoNameReq and SoNameAck. */
typedef struct OrvaWireHeader {
    uint32_t req_or_reply; /**< 1 in a request, 2 in a reply. */
    uint32_t src_slot; /**< Sender, 0 to 30. */
    uint32_t dest_slot; /**< Receiver; 0xFFFFFFFF in a request means every board. */
    uint32_t word_12; /**< Fourth word of the header; its meaning is the family's own. */
} OrvaWireHeader;

/** Switch-over from the main to the backup board. */
typedef struct OrvaWireSwitchOver {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
} OrvaWireSwitchOver;

/** Request for sensor alarms. */
typedef struct OrvaWireSenAlmReq {
    OrvaWireHeader header; /**< As in every request and reply. */
} OrvaWireSenAlmReq;

/** Address registration of a board. */
typedef struct OrvaWireAddrReg {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
} OrvaWireAddrReg;

/** Acknowledgement of an address registration. */
typedef struct OrvaWireAddrAck {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
} OrvaWireAddrAck;

/** An entry of OrvaWireTempInfo's readings. */
typedef struct OrvaWireTempInfoReadingsEntry {
    uint32_t value; /**< Reading of the sensor. */
    uint8_t reserved_4[4]; /**< Carried as they are. */
} OrvaWireTempInfoReadingsEntry;

/** Temperature readings of a board. */
typedef struct OrvaWireTempInfo {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[3]; /**< Carried as they are. */
    uint8_t count; /**< Number of readings. */
    uint8_t reserved_20[4]; /**< Carried as they are. */
    OrvaWireTempInfoReadingsEntry readings[68]; /**< One entry for each temperature sensor, counted by count. */
} OrvaWireTempInfo;

/** An entry of OrvaWireVltInfo's readings. */
typedef struct OrvaWireVltInfoReadingsEntry {
    uint32_t value; /**< Reading of the sensor. */
    uint8_t reserved_4[4]; /**< Carried as they are. */
} OrvaWireVltInfoReadingsEntry;

/** Voltage readings of a board. */
typedef struct OrvaWireVltInfo {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[3]; /**< Carried as they are. */
    uint8_t count; /**< Number of readings. */
    uint8_t reserved_20[4]; /**< Carried as they are. */
    OrvaWireVltInfoReadingsEntry readings[168]; /**< One entry for each voltage sensor, counted by count. */
} OrvaWireVltInfo;

/** An entry of OrvaWireMpuMngSensorInfo's temp_sensors. */
typedef struct OrvaWireMpuMngSensorInfoTempSensorsEntry {
    uint16_t half_0; /**< The family's own 16-bit word. */
    uint8_t reserved_2[2]; /**< Carried as they are. */
    uint32_t word_4; /**< The family's own word. */
    uint8_t reserved_8[4]; /**< Carried as they are. */
} OrvaWireMpuMngSensorInfoTempSensorsEntry;

/** An entry of OrvaWireMpuMngSensorInfo's vlt_sensors. */
typedef struct OrvaWireMpuMngSensorInfoVltSensorsEntry {
    uint16_t half_0; /**< The family's own 16-bit word. */
    uint8_t reserved_2[2]; /**< Carried as they are. */
    uint32_t word_4; /**< The family's own word. */
    uint8_t reserved_8[4]; /**< Carried as they are. */
} OrvaWireMpuMngSensorInfoVltSensorsEntry;

/** Sensors that the main board manages. */
typedef struct OrvaWireMpuMngSensorInfo {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t temp_count; /**< Number of temperature sensors. */
    uint8_t vlt_count; /**< Number of voltage sensors. */
    uint8_t reserved_18[6]; /**< Carried as they are. */
    OrvaWireMpuMngSensorInfoTempSensorsEntry temp_sensors[68]; /**< One entry for each temperature sensor, counted by temp_count. */
    OrvaWireMpuMngSensorInfoVltSensorsEntry vlt_sensors[168]; /**< One entry for each voltage sensor, counted by vlt_count. */
} OrvaWireMpuMngSensorInfo;

/** An entry of OrvaWireSubCardInfo's cards. */
typedef struct OrvaWireSubCardInfoCardsEntry {
    uint32_t word_0; /**< The family's own word. */
    uint8_t reserved_4[4]; /**< Carried as they are. */
} OrvaWireSubCardInfoCardsEntry;

/** An entry of OrvaWireSubCardInfo's vlt_sensors. */
typedef struct OrvaWireSubCardInfoVltSensorsEntry {
    uint16_t half_0; /**< The family's own 16-bit word. */
    uint16_t half_2; /**< The family's own 16-bit word. */
    uint8_t reserved_4[18]; /**< Carried as they are. */
} OrvaWireSubCardInfoVltSensorsEntry;

/** An entry of OrvaWireSubCardInfo's temp_sensors. */
typedef struct OrvaWireSubCardInfoTempSensorsEntry {
    uint16_t half_0; /**< The family's own 16-bit word. */
    uint16_t half_2; /**< The family's own 16-bit word. */
    uint8_t reserved_4[18]; /**< Carried as they are. */
} OrvaWireSubCardInfoTempSensorsEntry;

/** Sub-cards of a board and their sensors. */
typedef struct OrvaWireSubCardInfo {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
    uint8_t reserved_20[1]; /**< Carried as they are. */
    uint8_t card_count; /**< Number of sub-cards. */
    uint8_t sensor_count; /**< Number of sensors of each kind. */
    uint8_t reserved_23[1]; /**< Carried as they are. */
    OrvaWireSubCardInfoCardsEntry cards[14]; /**< One entry for each sub-card, counted by card_count. */
    uint8_t reserved_136[4]; /**< Carried as they are. */
    OrvaWireSubCardInfoVltSensorsEntry vlt_sensors[168]; /**< One entry for each voltage sensor, counted by sensor_count. */
    uint8_t reserved_3836[2]; /**< Carried as they are. */
    OrvaWireSubCardInfoTempSensorsEntry temp_sensors[68]; /**< One entry for each temperature sensor, counted by sensor_count. */
} OrvaWireSubCardInfo;

/** Attributes of a card. */
typedef struct OrvaWireCardAttr {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[4]; /**< Carried as they are. */
    uint32_t word_20; /**< The family's own word. */
} OrvaWireCardAttr;

/** Humidity of a card. */
typedef struct OrvaWireCardHumid {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[4]; /**< Carried as they are. */
    uint32_t word_20; /**< The family's own word. */
} OrvaWireCardHumid;

/** An entry of OrvaWireSimulate's stubs. */
typedef struct OrvaWireSimulateStubsEntry {
    uint32_t type; /**< Stub type. */
    uint32_t value; /**< Value of the stub. */
    char name[32]; /**< Name of the stub. */
} OrvaWireSimulateStubsEntry;

/** A board's whole stub list. */
typedef struct OrvaWireSimulate {
    uint32_t count; /**< Number of stubs. */
    OrvaWireSimulateStubsEntry stubs[32]; /**< One entry for each stub, counted by count. */
} OrvaWireSimulate;

/** Request for the names of shared libraries. */
typedef struct OrvaWireSoNameReq {
    uint32_t word_0; /**< The family's own word. */
} OrvaWireSoNameReq;

/** An entry of OrvaWireSoNameAck's libraries. */
typedef struct OrvaWireSoNameAckLibrariesEntry {
    uint8_t reserved_0[64]; /**< Carried as they are. */
    uint16_t half_64; /**< The family's own 16-bit word. */
    uint16_t half_66; /**< The family's own 16-bit word. */
} OrvaWireSoNameAckLibrariesEntry;

/** Names of shared libraries. */
typedef struct OrvaWireSoNameAck {
    uint32_t count; /**< Number of libraries. */
    OrvaWireSoNameAckLibrariesEntry libraries[32]; /**< One entry for each shared library, counted by count. */
} OrvaWireSoNameAck;

/** Attributes of the chassis. */
typedef struct OrvaWireFrameAttr {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[124]; /**< Carried as they are. */
    uint32_t word_140; /**< The family's own word. */
} OrvaWireFrameAttr;

/** A request that is a header only. */
typedef struct OrvaWireReq {
    OrvaWireHeader header; /**< As in every request and reply. */
} OrvaWireReq;

/** Power state of the cards of a chassis. */
typedef struct OrvaWireFrameCardPowerState {
    OrvaWireHeader header; /**< As in every request and reply. */
} OrvaWireFrameCardPowerState;

/** Power state of a board. */
typedef struct OrvaWirePowerState {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
    uint8_t reserved_20[28]; /**< Carried as they are. */
    uint32_t word_48; /**< The family's own word. */
} OrvaWirePowerState;

/** An entry of OrvaWirePwrSenCfg's sensors. */
typedef struct OrvaWirePwrSenCfgSensorsEntry {
    uint16_t half_0; /**< The family's own 16-bit word. */
    uint16_t half_2; /**< The family's own 16-bit word. */
    uint8_t reserved_4[18]; /**< Carried as they are. */
} OrvaWirePwrSenCfgSensorsEntry;

/** Configuration of the power sensors. */
typedef struct OrvaWirePwrSenCfg {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint8_t reserved_16[64]; /**< Carried as they are. */
    uint32_t word_80; /**< The family's own word. */
    uint8_t reserved_84[3]; /**< Carried as they are. */
    uint8_t count; /**< Number of sensors. */
    uint8_t reserved_88[2118]; /**< Carried as they are. */
    OrvaWirePwrSenCfgSensorsEntry sensors[96]; /**< One entry for each power sensor, counted by count, which is clamped. */
} OrvaWirePwrSenCfg;

/** Heartbeat of a board. */
typedef struct OrvaWireHeartBeat {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
    uint32_t word_20; /**< The family's own word. */
    uint32_t word_24; /**< The family's own word. */
    uint32_t word_28; /**< The family's own word; converted to host order only. */
    uint8_t reserved_32[4]; /**< Carried as they are. */
    uint32_t word_36; /**< The family's own word; converted to host order only. */
    uint32_t word_40; /**< The family's own word; converted to host order only. */
} OrvaWireHeartBeat;

/** Control of a sensor. */
typedef struct OrvaWireSensorCtrl {
    OrvaWireHeader header; /**< As in every request and reply. */
    uint32_t word_16; /**< The family's own word. */
    uint32_t word_20; /**< The family's own word. */
    uint32_t word_24; /**< The family's own word. */
} OrvaWireSensorCtrl;

#pragma pack(pop)

/** @cond */
ORVA_STATIC_ASSERT(sizeof(OrvaWirePrefix) == 8, "OrvaWirePrefix");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePrefix, word) == 0, "word");
ORVA_STATIC_ASSERT(sizeof(OrvaWireHeader) == 16, "OrvaWireHeader");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeader, req_or_reply) == 0, "req_or_reply");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeader, src_slot) == 4, "src_slot");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeader, dest_slot) == 8, "dest_slot");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeader, word_12) == 12, "word_12");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSwitchOver) == 20, "OrvaWireSwitchOver");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSwitchOver, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSwitchOver, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSenAlmReq) == 16, "OrvaWireSenAlmReq");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSenAlmReq, header) == 0, "header");
ORVA_STATIC_ASSERT(sizeof(OrvaWireAddrReg) == 20, "OrvaWireAddrReg");
ORVA_STATIC_ASSERT(offsetof(OrvaWireAddrReg, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireAddrReg, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(sizeof(OrvaWireAddrAck) == 20, "OrvaWireAddrAck");
ORVA_STATIC_ASSERT(offsetof(OrvaWireAddrAck, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireAddrAck, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(sizeof(OrvaWireTempInfoReadingsEntry) == 8, "OrvaWireTempInfoReadingsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireTempInfoReadingsEntry, value) == 0, "value");
ORVA_STATIC_ASSERT(sizeof(OrvaWireTempInfo) == 568, "OrvaWireTempInfo");
ORVA_STATIC_ASSERT(offsetof(OrvaWireTempInfo, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireTempInfo, count) == 19, "count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireTempInfo, readings) == 24, "readings");
ORVA_STATIC_ASSERT(sizeof(OrvaWireVltInfoReadingsEntry) == 8, "OrvaWireVltInfoReadingsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireVltInfoReadingsEntry, value) == 0, "value");
ORVA_STATIC_ASSERT(sizeof(OrvaWireVltInfo) == 1368, "OrvaWireVltInfo");
ORVA_STATIC_ASSERT(offsetof(OrvaWireVltInfo, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireVltInfo, count) == 19, "count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireVltInfo, readings) == 24, "readings");
ORVA_STATIC_ASSERT(sizeof(OrvaWireMpuMngSensorInfoTempSensorsEntry) == 12, "OrvaWireMpuMngSensorInfoTempSensorsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfoTempSensorsEntry, half_0) == 0, "half_0");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfoTempSensorsEntry, word_4) == 4, "word_4");
ORVA_STATIC_ASSERT(sizeof(OrvaWireMpuMngSensorInfoVltSensorsEntry) == 12, "OrvaWireMpuMngSensorInfoVltSensorsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfoVltSensorsEntry, half_0) == 0, "half_0");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfoVltSensorsEntry, word_4) == 4, "word_4");
ORVA_STATIC_ASSERT(sizeof(OrvaWireMpuMngSensorInfo) == 2856, "OrvaWireMpuMngSensorInfo");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfo, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfo, temp_count) == 16, "temp_count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfo, vlt_count) == 17, "vlt_count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfo, temp_sensors) == 24, "temp_sensors");
ORVA_STATIC_ASSERT(offsetof(OrvaWireMpuMngSensorInfo, vlt_sensors) == 840, "vlt_sensors");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSubCardInfoCardsEntry) == 8, "OrvaWireSubCardInfoCardsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfoCardsEntry, word_0) == 0, "word_0");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSubCardInfoVltSensorsEntry) == 22, "OrvaWireSubCardInfoVltSensorsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfoVltSensorsEntry, half_0) == 0, "half_0");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfoVltSensorsEntry, half_2) == 2, "half_2");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSubCardInfoTempSensorsEntry) == 22, "OrvaWireSubCardInfoTempSensorsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfoTempSensorsEntry, half_0) == 0, "half_0");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfoTempSensorsEntry, half_2) == 2, "half_2");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSubCardInfo) == 5334, "OrvaWireSubCardInfo");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, card_count) == 21, "card_count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, sensor_count) == 22, "sensor_count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, cards) == 24, "cards");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, vlt_sensors) == 140, "vlt_sensors");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSubCardInfo, temp_sensors) == 3838, "temp_sensors");
ORVA_STATIC_ASSERT(sizeof(OrvaWireCardAttr) == 24, "OrvaWireCardAttr");
ORVA_STATIC_ASSERT(offsetof(OrvaWireCardAttr, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireCardAttr, word_20) == 20, "word_20");
ORVA_STATIC_ASSERT(sizeof(OrvaWireCardHumid) == 24, "OrvaWireCardHumid");
ORVA_STATIC_ASSERT(offsetof(OrvaWireCardHumid, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireCardHumid, word_20) == 20, "word_20");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSimulateStubsEntry) == 40, "OrvaWireSimulateStubsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSimulateStubsEntry, type) == 0, "type");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSimulateStubsEntry, value) == 4, "value");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSimulateStubsEntry, name) == 8, "name");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSimulate) == 1284, "OrvaWireSimulate");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSimulate, count) == 0, "count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSimulate, stubs) == 4, "stubs");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSoNameReq) == 4, "OrvaWireSoNameReq");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSoNameReq, word_0) == 0, "word_0");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSoNameAckLibrariesEntry) == 68, "OrvaWireSoNameAckLibrariesEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSoNameAckLibrariesEntry, half_64) == 64, "half_64");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSoNameAckLibrariesEntry, half_66) == 66, "half_66");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSoNameAck) == 2180, "OrvaWireSoNameAck");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSoNameAck, count) == 0, "count");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSoNameAck, libraries) == 4, "libraries");
ORVA_STATIC_ASSERT(sizeof(OrvaWireFrameAttr) == 144, "OrvaWireFrameAttr");
ORVA_STATIC_ASSERT(offsetof(OrvaWireFrameAttr, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireFrameAttr, word_140) == 140, "word_140");
ORVA_STATIC_ASSERT(sizeof(OrvaWireReq) == 16, "OrvaWireReq");
ORVA_STATIC_ASSERT(offsetof(OrvaWireReq, header) == 0, "header");
ORVA_STATIC_ASSERT(sizeof(OrvaWireFrameCardPowerState) == 16, "OrvaWireFrameCardPowerState");
ORVA_STATIC_ASSERT(offsetof(OrvaWireFrameCardPowerState, header) == 0, "header");
ORVA_STATIC_ASSERT(sizeof(OrvaWirePowerState) == 52, "OrvaWirePowerState");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePowerState, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePowerState, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePowerState, word_48) == 48, "word_48");
ORVA_STATIC_ASSERT(sizeof(OrvaWirePwrSenCfgSensorsEntry) == 22, "OrvaWirePwrSenCfgSensorsEntry");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfgSensorsEntry, half_0) == 0, "half_0");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfgSensorsEntry, half_2) == 2, "half_2");
ORVA_STATIC_ASSERT(sizeof(OrvaWirePwrSenCfg) == 4318, "OrvaWirePwrSenCfg");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfg, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfg, word_80) == 80, "word_80");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfg, count) == 87, "count");
ORVA_STATIC_ASSERT(offsetof(OrvaWirePwrSenCfg, sensors) == 2206, "sensors");
ORVA_STATIC_ASSERT(sizeof(OrvaWireHeartBeat) == 44, "OrvaWireHeartBeat");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_20) == 20, "word_20");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_24) == 24, "word_24");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_28) == 28, "word_28");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_36) == 36, "word_36");
ORVA_STATIC_ASSERT(offsetof(OrvaWireHeartBeat, word_40) == 40, "word_40");
ORVA_STATIC_ASSERT(sizeof(OrvaWireSensorCtrl) == 28, "OrvaWireSensorCtrl");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSensorCtrl, header) == 0, "header");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSensorCtrl, word_16) == 16, "word_16");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSensorCtrl, word_20) == 20, "word_20");
ORVA_STATIC_ASSERT(offsetof(OrvaWireSensorCtrl, word_24) == 24, "word_24");
/** @endcond */

#endif
