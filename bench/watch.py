"""The processor time of one second of kelvora watch, beside that of top -b -d 1 in the same time.

usage: watch.py KELVORA [SECONDS]      (default: 60 seconds)
"""
import fcntl
import os
import pty
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import time

GOAL = 1.0


def started(command, environment):
    """A program on a terminal of 80 by 24, whose output is read and forgotten."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execvpe(command[0], command, environment)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))

    def forget():
        try:
            while os.read(terminal, 65536):
                pass
        except OSError:
            pass  # the program has ended

    threading.Thread(target=forget, daemon=True).start()
    return pid


def seconds_of(usage):
    return usage.ru_utime + usage.ru_stime


def ended(pid):
    """The processor time of a program and the children that it waited for."""
    os.kill(pid, signal.SIGTERM)
    _, status, usage = os.wait4(pid, 0)
    if os.WIFEXITED(status) and os.WEXITSTATUS(status) != 0:
        raise SystemExit(f"watch.py: a program ended with status {os.WEXITSTATUS(status)}")
    return seconds_of(usage)


def measured(program, seconds):
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, HOME=home, TERM="xterm-256color", LANG="C.UTF-8")
        for name in ("XDG_CONFIG_HOME", "KELVORA_MACHINE", "LC_ALL"):
            environment.pop(name, None)
        pids = {"kelvora watch, this computer": started([program, "watch"], environment),
                "kelvora watch, a recorded Mac": started(
                    [program, "watch", "--machine", "MacBookPro15,1"], environment)}
        top = subprocess.Popen(["top", "-b", "-d", "1"], stdout=subprocess.DEVNULL, env=environment)
        time.sleep(seconds)
        times = {name: ended(pid) for name, pid in pids.items()}
        return times, ended(top.pid)


def main(arguments):
    seconds = float(arguments[1]) if len(arguments) > 1 else 60
    times, top = measured(arguments[0], seconds)
    print(f"\n{'processor time of a second':<36}{'ms':>8}{'ratio':>8}{'goal':>8}")
    print(f"{'top -b -d 1':<36}{top / seconds * 1000:8.2f}")
    for name, spent in times.items():
        print(f"{name:<36}{spent / seconds * 1000:8.2f}{spent / top:8.2f}{GOAL:8.2f}")


if __name__ == "__main__":
    main(sys.argv[1:])
