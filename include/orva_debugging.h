/**
 * @file
 * Log gate, debug switches, and debug output of logs and packets.
 *
 * One process-wide record of switches decides whether a debug text goes to the debug output or to the system log, and
 * which packets are dumped. Everything starts off and is not persisted. Nothing here takes a lock: each field is
 * written by one store and read by single loads, so a reader may see a switch half applied, which at worst sends one
 * text to the other sink.
 */
#ifndef ORVA_DEBUGGING_H
#define ORVA_DEBUGGING_H

#include "orva_types.h"

ORVA_BEGIN_DECLS

/* ---- Switches */

#define ORVA_DEBUG_ANY_NETFN 0x20u /**< netFn filter that lets every packet of the bus through. */
#define ORVA_DEBUG_ANY_CMD 0xFFu   /**< Command filter that lets every command of the netFn through. */

/** The debug switches of the process. */
typedef struct {
    uint32_t udpSwitch;     /**< 1 = UDP packets are dumped, 0 = not. */
    uint16_t udpCmd;        /**< Command filter for UDP packets. */
    uint8_t udpNetFn;       /**< netFn filter for UDP packets. */
    uint32_t ipmbSwitch;    /**< 1 = IPMB packets are dumped. */
    uint16_t ipmbCmd;       /**< Command filter for IPMB packets. */
    uint8_t ipmbNetFn;      /**< netFn filter for IPMB packets. */
    uint32_t logModuleMask; /**< Modules whose debug texts go to the debug output, a bit each. */
    uint32_t logSlotId;     /**< Slot given at switch-on: returned, never consulted by the gate. */
    uint8_t logLevelMask;   /**< Levels let through, a bit each: 0xFF while logging is on. */
    uint32_t canSwitch;     /**< 1 = CAN packets are dumped. */
    uint32_t rs485Switch;   /**< 1 = RS485 packets are dumped. */
} OrvaDebugSwitch;

/** The switches of the process. Compat: callers' code. The name is spelled so. */
ORVA_API extern OrvaDebugSwitch g_sOrvaDebugSwtich;

#define ORVA_PACKET_UDP 0u   /**< Packet type: UDP. */
#define ORVA_PACKET_SOUTH 1u /**< IPMB, CAN and RS485 together: can be set, but is not a bus of its own. */
#define ORVA_PACKET_IPMB 2u  /**< Packet type: IPMB. */
#define ORVA_PACKET_RS485 3u /**< Packet type: RS485. */
#define ORVA_PACKET_CAN 4u   /**< Packet type: CAN. */

/** Tells whether a packet of this netFn and command is dumped; functions of buses without a filter take no argument.
 */
typedef uint32_t (*OrvaPacketIsOnFunc)(uint8_t netFn, uint16_t cmd);

/** Sets a bus switch and its filter; functions of buses without a filter take `onOff` only. */
typedef void (*OrvaPacketSetFunc)(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/** Row of g_debugGetSwitchFunc. */
typedef struct {
    uint32_t type;           /**< ORVA_PACKET_... */
    OrvaPacketIsOnFunc isOn; /**< Its function. */
} OrvaPacketIsOnRow;

/** Row of g_debugSetSwitchFunc. */
typedef struct {
    uint32_t type;         /**< ORVA_PACKET_... */
    OrvaPacketSetFunc set; /**< Its function. */
} OrvaPacketSetRow;

#define ORVA_PACKET_IS_ON_ROWS 4u /**< Rows of g_debugGetSwitchFunc. */
#define ORVA_PACKET_SET_ROWS 5u   /**< Rows of g_debugSetSwitchFunc. */

/** The is-on functions of UDP, IPMB, RS485 and CAN, constant. */
ORVA_API extern const OrvaPacketIsOnRow g_debugGetSwitchFunc[ORVA_PACKET_IS_ON_ROWS];

/** The set functions of UDP, south, IPMB, RS485 and CAN, constant. */
ORVA_API extern const OrvaPacketSetRow g_debugSetSwitchFunc[ORVA_PACKET_SET_ROWS];

/* ---- Log switch */

/** Modules whose debug texts go to the debug output. Thread-safe. @return The mask, a bit for each module. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogModule(void);

/**
 * Overwrites the module mask. Thread-safe.
 *
 * @param[in] mask A bit for each module.
 */
ORVA_API void ORVA_DEBUG_SetCurLogModule(uint32_t mask);

/** Levels let through. Thread-safe. @return The mask, 0 to 0xFF, a bit for each level. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogLevel(void);

/**
 * Overwrites the level mask. Thread-safe.
 *
 * @param[in] mask A bit for each level.
 */
ORVA_API void ORVA_DEBUG_SetCurLogLevel(uint8_t mask);

/** Slot given when logging was switched on. Thread-safe. @return The slot. */
ORVA_API uint32_t ORVA_DEBUG_GetCurLogSlotId(void);

/**
 * Overwrites the slot. Thread-safe.
 *
 * @param[in] slot Any value.
 */
ORVA_API void ORVA_DEBUG_SetCurLogSlotId(uint32_t slot);

/**
 * Switches the debug output on for modules, at every level: the level mask becomes 0xFF. Thread-safe.
 *
 * @param[in] moduleMask A bit for each module; added to those already on.
 * @param[in] slotId     The slot to keep.
 */
ORVA_API void ORVA_DEBUG_SetLogSwitchOn(uint32_t moduleMask, uint32_t slotId);

/**
 * Switches the debug output off for modules. Thread-safe.
 *
 * A mask whose low 31 bits are zero (0 or 0x80000000) means everything: module mask, level mask and slot become 0.
 * Any other mask clears its own bits; level and slot stay, also when no module is left.
 *
 * @param[in] moduleMask A bit for each module.
 */
ORVA_API void ORVA_DEBUG_SetLogSwitchOff(uint32_t moduleMask);

/**
 * The log gate: tells whether a text goes to the debug output. Thread-safe.
 *
 * Levels are bits, not magnitudes. The slot plays no part. The cost is two loads and two tests.
 *
 * @param[in] module Module bits of the text.
 * @param[in] level  Level bits of the text.
 * @retval 1 `module` shares a bit with the module mask and `level` a bit with the level mask.
 * @retval 0 It goes to the system log.
 */
ORVA_API uint32_t ORVA_DEBUG_LogSwitchIsOn(uint32_t module, uint32_t level);

/**
 * Operator's entry to the log switch: ORVA_DEBUG_SetLogSwitchOn or ORVA_DEBUG_SetLogSwitchOff. Thread-safe.
 *
 * @param[in] onOff      0 switches off, any other value on.
 * @param[in] moduleMask A bit for each module.
 * @param[in] slotId     The slot to keep; ignored when switching off.
 * @return ORVA_OK always.
 */
ORVA_API uint32_t ORVA_CLI_ProcessDebugDeviceOrvaLog(uint32_t onOff, uint32_t moduleMask, uint32_t slotId);

/* ---- Packet switches */

/**
 * Tells whether a UDP packet is dumped. Thread-safe.
 *
 * The filter lets a packet through when its netFn is equal and its command is equal or the command filter is
 * ORVA_DEBUG_ANY_CMD, and every packet when the netFn filter is ORVA_DEBUG_ANY_NETFN.
 *
 * @param[in] netFn Network function of the packet.
 * @param[in] cmd   Command of the packet.
 * @retval 1 The switch is on and the filter lets the packet through.
 * @retval 0 It is not dumped.
 */
ORVA_API uint32_t ORVA_DEBUG_UdpPacketSwitchIsOn(uint8_t netFn, uint16_t cmd);

/**
 * Tells whether an IPMB packet is dumped, by the rule of ORVA_DEBUG_UdpPacketSwitchIsOn. Thread-safe.
 *
 * @param[in] netFn Network function of the packet.
 * @param[in] cmd   Command of the packet.
 * @retval 1 The switch is on and the filter lets the packet through.
 * @retval 0 It is not dumped.
 */
ORVA_API uint32_t ORVA_DEBUG_IpmbPacketSwitchIsOn(uint8_t netFn, uint16_t cmd);

/** CAN switch word. Thread-safe. @return The word as it is stored. */
ORVA_API uint32_t ORVA_DEBUG_CanPacketSwitchIsOn(void);

/** RS485 switch word. Thread-safe. @return The word as it is stored. */
ORVA_API uint32_t ORVA_DEBUG_Rs485PacketSwitchIsOn(void);

/**
 * Sets the UDP switch and its filter. Thread-safe.
 *
 * @param[in] onOff 1 switches on. Any other value switches off and zeroes the filter.
 * @param[in] netFn netFn filter, low 8 bits.
 * @param[in] cmd   Command filter, low 16 bits.
 */
ORVA_API void ORVA_DEBUG_SetUdpPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/**
 * Sets the IPMB switch and its filter. Thread-safe.
 *
 * @param[in] onOff 1 switches on. Any other value switches off and zeroes the filter.
 * @param[in] netFn netFn filter, low 8 bits.
 * @param[in] cmd   Command filter, low 16 bits.
 */
ORVA_API void ORVA_DEBUG_SetIpmbPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/**
 * Sets the CAN switch. Thread-safe.
 *
 * @param[in] onOff 1 switches on, any other value off.
 */
ORVA_API void ORVA_DEBUG_SetCanPacketSwitch(uint32_t onOff);

/**
 * Sets the RS485 switch. Thread-safe.
 *
 * @param[in] onOff 1 switches on, any other value off.
 */
ORVA_API void ORVA_DEBUG_SetRs485PacketSwitch(uint32_t onOff);

/**
 * Sets the switches of the south buses: IPMB with its filter, CAN and RS485. Thread-safe. UDP stays.
 *
 * @param[in] onOff 1 switches on, any other value off.
 * @param[in] netFn As for ORVA_DEBUG_SetIpmbPacketSwitch.
 * @param[in] cmd   As for ORVA_DEBUG_SetIpmbPacketSwitch.
 */
ORVA_API void ORVA_DEBUG_SetSouthPacketSwitch(uint32_t onOff, uint32_t netFn, uint32_t cmd);

/**
 * Finds the is-on function of a packet type. Thread-safe. The rows of CAN and RS485 hold functions without arguments.
 *
 * @param[in] type ORVA_PACKET_...
 * @return The function; null for ORVA_PACKET_SOUTH and for types above ORVA_PACKET_CAN.
 */
ORVA_API OrvaPacketIsOnFunc ORVA_DEBUG_GetPacketSwitchFunc(uint32_t type);

/**
 * Finds the set function of a packet type. Thread-safe. The rows of CAN and RS485 hold functions of one argument.
 *
 * @param[in] type ORVA_PACKET_...
 * @return The function; null for types above ORVA_PACKET_CAN.
 */
ORVA_API OrvaPacketSetFunc ORVA_DEBUG_SetPacketSwitchFunc(uint32_t type);

/**
 * Tells whether a packet is dumped. Thread-safe.
 *
 * @param[in] type  ORVA_PACKET_...
 * @param[in] netFn Network function of the packet, low 8 bits.
 * @param[in] cmd   Command of the packet, low 16 bits.
 * @return The answer of the type's is-on function; 0 when the type has none.
 */
ORVA_API uint32_t ORVA_DEBUG_PacketSwitchIsOn(uint32_t type, uint32_t netFn, uint32_t cmd);

/**
 * Operator's entry to the packet switches. Thread-safe.
 *
 * @param[in] onOff 1 switches on, any other value off.
 * @param[in] type  ORVA_PACKET_...
 * @param[in] netFn netFn filter; CAN and RS485 ignore it.
 * @param[in] cmd   Command filter; CAN and RS485 ignore it.
 * @retval ORVA_OK     The switch is set.
 * @retval ORVA_FAILED The type has no set function; nothing is changed.
 */
ORVA_API uint32_t ORVA_CLI_ProcessDebugDeviceOrvaPacket(uint32_t onOff, uint8_t type, uint32_t netFn, uint32_t cmd);

/* ---- Debug output */

#define ORVA_DUMP_MODULE_UDP 3u   /**< Module under which UDP packets are dumped. */
#define ORVA_DUMP_MODULE_SOUTH 5u /**< Module under which IPMB, RS485 and CAN packets are dumped. */

/**
 * Writes one debug text to the interface manager's debug output: "[Position: chassis/slot]text". Thread-safe.
 *
 * @param[in] module Module of the text; its bits choose the debug switch identifier.
 * @param[in] format Format in the manner of printf; the text is truncated to 255 characters. Null writes nothing.
 * @param[in] ...    Its arguments.
 * @return The sink's result; 0 for a null format and when no sink is bound; the formatter's negative result, as
 *         unsigned, when the text cannot be formatted; the system log's result when the line cannot be built, which
 *         is recorded there.
 */
ORVA_PRINTF(2)
ORVA_API uint32_t ORVA_DEBUG_OutLog(uint32_t module, const char *format, ...);

/**
 * Writes a packet to the debug output as numbered lines of hex bytes. Thread-safe. Two threads that dump at once may
 * use one number twice.
 *
 * A line begins with the packet's number (hex), the number of the piece (from 1) and the name: "[0x1:1] name: 0a ff".
 * It has at most 1999 characters; the rest follows in further pieces under the same packet number. Every call with a
 * name and data counts one packet, also with a length of 0.
 *
 * A byte that cannot be formatted ends its piece, and the next piece goes on with that byte. The dump ends after two
 * pieces in a row without a byte, when the name leaves no room for a byte, and when there is no line buffer (2000
 * bytes of the library's partition).
 *
 * @param[in] module As for ORVA_DEBUG_OutLog.
 * @param[in] name   Says where the packet comes from or goes to; null writes nothing.
 * @param[in] data   The packet; null writes nothing.
 * @param[in] len    Bytes of the packet, 1 to 0x7FFFFFFF; any other value writes nothing.
 */
ORVA_API void ORVA_DEBUG_OutPacket(uint32_t module, const char *name, const uint8_t *data, uint32_t len);

/**
 * Writes the next bytes of a packet to the start of a buffer, " %02x" each, zero-terminated. Thread-safe for distinct
 * objects.
 *
 * The next byte is data[len - *remaining]. As many bytes are written as fit and are left, fewer when formatting
 * fails. Call again with a fresh buffer while *remaining is not 0 and falls. Nothing is done when *remaining is 0 or
 * above `len`, when `outSize` is below 4, or for a null pointer. Compat: callers' code. The name is spelled so.
 *
 * @param[in]     data      The whole packet.
 * @param[in]     len       Bytes of the packet.
 * @param[in,out] remaining Bytes not yet written, 1 to `len`; falls by one for each byte written.
 * @param[out]    out       Receives the text.
 * @param[in]     outSize   Bytes at `out`, at least 4.
 */
ORVA_API void ORVA_DEUBG_FormatPacketToString(const uint8_t *data, uint32_t len, uint32_t *remaining, char *out,
                                              uint32_t outSize);

/**
 * Reads netFn (byte 12) and command (bytes 13 and 14, big-endian) of a UDP packet. Thread-safe for distinct objects.
 *
 * @param[in]  pkt   The packet.
 * @param[in]  len   Bytes of the packet, 36 to 32768.
 * @param[out] netFn Receives the network function, on success only.
 * @param[out] cmd   Receives the command, host byte order, on success only.
 * @retval ORVA_OK     Both outputs are written.
 * @retval ORVA_FAILED The length is out of range or a pointer is null.
 */
ORVA_API uint32_t ORVA_DEBUG_GetNetFnAndCmdFromUdp(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd);

/**
 * Reads netFn (low six bits of byte 3) and command (byte 7) of an IPMB packet. Thread-safe for distinct objects.
 *
 * @param[in]  pkt   The packet.
 * @param[in]  len   Bytes of the packet, 7 to 1031. A packet of 7 bytes has no byte 7: its command is 0.
 * @param[out] netFn Receives the network function, on success only.
 * @param[out] cmd   Receives the command, on success only.
 * @retval ORVA_OK     Both outputs are written.
 * @retval ORVA_FAILED The length is out of range or a pointer is null.
 */
ORVA_API uint32_t ORVA_DEBUG_GetNetFnAndCmdFromIpmb(const uint8_t *pkt, uint32_t len, uint8_t *netFn, uint16_t *cmd);

/**
 * Dumps a UDP packet (module ORVA_DUMP_MODULE_UDP) when the UDP switch lets its netFn and command through.
 * Thread-safe.
 *
 * @param[in] name As for ORVA_DEBUG_OutPacket.
 * @param[in] pkt  The packet.
 * @param[in] len  Bytes of the packet; outside 36 to 32768 it is not dumped.
 */
ORVA_API void ORVA_DEBUG_OutUdpPacket(const char *name, const uint8_t *pkt, uint32_t len);

/**
 * Dumps an IPMB packet (module ORVA_DUMP_MODULE_SOUTH) when the IPMB switch lets its netFn and command through.
 * Thread-safe.
 *
 * @param[in] name As for ORVA_DEBUG_OutPacket.
 * @param[in] pkt  The packet.
 * @param[in] len  Bytes of the packet; outside 7 to 1031 it is not dumped.
 */
ORVA_API void ORVA_DEBUG_OutIpmbPacket(const char *name, const uint8_t *pkt, uint32_t len);

/**
 * Dumps a fan packet (module ORVA_DUMP_MODULE_SOUTH) when the RS485 switch is on. Thread-safe.
 *
 * @param[in] name As for ORVA_DEBUG_OutPacket.
 * @param[in] pkt  The packet.
 * @param[in] len  Bytes of the packet.
 */
ORVA_API void ORVA_DEBUG_OutFanPacket(const char *name, const uint8_t *pkt, uint32_t len);

/**
 * Dumps a power-module packet (module ORVA_DUMP_MODULE_SOUTH) when the CAN switch is on. Thread-safe.
 *
 * @param[in] name As for ORVA_DEBUG_OutPacket.
 * @param[in] pkt  The packet.
 * @param[in] len  Bytes of the packet.
 */
ORVA_API void ORVA_DEBUG_OutPmPacket(const char *name, const uint8_t *pkt, uint32_t len);

ORVA_END_DECLS

#define ORVA_LAYOUT_DEBUGGING
#include "orva_layout.h"

#endif
