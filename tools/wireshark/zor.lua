-- Wireshark dissector of the frames between a maintenance console and main_zor.
--
-- Use it once:      wireshark -X lua_script:tools/wireshark/zor.lua
-- or keep it:       copy it into the folder that Help > About > Folders names "Personal Lua Plugins".
-- Another port than 3595: Analyze > Decode As..., or -d tcp.port==PORT,zor on the command line.
--
-- A frame is a header of 132 bytes (48 if its version is 27 or lower) and a body of lg bytes, all
-- integers little-endian. A reader that meets a bad begin marker drops words of four bytes until
-- the next marker; this dissector shows such bytes as one junk item, in the same steps.

local zor = Proto("zor", "Zor maintenance frames")

local BEGIN_MARKER = 0x11224488
local LONG_HEADER, SHORT_HEADER = 132, 48
local LAST_SHORT_VERSION = 27
local VERSION_END = 28 -- bytes needed before the length of a frame is known
local TEXT_AT = 28
local TEXT_LIMIT = 103 -- bytes; a text that fills the field has no terminator
local BODY_LIMIT = 1000000
local DEFAULT_PORT = 3595

local type_names = { [8] = "keep-alive", [10] = "operator" }
local op_names = { [5] = "text", [6] = "join / not for display", [7] = "leave" }
local control_texts = {
    ["<clear-screen>\n"] = "clear the screen",
    ["<on-canonique>\n"] = "one-key input",
    ["<off-canonique>\n"] = "line input",
}

local field = {
    begin_head = ProtoField.uint32("zor.begin_head", "Begin marker", base.HEX),
    type = ProtoField.int16("zor.type", "Type", base.DEC, type_names),
    op = ProtoField.int16("zor.op", "Operation", base.DEC, op_names),
    lg = ProtoField.int32("zor.lg", "Body length"),
    reserved_12 = ProtoField.int16("zor.reserved_12", "Reserved (12)"),
    reserved_14 = ProtoField.int16("zor.reserved_14", "Reserved (14)"),
    reserved_16 = ProtoField.int16("zor.reserved_16", "Reserved (16)"),
    kel_id = ProtoField.int16("zor.kel_id", "Server instance"),
    pair_first = ProtoField.int16("zor.pair.first", "Pair, first"),
    pair_second = ProtoField.int16("zor.pair.second", "Pair, second"),
    reserved_24 = ProtoField.int16("zor.reserved_24", "Reserved (24)"),
    version = ProtoField.int16("zor.version", "Header version"),
    text = ProtoField.string("zor.text", "Header text"),
    body = ProtoField.bytes("zor.body", "Body"),
    body_text = ProtoField.string("zor.body.text", "Body text"),
    control = ProtoField.string("zor.control", "Control text"),
    header_length = ProtoField.uint16("zor.header_length", "Header length"),
    junk = ProtoField.bytes("zor.junk", "Bytes out of step"),
}
zor.fields = field

local bad_marker = ProtoExpert.new("zor.bad_marker", "Begin marker expected",
                                   expert.group.MALFORMED, expert.severity.ERROR)
local bad_length = ProtoExpert.new("zor.bad_lg", "Body length out of range",
                                   expert.group.MALFORMED, expert.severity.ERROR)
local is_control = ProtoExpert.new("zor.is_control", "Control text",
                                   expert.group.COMMENTS_GROUP, expert.severity.NOTE)
zor.experts = { bad_marker, bad_length, is_control }

-- The integers of the header in wire order, with their offsets and lengths.
local integers = {
    { 4, "type" }, { 6, "op" }, { 8, "lg", 4 }, { 12, "reserved_12" }, { 14, "reserved_14" },
    { 16, "reserved_16" }, { 18, "kel_id" }, { 20, "pair_first" }, { 22, "pair_second" },
    { 24, "reserved_24" }, { 26, "version" },
}

local function has_marker(tvb, offset)
    return tvb(offset, 4):le_uint() == BEGIN_MARKER
end

local function header_length(tvb, offset)
    return tvb(offset + 26, 2):le_int() <= LAST_SHORT_VERSION and SHORT_HEADER or LONG_HEADER
end

local function body_length(tvb, offset)
    local lg = tvb(offset + 8, 4):le_int()
    return lg, lg >= 0 and lg <= BODY_LIMIT
end

-- How many bytes lie between offset and the next marker, in steps of four.
local function junk_length(tvb, offset)
    local length = 4
    while offset + length + 4 <= tvb:len() and not has_marker(tvb, offset + length) do
        length = length + 4
    end
    return length
end

local function piece_length(tvb, offset)
    if not has_marker(tvb, offset) then return junk_length(tvb, offset) end
    local lg, in_range = body_length(tvb, offset)
    return header_length(tvb, offset) + (in_range and lg or 0)
end

local function up_to_zero(range)
    return (range:raw():gsub("%z.*$", ""))
end

local function show_body(range, tree, op)
    local item = tree:add(field.body, range)
    local text = up_to_zero(range)
    if op == 6 then return "body not for display" end
    tree:add(field.body_text, range, text)
    if control_texts[text] then
        tree:add(field.control, range, control_texts[text])
        item:add_proto_expert_info(is_control, "Control text: " .. control_texts[text])
        return "control: " .. control_texts[text]
    end
    return '"' .. text:gsub("\n", "\\n"):sub(1, 60) .. '"'
end

local function describe(type, op)
    return string.format("%s %s", type_names[type] or ("type " .. type),
                         type == 8 and "" or op_names[op] or ("op " .. op))
end

local function show_frame(tvb, pinfo, root)
    pinfo.cols.protocol = "ZOR"
    if not has_marker(tvb, 0) then
        local item = root:add(zor, tvb(), "Zor, bytes out of step"):add(field.junk, tvb())
        item:add_proto_expert_info(bad_marker)
        pinfo.cols.info:append(string.format("  [%d bytes out of step]", tvb:len()))
        return
    end
    local length = header_length(tvb, 0)
    local lg, in_range = body_length(tvb, 0)
    local tree = root:add(zor, tvb(), "Zor maintenance frame")
    tree:add_le(field.begin_head, tvb(0, 4))
    local item = {}
    for _, row in ipairs(integers) do
        item[row[2]] = tree:add_le(field[row[2]], tvb(row[1], row[3] or 2))
    end
    local text = tvb(TEXT_AT, length - TEXT_AT)
    tree:add(field.text, text, up_to_zero(text):sub(1, TEXT_LIMIT))
    tree:add(field.header_length, length):set_generated()

    local type, op = tvb(4, 2):le_int(), tvb(6, 2):le_int()
    local summary = describe(type, op)
    if not in_range then
        item.lg:add_proto_expert_info(bad_length, "Body length out of range: " .. lg)
        summary = summary .. " [bad length]"
    elseif lg > 0 then
        summary = summary .. " " .. show_body(tvb(length, lg), tree, op)
    end
    tree:append_text(", " .. summary)
    pinfo.cols.info:append("  " .. summary)
end

-- Pieces are cut by hand and not by dissect_tcp_pdus: junk may be shorter than any frame.
function zor.dissector(tvb, pinfo, root)
    pinfo.cols.info:clear()
    local offset = 0
    while offset < tvb:len() do
        local available = tvb:len() - offset
        local wanted = 4
        if available >= 4 then
            wanted = has_marker(tvb, offset) and VERSION_END or 4
            if available >= wanted then wanted = piece_length(tvb, offset) end
        end
        if available < wanted then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = wanted == VERSION_END and DESEGMENT_ONE_MORE_SEGMENT
                or wanted - available
            break
        end
        show_frame(tvb(offset, wanted):tvb(), pinfo, root)
        offset = offset + wanted
    end
    return tvb:len()
end

DissectorTable.get("tcp.port"):add(DEFAULT_PORT, zor)
