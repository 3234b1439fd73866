"""orva-inspect describe: the JSON says what the library does, the pages made from it are fresh, the schema takes what it
must take and refuses what it must refuse, and the dissector reads datagrams as they were written."""
import argparse
import copy
import ctypes
import json
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile

MESSAGE_KEYS = {"family", "converter", "direction", "prefix_bytes", "fields", "arrays"}
FIELD_KEYS = {"name", "offset", "width", "swapped"}
ARRAY_KEYS = {"name", "offset", "stride", "bound", "count", "fields"}
RECORD_KEYS = {"key", "table", "length", "fields"}
MEMBER_KEYS = {"tag", "member", "offset", "type", "elements", "stored"}


class Row(ctypes.Structure):
    """A descriptor row."""
    _fields_ = [(name, ctypes.c_uint32) for name in ("flag", "tag", "offset", "type", "element", "total")] + \
               [("nested", ctypes.c_void_p), ("nested_rows", ctypes.c_uint32), ("reserved", ctypes.c_uint32)]


def check(holds, text):
    if not holds:
        sys.exit(f"FAILED: {text}")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


def load_library(path, runtime):
    for name in ("safeio", "miro", "tova", "drv_basic"):
        ctypes.CDLL(str(next(pathlib.Path(runtime).rglob(f"lib{name}.so"))), ctypes.RTLD_GLOBAL)
    return ctypes.CDLL(path, ctypes.RTLD_GLOBAL)


# ---- The JSON against the library

def swapped_ranges(message, counts):
    ranges = [(field["offset"], field["width"]) for field in message["fields"] if field["swapped"]]
    for array in message["arrays"]:
        entries = min(counts[array["count"]["offset"]], array["bound"])
        ranges += [(array["offset"] + i * array["stride"] + field["offset"], field["width"])
                   for i in range(entries) for field in array["fields"] if field["swapped"]]
    return ranges


def check_conversion(library, message, value):
    size = message["bytes"]
    before = bytearray((i * 37 + i // 256 * 11 + 1) & 0xFF for i in range(size))
    counts = {}
    clamped = {}
    for array in message["arrays"]:
        count = array["count"]
        order = "big" if message["direction"] == "host" else "little"
        before[count["offset"]:count["offset"] + count["width"]] = value.to_bytes(count["width"], order)
        counts[count["offset"]] = value
        if count["clamped"] and value > array["bound"]:
            clamped[count["offset"]] = array["bound"]
    expected = bytearray(before)
    for offset, width in swapped_ranges(message, counts):
        expected[offset:offset + width] = expected[offset:offset + width][::-1]
    for offset, bound in clamped.items():
        expected[offset] = bound
    buffer = (ctypes.c_uint8 * size)(*before)
    getattr(library, message["converter"])(buffer)
    check(bytes(buffer) == bytes(expected), f"{message['converter']} with counts of {value} does what is described")


def check_messages(library, document, exports):
    messages = document["messages"]
    exported = [name for name in exports if re.fullmatch(r"ORVA_AGENT_Chg\w+To(Host|Net)", name)]
    check(sorted(message["converter"] for message in messages) == sorted(exported), "each exported converter, once")
    for message in messages:
        check(MESSAGE_KEYS <= message.keys(), f"keys of {message['converter']}")
        check(message["direction"] in ("host", "net") and message["prefix_bytes"] in (0, 8), "direction and prefix")
        check(all(FIELD_KEYS <= field.keys() for field in message["fields"]), "keys of a field")
        for array in message["arrays"]:
            check(ARRAY_KEYS <= array.keys() and {"offset", "width"} <= array["count"].keys(), "keys of an array")
        bounds = {array["bound"] for array in message["arrays"]}
        for value in {0, 1, 255} | bounds | {bound + 1 for bound in bounds}:
            check_conversion(library, message, value)
    print(f"{len(messages)} converters do what is described")


def check_records(library, document):
    for record in document["records"]:
        check(RECORD_KEYS <= record.keys(), f"keys of {record['key']}")
        rows = (Row * len(record["fields"])).in_dll(library, record["table"])
        check(library.ORVA_TLV_CalcTlvBufSize(rows, len(rows)) == record["length"], f"length of {record['key']}")
        for row, member in zip(rows, record["fields"]):
            check(MEMBER_KEYS <= member.keys(), f"keys of {member['member']}")
            check((row.tag, row.offset, row.type, row.total // row.element) ==
                  (member["tag"], member["offset"], member["type"], member["elements"]), f"row of {member['member']}")
    print(f"{len(document['records'])} tables are as described")


def check_no_names(path, document):
    """Names and texts of the description are for tools; the library carries none."""
    binary = pathlib.Path(path).read_bytes()
    rows = [row for one in document["messages"] for row in [*one["fields"], *one["arrays"], one]] + \
           [row for one in document["records"] for row in [*one["fields"], one]]
    texts = {row["text"] for row in rows} | {row["name"] for row in rows if "_" in row.get("name", "")}
    found = sorted(text for text in texts if len(text) > 6 and text.encode() in binary)
    check(not found, f"the library holds no {found}")
    print(f"the library holds none of {len(texts)} names and texts")


# ---- The schema

def sample(document, family):
    """A document of a message, as the JSON describes it."""
    message = next(message for message in document["messages"] if message["family"] == family)
    result = {"family": family}
    for field in message["fields"]:
        result[field["name"]] = "A" if field["width"] > 4 else 2
    for array in message["arrays"]:
        result[array["name"]] = [{field["name"]: "A" if field["width"] > 4 else 2 for field in array["fields"]}] * 2
    return result


def record_sample(document, key):
    record = next(record for record in document["records"] if record["key"] == key)
    result = {}
    for member in record["fields"]:
        if "record" in member:
            result[member["member"]] = record_sample(document, member["record"])
            del result[member["member"]]["record"]
        else:
            result[member["member"]] = [1] * member["elements"] if member["elements"] > 1 else 1
    return {"record": key, **result}


def check_schema(inspect, document):
    try:
        import jsonschema
    except ImportError:
        skip("there is no Python package jsonschema")
    schema = json.loads(run(inspect, "--json-schema"))
    validator = jsonschema.Draft202012Validator(schema)
    jsonschema.Draft202012Validator.check_schema(schema)
    families = sorted({message["family"] for message in document["messages"]})
    for one in [sample(document, family) for family in families] + \
            [record_sample(document, record["key"]) for record in document["records"]]:
        check(validator.is_valid(one), f"the schema takes {one}")
        for key in [key for key in one if key != "prefix"]:
            less = {name: value for name, value in one.items() if name != key}
            check(not validator.is_valid(less), f"the schema refuses a document without {key}")
            wrong = copy.deepcopy(one)
            wrong[key] = -1
            check(not validator.is_valid(wrong), f"the schema refuses {key} of -1")
        check(not validator.is_valid({**one, "unknown": 1}), "the schema refuses an unknown key")
    long = sample(document, "TempInfo")
    long["readings"] = [{"value": 1}] * 69
    check(not validator.is_valid(long), "the schema refuses an array above its bound")
    print(f"the schema takes {len(families)} messages and {len(document['records'])} records")


# ---- The dissector

def datagram(net_fn, command, frame, magic=0x4F524348, length=None, version=1):
    return struct.pack(">IIIBHB", magic, 7, len(frame) if length is None else length, net_fn, command, version) + frame


def capture(path, link, packets):
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, link))
        for packet in packets:
            file.write(struct.pack("<IIII", 1, 0, len(packet), len(packet)) + packet)


def udp(payload):
    """Raw IPv4."""
    header = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 28 + len(payload), 0, 0, 64, 17, 0, bytes([127, 0, 0, 1]),
                         bytes([127, 0, 0, 1]))
    return header + struct.pack(">HHHH", 40000, 40001, 8 + len(payload), 0) + payload


def dissect(script, path, *options):
    result = subprocess.run(["tshark", "-X", f"lua_script:{script}", "-r", path, "-T", "json", "--no-duplicate-keys",
                             *options], text=True, capture_output=True)
    check(result.returncode == 0 and "Lua" not in result.stderr, f"tshark: {result.stderr}")
    return [packet["_source"]["layers"] for packet in json.loads(result.stdout)]


def values(tree, name):
    """Every value of a field, in order."""
    found = []
    if isinstance(tree, dict):
        for key, value in tree.items():
            if key == name:
                found += value if isinstance(value, list) else [value]
            else:
                found += values(value, name)
    elif isinstance(tree, list):
        for value in tree:
            found += values(value, name)
    return found


def check_dissector(inspect, scratch):
    script = pathlib.Path(scratch) / "orva.lua"
    script.write_text(run(inspect, "--lua"))
    if shutil.which("tshark") is None:
        skip("there is no tshark")
    prefix = struct.pack(">H6x", 513)
    body = struct.pack(">4I", 2, 5, 0, 9) + bytes([0, 0, 0, 2]) + bytes(4) + struct.pack(">I4xI4x", 42, 77)
    temperatures = datagram(0x31, 2, prefix + body)
    stubs = datagram(0x30, 5, prefix + struct.pack(">III32s", 1, 3, 4, b"FAN"))
    unknown = datagram(0x30, 999, prefix + body)
    short = datagram(0x31, 2, prefix + body[:-8])
    lying = datagram(0x31, 2, prefix + body, length=3)
    tiny = datagram(0x31, 2, prefix[:3])
    above = datagram(0x31, 2, prefix + body[:19] + b"\xFF" + body[20:])
    other = datagram(0x31, 2, prefix + body, magic=1)
    path = str(pathlib.Path(scratch) / "capture.pcap")
    capture(path, 101, [udp(p) for p in (temperatures, stubs, unknown, short, lying, tiny, above, other)])
    packets = dissect(script, path)
    check(values(packets[0], "orva.tempinfo.readings.value") == ["42", "77"], "two readings")
    check(values(packets[0], "orva.tempinfo.src_slot") == ["5"] and values(packets[0], "orva.prefix") == ["513"] and
          values(packets[0], "orva.message") == ["temperatures"], "header of the readings")
    check(values(packets[1], "orva.simulate.stubs.name") == ["FAN"] and
          values(packets[1], "orva.simulate.stubs.value") == ["4"], "a stub")
    for number, expert in ((2, "unknown_command"), (3, "short_body"), (4, "bad_length"), (5, "short_body"),
                           (6, "over_bound"), (6, "short_body")):
        check(values(packets[number], f"orva.{expert}"), f"packet {number} has {expert}")
    check(values(packets[0], "_ws.expert.message") == ["A reply without its request"], "nothing else wrong with the readings")
    check(not values(packets[7], "orva.magic"), "a stranger's datagram")
    raw = str(pathlib.Path(scratch) / "raw.pcap")
    capture(raw, 147, [prefix + body])
    frames = dissect(script, raw, "-o", "orva.raw_family:TempInfo")
    check(values(frames[0], "orva.tempinfo.readings.value") == ["42", "77"], "a raw frame")
    print("the dissector reads datagrams and raw frames")


# ---- The command

def run(inspect, *arguments):
    result = subprocess.run([inspect, "describe", *arguments], text=True, capture_output=True)
    check(result.returncode == 0, f"describe {arguments}: {result.stderr}")
    return result.stdout


def check_pages(inspect, root):
    for option, name in (("--markdown", "docs/wire.md"), ("--header", "include/orva_wire.h")):
        check(run(inspect, option) == (root / name).read_text(), f"{name} is fresh (./dev wire writes it)")
    print("docs/wire.md and include/orva_wire.h are fresh")


def check_names(inspect, document):
    chosen = json.loads(run(inspect, "--json", "TempInfo", "model"))
    check(chosen["schema"] == document["schema"] and
          chosen["messages"] == [m for m in document["messages"] if m["family"] == "TempInfo"] and
          [record["key"] for record in chosen["records"]] == ["model"], "a family and a record by name")
    one = json.loads(run(inspect, "--json", "ORVA_AGENT_ChgHeartBeatMsgToNet"))
    check([m["direction"] for m in one["messages"]] == ["net"] and not one["records"], "a converter by name")
    text = run(inspect)
    check(all(m["converter"] in text for m in document["messages"]), "the plain text names each converter")
    wrong = subprocess.run([inspect, "describe", "Nonsense"], text=True, capture_output=True)
    check(wrong.returncode == 1 and "Nonsense" in wrong.stderr and not wrong.stdout, "an unknown name is refused")
    print("names choose what is described")


def check_dissector_alone(inspect):
    with tempfile.TemporaryDirectory(prefix="orva_describe_") as scratch:
        check_dissector(inspect, scratch)


def check_library(path, runtime, root, document):
    library = load_library(path, runtime)
    check_messages(library, document, (root / "abi" / "exports.txt").read_text().split())
    check_no_names(path, document)
    check_records(library, document)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("part", choices=("pages", "names", "schema", "dissector", "library"))
    for option in ("root", "inspect", "library", "runtime"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("--sanitized", default="")
    args = parser.parse_args()
    root = pathlib.Path(args.root)
    document = json.loads(run(args.inspect, "--json"))
    check(set(document) == {"schema", "messages", "records"}, "keys of the document")
    if args.part == "library" and args.sanitized:
        skip("an instrumented library cannot be loaded here")
    {"pages": lambda: check_pages(args.inspect, root),
     "names": lambda: check_names(args.inspect, document),
     "schema": lambda: check_schema(args.inspect, document),
     "dissector": lambda: check_dissector_alone(args.inspect),
     "library": lambda: check_library(args.library, args.runtime, root, document)}[args.part]()


main()
