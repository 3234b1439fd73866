"""Drives ./dev in a copy of its own, with stand-ins for the programs that it starts.
usage: dev_test.py ROOT"""
import contextlib
import fcntl
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
RECORDER = """#!/bin/sh
echo "$(basename "$0") $*" >>"$DEV_TEST_CALLS"
[ ! -e /proc/self/fd/9 ] || echo "lock inherited" >>"$DEV_TEST_CALLS"
"""


class Tree(unittest.TestCase):
    """A copy of ./dev, and stand-ins for what it calls."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="orva dev ")
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name).resolve()
        self.tree = self.scratch / "a tree"
        (self.tree / "tests").mkdir(parents=True)
        shutil.copy(ROOT / "dev", self.tree)
        (self.tree / "tests/run.py").touch()
        self.calls = self.scratch / "calls"
        self.calls.touch()
        self.stand_in("cmake", RECORDER)
        self.stand_in("python3", RECORDER)
        self.stand_in("apt-get", RECORDER + "echo \"apt-get says $1\"\n")
        self.stand_in("id", "#!/bin/sh\necho 0\n")
        self.packages("installed")
        self.environment = {**os.environ, "PATH": f"{self.scratch}:{os.environ['PATH']}",
                            "DEV_TEST_CALLS": str(self.calls)}
        self.environment.pop("TMPDIR", None)

    def stand_in(self, name, text):
        path = self.scratch / name
        path.write_text(text)
        path.chmod(0o755)

    def packages(self, state):
        self.stand_in("dpkg-query", f'#!/bin/sh\nfor name; do echo "$name:all {state}"; done\n')

    def dev(self, *arguments, program=None, expected=0, **variables):
        result = subprocess.run([str(program or self.tree / "dev"), *arguments], text=True, capture_output=True,
                                stdin=subprocess.DEVNULL, cwd=self.scratch, env={**self.environment, **variables})
        self.assertEqual(result.returncode, expected, result.stdout + result.stderr)
        return result.stdout + result.stderr

    def called(self):
        return self.calls.read_text()


class Commands(Tree):
    def test_builds_and_tests_the_release(self):
        self.dev("test")
        self.assertIn("cmake -B build/release --preset release", self.called())
        self.assertIn("cmake --build build/release", self.called())
        self.assertIn("python3 tests/run.py build/release", self.called())
        self.assertNotIn("lock inherited", self.called())

    def test_works_through_a_symbolic_link(self):
        link = self.scratch / "link"
        link.symlink_to(self.tree / "dev")
        self.dev("test", program=link)
        self.assertIn("cmake -B build/release", self.called())
        self.assertTrue((self.tree / "build").is_dir())

    def test_a_second_one_says_that_it_waits(self):
        (self.tree / "build").mkdir()
        with contextlib.ExitStack() as stack:
            held = stack.enter_context(open(self.tree / "build/.release.lock", "w", encoding="ascii"))
            fcntl.flock(held, fcntl.LOCK_EX)
            process = stack.enter_context(subprocess.Popen([str(self.tree / "dev"), "test"], text=True,
                                                           stdout=subprocess.PIPE, env=self.environment))
            self.assertIn("another ./dev is using build/release: waiting", process.stdout.readline())
            self.assertEqual(self.called(), "")
            fcntl.flock(held, fcntl.LOCK_UN)
            process.communicate()
            self.assertEqual(process.returncode, 0)
        self.assertIn("cmake --build", self.called())

    def test_a_tree_that_was_moved_is_made_again(self):
        folder = self.tree / "build/release"
        folder.mkdir(parents=True)
        (folder / "CMakeCache.txt").write_text("CMAKE_HOME_DIRECTORY:INTERNAL=/somewhere else\n")
        self.assertIn("build/release was made for /somewhere else: making it again", self.dev("test"))
        self.assertFalse(folder.exists())

    def test_a_tree_that_stayed_is_kept(self):
        folder = self.tree / "build/release"
        folder.mkdir(parents=True)
        (folder / "CMakeCache.txt").write_text(f"CMAKE_HOME_DIRECTORY:INTERNAL={self.tree}\n")
        self.assertNotIn("making it again", self.dev("test"))
        self.assertTrue((folder / "CMakeCache.txt").exists())

    def test_shows_what_apt_does(self):
        self.packages("absent")
        output = self.dev("test")
        self.assertIn("apt-get says update", output)
        self.assertIn("apt-get says install", output)

    def test_names_an_unusable_temporary_folder(self):
        file = self.scratch / "a file"
        file.touch()
        for value, problem in (("relative", "is not an absolute path"), ("/no/such folder", "is not a folder"),
                               (str(file), "is not a folder")):
            self.assertIn(f"TMPDIR={value} {problem}", self.dev("test", expected=1, TMPDIR=value))
        self.assertEqual(self.called(), "")

    def test_an_empty_temporary_folder_counts_as_unset(self):
        self.dev("test", TMPDIR="")
        self.assertIn("cmake --build", self.called())

    def test_refuses_an_unknown_command_and_preset(self):
        self.assertIn("unknown command: nothing", self.dev("nothing", expected=2))
        self.assertIn("unknown preset: nothing", self.dev("test", "nothing", expected=2))


class Release(Tree):
    """A tree that is ready for 1.2.3, and each thing that makes it not so."""

    def setUp(self):
        super().setUp()
        self.write("CMakeLists.txt", "project(orva_comm VERSION 1.2.3 LANGUAGES C CXX)\n")
        self.write("CHANGELOG.md", "# Changelog\n\n## 1.2.3\n\n- A change.\n\n## 1.2.2\n")
        self.write("debian/changelog", "orva-comm (1.2.3) unstable; urgency=medium\n")
        self.write("abi/x86_64.abi", "the record\n")
        self.write("abi/aarch64.abi", "the record\n")
        self.write("docs/make_site.sh", RECORDER, 0o755)
        self.write("tests/package_test.sh", RECORDER, 0o755)
        self.write(".gitignore", "build/\n")
        self.git("init", "-q")
        self.commit()
        self.stand_in("abidw", RECORDER + "while [ \"$1\" != --out-file ]; do shift; done\nmkdir -p \"${2%/*}\"\n"
                      "echo the record >\"$2\"\n")
        self.stand_in("abidiff", RECORDER)
        self.stand_in("dpkg-buildpackage", RECORDER + "echo a package >../a.deb\ntouch ../a.changes\n")
        self.stand_in("lintian", RECORDER)

    def write(self, name, text, mode=0o644):
        path = self.tree / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
        path.chmod(mode)

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@b", *arguments], cwd=self.tree, check=True,
                       stdout=subprocess.DEVNULL)

    def commit(self):
        self.git("add", "-A")
        self.git("commit", "-qm", "a")

    def refused(self, *problems):
        output = self.dev("release", "1.2.3", expected=1)
        for problem in problems:
            self.assertIn(f"not ready: {problem}", output)
        self.assertEqual(self.called(), "")

    def test_what_is_ready_is_tested_built_and_packaged(self):
        self.assertIn("ready: git tag -a v1.2.3", self.dev("release", "1.2.3"))
        for step in ("python3 tests/run.py build/release", "abidiff", "make_site.sh", "dpkg-buildpackage -us -uc -b",
                     "dpkg-buildpackage -us -uc -aarm64 -B -d", "lintian", "package_test.sh"):
            self.assertIn(step, self.called())

    def test_a_version_is_three_numbers(self):
        for version in ("", "1.2", "v1.2.3", "1.2.3-rc1"):
            self.assertIn("a version is three numbers", self.dev("release", version, expected=2))

    def test_every_place_names_the_version(self):
        self.write("CMakeLists.txt", "project(orva_comm VERSION 1.2.2 LANGUAGES C CXX)\n")
        self.write("CHANGELOG.md", "# Changelog\n\n## 1.2.2\n")
        self.write("debian/changelog", "orva-comm (1.2.2) unstable; urgency=medium\n")
        self.commit()
        self.refused("CMakeLists.txt names another version", "CHANGELOG.md does not begin with 1.2.3",
                     "debian/changelog does not begin with 1.2.3")

    def test_a_version_without_changes_is_refused(self):
        self.write("CHANGELOG.md", "# Changelog\n\n## 1.2.3\n\n## 1.2.2\n\n- A change.\n")
        self.commit()
        self.refused("CHANGELOG.md says nothing of 1.2.3")

    def test_changes_that_are_not_committed_are_refused(self):
        self.write("new", "")
        self.refused("the working tree has changes")

    def test_a_tag_that_exists_is_refused(self):
        self.git("tag", "v1.2.3")
        self.refused("the tag v1.2.3 exists")

    def test_a_step_that_fails_stops_it(self):
        for program, output in (("abidiff", "the binary interface changed"), ("lintian", "lintian"),
                                ("dpkg-buildpackage", "packages for amd64")):
            with self.subTest(program):
                before = (self.scratch / program).read_text()
                self.stand_in(program, "#!/bin/sh\nexit 1\n")
                self.assertIn(output, self.dev("release", "1.2.3", expected=1))
                self.stand_in(program, before)

    def test_packages_that_differ_the_second_time_stop_it(self):
        self.stand_in("dpkg-buildpackage", RECORDER + "pwd >../a.deb\ntouch ../a.changes\n")
        self.assertIn("a.deb differ", self.dev("release", "1.2.3", expected=1))


RESULTS = """<testsuite>
<testcase name="unit.A.b" time="1.5" status="run"><system-out>fine</system-out></testcase>
<testcase name="unit.A.c" time="0" status="fail"><system-out>expected 1</system-out></testcase>
<testcase name="system.A.d" time="0" status="notrun"><system-out>[ RUN      ] A.d
/x/a_test.cpp:7: Skipped
no kernel
for this

[  SKIPPED ] A.d (0 ms)
</system-out></testcase>
</testsuite>"""


AGAIN = """<testsuite>
<testcase name="unit.A.c" time="2" status="run"><system-out>fine now</system-out></testcase>
</testsuite>"""


class Report(unittest.TestCase):
    def report(self, *options, status_again=0):
        with tempfile.TemporaryDirectory(prefix="orva dev ") as scratch:
            ctest = pathlib.Path(scratch) / "ctest"
            ctest.write_text(f"""#!/bin/sh
case " $* " in
*" --rerun-failed "*) cat >test_results.xml <<'END'
{AGAIN if status_again == 0 else RESULTS}
END
exit {status_again} ;;
esac
cat >test_results.xml <<'END'
{RESULTS}
END
exit 8
""")
            ctest.chmod(0o755)
            return subprocess.run([sys.executable, str(ROOT / "tests/run.py"), *options, "."], text=True,
                                  capture_output=True, cwd=scratch,
                                  env={**os.environ, "PATH": f"{scratch}:{os.environ['PATH']}"})

    def test_one_line_a_group_reasons_and_a_closing_line(self):
        result = self.report()
        self.assertEqual(result.returncode, 8, result.stderr)
        self.assertEqual(result.stdout.splitlines(), [
            "== failed: unit.A.c", "expected 1",
            "unit         1 passed    1 failed    0 skipped      1.5 s",
            "system       0 passed    0 failed    1 skipped      0.0 s",
            "skipped: system.A.d: no kernel for this", "failed: unit.A.c", "1 passed, 1 failed, 1 skipped"])

    def test_a_case_that_fails_beside_others_is_run_once_more_where_that_is_asked_for(self):
        result = self.report("--again")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout.splitlines()[:2],
                         ["== failed beside others, once more alone: unit.A.c", "expected 1"])
        self.assertEqual(result.stdout.splitlines()[-1], "2 passed, 0 failed, 1 skipped")

    def test_a_case_that_fails_alone_too_has_failed(self):
        result = self.report("--again", status_again=8)
        self.assertEqual(result.returncode, 8, result.stderr)
        self.assertIn("failed: unit.A.c", result.stdout.splitlines())


unittest.main()
