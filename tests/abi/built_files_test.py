"""Reads every program and library of the build folder and of an installation: no run path leads to the working directory,
and installed files carry what makes mistakes harder to exploit.
usage: built_files_test.py --build BUILD_FOLDER --cmake CMAKE --readelf READELF --objdump OBJDUMP --plain yes|no
--plain no leaves the installed files out: instrumented builds have their own rules."""
import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

# C library calls are replaced by name: in the one by its callers' tests, in the other for its callers.
REPLACEABLE_CALLS = {"liborva_comm.so", "libmiro_clock.so"}
LANDING = {"x86_64": ("endbr64",), "aarch64": ("bti\tc", "bti\tjc", "paciasp")}
problems = []


def run(*command):
    return subprocess.run([str(word) for word in command], check=True, text=True, capture_output=True).stdout


def elf_files(folder):
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink() and path.suffix not in (".o", ".a"):
            with path.open("rb") as file:
                if file.read(4) == b"\x7fELF":
                    yield path


def stem(path):
    return re.sub(r"\.so[.\d]*$", ".so", path.name)


def check_run_path(path, dynamic):
    for kind, value in re.findall(r"\((RPATH|RUNPATH)\).*\[(.*)\]", dynamic):
        for element in value.split(":"):
            if not element.startswith(("/", "$ORIGIN")):
                problems.append(f"{path}: {kind} '{value}' has the element '{element}'")


def exported_functions(readelf, path):
    for line in run(readelf, "-W", "--dyn-syms", path).splitlines():
        words = line.split()
        if len(words) >= 8 and words[3] == "FUNC" and words[6] != "UND":
            yield words[7].split("@")[0]


def check_landing(args, path, machine):
    """Every function that another file may call through a pointer starts with a landing mark; in a program, main."""
    exported = set(exported_functions(args.readelf, path))
    wanted = exported or {"main"}
    shown = ["-d"] if exported else ["--disassemble=main"]
    code = run(args.objdump, *shown, "--no-show-raw-insn", path)
    starts = dict(re.findall(r"^[0-9a-f]+ <([\w.]+)>:\n\s*[0-9a-f]+:\s+(.*?)\s*$", code, re.MULTILINE))
    for name in sorted(wanted & starts.keys()):
        if not re.sub(r"\s+", "\t", starts[name]).startswith(LANDING[machine]):
            problems.append(f"{path}: {name} starts with '{starts[name]}'")
    if not wanted & starts.keys():
        problems.append(f"{path}: no function was found")


def check_hardening(args, path):
    header = run(args.readelf, "-W", "-h", "-l", path)
    dynamic = run(args.readelf, "-W", "-d", path)
    machine = "aarch64" if "AArch64" in header else "x86_64"
    if not re.search(r"Type:\s+DYN", header):
        problems.append(f"{path}: not position-independent")
    if "INTERP" in header and "PIE" not in dynamic:
        problems.append(f"{path}: a program that is not PIE")
    if "GNU_RELRO" not in header or not re.search(r"\(FLAGS_1\).*\bNOW\b", dynamic):
        problems.append(f"{path}: not bound at once, or writable afterwards")
    if "TEXTREL" in dynamic or re.search(r"GNU_STACK.*\bRWE\b", header):
        problems.append(f"{path}: writable code or executable stack")
    imports = run(args.readelf, "-W", "--dyn-syms", path)
    if "__stack_chk_fail" not in imports:
        problems.append(f"{path}: no stack protector")
    if not re.search(r"UND __\w+_chk\b", imports) and stem(path) not in REPLACEABLE_CALLS:
        problems.append(f"{path}: no checked call of the C library")
    check_landing(args, path, machine)


def main():
    parser = argparse.ArgumentParser()
    for option in ("build", "cmake", "readelf", "objdump", "plain"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    built = list(elf_files(pathlib.Path(args.build)))
    with tempfile.TemporaryDirectory(prefix="orva_files_") as scratch:
        run(args.cmake, "--install", args.build, "--prefix", scratch)
        installed = list(elf_files(pathlib.Path(scratch)))
        for path in built + installed:
            check_run_path(path, run(args.readelf, "-W", "-d", path))
        if args.plain == "yes":
            for path in installed:
                check_hardening(args, path)
    names = {stem(path) for path in installed}
    if "liborva_comm.so" not in names:
        problems.append("the library is not among the installed files")
    print("\n".join(problems))
    print(f"{len(built)} files built, {len(installed)} installed, {len(problems)} problems")
    return 1 if problems else 0


sys.exit(main())
