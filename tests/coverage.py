"""Counts the lines and branches of each room that no test reaches, and compares with the limits in the tree, which may
only fall. A branch that only an exception takes does not count.
usage: coverage.py BUILD_FOLDER [--list]"""
import collections
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROOMS = ("src/comm", "platform/host", "chassis", "tools")


def room_of(name, folder):
    path = (folder / name).resolve()
    if not path.is_relative_to(ROOT):
        return None, None
    relative = path.relative_to(ROOT).as_posix()
    return next((room for room in ROOMS if relative.startswith(room + "/")), None), relative


def reports(build):
    """What gcov says of every object of the rooms that was run, one document at a time."""
    for room in ROOMS:
        for data in sorted((build / room).rglob("*.gcda")):
            output = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout", str(data)],
                                    check=True, capture_output=True, text=True, cwd=build).stdout
            for line in output.splitlines():
                yield json.loads(line)


def count(build):
    """Executions of each line and of each branch, by room. A line counts as reached when any object or any instance of
    a template reaches it; so does a branch, by its position on the line."""
    lines = {room: collections.defaultdict(int) for room in ROOMS}
    branches = {room: collections.defaultdict(int) for room in ROOMS}
    for report in reports(build):
        folder = pathlib.Path(report["current_working_directory"])
        for file in report["files"]:
            room, name = room_of(file["file"], folder)
            if room is None:
                continue
            for line in file["lines"]:
                where = name, line["line_number"]
                lines[room][where] += line["count"]
                for index, branch in enumerate(line["branches"]):
                    if not branch["throw"]:
                        branches[room][(*where, index)] += branch["count"]
    return {"lines": lines, "branches": branches}


def limits():
    rows = [row.split() for row in (ROOT / "tests/coverage_limits.txt").read_text().splitlines()
            if row and not row.startswith("#")]
    return {(room, kind): int(number) for room, kind, number in rows}


def main():
    counted = count(pathlib.Path(sys.argv[1]).resolve())
    if not counted["lines"]["src/comm"]:
        sys.exit("no coverage data: build and run the tests of the coverage preset first")
    allowed = limits()
    over = 0
    for room in ROOMS:
        for kind in ("lines", "branches"):
            all_of = counted[kind][room]
            missed = sorted(where for where, times in all_of.items() if times == 0)
            limit = allowed.get((room, kind))
            if kind == "lines" and ("--list" in sys.argv or (limit is not None and len(missed) > limit)):
                for name, number in missed:
                    print(f"not reached: {name}:{number}")
            reached = 100 * (1 - len(missed) / len(all_of)) if all_of else 100
            print(f"{room:14} {len(all_of):6} {kind:8} {len(missed):5} not reached ({reached:.1f} % reached)"
                  + ("" if limit is None else f", limit {limit}"))
            over += limit is not None and len(missed) > limit
    return 1 if over else 0


sys.exit(main())
