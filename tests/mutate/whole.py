"""The tests of rooms whose programs and libraries are started and loaded: host platform, chassis and tools.

What a changed source is linked into is linked again and lies over the built one while a test runs: in namespaces of the
test's own, so that changes do not meet and nothing is left behind.
"""
import json
import pathlib
import re
import resource
import shlex
import shutil
import subprocess

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
# Mounts its first arguments, up to "--", each over the next, and runs the rest.
MOUNT = """while [ "$1" != -- ]; do mount --bind "$1" "$2"; shift 2; done; shift
mount -t tmpfs tmpfs /tmp; cd "$1"; shift; exec "$@\""""


class Test:
    """A test of CTest's list."""

    def __init__(self, row):
        properties = {entry["name"]: entry["value"] for entry in row.get("properties", [])}
        self.name = row["name"]
        self.command = row["command"]
        self.folder = properties["WORKING_DIRECTORY"]
        self.seconds = 1.0  # of a processor, without a change

    def label(self):
        return f"{' '.join(pathlib.Path(word).name for word in self.command[:2])} {self.name}"

    def passes(self, mounts, folder):
        """Runs it with files mounted over others: {what is covered: with what}."""
        processor = str(10 + int(10 * self.seconds))
        pairs = [str(word) for covered, cover in mounts.items() for word in (cover, covered)]
        return run(["unshare", "--mount", "--ipc", "--pid", "--fork", "--kill-child", "--mount-proc",
                    "prlimit", f"--cpu={processor}", "--fsize=1000000000", "--core=0",
                    "sh", "-ec", MOUNT, "sh", *pairs, "--", self.folder, *self.command], folder)


def processor_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Tests:
    """Tells what becomes of a change of a room."""

    def __init__(self, build, path):
        self.build = pathlib.Path(build).resolve()
        listed = json.loads(subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                                           capture_output=True, text=True).stdout)
        pattern = next((tests for room, tests in ROOMS.items() if path.startswith(room)), None)
        if pattern is None:
            raise SystemExit(f"{path}: below none of {', '.join(ROOMS)}")
        tests = [Test(row) for row in listed["tests"] if "command" in row]
        tests = [test for test in tests if re.search(pattern, f"{test.command[0]} {test.label()}")]
        self.tests = self.passing(tests)
        self.read_links()

    def passing(self, tests):
        """The tests that pass without a change and are not too long, with their time."""
        known = self.build / "mutate_seconds.json"
        newest = (self.build / ".ninja_log").stat().st_mtime
        seconds = json.loads(known.read_text()) if known.exists() and known.stat().st_mtime > newest else {}
        for test in tests:
            if test.name not in seconds:
                start = processor_seconds()
                passed = test.passes({}, self.build)
                seconds[test.name] = processor_seconds() - start if passed else None
                known.write_text(json.dumps(seconds))
        for test in tests:
            test.seconds = seconds[test.name]
            if test.seconds is None or test.seconds > LONGEST_SECONDS:
                print(f"skipped, since it {'fails without a change' if test.seconds is None else 'is long'}: {test.name}")
        return [test for test in tests if test.seconds is not None and test.seconds <= LONGEST_SECONDS]

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
                    words = shlex.split(step)
                    out = words.index("-o")
                    self.links[words[out + 1]] = words[:out] + words[out + 2:]

    def linked_from(self, names):
        """The outputs that objects go into, by themselves or in an archive."""
        parts = names | {archive for archive, members in self.archives.items() if names & set(members)}
        return [output for output, words in self.links.items() if parts & set(words)]

    def link(self, output, names, changed, out):
        linker = ["-fuse-ld=lld"] if shutil.which("ld.lld") else []
        words = [str(changed) if word in names else word for word in self.links[output]]
        if str(changed) not in words:
            words.insert(1, str(changed))  # before the archive that has it
        return subprocess.run([*words, *linker, "-s", "-o", out], cwd=self.build, capture_output=True).returncode == 0

    def catches(self, source, changed, folder):
        """The test that catches a changed object, or None."""
        names = {str(path.relative_to(self.build)) for path in source.objects}
        outputs = self.linked_from(names)
        words = [word for word in re.split(r"[/_.]", source.name) if len(word) > 2]
        hits = {test: sum(word in test.label().lower() for word in words) for test in self.tests}
        mounts = {}
        for test in sorted(self.tests, key=lambda test: (-hits[test], test.seconds)):
            for output in outputs:
                is_needed = not output.startswith("tests/") or test.command[0] == str(self.build / output)
                if is_needed and output not in mounts:
                    mounts[output] = pathlib.Path(folder) / str(len(mounts))
                    if not self.link(output, names, changed, mounts[output]):
                        return "linker"
            if not test.passes({self.build / output: cover for output, cover in mounts.items()}, folder):
                return test.name
        return None
