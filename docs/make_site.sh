#!/bin/sh
# Builds the pages and the reference into build/docs, from the project's folder. Warnings are errors.
set -eu
rm -rf build/docs build/diagrams
mkdir -p build/diagrams
for diagram in docs/diagrams/*.dot; do
    dot -Tsvg "$diagram" -o "build/diagrams/$(basename "$diagram" .dot).svg"
done
doxygen docs/Doxyfile
python3 tests/docs/links_test.py --root . --site build/docs
