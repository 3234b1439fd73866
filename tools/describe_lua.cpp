// The description as a Wireshark dissector: tables made from the description, and the code that walks them.
#include "describe.h"

#include <algorithm>
#include <sstream>

#include "wire_transport.h"

namespace inspect {

namespace {

using namespace orva::wire;

// Lua text of a string that needs no escapes but these.
std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char letter : text) {
        out += letter == '"' || letter == '\\' ? std::string("\\") + letter : std::string(1, letter);
    }
    return out + '"';
}

void add_fields(std::ostringstream &lua, std::span<const Field> fields) {
    lua << "fields = {";
    for (const Field &field : fields) {
        lua << "\n        {name = " << quoted(field.name) << ", offset = " << field.offset
            << ", width = " << field.width << ", unit = " << quoted(field.unit) << ", text = " << quoted(field.text)
            << (is_bytes(field) ? ", bytes = true" : "") << "},";
    }
    lua << "\n    }";
}

void add_array(std::ostringstream &lua, const Message &message, const Array &array) {
    const Field count = count_field(message, array);
    lua << "\n        {name = " << quoted(array.name) << ", text = " << quoted(array.text)
        << ", offset = " << array.offset << ", stride = " << array.stride << ", bound = " << array.bound
        << ", count_offset = " << count.offset << ", count_width = " << count.width << ", ";
    add_fields(lua, rows_of(array.fields));
    lua << "},";
}

void add_message(std::ostringstream &lua, const Message &message) {
    const bool headed = std::string_view(message.fields[0].name) == "req_or_reply";
    lua << "messages[" << quoted(message.family) << "] = {family = " << quoted(message.family)
        << ", text = " << quoted(message.text) << ", bytes = " << body_bytes(message)
        << ", headed = " << (headed ? "true" : "false") << ",\n    ";
    add_fields(lua, rows_of(message.fields));
    lua << ",\n    arrays = {";
    for (const Array &array : rows_of(message.arrays)) {
        add_array(lua, message, array);
    }
    lua << "\n    }}\n";
}

// A route to a message that is not described shows as a body without a message.
void add_routes(std::ostringstream &lua, std::span<const Message *const> messages) {
    for (const Route &route : kRoutes) {
        lua << "routes[" << (route.net_fn << 16 | route.command) << "] = {name = " << quoted(route.name);
        if (std::ranges::find(messages, route.message) != messages.end()) {
            lua << ", family = " << quoted(route.message->family);
        }
        lua << "}\n";
    }
}

constexpr std::string_view kLuaOpening =
    R"lua(-- Wireshark dissector of the chassis's agent messages, written by orva-inspect describe --lua.
-- Load it with wireshark -X lua_script:orva.lua, or copy it to the folder of personal Lua plugins.
--
-- UDP datagrams of the chassis are found by their first bytes. For raw frames (a prefix and a body, without the
-- chassis's header) use a capture of link type USER0 and set the preference "Family of raw frames".

local messages, routes, transport = {}, {}, {}
)lua";

} // namespace

std::string description_lua(const Described &described) {
    std::vector<const Message *> messages = described.messages();
    if (described.converters.size() == kConverters.size()) { // all of them: the chassis's own too
        messages.insert(messages.end(), kChassisMessages.begin(), kChassisMessages.end());
    }
    std::ostringstream lua;
    lua << kLuaOpening << "local kMagic, kVersion = " << kTransportMagic << ", " << int{kTransportVersion} << '\n'
        << "local kTransportBytes, kPrefixBytes, kLastSlot = " << kTransportBytes << ", " << kPrefixBytes << ", "
        << ORVA_AGENT_SLOT_MAX << '\n'
        << "local kResultNetFn, kResultCommand = " << (kAgentNetFn | 1) << ", 0\n\n"
        << "transport = {\n    ";
    add_fields(lua, kTransportFields);
    lua << "}\ntransport = transport.fields\n\n";
    for (const Message *const message : messages) {
        add_message(lua, *message);
    }
    lua << '\n';
    add_routes(lua, messages);
    lua << kDissectorCode;
    return lua.str();
}

} // namespace inspect
