// The sub-commands. Each writes its result to the standard output, messages to the standard error, and returns the
// program's exit status.
#ifndef INSPECT_COMMANDS_H
#define INSPECT_COMMANDS_H

#include "input.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orva::wire {
struct Record;
}

namespace inspect {

enum class Description { kText, kJson, kMarkdown, kSchema, kLua, kHeader };

enum class Bus { kUdp, kIpmb };

// Every code that the library names, ascending.
std::vector<std::uint32_t> every_code();

// A code without a name is null in JSON, and the status then is kFailed.
int inspect_codes(const std::vector<std::uint32_t> &codes, bool json);

// `record` null: tags without names.
int inspect_tlv(const std::string &path, InputForm form, const orva::wire::Record *record, bool json);

int inspect_packets(const std::string &path, std::optional<Bus> bus, bool json);
int inspect_ports(const std::vector<std::uint32_t> &board_types, bool json);

// Each name is a stub's name, composed or bare, or a stub type's number.
int inspect_stubs(const std::vector<std::string> &names, bool json);

// Each code fits 8 bits.
int inspect_sensor_types(const std::vector<std::uint32_t> &codes, bool json);

// Each name is a message's family, a converter's name, a record's key or its table; none: everything.
int inspect_describe(const std::vector<std::string> &names, Description form);

int inspect_crc(const std::string &path, bool json);

} // namespace inspect

#endif
