"""Every exported function has a docstring right above its declaration, and every named result code is named in a
docstring of its header."""
import argparse
import pathlib
import re
import sys


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    root = pathlib.Path(parser.parse_args().root)
    bad = functions = codes = 0
    for header in sorted((root / "include").glob("*.h")):
        text = header.read_text()
        comments = " ".join(re.findall(r"/\*.*?\*/", text, flags=re.S))
        for match in re.finditer(r"^(?:extern\s+)?ORVA_API\b[^;{]*;", text, flags=re.M):
            functions += 1
            before = re.sub(r"\s*(ORVA_PRINTF\([^)]*\)\s*)?$", "", text[:match.start()])
            # The number of a table's rows may stand between the docstring and the table.
            before = re.sub(r"(\s*#define \w+ \w+)+$", "", before)
            # A declaration may share the docstring of the declaration straight above it.
            if not before.endswith("*/") and not before.endswith(";"):
                bad += 1
                print(f"{header.name}: no docstring: {match.group(0).splitlines()[0]}")
        for code in re.findall(r"^#define\s+(ORVA_ERR_\w+)", text, flags=re.M):
            codes += 1
            if re.search(rf"\b{code}\b", comments) is None:
                bad += 1
                print(f"{header.name}: {code} is in no docstring")
    print(f"{functions} declarations, {codes} result codes, {bad} problems")
    return 1 if bad or functions < 400 else 0


sys.exit(main())
