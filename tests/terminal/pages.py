#!/usr/bin/env python3
"""The full-screen pages of the real program, in a terminal that this drives as a person does. pages.py KESTREL CASE

Ends with 0 when all held, 1 when something did not, 77 when the emulator is not installed.
"""
import os
import signal
import subprocess

from terminal import DELETE, DOWN, KESTREL, PAGE_DOWN, Terminal, finish
from driver import check, run_case


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
