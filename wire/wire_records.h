// The sync records, each once: which member travels under which tag, whether the receiver stores it, and what it is
// called elsewhere. The library's descriptor tables, store functions, encoders and decoders are made from the lists;
// the tables after them hold the names for whoever shows or documents records.
#ifndef ORVA_WIRE_RECORDS_H
#define ORVA_WIRE_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <type_traits>

#include "orva_tlv_sensor_comm.h"
#include "wire_description.h"

// STORED(record, tag, member, other name, text, store function), with a store function where the record has one for
// each tag. SENT: the same without one, for a member that travels but that a receiver leaves as it was.
// COUNTED(record, tag, member, other name, text, count): an array of which a receiver stores as many elements as the
// member `count` says. NESTED(record, tag, member, other name, text, table): a block in the block.

#define ORVA_WIRE_TEMP(STORED)                                                                                       \
    STORED(OrvaTempSensorCfg, 1, tempNodeType, "", "Kind of temperature node", ORVA_TEMP_ProcTempNodeType)           \
    STORED(OrvaTempSensorCfg, 2, queryByChip, "", "Whether the chip is asked", ORVA_TEMP_ProcQueryByChip)            \
    STORED(OrvaTempSensorCfg, 3, sensorNum, "", "IPMI sensor number", ORVA_TEMP_ProcSensorNum)                       \
    STORED(OrvaTempSensorCfg, 4, sensorType, "", "IPMI sensor type", ORVA_TEMP_ProcSensorType)                       \
    STORED(OrvaTempSensorCfg, 5, chipIndex, "", "Index of the chip", ORVA_TEMP_ProcChipIndex)                        \
    STORED(OrvaTempSensorCfg, 6, sensorInitia, "", "IPMI sensor initialization", ORVA_TEMP_ProcSensorInitia)         \
    STORED(OrvaTempSensorCfg, 7, assertionEventMask, "", "IPMI assertion event mask",                                \
           ORVA_TEMP_ProcAssertionEventMask)                                                                         \
    STORED(OrvaTempSensorCfg, 8, deassertionEventMask, "", "IPMI deassertion event mask",                            \
           ORVA_TEMP_ProcDeAssertionEventMask)                                                                       \
    STORED(OrvaTempSensorCfg, 9, uprMinorAlm, "", "Upper minor threshold, raw code", ORVA_TEMP_ProcUprMinorAlm)      \
    STORED(OrvaTempSensorCfg, 10, uprMajorAlm, "", "Upper major threshold, raw code", ORVA_TEMP_ProcUprMajorAlm)     \
    STORED(OrvaTempSensorCfg, 11, uprFatalAlm, "", "Upper fatal threshold, raw code", ORVA_TEMP_ProcUprFatalAlm)     \
    STORED(OrvaTempSensorCfg, 12, busId, "", "Bus of the sensor", ORVA_TEMP_ProcBusId)                               \
    STORED(OrvaTempSensorCfg, 13, negativegoingThre, "", "Negative-going hysteresis, raw code",                      \
           ORVA_TEMP_ProcNegativegoingthre)                                                                          \
    STORED(OrvaTempSensorCfg, 14, positivegoingThre, "", "Positive-going hysteresis, raw code",                      \
           ORVA_TEMP_ProcPositivegoingthre)                                                                          \
    STORED(OrvaTempSensorCfg, 15, lwrMinorAlm, "", "Lower minor threshold, raw code", ORVA_TEMP_ProcLwrMinorAlm)     \
    STORED(OrvaTempSensorCfg, 16, lwrMajorAlm, "", "Lower major threshold, raw code", ORVA_TEMP_ProcLwrMajorAlm)     \
    STORED(OrvaTempSensorCfg, 17, lwrFatalAlm, "", "Lower fatal threshold, raw code", ORVA_TEMP_ProcLwrFatalAlm)     \
    STORED(OrvaTempSensorCfg, 18, cpuIndex, "", "Index of the processor", ORVA_TEMP_ProcCpuIndex)                    \
    STORED(OrvaTempSensorCfg, 19, ownerId, "", "IPMI sensor owner", ORVA_TEMP_ProcOwnerId)                           \
    STORED(OrvaTempSensorCfg, 20, ownerLun, "", "IPMI logical unit of the owner", ORVA_TEMP_ProcOwnerLun)            \
    STORED(OrvaTempSensorCfg, 21, i2cChannel, "", "I2C channel of the sensor", ORVA_TEMP_ProcI2cChannel)             \
    STORED(OrvaTempSensorCfg, 22, reserve, "", "Reserve byte", ORVA_TEMP_ProcReserve)                                \
    STORED(OrvaTempSensorCfg, 23, deviceModifier, "", "IPMI device type modifier", ORVA_TEMP_ProcDeviceModifier)     \
    STORED(OrvaTempSensorCfg, 24, sensorUnit3, "", "IPMI modifier unit", ORVA_TEMP_ProcSensorUnit3)

// Compat: bytes on the wire. Tags 18 to 20 are sent and not stored.
#define ORVA_WIRE_VLT(STORED, SENT)                                                                                  \
    STORED(OrvaVltSensorCfg, 1, sensorNum, "", "IPMI sensor number", ORVA_VLT_ProcSensorNum)                         \
    STORED(OrvaVltSensorCfg, 2, sensorMLS, "", "IPMI M factor, low byte", ORVA_VLT_ProcSensorMLS)                    \
    STORED(OrvaVltSensorCfg, 3, rexpBexp, "", "IPMI R and B exponents", ORVA_VLT_ProcRexpBexp)                       \
    STORED(OrvaVltSensorCfg, 4, voltageId, "", "Number of the voltage", ORVA_VLT_ProcVoltageId)                      \
    STORED(OrvaVltSensorCfg, 5, assertionEventMask, "", "IPMI assertion event mask",                                 \
           ORVA_VLT_ProcAssertionEventMask)                                                                          \
    STORED(OrvaVltSensorCfg, 6, deassertionEventMask, "", "IPMI deassertion event mask",                             \
           ORVA_VLT_ProcDeAssertionEventMask)                                                                        \
    STORED(OrvaVltSensorCfg, 7, sensorInitia, "", "IPMI sensor initialization", ORVA_VLT_ProcSensorInitia)           \
    STORED(OrvaVltSensorCfg, 8, nominalReading, "", "Nominal reading, raw code", ORVA_VLT_ProcNominalReading)        \
    STORED(OrvaVltSensorCfg, 9, uprMinorAlm, "", "Upper minor threshold, raw code", ORVA_VLT_ProcUprMinorAlm)        \
    STORED(OrvaVltSensorCfg, 10, uprMajorAlm, "", "Upper major threshold, raw code", ORVA_VLT_ProcUprMajorAlm)       \
    STORED(OrvaVltSensorCfg, 11, uprFatalAlm, "", "Upper fatal threshold, raw code", ORVA_VLT_ProcUprFatalAlm)       \
    STORED(OrvaVltSensorCfg, 12, sensorType, "", "IPMI sensor type", ORVA_VLT_ProcSensorType)                        \
    STORED(OrvaVltSensorCfg, 13, negativegoingThre, "", "Negative-going hysteresis, raw code",                       \
           ORVA_VLT_ProcNegativegoingthre)                                                                           \
    STORED(OrvaVltSensorCfg, 14, positiveGoingThre, "", "Positive-going hysteresis, raw code",                       \
           ORVA_VLT_ProcPositiveGoingThre)                                                                           \
    STORED(OrvaVltSensorCfg, 15, lwrMinorAlm, "", "Lower minor threshold, raw code", ORVA_VLT_ProcLwrMinorAlm)       \
    STORED(OrvaVltSensorCfg, 16, lwrMajorAlm, "", "Lower major threshold, raw code", ORVA_VLT_ProcLwrMajorAlm)       \
    STORED(OrvaVltSensorCfg, 17, lwrFatalAlm, "", "Lower fatal threshold, raw code", ORVA_VLT_ProcLwrFatalAlm)       \
    SENT(OrvaVltSensorCfg, 18, extra1, "", "First extra byte")                                                       \
    SENT(OrvaVltSensorCfg, 19, extra2, "", "Second extra byte")                                                      \
    SENT(OrvaVltSensorCfg, 20, extra3, "", "Third extra byte")                                                       \
    STORED(OrvaVltSensorCfg, 21, deviceModifier, "", "IPMI device type modifier", ORVA_VLT_ProcDeviceModifier)       \
    STORED(OrvaVltSensorCfg, 22, sensorUnit3, "", "IPMI modifier unit", ORVA_VLT_ProcSensorUnit3)

#define ORVA_WIRE_FMEA(STORED)                                                                                       \
    STORED(OrvaVltSensorCfg, 1, sensorNum, "sensor id", "FMEA sensor id", ORVA_TLV_DecodeFmeaSensorId)               \
    STORED(OrvaVltSensorCfg, 2, sensorType, "", "IPMI sensor type", ORVA_TLV_DecodeFmeaSensorType)                   \
    STORED(OrvaVltSensorCfg, 3, busId, "", "Bus of the sensor", ORVA_TLV_DecodeFmeaBusId)                            \
    STORED(OrvaVltSensorCfg, 4, voltageId, "reserve", "Reserve byte", ORVA_TLV_DecodeFmeaReserve)                    \
    STORED(OrvaVltSensorCfg, 5, slotId, "", "Slot of the sensor", ORVA_TLV_DecodeFmeaSlotId)

#define ORVA_WIRE_PWR_SUP(STORED)                                                                                    \
    STORED(OrvaVltSensorCfg, 1, slotId, "slave address", "Slave address of the power supply",                        \
           ORVA_TLV_DecodePowerSupplySlaveAddr)                                                                      \
    STORED(OrvaVltSensorCfg, 2, voltageId, "reserve", "Reserve byte", ORVA_TLV_DecodePowerSupplyReserve)

// Compat: bytes on the wire. The tags of this record start at 4.
#define ORVA_WIRE_DELAY(STORED)                                                                                      \
    STORED(OrvaDelayPowerOn, 4, delayFlag, "", "Whether power-on is delayed")                                        \
    STORED(OrvaDelayPowerOn, 5, delayTime, "", "Delay of the power-on")

#define ORVA_WIRE_BOARD(STORED, NESTED)                                                                              \
    STORED(OrvaBoardInfoSync, 1, info1, "", "First information byte")                                                \
    STORED(OrvaBoardInfoSync, 2, info2, "", "Second information byte")                                               \
    NESTED(OrvaBoardInfoSync, 3, delayPowerOn, "", "Delayed power-on setting", g_orvaDelayPowerOnDes)

#define ORVA_WIRE_PWRS(STORED)                                                                                       \
    STORED(OrvaPwrsPwrSync, 1, pwr1, "", "First power byte")                                                         \
    STORED(OrvaPwrsPwrSync, 2, pwr2, "", "Second power byte")                                                        \
    STORED(OrvaPwrsPwrSync, 3, pwr3, "", "Third power byte")

// Compat: bytes on the wire. Tag 14 is sent and not stored.
#define ORVA_WIRE_MODEL(STORED, SENT, COUNTED)                                                                       \
    STORED(OrvaAgentModelCtl, 1, ctlWord1, "", "First control word")                                                 \
    STORED(OrvaAgentModelCtl, 2, ctlWord2, "", "Second control word")                                                \
    STORED(OrvaAgentModelCtl, 3, ctlByte3, "", "Control byte 3")                                                     \
    STORED(OrvaAgentModelCtl, 4, mngSlotNum, "", "Number of managed slots")                                          \
    COUNTED(OrvaAgentModelCtl, 5, mngSlot, "", "Managed slots", mngSlotNum)                                          \
    COUNTED(OrvaAgentModelCtl, 6, mngSlotType, "", "Types of the managed slots", mngSlotNum)                         \
    STORED(OrvaAgentModelCtl, 7, ctlByte7, "", "Control byte 7")                                                     \
    STORED(OrvaAgentModelCtl, 8, ctlByte8, "", "Control byte 8")                                                     \
    STORED(OrvaAgentModelCtl, 9, ctlByte9, "", "Control byte 9")                                                     \
    STORED(OrvaAgentModelCtl, 10, ctlByte10, "", "Control byte 10")                                                  \
    STORED(OrvaAgentModelCtl, 11, ctlByte11, "", "Control byte 11")                                                  \
    STORED(OrvaAgentModelCtl, 12, ctlByte12, "", "Control byte 12")                                                  \
    STORED(OrvaAgentModelCtl, 13, ctlByte13, "", "Control byte 13")                                                  \
    SENT(OrvaAgentModelCtl, 14, ctlByte14, "", "Control byte 14")                                                    \
    STORED(OrvaAgentModelCtl, 15, ctlByte15, "", "Control byte 15")                                                  \
    STORED(OrvaAgentModelCtl, 16, ctlByte16, "", "Control byte 16")                                                  \
    STORED(OrvaAgentModelCtl, 17, stackSlotNum, "", "Number of stack slots")                                         \
    COUNTED(OrvaAgentModelCtl, 18, stackSlot, "", "Stack slots", stackSlotNum)

namespace orva::wire {

// What a receiver does with a member.
enum class Kept : std::uint8_t { kStored, kSent, kCounted, kNested };

struct Member {
    std::uint32_t tag;
    const char *name;
    std::uint32_t offset; // in the record's structure
    std::uint32_t bytes;  // of all elements
    Kept kept;
    const char *also; // another name of the member in this record, or empty
    const char *text;
    const char *count; // the member that counts the elements, or empty
};

#define ORVA_WIRE_STORED_MEMBER(record, tag, member, also, text, ...)                                                \
    Member{tag, #member, offsetof(record, member), sizeof(record::member), Kept::kStored, also, text, ""},
#define ORVA_WIRE_SENT_MEMBER(record, tag, member, also, text)                                                       \
    Member{tag, #member, offsetof(record, member), sizeof(record::member), Kept::kSent, also, text, ""},
#define ORVA_WIRE_COUNTED_MEMBER(record, tag, member, also, text, count)                                             \
    Member{tag, #member, offsetof(record, member), sizeof(record::member), Kept::kCounted, also, text, #count},
#define ORVA_WIRE_NESTED_MEMBER(record, tag, member, also, text, nested)                                             \
    Member{tag, #member, offsetof(record, member), sizeof(record::member), Kept::kNested, also, text, ""},

inline constexpr std::array kTempMembers{ORVA_WIRE_TEMP(ORVA_WIRE_STORED_MEMBER)};
inline constexpr std::array kVltMembers{ORVA_WIRE_VLT(ORVA_WIRE_STORED_MEMBER, ORVA_WIRE_SENT_MEMBER)};
inline constexpr std::array kFmeaMembers{ORVA_WIRE_FMEA(ORVA_WIRE_STORED_MEMBER)};
inline constexpr std::array kPwrSupMembers{ORVA_WIRE_PWR_SUP(ORVA_WIRE_STORED_MEMBER)};
inline constexpr std::array kDelayMembers{ORVA_WIRE_DELAY(ORVA_WIRE_STORED_MEMBER)};
inline constexpr std::array kBoardMembers{ORVA_WIRE_BOARD(ORVA_WIRE_STORED_MEMBER, ORVA_WIRE_NESTED_MEMBER)};
inline constexpr std::array kPwrsMembers{ORVA_WIRE_PWRS(ORVA_WIRE_STORED_MEMBER)};
inline constexpr std::array kModelMembers{
    ORVA_WIRE_MODEL(ORVA_WIRE_STORED_MEMBER, ORVA_WIRE_SENT_MEMBER, ORVA_WIRE_COUNTED_MEMBER)};

#undef ORVA_WIRE_STORED_MEMBER
#undef ORVA_WIRE_SENT_MEMBER
#undef ORVA_WIRE_COUNTED_MEMBER
#undef ORVA_WIRE_NESTED_MEMBER

// ---- Checks

// Tags run up without a gap, members lie inside the structure and no two share a byte, and every count is a member
// before its array.
constexpr bool members_are_sound(std::span<const Member> members, std::size_t size) {
    for (std::size_t i = 0; i < members.size(); ++i) {
        const Member &member = members[i];
        if (!is_named(member.name, member.text) || member.tag != members[0].tag + i || member.bytes == 0 ||
            member.offset + member.bytes > size) {
            return false;
        }
        bool isCounted = member.kept != Kept::kCounted;
        for (const Member &earlier : members.first(i)) {
            if (member.offset < earlier.offset + earlier.bytes && earlier.offset < member.offset + member.bytes) {
                return false;
            }
            isCounted = isCounted || std::string_view(earlier.name) == member.count;
        }
        if (!isCounted || (member.kept == Kept::kCounted) != (*member.count != 0)) {
            return false;
        }
    }
    return !members.empty();
}

static_assert(members_are_sound(kTempMembers, sizeof(OrvaTempSensorCfg)));
static_assert(members_are_sound(kVltMembers, sizeof(OrvaVltSensorCfg)));
static_assert(members_are_sound(kFmeaMembers, sizeof(OrvaVltSensorCfg)));
static_assert(members_are_sound(kPwrSupMembers, sizeof(OrvaVltSensorCfg)));
static_assert(members_are_sound(kDelayMembers, sizeof(OrvaDelayPowerOn)));
static_assert(members_are_sound(kBoardMembers, sizeof(OrvaBoardInfoSync)));
static_assert(members_are_sound(kPwrsMembers, sizeof(OrvaPwrsPwrSync)));
static_assert(members_are_sound(kModelMembers, sizeof(OrvaAgentModelCtl)));

} // namespace orva::wire

#endif
