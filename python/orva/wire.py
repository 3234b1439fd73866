"""Agent messages and sync records, read and written from the description of the wire.

The description is the document of `orva-inspect describe --json`; the package carries the one of its own version.
A message is a dict: its family, its fields by name, and one list of dicts for each array. A record is a dict of its
members, with its key as `"record"`.
"""

from __future__ import annotations

import json
import os
from collections.abc import Iterator, Mapping
from functools import cache
from importlib import resources
from typing import Any, Literal

Order = Literal["net", "host"]
Values = dict[str, Any]
Json = Mapping[str, Any]

_BLOCK_HEADER = 16  # item count, block length, eight zero bytes
_ITEM_HEADER = 4  # tag and length, 16 bits each
_WIDTH_OF_TYPE = {1: 1, 2: 2, 3: 4}


class WireError(ValueError):
    """Bytes or values that do not follow the description.

    `offset` is the byte at fault, `field` the field, where they are known.
    """

    def __init__(self, text: str, *, offset: int | None = None, field: str | None = None) -> None:
        where = "".join(
            (f"byte {offset}: " if offset is not None else "", f"{field}: " if field is not None else "")
        )
        super().__init__(where + text)
        self.offset = offset
        self.field = field


class Description:
    """A description of the wire.

    Thread-safe: it is never changed after it was read.
    """

    def __init__(self, document: Json) -> None:
        if document.get("schema") != 1:
            raise WireError(f"unknown schema of the description: {document.get('schema')!r}")
        self.converters: dict[str, Json] = {str(row["converter"]): row for row in document["messages"]}
        self.records: dict[str, Json] = {str(row["key"]): row for row in document["records"]}

    @classmethod
    def read(cls, path: str | os.PathLike[str]) -> Description:
        """Reads a document of `orva-inspect describe --json`."""
        with open(path, encoding="utf-8") as file:
            return cls(json.load(file))

    @classmethod
    @cache
    def own(cls) -> Description:
        """The description that the package carries."""
        return cls(json.loads(resources.files("orva").joinpath("wire.json").read_text("utf-8")))

    @property
    def families(self) -> list[str]:
        """The families, each once, in the order of the description."""
        return list(dict.fromkeys(str(row["family"]) for row in self.converters.values()))

    def converter(self, name: str) -> Json:
        if name not in self.converters:
            raise WireError(f"no converter has the name {name!r}")
        return self.converters[name]

    def record(self, key: str) -> Json:
        if key not in self.records:
            raise WireError(f"no record has the key {key!r}; there are {', '.join(self.records)}")
        return self.records[key]

    def layout(self, family: str) -> Json:
        """The layout of a family as its receiver reads it.

        That is the one of the conversion to host order; a family that is only ever sent has the other one.
        """
        rows = [row for row in self.converters.values() if row["family"] == family]
        if not rows:
            raise WireError(f"no message has the family {family!r}; there are {', '.join(self.families)}")
        return min(rows, key=lambda row: (row["direction"] != "host", row["prefix_bytes"]))


def _byte_order(swapped: bool, order: Order) -> Literal["big", "little"]:
    return "big" if swapped and order == "net" else "little"


def _get(data: bytes | bytearray, offset: int, field: Json, order: Order) -> int | str:
    width = int(field["width"])
    if offset + width > len(data):
        raise WireError(
            f"needs {width} bytes, {max(len(data) - offset, 0)} are left", offset=offset, field=field["name"]
        )
    raw = bytes(data[offset : offset + width])
    if width > 4:
        return raw.split(b"\0", 1)[0].decode("latin-1")
    return int.from_bytes(raw, _byte_order(field["swapped"], order))


def _put(data: bytearray, offset: int, field: Json, order: Order, value: Any) -> None:
    width, name = int(field["width"]), str(field["name"])
    if width > 4:
        if not isinstance(value, str):
            raise WireError("must be a text", field=name)
        raw = value.encode("latin-1")
        if len(raw) > width or b"\0" in raw:
            raise WireError(f"must be a text of at most {width} bytes without a zero", field=name)
        data[offset : offset + width] = raw.ljust(width, b"\0")
        return
    data[offset : offset + width] = _number(value, width, name).to_bytes(width, _byte_order(field["swapped"], order))


def _number(value: Any, width: int, name: str) -> int:
    limit = (1 << 8 * width) - 1
    if not isinstance(value, int) or isinstance(value, bool) or not 0 <= value <= limit:
        raise WireError(f"must be an integer from 0 to {limit}, not {value!r}", field=name)
    return value


# ---- Messages


def _based(layout: Json, prefix: bool) -> tuple[int, list[tuple[int, Json]], list[tuple[int, int, Json]]]:
    """Where the fields and the arrays are: the prefix's length, fields, and arrays with the offset of their count."""
    own = int(layout["prefix_bytes"])
    shift = (8 if prefix else 0) - own
    fields = [(int(f["offset"]) + shift, f) for f in layout["fields"] if int(f["offset"]) >= own]
    arrays = [(int(a["offset"]) + shift, int(a["count"]["offset"]) + shift, a) for a in layout["arrays"]]
    return own + shift, fields, arrays


_PREFIX: Json = {"name": "prefix", "width": 2, "swapped": True}


def decode(
    family: str,
    data: bytes,
    *,
    order: Order = "net",
    prefix: bool = False,
    description: Description | None = None,
) -> Values:
    """Reads a message.

    `order`: "net" for bytes as they travel, "host" for bytes as a converter to host order leaves them (on a
    little-endian machine). `prefix`: the eight bytes of a frame are in front of the body. Raises WireError when the
    bytes are too short for the fixed fields or for the entries that they count. As in the library, entries above an
    array's bound are not read.
    """
    layout = (description or Description.own()).layout(family)
    _, fields, arrays = _based(layout, prefix)
    values: Values = {"family": family}
    if prefix:
        values["prefix"] = _get(data, 0, _PREFIX, order)
    counts: dict[int, int] = {}
    for offset, field in fields:
        value = values[field["name"]] = _get(data, offset, field, order)
        if isinstance(value, int):
            counts[offset] = value
    for offset, count_offset, array in arrays:
        count = min(counts[count_offset], int(array["bound"]))
        values[array["name"]] = [
            {
                field["name"]: _get(data, offset + i * int(array["stride"]) + int(field["offset"]), field, order)
                for field in array["fields"]
            }
            for i in range(count)
        ]
    return values


def encode(
    values: Json,
    *,
    order: Order = "net",
    size: int | None = None,
    description: Description | None = None,
) -> bytes:
    """Writes a message; `decode` of the bytes gives the values back.

    A value "prefix" puts the eight bytes of a frame in front. A count that is not given is the length of its list.
    Bytes without a name are 0. `size` is the length of the result; without it, the result ends after the last field or
    entry. Raises WireError for a value that is missing, unknown or out of range.
    """
    family = values.get("family")
    if not isinstance(family, str):
        raise WireError("a message needs its family", field="family")
    layout = (description or Description.own()).layout(family)
    prefix = "prefix" in values
    body, fields, arrays = _based(layout, prefix)
    values = _with_counts(values, fields, arrays)
    _check_names(values, {"family", "prefix"}, [f["name"] for _, f in fields] + [a["name"] for _, _, a in arrays])
    data = bytearray(body + int(layout["bytes"]) - int(layout["prefix_bytes"]))
    if prefix:
        _put(data, 0, _PREFIX, order, values["prefix"])
    end = body
    for offset, field in fields:
        _put(data, offset, field, order, values[field["name"]])
        end = max(end, offset + int(field["width"]))
    for offset, _, array in arrays:
        stride = int(array["stride"])
        for i, entry in enumerate(values[array["name"]]):
            _check_names(entry, set(), [f["name"] for f in array["fields"]])
            for field in array["fields"]:
                _put(data, offset + i * stride + int(field["offset"]), field, order, entry[field["name"]])
            end = offset + (i + 1) * stride
    if size is None:
        return bytes(data[:end])
    if size < end:
        raise WireError(f"the message needs {end} bytes, not {size}")
    return bytes(data[:size].ljust(size, b"\0"))


def _with_counts(values: Json, fields: list[tuple[int, Json]], arrays: list[tuple[int, int, Json]]) -> Values:
    """The values with every count, each held against the lists that it counts."""
    full = dict(values)
    names = {offset: str(field["name"]) for offset, field in fields}
    for _, count_offset, array in arrays:
        name = str(array["name"])
        entries = full.get(name)
        if not isinstance(entries, list):
            raise WireError("must be a list", field=name)
        count = full.setdefault(names[count_offset], len(entries))
        if isinstance(count, int) and len(entries) != min(count, int(array["bound"])):
            raise WireError(
                f"has {len(entries)} entries; {names[count_offset]} is {count} and the bound {array['bound']}",
                field=name,
            )
    return full


def _check_names(values: Json, also: set[str], wanted: list[str]) -> None:
    for name in wanted:
        if name not in values:
            raise WireError("is missing", field=name)
    for name in values:
        if name not in wanted and name not in also:
            raise WireError(f"is unknown; there are {', '.join(wanted)}", field=name)


def convert(converter: str, data: bytes, *, description: Description | None = None) -> bytes:
    """What the library's converter of this name makes of a buffer, on a little-endian machine.

    Unlike the library this checks the length: WireError when a converted byte would be after the end.
    """
    layout = (description or Description.own()).converter(converter)
    out = bytearray(data)
    counts = _counts(layout, out)  # a count word is read in host order: after it was converted, or before
    for offset, width in _swaps(layout, counts):
        if offset + width > len(out):
            raise WireError(f"needs {width} bytes, {max(len(out) - offset, 0)} are left", offset=offset)
        out[offset : offset + width] = out[offset : offset + width][::-1]
    for array in layout["arrays"]:
        at = int(array["count"]["offset"])
        if array["count"].get("clamped") and out[at] > int(array["bound"]):
            out[at] = int(array["bound"])
    return bytes(out)


def _counts(layout: Json, data: bytearray) -> list[int]:
    counts = []
    for array in layout["arrays"]:
        offset, width = int(array["count"]["offset"]), int(array["count"]["width"])
        if offset + width > len(data):
            raise WireError("the count is after the end", offset=offset, field=array["name"])
        order: Literal["big", "little"] = "big" if width > 1 and layout["direction"] == "host" else "little"
        counts.append(min(int.from_bytes(data[offset : offset + width], order), int(array["bound"])))
    return counts


def _swaps(layout: Json, counts: list[int]) -> Iterator[tuple[int, int]]:
    for field in layout["fields"]:
        if field["swapped"]:
            yield int(field["offset"]), int(field["width"])
    for array, count in zip(layout["arrays"], counts, strict=True):
        for i in range(count):
            for field in array["fields"]:
                if field["swapped"]:
                    yield int(array["offset"]) + i * int(array["stride"]) + int(field["offset"]), int(field["width"])


# ---- Records


def _member_width(member: Json) -> int:
    return _WIDTH_OF_TYPE[int(member["type"])] * int(member["elements"])


def encode_record(values: Json, *, description: Description | None = None) -> bytes:
    """Writes the TLV block of a sync record, byte for byte as the library's encoder does.

    `values` holds the key as "record" and every member by name: an integer, a list of integers for an array, a dict
    for a nested record. Raises WireError for a member that is missing, unknown or out of range.
    """
    used = description or Description.own()
    key = values.get("record")
    if not isinstance(key, str):
        raise WireError("a record needs its key", field="record")
    return _block(used, used.record(key), values, {"record"})


def _block(description: Description, record: Json, values: Json, also: set[str]) -> bytes:
    _check_names(values, also, [member["member"] for member in record["fields"]])
    items = b""
    for member in record["fields"]:
        value = _value(description, member, values[member["member"]])
        items += int(member["tag"]).to_bytes(2, "big") + len(value).to_bytes(2, "big") + value
    head = len(record["fields"]).to_bytes(4, "big") + (_BLOCK_HEADER + len(items)).to_bytes(4, "big")
    return head + bytes(8) + items


def _value(description: Description, member: Json, value: Any) -> bytes:
    name = str(member["member"])
    if "record" in member:
        if not isinstance(value, Mapping):
            raise WireError("must be an object", field=name)
        return _block(description, description.record(member["record"]), value, set())
    width, elements = _WIDTH_OF_TYPE[int(member["type"])], int(member["elements"])
    if elements == 1:
        return _number(value, width, name).to_bytes(width, "big")
    if not isinstance(value, list) or len(value) != elements:
        raise WireError(f"must be a list of {elements} integers", field=name)
    return b"".join(_number(element, width, name).to_bytes(width, "big") for element in value)


def decode_record(key: str, block: bytes, *, description: Description | None = None) -> Values:
    """Reads the TLV block of a sync record.

    Every item must be whole, known and as long as its member; an item that is not there leaves its member out. Raises
    WireError with the offset of the first byte that breaks a rule.
    """
    used = description or Description.own()
    return {"record": key, **_members(used, used.record(key), block, 0, len(block))}


def _members(description: Description, record: Json, block: bytes, start: int, end: int) -> Values:
    if end - start < _BLOCK_HEADER:
        raise WireError(f"a block has a header of {_BLOCK_HEADER} bytes, {end - start} are left", offset=start)
    count = int.from_bytes(block[start : start + 4], "big")
    length = int.from_bytes(block[start + 4 : start + 8], "big")
    if length != end - start:
        raise WireError(f"the block says that it has {length} bytes; there are {end - start}", offset=start + 4)
    by_tag = {int(member["tag"]): member for member in record["fields"]}
    values: Values = {}
    at = start + _BLOCK_HEADER
    for _ in range(count):
        if end - at < _ITEM_HEADER:
            raise WireError("an item's header is not whole", offset=at)
        tag = int.from_bytes(block[at : at + 2], "big")
        size = int.from_bytes(block[at + 2 : at + 4], "big")
        member = by_tag.get(tag)
        if member is None:
            raise WireError(f"the {record['key']} record has no tag {tag}", offset=at)
        if size > end - at - _ITEM_HEADER:
            raise WireError(f"an item of {size} bytes, {end - at - _ITEM_HEADER} are left", offset=at + 2)
        values[member["member"]] = _read(description, member, block, at + _ITEM_HEADER, size)
        at += _ITEM_HEADER + size
    if at != end:
        raise WireError(f"{end - at} bytes after the last item", offset=at)
    return values


def _read(description: Description, member: Json, block: bytes, at: int, size: int) -> Any:
    if "record" in member:
        return _members(description, description.record(member["record"]), block, at, at + size)
    if size != _member_width(member):
        raise WireError(f"must have {_member_width(member)} bytes, not {size}", offset=at - 2, field=member["member"])
    width = _WIDTH_OF_TYPE[int(member["type"])]
    elements = [int.from_bytes(block[i : i + width], "big") for i in range(at, at + size, width)]
    return elements if int(member["elements"]) > 1 else elements[0]
