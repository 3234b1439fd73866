"""The library exports the recorded names and nothing else, the headers declare exactly these, and at run time it needs
the C library only."""
import argparse
import pathlib
import re
import subprocess
import sys

IMPORT_HEADERS = ["miro.h", "tova.h", "orva_write_log.h", "drv_basic.h", "safeio.h"]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def declared_names(headers):
    names = set()
    for header in headers:
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        for statement in re.findall(r"^(?:extern\s+)?ORVA_API\b[^;{]*;", text, flags=re.M):
            statement = re.sub(r"ORVA_PRINTF\([^)]*\)", "", statement)
            function = re.match(r"ORVA_API\s+[\w\s*]*?\(?\*?\b(\w+)\s*\(", statement)
            statement = re.sub(r"^extern\s+ORVA_API", "ORVA_API extern", statement)
            data = re.match(r"ORVA_API\s+extern\s+[\w\s*]*?\b(\w+)\s*(\[[^;]*)?;", statement)
            match = data or function
            if match is None:
                sys.exit(f"{header.name}: cannot read the declaration: {statement}")
            names.add(match.group(1))
    return names


def report(title, names):
    for name in sorted(names):
        print(f"{title}: {name}")
    return len(names)


def main():
    parser = argparse.ArgumentParser()
    for option in ("library", "root", "nm", "readelf", "sanitized"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    root = pathlib.Path(args.root)
    instrumented = args.sanitized not in ("", "OFF")

    recorded = (root / "abi" / "exports.txt").read_text().split()
    bad = 0
    if len(recorded) != 439 or len(set(recorded)) != 439:
        print(f"abi/exports.txt holds {len(recorded)} names, {len(set(recorded))} of them distinct; 439 expected")
        bad += 1
    exported = {line.split()[-1] for line in run(args.nm, "-D", "--defined-only", args.library).splitlines()}
    exported = {name.split("@")[0] for name in exported}
    bad += report("recorded but not exported", set(recorded) - exported)
    if not instrumented:
        bad += report("exported but not recorded", exported - set(recorded))
    declared = declared_names(sorted((root / "include").glob("*.h")))
    bad += report("recorded but not declared in a public header", set(recorded) - declared)
    bad += report("declared but not recorded", declared - set(recorded))

    imports = set()
    for header in IMPORT_HEADERS:
        text = re.sub(r"/\*.*?\*/", "", (root / "platform" / "include" / header).read_text(), flags=re.S)
        imports |= set(re.findall(r"\b(\w+)\s*\([^()]*(?:\([^()]*\)[^()]*)*\)\s*;", text))
    for line in run(args.nm, "-D", "--undefined-only", args.library).splitlines():
        name = line.split()[-1]
        if "@GLIBC" in name or line.split()[0] in ("w", "v") or instrumented:
            continue
        if name not in imports:
            bad += report("imported but no platform header declares it", {name})

    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", run(args.readelf, "-d", args.library)))
    allowed = {"libc.so.6", "ld-linux-aarch64.so.1"}
    if not instrumented:
        bad += report("needed at run time", needed - allowed)
    soname = re.findall(r"\(SONAME\).*\[(.*)\]", run(args.readelf, "-d", args.library))
    if soname != ["liborva_comm.so.1"]:
        print(f"soname is {soname}")
        bad += 1
    print(f"{len(exported)} exported names, {len(declared)} declared, needed: {sorted(needed)}, {bad} problems")
    return 1 if bad else 0


sys.exit(main())
