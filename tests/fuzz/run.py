"""Runs the fuzz targets of a build, as many at a time as there are processors, and prints for each the executions, how much
of the code that it tries and of the library its corpus reaches, and the findings. New inputs go to a folder of the build;
--minimise adds to the checked-in corpus the few of them that reach other branches."""
import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
FINDINGS = ("crash-*", "leak-*", "timeout-*", "oom-*")
LIBRARY = "src/comm"
# Where the code is that a target tries, when it is not the library.
TRIED = {
    "archive": "platform/host/miro/unzip",
    "archive_name": "platform/host/miro/archive_names",
    "capture_reader": "capture/capture_reader",
    "chassis_http": "chassis/web/",
    "chassis_scenario": "chassis/scenario/",
    "chassis_transport": "chassis/wire/",
    "drv_board": "platform/host/drv_basic/",
    "inspect_encode": "tools/",
    "inspect_input": "tools/",
    "inspect_log": "tools/",
    "log_escape": "platform/host/common/line_text",
}


class Target:
    def __init__(self, program, build):
        self.program = program
        self.subject = program.name.removeprefix("fuzz_")
        self.checked_in = ROOT / "tests/fuzz/corpus" / self.subject
        self.grown = build / "corpora" / self.subject
        self.findings = build / "findings" / self.subject
        for folder in (self.checked_in, self.grown, self.findings):
            folder.mkdir(parents=True, exist_ok=True)

    def run(self, *arguments, profile="/dev/null"):
        environment = {**os.environ, "LLVM_PROFILE_FILE": str(profile)}
        return subprocess.run([str(self.program), *map(str, arguments)], env=environment, capture_output=True,
                              text=True, errors="replace")

    def found(self):
        return sorted(path for pattern in FINDINGS for path in self.findings.glob(pattern))

    def fuzz(self, seconds):
        """Number of executions, and the output when something was found."""
        result = self.run(f"-max_total_time={seconds}", "-print_final_stats=1", "-verbosity=0", "-timeout=20",
                          "-rss_limit_mb=2048", f"-artifact_prefix={self.findings}/", self.grown, self.checked_in)
        executed = re.search(r"number_of_executed_units:\s*(\d+)", result.stderr)
        ended = f"{result.stderr}\nended with {result.returncode}" if result.returncode != 0 else ""
        return int(executed[1]) if executed else 0, ended

    def profile(self, folder):
        self.run("-runs=0", self.grown, self.checked_in, profile=folder / f"{self.subject}-%m.profraw")

    def minimise(self, largest):
        """What is checked in stays, past findings among it; of the rest few that reach other branches come to it."""
        before = set(self.checked_in.iterdir())
        self.run("-merge=1", "-use_counters=0", f"-max_len={largest}", self.checked_in, self.grown)
        for new in set(self.checked_in.iterdir()) - before:
            new.rename(self.checked_in / new.name[:12])


def reached(build, targets, folder, places):
    """For each place, the start of a source's path: its lines that the profiles of a folder reach, and all of them."""
    raw = [str(path) for path in folder.glob("*.profraw")]
    if not raw:
        return [(0, 0) for _ in places]
    merged = folder / "merged.profdata"
    subprocess.run(["llvm-profdata-14", "merge", "-sparse", "-o", merged, *raw], check=True, capture_output=True)
    libraries = {path.resolve() for path in (build / "lib").glob("*.so")}
    objects = [*libraries, *(target.program for target in targets)]
    command = ["llvm-cov-14", "export", "-summary-only", f"-instr-profile={merged}", str(objects[0])]
    for other in objects[1:]:
        command += ["-object", str(other)]
    result = subprocess.run(command, check=True, capture_output=True, text=True)
    files = json.loads(result.stdout)["data"][0]["files"]
    lines = {os.path.relpath(file["filename"], ROOT): file["summary"]["lines"] for file in files}
    return [(sum(of["covered"] for path, of in lines.items() if path.startswith(place)),
             sum(of["count"] for path, of in lines.items() if path.startswith(place))) for place in places]


def percent(place, covered, count):
    return f"{100 * covered / count:5.1f} % of {place.rstrip('/')}" if count else f"nothing of {place}"


def try_out(build, target, seconds, everything):
    """Lines to print; the profile goes to a folder too."""
    executed, output = target.fuzz(seconds)
    places = [place for place in (TRIED.get(target.subject), LIBRARY) if place]
    with tempfile.TemporaryDirectory() as alone:
        target.profile(pathlib.Path(alone))
        figures = reached(build, [target], pathlib.Path(alone), places)
        for raw in pathlib.Path(alone).glob("*.profraw"):
            shutil.copy(raw, everything)
    found = target.found()
    coverage = ", ".join(percent(place, *figure) for place, figure in zip(places, figures))
    lines = [f"{target.subject:17} {executed:11,} executions  {len(found)} findings  {coverage}"]
    lines += [output[-4000:]] if output else []
    lines += [f"  {path}" for path in found]
    return len(found) or bool(output), "\n".join(lines)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--target", default="")
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--minimise", action="store_true")
    parser.add_argument("--largest", type=int, default=4096, help="bytes of an input that is kept by --minimise")
    args = parser.parse_args()
    build = pathlib.Path(args.build).resolve()
    programs = [path for path in sorted((build / "tests/fuzz").glob("fuzz_*"))
                if path.is_file() and os.access(path, os.X_OK)]
    wanted = args.target.removeprefix("fuzz_")
    targets = [target for target in (Target(path, build) for path in programs)
               if wanted in ("", target.subject)]
    if not targets:
        sys.exit(f"no fuzz target is named {args.target}; there are: "
                 + ", ".join(path.name.removeprefix("fuzz_") for path in programs))
    findings = 0
    with tempfile.TemporaryDirectory() as everything, \
            concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found, text in pool.map(lambda target: try_out(build, target, args.seconds, everything), targets):
            findings += found
            print(text, flush=True)
        if args.minimise:
            list(pool.map(lambda target: target.minimise(args.largest), targets))
        total, = reached(build, targets, pathlib.Path(everything), [LIBRARY])
        print(f"all targets: {percent(LIBRARY, *total)}")
    return 1 if findings else 0


sys.exit(main())
