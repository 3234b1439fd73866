"""orva-inspect's documents: each command's JSON is what its schema says, and messages are read as the Python package
reads them."""
import argparse
import copy
import json
import pathlib
import random
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


def check(holds, text):
    if not holds:
        sys.exit(f"FAILED: {text}")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


class Inspect:
    def __init__(self, program, folder):
        self.program, self.folder, self.count = program, pathlib.Path(folder), 0

    def run(self, *arguments, content=None):
        if content is not None:
            self.count += 1
            path = self.folder / f"input{self.count}"
            path.write_bytes(content if isinstance(content, bytes) else content.encode())
            arguments = (*arguments, path)
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
    yield inspect.document("describe")


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
            files = []
            for content in contents:
                inspect.count += 1
                files.append(inspect.folder / f"input{inspect.count}")
                files[-1].write_bytes(content)
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


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("part", choices=("schema", "python"))
    parser.add_argument("--inspect", required=True)
    parser.add_argument("--package", required=True)
    args = parser.parse_args()
    sys.path.insert(0, args.package)
    with tempfile.TemporaryDirectory(prefix="orva_documents_") as folder:
        inspect = Inspect(args.inspect, folder)
        {"schema": check_schema, "python": check_python}[args.part](inspect)


main()
