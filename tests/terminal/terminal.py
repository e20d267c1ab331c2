"""A pseudo-terminal that takes the keys of a person, with an emulator that has what a person would see.

Nothing is timed: each step waits until the screen shows what it should, and gives up when nothing at all came for long.
"""
import fcntl
import os
import pty
import select
import signal
import struct
import sys
import termios

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "hostile"))
from driver import check, skip

sys.path.append("/usr/lib/python3/dist-packages")  # where the system keeps it, whichever interpreter runs this
try:
    import pyte
except ImportError:
    skip("The terminal emulator pyte is not installed")

KESTREL = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds in which nothing at all came
MOST_PIECES = 400  # of output, in which a page that renews itself has shown anything that it ever will
DELETE, UP, DOWN, PAGE_DOWN, ENTER, ESCAPE, BACKSPACE = "\x1b[3~", "\x1bOA", "\x1bOB", "\x1b[6~", "\r", "\x1b", "\x7f"


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

    def __init__(self, arguments, columns, rows, program=KESTREL, ignored=()):
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
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)
            os.execv(program, [program, *arguments])

    def set_size(self, columns, rows):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        self.set_size(columns, rows)

    def hang_up(self):
        """The terminal goes, as when its window is closed."""
        os.close(self.master)
        os.close(self.slave)

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
