"""Runs the fuzz targets of a build and prints for each the executions, how much of the library's code its corpus reaches,
and the findings. New inputs go to a folder of the build; --minimise replaces the checked-in corpus by the smallest set
that reaches as much."""
import argparse
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
FINDINGS = ("crash-*", "leak-*", "timeout-*", "oom-*", "slow-unit-*")


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
        return sorted(path for pattern in FINDINGS[:4] for path in self.findings.glob(pattern))

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
        with tempfile.TemporaryDirectory() as scratch:
            self.run("-merge=1", f"-max_len={largest}", scratch, self.checked_in, self.grown)
            for old in self.checked_in.iterdir():
                old.unlink()
            for new in pathlib.Path(scratch).iterdir():
                shutil.copy(new, self.checked_in / new.name[:12])


def reached(build, targets, folder):
    """Lines of src/comm that the profiles of a folder reach, and all of them."""
    raw = [str(path) for path in folder.glob("*.profraw")]
    if not raw:
        return 0, 0
    merged = folder / "merged.profdata"
    subprocess.run(["llvm-profdata-14", "merge", "-sparse", "-o", merged, *raw], check=True, capture_output=True)
    objects = [*build.rglob("liborva_comm.so"), *(target.program for target in targets)]
    command = ["llvm-cov-14", "export", "-summary-only", f"-instr-profile={merged}", str(objects[0])]
    for other in objects[1:]:
        command += ["-object", str(other)]
    result = subprocess.run([*command, str(ROOT / "src/comm")], check=True, capture_output=True, text=True)
    lines = json.loads(result.stdout)["data"][0]["totals"]["lines"]
    return lines["covered"], lines["count"]


def percent(covered, count):
    return f"{100 * covered / count:5.1f} % of src/comm" if count else "nothing of src/comm"


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
    with tempfile.TemporaryDirectory() as everything:
        for target in targets:
            executed, output = target.fuzz(args.seconds)
            with tempfile.TemporaryDirectory() as alone:
                target.profile(pathlib.Path(alone))
                covered, count = reached(build, [target], pathlib.Path(alone))
                for raw in pathlib.Path(alone).glob("*.profraw"):
                    shutil.copy(raw, everything)
            found = target.found()
            findings += len(found) or bool(output)
            print(f"{target.subject:16} {executed:12,} executions  {percent(covered, count)}  "
                  f"{len(found)} findings", flush=True)
            if output:
                print(output[-4000:])
            for path in found:
                print(f"  {path}")
            if args.minimise:
                target.minimise(args.largest)
        print(f"all targets: {percent(*reached(build, targets, pathlib.Path(everything)))}")
    return 1 if findings else 0


sys.exit(main())
