// The JSON Schema of what the commands write with --json.
#include "commands.h"
#include "describe.h"
#include "text.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

namespace inspect {

namespace {

using Json = nlohmann::ordered_json;
using Properties = std::vector<std::pair<const char *, Json>>;

// An object that has these properties and no others. A name that begins with a question mark may be absent.
Json object(const Properties &properties) {
    Json schema = {{"type", "object"},
                   {"properties", Json::object()},
                   {"required", Json::array()},
                   {"additionalProperties", false}};
    for (const auto &[name, property] : properties) {
        const bool optional = *name == '?';
        schema["properties"][name + (optional ? 1 : 0)] = property;
        if (!optional) {
            schema["required"].push_back(name);
        }
    }
    return schema;
}

Json number(std::uint64_t most = UINT32_MAX) {
    return {{"type", "integer"}, {"minimum", 0}, {"maximum", most}};
}

Json text() {
    return {{"type", "string"}};
}

Json yes_or_no() {
    return {{"type", "boolean"}};
}

Json hex() { // pairs of digits
    return {{"type", "string"}, {"pattern", "^([0-9a-f]{2}( [0-9a-f]{2})*)?$"}};
}

Json one_of(std::vector<const char *> words) {
    return {{"enum", std::move(words)}};
}

Json list(Json items) {
    return {{"type", "array"}, {"items", std::move(items)}};
}

Json or_null(Json schema) {
    return {{"anyOf", {std::move(schema), {{"type", "null"}}}}};
}

Json defined(const std::string &name) {
    return {{"$ref", "#/$defs/" + name}};
}

constexpr std::uint64_t kAnySize = UINT64_MAX >> 1;

// ---- What several commands write

Json fault_schema() {
    return object({{"at", or_null(number(kAnySize))}, {"field", text()}, {"rule", text()}, {"expected", text()}});
}

Json part_schema() {
    return object({{"at", number(kAnySize)},
                   {"length", number(kAnySize)},
                   {"name", or_null(text())},
                   {"bytes", hex()},
                   {"value", {{"type", {"integer", "string", "null"}}}},
                   {"?unit", text()},
                   {"?text", text()}});
}

Properties message_properties() {
    return {{"family", or_null(text())},
            {"order", one_of({"net", "host"})},
            {"framing", one_of({"body", "frame", "datagram"})},
            {"length", number(kAnySize)},
            {"route", or_null(object({{"netFn", number(255)}, {"command", number(65535)}, {"name", text()}}))},
            {"parts", list(defined("part"))},
            {"document", or_null(defined("document"))},
            {"notes", list(text())},
            {"faults", list(defined("fault"))}};
}

// ---- The results of each command

Json code_result() {
    const Json name = object({{"name", text()}, {"header", text()}, {"functions", list(text())}});
    return or_null(object({{"code", number()},
                           {"hex", text()},
                           {"site", number(65535)},
                           {"reason", number(65535)},
                           {"reasonName", or_null(text())},
                           {"reasonText", or_null(text())},
                           {"names", list(name)}}));
}

Properties block_properties() {
    return {{"at", number(kAnySize)},
            {"count", number()},
            {"length", number()},
            {"items", list(defined("item"))},
            {"notes", list(text())}};
}

Json item_schema() {
    return object({{"at", number(kAnySize)},
                   {"tag", number(65535)},
                   {"length", number(65535)},
                   {"bytes", hex()},
                   {"?member", text()},
                   {"?stored", yes_or_no()},
                   {"?value", number()},
                   {"?blocks", list(object(block_properties()))}});
}

Json tlv_result() {
    Properties properties = block_properties();
    properties.insert(properties.begin(), {"file", text()});
    properties.insert(properties.end(), {{"record", or_null(text())},
                                         {"document", or_null(defined("document"))},
                                         {"faults", list(defined("fault"))}});
    return object(properties);
}

Json message_result() {
    Properties properties = message_properties();
    properties.insert(properties.begin(), {"file", text()});
    return object(properties);
}

Json encode_result() {
    return object({{"file", text()},
                   {"family", or_null(text())},
                   {"record", or_null(text())},
                   {"length", number(kAnySize)},
                   {"bytes", or_null(hex())},
                   {"faults", list(defined("fault"))}});
}

Json diff_result() {
    const Json value = {{"type", {"integer", "string", "null"}}};
    const Json difference = object({{"at", number(kAnySize)}, {"field", text()}, {"a", value}, {"b", value}});
    return object({{"a", text()},
                   {"b", text()},
                   {"of", or_null(text())},
                   {"equal", yes_or_no()},
                   {"differences", list(difference)},
                   {"faultsA", list(defined("fault"))},
                   {"faultsB", list(defined("fault"))}});
}

Json packet_result() {
    const Json run = object({{"offset", number(kAnySize)}, {"bytes", hex()}});
    const Json gap = object({{"offset", number(kAnySize)}, {"length", number(kAnySize)}, {"reason", text()}});
    return object({{"file", text()},
                   {"number", number()},
                   {"name", text()},
                   {"length", number(kAnySize)},
                   {"pieces", number()},
                   {"whole", yes_or_no()},
                   {"mayGoOn", yes_or_no()},
                   {"runs", list(run)},
                   {"gaps", list(gap)},
                   {"?netFn", or_null(number(255))},
                   {"?cmd", or_null(number(65535))}});
}

// Times are texts, so that none of their nanoseconds is lost.
Json pcap_result() {
    return object({{"file", text()},
                   {"packet", number(kAnySize)},
                   {"time", text()},
                   {"from", or_null(text())},
                   {"to", or_null(text())},
                   {"problem", or_null(text())},
                   {"note", or_null(text())},
                   {"request", or_null(object({{"packet", number(kAnySize)}, {"after", text()}}))},
                   {"message", or_null(object(message_properties()))}});
}

// What every entry of a log has, and what its kind adds.
Json log_entry(std::vector<const char *> kinds, const Properties &own) {
    Properties properties = {{"file", text()},
                             {"line", number(kAnySize)},
                             {"kind", one_of(std::move(kinds))},
                             {"time", or_null(text())},
                             {"source", or_null(text())}};
    properties.insert(properties.end(), own.begin(), own.end());
    return object(properties);
}

Json manager_entry() {
    const Json key =
        object({{"keyId", number()},
                {"passed", number()},
                {"dropped", number()},
                {"buckets", {{"type", "array"}, {"items", number()}, {"minItems", 13}, {"maxItems", 13}}}});
    const Json node =
        object({{"file", text()}, {"line", number()}, {"diagId", number()}, {"text", text()}, {"keys", list(key)}});
    return log_entry({"manager"}, {{"on", yes_or_no()},
                                   {"idsCovered", number()},
                                   {"bucket", number()},
                                   {"errors", number()},
                                   {"errorLine", number()},
                                   {"seconds", number()},
                                   {"whole", yes_or_no()},
                                   {"nodes", list(node)}});
}

Json log_result() {
    const Json message = or_null(object(message_properties()));
    const Json dropped = object({{"diagId", number()}, {"count", number()}, {"keyId", number()}, {"format", text()}});
    Json packet = packet_result();
    packet["properties"].update(log_entry(
        {"packet"}, {{"direction", one_of({"to", "from", "unknown"})}, {"message", message}})["properties"]);
    for (const char *name : {"line", "kind", "time", "source", "direction", "message"}) {
        packet["required"].push_back(name);
    }
    return {{"oneOf",
             {packet, log_entry({"bytes"}, {{"name", text()}, {"bytes", hex()}, {"message", message}}),
              log_entry({"diagnostic", "debug", "position"}, {{"chassis", or_null(number())},
                                                              {"slot", number()},
                                                              {"id", or_null(number())},
                                                              {"text", text()},
                                                              {"dropped", or_null(dropped)}}),
              manager_entry()}}};
}

Json to_pcap_result() {
    return object({{"file", text()}, {"capture", text()}, {"packets", number()}, {"notWhole", number()}});
}

Json port_result() {
    return or_null(object({{"boardType", number()},
                           {"hex", text()},
                           {"interface", text()},
                           {"waitFlag", number()},
                           {"octetSelect", number()}}));
}

Json stub_result() {
    return or_null(object({{"asked", text()}, {"type", number()}, {"name", text()}}));
}

Json sensor_type_result() {
    return or_null(object({{"code", number(255)}, {"hex", text()}, {"name", text()}}));
}

Json crc_result() {
    return object({{"file", text()},
                   {"length", number()},
                   {"crc16CcittFalse", number(65535)},
                   {"crc16Xmodem", number(65535)},
                   {"crc16ShiftIn", number(65535)},
                   {"crc16App", number(65535)},
                   {"crc32", number()}});
}

struct CommandSchema {
    const char *name;
    Json (*result)();
};

constexpr CommandSchema kCommands[] = {
    {"code", code_result},     {"tlv", tlv_result},         {"message", message_result},
    {"encode", encode_result}, {"diff", diff_result},       {"packet", packet_result},
    {"port", port_result},     {"stub", stub_result},       {"sensor-type", sensor_type_result},
    {"log", log_result},       {"to-pcap", to_pcap_result}, {"pcap", pcap_result},
    {"crc", crc_result},
};

// ---- The description has a form of its own

Json described_field() {
    return object({{"name", text()},
                   {"offset", number()},
                   {"width", number(65535)},
                   {"swapped", yes_or_no()},
                   {"?unit", text()},
                   {"text", text()}});
}

Json described_message() {
    const Json count = object({{"offset", number()}, {"width", number(4)}, {"clamped", yes_or_no()}});
    const Json array = object({{"name", text()},
                               {"offset", number()},
                               {"stride", number(65535)},
                               {"bound", number(255)},
                               {"count", count},
                               {"fields", list(described_field())},
                               {"text", text()}});
    return object({{"family", text()},
                   {"converter", text()},
                   {"direction", one_of({"host", "net"})},
                   {"prefix_bytes", number(8)},
                   {"bytes", number()},
                   {"hook", yes_or_no()},
                   {"fields", list(described_field())},
                   {"arrays", list(array)},
                   {"text", text()}});
}

Json described_record() {
    const Json member = object({{"tag", number(65535)},
                                {"member", text()},
                                {"offset", number()},
                                {"type", number(4)},
                                {"elements", number()},
                                {"stored", yes_or_no()},
                                {"?also", text()},
                                {"?count", text()},
                                {"?record", text()},
                                {"text", text()}});
    return object({{"key", text()},
                   {"table", text()},
                   {"length", number()},
                   {"structure", text()},
                   {"size", number()},
                   {"fields", list(member)},
                   {"text", text()}});
}

Json describe_schema() {
    return object({{"schema", {{"const", kSchemaVersion}}},
                   {"messages", list(described_message())},
                   {"records", list(described_record())}});
}

Json command_schema(const CommandSchema &command) {
    return object({{"schema", {{"const", kSchemaVersion}}},
                   {"command", {{"const", command.name}}},
                   {"results", list(command.result())}});
}

} // namespace

std::vector<std::string> commands_with_schema() {
    std::vector<std::string> names = {"describe"};
    std::ranges::transform(kCommands, std::back_inserter(names), &CommandSchema::name);
    return names;
}

int inspect_schema(const std::vector<std::string> &commands) {
    Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"title", "What orva-inspect writes with --json"},
                   {"oneOf", Json::array()},
                   {"$defs", {{"fault", fault_schema()}, {"part", part_schema()}, {"item", item_schema()}}}};
    const Json documents = document_schema(everything());
    schema["$defs"]["document"] = {{"title", documents["title"]}, {"oneOf", documents["oneOf"]}};
    schema["$defs"].update(documents["$defs"]);
    const auto is_wanted = [&commands](const char *name) {
        return commands.empty() || std::ranges::find(commands, name) != commands.end();
    };
    for (const CommandSchema &command : kCommands) {
        if (is_wanted(command.name)) {
            schema["oneOf"].push_back(command_schema(command));
        }
    }
    if (is_wanted("describe")) {
        schema["oneOf"].push_back(describe_schema());
    }
    print_json(schema);
    return kDone;
}

} // namespace inspect
