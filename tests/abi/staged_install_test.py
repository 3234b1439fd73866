"""Installs into a scratch folder and builds and runs a small C and a small C++ program against it, once with
pkg-config and once with find_package."""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile


def run(command, **options):
    result = subprocess.run(command, text=True, capture_output=True, **options)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} -> {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def check(output, program):
    if output.strip() != "29b1 cbf43926":
        sys.exit(f"{program} printed {output!r}")
    print(f"{program}: {output.strip()}")


def main():
    parser = argparse.ArgumentParser()
    for option in ("build", "consumer", "cmake", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    consumer = pathlib.Path(args.consumer)
    with tempfile.TemporaryDirectory(prefix="orva_install_") as scratch:
        stage = pathlib.Path(scratch) / "stage"
        run([args.cmake, "--install", args.build, "--prefix", str(stage)])
        libdir = next(path.parent for path in stage.rglob("liborva_comm.so"))
        environment = {**os.environ, "LD_LIBRARY_PATH": str(libdir),
                       "PKG_CONFIG_PATH": str(libdir / "pkgconfig"), "PKG_CONFIG_ALLOW_SYSTEM_LIBS": "1"}

        # The .pc files name the configured prefix; pkg-config moves it to where they stand.
        flags = run(["pkg-config", f"--define-variable=prefix={stage}", "--cflags", "--libs", "orva_host_platform"],
                    env=environment).split()
        for compiler, source in ((args.cc, "program.c"), (args.cxx, "program.cpp")):
            program = pathlib.Path(scratch) / f"pkgconfig_{source.replace('.', '_')}"
            run([compiler, str(consumer / source), "-o", str(program), *flags])
            check(run([str(program)], env=environment, cwd=scratch), program.name)

        build = pathlib.Path(scratch) / "cmake"
        run([args.cmake, "-G", "Ninja", "-S", str(consumer), "-B", str(build), f"-DCMAKE_PREFIX_PATH={stage}",
             f"-DCMAKE_C_COMPILER={args.cc}", f"-DCMAKE_CXX_COMPILER={args.cxx}"])
        run([args.cmake, "--build", str(build)])
        for program in ("consumer_c", "consumer_cpp"):
            check(run([str(build / program)], env=environment, cwd=scratch), program)


main()
