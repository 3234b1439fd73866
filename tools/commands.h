// The sub-commands. Each writes its result to the standard output, messages to the standard error, and returns the
// program's exit status.
#ifndef INSPECT_COMMANDS_H
#define INSPECT_COMMANDS_H

#include "input.h"
#include "message_view.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orva::wire {
struct Record;
}

namespace inspect {

enum class Description { kText, kJson, kMarkdown, kSchema, kLua, kHeader };

enum class Bus { kUdp, kIpmb, kRs485, kCan };

// The most that a log may hold.
inline constexpr std::size_t kLogLimit = std::size_t{16} << 20;

// What a command writes: lines for people, every byte with its name beside it, or one JSON document.
enum class Shown { kTable, kAnnotated, kJson };

// Files that are read one after the other, "-" for the standard input. One that is rejected does not stop the others.
struct Files {
    std::vector<std::string> paths;
    InputForm form = InputForm::kDetect;

    // How messages name a file: not at all when it is the only one.
    std::string shown(const std::string &path) const {
        return paths.size() > 1 ? path : std::string();
    }
};

// The names that look-ups take, as far as they are single words.
std::vector<std::string> code_words();
std::vector<std::string> port_words();
std::vector<std::string> stub_words();
std::vector<std::string> sensor_type_words();
std::vector<std::string> description_words();

// Look-ups of numbers or names. No words: the whole table. What is not found is null in JSON, and the status then is
// kRejected.

// Codes, by number, by name, or by the name of a function that returns them.
int inspect_codes(const std::vector<std::string> &words, bool json);

// Board types, by number or by interface.
int inspect_ports(const std::vector<std::string> &words, bool json);

// Stub types, by number or by name, composed or bare.
int inspect_stubs(const std::vector<std::string> &words, bool json);

// Sensor types, by number (8 bits) or by name.
int inspect_sensor_types(const std::vector<std::string> &words, bool json);

// `record` null: tags without names.
int inspect_tlv(const Files &files, const orva::wire::Record *record, Shown shown);

int inspect_messages(const Files &files, const MessageForm &form, Shown shown);

// How documents are written.
struct DocumentForm {
    const orva::wire::Message *message = nullptr; // neither this nor a record: as the document says
    const orva::wire::Record *record = nullptr;
    Order order = Order::kNet;
    bool binary = false;
};

int inspect_encode(const Files &files, const DocumentForm &form, bool json);

// Two files: messages, or blocks of a record. kRejected when they differ.
int inspect_diff(const Files &files, const MessageForm &form, const orva::wire::Record *record, bool json);

int inspect_packets(const Files &files, std::optional<Bus> bus, bool json);

// How captures are shown.
struct PcapForm {
    MessageForm message;                // of raw frames
    Shown shown = Shown::kTable;        // a line for each packet
    bool fields = false;                // and its fields
    std::vector<std::uint32_t> packets; // these only; none: all
};

// Captures of the chassis, or of its datagrams on loopback.
int inspect_captures(const Files &files, const PcapForm &form);

// How the packets of a log are decoded. A datagram of the chassis says itself what it is; of other packets on UDP
// network function and command say it; any other packet is of the family that is told, or stays bytes.
struct LogQuery {
    MessageForm form;
    std::optional<Bus> bus;
    bool annotate = false;
};

std::optional<MessageView> message_in(const Bytes &bytes, const LogQuery &query);

// "to", "from" or "unknown", as a dump's name begins.
const char *direction_of(std::string_view name);

int inspect_logs(const Files &files, const LogQuery &query, bool json);

// Writes the packets of a log to a capture, "-" for the standard output.
int log_to_capture(const std::string &log, const std::string &capture, const LogQuery &query, bool json);

// Each name is a message's family, a converter's name, a record's key or its table; none: everything.
int inspect_describe(const std::vector<std::string> &names, Description form);

int inspect_crc(const Files &files, bool json);

// The JSON Schema of what the commands of these names write with --json; none: of all.
std::vector<std::string> commands_with_schema();
int inspect_schema(const std::vector<std::string> &commands);

} // namespace inspect

#endif
