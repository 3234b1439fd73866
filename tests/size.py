"""Prints what the library takes: bytes of code and data, relocations, constructors and the time until a program that uses
it has started. With limits, fails when one is exceeded.
usage: size.py LIBRARY --prefix TOOL_PREFIX [--emulator COMMAND] [--bytes LIMIT] [--relocations LIMIT]
               [--start-up COMPILER [--runs COUNT]]"""
import argparse
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time

PROGRAM = "extern void *__environ; int main(void) { return __environ == 0; }\n"


def run(*command):
    return subprocess.run([str(word) for word in command], check=True, text=True, capture_output=True).stdout


def sizes(prefix, library):
    with tempfile.TemporaryDirectory(prefix="orva_size_") as scratch:
        stripped = pathlib.Path(scratch) / "stripped.so"
        run(f"{prefix}strip", "-o", stripped, library)
        text, data, zeroed = run(f"{prefix}size", stripped).splitlines()[1].split()[:3]
    return int(text), int(data), int(zeroed)


def relocations(prefix, library):
    return sum(map(int, re.findall(r"contains (\d+) entr", run(f"{prefix}readelf", "-W", "-r", library))))


def constructors(prefix, library):
    """Start-up functions of our own sources: what the linker was given beyond those of the compiler's own library."""
    section = re.search(r"\.init_array\s+INIT_ARRAY\s+\S+\s+\S+\s+([0-9a-f]+)", run(f"{prefix}readelf", "-W", "-S", library))
    entries = int(section[1], 16) // 8 if section else 0
    names = run(f"{prefix}nm", library)
    return entries - sum(f" {name}\n" in names for name in ("frame_dummy", "init_have_lse_atomics"))


def start_up(library, compiler, emulator, runs):
    """The least time that loading the library and its platform adds to an empty program."""
    folder = library.parent
    least = {}
    with tempfile.TemporaryDirectory(prefix="orva_size_") as scratch:
        source = pathlib.Path(scratch) / "empty.c"
        source.write_text(PROGRAM)
        for name, options in (("without", []), ("with", ["-Wl,--no-as-needed", f"-L{folder}", f"-Wl,-rpath,{folder}",
                                                         "-lorva_comm", "-lmiro", "-ltova", "-ldrv_basic", "-lsafeio"])):
            program = pathlib.Path(scratch) / name
            run(*shlex.split(compiler), "-O2", source, "-o", program, *options)
            times = []
            for _ in range(runs):
                before = time.perf_counter()
                subprocess.run([*shlex.split(emulator), str(program)], check=True)
                times.append(time.perf_counter() - before)
            least[name] = min(times)
    return least["with"] - least["without"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("library", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--prefix", default="")
    parser.add_argument("--emulator", default="")
    parser.add_argument("--bytes", type=int)
    parser.add_argument("--relocations", type=int)
    parser.add_argument("--start-up")
    parser.add_argument("--runs", type=int, default=200)
    args = parser.parse_args()
    text, data, zeroed = sizes(args.prefix, args.library)
    relocated = relocations(args.prefix, args.library)
    made = constructors(args.prefix, args.library)
    print(f"text {text}, data {data}, text and data {text + data} bytes"
          + (f" (limit {args.bytes})" if args.bytes else "") + f", zeroed {zeroed}, "
          f"relocations {relocated}" + (f" (limit {args.relocations})" if args.relocations else "")
          + f", constructors of ours {made}")
    if args.start_up:
        seconds = start_up(args.library, args.start_up, args.emulator, args.runs)
        print(f"start-up with the host platform: {seconds * 1e6:.0f} us more than an empty program"
              + (f", under {args.emulator}" if args.emulator else ""))
    too_large = args.bytes and text + data > args.bytes
    too_many = args.relocations and relocated > args.relocations
    return 1 if made or too_large or too_many else 0


sys.exit(main())
