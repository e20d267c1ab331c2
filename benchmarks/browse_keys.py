#!/usr/bin/env python3
"""How long the page of `kestrel browse` takes from a key to the last byte of its frame, and until it is there at first.

browse_keys.py KESTREL [FOLDER]: FOLDER is one with many items in the newest saved scan; without it the page begins at the
top of that scan. Milliseconds, of each key the median and the most of 30, and what the process holds
in memory after them; what a terminal takes to draw is not in them.
"""
import fcntl
import os
import pty
import select
import statistics
import struct
import sys
import termios
import time

QUIET = 0.08  # seconds without a byte after which a frame is over
KEYS = {"down": "\x1bOB", "page down": "\x1b[6~", "end": "\x1b[F", "home": "\x1b[H", "sort by name": "n", "sort by size": "s",
        "sort by items": "c", "sort by date": "m", "lengths": "a", "hidden": ".", "mark": " ", "picture": "p"}


def frame(master, patience=QUIET):
    """Seconds until the last byte, and all bytes."""
    begin = time.perf_counter()
    last, read = begin, b""
    while select.select([master], [], [], patience)[0]:
        try:
            read += os.read(master, 1 << 16)
        except OSError:
            break
        last = time.perf_counter()
        patience = QUIET
    return last - begin, read


def memory(process):
    with open(f"/proc/{process}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) / 1000 for line in status if line.startswith("VmRSS"))


def main():
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 40, 120, 0, 0))
    begin = time.perf_counter()
    process = os.fork()
    if process == 0:
        os.setsid()
        fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
        for descriptor in (0, 1, 2):
            os.dup2(slave, descriptor)
        os.environ.update(TERM="xterm-256color", LC_ALL="C.UTF-8")
        os.execv(sys.argv[1], [sys.argv[1], "browse", "--read-only", *sys.argv[2:3]])
    shown = b""
    while b"name" not in shown:
        shown += os.read(master, 1 << 16)
    first = time.perf_counter() - begin
    frame(master, 0.5)
    print(f"{'first frame with items':24} {first * 1000:7.1f}           {memory(process):7.1f} MB")
    for name, key in KEYS.items():
        times = []
        for _ in range(30):
            os.write(master, key.encode())
            times.append(frame(master)[0] * 1000)
        print(f"{name:24} {statistics.median(times):7.1f} {max(times):7.1f}   {memory(process):7.1f} MB")
    os.write(master, b"q")
    # Until its end something must read what it writes.
    while os.waitpid(process, os.WNOHANG)[0] == 0:
        frame(master, 0.1)


main()
