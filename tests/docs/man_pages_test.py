"""The manual pages: mandoc finds nothing to say, each function has an entry, each sub-command of the programs has a page,
and two runs give equal files."""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile


def make(root, folder):
    subprocess.run([sys.executable, root / "docs" / "make_man.py", root, folder], check=True)
    return sorted(pathlib.Path(folder).glob("man*/*"))


def sub_commands(program):
    text = subprocess.run([program, "--help"], text=True, capture_output=True, check=True).stdout
    groups = re.findall(r"^(?!Options)\S[^\n]*:\n((?:  .*\n)+)", text, flags=re.M)
    return [f"{program.name}-{name}" for group in groups for name in re.findall(r"^  ([a-z][a-z-]*) ", group, flags=re.M)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("programs", nargs="*", type=pathlib.Path)
    args = parser.parse_args()
    root = pathlib.Path(args.root)
    problems = []
    with tempfile.TemporaryDirectory() as first, tempfile.TemporaryDirectory() as second:
        pages = make(root, first)
        for page, again in zip(pages, make(root, second), strict=True):
            if page.read_bytes() != again.read_bytes():
                problems.append(f"{page.name}: two runs differ")
        text = "".join(page.read_text() for page in pages)
        names = [name.strip() for name in (root / "abi" / "exports.txt").read_text().splitlines()]
        problems += [f"{name} has no entry" for name in names
                     if name and not name.startswith("g_") and f".It Fn {name}\n" not in text]
        problems += [f"{command} has no page" for program in args.programs for command in sub_commands(program)
                     if command not in {page.stem for page in pages}]
        packaged = "".join(path.read_text() for path in (root / "debian").glob("*.install"))
        problems += [f"{page.name} is in no package" for page in pages
                     if page.suffix == ".7" and f"man7/{page.name}\n" not in packaged]
        if shutil.which("mandoc") is None:
            print("skipped: the check by mandoc, which is not installed")
        else:
            result = subprocess.run(["mandoc", "-T", "lint", *pages], text=True, capture_output=True)
            own = {(page.stem, page.suffix[1:]) for page in pages}
            for line in (result.stdout + result.stderr).splitlines():
                # mandoc searches the machine's manuals for references; these are the pages beside it.
                reference = re.search(r"referenced manual not found: Xr (\S+) (\S+)", line)
                if reference is None or reference.groups() not in own:
                    problems.append(line)
    print("\n".join([*problems, f"{len(pages)} pages, {len(problems)} problems"]))
    return 1 if problems or len(pages) < 15 else 0


sys.exit(main())
