"""usage and top with --watch on a terminal: what the terminal shows, and that it is left as it was.

Run as: live_report_test.py PROGRAM
"""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = sys.argv[1]
PATIENCE = 30  # seconds until a terminal that does not show what it should is a failure


class Terminal:
    """A shell in a terminal of its own."""

    def __init__(self, folder, columns, rows):
        self.folder = folder
        self.socket = str(folder / "tmux")
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith(("KELVORA_", "DBUS_", "TMUX"))}
        environment |= {"HOME": str(folder), "LC_ALL": "C.UTF-8", "PS1": "$ ",
                        "XDG_CONFIG_HOME": str(folder / "config")}
        environment.pop("NO_COLOR", None)
        self.environment = environment
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", str(columns), "-y", str(rows),
                  "-c", str(folder), "sh")

    def tmux(self, *arguments):
        return subprocess.run(["tmux", "-u", "-S", self.socket, *arguments], check=True, text=True,
                              env=self.environment, capture_output=True).stdout

    def close(self):
        self.tmux("kill-server")

    def type(self, *keys):
        self.tmux("send-keys", *keys)

    def screen(self):
        return self.tmux("capture-pane", "-p")

    def wait_until(self, is_shown, what):
        """The screen once it is as asked for. It may be read while it is drawn, so that another
        one than the last is no failure yet."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            screen = self.screen()
            if is_shown(screen):
                return screen
        raise AssertionError(f"not shown: {what}, but\n{screen}")

    def wait_for(self, *texts, gone=()):
        """The screen once it shows the texts, and none of those that should be gone."""
        return self.wait_until(lambda screen: all(text in screen for text in texts) and
                               not any(text in screen for text in gone),
                               f"{texts} without {gone}")

    def wait_for_screen(self, expected):
        self.wait_until(lambda screen: screen == expected, expected)

    def wait_for_lines(self, *expected):
        self.wait_until(lambda screen: screen.splitlines() == list(expected), expected)

    def start(self, arguments):
        """Starts the program; afterwards the shell prints its status."""
        self.type(f"stty -g >before; sh -c 'echo $$ >pid; exec {PROGRAM} {arguments}'; "
                  "echo ended $?; stty -g >after; echo done >all", "Enter")

    def pid(self):
        return int((self.folder / "pid").read_text())

    def list_of_processes(self):
        """The process id of the list that the program waits for, if there is one now."""
        if not (self.folder / "pid").exists() or not (self.folder / "pid").read_text():
            return None  # not started yet
        for children in pathlib.Path(f"/proc/{self.pid()}/task").glob("*/children"):
            try:
                for child in children.read_text().split():
                    if pathlib.Path(f"/proc/{child}/comm").read_text() == "ps\n":
                        return int(child)
            except OSError:
                pass  # gone meanwhile
        return None

    def let_list_hang(self):
        """Stops a list of processes, so that the program waits for it from then on."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            child = self.list_of_processes()  # it lives for milliseconds
            if child:
                try:
                    os.kill(child, signal.SIGSTOP)
                    while (state := pathlib.Path(f"/proc/{child}/stat").read_text()
                           .rsplit(")", 1)[1].split()[0]) in "RSD":
                        pass
                    if state == "T":
                        return child
                except OSError:
                    pass
        raise AssertionError("no list of processes could be stopped")


class LiveReports(unittest.TestCase):
    def terminal(self, columns=80, rows=24):
        folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        terminal = Terminal(folder, columns, rows)
        self.addCleanup(terminal.close)
        return terminal

    def assert_restored(self, terminal, status=0):
        screen = terminal.wait_for(f"ended {status}", gone=("q quits",))
        while not (terminal.folder / "all").exists():
            pass
        self.assertEqual((terminal.folder / "before").read_text(),
                         (terminal.folder / "after").read_text())
        self.assertNotIn("Processor", screen, "what the screen showed is gone")

    def test_it_shows_a_title_bars_and_figures(self):
        terminal = self.terminal(rows=40)
        terminal.start("usage --machine MacBookPro15,1 --watch")
        terminal.wait_for("MacBook Pro 15-inch 2018 (recorded)  ", "q quits\n\nProcessor (since start-up)\n"
                          "  Total" + " " * 16 + "███" + "░" * 17 + "  17.3 %\n",
                          "at most 15 GB of 16 GB", "Uptime")
        terminal.type("q")
        self.assert_restored(terminal)

    def test_the_headings_can_be_seen(self):
        terminal = self.terminal()
        terminal.start("usage --machine MacBookPro15,1 --watch")
        terminal.wait_for("q quits", "Memory")
        heading = next(line for line in terminal.tmux("capture-pane", "-p", "-e").splitlines()
                       if "Memory" in line)
        self.assertNotIn("\x1b[30m", heading, "black")
        self.assertIn("1m", heading, "bold")

    def test_every_end_leaves_the_terminal_as_it_was(self):
        for name, end in (("q", lambda t: t.type("q")), ("Q", lambda t: t.type("Q")),
                          ("Esc", lambda t: t.type("Escape")), ("Ctrl-C", lambda t: t.type("C-c")),
                          ("SIGINT", lambda t: os.kill(t.pid(), signal.SIGINT)),
                          ("SIGTERM", lambda t: os.kill(t.pid(), signal.SIGTERM))):
            for command in ("usage --every 0.2", "top --every 60"):
                with self.subTest(end=name, command=command):
                    terminal = self.terminal()
                    terminal.start(f"{command} --watch")
                    terminal.wait_for("q quits")
                    end(terminal)
                    self.assert_restored(terminal)

    def test_a_list_of_processes_that_hangs_holds_up_no_end_and_outlives_none(self):
        for name, arguments, end in (
                ("q", "", lambda t: t.type("q")),
                ("Ctrl-C", "", lambda t: t.type("C-c")),
                ("a file", ">list", lambda t: os.kill(t.pid(), signal.SIGTERM))):
            with self.subTest(end=name):
                terminal = self.terminal()
                terminal.start(f"top --watch --every 0.2 {arguments}")
                hanging = terminal.let_list_hang()
                end(terminal)
                self.assert_restored(terminal)
                while pathlib.Path(f"/proc/{hanging}").exists():
                    pass

    def test_a_list_of_processes_that_hangs_holds_up_no_drawing(self):
        terminal = self.terminal()
        terminal.start("top --watch --every 0.2")
        terminal.wait_for("q quits")
        terminal.let_list_hang()
        terminal.tmux("resize-window", "-x", "30", "-y", "5")
        terminal.wait_for("PID     CPU Process")
        terminal.type("q")
        self.assert_restored(terminal)

    def test_other_keys_do_not_end_it(self):
        terminal = self.terminal()
        terminal.start("usage --machine MacBookPro15,1 --watch --every 0.2")
        terminal.wait_for("since start-up)")
        terminal.type("x", "Enter", "Space", "Right")
        terminal.wait_for("q quits", "Processor", gone=("Processor (since",))
        terminal.type("q")
        self.assert_restored(terminal)

    def test_it_is_drawn_again_after_each_interval(self):
        terminal = self.terminal()
        terminal.start("usage --watch --every 0.2")
        terminal.wait_for("Processor", "bytes/s", gone=("Processor (since start-up)",))
        terminal.type("q")
        self.assert_restored(terminal)

    def test_what_does_not_fit_is_scrolled_to(self):
        terminal = self.terminal(rows=8)
        terminal.start("usage --machine MacBookPro15,1 --watch --every 60")
        bar = "█" * 3 + "░" * 17
        first = ("MacBook Pro 15-inch 2018 (recorded)" + " " * 38 + "q quits\n"
                 f"Processor (since start-up)\n  Total                {bar}  17.3 %\n"
                 "  User                 11.6 %\n  System               5.7 %\n"
                 "  Low priority         0.0 %\n  Idle                 82.7 %\nMemory\n")
        terminal.wait_for_screen(first)  # no row is blank where rows are few
        terminal.type("Down")
        terminal.wait_for("Memory", "Used", gone=("Processor",))
        terminal.type("Up")
        terminal.wait_for_screen(first)
        terminal.type("PageDown")
        terminal.wait_for("q quits", "Used", "Startup Disk", gone=("Memory", "Processor"))
        terminal.type("PageUp")
        terminal.wait_for_screen(first)
        terminal.type("End")
        last = terminal.wait_for("q quits", "Battery\n", "Charge", "Uptime", "1d 2h 3m")
        terminal.type("Down", "PageDown", "End", "Up")
        terminal.wait_for("Sent", "Age", gone=("Uptime",))
        terminal.type("Down")
        terminal.wait_for_screen(last)
        terminal.type("Home")
        terminal.wait_for_screen(first)
        terminal.type("End")
        terminal.wait_for_screen(last)
        terminal.tmux("resize-window", "-x", "80", "-y", "45")
        terminal.wait_for("Processor", "Uptime")  # nothing is left to scroll to
        terminal.type("q")
        self.assert_restored(terminal)

    def test_all_of_a_portable_fits_a_terminal_of_80_by_24_in_each_language(self):
        terminal = self.terminal()
        terminal.start("usage --machine MacBookPro15,1 --watch --every 60")
        screen = terminal.wait_for("q quits", "17.3 %", "1d 2h 3m", "82.7 %", "9.8 GB")
        self.assertRegex(screen, r"\nProcessor \(since start-up\) {12}Startup Disk\n"
                                 r"  Total +█░░░░░  17\.3 % +Used +███░░░  ")
        terminal.type("End")
        terminal.wait_for_screen(screen)
        terminal.type("q")
        self.assert_restored(terminal)
        for language in ("de", "es", "fr", "tr", "vi", "zh-Hans", "zh-Hant"):
            subprocess.run([PROGRAM, "settings", "set", "currentLanguage", language], check=False,
                           env=terminal.environment, capture_output=True)
            terminal.type(f"clear; {PROGRAM} usage --machine MacBookPro15,1 --watch --every 60", "Enter")
            terminal.wait_for("17.3 %", "1d 2h 3m", "822.69 MB")
            terminal.type("q")
            terminal.wait_for(gone=("17.3 %",))

    def test_a_desktop_has_room_below_each_other(self):
        terminal = self.terminal()
        terminal.start("usage --machine iMac19,1 --watch --every 60")
        screen = terminal.wait_for("q quits", "1d 2h 3m")
        self.assertRegex(screen, r"\nMemory\n  Used +█")
        terminal.type("q")
        self.assert_restored(terminal)

    def test_a_terminal_too_narrow_for_two_columns_is_scrolled(self):
        terminal = self.terminal(columns=71)
        terminal.start("usage --machine MacBookPro15,1 --watch --every 60")
        terminal.wait_for("q quits", "17.3 %", "Memory\n", gone=("1d 2h 3m",))
        terminal.type("End")
        terminal.wait_for("1d 2h 3m", gone=("17.3 %",))
        terminal.type("q")
        self.assert_restored(terminal)

    def test_a_signal_ends_one_report_while_it_measures(self):
        terminal = self.terminal()
        for number in (signal.SIGINT, signal.SIGTERM):
            (terminal.folder / "all").unlink(missing_ok=True)
            (terminal.folder / "pid").unlink(missing_ok=True)
            terminal.type("clear", "Enter")
            terminal.start("usage")
            wanted = 1 << (number - 1)
            while not self.catches(terminal, wanted):
                pass
            os.kill(terminal.pid(), number)
            screen = terminal.wait_for("kelvora: interrupted", "ended 1")
            self.assertNotIn("Processor", screen)
            self.assert_restored(terminal, 1)

    @staticmethod
    def catches(terminal, wanted):
        """Whether the program handles a signal, by its bit."""
        try:
            status = pathlib.Path(f"/proc/{terminal.pid()}/status").read_text()
        except (OSError, ValueError):
            return False  # not started yet
        if "Name:\tkelvora" not in status:
            return False
        return bool(int(status.split("SigCgt:")[1].split()[0], 16) & wanted)

    def test_it_follows_the_size_of_the_terminal(self):
        terminal = self.terminal(60, 10)
        terminal.start("usage --machine MacBookPro15,1 --watch --every 60")
        terminal.wait_for("q quits", gone=("Uptime",))
        terminal.tmux("resize-window", "-x", "90", "-y", "45")
        terminal.wait_for("q quits", "Uptime", "█" * 3 + "░" * 17)
        terminal.tmux("resize-window", "-x", "20", "-y", "3")
        terminal.wait_for_lines("MacBook Pr…  q quits", "Processor (since st…", "  Total")
        terminal.tmux("resize-window", "-x", "18", "-y", "3")
        terminal.wait_for_lines("MacBook …  q quits", "Processor (since …", "  Total")
        terminal.tmux("resize-window", "-x", "17", "-y", "3")
        terminal.wait_for_lines("MacBook Pro 15-i…", "Processor (since…", "  Total")
        terminal.tmux("resize-window", "-x", "1", "-y", "1")
        terminal.tmux("resize-window", "-x", "80", "-y", "24")
        terminal.wait_for("q quits", "Processor")
        terminal.type("q")
        self.assert_restored(terminal)

    def test_it_comes_back_after_a_suspend(self):
        terminal = self.terminal()
        terminal.start("usage --machine MacBookPro15,1 --watch --every 60")
        terminal.wait_for("q quits")
        terminal.type("q")
        self.assert_restored(terminal)
        terminal.type("clear; bash --norc", "Enter")
        terminal.type(f"{PROGRAM} usage --machine MacBookPro15,1 --watch --every 60", "Enter")
        terminal.wait_for("q quits")
        terminal.type("C-z")
        terminal.wait_for("Stopped", gone=("q quits",))
        terminal.type("fg", "Enter")
        terminal.wait_for("q quits", "Processor")
        terminal.type("q")
        terminal.wait_for("fg", gone=("q quits",))

    def test_it_follows_the_language(self):
        terminal = self.terminal()
        terminal.start("usage --machine MacBookPro15,1 --watch --every 0.2")
        terminal.wait_for("q quits", "Memory")
        subprocess.run([PROGRAM, "settings", "set", "currentLanguage", "de"], check=True,
                       env=terminal.environment, capture_output=True)
        terminal.wait_for("q beendet", "Arbeitsspeicher", gone=("Memory",))
        terminal.type("q")
        self.assert_restored(terminal)

    def test_the_characters_are_those_of_the_locale(self):
        terminal = self.terminal()
        for variables, bar in (("LC_ALL=C", "#.."), ("-u LC_ALL -u LC_CTYPE -u LANG", "█░░"),
                               ("LC_ALL=xx_XX.UTF-8", "█░░")):
            with self.subTest(variables=variables):
                terminal.type(f"clear; env {variables} {PROGRAM} usage --machine iMac19,1 --watch", "Enter")
                terminal.wait_for("q quits", bar)
                terminal.type("q")
                terminal.wait_for(gone=("q quits",))

    def test_processes_have_bars(self):
        terminal = self.terminal()
        terminal.start("top --machine MacBookPro15,1 --watch -n 3")
        terminal.wait_for("q quits", "kernel_task",
                          "      412   38.4 %  " + "█" * 8 + "░" * 12 + "  Safari\n")
        terminal.type("q")
        self.assert_restored(terminal)

    def test_a_text_beyond_the_last_column_moves_no_other(self):
        terminal = self.terminal(columns=15, rows=10)
        terminal.start("top --machine MacBookPro15,1 --watch -n 3")
        terminal.wait_for("    PID     CPU\n    412  38.4 %\n    167  12.5 %\n      0   6.1 %\n")
        terminal.type("q")

    def test_json_on_a_terminal_is_lines(self):
        terminal = self.terminal()
        terminal.start("top --machine MacBookPro15,1 --watch --every 0.2 -n 1 --json")
        terminal.wait_for('"processes":[{"pid":412')
        terminal.type("C-c")
        terminal.wait_for("ended 0", '"processes"')


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
