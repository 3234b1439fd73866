"""Runs whole programs with their n-th allocation and their n-th system call failing, n from 1 until a run in which nothing
failed. After each run: no crash, no hang, an exit status that is true, a message when it is not 0, and nothing left
behind: no process, no message queue, no file that an undisturbed run does not leave."""
import argparse
import concurrent.futures
import ctypes
import dataclasses
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zipfile

HANG_SECONDS = 60
PR_SET_CHILD_SUBREAPER = 36
CLONE_NEWIPC, CLONE_NEWNS = 0x08000000, 0x00020000
MS_REC, MS_PRIVATE = 0x4000, 0x40000
FAILED = 1


@dataclasses.dataclass
class Program:
    name: str
    command: list
    prepare: object = lambda folder: None
    environment: dict = dataclasses.field(default_factory=dict)
    stdin: bytes = b""
    short: int = 20  # faults of each kind in the short form; 0 leaves the program out of it
    most: int | None = None  # faults of each kind in the long form; None: all
    same: bool = True  # whether a run that says success writes what an undisturbed run writes


@dataclasses.dataclass
class Run:
    status: int  # negative for a signal, None for a hang
    output: bytes
    errors: bytes
    left: set
    count: int
    failed: str


def queues():
    return pathlib.Path("/proc/sysvipc/msg").read_text().splitlines()[1:]


def shared_memory():
    return {path.name for path in pathlib.Path("/dev/shm").iterdir()}


def reap_strays():
    """Processes that a run left to this one; ended here."""
    strays = []
    deadline = time.monotonic() + 2
    while True:
        try:
            pid, _ = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return strays
        if pid != 0:
            continue
        if time.monotonic() < deadline:
            time.sleep(0.005)
            continue
        children = pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()
        for child in map(int, children):
            strays.append(pathlib.Path(f"/proc/{child}/cmdline").read_bytes().replace(b"\0", b" ").decode())
            os.kill(child, signal.SIGKILL)
            os.waitpid(child, 0)


class Harness:
    def __init__(self, preload, scratch):
        self.preload = preload
        self.scratch = pathlib.Path(scratch)
        self.state = self.scratch / "state"

    def run(self, program, kind, nth):
        folder = self.scratch / "run"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        program.prepare(folder)
        self.state.write_bytes(bytes(64))
        environment = {**os.environ, **program.environment, "LD_PRELOAD": self.preload.name,
                       "LD_LIBRARY_PATH": str(self.preload.parent), "TMPDIR": str(folder),
                       "ORVA_FAULT_KIND": kind, "ORVA_FAULT_NTH": str(nth), "ORVA_FAULT_STATE": str(self.state)}
        memory = shared_memory()
        child = subprocess.Popen(program.command, cwd=folder, env=environment, stdin=subprocess.PIPE,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)
        try:
            output, errors = child.communicate(program.stdin, timeout=HANG_SECONDS)
            status = child.returncode
        except subprocess.TimeoutExpired:
            os.killpg(child.pid, signal.SIGKILL)
            output, errors = child.communicate()
            status = None
        left = {str(path.relative_to(folder)) for path in folder.rglob("*")}
        left |= {f"process {name}" for name in reap_strays()}
        # Where ftok fails, the library uses the queue of the key -1, which is no process's own and stays.
        left |= {f"queue {line.split()[1]}" for line in queues() if line.split()[0] != "-1"}
        left |= {f"shared memory {name}" for name in shared_memory() - memory}
        for line in queues():
            subprocess.run(["ipcrm", "-q", line.split()[1]], check=False)
        count, failed = struct.unpack("Q56s", self.state.read_bytes())
        return Run(status, output, errors, left, count, failed.rstrip(b"\0").decode())


def faults_of(program, run, reference):
    """What is wrong with a run, as words."""
    if run.status is None:
        return ["hangs"]
    wrong = []
    if run.status < 0 or run.status >= 128:
        wrong.append(f"crashes with {run.status}")
    elif run.status == 0 and program.same and run.output != reference.output:
        wrong.append("says success, but its output is another")
    elif run.status != 0 and not run.errors.strip():
        wrong.append(f"ends with {run.status} without a message")
    # A folder that the program says it keeps is not left behind.
    left = {name for name in run.left - reference.left if name.split("/")[0].encode() not in run.errors}
    if left:
        wrong.append("leaves " + ", ".join(sorted(left)))
    return wrong


def numbers(count, most):
    """Which faults are tried: all, or the first ones and others spread over the rest."""
    if most is None or count <= most:
        return range(1, count + 1)
    dense = most // 2
    step = (count - dense) / (most - dense)
    return sorted({*range(1, dense + 1), *(dense + round(step * i) for i in range(1, most - dense + 1))})


def try_program(harness, program, short):
    bad = tried = 0
    for kind in ("alloc", "call"):
        reference = harness.run(program, kind, 0)
        if reference.status != 0:
            print(f"{program.name}: undisturbed it ends with {reference.status}\n{reference.errors.decode()}")
            return 1
        what = "allocations" if kind == "alloc" else "system calls"
        if reference.count == 0:
            print(f"{program.name}: no {what} were seen: {harness.preload} is not in the way of them")
            return 1
        survived = 0
        chosen = numbers(reference.count, program.short if short else program.most)
        for nth in chosen:
            run = harness.run(program, kind, nth)
            if not run.failed:
                continue  # this run made fewer calls
            tried += 1
            survived += run.status == 0
            wrong = faults_of(program, run, reference)
            if wrong:
                bad += 1
                print(f"{program.name}: {kind} {nth} ({run.failed}): {'; '.join(wrong)}")
                print("  " + run.errors.decode(errors="replace").strip().replace("\n", "\n  ")[-600:])
        print(f"{program.name}: {reference.count} {what}, {len(chosen)} of them failing, {survived} failures absorbed",
              flush=True)
    print(f"{program.name}: {tried} runs, {bad} wrong", flush=True)
    return bad


def write_archive(folder):
    with zipfile.ZipFile(folder / "archive.zip", "w") as archive:
        archive.writestr("a/b.txt", "text")
        archive.writestr("c.txt", "more text")


def prepare_host(folder):
    (folder / "logs").mkdir()
    (folder / "unpacked").mkdir()
    (folder / "orva_agent").write_text("")
    (folder / "board.toml").write_text((ROOT / "platform/host/drv_basic/boards/main_board.toml").read_text())
    write_archive(folder)


def prepare_inspect(folder):
    (folder / "block").write_bytes((ROOT / "tests/fuzz/corpus/tlv_decode/temp_a").read_bytes()[1:])
    (folder / "log").write_text("[0x1:1] name: 01 02 03\n" * 3)
    (folder / "document").write_text('{"record": "delay", "delayFlag": 1, "delayTime": 3600}')


def programs(build):
    inspect = build / "tools/orva-inspect"
    found = [Program("host_program", [build / "tests/faults/fault_host_program"], prepare_host,
                     {"ORVA_HOST_LOG_DIR": "logs"})]
    if inspect.exists():
        found += [
            Program("orva-inspect code", [inspect, "code", "0x182000B"]),
            Program("orva-inspect tlv", [inspect, "tlv", "--binary", "--json", "block"], prepare_inspect),
            Program("orva-inspect packet", [inspect, "packet", "log"], prepare_inspect),
            Program("orva-inspect message", [inspect, "message", "--binary", "--family", "SoNameReq", "block"], prepare_inspect),
            Program("orva-inspect encode", [inspect, "encode", "document"], prepare_inspect),
            Program("orva-inspect log", [inspect, "log", "--json", "log"], prepare_inspect),
            Program("orva-inspect to-pcap", [inspect, "to-pcap", "log", "-"], prepare_inspect),
            Program("orva-inspect crc", [inspect, "crc", "-"], stdin=b"123456789"),
        ]
    chassis = build / "chassis/orva-chassis"
    if chassis.exists():
        found += [
            Program("orva-chassis check", [chassis, "check", "example"], short=12),
            # Its processes take turns as they like, so two runs do not write the same. A run takes too long for all.
            Program("orva-chassis run", [chassis, "run", "killed", "--time", "virtual", "--boards", "2"], short=0,
                    most=60, same=False),
        ]
    return found


ROOT = pathlib.Path(__file__).resolve().parents[2]


def try_alone(name):
    """Tries one program in a process of its own, which has message queues and strays of its own."""
    return subprocess.run([sys.executable, __file__, *sys.argv[1:], name], stdout=subprocess.PIPE, text=True, check=False)


def try_each(names):
    """One program for each processor at a time."""
    codes = []
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as workers:
        for result in workers.map(try_alone, names):
            print(result.stdout, end="", flush=True)
            codes.append(result.returncode)
    return next((code for code in codes if code not in (0, 77)), max(codes))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--short", action="store_true", help="some faults of each program")
    parser.add_argument("program", nargs="?", default="", help="only programs whose name begins so")
    args = parser.parse_args()
    build = pathlib.Path(args.build).resolve()
    if not args.program:
        return try_each([program.name for program in programs(build) if not (args.short and program.short == 0)])
    # Queues and shared memory of its own, so that what is left is this run's; strays become children of this process.
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWIPC | CLONE_NEWNS) != 0 or \
            libc.mount(None, b"/", None, MS_REC | MS_PRIVATE, None) != 0 or \
            libc.mount(b"tmpfs", b"/dev/shm", b"tmpfs", 0, None) != 0:
        print("skipped, the kernel refuses namespaces for message queues and mounts")
        return 77
    libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    wrong = tried = 0
    with tempfile.TemporaryDirectory(prefix="orva_faults_") as scratch:
        harness = Harness(build / "tests/faults/libfail_nth.so", scratch)
        for program in programs(build):
            if program.name.startswith(args.program):
                wrong += try_program(harness, program, args.short)
                tried += 1
    if tried == 0:
        sys.exit(f"no program is named {args.program}")
    return FAILED if wrong else 0


sys.exit(main())
