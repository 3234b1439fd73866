"""Every public and platform header compiles on its own, as C11 and as C++17; the headers of the test kit compile as C++20
and its interface for C as C11."""
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
    kit = sorted((root / "testing").glob("*.h"))
    include += ["-I", str(root / "testing")]
    c11, cxx17, cxx20 = (args.cc, "c", "c11"), (args.cxx, "c++", "c++17"), (args.cxx, "c++", "c++20")
    languages = {**dict.fromkeys(headers, (c11, cxx17)), **dict.fromkeys(kit, (cxx20,)),
                 root / "testing" / "orva_testing.h": (c11, cxx17)}
    bad = 0
    for header in languages:
        for compiler, language, standard in languages[header]:
            flags = FLAGS + (["-Wstrict-prototypes"] if language == "c" else [])
            source = f'#include "{header.name}"\n#include "{header.name}"\n'
            result = subprocess.run([compiler, f"-x{language}", f"-std={standard}", *flags, *include, "-"],
                                    input=source, text=True, capture_output=True)
            if result.returncode != 0:
                bad += 1
                print(f"{header.name} as {standard}:\n{result.stderr}")
    print(f"{len(languages)} headers, {bad} failures")
    return 1 if bad or len(headers) < 20 or len(kit) < 5 else 0


sys.exit(main())
