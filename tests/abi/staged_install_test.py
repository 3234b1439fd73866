"""Installs into scratch folders and builds and runs a small C and a small C++ program against each, with pkg-config and
with find_package: with --prefix, with DESTDIR, and moved after the installation. A program without a platform fails as
the page says."""
import argparse
import fnmatch
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


def check(output, program):
    if output.strip() != "29b1 cbf43926":
        sys.exit(f"{program} printed {output!r}")
    print(f"{program}: {output.strip()}")


def check_pkgconfig(args, stage, scratch):
    libdir = next(path.parent for path in stage.rglob("liborva_comm.so"))
    environment = {**os.environ, "LD_LIBRARY_PATH": str(libdir), "PKG_CONFIG_PATH": str(libdir / "pkgconfig")}
    flags = run(["pkg-config", "--cflags", "--libs", "orva_host_platform"], env=environment).split()
    for compiler, source in ((args.cc, "program.c"), (args.cxx, "program.cpp")):
        program = scratch / f"{stage.name}_{source.replace('.', '_')}"
        run([compiler, pathlib.Path(args.consumer) / source, "-o", program, *flags])
        check(run([program], env=environment, cwd=scratch), program.name)


def fails(command, expected, **options):
    """The command fails, and its messages have each of the expected lines, without folders."""
    result = subprocess.run([str(word) for word in command], text=True, capture_output=True, **options)
    lines = [line.split(": ", 1)[-1].rsplit("/", 1)[-1] for line in result.stderr.splitlines()]
    for wanted in expected:
        if result.returncode == 0 or not fnmatch.filter(lines, wanted):
            sys.exit(f"{' '.join(map(str, command))} -> {result.returncode}, without {wanted!r}\n{result.stderr}")


def check_without_platform(args, stage, scratch):
    """What docs/porting.md says of a program that brings no platform."""
    libdir = next(path.parent for path in stage.rglob("liborva_comm.so"))
    environment = {**os.environ, "LC_ALL": "C", "PKG_CONFIG_PATH": str(libdir / "pkgconfig")}
    flags = run(["pkg-config", "--cflags", "--libs", "orva_comm"], env=environment).split()
    program = scratch / "without_platform"
    link = [args.cc, pathlib.Path(args.consumer) / "without_platform.c", "-o", program, *flags]
    names = ("MIRO_MemAlloc_F", "TOVA_DLog", "drv_board_get_type", "snprintf_s")
    fails(link, [f"liborva_comm.so: undefined reference to `{name}'" for name in names], env=environment)
    run([*link, "-Wl,--allow-shlib-undefined"], env=environment)
    fails([program], ["liborva_comm.so.1: undefined symbol: *"],
          env={**environment, "LD_LIBRARY_PATH": str(libdir)})
    print("without a platform: as docs/porting.md says")


def check_cmake(args, stage, scratch):
    build = scratch / f"{stage.name}_cmake"
    run([args.cmake, "-G", "Ninja", "-S", args.consumer, "-B", build, f"-DCMAKE_PREFIX_PATH={stage}",
         f"-DCMAKE_C_COMPILER={args.cc}", f"-DCMAKE_CXX_COMPILER={args.cxx}"])
    run([args.cmake, "--build", build])
    for program in ("consumer_c", "consumer_cpp"):
        check(run([build / program], cwd=scratch), program)


def check_examples(args, stage, scratch):
    """The unit test among them is built elsewhere, with the kit."""
    build = scratch / "examples"
    run([args.cmake, "-G", "Ninja", "-S", pathlib.Path(args.consumer).parents[2] / "examples", "-B", build,
         f"-DCMAKE_PREFIX_PATH={stage}", f"-DCMAKE_C_COMPILER={args.cc}", f"-DCMAKE_CXX_COMPILER={args.cxx}",
         "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"])
    run([args.cmake, "--build", build])
    print("the examples are built")


def main():
    parser = argparse.ArgumentParser()
    for option in ("build", "consumer", "cmake", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="orva_install_") as name:
        scratch = pathlib.Path(name)
        prefix, destination, moved = scratch / "prefix", scratch / "destination", scratch / "moved"
        run([args.cmake, "--install", args.build, "--prefix", prefix])
        check_pkgconfig(args, prefix, scratch)
        run([args.cmake, "--install", args.build], env={**os.environ, "DESTDIR": str(destination)})
        check_pkgconfig(args, destination, scratch)
        prefix.rename(moved)
        check_pkgconfig(args, moved, scratch)
        check_cmake(args, moved, scratch)
        check_examples(args, moved, scratch)
        check_without_platform(args, moved, scratch)


main()
