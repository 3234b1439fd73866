"""Writes the list of docs/compatibility.md from the `Compat:` marks of the sources.

A mark is `Compat: <who relies on it>. <what stays as it is>`, in a comment where a reader would "fix" it.
Usage: make_compatibility.py ROOT [--check]"""
import pathlib
import re
import sys

ROOMS = ("include", "platform/include", "wire", "src/comm", "platform/host", "chassis", "tools")
GROUPS = ("bytes on the wire", "bytes in memory", "texts that others parse", "callers' code")
BEGIN, END = "<!-- made by docs/make_compatibility.py -->", "<!-- end -->"


def text_of_mark(lines, number):
    """The mark's text from line `number` on, up to the end of its comment."""
    text = lines[number].split("Compat:", 1)[1]
    if lines[number].lstrip().startswith(("//", "*", "/*")):
        for line in lines[number + 1:]:
            slashes = lines[number].lstrip().startswith("//")
            more = re.match(r"\s*//+\s*(.*)" if slashes else r"\s*\*(?!/)\s*(.*)", line)
            if "*/" in text or more is None or not more.group(1) or more.group(1).startswith("@"):
                break
            text += " " + more.group(1)
    return re.sub(r"\s+", " ", text.split("*/")[0]).strip()


def place_of_mark(lines, number):
    """The function, table or record that the mark is in, or that it is written above."""
    at_column_0 = not lines[number].startswith((" ", "\t")) or lines[number].startswith(" *")
    for line in lines[number:] if at_column_0 else reversed(lines[:number]):
        macro = re.match(r"#define\s+(\w+)", line)
        match = re.match(r"^(?!\s|//|/\*|\*|#|\}|namespace|using|template).*?(\w+)\s*[(\[{;=]", line)
        if macro or match:
            return (macro or match).group(1)
    return ""


def marks(root):
    for room in ROOMS:
        for path in sorted((root / room).rglob("*")):
            if path.suffix not in (".h", ".c", ".cpp", ".inc"):
                continue
            lines = path.read_text().splitlines()
            for number, line in enumerate(lines):
                if "Compat:" in line:
                    yield path.relative_to(root), place_of_mark(lines, number), text_of_mark(lines, number)


def listing(root):
    rows = {group: [] for group in GROUPS}
    for path, place, text in marks(root):
        group = next((group for group in GROUPS if text.startswith(group + ".")), None)
        if group is None or len(text) < len(group) + 10:
            sys.exit(f"{path}: a mark names one of {', '.join(GROUPS)}, then what stays: {text}")
        rows[group].append(f"| {text[len(group) + 2:]} | `{place}` | `{path}` |")
    out = []
    for group in GROUPS:
        out += [f"### {group[0].upper()}{group[1:]}", "", "| what stays | where | source |", "|---|---|---|", *rows[group], ""]
    return "\n".join([BEGIN, "", *out, END])


def main():
    root = pathlib.Path(sys.argv[1])
    page = root / "docs" / "compatibility.md"
    old = page.read_text()
    new = old[:old.index(BEGIN)] + listing(root) + old[old.index(END) + len(END):]
    if "--check" in sys.argv:
        if new != old:
            sys.exit("docs/compatibility.md is stale: run python3 docs/make_compatibility.py .")
        print(f"{len(list(marks(root)))} marks")
    else:
        page.write_text(new)


main()
