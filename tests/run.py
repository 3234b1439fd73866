"""Runs the tests of a build folder and says little: one line a group, the skipped with their reasons, a closing line.
What a failed test printed is printed whole.
usage: run.py [--left-out FILE [--no-exec]] [--jobs JOBS_PER_PROCESSOR] [--again] BUILD_FOLDER [CTEST_ARGUMENT...]
--again: a few cases that fail beside others, where an emulator stretches their time, are run once more alone.
FILE names tests that this processor's emulator cannot run; --no-exec: nor can the kernel start its programs."""
import argparse
import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

PROGRESS = re.compile(r"\s*(\d+)/(\d+) Test\s+#\d+: ")
MOST_AGAIN = 5
GTEST_REASON = re.compile(r"^\S.*:\d+: Skipped\n(.*?)\n(?:\n|\[)", re.MULTILINE | re.DOTALL)


def run(build, options):
    """Shows how far the tests are on a terminal and returns the exit code of ctest and the cases."""
    terminal = sys.stdout.isatty()
    results = build / "test_results.xml"
    results.unlink(missing_ok=True)
    command = ["ctest", "--test-dir", str(build), "--no-tests=error", "--test-output-size-failed", "1000000",
               "--output-junit", str(results.resolve()), *options]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, errors="replace") as process:
        for line in process.stdout:
            progress = PROGRESS.match(line)
            if progress and terminal:
                print(f"\r{progress[1]} of {progress[2]}", end="", flush=True)
            elif line.startswith("No tests were found"):
                print(line, end="")
    if terminal:
        print("\r", end="")
    cases = xml.etree.ElementTree.parse(results).getroot().findall("testcase") if results.exists() else []
    return process.returncode, cases


def reason(case):
    output = case.findtext("system-out") or ""
    match = GTEST_REASON.search(output)
    if match:
        return " ".join(match[1].split())
    lines = [line for line in output.splitlines() if line.strip()]
    return lines[-1] if lines else "disabled in this build"


def outcome(case):
    return {"run": "passed", "fail": "failed"}.get(case.get("status"), "skipped")


def print_failed(case, text="failed"):
    print(f"== {text}: {case.get('name')}\n{case.findtext('system-out') or '(it printed nothing)'}")


def report(cases):
    groups = collections.defaultdict(collections.Counter)
    seconds = collections.Counter()
    total = collections.Counter()
    for case in cases:
        group = case.get("name").split(".")[0]
        groups[group][outcome(case)] += 1
        total[outcome(case)] += 1
        seconds[group] += float(case.get("time") or 0)
        if outcome(case) == "failed":
            print_failed(case)
    for group, count in groups.items():
        print(f"{group:8} {count['passed']:5} passed {count['failed']:4} failed {count['skipped']:4} skipped"
              f" {seconds[group]:8.1f} s")
    for case in cases:
        if outcome(case) == "skipped":
            print(f"skipped: {case.get('name')}: {reason(case)}")
    for case in cases:
        if outcome(case) == "failed":
            print(f"failed: {case.get('name')}")
    print(f"{total['passed']} passed, {total['failed']} failed, {total['skipped']} skipped", flush=True)


def left_out(file, no_exec):
    """Rows of FILE that hold here: (regular expression, reason)."""
    rows = []
    for line in pathlib.Path(file).read_text().splitlines() if file else []:
        if line.startswith("#") or not line.strip():
            continue
        pattern, reason_text = line.split(maxsplit=1)
        if pattern.startswith("exec:"):
            pattern = pattern.removeprefix("exec:") if no_exec else None
        if pattern:
            rows.append((pattern, reason_text))
    return rows


def check_rows(build, rows):
    """A row of a test that was renamed would leave out nothing. A build without a group has none of its tests."""
    listed = json.loads(subprocess.run(["ctest", "--test-dir", str(build), "--show-only=json-v1"], check=True,
                                       capture_output=True, text=True).stdout)
    names = [test["name"] for test in listed["tests"]]
    groups = {name.split(".")[0] for name in names}
    for pattern, _ in rows:
        has_group = re.match(r"\^?(\w+)", pattern)[1] in groups
        if has_group and not any(re.search(pattern, name) for name in names):
            sys.exit(f"no test is named {pattern}, which the list of what is left out says")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--left-out")
    parser.add_argument("--no-exec", action="store_true")
    parser.add_argument("--jobs", type=int, default=6)
    parser.add_argument("--again", action="store_true")
    parser.add_argument("build", type=pathlib.Path)
    args, options = parser.parse_known_args()
    rows = left_out(args.left_out, args.no_exec)
    if rows:
        check_rows(args.build, rows)
        options += ["-E", "|".join(pattern for pattern, _ in rows)]
    # Most cases wait for a process or a timer; under an emulator or a sanitizer they compute more.
    jobs = str(args.jobs * len(os.sched_getaffinity(0)))
    code, cases = run(args.build, ["-j", jobs, *options])
    for pattern, reason_text in rows:
        print(f"left out: {pattern}: {reason_text}")
    failed = [case for case in cases if outcome(case) == "failed"]
    if args.again and 0 < len(failed) <= MOST_AGAIN:
        for case in failed:
            print_failed(case, "failed beside others, once more alone")
        code, again = run(args.build, ["--rerun-failed"])
        cases = [case for case in cases if case not in failed] + again
    report(cases)
    return code


sys.exit(main())
