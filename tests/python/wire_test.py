#!/usr/bin/env python3
"""The interpreter of the wire description against the library: random buffers, random records, and round trips."""

import ctypes
import os
import random
import unittest
from pathlib import Path

from orva import Description, WireError, code_names, convert, decode, decode_record, encode, encode_record

LIBRARIES = ("libsafeio.so", "libmiro.so", "libtova.so", "libdrv_basic.so", "liborva_comm.so")
ROUNDS = 50
SPARE_BYTES = 64


def load_library() -> ctypes.CDLL:
    folders = os.environ["ORVA_LIBRARY_PATH"].split(":")
    library = None
    for name in LIBRARIES:
        path = next(Path(folder, name) for folder in folders if Path(folder, name).exists())
        library = ctypes.CDLL(str(path), mode=ctypes.RTLD_GLOBAL)
    assert library is not None
    return library


LIBRARY = load_library()
OWN = Description.own()


def random_field(rng: random.Random, field) -> object:
    width = int(field["width"])
    if width > 4:
        return "".join(rng.choices("abcXYZ_09", k=rng.randrange(width + 1)))
    return rng.randrange(1 << 8 * width)


def random_message(rng: random.Random, family: str, full: bool) -> dict:
    layout = OWN.layout(family)
    values = {"family": family}
    if full:
        values["prefix"] = rng.randrange(1 << 16)
    own = int(layout["prefix_bytes"])
    names = {int(f["offset"]): f["name"] for f in layout["fields"]}
    for field in layout["fields"]:
        if int(field["offset"]) >= own:
            values[field["name"]] = random_field(rng, field)
    for array in layout["arrays"]:
        count = names[int(array["count"]["offset"])]
        wanted = values.get(count, 0) if full else rng.randrange(int(array["bound"]) + 1)
        same = [a for a in layout["arrays"] if a["count"]["offset"] == array["count"]["offset"]]
        if array is same[0]:
            values[count] = wanted
        entries = min(values[count], int(array["bound"]))
        values[array["name"]] = [
            {field["name"]: random_field(rng, field) for field in array["fields"]} for _ in range(entries)
        ]
    return values


def random_members(rng: random.Random, record) -> dict:
    values = {}
    for member in record["fields"]:
        if "record" in member:
            values[member["member"]] = random_members(rng, OWN.record(member["record"]))
            continue
        limit = 1 << {1: 8, 2: 16, 3: 32}[member["type"]]
        numbers = [rng.randrange(limit) for _ in range(member["elements"])]
        values[member["member"]] = numbers if member["elements"] > 1 else numbers[0]
    return values


class Converters(unittest.TestCase):
    def test_every_converter_changes_random_buffers_as_the_library_does(self):
        rng = random.Random(1)
        for name, layout in OWN.converters.items():
            for _ in range(ROUNDS):
                data = rng.randbytes(int(layout["bytes"]) + SPARE_BYTES)
                buffer = ctypes.create_string_buffer(data, len(data))
                getattr(LIBRARY, name)(buffer)
                self.assertEqual(convert(name, data), buffer.raw, name)

    def test_a_buffer_that_ends_too_early_is_named_with_its_offset(self):
        with self.assertRaises(WireError) as caught:
            convert("ORVA_AGENT_ChgReqMsgToHost", bytes(15))
        self.assertEqual(caught.exception.offset, 12)


class Messages(unittest.TestCase):
    def test_what_was_encoded_is_decoded_again(self):
        rng = random.Random(2)
        for family in OWN.families:
            for order in ("net", "host"):
                for full in (False, True):
                    for _ in range(ROUNDS // 5):
                        values = random_message(rng, family, full)
                        data = encode(values, order=order)
                        self.assertEqual(decode(family, data, order=order, prefix=full), values)

    def test_bytes_from_the_net_read_as_the_library_converts_them(self):
        rng = random.Random(3)
        for name, layout in OWN.converters.items():
            if layout["direction"] != "host":
                continue
            data = rng.randbytes(int(layout["bytes"]))
            buffer = ctypes.create_string_buffer(data, len(data))
            getattr(LIBRARY, name)(buffer)
            travelled = decode(layout["family"], data)
            converted = decode(layout["family"], buffer.raw, order="host")
            for array in layout["arrays"]:  # a converter may write the bound into the count
                if array["count"]["clamped"]:
                    travelled["count"] = min(travelled["count"], array["bound"])
            self.assertEqual(travelled, converted, name)

    def test_a_wrong_value_is_refused_with_its_name(self):
        values = random_message(random.Random(4), "TempInfo", False)
        for change, field in (({"word_12": 1 << 32}, "word_12"), ({"colour": 1}, "colour"), ({"readings": None}, "readings")):
            with self.assertRaises(WireError) as caught:
                encode({**values, **change})
            self.assertEqual(caught.exception.field, field)
        del values["word_12"]
        with self.assertRaises(WireError) as caught:
            encode(values)
        self.assertEqual(caught.exception.field, "word_12")

    def test_a_size_pads_with_zeros_and_never_cuts(self):
        values = random_message(random.Random(5), "Req", False)
        self.assertEqual(encode(values, size=20)[16:], bytes(4))
        with self.assertRaises(WireError):
            encode(values, size=15)


ENCODERS = {
    "temp": "ORVA_TLV_SyncTempCfgDataEncode",
    "vlt": "ORVA_TLV_SyncVltCfgDataEncode",
    "fmea": "ORVA_TLV_SyncFmeaDataEncode",
    "pwrsup": "ORVA_TLV_SyncPowerSupplyEncode",
    "board": "ORVA_TLV_SyncBoardInfoToBakEncode",
    "pwrs": "ORVA_TLV_SyncPwrsPwrDataToBakEncode",
    "model": "ORVA_OrvaAgt_ModelCtlTlvDataEncode",
}


def in_memory(record, values) -> bytearray:
    """The record's structure as the library's encoder reads it."""
    data = bytearray(int(record["size"]))
    for member in record["fields"]:
        at, value = int(member["offset"]), values[member["member"]]
        if "record" in member:
            raw = bytes(in_memory(OWN.record(member["record"]), value))
        else:
            width = {1: 1, 2: 2, 3: 4}[member["type"]]
            numbers = value if isinstance(value, list) else [value]
            raw = b"".join(number.to_bytes(width, "little") for number in numbers)
        data[at : at + len(raw)] = raw
    return data


class Records(unittest.TestCase):
    def test_every_record_is_encoded_as_the_library_does_and_decoded_again(self):
        rng = random.Random(6)
        self.assertEqual(set(OWN.records) - {"delay"}, set(ENCODERS))
        for key, function in ENCODERS.items():
            record = OWN.record(key)
            for _ in range(ROUNDS):
                values = random_members(rng, record)
                out = ctypes.create_string_buffer(int(record["length"]))
                source = (ctypes.c_char * int(record["size"])).from_buffer(in_memory(record, values))
                getattr(LIBRARY, function)(source, out)
                block = encode_record({"record": key, **values})
                self.assertEqual(block, out.raw, key)
                self.assertEqual(decode_record(key, block), {"record": key, **values})

    def test_a_block_that_is_not_whole_is_refused_at_its_byte(self):
        record = OWN.record("temp")
        block = encode_record({"record": "temp", **random_members(random.Random(7), record)})
        for broken, offset in (
            (block[:-1], 4),
            (block[:10], 0),
            (block[:16] + b"\x00\x99" + block[18:], 16),
            (block[:18] + b"\xff\xff" + block[20:], 18),
            (b"\0\0\0\x63" + block[4:], len(block)),
        ):
            with self.assertRaises(WireError) as caught:
                decode_record("temp", broken)
            self.assertEqual(caught.exception.offset, offset)


class Codes(unittest.TestCase):
    def test_codes_have_their_names(self):
        self.assertIn("ORVA_ERR_REQ_DEST_SLOT", code_names(0x01DA0006))
        self.assertEqual(code_names(0x12345678), ())


if __name__ == "__main__":
    unittest.main()
