"""The tests of rooms whose programs and libraries are started and loaded: host platform, chassis and tools.

What a changed source is linked into is linked again and lies over the built one while a test runs: in namespaces of the
test's own, so that changes do not meet and nothing is left behind.
"""
import collections
import json
import pathlib
import re
import resource
import shlex
import subprocess
import tempfile
import threading
import time

from runs import run

# The tests of a room, by program and name. The first row that fits a path holds.
ROOMS = {
    "chassis": r"chassis",
    "tools/board": r"orva_board",
    "tools/port_check": r"port_check",
    "tools": r"inspect",
    "platform/host": r"/system_(?!chassis|orva_inspect|orva_board)",
}
LONGEST_SECONDS = 10  # of a processor
LONGEST_WALL_SECONDS = 20
CASES_AT_ONCE = 40
# Mounts its first arguments, up to "--", each over the next, and runs the script that comes last.
MOUNT = """while [ "$1" != -- ]; do mount --bind "$1" "$2"; shift 2; done
mount -t tmpfs tmpfs /tmp; eval "$2\""""


class Test:
    """A test of CTest's list."""

    def __init__(self, row):
        properties = {entry["name"]: entry["value"] for entry in row.get("properties", [])}
        self.name = row["name"]
        self.command = row["command"]
        self.folder = properties["WORKING_DIRECTORY"]
        self.seconds = 1.0  # of a processor, without a change
        self.wall_seconds = 2.0  # the same by the clock

    def label(self):
        return f"{' '.join(pathlib.Path(word).name for word in self.command[:2])} {self.name}"

    def script(self):
        """Prints its name and runs it. One that is skipped has not passed: a change may be why."""
        limited = ["prlimit", f"--cpu={3 + int(5 * self.seconds)}", "--fsize=1000000000", "--core=0", *self.command]
        return (f"rm -rf /tmp/*; echo {shlex.quote(self.name)}; cd {shlex.quote(self.folder)}; "
                f"{{ {shlex.join(limited)} >/tmp/out 2>&1 && ! grep -qF '[  SKIPPED ]' /tmp/out; }} || exit 1")


def first_failing(tests, mounts, folder):
    """Runs tests one after the other, with files mounted over others ({what is covered: with what}); the name of the first
    that fails, or None."""
    pairs = [str(word) for covered, cover in mounts.items() for word in (cover, covered)]
    longest_sleep = 5 + int(3 * max(test.wall_seconds for test in tests))
    with tempfile.TemporaryFile() as names:
        passed = run(["unshare", "--mount", "--ipc", "--pid", "--fork", "--kill-child", "--mount-proc", "setsid", "sh", "-ec",
                      MOUNT, "sh", *pairs, "--", "\n".join(test.script() for test in tests)], folder, longest_sleep, names)
        names.seek(0)
        return None if passed else (names.read().decode().splitlines() or ["mount"])[-1]


def processor_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Tests:
    """Tells what becomes of a change of a room."""

    def __init__(self, build, path):
        self.build = pathlib.Path(build).resolve()
        listed = json.loads(subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                                           capture_output=True, text=True).stdout)
        if not any(path.startswith(room) for room in ROOMS):
            raise SystemExit(f"{path}: below none of {', '.join(ROOMS)}")
        self.tests = [Test(row) for row in listed["tests"] if "command" in row]
        self.times = self.build / "mutate_seconds.json"
        newest = (self.build / ".ninja_log").stat().st_mtime
        is_newer = self.times.exists() and self.times.stat().st_mtime > newest
        self.known = json.loads(self.times.read_text()) if is_newer else {}
        self.measuring = threading.Lock()
        for test in list(self.tests):
            if test.name in self.known:
                self.take_time(test)
        self.caught = collections.Counter()  # by source and test
        self.read_links()

    def passes_unchanged(self, test):
        """Only such a test can prove something. It is run without a change once, when it first fails with one."""
        with self.measuring:
            if test.name not in self.known:
                start, wall_start = processor_seconds(), time.monotonic()
                failed = first_failing([test], {}, self.build)
                self.known[test.name] = [processor_seconds() - start, time.monotonic() - wall_start, failed is None]
                self.times.write_text(json.dumps(self.known))
            return self.take_time(test)

    def take_time(self, test):
        test.seconds, test.wall_seconds, passes = self.known[test.name]
        is_long = test.seconds > LONGEST_SECONDS or test.wall_seconds > LONGEST_WALL_SECONDS
        if test in self.tests and (is_long or not passes):
            print(f"skipped, since it {'is long' if passes else 'fails without a change'}: {test.name}", flush=True)
            self.tests = [other for other in self.tests if other is not test]
        return passes and not is_long

    def read_links(self):
        """What is linked from what: self.links[output] are the words of its command, self.archives the members."""
        lines = subprocess.run(["ninja", "-C", self.build, "-t", "commands", "all"], check=True, text=True,
                               capture_output=True).stdout.splitlines()
        self.links = {}
        self.archives = {}
        for line in lines:
            for step in line.split(" && "):
                if re.match(r"\S*ar qc ", step):
                    words = shlex.split(step)
                    self.archives[words[2]] = words[3:]
                elif re.match(r"\S*(c\+\+|cc) ", step) and " -o " in step and " -c " not in step:
                    words = shlex.split(step.replace(r"\$", "$"))
                    out = words.index("-o")
                    self.links[words[out + 1]] = words[:out] + words[out + 2:]

    def linked_from(self, names):
        """The outputs that objects go into, by themselves or in an archive."""
        parts = names | {archive for archive, members in self.archives.items() if names & set(members)}
        return [output for output, words in self.links.items() if parts & set(words)]

    def link(self, output, names, changed, out):
        words = [str(changed) if word in names else word for word in self.links[output]]
        if str(changed) not in words:
            words.insert(1, str(changed))  # before the archive that has it
        return subprocess.run([*words, "-s", "-o", out], cwd=self.build, capture_output=True).returncode == 0

    def in_order(self, source):
        """The tests in groups of one program: first what caught a change of this source, then what is named like it."""
        pattern = next(tests for room, tests in ROOMS.items() if source.name.startswith(room))
        words = [word for word in re.split(r"[/_.]", source.name) if len(word) > 2]

        def rank(test):
            return -self.caught[source.name, test.name], -sum(word in test.label().lower() for word in words), test.seconds

        groups = collections.defaultdict(list)
        named = [test for test in self.tests if re.search(pattern, f"{test.command[0]} {test.label()}")]
        for test in sorted(named, key=rank):
            program = "caught before" if self.caught[source.name, test.name] else test.command[0]
            groups[program].append(test)
        for tests in groups.values():
            for first in range(0, len(tests), CASES_AT_ONCE):
                yield tests[first:first + CASES_AT_ONCE]

    def catches(self, source, changed, folder):
        """The test that catches a changed object, or None."""
        names = {str(path.relative_to(self.build)) for path in source.objects}
        outputs = self.linked_from(names)
        mounts = {}
        for tests in self.in_order(source):
            programs = {test.command[0] for test in tests}
            for output in outputs:
                is_needed = not output.startswith("tests/") or str(self.build / output) in programs
                if is_needed and output not in mounts:
                    mounts[output] = pathlib.Path(folder) / str(len(mounts))
                    if not self.link(output, names, changed, mounts[output]):
                        return "linker"
            covers = {self.build / output: cover for output, cover in mounts.items()}
            while tests and (failed := first_failing(tests, covers, folder)):
                position = next((i for i, test in enumerate(tests) if test.name == failed), None)
                # Twice: a busy machine may fail a test once.
                if position is None or (self.passes_unchanged(tests[position]) and
                                        first_failing([tests[position]], covers, folder)):
                    self.caught[source.name, failed] += 1
                    return failed
                tests = tests[position + 1:]
        return None
