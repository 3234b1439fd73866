#!/bin/sh
# A page as doxygen reads it: it knows links to pages, but not to headings of other pages, and no code in titles.
exec sed -E '1s/`//g; s/\]\(([A-Za-z0-9_.-]+\.md)#[^)]*\)/](\1)/g' "$1"
