"""scripts/run, in a project of its own whose cmake and ninja only note how they were called."""
import os
import pathlib
import pty
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]

CMAKE = """#!/bin/sh
echo "cmake $*" >>"$CALLS"
mkdir -p build/dev/bin
printf '#!/bin/sh\\necho "kelvora $*"\\n' >build/dev/bin/kelvora
chmod +x build/dev/bin/kelvora
"""
NINJA = """#!/bin/sh
echo "ninja $*" >>"$CALLS"
echo "[1/2] Building first.cpp"
echo "[2/2] Building second.cpp"
exit ${NINJA_STATUS:-0}
"""


class Run(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        project = self.folder / "a project"
        shutil.copytree(PROJECT / "scripts", project / "scripts")
        (project / "CMakePresets.json").touch()
        tools = self.folder / "tools"
        tools.mkdir()
        for name, text in (("cmake", CMAKE), ("ninja", NINJA)):
            (tools / name).write_text(text)
            (tools / name).chmod(0o755)
        self.script = project / "scripts" / "run"
        self.calls = self.folder / "calls"
        self.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "CALLS": str(self.calls),
                            "KELVORA_NO_BOOTSTRAP": "1", "KELVORA_JOBS": "3", "COLUMNS": "80"}

    def run_script(self, script=None, **options):
        return subprocess.run([script or self.script, "sensors", "--json"], env=self.environment,
                              cwd=self.folder, capture_output=True, text=True, **options)

    def test_it_configures_once_and_without_the_tests(self):
        for _ in range(2):
            self.assertEqual(self.run_script().stdout, "kelvora sensors --json\n")
        calls = self.calls.read_text().splitlines()
        self.assertEqual([call for call in calls if call.startswith("cmake")],
                         ["cmake --preset dev -D KELVORA_TESTS=OFF"])
        self.assertEqual(sum(call.startswith("ninja") for call in calls), 2)

    def test_it_works_through_a_symbolic_link(self):
        link = self.folder / "elsewhere"
        link.symlink_to(self.script)
        second = self.folder / "second"
        second.symlink_to(link)
        self.assertEqual(self.run_script(second).stdout, "kelvora sensors --json\n")

    def test_a_build_that_fails_shows_what_it_said(self):
        self.environment["NINJA_STATUS"] = "4"
        run = self.run_script()
        self.assertEqual((run.returncode, run.stdout), (4, ""))
        self.assertIn("build: FAILED (status 4):\n[1/2] Building first.cpp\n[2/2] Building second.cpp\n", run.stderr)

    def test_a_terminal_shows_the_progress_and_a_file_does_not(self):
        self.assertNotIn("first.cpp", self.run_script().stderr)
        terminal, end = pty.openpty()
        try:
            subprocess.run([self.script], env=self.environment, stdout=subprocess.DEVNULL, stderr=end, check=True)
            text = os.read(terminal, 10000).decode()
        finally:
            os.close(end)
            os.close(terminal)
        self.assertIn("build: [1/2] Building first.cpp", text)
        self.assertIn("build: [2/2] Building second.cpp", text)


class Packages(unittest.TestCase):
    def test_running_needs_none_of_the_packages_for_tests_checks_and_fuzzing(self):
        rows = [line.split()[:2] for line in (PROJECT / "scripts" / "packages.txt").read_text().splitlines()
                if line and not line.startswith("#")]
        running = {name for name, purposes in rows if "run" in purposes.split(",")}
        self.assertIn("g++", running)
        self.assertFalse(running & {"clang", "clang-tidy", "clang-format", "libclang-rt-14-dev", "libgtest-dev",
                                    "libgmock-dev", "libbenchmark-dev", "python3", "ccache", "dbus"})
        for name, purposes in rows:
            self.assertLessEqual(set(purposes.split(",")), {"run", "test", "check", "fuzz", "bench", "macos"}, name)

    def test_bootstrap_installs_the_packages_of_the_purpose_only(self):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        for name, text in (("dpkg-query", ""), ("dpkg", ""), ("apt-get", f'echo "$@" >>{folder}/calls'),
                           ("id", "echo 0")):
            (folder / name).write_text(f"#!/bin/sh\n{text}\n")
            (folder / name).chmod(0o755)
        subprocess.run([PROJECT / "scripts" / "bootstrap", "bench"], check=True, capture_output=True,
                       env={**os.environ, "PATH": f"{folder}:{os.environ['PATH']}", "KELVORA_NO_BOOTSTRAP": "0"})
        install = (folder / "calls").read_text().splitlines()[-1]
        self.assertTrue(install.endswith("--no-install-recommends dbus libbenchmark-dev"), install)


if __name__ == "__main__":
    unittest.main()
