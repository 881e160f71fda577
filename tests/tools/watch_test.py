"""kelvora watch in a terminal: what its screen shows, and that it leaves the terminal as it was.

Run as: watch_test.py PROGRAM [Test.name]...
"""
import functools
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv[1]
PATIENCE = 60  # seconds; no test waits as long unless it fails
MACHINE = "MacBookPro15,1"


class Pane:
    """A shell in a terminal of its own. Other programs of its user share its home and session bus."""

    def __init__(self, columns=80, rows=24, environment=None, bus=False):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kelvora-watch-"))
        self.environment = {key: value for key, value in os.environ.items()
                            if not key.startswith(("TMUX", "LC_", "XDG_", "DBUS_", "KELVORA_"))
                            and key not in ("NO_COLOR", "LINES", "COLUMNS")}
        self.environment.update(HOME=str(self.folder), LANG="C.UTF-8", TZ="UTC",
                                DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent")
        self.bus = None
        if bus:
            self.bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                                        stdout=subprocess.PIPE, text=True)
            self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.bus.stdout.readline().strip()
        self.environment.update(environment or {})
        self.tmux("-f", "/dev/null", "new-session", "-d", "-c", str(self.folder), "-x", str(columns), "-y", str(rows),
                  "bash --norc --noprofile -i")
        self.command("PS1='shell'\"> \"; clear")
        self.wait_for("shell>")

    def tmux(self, *arguments):
        return subprocess.run(["tmux", "-S", str(self.folder / "tmux"), *arguments], check=True, text=True,
                              capture_output=True, env=self.environment).stdout

    def close(self):
        self.tmux("kill-server")
        if self.bus:
            self.bus.kill()
            self.bus.wait()
            self.bus.stdout.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def screen(self, *options):
        return self.tmux("capture-pane", "-p", *options)

    def press(self, *keys):
        self.tmux("send-keys", *keys)

    def write(self, text):
        self.tmux("send-keys", "-l", text)

    def command(self, line):
        self.write(line)
        self.press("Enter")

    def resize(self, columns, rows):
        self.tmux("resize-window", "-x", str(columns), "-y", str(rows))

    def format(self, name):
        return self.tmux("display-message", "-p", "#{" + name + "}").strip()

    def wait_for(self, *wanted, without=()):
        """The screen as soon as it holds all texts, or fits a function, and holds none of `without`."""
        end = time.monotonic() + PATIENCE
        while True:
            screen = self.screen()
            if (all(each(screen) if callable(each) else each in screen for each in wanted)
                    and not any(each in screen for each in without)):
                return screen
            if time.monotonic() > end:
                raise AssertionError(f"never showed {wanted} without {without}:\n{screen}")
            time.sleep(0.02)

    def watch(self, options=f"--machine {MACHINE}", shown="CPU Proximity"):
        """Starts the program; what follows on the line shows how it ended."""
        self.command(f"clear; stty -g > before; {PROGRAM} watch {options}; "
                     "echo \"status $?\"; stty -g > after")
        return self.wait_for(shown)

    def program(self):
        """The process id of kelvora below the shell."""
        return wait_until(lambda: child_of(int(self.format("pane_pid")), "kelvora"))

    def run(self, *arguments):
        return subprocess.run([PROGRAM, *arguments], check=True, capture_output=True, text=True,
                              env=self.environment).stdout


def wait_until(condition):
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        if time.monotonic() > end:
            raise AssertionError("timed out")
        time.sleep(0.01)
    return result


def children(pid):
    """Process ids and names of the children of all threads of a process."""
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").glob("*"):
        try:
            for child in (task / "children").read_text().split():
                found.append((int(child), pathlib.Path(f"/proc/{child}/comm").read_text().strip()))
        except OSError:
            pass  # gone meanwhile
    return found


def child_of(pid, name):
    return next((child for child, comm in children(pid) if comm == name), None)


def is_running(pid):
    return pathlib.Path(f"/proc/{pid}").exists()


def ticks(pid):
    """The processor time that a process has used, in the system's ticks."""
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def is_stopped(pid):
    try:
        return "\nState:\tT" in pathlib.Path(f"/proc/{pid}/status").read_text()
    except OSError:
        return False  # it has ended


def stop_child(pid):
    """Stops the list of processes that a program waits for: it hangs from then on."""
    def stopped():
        end = time.monotonic() + 1
        while time.monotonic() < end:  # it lives for milliseconds
            child = child_of(pid, "ps")
            if child:
                os.kill(child, signal.SIGSTOP)
                return child if is_stopped(child) else None
        return None
    return wait_until(stopped)


def clock(screen):
    return re.search(r"\d\d:\d\d:\d\d", screen).group()


def in_pane(**options):
    def decorate(test):
        @functools.wraps(test)
        def run(self):
            pane = Pane(**options)
            self.addCleanup(pane.close)
            test(self, pane)
        return run
    return decorate


class Screen(unittest.TestCase):
    @in_pane()
    def test_shows_sensors_fans_usage_and_processes_of_a_recording(self, pane):
        pane.watch()
        screen = pane.wait_for("Safari", "17.3%", "Memory", "Network", "Battery", "Fan 1", "2162rpm", "TC0P", "37°C",
                               "38.4%", "q quit")  # it is drawn piece by piece
        self.assertIn("(recording)", screen.splitlines()[0])
        self.assertIn("q quit", screen.splitlines()[23])
        later = pane.wait_for(lambda shown: clock(shown) != clock(screen))
        self.assertIn("17.3%", later)

    @in_pane()
    def test_scrolls(self, pane):
        pane.watch(shown="1-16/")
        pane.press("Down")
        pane.wait_for("2-17/")
        pane.press("NPage")
        pane.wait_for("18-33/")
        pane.press("Up")
        pane.wait_for("17-32/")
        pane.press("End")
        last = pane.wait_for("/65", without=["17-32/"])
        self.assertIn("50-65/65", last)
        pane.press("Down")
        pane.press("PPage")
        pane.wait_for("34-49/")
        pane.press("Home")
        pane.wait_for("1-16/")
        pane.press("End", "Up")
        pane.wait_for("49-64/")
        pane.press("End")
        pane.resize(80, 30)
        pane.wait_for("44-65/")
        pane.press("Up")
        pane.wait_for("43-64/")

    @in_pane()
    def test_filters_while_typing(self, pane):
        pane.watch()
        pane.write("/gPu")
        pane.wait_for("/gPu_", "GPU Vcore", without=["CPU Proximity"])
        pane.press("BSpace", "BSpace", "BSpace")
        pane.wait_for("CPU Proximity")
        pane.write("tc0p")
        pane.wait_for("CPU Proximity", without=["CPU PECI"])
        pane.press("Enter")
        pane.wait_for("filter: tc0p", "q quit")
        pane.write("/q")
        pane.wait_for("No sensor matches")
        pane.press("Escape")
        pane.wait_for("CPU PECI", without=["filter:"])
        pane.write("a")
        pane.wait_for("/107", without=["hidden"])

    @in_pane()
    def test_keys_show_at_once_whatever_the_interval(self, pane):
        pane.watch(f"--machine {MACHINE} --every 1h", shown="1-16/")
        pane.press("Down", "Down")
        pane.wait_for("3-18/")
        pane.write("/c")
        pane.wait_for("/c_", "1-16/")  # another list begins at its top

    @in_pane()
    def test_reads_sensors_as_often_as_asked_and_not_as_seldom_as_processes(self, pane):
        screen = pane.watch(f"--machine {MACHINE} --every 3")
        times = [clock(screen)]
        for _ in range(3):
            screen = pane.wait_for(lambda shown: clock(shown) != times[-1])
            times.append(clock(screen))
        seconds = [sum(int(part) * unit for part, unit in zip(each.split(":"), (3600, 60, 1))) for each in times]
        steps = [(after - before) % 86400 for before, after in zip(seconds, seconds[1:])]
        self.assertLess(min(steps), 7, times)
        self.assertGreater(max(steps), 1, times)

    @in_pane()
    def test_works_only_when_something_is_due(self, pane):
        pane.watch(f"--machine {MACHINE} --every 1h", shown="Safari")
        before = ticks(pane.program())
        for _ in range(5):
            pane.run("sensors", "--machine", MACHINE)
        self.assertLess(ticks(pane.program()) - before, 5)

    @in_pane()
    def test_a_recording_without_an_SMC_does_not_say_so_again_at_the_end(self, pane):
        machine = pane.folder / "mac.json"
        machine.write_text('{"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "Bare"}')
        pane.watch(f"--machine {machine}", shown="Bare (recording)")
        pane.wait_for("No sensor could be read", "No list of processes")
        pane.press("q")
        screen = pane.wait_for("status 0")
        self.assertIn("Failed to get VM statistics.", screen)  # standard error is shown
        self.assertNotIn("no SMC found", screen)

    @in_pane(environment={"LANG": "C.UTF-8"})
    def test_follows_settings_and_language_without_a_session_bus(self, pane):
        pane.watch(shown="37°C")
        pane.run("settings", "set", "tempUnitCelsius", "false")
        pane.wait_for("99°F", without=["37°C"])
        pane.run("settings", "set", "currentLanguage", "de")
        pane.wait_for("Lüfter 1", "Aufzeichnung", "q Ende")
        pane.write("/LÜF")
        pane.wait_for("Lüfter 2", without=["TC0P"])
        pane.press("Escape")
        pane.run("settings", "set", "currentLanguage", "zh-Hans")
        screen = pane.wait_for("风扇", "录制", "99°F")
        values = {len(line[:52].rstrip()) + sum(ord(each) > 0x2e80 for each in line[:52])
                  for line in screen.splitlines() if "°F" in line}
        self.assertLessEqual(len(values), 60)

    @in_pane(bus=True)
    def test_a_notice_shows_at_once_whatever_the_interval(self, pane):
        pane.watch(f"--machine {MACHINE} --every 1h", shown="37°C")
        pane.run("settings", "set", "tempUnitCelsius", "false")
        pane.wait_for("99°F")
        pane.run("settings", "set", "fanValueType", "1")
        pane.wait_for("0%", without=["2162rpm"])
        pane.run("settings", "set", "currentLanguage", "fr")
        pane.wait_for("Capteurs")

    @in_pane()
    def test_follows_the_size_of_the_terminal(self, pane):
        pane.watch(f"--machine {MACHINE} --every 3600", shown="1-16/")  # no reading draws it again
        pane.resize(40, 10)
        screen = pane.wait_for(lambda shown: "1-3/" in shown and len(shown.splitlines()[0]) <= 40)
        self.assertIn("(recording)", screen.splitlines()[0])
        pane.resize(20, 5)
        pane.wait_for("The terminal is too", without=["Fan"])
        pane.resize(200, 60)
        screen = pane.wait_for("DC In Total", "q quit")
        self.assertNotIn("/65", screen)
        pane.resize(80, 24)
        pane.wait_for("1-16/")
        pane.press("q")
        pane.wait_for("status 0")

    @in_pane()
    def test_a_suspended_program_comes_back_with_its_screen(self, pane):
        pane.watch(f"--machine {MACHINE} --every 3600")
        for _ in range(2):
            pane.press("C-z")
            pane.wait_for("Stopped", without=["CPU Proximity"])
            self.assertEqual(pane.format("alternate_on"), "0")
            pane.command("clear; fg")
            pane.wait_for("CPU Proximity", "(recording)")
            self.assertEqual(pane.format("alternate_on"), "1")
        program = pane.program()
        os.kill(program, signal.SIGSTOP)  # the shell takes the terminal back, as it was left
        pane.wait_for("Stopped")
        pane.command("stty sane; clear; fg")
        pane.wait_for("CPU Proximity", "(recording)", without=["Stopped"])
        pane.press("q")
        pane.wait_for("shell>", without=["CPU Proximity"])
        self.assertFalse(is_running(program))

    def ends_by(self, pane, end):
        pane.watch()
        program = pane.program()
        end(program)
        pane.wait_for("status 0", "shell>", without=["CPU Proximity"])
        self.assertEqual(pane.format("alternate_on"), "0")
        self.assertEqual(pane.format("cursor_flag"), "1")
        wait_until(lambda: (pane.folder / "after").exists() and (pane.folder / "after").read_text())
        self.assertEqual((pane.folder / "before").read_text(), (pane.folder / "after").read_text())
        self.assertFalse(is_running(program))

    @in_pane()
    def test_every_end_restores_the_terminal(self, pane):
        self.ends_by(pane, lambda _: pane.press("q"))
        self.ends_by(pane, lambda _: pane.press("C-c"))
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            self.ends_by(pane, lambda program: os.kill(program, number))

    @in_pane()
    def test_ends_with_its_terminal(self, pane):
        pane.watch()
        pane.tmux("new-window", "-d")  # so that the server stays
        program = pane.program()
        pane.tmux("kill-pane", "-t", "0.0")
        wait_until(lambda: not is_running(program))

    @in_pane()
    def test_keys_that_mean_nothing_change_nothing(self, pane):
        pane.watch(shown="1-16/")
        pane.press("F5", "Left", "x", "Tab", "M-x", "C-l")
        pane.write("/ä")
        pane.wait_for("/ä_")
        pane.press("BSpace", "BSpace")
        pane.wait_for("1-16/", "q quit")


class Live(unittest.TestCase):
    @in_pane()
    def test_shows_usage_and_processes_of_this_computer_and_why_sensors_are_missing(self, pane):
        if list(pathlib.Path("/sys/devices/platform").glob("applesmc*")):
            self.skipTest("this computer has sensors")
        pane.watch("", shown="no sensors of a Mac")
        screen = pane.wait_for("Uptime", lambda shown: re.search(r"\d+ \S+ +\d+\.\d%", shown))
        self.assertNotIn("(recording)", screen)
        pane.press("q")
        pane.wait_for("status 0")

    @in_pane()
    def test_survives_the_kill_of_its_child_and_leaves_none(self, pane):
        pane.watch("", shown="Busiest processes")
        program = pane.program()
        killed = wait_until(lambda: self.kill_child(program))
        wait_until(lambda: not is_running(killed))  # no zombie
        before = clock(pane.screen())
        pane.wait_for(lambda shown: clock(shown) != before)
        wait_until(lambda: child_of(program, "ps"))
        pane.press("q")
        pane.wait_for("status 0")
        self.assertFalse(is_running(program))

    def assert_restored(self, pane):
        wait_until(lambda: (pane.folder / "after").exists() and (pane.folder / "after").read_text())
        self.assertEqual((pane.folder / "before").read_text(), (pane.folder / "after").read_text())
        self.assertEqual(pane.format("alternate_on"), "0")
        self.assertEqual(pane.format("cursor_flag"), "1")

    @in_pane()
    def test_a_list_of_processes_that_hangs_holds_up_no_end_and_outlives_none(self, pane):
        for number in (None, signal.SIGTERM):
            (pane.folder / "after").unlink(missing_ok=True)
            pane.watch("", shown="Busiest processes")
            hanging = stop_child(pane.program())
            before = clock(pane.wait_for(lambda shown: re.search(r"\d\d:\d\d:\d\d", shown)))
            pane.wait_for(lambda shown: clock(shown) != before)  # readings continue
            if number:
                os.kill(pane.program(), number)
            else:
                pane.press("q")
            pane.wait_for("status 0")
            wait_until(lambda: not is_running(hanging))
            self.assert_restored(pane)

    @in_pane()
    def test_an_end_by_the_library_says_why_and_restores_the_terminal(self, pane):
        if b"__asan_init" in pathlib.Path(PROGRAM).read_bytes():
            self.skipTest("a sanitizer needs descriptors of its own to report an end")
        pane.watch("", shown="Busiest processes")
        program = pane.program()
        hanging = stop_child(program)
        most = resource.prlimit(program, resource.RLIMIT_NOFILE)[1]
        resource.prlimit(program, resource.RLIMIT_NOFILE, (3, most))  # the system's counters cannot be opened
        screen = pane.wait_for("status 1", "shell>")
        self.assertIn("sysctl: Too many open files", screen)
        self.assertNotIn("Busiest", screen)
        self.assertFalse(is_running(program))
        wait_until(lambda: not is_running(hanging))
        self.assert_restored(pane)

    @staticmethod
    def kill_child(program):
        end = time.monotonic() + 1
        while time.monotonic() < end:  # it lives for milliseconds
            child = child_of(program, "ps")
            if child:
                os.kill(child, signal.SIGKILL)
                return child
        return None


class Terminals(unittest.TestCase):
    def refused(self, pane, line, reason):
        pane.command(f"clear; {line}; echo \"status $?\"")
        screen = pane.wait_for("status 2", reason)
        self.assertIn("'kelvora sensors' and 'kelvora usage'", screen.replace("\n", " ").replace("  ", " "))
        self.assertEqual(pane.format("alternate_on"), "0")

    # ncurses keeps what it allocated for a terminal that it cannot use.
    @in_pane(columns=200, environment={"ASAN_OPTIONS": "detect_leaks=0"})
    def test_anything_but_a_terminal_for_screens_is_refused_in_one_line(self, pane):
        watch = f"{PROGRAM} watch --machine {MACHINE}"
        self.refused(pane, f"TERM=no-such-kind {watch}", "TERM=no-such-kind")
        self.refused(pane, f"TERM=dumb {watch}", "TERM=dumb")
        self.refused(pane, f"env -u TERM {watch}", "TERM=")
        self.refused(pane, f"{watch} | cat; (exit ${{PIPESTATUS[0]}})", "needs a terminal")
        self.refused(pane, f"{watch} < /dev/null", "needs a terminal")

    def test_a_bad_interval_is_refused(self):
        for interval in ("0", "-1", "2h", "nan"):
            result = subprocess.run([PROGRAM, "watch", "--every", interval], text=True,
                                    capture_output=True, check=False)
            self.assertEqual((result.returncode, result.stdout), (2, ""), interval)

    def test_a_machine_of_the_environment_that_does_not_exist_is_refused(self):
        result = subprocess.run([PROGRAM, "watch"], text=True, capture_output=True, check=False,
                                env=os.environ | {"KELVORA_MACHINE": "iMac99"})
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertTrue(result.stderr.startswith("kelvora: KELVORA_MACHINE: iMac99"), result.stderr)

    def test_a_screen_is_not_json(self):
        result = subprocess.run([PROGRAM, "watch", "--json"], text=True, capture_output=True, check=False)
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn("--json", result.stderr)
        self.assertNotIn("--json", subprocess.run([PROGRAM, "watch", "--help"], text=True,
                                                  capture_output=True, check=True).stdout)

    @in_pane(environment={"NO_COLOR": "1"})
    def test_no_colour_where_the_user_wants_none(self, pane):
        pane.watch(shown="17.3%")
        self.assertIsNone(re.search(r"\x1b\[3[0-7]m", pane.screen("-e")))

    @in_pane()
    def test_colours_where_the_terminal_has_them(self, pane):
        pane.watch(shown="17.3%")
        wait_until(lambda: re.search(r"\x1b\[3[0-7]m", pane.screen("-e")))

    @in_pane()
    def test_a_terminal_without_colours_shows_the_same(self, pane):
        pane.command("export TERM=vt100")
        pane.watch(shown="17.3%")
        pane.wait_for("TC0P")
        self.assertIsNone(re.search(r"\x1b\[3[0-7]m", pane.screen("-e")))

    @in_pane(environment={"LC_ALL": "C"})
    def test_plain_ASCII_where_the_locale_has_no_more(self, pane):
        pane.run("settings", "set", "currentLanguage", "de")
        pane.watch(shown="q Ende")
        screen = pane.wait_for("37 C", "Lufter 1", "<= 94%")
        self.assertTrue(screen.isascii(), screen)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:])
