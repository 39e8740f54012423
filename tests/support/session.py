"""Programs at a pseudo-terminal of their own, for the tests of other rooms.

Each case runs in a process of its own, which is the shell of a session, one that never puts a terminal right.
"""
import fcntl
import os
import pty
import select
import signal
import struct
import subprocess
import sys
import termios
import time
import traceback
from multiprocessing.pool import ThreadPool

PATIENCE = 60


def number(name):
    return getattr(signal, "SIG" + name)


class Session:
    """A terminal, and the one job that runs there."""

    def __init__(self, *command, ignored=(), plain=False, size=(30, 100), pass_fds=()):
        """`plain` terminals show nothing but what the job writes, and that as it is."""
        self.screen, terminal = pty.openpty()
        os.setsid()
        fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", *size, 0, 0))
        self.terminal = terminal
        mode = termios.tcgetattr(terminal)
        mode[3] |= termios.ICANON | termios.ISIG | termios.ECHO
        mode[6][termios.VMIN], mode[6][termios.VTIME], mode[6][termios.VINTR] = b"\5", b"\7", b"\3"
        if plain:
            mode[0] &= ~termios.ICRNL
            mode[1] &= ~termios.OPOST
            mode[3] &= ~termios.ECHO
        termios.tcsetattr(terminal, termios.TCSANOW, mode)
        self.before = termios.tcgetattr(terminal)
        self.shown = b""
        self.job = subprocess.Popen(command, stdin=terminal, stdout=terminal, stderr=terminal, pass_fds=pass_fds,
                                    preexec_fn=lambda: self.start(ignored))
        self.status = None

    def start(self, ignored):
        os.setpgid(0, 0)
        os.tcsetpgrp(self.terminal, os.getpid())  # SIGTTOU is ignored up to here
        for name in ("TTOU", "TTIN", "TSTP", "INT", "QUIT", "HUP", "PIPE"):
            signal.signal(number(name), signal.SIG_IGN if name in ignored else signal.SIG_DFL)

    def read(self, seconds):
        if not select.select([self.screen], [], [], seconds)[0]:
            return False
        self.shown += os.read(self.screen, 65536)
        return True

    def expect(self, text):
        """Reads on until `text` has come, and forgets what is shown up to there."""
        end = time.monotonic() + PATIENCE
        while text not in self.shown:
            left = end - time.monotonic()
            assert left > 0 and self.read(left), f"{text!r} does not come: {self.shown!r}"
        self.shown = self.shown.partition(text)[2]

    def expect_next(self, text):
        """The same when nothing else may come before."""
        self.until(lambda: len(self.shown) >= len(text), f"{text!r} does not come", lambda: self.shown)
        assert self.shown.startswith(text), f"{self.shown!r} instead of {text!r}"
        self.shown = self.shown[len(text):]

    def type(self, keys):
        os.write(self.screen, keys)

    def mode(self):
        return termios.tcgetattr(self.terminal)

    def wait_single_keys(self):
        """One at a time, and nothing else has changed but perhaps the key that interrupts."""
        self.until(lambda: not self.mode()[3] & termios.ICANON, "no single keys")
        found, wanted = self.mode(), [*self.before[:6], [*self.before[6]]]
        wanted[3] &= ~termios.ICANON
        wanted[6][termios.VMIN], wanted[6][termios.VTIME] = 1, 0
        wanted[6][termios.VINTR] = found[6][termios.VINTR]
        assert found == wanted, f"for keys the terminal is {found} instead of {wanted}"

    def until(self, happens, complaint, more=lambda: b""):
        end = time.monotonic() + PATIENCE
        while not happens():
            assert time.monotonic() < end, f"{complaint}: {more()!r}"
            self.read(0.002)

    def changed(self, flags=0):
        """Reads on until the job has ended or, with WUNTRACED, stopped; its status as the shell sees it."""
        def has_changed():
            pid, status = os.waitpid(self.job.pid, os.WNOHANG | flags)
            self.status = status if pid else None
            return bool(pid)
        self.until(has_changed, "neither ends nor stops", lambda: self.shown)
        if os.WIFSTOPPED(self.status):
            return "stopped"
        self.job.returncode = os.waitstatus_to_exitcode(self.status)
        return self.job.returncode

    def check_mode(self, when):
        after = self.mode()
        assert after == self.before, f"{when} the terminal is not as it was: {after} instead of {self.before}"

    def ends(self, wanted, when="at the end"):
        status = self.changed()
        while self.read(0):
            pass
        assert status == wanted, f"{when}: status {status}, wanted {wanted}; {self.shown!r}"
        self.check_mode(when)

    def stops(self):
        status = self.changed(os.WUNTRACED)
        assert status == "stopped", f"status {status} instead of a stop; {self.shown!r}"
        self.check_mode("while stopped")

    def signal(self, name):
        os.killpg(self.job.pid, number(name))

    def foreground(self, on):
        os.tcsetpgrp(self.terminal, self.job.pid if on else os.getpgrp())


def in_own_process(function):
    """What went wrong, in words; nothing when all is well."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        signal.signal(signal.SIGTTOU, signal.SIG_IGN)
        signal.signal(signal.SIGHUP, signal.SIG_IGN)
        try:
            function()
        except BaseException as problem:  # whatever it is, the parent tells it
            where = traceback.extract_tb(problem.__traceback__)
            lines = ", ".join(str(frame.lineno) for frame in where)
            os.write(writing, f"{type(problem).__name__} at lines {lines}: {problem}".encode()[:60000])
        os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        problem = pipe.read().decode(errors="replace")
    os.waitpid(child, 0)
    return problem


def run_all(table, wanted):
    """Runs the cases of a table, or those whose names are wanted, tells which failed, and ends the script."""
    table = {name: run for name, run in table.items() if not wanted or name in wanted}
    failed = 0
    with ThreadPool(8) as pool:
        for name, problem in zip(table, pool.imap(in_own_process, table.values())):
            if problem:
                failed += 1
                print(f"{name}: {problem}")
    print(f"{len(table)} cases, {failed} failed")
    sys.exit(failed != 0 or not table)
