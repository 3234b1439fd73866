/*
 * Log gate, debug switches, and debug output of logs and packets.
 *
 * One process-wide record of switches decides whether a debug text goes to the debug output or to the system log, and
 * which packets are dumped. Everything starts off and is not persisted. No function here takes a lock: each field is
 * written by one store and read by single loads, so a reader may see a switch half applied, which at worst sends one
 * text to the other sink.
 */
#ifndef ORVA_DEBUGGING_H
#define ORVA_DEBUGGING_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Switches ---------------------------------------------------------------------------------- */

#define ORVA_DEBUG_ANY_NETFN 0x20u /* netFn filter that lets every packet of the bus through */
#define ORVA_DEBUG_ANY_CMD 0xFFu   /* command filter that lets every command of the netFn through */

/* The debug switches of the process. */
typedef struct {
    uint32_t udpSwitch;     /* 1 = UDP packets are dumped, 0 = not */
    uint16_t udpCmd;        /* command filter for UDP packets */
    uint8_t udpNetFn;       /* netFn filter for UDP packets */
    uint32_t ipmbSwitch;    /* 1 = IPMB packets are dumped */
    uint16_t ipmbCmd;       /* command filter for IPMB packets */
    uint8_t ipmbNetFn;      /* netFn filter for IPMB packets */
    uint32_t logModuleMask; /* modules whose debug texts go to the debug output, a bit each */
    uint32_t logSlotId;     /* slot given at switch-on: kept and returned, never consulted by the gate */
    uint8_t logLevelMask;   /* levels let through, a bit each: 0xFF while logging is on */
    uint32_t canSwitch;     /* 1 = CAN packets are dumped */
    uint32_t rs485Switch;   /* 1 = RS485 packets are dumped */
} OrvaDebugSwitch;

/* Kept: the spelling of the name is part of the interface. */
ORVA_API extern OrvaDebugSwitch g_sOrvaDebugSwtich;

/* Packet types: the keys of both switch tables. */
#define ORVA_PACKET_UDP 0u
#define ORVA_PACKET_SOUTH 1u /* IPMB, CAN and RS485 together: can be set, but is no bus of its own */
#define ORVA_PACKET_IPMB 2u
#define ORVA_PACKET_RS485 3u
#define ORVA_PACKET_CAN 4u

/* Asks whether a packet of this netFn and command is dumped; functions of buses without a filter take nothing. */
typedef uint32_t (*OrvaPacketIsOnFunc)(uint8_t netFn, uint16_t cmd);

/* Sets a bus switch and its filter; functions of buses without a filter take `onOff` only. */
typedef void (*OrvaPacketSetFunc)(uint32_t onOff, uint32_t netFn, uint32_t cmd);

typedef struct {
    uint32_t type; /* ORVA_PACKET_... */
    OrvaPacketIsOnFunc isOn;
} OrvaPacketIsOnRow;

typedef struct {
    uint32_t type; /* ORVA_PACKET_... */
    OrvaPacketSetFunc set;
} OrvaPacketSetRow;

#define ORVA_PACKET_IS_ON_ROWS 4u
#define ORVA_PACKET_SET_ROWS 5u

/* The is-on functions of UDP, IPMB, RS485 and CAN. */
ORVA_API extern const OrvaPacketIsOnRow g_debugGetSwitchFunc[ORVA_PACKET_IS_ON_ROWS];

/* The set functions of UDP, south, IPMB, RS485 and CAN. */
ORVA_API extern const OrvaPacketSetRow g_debugSetSwitchFunc[ORVA_PACKET_SET_ROWS];

/* ---- Log switch -------------------------------------------------------------------------------- */

/* Returns the mask of modules whose debug texts go to the debug output. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogModule(void);

/* Overwrites the module mask with `mask`. Any thread. */
ORVA_API void ORVA_DEBUG_SetCurLogModule(uint32_t mask);

/* Returns the mask of levels let through, 0 to 0xFF. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogLevel(void);

/* Overwrites the level mask with `mask`. Any thread. */
ORVA_API void ORVA_DEBUG_SetCurLogLevel(uint8_t mask);

/* Returns the slot that was given when logging was switched on. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogSlotId(void);

/* Overwrites the slot with `slot`. Any thread. */
ORVA_API void ORVA_DEBUG_SetCurLogSlotId(uint32_t slot);

/*
 * Switches the debug output on for the modules of `moduleMask`, at every level.
 * The modules are added to those already on; the slot becomes `slotId`, the level mask 0xFF. Any thread.
 */
ORVA_API void ORVA_DEBUG_SetLogSwitchOn(uint32_t moduleMask, uint32_t slotId);

/*
 * Switches the debug output off for the modules of `moduleMask`.
 * Kept: a mask whose low 31 bits are zero (0 or 0x80000000) means everything: module mask, level mask and slot become
 * 0. Any other mask clears its own bits and leaves level and slot alone, also when no module is left. Any thread.
 */
ORVA_API void ORVA_DEBUG_SetLogSwitchOff(uint32_t moduleMask);

/*
 * The log gate: asks whether a text of `module` at `level` goes to the debug output.
 * Returns 1 when `module` shares a bit with the module mask and `level` a bit with the level mask, otherwise 0.
 * Levels are bits, not magnitudes; the slot plays no part. Two loads and two tests, from any thread.
 */
ORVA_API uint32_t ORVA_DEBUG_LogSwitchIsOn(uint32_t module, uint32_t level);

/*
 * Operator's entry to the log switch: a non-zero `onOff` acts as ORVA_DEBUG_SetLogSwitchOn(moduleMask, slotId), zero
 * as ORVA_DEBUG_SetLogSwitchOff(moduleMask), which ignores `slotId`.
 * Returns ORVA_OK always. Any thread.
 */
ORVA_API uint32_t ORVA_CLI_ProcessDebugDeviceOrvaLog(uint32_t onOff, uint32_t moduleMask, uint32_t slotId);

/* ---- Packet switches --------------------------------------------------------------------------- */

/*
 * Asks whether a UDP packet of `netFn` and `cmd` is dumped.
 * Returns 1 when the switch is on and the filter lets the packet through (equal netFn, and an equal command or the
 * command filter ORVA_DEBUG_ANY_CMD; or the netFn filter ORVA_DEBUG_ANY_NETFN), otherwise 0. Any thread.
 */
ORVA_API uint32_t ORVA_DEBUG_UdpPacketSwitchIsOn(uint8_t netFn, uint16_t cmd);

/* Asks whether an IPMB packet of `netFn` and `cmd` is dumped: 1 or 0, by the rule of the UDP switch. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_IpmbPacketSwitchIsOn(uint8_t netFn, uint16_t cmd);

/* Returns the CAN switch word as it is stored. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_CanPacketSwitchIsOn(void);

/* Returns the RS485 switch word as it is stored. Any thread. */
ORVA_API uint32_t ORVA_DEBUG_Rs485PacketSwitchIsOn(void);

/*
 * Sets the UDP switch and its filter.
 * `onOff` 1 switches on with the low 8 bits of `netFn` and the low 16 bits of `cmd` as filter; every other value
 * switches off and zeroes both filters. Any thread.
 */
ORVA_API void ORVA_DEBUG_SetUdpPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/* Sets the IPMB switch and its filter, as ORVA_DEBUG_SetUdpPacketSwitch does for UDP. Any thread. */
ORVA_API void ORVA_DEBUG_SetIpmbPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/* Sets the CAN switch: on when `onOff` is 1, otherwise off. Any thread. */
ORVA_API void ORVA_DEBUG_SetCanPacketSwitch(uint32_t onOff);

/* Sets the RS485 switch: on when `onOff` is 1, otherwise off. Any thread. */
ORVA_API void ORVA_DEBUG_SetRs485PacketSwitch(uint32_t onOff);

/*
 * Sets the switches of the south buses: IPMB with its filter as ORVA_DEBUG_SetIpmbPacketSwitch does, and CAN and
 * RS485 to the same on value. UDP is left alone. Any thread.
 */
ORVA_API void ORVA_DEBUG_SetSouthPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/*
 * Returns the is-on function of packet type `type`, or null when the type has no row (ORVA_PACKET_SOUTH and all above
 * ORVA_PACKET_CAN). The rows of CAN and RS485 hold functions without arguments. Any thread.
 */
ORVA_API OrvaPacketIsOnFunc ORVA_DEBUG_GetPacketSwitchFunc(uint32_t type);

/*
 * Returns the set function of packet type `type`, or null for a type above ORVA_PACKET_CAN. The rows of CAN and RS485
 * hold functions of one argument. Any thread.
 */
ORVA_API OrvaPacketSetFunc ORVA_DEBUG_SetPacketSwitchFunc(uint32_t type);

/*
 * Asks whether a packet of `type` (ORVA_PACKET_...) with the low 8 bits of `netFn` and the low 16 bits of `cmd` is
 * dumped.
 * Returns what the type's is-on function answers, or 0 when the type has none. Any thread.
 */
ORVA_API uint32_t ORVA_DEBUG_PacketSwitchIsOn(uint32_t type, uint32_t netFn, uint32_t cmd);

/*
 * Operator's entry to the packet switches: sets the switch of `type` (ORVA_PACKET_...) from `onOff`, `netFn` and
 * `cmd`; CAN and RS485 ignore the last two.
 * Returns ORVA_OK, or ORVA_FAILED, with nothing changed, when the type has no set function. Any thread.
 */
ORVA_API uint32_t ORVA_CLI_ProcessDebugDeviceOrvaPacket(uint32_t onOff, uint8_t type, uint32_t netFn, uint32_t cmd);

/* ---- Debug output ------------------------------------------------------------------------------ */

/* Modules under which the packet functions below dump. */
#define ORVA_DUMP_MODULE_UDP 3u
#define ORVA_DUMP_MODULE_SOUTH 5u

/*
 * Writes one debug text of `module` to the interface manager's debug output, with the board's position in front:
 * "[Position: chassis/slot]text".
 * `format` and its arguments are those of printf; the text is cut at 255 characters. A null format writes nothing.
 * Returns the sink's result; 0 when the format is null or no sink is bound; the formatter's negative result, as
 * unsigned, when the text cannot be formatted; the system log's result when the line cannot be built, which is
 * recorded there. Any thread.
 */
ORVA_PRINTF(2)
ORVA_API uint32_t ORVA_DEBUG_OutLog(uint32_t module, const char *format, ...);

/*
 * Writes the `len` bytes at `data` to the debug output of `module` as numbered lines of hex bytes.
 * A line begins with the packet's number (hex), the number of the piece (from 1) and `name`, which says where the
 * packet comes from or goes to: "[0x1:1] name: 0a ff". It has at most 1999 characters; what does not fit follows in
 * further pieces under the same packet number. Every call with a name and data counts one packet, also with a length
 * of 0. Nothing is written when `name` or `data` is null, when `len` is 0 or has its top bit set, or when the name
 * leaves no room for a byte; the dump ends early when no line buffer (2000 bytes of the library's partition) can be
 * had or no byte of a piece can be formatted. Any thread.
 */
ORVA_API void ORVA_DEBUG_OutPacket(uint32_t module, const char *name, const uint8_t *data, uint32_t len);

/*
 * Writes the next bytes of a packet to the start of a caller's buffer as " %02x" each, zero-terminated.
 * `data` and `len` are the whole packet; `*remaining`, 1 to `len`, counts the bytes not yet written, so that the next
 * one is data[len - *remaining]; it goes down by one for each byte written. `out` has `outSize` bytes. As many bytes
 * are written as fit and are left, fewer when formatting fails; call again with a fresh buffer while `*remaining` is
 * not 0 and goes down. Nothing is done when `*remaining` is 0 or above `len`, `outSize` is below 4, or a pointer is
 * null. Any thread.
 * Kept: the spelling of the name is part of the interface.
 */
ORVA_API void ORVA_DEUBG_FormatPacketToString(const uint8_t *data, uint32_t len, uint32_t *remaining, char *out,
                                              uint32_t outSize);

/*
 * Reads netFn (byte 12) and command (bytes 13 and 14, big-endian) of a UDP packet of `len` bytes, 36 to 32768.
 * Returns ORVA_OK with both outputs written, or ORVA_FAILED with both untouched when the length is out of range or a
 * pointer is null. Any thread.
 */
ORVA_API uint32_t ORVA_DEBUG_GetNetFnAndCmdFromUdp(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd);

/*
 * Reads netFn (low six bits of byte 3) and command (byte 7; 0 in a packet of 7 bytes, which has none) of an IPMB
 * packet of `len` bytes, 7 to 1031.
 * Returns ORVA_OK with both outputs written, or ORVA_FAILED with both untouched when the length is out of range or a
 * pointer is null. Any thread.
 */
ORVA_API uint32_t ORVA_DEBUG_GetNetFnAndCmdFromIpmb(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd);

/*
 * Dumps a UDP packet of `len` bytes under `name` (module ORVA_DUMP_MODULE_UDP) when the UDP switch lets its netFn and
 * command through. A packet whose length is out of range is not dumped. Any thread.
 */
ORVA_API void ORVA_DEBUG_OutUdpPacket(const char *name, const uint8_t *pkt, uint32_t len);

/*
 * Dumps an IPMB packet of `len` bytes under `name` (module ORVA_DUMP_MODULE_SOUTH) when the IPMB switch lets its
 * netFn and command through. A packet whose length is out of range is not dumped. Any thread.
 */
ORVA_API void ORVA_DEBUG_OutIpmbPacket(const char *name, const uint8_t *pkt, uint32_t len);

/* Dumps a fan (RS485) packet of `len` bytes under `name` when the RS485 switch is on. Any thread. */
ORVA_API void ORVA_DEBUG_OutFanPacket(const char *name, const uint8_t *pkt, uint32_t len);

/* Dumps a power-module (CAN) packet of `len` bytes under `name` when the CAN switch is on. Any thread. */
ORVA_API void ORVA_DEBUG_OutPmPacket(const char *name, const uint8_t *pkt, uint32_t len);

ORVA_END_DECLS

#define ORVA_LAYOUT_DEBUGGING
#include "orva_layout.h"

#endif
