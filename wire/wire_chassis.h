// The bodies of the chassis's own messages, for whoever shows or compares them: inspector, dissector, replay. The
// library knows none of them. All words are in network byte order on the wire.
#ifndef ORVA_WIRE_CHASSIS_H
#define ORVA_WIRE_CHASSIS_H

#include "orva_simulate_comm.h"
#include "wire_messages.h"

namespace orva::wire {

consteval Field byte(const char *name, std::uint16_t offset, const char *text) {
    return {name, offset, 1, Swapped::kNever, "", text};
}

// Bytes that are neither a number nor a text.
inline constexpr const char *kBytesUnit = "bytes";

constexpr bool is_bytes(const Field &field) {
    return field.width > 4 && std::string_view(field.unit) == kBytesUnit;
}

// An array without a count is always full.
constexpr bool is_fixed(const Array &array) {
    return *array.count == 0;
}

inline constexpr Message kStatistics{
    .family = "Statistics",
    .text = "What a board's process did with its packets",
    .fields = header_and(word("received", 16, "Packets that the receiver thread got"),
                         word("queue_refusals", 20, "Of these, not taken by the queue"),
                         word("handled", 24, "Packets that the loop read"),
                         word("refused", 28, "Of these, answered with a code")),
};

inline constexpr Message kSetSensor{
    .family = "SetSensor",
    .text = "Sets or removes a simulated sensor; word_12 is 1 or 0",
    .fields = header_and(word("lead", 16, "Not read"), word("slot_id", 20, "Slot of the sensor", "slot"),
                         word("key_extra", 24, "Further part of the key"), word("sensor_type", 28, "Sensor type"),
                         word("sensor_num", 32, "Sensor number"), word("gap", 36, "Not read"),
                         word("sensor_mask", 40, "Mask of the sensor"),
                         word("value", 44, "Tenths of a degree Celsius, or millivolts")),
};

inline constexpr Message kSensorList{
    .family = "SensorList",
    .text = "The simulated sensors that a board has",
    .fields = header_and(word("count", 16, "Number of sensors", "entries")),
    .arrays = {{{.name = "sensors",
                 .offset = 20,
                 .stride = 12,
                 .bound = ORVA_SIMULATE_SENSORS,
                 .count = "count",
                 .fields = {word("key", 0, "Type, slot, further part and number, a byte each"),
                            word("mask", 4, "Mask of the sensor"),
                            word("value", 8, "Tenths of a degree Celsius, or millivolts")},
                 .text = "One entry for each simulated sensor"}}},
};

inline constexpr Message kOnlinePairs{
    .family = "OnlinePairs",
    .text = "A board's whole list of online pairs",
    .fields = header_and(),
    .arrays = {{{.name = "pairs",
                 .offset = 16,
                 .stride = 2,
                 .bound = ORVA_SIMULATE_BOARD_PAIRS,
                 .fields = {byte("slot", 0, "Slot of the board; 255 in an empty entry"),
                            byte("state", 1, "1 online, 0 not")},
                 .text = "One entry for each pair"}}},
};

inline constexpr Message kLogSwitch{
    .family = "LogSwitch",
    .text = "Switches the library's log on or off",
    .fields = header_and(word("on", 16, "1 on, 0 off"), word("module_mask", 20, "Modules, a bit each"),
                         word("slot", 24, "Slot that the log is about", "slot")),
};

inline constexpr Message kPacketSwitch{
    .family = "PacketSwitch",
    .text = "Switches packet dumps on or off",
    .fields = header_and(word("on", 16, "1 on, 0 off"), word("type", 20, "Bus"),
                         word("net_fn", 24, "Network function"), word("command", 28, "Command")),
};

inline constexpr Message kSyncBlock{
    .family = "SyncBlock",
    .text = "A sync record for the backup; word_12 is its number",
    .fields = header_and(word("seed", 16, "What the record's members come from"),
                         word("length", 20, "Length of the block", "bytes"),
                         Field{"block", 24, 256, Swapped::kNever, kBytesUnit, "TLV block of the record"}),
};

inline constexpr Message kSyncReport{
    .family = "SyncReport",
    .text = "How the backup's record compares; word_12 is 0 when it is in step",
    .fields =
        header_and(word("compared", 16, "Members that were compared"), word("differing", 20, "Of these, different"),
                   Field{"report", 24, 256, Swapped::kNever, "", "Report for people"}),
};

inline constexpr Message kTrace{
    .family = "Trace",
    .text = "How long the stages of the request path take in a board's process",
    .fields = header_and(),
    .arrays = {{{.name = "stages",
                 .offset = 16,
                 .stride = 16,
                 .bound = 6,
                 .fields = {word("count", 0, "How often it was measured"),
                            word("min", 4, "Shortest processor time", "ns"),
                            word("avg", 8, "Average processor time", "ns"),
                            word("max", 12, "Longest processor time", "ns")},
                 .text = "Queue read, length check, to host order, header check, answer, send"}}},
};

inline constexpr Message kSensorFault{
    .family = "SensorFault",
    .text = "A fault of the simulated hardware",
    .fields = header_and(word("sensor_kind", 16, "1 temperature, 2 voltage"),
                         word("sensor_number", 20, "Number of the sensor within its kind"),
                         word("fault", 24, "0 none, 1 stuck, 2 noise, 3 drift"),
                         word("value", 28, "How much, in the sensor's unit")),
};

inline constexpr Message kFigures{
    .family = "Figures",
    .text = "Rate limiting, queue, memory and descriptors of a board's process",
    .fields = header_and(
        word("passed", 16, "Rate-limited records of the last hour"),
        word("dropped", 20, "Rate-limited records dropped since the last summary"),
        word("queue_messages", 24, "Messages in its queue"), word("queue_bytes", 28, "Bytes in its queue", "bytes"),
        word("memory_bytes", 32, "Live bytes of its memory partitions", "bytes"),
        word("memory_blocks", 36, "Live blocks of its memory partitions"),
        word("memory_failures", 40, "Allocations that were refused"), word("descriptors", 44, "Open descriptors")),
};

// What the chassis adds to the families of the library.
inline constexpr std::array kChassisMessages{&kStatistics, &kSetSensor,    &kSensorList, &kOnlinePairs,
                                             &kLogSwitch,  &kPacketSwitch, &kSyncBlock,  &kSyncReport,
                                             &kTrace,      &kSensorFault,  &kFigures};

static_assert(std::all_of(kChassisMessages.begin(), kChassisMessages.end(), [](const Message *message) {
    return is_named(message->family, message->text) && fields_are_sound(message->fields, 4, 4) &&
           std::all_of(message->arrays.begin(), message->arrays.begin() + length_of(message->arrays),
                       [&](const Array &array) {
                           const Field &last = array.fields[length_of(array.fields) - 1];
                           return fields_are_sound(array.fields, 2, 4) &&
                                  std::size_t{last.offset} + last.width <= array.stride &&
                                  is_fixed(array) == (count_field(*message, array).width == 0);
                       });
}));

} // namespace orva::wire

#endif
