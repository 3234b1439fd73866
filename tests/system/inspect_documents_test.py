"""orva-inspect's documents: each command's JSON is what its schema says, messages are read and written as the Python
package reads and writes them, and what is written comes back."""
import argparse
import copy
import json
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile

DATAGRAM = struct.pack(">IIIBHB", 0x4F524348, 7, 48, 0x31, 2, 1) + bytes(8) + \
    struct.pack(">4I", 2, 5, 0, 9) + bytes([0, 0, 0, 2]) + bytes(4) + struct.pack(">I4xI4x", 42, 77)
DELAY = bytes.fromhex("00000002 0000001d 0000000000000000 0004 0001 01 0005 0004 00000e10")
BOARD = bytes.fromhex("00000003 0000003b 0000000000000000 0001 0001 2a 0002 0001 2b 0003 001d") + DELAY
LOG = """2026-11-21 02:13:58.981 +00:00 demo[3404] diagnostic a1=0 id=0x0ce41001 word3=3 a4=0 a5=0: [Position: 1/3]x
[0x1:1] to 3: 4f 52 43 48 00
[0x2:2] from 3: 01 02
"""


def capture(link_type, packets):
    return struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 65535, link_type) + b"".join(
        struct.pack("<IIII", 1, 5, len(packet), len(packet)) + packet for packet in packets)


def udp(datagram):
    return struct.pack(">BxHxxxxBBxxIIHHHxx", 0x45, 28 + len(datagram), 64, 17, 0xAC1003FA, 0xAC1000FA, 5301, 5300,
                       8 + len(datagram)) + datagram


LOOSE = "rx: 01 02 03 04 05 06 07 08\n"
MANAGER = """OrvaDiagMgr uiSwitch:1, nodeCount:372, curZone:2, uiErrCount:1 uiErrLine:167 startTime:600
src/comm/orva_comm:994 diagId:371 Invalid packet
    KeyID:5 SuccessNum:48, dropNum:152 [48  0  0  0  0  0  0  0  0  0  0  0  0]
[Position: 1/3][OrvaDiagMgr] DiagID:371 drop: 152 logs in a hour. keyID: 5 format: Invalid %s
"""


def dump(packet, name="to slot 3", number=1):
    """What the library writes of a packet that fits into one line."""
    return f"[0x{number:x}:1] {name}: {packet.hex(' ')}\n"


def check(holds, text):
    if not holds:
        sys.exit(f"FAILED: {text}")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


class Inspect:
    def __init__(self, program, folder):
        self.program, self.folder, self.count = program, pathlib.Path(folder), 0

    def write(self, content):
        self.count += 1
        path = self.folder / f"input{self.count}"
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run(self, *arguments, content=None):
        if content is not None:
            arguments = (*arguments, self.write(content))
        return subprocess.run([self.program, *map(str, arguments)], capture_output=True)

    def document(self, *arguments, content=None):
        result = self.run(*arguments, "--json", content=content)
        check(result.returncode in (0, 1), f"{arguments} ends with {result.returncode}: {result.stderr.decode()}")
        return json.loads(result.stdout)


# ---- The schema

def documents(inspect):
    """Documents of each command, found and not found, whole and rejected."""
    yield inspect.document("code", "0x1820008", "1", "0xFFFF1234")
    yield inspect.document("code", "--list")
    yield inspect.document("port", "0x10011", "5")
    yield inspect.document("stub", "pmSwitch", "3_1_pmSwitch", "9999")
    yield inspect.document("sensor-type", "1", "0")
    yield inspect.document("crc", content=b"123456789")
    for record, block in (("board", BOARD), ("delay", DELAY), ("delay", DELAY[:-1]), ("temp", DELAY), ("board", b"")):
        yield inspect.document("tlv", "--record", record, content=block)
    yield inspect.document("tlv", content=BOARD)
    yield inspect.document("packet", "--bus", "ipmb", content=LOG)
    yield inspect.document("packet", content="")
    for options in ((), ("--family", "TempInfo"), ("--family", "Simulate", "--framing", "body", "--host"),
                    ("--family", "VltInfo", "--framing", "frame", "--at", "16")):
        for content in (DATAGRAM, DATAGRAM[:30], b"", bytes([255]) * 300):
            yield inspect.document("message", *options, content=content)
    yield inspect.document("pcap", content=capture(101, (
        udp(DATAGRAM), udp(DATAGRAM[:30]), udp(b"text"), udp(DATAGRAM)[:40], b"", udp(DATAGRAM[:13] + b"\0\7" + DATAGRAM[15:]))))
    yield inspect.document("pcap", "--family", "TempInfo", content=capture(147, (DATAGRAM[16:], DATAGRAM[16:40])))
    for document in ('{"family": "SoNameReq", "word_0": 7}', '{"family": "Req"}', "[", '{"record": "delay", "delayFlag": 1, '
                     '"delayTime": 3600}', "{}"):
        yield inspect.document("encode", content=document)
    yield inspect.document("log", content=LOG + LOOSE + MANAGER)
    yield inspect.document("log", "--bus", "udp", content=dump(DATAGRAM))
    yield inspect.document("log", content="")
    yield inspect.document("to-pcap", inspect.write(LOG), inspect.folder / "capture")
    yield from differing(inspect)
    yield inspect.document("describe")


def differing(inspect):
    first = inspect.write(DATAGRAM)
    for other in (DATAGRAM, DATAGRAM[:-3], DATAGRAM[:60] + b"\1" + DATAGRAM[61:], b""):
        yield inspect.document("diff", first, content=other)
    yield inspect.document("diff", "--record", "delay", inspect.write(DELAY), content=DELAY[:-1] + b"z")


def places(node, path=()):
    """The path of every object in a document."""
    if isinstance(node, dict):
        yield path
        for key, value in node.items():
            yield from places(value, (*path, key))
    elif isinstance(node, list):
        for index, value in enumerate(node[:3]):
            yield from places(value, (*path, index))


def at(node, path):
    for step in path:
        node = node[step]
    return node


def check_schema(inspect):
    try:
        import jsonschema
    except ImportError:
        skip("there is no Python package jsonschema")
    schema = json.loads(inspect.run("schema").stdout)
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    seen, refused = set(), 0
    for document in documents(inspect):
        name = document.get("command", "describe")
        own = jsonschema.Draft202012Validator(json.loads(inspect.run("schema", name).stdout))
        check(own.is_valid(document), f"the schema of {name} takes {json.dumps(document)[:2000]}")
        if name in seen or name == "describe":
            seen.add(name)
            continue
        check(validator.is_valid(document), f"the schema of all takes a document of {name}")
        seen.add(name)
        for path in list(places(document)):
            odd = copy.deepcopy(document)
            at(odd, path)["unknown"] = 1
            check(not own.is_valid(odd), f"{name} has no key unknown at {path}")
            refused += 1
        odd = {**document, "schema": 2}
        check(not own.is_valid(odd), f"{name} has the schema's version")
    known = set(json.loads(inspect.run("schema").stdout)["$defs"]) and \
        {one["properties"]["command"]["const"] for one in schema["oneOf"] if "command" in one["properties"]}
    check(seen == known | {"describe"}, f"every command's document was looked at: {seen ^ (known | {'describe'})}")
    print(f"the schema takes the documents of {len(seen)} commands and refuses {refused} changed ones")


# ---- Messages as the Python package reads them

def random_bytes(wire, generator, family):
    size = int(wire.Description.own().layout(family)["bytes"])
    data = bytearray(generator.randbytes(size + generator.choice((0, 0, 5))))
    if generator.random() < 0.3:
        del data[generator.randrange(size):]
    for offset in range(0, min(len(data), 24)):
        if generator.random() < 0.5:
            data[offset] = generator.choice((0, 0, 1, 2, 30))
    return bytes(data)


def expected_document(wire, family, data, order, prefix):
    try:
        return wire.decode(family, data, order=order, prefix=prefix)
    except wire.WireError:
        return None


def check_python(inspect):
    from orva import wire
    generator = random.Random(1)
    compared = read = 0
    for family in wire.Description.own().families:
        for order, prefix in (("net", False), ("host", False), ("net", True), ("host", True)):
            contents = [random_bytes(wire, generator, family) for _ in range(8)]
            files = [inspect.write(content) for content in contents]
            document = inspect.document("message", "--binary", "--family", family, f"--{order}",
                                        "--framing", "frame" if prefix else "body", *files)
            check(len(document["results"]) == len(contents), "a result for each file")
            for content, result in zip(contents, document["results"], strict=True):
                expected = expected_document(wire, family, content, order, prefix)
                check(result["document"] == expected, f"{family} {order} {prefix} {content.hex()}:\n{result}\n{expected}")
                check((expected is None) <= bool(result["faults"]), "what cannot be read is a fault")
                covered = sum(part["length"] for part in result["parts"])
                check(covered == len(content) and "".join(part["bytes"] for part in result["parts"]).replace(" ", "")
                      == content.hex(), "the parts are the bytes")
                compared += 1
                read += expected is not None
    check(read > compared / 4, "enough of them can be read")
    print(f"{compared} messages are read as the Python package reads them, {read} of them whole")


# ---- Documents as bytes, and back

def random_value(generator, field):
    if field["width"] > 4:
        return "".join(chr(generator.randrange(1, 256)) for _ in range(generator.randrange(field["width"] + 1)))
    limit = (1 << 8 * field["width"]) - 1
    return generator.choice((0, 1, 2, 30, limit, generator.randrange(limit + 1)))


def random_message(wire, generator, family):
    """A document of a family, with counts from none to above the bound."""
    layout = wire.Description.own().layout(family)
    base = int(layout["prefix_bytes"])
    fields = [field for field in layout["fields"] if field["offset"] >= base]
    document = {"family": family}
    if generator.random() < 0.5:
        document["prefix"] = generator.randrange(65536)
    counts = {}
    for field in fields:
        document[field["name"]] = random_value(generator, field)
        counts[field["offset"]] = field["name"]
    for array in layout["arrays"]:
        name = counts[array["count"]["offset"]]
        limit = (1 << 8 * array["count"]["width"]) - 1
        document.setdefault("", {})[name] = generator.choice(
            (0, 1, array["bound"], array["bound"] + 1, limit, generator.randrange(array["bound"] + 1)))
    document.update(document.pop("", {}))
    for array in layout["arrays"]:
        count = min(document[counts[array["count"]["offset"]]], array["bound"])
        document[array["name"]] = [{field["name"]: random_value(generator, field) for field in array["fields"]}
                                   for _ in range(count)]
    return document


def random_record(wire, generator, key):
    document = {"record": key}
    for member in wire.Description.own().record(key)["fields"]:
        if "record" in member:
            value = random_record(wire, generator, member["record"])
            del value["record"]
        else:
            width = {1: 1, 2: 2, 3: 4}[member["type"]]
            values = [random_value(generator, {"width": width}) for _ in range(member["elements"])]
            value = values if member["elements"] > 1 else values[0]
        document[member["member"]] = value
    return document


def encoded(inspect, documents, *options):
    files = [inspect.write(json.dumps(document)) for document in documents]
    results = inspect.document("encode", *options, *files)["results"]
    check([result["faults"] for result in results] == [[]] * len(documents), f"{documents[0]} can be encoded")
    return [bytes.fromhex(result["bytes"]) for result in results]


def read_back(inspect, command, contents, *options):
    files = [inspect.write(content) for content in contents]
    return [result["document"] for result in inspect.document(command, "--binary", *options, *files)["results"]]


def check_round_trip(inspect):
    from orva import wire
    generator = random.Random(2)
    tried = 0
    for family in wire.Description.own().families:
        for order in ("net", "host"):
            documents = [random_message(wire, generator, family) for _ in range(12)]
            contents = encoded(inspect, documents, f"--{order}")
            for document, content in zip(documents, contents, strict=True):
                check(content == wire.encode(document, order=order), f"the bytes of {document}")
            for framed in (False, True):
                chosen = [i for i, document in enumerate(documents) if ("prefix" in document) == framed]
                if chosen:
                    again = read_back(inspect, "message", [contents[i] for i in chosen], "--family", family,
                                      f"--{order}", "--framing", "frame" if framed else "body")
                    check(again == [documents[i] for i in chosen], f"documents of {family} come back")
            tried += len(documents)
    for key in wire.Description.own().records:
        documents = [random_record(wire, generator, key) for _ in range(12)]
        contents = encoded(inspect, documents)
        for document, content in zip(documents, contents, strict=True):
            check(content == wire.encode_record(document), f"the block of {document}")
        check(read_back(inspect, "tlv", contents, "--record", key) == documents, f"documents of {key} come back")
        tried += len(documents)
    print(f"{tried} documents become the bytes that the Python package makes of them, and come back")


def spoil(generator, document):
    """One change that makes a document wrong: a member away, one too many, a value that does not fit."""
    odd = copy.deepcopy(document)
    place = at(odd, generator.choice(list(places(odd))))
    names = [name for name in place if name not in ("family", "record", "prefix", "count") and "count" not in name]
    kind = generator.randrange(3) if names else 1
    if kind == 0:
        del place[generator.choice(names)]
    elif kind == 1:
        place["unknown"] = 1
    else:
        place[generator.choice(names)] = generator.choice((-1, 1 << 40, 1.5, None, {}, "x" * 99))
    return odd


def check_refusals(inspect):
    from orva import wire
    generator = random.Random(3)
    refused = 0
    for name in [*wire.Description.own().families, *wire.Description.own().records]:
        is_record = name in wire.Description.own().records
        for _ in range(6):
            document = (random_record if is_record else random_message)(wire, generator, name)
            odd = spoil(generator, document)
            result = inspect.run("encode", content=json.dumps(odd))
            check(result.returncode == 1 and not result.stdout and b"[field " in result.stderr,
                  f"{odd} is refused: {result}")
            refused += 1
    print(f"{refused} documents with one fault are refused")


# ---- Logs as captures

def blocks_of(data):
    """The blocks of a pcapng file, little-endian, as type and body."""
    at = 0
    while at < len(data):
        kind, length = struct.unpack_from("<II", data, at)
        check(length % 4 == 0 and struct.unpack_from("<I", data, at + length - 4)[0] == length, "a block's length, twice")
        yield kind, data[at + 8:at + length - 4]
        at += length
    check(at == len(data), "the last block is whole")


def options_of(data):
    found, at = {}, 0
    while True:
        code, length = struct.unpack_from("<HH", data, at)
        if code == 0:
            return found
        found[code] = data[at + 4:at + 4 + length]
        at += 4 + (length + 3) // 4 * 4


def packets_of(data):
    """Interface name and link type, direction, microseconds, comment and bytes of each packet."""
    interfaces = []
    kinds = [kind for kind, _ in blocks_of(data)]
    check(kinds[0] == 0x0A0D0D0A and kinds.count(0x0A0D0D0A) == 1, "one section")
    for kind, body in blocks_of(data):
        if kind == 1:
            interfaces.append((options_of(body[8:])[2].decode(), struct.unpack_from("<H", body)[0]))
        elif kind == 6:
            number, high, low, length, _ = struct.unpack_from("<5I", body)
            options = options_of(body[20 + (length + 3) // 4 * 4:])
            yield (*interfaces[number], struct.unpack("<I", options[2])[0], high << 32 | low, options[1].decode(),
                   body[20:20 + length])


def check_captures(inspect):
    process = "2026-01-01 01:00:00.250 +01:00 agent[77] debug: "
    lost = bytes(range(256)) * 4
    pieces = [f"[0x3:{i + 1}] from slot 2: {lost[i * 661:(i + 1) * 661].hex(' ')}\n" for i in range(2)]
    log = process + dump(DATAGRAM, "from slot 5") + dump(bytes([1, 2, 3]), "somewhere", 2) + "".join(pieces) + \
        dump(bytes([9]), "from 4", 4).replace(":1]", ":3]")
    path = inspect.folder / "packets.pcapng"
    result = inspect.run("to-pcap", inspect.write(log), path)
    check(result.returncode == 1 and b"1 packet is not whole" in result.stderr, f"a packet without its start: {result}")
    first, other, long, cut = packets_of(path.read_bytes())
    check(first[:5] == ("udp", 101, 1, 1767225600_250000, "packet 0x1 from slot 5, piece 1, agent[77], line 1"),
          f"a datagram: {first}")
    ip = first[5]
    check(ip[28:] == DATAGRAM and ip[12:20] == bytes([172, 16, 5, 250, 172, 16, 0, 250]), "its addresses")
    check(other == ("unknown", 147, 0, 1767225600_250000, "packet 0x2 somewhere, piece 1, line 2", bytes([1, 2, 3])),
          f"a packet of an unknown bus, at the time of the one before: {other}")
    check(long[2] == 1 and long[4] == "packet 0x3 from slot 2, pieces 1 to 2, line 3" and long[5] == lost,
          f"pieces put together: {long}")
    check("pieces 1 to 2 are missing: zeros from byte 0" in cut[4] and set(cut[5][:-1]) == {0} and cut[5][-1] == 9,
          f"what is missing is zeros, and said: {cut[4]}")
    can = inspect.folder / "can.pcapng"
    inspect.run("to-pcap", "--bus", "can", inspect.write(log), can)
    check({packet[0] for packet in packets_of(can.read_bytes())} == {"can"}, "the bus that is told")
    compare_with_tshark(path, [first, other, long, cut])
    print("a log becomes a capture with direction, bus and pieces")


def compare_with_tshark(path, packets):
    if shutil.which("tshark") is None:
        print("skipped: the look at it with tshark, which is not installed")
        return
    fields = ("frame.interface_name", "frame.packet_flags_direction", "frame.comment", "frame.len")
    result = subprocess.run(["tshark", "-r", path, "-T", "fields", *(f"-e{field}" for field in fields)],
                            text=True, capture_output=True)
    check(result.returncode == 0, f"tshark: {result.stderr}")
    rows = [line.split("\t") for line in result.stdout.splitlines()]
    check([(row[0], int(row[1], 16), row[2], int(row[3])) for row in rows] ==
          [(bus, flow, comment, len(data)) for bus, _, flow, _, comment, data in packets], f"tshark shows it: {rows}")


# ---- The logs of a chassis

SCENARIO = """name = "dumps"
text = "packet dumps of the management process and a board"
boards = 2
[[step]]
title = "packets of every kind"
do = ["debug packet on 0 udp", "debug packet on 1 udp", "round", "print-diag 1", "stub set 1 pmSwitch 3", "stub list 1",
      "sync", "sync-truncated temp", "figures 1", "trace 1", "sensor list 1", "sensor set 1 inlet 500", "online list 1",
      "switch-over", "advance 1 10", "fan-log 1"]
[[step]]
title = "packets that are refused"
do = ["send 1 short", "send 1 long", "send 1 wrong-source"]
"""
REFUSED = {("word_12", "the input ends before the field does"),
           ("body", "the body is longer than its layout, receivers refuse the message"),
           ("src_slot", "src_slot is 31, receivers refuse the message")}


def check_chassis(inspect, chassis):
    scenario, folder = inspect.folder / "dumps.toml", inspect.folder / "run"
    scenario.write_text(SCENARIO)
    result = subprocess.run([chassis, "run", scenario, "--time", "virtual", "--run-dir", folder, "--keep"],
                            capture_output=True)
    check(result.returncode == 0, f"the chassis runs: {result.stdout.decode()}{result.stderr.decode()}")
    logs = sorted(folder.glob("*/log/*.log"))
    entries = inspect.document("log", *logs)["results"]
    check({entry["kind"] for entry in entries} == {"packet", "diagnostic", "manager"}, "kinds of entries")
    packets = [entry for entry in entries if entry["kind"] == "packet"]
    check(all(entry["whole"] and entry["message"] and entry["message"]["family"] for entry in packets),
          "every packet is decoded")
    families = {entry["message"]["family"] for entry in packets}
    check({"AddrReg", "TempInfo", "VltInfo", "HeartBeat", "Req", "Simulate", "SwitchOver"} - families <= {"AddrReg"},
          f"families: {families}")
    faults = {(fault["field"], fault["rule"]) for entry in packets for fault in entry["message"]["faults"]}
    check(faults == REFUSED, f"only what is sent to be refused breaks a rule: {faults}")
    directions = {entry["name"]: entry["direction"] for entry in packets}
    check(directions["to slot 1"] == "to" and directions["from the main board"] == "from", f"directions: {directions}")
    print(f"{len(packets)} packets of a chassis are decoded, {len(families)} families")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("part", choices=("schema", "python", "round_trip", "refusals", "captures", "chassis"))
    parser.add_argument("--inspect", required=True)
    parser.add_argument("--package", required=True)
    parser.add_argument("--chassis", default="")
    args = parser.parse_args()
    sys.path.insert(0, args.package)
    with tempfile.TemporaryDirectory(prefix="orva_documents_") as folder:
        inspect = Inspect(args.inspect, folder)
        {"schema": check_schema, "python": check_python, "round_trip": check_round_trip,
         "refusals": check_refusals, "captures": check_captures,
         "chassis": lambda inspect: check_chassis(inspect, args.chassis)}[args.part](inspect)


main()
