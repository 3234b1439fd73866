"""Every public and platform header compiles on its own, as C11 and as C++17."""
import argparse
import pathlib
import subprocess
import sys

FLAGS = ["-Wall", "-Wextra", "-Wconversion", "-Wshadow", "-Wpedantic", "-Werror", "-fsyntax-only"]


def main():
    parser = argparse.ArgumentParser()
    for option in ("root", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    root = pathlib.Path(args.root)
    include = ["-I", str(root / "include"), "-I", str(root / "platform" / "include")]
    headers = sorted((root / "include").glob("*.h")) + sorted((root / "platform" / "include").glob("*.h"))
    bad = 0
    for header in headers:
        for compiler, language, standard in ((args.cc, "c", "c11"), (args.cxx, "c++", "c++17")):
            flags = FLAGS + (["-Wstrict-prototypes"] if language == "c" else [])
            source = f'#include "{header.name}"\n#include "{header.name}"\n'
            result = subprocess.run([compiler, f"-x{language}", f"-std={standard}", *flags, *include, "-"],
                                    input=source, text=True, capture_output=True)
            if result.returncode != 0:
                bad += 1
                print(f"{header.name} as {standard}:\n{result.stderr}")
    print(f"{len(headers)} headers, {bad} failures")
    return 1 if bad or len(headers) < 20 else 0


sys.exit(main())
