"""Names inside the library: a constant of one name has one value, and a source's macros carry a prefix and end with it."""
import argparse
import pathlib
import re
import sys

CONSTANT = re.compile(r"^\s*(?:inline )?constexpr [\w:<> ]+? (k[A-Z]\w*) = ([^;{}\[\]]+);", flags=re.M)
DEFINE = re.compile(r"^#define (\w+)", flags=re.M)
# Names that are local by their nature: each area has its own.
LOCAL = {"kArea"}
# What a template or a namespace of its own computes.
COMPUTED = re.compile(r"[a-z_]\(|<|\bk[A-Z]|::")


def values(root):
    """name -> {value: files}"""
    found = {}
    for path in sorted((root / "src" / "comm").glob("*.[hc]*")):
        for name, value in CONSTANT.findall(path.read_text()):
            value = re.sub(r"\s+", " ", value.strip())
            if name not in LOCAL and not COMPUTED.search(value):
                found.setdefault(name, {}).setdefault(value, []).append(path.name)
    return found


def macro_problems(path, text):
    for name in DEFINE.findall(text):
        if not name.startswith("ORVA_"):
            yield f"{path.name}: the macro {name} lacks the prefix ORVA_"
        if path.suffix == ".cpp" and f"#undef {name}" not in text:
            yield f"{path.name}: the macro {name} is not undefined"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    root = pathlib.Path(parser.parse_args().root)
    found = values(root)
    problems = [f"{name} has the values {dict(by_value)}" for name, by_value in found.items() if len(by_value) > 1]
    for path in sorted((root / "src" / "comm").glob("*.[hc]*")):
        problems += macro_problems(path, path.read_text())
    print("\n".join(problems + [f"{len(found)} constants, {len(problems)} problems"]))
    return 1 if problems or len(found) < 50 else 0


sys.exit(main())
