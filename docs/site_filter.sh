#!/bin/sh
# A page as doxygen reads it: it knows links to pages, but not to headings of other pages.
exec sed -E 's/\]\(([A-Za-z0-9_.-]+\.md)#[^)]*\)/](\1)/g' "$1"
