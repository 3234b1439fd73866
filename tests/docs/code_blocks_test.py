"""Runs the code blocks of a page, in order, in a folder of their own.

- sh: run by bash; what it exports and its working folder stay for the blocks after it.
- console: lines that begin with `$ ` are run, the other lines are their output; a line `...` matches any lines.
- LANGUAGE file=NAME: written to the file.
- c, cpp without a file: compiled. `<!-- given: ... -->` above it declares what the block leaves out.
- text, and blocks without a language: not code; they hold no commands.
`<!-- run by: FILE -->` above a block names the test or script of the project that runs it instead."""
import argparse
import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import tempfile

FENCE = re.compile(r"((?:^<!-- (?:given|run by): .*? -->\n)*)^```([^\n]*)\n(.*?)^```$", flags=re.M | re.S)


class Page:
    def __init__(self, path, args, folder):
        self.path, self.args, self.folder = path, args, folder
        self.state = folder / ".state"
        self.state.write_text("")
        (folder / "build").mkdir()
        (folder / "build" / "release").symlink_to(args.build)
        for room in ("examples", "include", "platform", "testing", "wire", "docs"):
            (folder / room).symlink_to(pathlib.Path(args.root) / room)
        self.problems = []

    def shell(self, command):
        script = (f"set -eu -o pipefail\nset -a\n. {self.state}\nset +a\n{command}\n"
                  f"{{ declare -p PKG_CONFIG_PATH LD_LIBRARY_PATH ORVA_HOST_BOARD PYTHONPATH PWD 2>/dev/null || true; }} "
                  f"| sed 's/^declare -[-x]* //' > {self.state}.new\nmv {self.state}.new {self.state}\n")
        result = subprocess.run(["bash", "-c", script], cwd=self.folder, text=True, capture_output=True, timeout=120)
        return result.returncode, result.stdout, result.stderr

    def problem(self, block, text):
        line = self.path.read_text()[:block.start(2)].count("\n") + 1
        self.problems.append(f"{self.path.name}:{line}: {text}")

    def run_sh(self, block):
        status, out, err = self.shell(block.group(3))
        if status != 0:
            self.problem(block, f"status {status}\n{out}{err}")

    def run_console(self, block):
        steps = re.split(r"^\$ ", block.group(3), flags=re.M)[1:]
        for step in steps:
            lines = step.split("\n")
            count = next(i for i, line in enumerate(lines) if not line.endswith("\\")) + 1
            status, out, err = self.shell("\n".join(lines[:count]))
            expected = [line for line in lines[count:] if line]
            if status != 0 or not matches(out.splitlines(), expected):
                self.problem(block, f"$ {lines[0]}: status {status}, output\n{out}{err}")

    def compile(self, block, language):
        given = "\n".join(re.findall(r"<!-- given: (.*?) -->", block.group(1), flags=re.S))
        code = block.group(3)
        includes = "".join(re.findall(r"^#include.*\n", code, flags=re.M))
        code = re.sub(r"^#include.*\n", "", code, flags=re.M)
        whole = re.search(r"^(?!if|for|while|switch)\w[^;=\n]*\)\s*\{$", code, flags=re.M) is not None
        every = "".join(f'#include "{name}"\n' for name in ("every_header.h", "orva_additions.h"))
        body = code if whole else f"void page_block(void);\nvoid page_block(void) {{\n{code}\n}}\n"
        source = f"{includes}{every}#include <stdio.h>\n#include <string.h>\n{given}\n{body}"
        compiler = [self.args.cxx, "-std=c++20", "-xc++"] if language == "cpp" else [self.args.cc, "-std=gnu11", "-xc"]
        folders = [f"-I{self.args.root}/{room}" for room in
                   ("include", "platform/include", "tests/abi", "testing", "wire", "platform/host/miro",
                    "platform/host/clock", "platform/host/tova", "platform/host/drv_basic")]
        result = subprocess.run([*compiler, "-fsyntax-only", "-Wall", "-Wno-unused", *folders, "-"],
                                input=source, text=True, capture_output=True)
        if result.returncode != 0 or "warning" in result.stderr:
            self.problem(block, f"does not compile\n{result.stderr}")

    def run(self, block):
        language, _, name = block.group(2).strip().partition(" file=")
        run_by = re.search(r"<!-- run by: (.*?) -->", block.group(1))
        if run_by:
            if not (pathlib.Path(self.args.root) / run_by.group(1)).exists():
                self.problem(block, f"no such file: {run_by.group(1)}")
        elif name:
            (self.folder / name).write_text(block.group(3))
        elif language == "sh":
            self.run_sh(block)
        elif language == "console":
            self.run_console(block)
        elif language in ("c", "cpp"):
            self.compile(block, language)
        elif language not in ("", "text"):
            self.problem(block, f"nothing runs a block of {language}")
        elif re.search(r"^\$ ", block.group(3), flags=re.M):
            self.problem(block, "a command in a block that is not run: make it a console block")


def matches(lines, pattern):
    if not pattern:
        return not lines
    if pattern[0] == "...":
        return any(matches(lines[i:], pattern[1:]) for i in range(len(lines) + 1))
    return bool(lines) and (lines[0] == pattern[0] or fnmatch.fnmatchcase(lines[0], pattern[0].replace("...", "*"))) \
        and matches(lines[1:], pattern[1:])


def main():
    parser = argparse.ArgumentParser()
    for option in ("root", "build", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("pages", nargs="+")
    args = parser.parse_args()
    os.environ["PATH"] = f"{args.build}/tools:{args.build}/chassis:/usr/bin:{os.environ['PATH']}"
    os.environ["PYTHONDONTWRITEBYTECODE"] = "1"
    problems, blocks = [], 0
    for name in args.pages:
        path = pathlib.Path(args.root) / name
        with tempfile.TemporaryDirectory() as folder:
            page = Page(path, args, pathlib.Path(folder))
            for block in FENCE.finditer(path.read_text()):
                blocks += 1
                page.run(block)
            problems += page.problems
    print("\n".join([*problems, f"{len(args.pages)} pages, {blocks} blocks, {len(problems)} problems"]))
    return 1 if problems else 0


sys.exit(main())
