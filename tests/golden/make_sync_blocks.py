#!/usr/bin/env python3
"""Golden blocks of the eight sync records, made from the field lists below and nothing else.

Writes sync_blocks.inc beside this script; with --check compares instead. The wire form: a header of two big-endian
words (item count, block length) and eight zero bytes, then items of a 16-bit tag, a 16-bit length and the value.
"""
import pathlib
import struct
import sys

# Per record: name in the output, C type, host members in order (name, bits, elements), wire rows (tag, member).
TEMP_MEMBERS = [(n, 16 if "EventMask" in n else 8, 1) for n in """
    tempNodeType queryByChip chipIndex cpuIndex ownerId ownerLun sensorNum sensorInitia sensorType assertionEventMask
    deassertionEventMask sensorUnit3 uprFatalAlm uprMajorAlm uprMinorAlm lwrFatalAlm lwrMajorAlm lwrMinorAlm
    positivegoingThre negativegoingThre busId deviceModifier i2cChannel reserve""".split()]
TEMP_ROWS = """
    1 tempNodeType 2 queryByChip 3 sensorNum 4 sensorType 5 chipIndex 6 sensorInitia 7 assertionEventMask
    8 deassertionEventMask 9 uprMinorAlm 10 uprMajorAlm 11 uprFatalAlm 12 busId 13 negativegoingThre
    14 positivegoingThre 15 lwrMinorAlm 16 lwrMajorAlm 17 lwrFatalAlm 18 cpuIndex 19 ownerId 20 ownerLun
    21 i2cChannel 22 reserve 23 deviceModifier 24 sensorUnit3"""
VLT_MEMBERS = [(n, 16 if "EventMask" in n else 8, 1) for n in """
    sensorNum sensorInitia sensorType assertionEventMask deassertionEventMask sensorUnit3 sensorMLS rexpBexp
    nominalReading uprFatalAlm uprMajorAlm uprMinorAlm lwrFatalAlm lwrMajorAlm lwrMinorAlm positiveGoingThre
    negativegoingThre busId slotId deviceModifier voltageId extra1 extra2 extra3""".split()]
VLT_ROWS = """
    1 sensorNum 2 sensorMLS 3 rexpBexp 4 voltageId 5 assertionEventMask 6 deassertionEventMask 7 sensorInitia
    8 nominalReading 9 uprMinorAlm 10 uprMajorAlm 11 uprFatalAlm 12 sensorType 13 negativegoingThre
    14 positiveGoingThre 15 lwrMinorAlm 16 lwrMajorAlm 17 lwrFatalAlm 18 extra1 19 extra2 20 extra3
    21 deviceModifier 22 sensorUnit3"""
FMEA_ROWS = "1 sensorNum 2 sensorType 3 busId 4 voltageId 5 slotId"
PWR_SUP_ROWS = "1 slotId 2 voltageId"
DELAY_MEMBERS = [("delayFlag", 8, 1), ("delayTime", 32, 1)]
DELAY_ROWS = "4 delayFlag 5 delayTime"
BOARD_MEMBERS = [("info1", 8, 1), ("info2", 8, 1), ("delayPowerOn", "delay", 1)]
BOARD_ROWS = "1 info1 2 info2 3 delayPowerOn"
PWRS_MEMBERS = [("pwr1", 8, 1), ("pwr2", 8, 1), ("pwr3", 8, 1)]
PWRS_ROWS = "1 pwr1 2 pwr2 3 pwr3"
MODEL_MEMBERS = ([("ctlWord1", 32, 1), ("ctlWord2", 32, 1), ("ctlByte3", 8, 1), ("mngSlotNum", 8, 1),
                  ("mngSlot", 8, 29), ("mngSlotType", 8, 29)]
                 + [(f"ctlByte{i}", 8, 1) for i in range(7, 17)]
                 + [("stackSlotNum", 8, 1), ("stackSlot", 8, 15)])
MODEL_ROWS = " ".join(f"{i + 1} {m[0]}" for i, m in enumerate(MODEL_MEMBERS))

RECORDS = [
    ("Temp", "OrvaTempSensorCfg", TEMP_MEMBERS, TEMP_ROWS, 138),
    ("Vlt", "OrvaVltSensorCfg", VLT_MEMBERS, VLT_ROWS, 128),
    ("Fmea", "OrvaVltSensorCfg", VLT_MEMBERS, FMEA_ROWS, 41),
    ("PwrSup", "OrvaVltSensorCfg", VLT_MEMBERS, PWR_SUP_ROWS, 26),
    ("Delay", "OrvaDelayPowerOn", DELAY_MEMBERS, DELAY_ROWS, 29),
    ("Board", "OrvaBoardInfoSync", BOARD_MEMBERS, BOARD_ROWS, 59),
    ("Pwrs", "OrvaPwrsPwrSync", PWRS_MEMBERS, PWRS_ROWS, 31),
    ("ModelCtl", "OrvaAgentModelCtl", MODEL_MEMBERS, MODEL_ROWS, 182),
]


class Numbers:
    """Deterministic member values, all bytes of a record different as long as they last."""

    def __init__(self, start, step):
        self.next, self.step = start, step

    def take(self, bits):
        value = 0
        for _ in range(bits // 8):
            value = value << 8 | self.next
            self.next = (self.next + self.step) % 256
        return value


def fill(members, numbers):
    values = {}
    for name, bits, elements in members:
        if bits == "delay":
            values[name] = fill(DELAY_MEMBERS, numbers)
        elif elements == 1:
            values[name] = numbers.take(bits)
        else:
            values[name] = [numbers.take(bits) for _ in range(elements)]
    return values


def block(members, rows, values):
    widths = {name: bits for name, bits, _ in members}
    words = rows.split()
    items = b""
    for tag, name in zip(words[::2], words[1::2]):
        if widths[name] == "delay":
            value = block(DELAY_MEMBERS, DELAY_ROWS, values[name])
        else:
            elements = values[name] if isinstance(values[name], list) else [values[name]]
            value = b"".join(v.to_bytes(widths[name] // 8, "big") for v in elements)
        items += struct.pack(">HH", int(tag), len(value)) + value
    return struct.pack(">II8x", len(words) // 2, 16 + len(items)) + items


def c_record(values):
    parts = []
    for name, value in values.items():
        if isinstance(value, dict):
            text = c_record(value)
        elif isinstance(value, list):
            text = "{" + ", ".join(f"0x{v:02X}" for v in value) + "}"
        else:
            text = f"0x{value:X}"
        parts.append(f".{name} = {text}")
    return "{" + ", ".join(parts) + "}"


def wrapped(text, width=116):
    lines, line = [], "   "
    for word in text.replace(", .", ",\n.").replace("} ", "}\n").split("\n" if " = " in text else " "):
        if len(line) + 1 + len(word) > width:
            lines.append(line)
            line = "   "
        line += " " + word
    return "\n".join(lines + [line])


def make():
    out = ["// Made by make_sync_blocks.py; do not edit.", "// clang-format off", ""]
    for name, c_type, members, rows, length in RECORDS:
        for suffix, start, step in (("A", 0x01, 7), ("B", 0xFE, 251)):
            values = fill(members, Numbers(start, step))
            if name == "ModelCtl":
                values["mngSlotNum"], values["stackSlotNum"] = (29, 15) if suffix == "A" else (3, 0)
            data = block(members, rows, values)
            assert len(data) == length, name
            out += [f"constexpr {c_type} k{name}Record{suffix} =", wrapped(c_record(values) + ";"),
                    f"constexpr unsigned char k{name}Block{suffix}[{length}] = {{",
                    wrapped(" ".join(f"0x{b:02X}," for b in data)), "};", ""]
    return "\n".join(out)


def main():
    target = pathlib.Path(__file__).with_name("sync_blocks.inc")
    if sys.argv[1:] == ["--check"]:
        same = target.read_text() == make()
        print(f"{target.name}: {'as made' if same else 'differs from what the script makes'}")
        return 0 if same else 1
    target.write_text(make())
    return 0


sys.exit(main())
