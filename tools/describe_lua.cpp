// The description as a Wireshark dissector: tables made from the description, and the code that walks them.
#include "describe.h"

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
            << "},";
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
    lua << "messages[" << quoted(message.family) << "] = {text = " << quoted(message.text) << ",\n    ";
    add_fields(lua, rows_of(message.fields));
    lua << ",\n    arrays = {";
    for (const Array &array : rows_of(message.arrays)) {
        add_array(lua, message, array);
    }
    lua << "\n    }}\n";
}

// A route to a message that is not described shows as a body without a message.
void add_routes(std::ostringstream &lua, const Described &described) {
    const auto messages = described.messages();
    for (const Route &route : kRoutes) {
        lua << "routes[" << (route.net_fn << 16 | route.command) << "] = {name = " << quoted(route.name);
        if (route.message != nullptr && std::ranges::find(messages, route.message) != messages.end()) {
            lua << ", family = " << quoted(route.message->family);
        }
        lua << "}\n";
    }
}

constexpr std::string_view kOpening =
    R"lua(-- Wireshark dissector of the chassis's agent messages, written by orva-inspect describe --lua.
-- Load it with wireshark -X lua_script:orva.lua, or copy it to the folder of personal Lua plugins.
--
-- UDP datagrams of the chassis are found by their first bytes. For raw frames (a prefix and a body, without the
-- chassis's header) use a capture of link type USER0 and set the preference "Family of raw frames".

local messages, routes, transport = {}, {}, {}
)lua";

constexpr std::string_view kCode = R"lua(
local orva = Proto("orva", "Chassis agent message")
orva.prefs.raw_family = Pref.string("Family of raw frames", "Req", "Message of frames in a capture of link type USER0")

local fields = {}

-- The kind of field that a description row is.
local function proto_field(name, row)
    local label = row.unit ~= "" and row.name .. " (" .. row.unit .. ")" or row.name
    if row.width == 1 then
        return ProtoField.uint8(name, label, base.DEC, nil, nil, row.text)
    elseif row.width == 2 then
        return ProtoField.uint16(name, label, base.DEC, nil, nil, row.text)
    elseif row.width == 4 then
        return ProtoField.uint32(name, label, base.DEC, nil, nil, row.text)
    end
    return ProtoField.stringz(name, label, base.ASCII, row.text)
end

local function declare(prefix, rows)
    for _, row in ipairs(rows) do
        local name = prefix .. "." .. row.name
        row.field = proto_field(name, row)
        fields[name] = row.field
    end
end

declare("orva", transport)
local prefix_field = ProtoField.uint16("orva.prefix", "prefix", base.DEC, nil, nil, "First 16-bit word of the prefix")
local message_field = ProtoField.string("orva.message", "message", base.ASCII, "What network function and command announce")
local family_field = ProtoField.string("orva.family", "family", base.ASCII, "Layout of the body")
local body_field = ProtoField.bytes("orva.body", "body", base.SPACE, "Bytes of the body without a name")
fields.prefix, fields.message, fields.family, fields.body = prefix_field, message_field, family_field, body_field
for family, message in pairs(messages) do
    local name = "orva." .. family:lower()
    declare(name, message.fields)
    for _, array in ipairs(message.arrays) do
        declare(name .. "." .. array.name, array.fields)
    end
end
orva.fields = fields

local bad_length = ProtoExpert.new("orva.bad_length", "The length in the header is not the frame's", expert.group.MALFORMED, expert.severity.ERROR)
local short_body = ProtoExpert.new("orva.short_body", "The body ends before its layout does", expert.group.MALFORMED, expert.severity.ERROR)
local over_bound = ProtoExpert.new("orva.over_bound", "The count is above the array's bound", expert.group.PROTOCOL, expert.severity.WARN)
local unknown_command = ProtoExpert.new("orva.unknown_command", "Unknown network function and command", expert.group.UNDECODED, expert.severity.WARN)
local other_version = ProtoExpert.new("orva.other_version", "Unknown version of the header", expert.group.UNDECODED, expert.severity.WARN)
orva.experts = {bad_length, short_body, over_bound, unknown_command, other_version}

-- Adds the rows that lie inside `range`; false when one does not.
local function add_rows(tree, range, base, rows)
    for _, row in ipairs(rows) do
        if base + row.offset + row.width > range:len() then
            return false
        end
        tree:add(row.field, range(base + row.offset, row.width))
    end
    return true
end

local function add_array(tree, range, array)
    if array.count_offset + array.count_width > range:len() then
        return false
    end
    local count = range(array.count_offset, array.count_width):uint()
    if count > array.bound then
        tree:add_proto_expert_info(over_bound)
        count = array.bound
    end
    local whole = true
    for i = 0, count - 1 do
        local at = array.offset + i * array.stride
        if at >= range:len() then
            return false
        end
        local entry = tree:add(orva, range(at, math.min(array.stride, range:len() - at)), array.name .. "[" .. i .. "]")
        whole = add_rows(entry, range, at, array.fields) and whole
    end
    return whole
end

-- A body, or the part of it that was captured.
local function add_body(tree, range, family)
    local message = messages[family]
    if not message then
        tree:add(body_field, range)
        return
    end
    tree:add(family_field, range, family):set_generated()
    local whole = add_rows(tree, range, 0, message.fields)
    for _, array in ipairs(message.arrays) do
        whole = add_array(tree, range, array) and whole
    end
    if not whole then
        tree:add_proto_expert_info(short_body)
    end
end

local kTransportBytes, kPrefixBytes = 16, 8

local function add_frame(tree, range, family)
    if range:len() < kPrefixBytes then
        tree:add_proto_expert_info(short_body)
        return
    end
    tree:add(prefix_field, range(0, 2))
    if range:len() > kPrefixBytes then
        add_body(tree, range(kPrefixBytes), family)
    elseif family then
        tree:add_proto_expert_info(short_body)
    end
end

function orva.dissector(buffer, pinfo, root)
    if buffer:len() < kTransportBytes or buffer(0, 4):uint() ~= kMagic then
        return 0
    end
    pinfo.cols.protocol = "ORVA"
    local tree = root:add(orva, buffer())
    add_rows(tree, buffer, 0, transport)
    local route = routes[buffer(12, 1):uint() * 65536 + buffer(13, 2):uint()]
    if route then
        tree:add(message_field, buffer(12, 3), route.name):set_generated()
        pinfo.cols.info = route.name
        tree:append_text(": " .. route.name)
    else
        pinfo.cols.info = "unknown command"
        tree:add_proto_expert_info(unknown_command)
    end
    if buffer(15, 1):uint() ~= kVersion then
        tree:add_proto_expert_info(other_version)
    end
    if buffer(8, 4):uint() ~= buffer:len() - kTransportBytes then
        tree:add_proto_expert_info(bad_length)
    end
    if buffer:len() > kTransportBytes then
        add_frame(tree, buffer(kTransportBytes), route and route.family)
    else
        tree:add_proto_expert_info(short_body)
    end
    return buffer:len()
end

orva:register_heuristic("udp", function(buffer, pinfo, root)
    if buffer:len() < kTransportBytes or buffer(0, 4):uint() ~= kMagic then
        return false
    end
    orva.dissector(buffer, pinfo, root)
    return true
end)

-- Frames without the chassis's header.
local raw = Proto("orva_raw", "Agent message frame")

function raw.dissector(buffer, pinfo, root)
    pinfo.cols.protocol = "ORVA"
    pinfo.cols.info = orva.prefs.raw_family
    add_frame(root:add(orva, buffer()), buffer, orva.prefs.raw_family)
    return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, raw)
)lua";

} // namespace

std::string description_lua(const Described &described) {
    std::ostringstream lua;
    lua << kOpening << "local kMagic, kVersion = " << kTransportMagic << ", " << int{kTransportVersion} << "\n\n"
        << "transport = {\n    ";
    add_fields(lua, kTransportFields);
    lua << "}\ntransport = transport.fields\n\n";
    for (const Message *const message : described.messages()) {
        add_message(lua, *message);
    }
    lua << '\n';
    add_routes(lua, described);
    lua << kCode;
    return lua.str();
}

} // namespace inspect
