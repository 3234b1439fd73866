"""What testers of a chassis need in Python: agent messages, sync records, result codes, and a running chassis.

    from orva import decode, encode, decode_record, encode_record, code_names
    from orva.chassis import Chassis

The package is pure Python and uses the standard library only.
"""

from orva.codes import code_names
from orva.wire import (
    Description,
    WireError,
    convert,
    decode,
    decode_record,
    encode,
    encode_record,
)

__all__ = [
    "Description",
    "WireError",
    "code_names",
    "convert",
    "decode",
    "decode_record",
    "encode",
    "encode_record",
]
