"""Every test that docs/security.md names exists, and every fuzz target is named there."""
import argparse
import pathlib
import re
import sys


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    root = pathlib.Path(parser.parse_args().root)
    cases = set()
    for source in (root / "tests").rglob("*.cpp"):
        for suite, case in re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", source.read_text(), flags=re.M):
            cases.add(f"{suite}.{case}")
    targets = {f"fuzz.{path.name.removesuffix('_fuzz.cpp')}" for path in (root / "tests/fuzz").glob("*_fuzz.cpp")}
    scripts = set()
    for lists in (root / "tests").rglob("CMakeLists.txt"):
        text = lists.read_text()
        scripts |= set(re.findall(r"add_test\(\s*NAME\s+([\w.]+)", text))
        scripts |= {f"abi.{name}" for name in re.findall(r"orva_script_test\((\w+)", text)}
        scripts |= {f"system.chassis_{name}" for name in re.findall(r"orva_page_test\((\w+)", text)}
    page = (root / "docs/security.md").read_text()
    table = page[page.index("## Defect classes"):page.index("## Fuzzing")]
    named = re.findall(r"`(\w+\.\w+)`", table)
    bad = [f"docs/security.md names {name}, which is not a test"
           for name in named if name not in cases | targets | scripts]
    bad += [f"docs/security.md does not name {target}" for target in sorted(targets - set(named))]
    bad += [f"the row \"{row.split('|')[1].strip()}\" names no test"
            for row in table.splitlines() if re.match(r"\| [a-z]", row) and "`" not in row and "| tests |" not in row]
    print("\n".join(bad))
    print(f"{len(named)} named tests, {len(bad)} problems")
    return 1 if bad or len(named) < 40 else 0


sys.exit(main())
