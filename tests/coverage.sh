#!/usr/bin/env bash
# Counts the lines of src/comm that no test reaches and compares with the number in the tree, which may only fall.
# usage: tests/coverage.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "$1" && pwd)
objects=$build/src/comm/CMakeFiles/orva_comm_objects.dir
limit=$(cat "$root/tests/coverage_limit.txt")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
for data in "$objects"/*.gcda; do
    gcov -o "$objects" "$data" >/dev/null 2>&1 || true
done
uncovered=0
for report in *.cpp.gcov *.h.gcov; do
    grep -q "Source:$root/src/comm/" "$report" || continue
    count=$(grep -c '#####:' "$report" || true)
    uncovered=$((uncovered + count))
    [ "$count" -eq 0 ] || { printf '%s: %s lines\n' "${report%.gcov}" "$count"; grep '#####:' "$report" | head -n 20; }
done
printf 'uncovered lines of src/comm: %s, limit %s\n' "$uncovered" "$limit"
[ "$uncovered" -le "$limit" ]
