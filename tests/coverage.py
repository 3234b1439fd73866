"""Counts the lines of src/comm that no test reaches and compares with the number in the tree, which may only fall.
usage: coverage.py BUILD_FOLDER"""
import collections
import json
import pathlib
import subprocess
import sys


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    objects = pathlib.Path(sys.argv[1]).resolve() / "src/comm/CMakeFiles/orva_comm_objects.dir"
    limit = int((root / "tests/coverage_limit.txt").read_text())
    data = sorted(objects.glob("*.gcda"))
    if not data:
        sys.exit("no coverage data: build and run the tests of the coverage preset first")
    output = subprocess.run(["gcov", "--json-format", "--stdout", *map(str, data)], check=True,
                            capture_output=True, text=True, cwd=objects).stdout
    # A line counts as reached when any source or any instance of a template reaches it.
    counts = collections.defaultdict(int)
    for report in output.splitlines():
        for file in json.loads(report)["files"]:
            path = pathlib.Path(file["file"])
            if path.is_relative_to(root / "src/comm"):
                for line in file["lines"]:
                    counts[path.name, line["line_number"]] += line["count"]
    uncovered = sorted(where for where, count in counts.items() if count == 0)
    for name, line in uncovered:
        print(f"not reached: src/comm/{name}:{line}")
    print(f"{len(counts)} lines of src/comm, {len(uncovered)} not reached, limit {limit}")
    return 1 if len(uncovered) > limit else 0


sys.exit(main())
