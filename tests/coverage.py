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
OBJECTS_AT_ONCE = 20


def room_of(name, folder):
    path = (folder / name).resolve()
    if not path.is_relative_to(ROOT):
        return None, None
    relative = path.relative_to(ROOT).as_posix()
    return next((room for room in ROOMS if relative.startswith(room + "/")), None), relative


def notes(build):
    """What gcov reads: every object of the rooms, and of the others those that ran. A function of a header is in many
    objects of a program, and the linker keeps one: that may be the object of a test."""
    for note in sorted(build.rglob("*.gcno")):
        if any(note.is_relative_to(build / room) for room in ROOMS) or note.with_suffix(".gcda").exists():
            yield str(note)


def reports(build):
    """What gcov says of each object, one document at a time."""
    names = list(notes(build))
    for first in range(0, len(names), OBJECTS_AT_ONCE):
        result = subprocess.run(["gcov", "--json-format", "--branch-probabilities", "--stdout",
                                 *names[first:first + OBJECTS_AT_ONCE]], capture_output=True, text=True, cwd=build)
        for line in result.stderr.splitlines():
            if "cannot open data file" not in line:  # an object that never ran: it counts, as not reached
                print(line, file=sys.stderr)
        for line in result.stdout.splitlines():
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
    if not any(counted["lines"]["src/comm"].values()):
        sys.exit("no coverage data: build and run the tests of the coverage preset first")
    allowed = limits()
    over = 0
    for room in ROOMS:
        for kind in ("lines", "branches"):
            all_of = counted[kind][room]
            missed = sorted(where for where, times in all_of.items() if times == 0)
            limit = allowed.get((room, kind))
            if "--list" in sys.argv or (limit is not None and len(missed) > limit):
                for name, number, *branch in missed:
                    print(f"not reached: {name}:{number}" + "".join(f" branch {index}" for index in branch))
            reached = 100 * (1 - len(missed) / len(all_of)) if all_of else 100
            print(f"{room:14} {len(all_of):6} {kind:8} {len(missed):5} not reached ({reached:.1f} % reached)"
                  + ("" if limit is None else f", limit {limit}"))
            over += limit is not None and len(missed) > limit
    return 1 if over else 0


sys.exit(main())
