"""Installs into a scratch folder and builds and runs unit tests of users against the installed test kit: the example of
an agent and a C program, once with pkg-config and once with find_package."""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile


def run(command, **options):
    result = subprocess.run([str(word) for word in command], text=True, capture_output=True, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} -> {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def check(agent_test, kit_program):
    output = run([agent_test])
    if "[  PASSED  ] 6 tests." not in output:
        sys.exit(f"{agent_test} printed {output}")
    output = run([kit_program])
    if output != "the kit holds from C\n":
        sys.exit(f"{kit_program} printed {output}")
    print(f"{agent_test.parent.name}: the example and the C program passed")


def main():
    parser = argparse.ArgumentParser()
    for option in ("build", "root", "cmake", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    examples = pathlib.Path(args.root) / "examples"
    consumer = pathlib.Path(args.root) / "tests/abi/kit_consumer"
    with tempfile.TemporaryDirectory(prefix="orva_kit_") as scratch:
        stage = pathlib.Path(scratch) / "stage"
        run([args.cmake, "--install", args.build, "--prefix", stage])
        libdir = next(path.parent for path in stage.rglob("liborva_comm_testing.a"))
        environment = {**os.environ, "PKG_CONFIG_PATH": str(libdir / "pkgconfig")}
        flags = run(["pkg-config", "--cflags", "--libs", "orva_comm_testing"],
                    env=environment).split()
        warnings = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
        by_hand = pathlib.Path(scratch) / "pkgconfig"
        by_hand.mkdir()
        run([args.cxx, "-std=c++20", *warnings, examples / "agent_test.cpp", "-o", by_hand / "agent_test", *flags,
             "-lgtest", "-lgtest_main"])
        run([args.cc, "-std=gnu11", *warnings, consumer / "kit_program.c", "-o", by_hand / "kit_program", *flags])
        check(by_hand / "agent_test", by_hand / "kit_program")

        build = pathlib.Path(scratch) / "cmake"
        run([args.cmake, "-G", "Ninja", "-S", consumer, "-B", build, f"-DCMAKE_PREFIX_PATH={stage}",
             f"-DEXAMPLES={examples}", f"-DCMAKE_C_COMPILER={args.cc}", f"-DCMAKE_CXX_COMPILER={args.cxx}"])
        run([args.cmake, "--build", build])
        check(build / "agent_test", build / "kit_program")


main()
