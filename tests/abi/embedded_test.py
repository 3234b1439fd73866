"""Uses the source tree the two other ways: inside another project with add_subdirectory, where every installed target has
its name, and without the host platform, where the library alone is built: by the very commands that built it here.
usage: embedded_test.py --root ROOT --build BUILD_FOLDER --cmake CMAKE --cc CC --cxx CXX"""
import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

SETTINGS = re.compile(
    r"^CMAKE_(?:BUILD_TYPE|COMPILE_WARNING_AS_ERROR|(?:C|CXX)_(?:COMPILER|COMPILER_LAUNCHER|FLAGS\w*)):\w+=.*$", re.MULTILINE)
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES C CXX)
add_subdirectory("{root}" orva EXCLUDE_FROM_ALL)
foreach(name IN ITEMS {names})
  if(NOT TARGET ${{name}})
    message(FATAL_ERROR "${{name}} is not a target")
  endif()
endforeach()
if(TARGET orva_comm_testing OR CMAKE_BUILD_TYPE)
  message(FATAL_ERROR "the user's build was changed")
endif()
add_executable(user program.c)
target_link_libraries(user PRIVATE orva_comm::orva_comm orva_comm::orva_host_platform)
"""


def run(command):
    result = subprocess.run([str(word) for word in command], text=True, capture_output=True)
    if result.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} -> {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def installed_targets(build):
    text = "".join(path.read_text() for path in pathlib.Path(build).glob("CMakeFiles/Export/**/orva_comm_targets.cmake"))
    names = sorted(set(re.findall(r"add_library\((orva_comm::\w+)", text)))
    if "orva_comm::orva_comm" not in names:
        sys.exit(f"no exported targets in {build}")
    return [name for name in names if name != "orva_comm::orva_comm_testing"]


def library_commands(build):
    """Everything that is run to build the library in a folder, without the folder's name."""
    commands = run(["ninja", "-C", build, "-t", "commands", "orva_comm"]).replace(str(build), "BUILD").splitlines()
    if not any("-shared" in command and "liborva_comm.so" in command for command in commands):
        sys.exit(f"nothing links the library in {build}")
    return commands


def main():
    parser = argparse.ArgumentParser()
    for option in ("root", "build", "cmake", "cc", "cxx"):
        parser.add_argument(f"--{option}", required=True)
    args = parser.parse_args()
    compilers = [f"-DCMAKE_C_COMPILER={args.cc}", f"-DCMAKE_CXX_COMPILER={args.cxx}"]
    with tempfile.TemporaryDirectory(prefix="orva_embedded_") as name:
        scratch = pathlib.Path(name)
        names = installed_targets(args.build)
        (scratch / "CMakeLists.txt").write_text(PROJECT.format(root=args.root, names=" ".join(names)))
        (scratch / "program.c").write_text("int main(void) { return 0; }\n")
        run([args.cmake, "-G", "Ninja", "-S", scratch, "-B", scratch / "embedded", *compilers])
        print("add_subdirectory has " + " ".join(names))

        alone = scratch / "alone"
        settings = SETTINGS.findall((pathlib.Path(args.build) / "CMakeCache.txt").read_text())
        run([args.cmake, "-G", "Ninja", "-S", args.root, "-B", alone, "-DORVA_BUILD_HOST_PLATFORM=OFF",
             *(f"-D{setting}" for setting in settings)])
        for here, there in zip(library_commands(args.build), library_commands(alone), strict=True):
            if here != there:
                sys.exit(f"without the host platform the library is built by\n{there}\nand not by\n{here}")
        print("without the host platform the library is built as with it")


main()
