"""Names of the library's result codes."""

from __future__ import annotations

import json
from functools import cache
from importlib import resources


@cache
def _table() -> dict[int, tuple[str, ...]]:
    rows = json.loads(resources.files("orva").joinpath("codes.json").read_text("utf-8"))["results"]
    return {int(row["code"]): tuple(str(name["name"]) for name in row["names"]) for row in rows}


def code_names(code: int) -> tuple[str, ...]:
    """All names of a result code; none for a code that the library does not use.

    >>> code_names(0x01DA0006)
    ('ORVA_ERR_REQ_DEST_SLOT',)
    """
    return _table().get(code, ())
