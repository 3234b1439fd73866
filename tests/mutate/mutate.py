#!/usr/bin/python3
"""Changes one thing in a source at a time and tells which changes no test notices.

A change is compiled with the command of the compile database and linked: of the library into the unit programs that use
the source, of other rooms into their programs and libraries (whole.py). The tests named after the source run first. A
change is caught when it does not compile or when a test fails. What is not caught survives, unless equivalent.toml
explains why it changes nothing that could be seen.

Left alone are comments, preprocessor lines, and static_assert conditions with their consteval predicates: they cannot be
run, and tests/abi/wrong_rows_test.py holds them. So are calls of the library's empty hooks: the tests hooks_interposed and
hooks_empty_by_default of tests/abi hold them.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import tomllib

from pygments.lexers import CppLexer
from pygments.token import Token

import whole
from runs import run

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = "src/comm"
FEWEST_TO_PRECOMPILE = 4
LONGEST_SLEEP = 5  # seconds of a unit program
LIST = pathlib.Path(__file__).with_name("equivalent.toml")

SWAPS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-",
         "-": "+", "*": "+", "/": "*", "%": "/", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<", "+=": "-=",
         "-=": "+=", "|=": "&=", "&=": "|=", "^=": "|=", "<<=": ">>=", ">>=": "<<="}
OPERATOR = re.compile(r"(?<= )(" + "|".join(sorted(map(re.escape, SWAPS), key=len, reverse=True)) + r")(?=\s)")
STEP = re.compile(r"\+\+|--")
NOT = re.compile(r"!(?=[\w(])")
WORD = re.compile(r"\b(true|false)\b")
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9A-Fa-f]+|\d+)(?=[uUlL]*\b)(?![.\w]*\.)")
CONDITION = re.compile(r"\b(?:if|while) \((.+)\) \{$")
ARGUMENTS = re.compile(r"(?<=\w)\(([\w.>:*&-]+), ([\w.>:*&-]+)\)")
CALL = re.compile(r"^\s*(?!return\b|if\b|for\b|while\b|switch\b|static_assert\b)[A-Za-z_][\w:.>-]*\(.*\);$")
ASSIGNMENT = re.compile(r"^\s*[*A-Za-z_][\w:.>\[\]-]* [-+*/%&|^]?=(?!=) [^;]*;$")
STEP_STATEMENT = re.compile(r"^\s*(?:(?:\+\+|--)[\w.>-]+|[\w.>-]+(?:\+\+|--));$")
COMPILE_TIME_CHECK = re.compile(r"static_assert\([^;]*;|^consteval bool .*?^\}$", re.MULTILINE | re.DOTALL)
HOOK = re.compile(r"^\s*ORVA_AGENT_\w+Path\(\);$")
LEAVE = re.compile(r"^\s*(?:break|continue);$")


def mask(text):
    """The code with strings, comments and preprocessor lines blanked; and the places of the string literals."""
    masked = list(text)
    strings = []
    for start, kind, value in CppLexer().get_tokens_unprocessed(text):
        if kind in Token.Comment or kind in Token.Literal.String:
            for i in range(start, start + len(value)):
                if masked[i] != "\n":
                    masked[i] = "\x01"
        if kind in Token.Literal.String and kind not in Token.Literal.String.Affix:
            strings.append((start, value))
    return "".join(masked), strings


def changes_of(text):
    """All changes of a source as (start, end, replacement), in order."""
    masked, strings = mask(text)
    found = []

    def replace(match, new, group=0):
        found.append((match.start(group), match.end(group), new))

    for match in OPERATOR.finditer(masked):
        replace(match, SWAPS[match[1]])
    for match in STEP.finditer(masked):
        replace(match, "--" if match[0] == "++" else "++")
    for match in NOT.finditer(masked):
        replace(match, "")
    for match in WORD.finditer(masked):
        replace(match, "false" if match[0] == "true" else "true")
    for match in NUMBER.finditer(masked):
        replace(match, hex(int(match[1], 16) + 1) if match[1][:2].lower() == "0x" else str(int(match[1]) + 1), 1)
    for match in ARGUMENTS.finditer(masked):
        if match[1] != match[2]:
            replace(match, f"({match[2]}, {match[1]})")
    for start, value in strings:
        at = len(value) // 2
        letter = value[at] if at < len(value) else ""
        if letter.isalnum() and value[at - 1] not in "\\%":
            found.append((start + at, start + at + 1, "q" if letter != "q" else "z"))
    changes_of_lines(masked, text, found)
    asserted = [match.span() for match in COMPILE_TIME_CHECK.finditer(masked)]
    return sorted({change for change in found
                   if not any(start <= change[0] < end for start, end in asserted)})


def is_statement(line):
    return any(pattern.match(line) for pattern in (CALL, ASSIGNMENT, STEP_STATEMENT))


def changes_of_lines(masked, text, found):
    at = 0
    before = None
    for line in masked.splitlines(keepends=True):
        bare = line.rstrip("\n")
        indent = len(bare) - len(bare.lstrip())
        if match := CONDITION.search(bare):
            condition = text[at + match.start(1):at + match.end(1)]
            if ";" not in condition:
                found.append((at + match.start(1), at + match.end(1), f"!({condition})"))
        whole = is_statement(bare) and not HOOK.match(bare)
        if indent and (whole or LEAVE.match(bare)):
            found.append((at + indent, at + len(bare), ";"))
        # Two plain stores in another order are seldom another program.
        is_call = bool(CALL.match(bare))
        if indent and whole and before is not None and before[1] == indent and (is_call or before[3]):
            first = text[before[0]:before[0] + before[2]]
            found.append((before[0], at + len(bare), text[at:at + len(bare)] + "\n" + first))
        before = (at, indent, len(bare), is_call) if indent and whole else None
        at += len(line)


def line_change(text, change):
    """The lines of a change, before and after, without their indentation: what identifies it in the list."""
    start, end, new = change
    first = text.rfind("\n", 0, start) + 1
    last = text.find("\n", end)
    before = text[first:last]
    after = text[first:start] + new + text[end:last]
    tidy = lambda part: " ".join(part.split())  # noqa: E731
    return tidy(before), tidy(after)


class Equivalent:
    """The explained changes. Each must still be one that this script makes."""

    def __init__(self):
        rows = tomllib.loads(LIST.read_text())["equivalent"] if LIST.exists() else []
        self.rows = {(row["path"], row["before"], row["after"]): row["why"] for row in rows}

    def stale(self):
        for path in sorted({key[0] for key in self.rows}):
            source = ROOT / path
            text = source.read_text() if source.exists() else ""
            made = {line_change(text, change) for change in changes_of(text)}
            for key in self.rows:
                if key[0] == path and key[1:] not in made:
                    yield key

    def explains(self, path, lines):
        return (path, *lines) in self.rows


class Program:
    """A unit program and how to link it with one object of the library replaced."""

    def __init__(self, build, name, runner):
        commands = subprocess.run(["ninja", "-C", build, "-t", "commands", name], check=True, text=True,
                                  capture_output=True).stdout.splitlines()
        command = next(line for line in reversed(commands) if re.search(rf" -o (\S*/)?{name} ", line))
        self.name = name
        self.build = build
        words = shlex.split(command.removeprefix(": && ").split(" && ")[0])
        out = words.index("-o")
        self.program = pathlib.Path(build) / words[out + 1]
        del words[out:out + 2]
        self.words = [str(runner) if word.endswith("libgtest_main.a") else word for word in words]
        self.symbols = set()
        if not self.program.exists():
            print(f"skipped, since it is not built: {name}")
            return
        for line in subprocess.run(["nm", "--defined-only", self.program], check=True, text=True,
                                   capture_output=True).stdout.splitlines():
            if " T ORVA_" in line:
                self.symbols.add(line.split()[-1])

    def link(self, objects, out):
        linker = ["-fuse-ld=lld"] if shutil.which("ld.lld") else []
        done = subprocess.run([*self.words[:1], *objects, *self.words[1:], *linker, "-s", "-o", out],
                              cwd=self.build, capture_output=True, text=True)
        return done.returncode == 0


class Source:
    """A source of the compile database, its changes, and the programs that notice them."""

    def __init__(self, entry, programs):
        self.path = pathlib.Path(entry["file"]).resolve()
        self.name = str(self.path.relative_to(ROOT))
        self.text = self.path.read_text()
        self.folder = entry["directory"]
        words = shlex.split(entry["command"])
        if words[0].endswith("ccache"):
            words = words[1:]
        out = words.index("-o")
        self.object = pathlib.Path(self.folder) / words[out + 1]
        self.objects = []  # of every target that has this source
        del words[out:out + 2]
        words = [word for word in words if word not in ("-Werror", "-g", str(self.path), "-c")]
        self.command = [*words, "-w", "-O0", "-g0", "-iquote", str(self.path.parent), "-c"]
        own = {line.split()[-1] for line in subprocess.run(["nm", "--defined-only", self.object], check=True,
                                                           text=True, capture_output=True).stdout.splitlines()
               if " T ORVA_" in line}
        # Named after the source first: unit_orva_list_test for orva_list.cpp.
        stem = self.path.stem
        area = "_".join(stem.split("_")[:2])
        self.programs = sorted((program for program in programs if own & program.symbols),
                               key=lambda program: (not program.name.startswith(f"unit_{stem}_"),
                                                    not program.name.startswith(f"unit_{area}"), program.name))

    def precompile(self, folder):
        """Parses the headers that the source begins with once, for all changes."""
        headers = pathlib.Path(folder) / (self.name.replace("/", "_") + ".h")
        headers.write_text("".join(re.findall(r"^#include .*\n", self.text.split("\n#define ")[0], flags=re.M)))
        done = subprocess.run([*self.command, "-x", "c++-header", headers, "-o", f"{headers}.gch"], cwd=self.folder,
                              capture_output=True)
        if done.returncode == 0:
            self.command[-1:] = ["-include", str(headers), "-c"]

    def compile(self, text, folder):
        source = pathlib.Path(folder) / self.path.name
        source.write_text(text)
        out = pathlib.Path(folder) / "changed.o"
        done = subprocess.run([*self.command, source, "-o", out], cwd=self.folder, capture_output=True)
        return out if done.returncode == 0 else None


class UnitPrograms:
    """Tells what becomes of a change of the library: the unit programs that link its source are linked with it and run."""

    def __init__(self, build, folder):
        runner = pathlib.Path(folder) / "fork_main.o"
        subprocess.run(["c++", "-std=c++20", "-O1", "-c", pathlib.Path(__file__).with_name("fork_main.cpp"), "-o",
                        runner], check=True)
        targets = subprocess.run(["ninja", "-C", build, "-t", "targets", "all"], check=True, text=True,
                                 capture_output=True).stdout
        names = sorted(set(re.findall(r"^(unit_\w+): phony", targets, flags=re.M)))
        self.programs = [Program(build, name, runner) for name in names]
        self.programs = [program for program in self.programs if program.symbols and self.passes(program, folder)]

    @staticmethod
    def passes(program, folder):
        """False for a program that this runner cannot run green without any change; it can prove nothing."""
        linked = pathlib.Path(folder) / "program"
        if program.link([], linked) and run([linked], folder):
            return True
        print(f"skipped, since it fails without a change: {program.name}")
        return False

    def catches(self, source, changed, folder):
        """The program that catches a changed object, or None."""
        for program in source.programs:
            linked = pathlib.Path(folder) / "program"
            if not program.link([str(changed)], linked) or not run([linked], folder, LONGEST_SLEEP):
                return program.name
        return None


def judge(source, change, tests):
    """What becomes of a change: "compiler", the test that catches it, or None when it survives."""
    start, end, new = change
    with tempfile.TemporaryDirectory(prefix="orva_mutate.") as folder:
        changed = source.compile(source.text[:start] + new + source.text[end:], folder)
        return "compiler" if changed is None else tests.catches(source, changed, folder)


def sources_of(build, wanted, programs):
    entries = json.loads((pathlib.Path(build) / "compile_commands.json").read_text())
    chosen = {}
    for entry in entries:
        path = pathlib.Path(entry["file"]).resolve()
        wanted_object = "orva_comm_objects.dir" in entry["command"] if path.is_relative_to(ROOT / LIBRARY) else \
            " -o tests/" not in entry["command"]
        if path.is_relative_to(ROOT / wanted) and wanted_object:
            source = Source(entry, programs)
            chosen.setdefault(path, source).objects.append(source.object)
    return [chosen[path] for path in sorted(chosen)]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("count", nargs="?", type=int, default=200, help="changes to try (default 200)")
    parser.add_argument("path", nargs="?", default="src/comm", help="source or folder (default src/comm)")
    parser.add_argument("--build", default=str(ROOT / "build/mutate"), help="with every test of PATH in it")
    parser.add_argument("--seed", type=int, default=1, help="another seed tries other changes (default 1)")
    parser.add_argument("--start", type=int, default=0, help="changes of the seed to leave out first (default 0)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    equivalent = Equivalent()
    stale = list(equivalent.stale())
    for key in stale:
        print("listed as equivalent, but no change of this script: " + " | ".join(key))
    with tempfile.TemporaryDirectory(prefix="orva_mutate.") as folder:
        sys.exit(report(arguments, equivalent, stale, folder))


def report(arguments, equivalent, stale, folder):
    """Tries the changes and prints what becomes of them; the exit status."""
    if arguments.path.startswith(LIBRARY):
        tests = UnitPrograms(arguments.build, folder)
        sources = sources_of(arguments.build, arguments.path, tests.programs)
    else:
        tests = whole.Tests(arguments.build, arguments.path)
        sources = sources_of(arguments.build, arguments.path, [])
    changes = [(source, change) for source in sources for change in changes_of(source.text)]
    random.Random(arguments.seed).shuffle(changes)
    changes = changes[arguments.start:][:arguments.count]
    if not changes:
        sys.exit(f"{arguments.path}: no source of the compile database with a change")
    for source, count in collections.Counter(source for source, _ in changes).items():
        if count >= FEWEST_TO_PRECOMPILE:
            source.precompile(folder)
    counts = {"compiler": 0, "test": 0, "equivalent": 0, "survived": 0}
    printing = threading.Lock()

    def try_change(item):
        source, change = item
        lines = line_change(source.text, change)
        if equivalent.explains(source.name, lines):
            verdict = "equivalent"
        else:
            caught = judge(source, change, tests)
            verdict = "survived" if caught is None else "compiler" if caught == "compiler" else "test"
        with printing:
            counts[verdict] += 1
            if sum(counts.values()) % 50 == 0:
                print(f"tried {sum(counts.values())} of {len(changes)}", flush=True)
            if verdict == "survived":
                line = source.text.count("\n", 0, change[0]) + 1
                print(f"survived: {source.name}:{line}\n  - {lines[0]}\n  + {lines[1]}", flush=True)

    start = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        list(pool.map(try_change, changes))
    each = (time.monotonic() - start) * arguments.jobs / len(changes)
    print(f"{len(changes)} changes: {counts['test']} caught by tests, {counts['compiler']} by the compiler, "
          f"{counts['equivalent']} equivalent, {counts['survived']} survived; {each:.1f} s of one job for each")
    return 1 if counts["survived"] or stale else 0


if __name__ == "__main__":
    main()
