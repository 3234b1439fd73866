"""Writes the lists of docs/concurrency.md from the thread-safety phrases of the public headers.

Usage: make_concurrency.py ROOT [--check]"""
import pathlib
import re
import sys

import header_reader

PHRASES = ("Thread-safe.", "Thread-safe for distinct objects.", "Thread-safe after start-up.", "Not thread-safe.")
BEGIN, END = "<!-- made by docs/make_concurrency.py -->", "<!-- end -->"


def functions(text):
    """(name, phrase) of every function."""
    for function in header_reader.functions(text):
        yield function.name, next(phrase for phrase in PHRASES if phrase in " ".join(function.text))


def listing(root):
    rows = {phrase: [] for phrase in PHRASES}
    for header in sorted((root / "include").glob("orva_*.h")):
        for name, phrase in functions(header.read_text()):
            rows[phrase].append((header.name, name))
    out = []
    for phrase in PHRASES:
        out += [f"### {phrase}", "", f"{len(rows[phrase])} functions.", ""]
        for header in sorted({row[0] for row in rows[phrase]}):
            names = ", ".join(f"`{name}`" for other, name in rows[phrase] if other == header)
            out.append(f"- {header}: {names}")
        out.append("")
    return "\n".join([BEGIN, "", *out, END]), sum(map(len, rows.values()))


def main():
    root = pathlib.Path(sys.argv[1])
    page = root / "docs" / "concurrency.md"
    old = page.read_text()
    made, count = listing(root)
    new = old[:old.index(BEGIN)] + made + old[old.index(END) + len(END):]
    if "--check" in sys.argv:
        if new != old:
            sys.exit("docs/concurrency.md is stale: run python3 docs/make_concurrency.py .")
        names = {line.strip() for line in (root / "abi" / "exports.txt").read_text().splitlines()}
        missing = {name for name in names if not name.startswith("g_")} - set(re.findall(r"`(\w+)`", new))
        if missing:
            sys.exit(f"docs/concurrency.md lacks {sorted(missing)}")
        print(f"{count} functions")
    else:
        page.write_text(new)


main()
