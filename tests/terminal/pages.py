#!/usr/bin/env python3
"""The full-screen pages of the real program, in a terminal that this drives as a person does. pages.py KESTREL CASE

A pseudo-terminal takes the keys, and an emulator has what a person would see. Nothing is timed: each step waits until
the screen shows what it should, and gives up when nothing at all came for long. Ends with 0 when all held, 1 when
something did not, 77 when the emulator is not installed.
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

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "hostile"))
from driver import check, run_case, skip

sys.path.append("/usr/lib/python3/dist-packages")  # where the system keeps it, whichever interpreter runs this
try:
    import pyte
except ImportError:
    skip("The terminal emulator pyte is not installed")

KESTREL = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds in which nothing at all came
MOST_PIECES = 400  # of output, in which a page that renews itself has shown anything that it ever will
DELETE, DOWN, PAGE_DOWN = "\x1b[3~", "\x1bOB", "\x1b[6~"


class Screen(pyte.Screen):
    """With the two scrolling sequences that the emulator lacks and ncurses uses."""

    def scroll(self, change, count):
        x, y = self.cursor.x, self.cursor.y
        self.cursor.y = self.margins.top if self.margins else 0
        change(count or 1)
        self.cursor.x, self.cursor.y = x, y

    def scroll_up(self, count=1):
        self.scroll(self.delete_lines, count)

    def scroll_down(self, count=1):
        self.scroll(self.insert_lines, count)


class Stream(pyte.ByteStream):
    csi = {**pyte.ByteStream.csi, "S": "scroll_up", "T": "scroll_down"}
    events = pyte.ByteStream.events | {"scroll_up", "scroll_down"}


class Terminal:
    """A terminal with the program in it."""

    def __init__(self, arguments, columns, rows):
        self.screen = Screen(columns, rows)
        self.stream = Stream(self.screen)
        self.raw = b""
        self.master, self.slave = pty.openpty()
        self.before = termios.tcgetattr(self.slave)
        self.set_size(columns, rows)
        self.process = os.fork()
        if self.process == 0:
            os.setsid()
            fcntl.ioctl(self.slave, termios.TIOCSCTTY, 0)
            for descriptor in (0, 1, 2):
                os.dup2(self.slave, descriptor)
            # A kind that repeats no characters as xterm does, which the emulator does not know.
            os.environ.update(TERM="tmux-256color", LC_ALL="C.UTF-8")
            os.execv(KESTREL, [KESTREL, *arguments])

    def set_size(self, columns, rows):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        self.set_size(columns, rows)

    def type(self, keys):
        os.write(self.master, keys.encode())

    def text(self):
        return "\n".join(self.screen.display)

    def row_of(self, text):
        """The first line with that text, from 0."""
        return next(row for row, line in enumerate(self.screen.display) if text in line)

    def read(self, patience):
        if not select.select([self.master], [], [], patience)[0]:
            return False
        try:
            piece = os.read(self.master, 65536)
        except OSError:
            return False
        self.raw += piece
        self.stream.feed(piece)
        return bool(piece)

    def wait_for(self, condition, what):
        for _ in range(MOST_PIECES):
            if condition(self.text()) or not self.read(PATIENCE):
                break
        check(condition(self.text()), f"{what}; the screen:\n{self.text()}")

    def shows(self, text):
        self.wait_for(lambda screen: text in screen, f"“{text}” is shown")

    def hides(self, text):
        self.wait_for(lambda screen: text not in screen, f"“{text}” is not shown")

    def end(self):
        """The exit status, once everything that was written is read."""
        while True:
            ended, status = os.waitpid(self.process, os.WNOHANG)
            if ended:
                break
            self.read(0.1)
        while self.read(0):
            pass
        return status

    def is_as_found(self):
        settings = termios.tcgetattr(self.slave) == self.before
        screen = self.raw.rfind(b"\x1b[?1049l") > self.raw.rfind(b"\x1b[?1049h")
        cursor = self.raw.rfind(b"\x1b[?25h") > self.raw.rfind(b"\x1b[?25l")
        mouse = self.raw.rfind(b"1000l") > self.raw.rfind(b"1000h") >= 0
        return settings and screen and cursor and mouse


def finish(terminal):
    terminal.type("q")
    check(terminal.end() == 0, "q ends the page with exit code 0")
    check(terminal.is_as_found(), "The terminal is as it was found")


def monitor(_):
    """Sorts, filters, helps, follows the size of the terminal, and leaves it as it was."""
    own = f"{os.getpid():>7}"
    terminal = Terminal(["monitor", "--every", "200ms"], 100, 30)
    terminal.shows("command line")
    terminal.shows("Memory")
    terminal.type("n")
    terminal.type("/pages.py")
    terminal.shows("Filter: pages.py_")
    terminal.shows(own)
    terminal.type("\r")
    terminal.shows("Only “pages.py”")
    terminal.type(DOWN + DELETE)
    terminal.shows("to quit? [y/N]")
    terminal.type("n")
    terminal.hides("to quit?")
    terminal.type("\x1b")
    terminal.hides("Only “pages.py”")
    terminal.shows("PID")
    below_heading = chr(33 + terminal.row_of("PID") + 1)
    terminal.type("\x1b[M " + chr(33 + 4) + below_heading + DELETE)  # a click
    terminal.shows("to quit? [y/N]")
    terminal.type("n")
    terminal.hides("to quit?")
    terminal.type("?")
    terminal.shows("Keys (any key goes back)")
    terminal.type(" ")
    terminal.hides("Keys (any")
    terminal.type("t")
    for columns, rows in ((20, 5), (1, 1), (300, 2), (20, 5)):
        terminal.resize(columns, rows)
    terminal.shows("PID")
    terminal.resize(100, 30)
    terminal.shows("command line")
    terminal.shows("Memory")
    finish(terminal)


def processes(_):
    """The list alone, with what the command line narrows it to."""
    found = subprocess.run([KESTREL, "processes", "no-process-has-this"], capture_output=True, text=True, check=False)
    check(found.returncode == 0 and found.stdout == "", f"A search does not find itself:\n{found.stdout}")
    terminal = Terminal(["processes", "--every", "200ms", "--tree", "pages.py"], 100, 20)
    terminal.shows("kestrel processes")
    terminal.shows(f"{os.getpid():>7}")
    check("Memory" not in terminal.text(), "There are no figures")
    terminal.type(PAGE_DOWN)
    finish(terminal)


def signals(_):
    """A request to end leaves the terminal as it was, in the middle of a line that is typed too."""
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        terminal = Terminal(["monitor", "--every", "200ms"], 80, 24)
        terminal.shows("Memory")
        terminal.type("/abc")
        terminal.shows("Filter: abc_")
        os.kill(terminal.process, number)
        status = terminal.end()
        check(os.WIFEXITED(status) and os.WEXITSTATUS(status) == 130, f"{number!r} ends it with exit code 130")
        check(terminal.is_as_found(), f"The terminal is as it was found after {number!r}")


run_case({"monitor": monitor, "processes": processes, "signals": signals}, mounting=set())
