"""The dissector reads captures as orva-inspect pcap does: every field of every packet, requests and replies, and what
is wrong. Captures of each built-in scenario, and captures whose packets are damaged."""
import argparse
import json
import os
import pathlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from collections import Counter
from xml.etree import ElementTree

IP_AND_UDP = 28
LATE_SECONDS = 0.5
# The expert infos, and the rules of orva-inspect that say the same.
EXPERTS = {
    "bad_length": r"the header says that \d+ bytes follow",
    "short_body": r"the input ends before the field does",
    "long_body": r"the body is longer than its layout",
    "over_bound": r"\w+ is \d+, \w+ has room for \d+",
    "bad_header": r"\w+ is \d+, receivers refuse the message",
    "unknown_command": r"no message has network function",
    "other_version": r"the header's version is unknown",
}


def check(holds, text):
    if not holds:
        sys.exit(f"FAILED: {text}")


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(77)


def run(*arguments, statuses=(0,)):
    result = subprocess.run([str(argument) for argument in arguments], capture_output=True)
    check(result.returncode in statuses, f"{arguments} ends with {result.returncode}: {result.stderr.decode()}")
    return result


class Dissected:
    """A packet as tshark shows it."""

    def __init__(self, packet):
        self.fields, self.experts, self.others = [], Counter(), {}
        for proto in packet.findall("proto"):
            if proto.get("name") == "orva":
                self.read(proto, int(proto.get("pos")))

    def read(self, node, start):
        for field in node.iter("field"):
            name = field.get("name")
            if not name.startswith("orva."):
                continue
            if name.removeprefix("orva.") in EXPERTS or name in ("orva.no_request", "orva.doubled_reply", "orva.late_reply"):
                self.experts[name.removeprefix("orva.")] += 1
            elif name in ("orva.message", "orva.family", "orva.body", "orva.note") or name.startswith("orva.response_"):
                self.others[name.removeprefix("orva.")] = field.get("show")
            else:
                self.fields.append((int(field.get("pos")) - start, int(field.get("size")), name, field.get("value"),
                                    field.get("showname")))


def dissect(script, capture, *options):
    result = run("tshark", "-2", "-X", f"lua_script:{script}", *options, "-r", capture, "-T", "pdml")
    check(b"Lua" not in result.stderr and b"Lua Error" not in result.stdout, f"{capture}: {result.stderr.decode()}")
    return [Dissected(packet) for packet in ElementTree.fromstring(result.stdout).iter("packet")]


def field_name(message, part):
    name = part["name"]
    if name.startswith("transport."):
        return "orva." + name.removeprefix("transport.")
    if name == "prefix":
        return "orva.prefix"
    return f"orva.{message['family'].lower()}." + re.sub(r"\[\d+\]", "", name)


def expected_fields(message):
    fields = []
    for part in message["parts"]:
        if part["name"] is not None:
            fields.append((part["at"], part["length"], field_name(message, part), part["bytes"].replace(" ", ""), part))
    return fields


def shown_right(shown, part):
    """The value, and its unit."""
    value, unit = part["value"], part.get("unit", "")
    text = shown.partition(": ")[2]
    if isinstance(value, int):
        return text == f"{value} {unit}".strip()
    return value is None or text.isascii() is False or text == value or not value.isprintable()


def compare_packet(place, dissected, result):
    message = result["message"]
    check(("note" in dissected.others) == (result["note"] is not None), f"{place}: {dissected.others}")
    if message is None:
        check(not dissected.fields, f"{place} is not of the chassis")
        return 0
    expected = expected_fields(message)
    check([field[:4] for field in sorted(dissected.fields)] == sorted(field[:4] for field in expected),
          f"{place}: fields\n{sorted(dissected.fields)}\n{expected}")
    for (*_, shown), (*_, part) in zip(sorted(dissected.fields), sorted(expected, key=lambda field: field[:4]), strict=True):
        check(shown_right(shown, part), f"{place}: {shown} is {part}")
    rules = [fault["rule"] for fault in message["faults"]]
    for expert, rule in EXPERTS.items():
        has = any(re.match(rule, one) for one in rules)
        check(bool(dissected.experts[expert]) == has, f"{place}: {expert} {dissected.experts}\n{rules}")
    check(all(any(re.match(rule, one) for rule in EXPERTS.values()) for one in rules), f"{place}: unknown rules {rules}")
    if message["route"] is not None:
        check(dissected.others["message"] == message["route"]["name"], f"{place}: {dissected.others}")
    compare_request(place, dissected, result)
    return len(expected)


def compare_request(place, dissected, result):
    request = result["request"]
    if request is None:
        check("response_to" not in dissected.others, f"{place}: {dissected.others}")
        return
    after = float(request["after"])
    check(int(dissected.others["response_to"]) == request["packet"] and
          abs(float(dissected.others["response_time"]) - after) < 2e-9, f"{place}: {dissected.others} {request}")
    check(dissected.experts["late_reply"] == (after > LATE_SECONDS), f"{place}: {dissected.experts} {after}")
    check(not dissected.experts["no_request"], f"{place} has a request")


def compare(inspect, script, capture, *options, family=()):
    """How many packets, fields and expert infos agree."""
    results = json.loads(run(inspect, "pcap", "--json", *family, capture, statuses=(0, 1)).stdout)["results"]
    packets = dissect(script, capture, *options)
    check(len(packets) == len(results), f"{capture}: {len(packets)} packets and {len(results)} results")
    experts, fields, answered = Counter(), 0, {}
    for number, (packet, result) in enumerate(zip(packets, results, strict=True), 1):
        check(result["packet"] == number, "packets are counted as Wireshark counts them")
        fields += compare_packet(f"{capture}, packet {number}", packet, result)
        experts += packet.experts
        if result["request"] is not None:
            answered.setdefault(result["request"]["packet"], number)
    for number, packet in enumerate(packets, 1):
        check(packet.others.get("response_in") == (str(answered[number]) if number in answered else None),
              f"{capture}, packet {number}: {packet.others}")
    return len(packets), fields, experts


# ---- Captures

def scenarios(chassis):
    names = [line.split()[0] for line in run(chassis, "scenarios").stdout.decode().splitlines()]
    # An emulator takes long over each: those that have every kind of expert info.
    return ["demo", "bad-packets", "links"] if "ORVA_TEST_SHORT" in os.environ else names


def record(chassis, scenario, capture):
    result = subprocess.run([chassis, "run", scenario, "--time", "virtual", "--record", capture], text=True,
                            capture_output=True)
    if "this build cannot follow the stepped clock" in result.stderr:
        skip(result.stderr)
    check(result.returncode == 0, f"{scenario}: {result.stdout}{result.stderr}")


def check_scenarios(inspect, chassis, script, folder):
    experts, packets, fields = Counter(), 0, 0
    for scenario in scenarios(chassis):
        capture = folder / f"{scenario}.pcap"
        record(chassis, scenario, capture)
        more_packets, more_fields, more_experts = compare(inspect, script, capture)
        check(more_fields > 10 * more_packets / 2, f"{scenario} has fields")
        packets, fields, experts = packets + more_packets, fields + more_fields, experts + more_experts
    for expert in ("late_reply", "doubled_reply", "long_body", "bad_header", "short_body"):
        check(experts[expert] > 0, f"some scenario has {expert}: {experts}")
    print(f"{packets} packets with {fields} fields read alike, expert infos {dict(experts)}")


def read_packets(capture):
    data = capture.read_bytes()
    packets, at = [], 24
    while at < len(data):
        length = struct.unpack_from("<I", data, at + 8)[0]
        packets.append(data[at + 16 + IP_AND_UDP:at + 16 + length])
        at += 16 + length
    return packets


def write_packets(capture, link_type, packets):
    with open(capture, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 65535, link_type))
        for number, packet in enumerate(packets):
            out.write(struct.pack("<IIII", number, 7, len(packet), len(packet)) + packet)


def udp(generator, datagram):
    ends = [(0xAC1000FA, 5300), (0xAC1001FA, 5301)]
    generator.shuffle(ends)
    return struct.pack(">BxHxxxxBBxxIIHHHxx", 0x45, IP_AND_UDP + len(datagram), 64, 17, ends[0][0], ends[1][0],
                       ends[0][1], ends[1][1], 8 + len(datagram)) + datagram


def damaged(generator, datagram):
    data = bytearray(datagram)
    for _ in range(generator.randrange(4)):
        if data:
            data[generator.randrange(min(len(data), 48))] = generator.choice((0, 1, 2, 4, 31, 68, 69, 127, 255))
    if generator.random() < 0.5:
        del data[generator.randrange(len(data) + 1):]
    elif generator.random() < 0.3:
        data += generator.randbytes(generator.randrange(1, 2000))
    if len(data) >= 12 and generator.random() < 0.5:
        data[8:12] = struct.pack(">I", max(0, len(data) - 16))
    return bytes(data)


def check_damaged(inspect, chassis, script, folder):
    record(chassis, "demo", folder / "whole.pcap")
    generator = random.Random(1)
    whole = [datagram for datagram in read_packets(folder / "whole.pcap") if datagram.startswith(b"ORCH")]
    sample = [damaged(generator, generator.choice(whole)) for _ in range(1500)]
    write_packets(folder / "damaged.pcap", 101, [udp(generator, datagram) for datagram in sample])
    packets, fields, experts = compare(inspect, script, folder / "damaged.pcap")
    for expert in (*EXPERTS, "no_request"):
        check(experts[expert] > 0, f"the damaged packets have {expert}: {experts}")
    frames = [datagram[16:] for datagram in sample if len(datagram) > 16]
    write_packets(folder / "raw.pcap", 147, frames)
    raw = compare(inspect, script, folder / "raw.pcap", "-o", "orva.raw_family:TempInfo", family=("--family", "TempInfo"))
    # Headers of IP and UDP that lie: whatever tshark makes of them, the dissector must not fail.
    broken = [bytearray(udp(generator, datagram)) for datagram in sample]
    for packet in broken:
        packet[generator.choice((2, 3, 24, 25))] = generator.randrange(256)
    write_packets(folder / "broken.pcap", 101, [bytes(packet[:generator.randrange(1, len(packet) + 1)]) for packet in broken])
    check(len(dissect(script, folder / "broken.pcap")) == len(broken), "every broken packet is shown")
    run(inspect, "pcap", folder / "broken.pcap", statuses=(0, 1))
    print(f"{packets + raw[0]} damaged packets with {fields + raw[1]} fields read alike, expert infos {dict(experts)}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("part", choices=("scenarios", "damaged"))
    for option in ("inspect", "chassis"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    if shutil.which("tshark") is None:
        skip("there is no tshark")
    with tempfile.TemporaryDirectory(prefix="orva_dissector_") as name:
        folder = pathlib.Path(name)
        script = folder / "orva.lua"
        script.write_bytes(run(args.inspect, "describe", "--lua").stdout)
        {"scenarios": check_scenarios, "damaged": check_damaged}[args.part](args.inspect, args.chassis, script, folder)


main()
