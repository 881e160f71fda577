"""scripts/fuzz, in a project of its own whose cmake and ninja only note how they were called and whose targets only
print what libFuzzer prints."""
import hashlib
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
TARGETS = ("first", "second_one", "third")

NINJA = """#!/bin/sh
echo "ninja $*" >>"$CALLS"
"""
# Breaks, runs until it is ended, or merges every file that is given.
TARGET = """#!/usr/bin/env python3
import os, pathlib, shutil, signal, sys
name = pathlib.Path(sys.argv[0]).name.removesuffix("_fuzz")
options = dict(a[1:].split("=", 1) for a in sys.argv[1:] if a.startswith("-"))
folders = [pathlib.Path(a) for a in sys.argv[1:] if not a.startswith("-")]
with open(os.environ["CALLS"], "a") as calls:
    print(name, " ".join(f"{key}={value}" for key, value in sorted(options.items())), file=calls)
if "merge" in options:
    for file in folders[1].iterdir():
        shutil.copy(file, folders[0])
    sys.exit(0)
with open(os.environ["CALLS"] + "-folders", "a") as folders_of_all:
    print(name, *folders, file=folders_of_all)
print("INFO: Running with entropic power schedule", file=sys.stderr)
print("#262144\\tNEW    cov: 12 ft: 34 corp: 5/67b lim: 8 exec/s: 9 rss: 50Mb", file=sys.stderr, flush=True)
if os.environ.get("BREAKS") == name:
    pathlib.Path(options["artifact_prefix"] + "crash-1").write_text("broken")
    print("==1==ERROR: AddressSanitizer: heap-buffer-overflow", file=sys.stderr)
    sys.exit(77)
if "ENDLESS" in os.environ:
    signal.signal(signal.SIGTERM, lambda *_: os._exit(72))
    os.write(int(os.environ["ENDLESS"]), b"started")
    while True:
        signal.pause()
print("stat::number_of_executed_units: 300000", file=sys.stderr)
"""


def name_of(content):
    return hashlib.sha1(content).hexdigest()


class Fuzz(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        self.project = self.folder / "a project"
        shutil.copytree(PROJECT / "scripts", self.project / "scripts")
        (self.project / "CMakePresets.json").touch()
        (self.project / "fuzz").mkdir()
        (self.project / "fuzz" / "CMakeLists.txt").write_text(
            "function(kelvora_fuzz name)\nendfunction()\n"
            + "".join(f"kelvora_fuzz({name})\n" for name in TARGETS[:2]) + f"kelvora_fuzz({TARGETS[2]} seeds)\n")
        self.build = self.project / "build" / "fuzz"
        self.seeds = self.project / "fuzz" / "seeds" / "first"
        tools = self.folder / "tools"
        for name in TARGETS:
            self.write_program(self.build / "bin" / f"{name}_fuzz", TARGET)
        self.write_program(tools / "cmake", "#!/bin/sh\nexit 0\n")
        self.write_program(tools / "ninja", NINJA)
        self.calls = self.folder / "calls"
        self.calls.touch()
        self.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "CALLS": str(self.calls),
                            "KELVORA_NO_BOOTSTRAP": "1", "KELVORA_JOBS": "2"}

    def write_program(self, file, text):
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        file.chmod(0o755)

    def fuzz(self, *arguments, **environment):
        return subprocess.run([self.project / "scripts" / "fuzz", *arguments], capture_output=True, text=True,
                              env={**self.environment, **environment}, cwd=self.folder)

    def runs(self):
        return sorted(line for line in self.calls.read_text().splitlines() if not line.startswith("ninja"))

    def learn(self, content):
        folder = self.build / "corpus" / "first"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / name_of(content)).write_bytes(content)

    def test_wrong_arguments_are_refused_before_anything_is_built(self):
        for arguments, reason in ((("fourth",), "no target is called 'fourth'"),
                                  (("second",), "no target is called 'second'"),
                                  (("--endless",), "unknown option '--endless'"),
                                  (("--minutes",), "--minutes needs a whole number"),
                                  (("--minutes", "0"), "--minutes needs a whole number"),
                                  (("--minutes", "1.5"), "--minutes needs a whole number"),
                                  (("--seconds", "first"), "--seconds needs a whole number")):
            run = self.fuzz(*arguments)
            self.assertEqual((run.returncode, run.stdout), (2, ""), arguments)
            self.assertTrue(run.stderr.startswith(f"fuzz: {reason}"), run.stderr)
            self.assertIn("usage: scripts/fuzz [TARGET...]", run.stderr)
        self.assertEqual(self.calls.read_text(), "")

    def test_help_lists_the_targets(self):
        run = self.fuzz("--help")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertIn("Targets: first second_one third (all by default)", run.stdout)
        self.assertEqual(self.calls.read_text(), "")

    def test_all_targets_run_five_minutes_and_end_in_a_line_each(self):
        run = self.fuzz()
        self.assertEqual((run.returncode, run.stdout), (0, ""))
        self.assertIn("first_fuzz second_one_fuzz third_fuzz", self.calls.read_text().splitlines()[0])
        self.assertEqual([line.split()[0] for line in self.runs()], list(TARGETS))
        self.assertIn(" max_total_time=300 ", self.runs()[0])
        for name in TARGETS:
            self.assertIn(f"{name}: ok, 300000 executions, coverage 12, corpus 5\n", run.stderr)
        self.assertNotIn("INFO", run.stderr)

    def test_a_target_starts_from_what_it_learnt_its_seeds_and_what_broke_it_before(self):
        regressions = self.project / "fuzz" / "regressions" / "first"
        regressions.mkdir(parents=True)
        self.assertEqual(self.fuzz("first", "third").returncode, 0)
        folders = dict(line.replace(str(self.project), "").split(None, 1)
                       for line in (self.folder / "calls-folders").read_text().splitlines())
        first = "/build/fuzz/corpus/first /build/fuzz/seeds/first /fuzz/seeds/first"
        self.assertEqual(folders, {"first": first + " /fuzz/regressions/first",
                                   "third": first.replace("first", "third")})

    def test_named_targets_run_once_for_the_time_that_is_asked_for(self):
        self.assertEqual(self.fuzz("third", "--minutes", "2", "first", "third").returncode, 0)
        self.assertEqual([line.split()[0] for line in self.runs()], ["first", "third"])
        self.assertIn(" max_total_time=120 ", self.runs()[0])
        self.assertNotIn("second", self.calls.read_text())

    def test_what_breaks_a_target_is_kept_and_the_others_go_on(self):
        run = self.fuzz("--seconds", "15", BREAKS="second_one")
        kept = self.build / "faults" / "second_one"
        self.assertEqual(run.returncode, 1)
        self.assertEqual((kept / "crash-1").read_text(), "broken")
        self.assertIn("ERROR: AddressSanitizer: heap-buffer-overflow\n", run.stderr)
        self.assertIn("second_one: BROKEN, 262144 executions, coverage 12, corpus 5; "
                      f"what breaks it is in {kept}, ", run.stderr)
        self.assertIn("third: ok", run.stderr)

    def test_an_interrupt_ends_every_target_and_shows_how_far_each_was(self):
        started, end = os.pipe()
        script = subprocess.Popen([self.project / "scripts" / "fuzz", "first", "--minimise"], cwd=self.folder,
                                  stderr=subprocess.PIPE, text=True, preexec_fn=self.heed_interrupts,
                                  pass_fds=[end], env={**self.environment, "ENDLESS": str(end)})
        os.close(end)
        with open(started, "rb") as has_started:
            self.assertEqual(has_started.read(7), b"started")
        script.send_signal(signal.SIGINT)
        _, errors = script.communicate()
        self.assertEqual(script.returncode, 130)
        self.assertIn("first: stopped, 262144 executions, coverage 12, corpus 5\n", errors)
        self.assertEqual(len(self.runs()), 1)

    def progress(self, arguments, lines):
        """Runs endless targets on a terminal, with pauses of no time, until it shows these lines; returns all."""
        self.write_program(self.folder / "tools" / "sleep", "#!/bin/sh\nexit 0\n")
        terminal, stderr = pty.openpty()
        started, end = os.pipe()
        script = subprocess.Popen([self.project / "scripts" / "fuzz", *arguments], cwd=self.folder, stderr=stderr,
                                  preexec_fn=self.heed_interrupts, pass_fds=[end],
                                  env={**self.environment, "ENDLESS": str(end)})
        os.close(stderr)
        os.close(end)
        shown = ""
        deadline = time.monotonic() + 60
        while not all(re.search(line, shown) for line in lines) and time.monotonic() < deadline:
            if select.select([terminal], [], [], 1)[0]:
                shown += os.read(terminal, 4096).decode()
        script.send_signal(signal.SIGINT)
        while True:
            try:
                shown += os.read(terminal, 4096).decode()
            except OSError:  # no process has the terminal open any more
                break
        self.assertEqual(script.wait(), 130)
        os.close(started)
        os.close(terminal)
        return shown.replace("\r\n", "\n")

    def test_a_terminal_shows_how_far_each_target_is(self):
        figures = "262144 executions, coverage 12, corpus 5"
        shown = self.progress(["first", "third", "--minutes", "100"],
                              [f"{name}: {figures}, [0-9:]+ " for name in ("first", "third")])
        for name in ("first", "third"):
            self.assertRegex(shown, rf"(?m)^{name}: {figures}, (100:00|99:[0-5][0-9]) left$")
        self.assertNotIn("second_one", shown)

    def test_a_target_that_is_overdue_has_no_time_left(self):
        shown = self.progress(["first", "--seconds", "1"], ["corpus 5, 0:00 left"])
        self.assertIn("first: 262144 executions, coverage 12, corpus 5, 0:00 left\n", shown)
        self.assertNotIn("-", shown.split("first: ", 1)[1].split(" left")[0])

    def test_a_log_has_no_progress_lines(self):
        self.write_program(self.folder / "tools" / "sleep", "#!/bin/sh\necho slept >>\"$CALLS\"\n")
        script = subprocess.Popen([self.project / "scripts" / "fuzz", "first"], cwd=self.folder, text=True,
                                  stderr=subprocess.PIPE, preexec_fn=self.heed_interrupts, pass_fds=[2],
                                  env={**self.environment, "ENDLESS": "2"})
        deadline = time.monotonic() + 60
        while self.calls.read_text().count("slept") < 120 and time.monotonic() < deadline:
            time.sleep(0.01)
        script.send_signal(signal.SIGINT)
        _, errors = script.communicate()
        self.assertIn("first: stopped, 262144", errors)
        self.assertNotIn(" left", errors)

    @staticmethod
    def heed_interrupts():
        signal.signal(signal.SIGINT, signal.SIG_DFL)

    def test_minimised_seeds_are_small_and_few_and_those_with_names_stay(self):
        self.seeds.mkdir(parents=True)
        (self.seeds / "by-hand").write_text("by hand")
        (self.seeds / name_of(b"of an earlier run")).write_bytes(b"of an earlier run")
        (self.seeds / name_of(b"x" * 5000)).write_bytes(b"x" * 5000)
        fitting = [bytes([letter]) * 4096 for letter in range(16)]
        for content in (*fitting, b"z" * 4097, b"small"):
            self.learn(content)
        run = self.fuzz("first", "--minimise")
        self.assertEqual(run.returncode, 0, run.stderr)
        kept = {file.name for file in self.seeds.iterdir()}
        self.assertLess({"by-hand", name_of(b"small"), name_of(b"of an earlier run")}, kept)
        self.assertEqual(len(kept & {name_of(content) for content in fitting}), 15)
        self.assertEqual(len(kept), 18)
        self.assertIn(f"first: 17 seeds of {15 * 4096 + 5 + 17} bytes in {self.seeds}, 1 left out\n", run.stderr)

    def test_seeds_change_only_when_asked(self):
        self.learn(b"small")
        self.assertEqual(self.fuzz("first").returncode, 0)
        self.assertEqual(list(self.seeds.iterdir()), [])


class Targets(unittest.TestCase):
    def test_the_script_finds_every_target_of_the_project(self):
        sources = {file.stem for file in (PROJECT / "fuzz").glob("*.cpp")}
        run = subprocess.run([PROJECT / "scripts" / "fuzz", "--help"], capture_output=True, text=True, check=True)
        line = next(line for line in run.stdout.splitlines() if line.startswith("Targets: "))
        self.assertEqual(set(line.removeprefix("Targets: ").removesuffix(" (all by default)").split()), sources)


if __name__ == "__main__":
    unittest.main()
