local orva = Proto("orva", "Chassis agent message")
orva.prefs.raw_family = Pref.string("Family of raw frames", "Req", "Message of frames in a capture of link type USER0")
orva.prefs.late_ms = Pref.uint("Late after (ms)", 500, "A reply that takes longer is marked")

-- ---- Fields

local fields = {}
local number_fields = {[1] = ProtoField.uint8, [2] = ProtoField.uint16, [4] = ProtoField.uint32}

-- The kind of field that a row of the description is.
local function proto_field(name, row)
    local number = number_fields[row.width]
    if row.bytes then
        return ProtoField.bytes(name, row.name, base.SPACE, row.text)
    elseif not number then
        return ProtoField.string(name, row.name, base.ASCII, row.text)
    elseif row.unit ~= "" then
        return number(name, row.name, base.UNIT_STRING, {" " .. row.unit}, nil, row.text)
    end
    return number(name, row.name, base.DEC, nil, nil, row.text)
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
local note_field = ProtoField.string("orva.note", "note", base.ASCII, "What the recorder says of the chassis")
local response_to_field = ProtoField.framenum("orva.response_to", "Request in", base.NONE, frametype.REQUEST)
local response_in_field = ProtoField.framenum("orva.response_in", "Response in", base.NONE, frametype.RESPONSE)
local response_time_field = ProtoField.relative_time("orva.response_time", "Response time")
for _, field in ipairs({prefix_field, message_field, family_field, body_field, note_field, response_to_field,
                        response_in_field, response_time_field}) do
    fields[#fields + 1] = field
end
for family, message in pairs(messages) do
    local name = "orva." .. family:lower()
    declare(name, message.fields)
    for _, array in ipairs(message.arrays) do
        declare(name .. "." .. array.name, array.fields)
    end
end
orva.fields = fields

-- ---- What is wrong

local experts = {}
local function expert_info(name, text, group, severity)
    local info = ProtoExpert.new("orva." .. name, text, group, severity)
    experts[#experts + 1] = info
    return info
end

local bad_length = expert_info("bad_length", "The length in the header is not the frame's", expert.group.MALFORMED,
                               expert.severity.ERROR)
local short_body = expert_info("short_body", "The body ends before its layout does", expert.group.MALFORMED,
                               expert.severity.ERROR)
local long_body = expert_info("long_body", "The body is longer than its layout, receivers refuse the message",
                              expert.group.MALFORMED, expert.severity.ERROR)
local over_bound = expert_info("over_bound", "The count is above the array's bound", expert.group.PROTOCOL,
                               expert.severity.WARN)
local bad_header = expert_info("bad_header", "Receivers refuse this header", expert.group.PROTOCOL,
                               expert.severity.WARN)
local unknown_command = expert_info("unknown_command", "Unknown network function and command",
                                    expert.group.UNDECODED, expert.severity.WARN)
local other_version = expert_info("other_version", "Unknown version of the header", expert.group.UNDECODED,
                                  expert.severity.WARN)
local no_request = expert_info("no_request", "A reply without its request", expert.group.SEQUENCE,
                               expert.severity.WARN)
local doubled_reply = expert_info("doubled_reply", "The request was answered before", expert.group.SEQUENCE,
                                  expert.severity.NOTE)
local late_reply = expert_info("late_reply", "The reply is late", expert.group.RESPONSE_CODE, expert.severity.NOTE)
orva.experts = experts

-- ---- Requests and their replies

-- By ends and sequence number; by the frame of a reply; by the frame of a request.
local last_request, request_of, reply_of = {}, {}, {}

function orva.init()
    last_request, request_of, reply_of = {}, {}, {}
end

local function key_of(from, from_port, to, to_port, sequence)
    return tostring(from) .. " " .. from_port .. " " .. tostring(to) .. " " .. to_port .. " " .. sequence
end

-- A result answers any request.
local function answers(request, net_fn, command)
    return (net_fn == request.net_fn + 1 and command == request.command) or
        (net_fn == kResultNetFn and command == kResultCommand)
end

local function note_request(pinfo, net_fn, command, sequence)
    last_request[key_of(pinfo.src, pinfo.src_port, pinfo.dst, pinfo.dst_port, sequence)] =
        {frame = pinfo.number, time = pinfo.rel_ts, net_fn = net_fn, command = command}
end

local function note_reply(pinfo, net_fn, command, sequence)
    local request = last_request[key_of(pinfo.dst, pinfo.dst_port, pinfo.src, pinfo.src_port, sequence)]
    if request and answers(request, net_fn, command) then
        request_of[pinfo.number] = {frame = request.frame, seconds = pinfo.rel_ts - request.time,
                                    doubled = reply_of[request.frame] ~= nil}
        reply_of[request.frame] = reply_of[request.frame] or pinfo.number
    end
end

local function add_request_of(tree, pinfo)
    local request = request_of[pinfo.number]
    if not request then
        tree:add_proto_expert_info(no_request)
        return
    end
    tree:add(response_to_field, request.frame):set_generated()
    local whole = math.floor(request.seconds)
    local nanoseconds = math.floor((request.seconds - whole) * 1e9 + 0.5)
    tree:add(response_time_field, NSTime.new(whole, nanoseconds)):set_generated()
    if request.seconds * 1000 > orva.prefs.late_ms then
        tree:add_proto_expert_info(late_reply)
    end
    if request.doubled then
        tree:add_proto_expert_info(doubled_reply)
    end
end

-- Frames are seen in order once; what belongs together is known from then on.
local function match(tree, buffer, pinfo)
    local net_fn, command = buffer(12, 1):uint(), buffer(13, 2):uint()
    local sequence = buffer(kTransportBytes, 2):uint()
    local is_reply = net_fn % 2 == 1
    if not pinfo.visited then
        (is_reply and note_reply or note_request)(pinfo, net_fn, command, sequence)
    end
    if is_reply then
        add_request_of(tree, pinfo)
    elseif reply_of[pinfo.number] then
        tree:add(response_in_field, reply_of[pinfo.number]):set_generated()
    end
end

-- ---- Messages

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

-- How many entries the message says there are; nothing when the count is not there.
local function count_in(range, array)
    if array.count_width == 0 then
        return array.bound
    elseif array.count_offset + array.count_width > range:len() then
        return nil
    end
    return range(array.count_offset, array.count_width):uint()
end

local function add_array(tree, range, array)
    local count = count_in(range, array)
    if not count then
        return false
    end
    if count > array.bound then
        tree:add_proto_expert_info(over_bound)
        count = array.bound
    end
    for i = 0, count - 1 do
        local at = array.offset + i * array.stride
        if at >= range:len() then
            return false
        end
        local entry = tree:add(orva, range(at, math.min(array.stride, range:len() - at)), array.name .. "[" .. i .. "]")
        if not add_rows(entry, range, at, array.fields) then
            return false
        end
    end
    return true
end

-- What receivers demand of the words that begin most messages: offset, least, most; all ones too where it is so.
local header_rules = {{at = 0, least = 1, most = 2}, {at = 4, least = 0, most = kLastSlot},
                      {at = 8, least = 0, most = kLastSlot, all_ones = true}}

local function header_is_sound(range)
    for _, rule in ipairs(header_rules) do
        local value = rule.at + 4 <= range:len() and range(rule.at, 4):uint() or rule.least
        if (value < rule.least or value > rule.most) and not (rule.all_ones and value == 0xFFFFFFFF) then
            return false
        end
    end
    return true
end

local function add_body(tree, range, message)
    tree:add(family_field, range, message.family):set_generated()
    local whole = add_rows(tree, range, 0, message.fields)
    for _, array in ipairs(message.arrays) do
        whole = whole and add_array(tree, range, array)
    end
    if not whole then
        tree:add_proto_expert_info(short_body)
    end
    if range:len() > message.bytes then
        tree:add_proto_expert_info(long_body)
    end
    if message.headed and not header_is_sound(range) then
        tree:add_proto_expert_info(bad_header)
    end
end

-- A prefix and a body.
local function add_frame(tree, range, family)
    local message = messages[family]
    if range:len() >= 2 then
        tree:add(prefix_field, range(0, 2))
    end
    if range:len() <= kPrefixBytes then
        if message or range:len() < kPrefixBytes then
            tree:add_proto_expert_info(short_body)
        end
    elseif message then
        add_body(tree, range(kPrefixBytes), message)
    else
        tree:add(body_field, range(kPrefixBytes))
    end
end

local function is_datagram(buffer)
    return buffer:len() >= 4 and buffer(0, 4):uint() == kMagic
end

-- The transport header, and what it announces.
local function add_transport(tree, buffer, pinfo)
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
    return route
end

function orva.dissector(buffer, pinfo, root)
    if not is_datagram(buffer) then
        return 0
    end
    pinfo.cols.protocol = "ORVA"
    pinfo.cols.info = "truncated datagram"
    local tree = root:add(orva, buffer())
    if not add_rows(tree, buffer, 0, transport) then
        tree:add_proto_expert_info(short_body)
        return buffer:len()
    end
    local route = add_transport(tree, buffer, pinfo)
    if buffer:len() >= kTransportBytes + kPrefixBytes then
        match(tree, buffer, pinfo)
    end
    if buffer:len() > kTransportBytes then
        add_frame(tree, buffer(kTransportBytes), route and route.family)
    else
        tree:add_proto_expert_info(short_body)
    end
    return buffer:len()
end

-- What the recorder says of the chassis, as text.
local kNoteStart = "# orva-chassis: "

local function dissect_note(buffer, pinfo, root)
    local text = buffer():string()
    pinfo.cols.protocol = "ORVA"
    pinfo.cols.info = text:sub(#kNoteStart + 1, 120):gsub("%s+", " ")
    root:add(orva, buffer(), "Note of a recorded chassis"):add(note_field, buffer())
end

orva:register_heuristic("udp", function(buffer, pinfo, root)
    if is_datagram(buffer) then
        orva.dissector(buffer, pinfo, root)
        return true
    elseif buffer:len() > #kNoteStart and buffer(0, #kNoteStart):string() == kNoteStart then
        dissect_note(buffer, pinfo, root)
        return true
    end
    return false
end)

-- Frames without the chassis's header.
local raw = Proto("orva_raw", "Agent message frame")

function raw.dissector(buffer, pinfo, root)
    if buffer:len() == 0 then
        return 0
    end
    pinfo.cols.protocol = "ORVA"
    pinfo.cols.info = orva.prefs.raw_family
    add_frame(root:add(orva, buffer()), buffer, orva.prefs.raw_family)
    return buffer:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, raw)
