#!/usr/bin/env python3
"""The page of `kestrel browse`, in a terminal that this drives as a person does. browse.py KESTREL CASE

Ends with 0 when all held, 1 when something did not, 77 when the emulator is not installed.
"""
import os
import pathlib
import shutil
import signal
import subprocess

from terminal import (BACKSPACE, DOWN, ENTER, KESTREL, Terminal, check, finish)
from driver import run_case


class Place:
    """A home and a tree of its own, scanned twice with a change in between."""

    def __init__(self, folder):
        self.home = folder / "home"
        self.tree = folder / "tree"
        self.home.mkdir()
        os.environ.update(HOME=str(self.home), CFFIXED_USER_HOME=str(self.home),
                          XDG_DATA_HOME=str(self.home / "data"), XDG_CONFIG_HOME=str(self.home / "config"),
                          SHELL="/bin/sh", COLORTERM="")
        self.write("media/film.mp4", 3_000_000)
        self.write("media/song.mp3", 500_000)
        self.write("docs/report 2019.pdf", 200_000)
        self.write("docs/notes.txt", 10)
        self.write(".cache/thing", 100_000)

    def write(self, name, size):
        path = self.tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(b"x" * size)

    def run(self, *arguments):
        return subprocess.run([KESTREL, *arguments], capture_output=True, text=True, check=False)

    def scan(self):
        done = self.run("scan", str(self.tree))
        check(done.returncode == 0, f"The tree is scanned: {done.stderr}")

    def browse(self, *arguments, columns=100, rows=24, ignored=()):
        terminal = Terminal(["browse", *arguments], columns, rows, ignored=ignored)
        terminal.shows("q quit")
        return terminal


def chosen(terminal):
    """The line that stands out."""
    for row in range(terminal.screen.lines):
        cells = terminal.screen.buffer[row]
        if all(cells[column].reverse for column in range(3, 30)):
            return terminal.screen.display[row]
    return ""


def chooses(terminal, text):
    terminal.wait_for(lambda _: text in chosen(terminal), f"“{text}” is chosen")


def walk(folder):
    """Into folders and back, sorted in every way, with what has changed since the scan before."""
    place = Place(folder)
    place.scan()
    place.write("media/new.bin", 2_000_000)
    (place.tree / "docs/notes.txt").unlink()
    place.scan()
    terminal = place.browse()
    chooses(terminal, "media/")
    terminal.shows("+2.00 MB")
    terminal.type(ENTER)
    chooses(terminal, "film.mp4")
    terminal.type("n")
    chooses(terminal, "film.mp4")
    terminal.type("nj")
    chooses(terminal, "new.bin")
    terminal.type("s" + BACKSPACE)
    chooses(terminal, "media/")
    terminal.type("m")
    terminal.shows("modified▼")
    terminal.type("c")
    chooses(terminal, "media/")
    terminal.type("g")
    terminal.shows("change▼")
    chooses(terminal, "media/")
    terminal.type("s")
    terminal.shows("size▼")
    terminal.type(".")
    terminal.hides(".cache/")
    terminal.shows("1 hidden")
    terminal.type(".a")
    terminal.shows("length▼")
    terminal.type("i")
    terminal.shows("identity")
    terminal.type(" ")
    terminal.type("G")
    terminal.type("gg")
    chooses(terminal, "media/")
    terminal.type("h")
    terminal.shows("top of the scan")
    finish(terminal)
    terminal = place.browse(str(place.tree / "docs"), columns=40)
    chooses(terminal, "report 2019.pdf")
    finish(terminal)


def find(folder):
    """By typed words, the largest, by type; and from what was found into its folder."""
    place = Place(folder)
    place.scan()
    terminal = place.browse()
    terminal.type("/report")
    terminal.shows("docs/report 2019.pdf")
    terminal.type(BACKSPACE * 6 + "type:foldr")
    terminal.shows("foldr")
    terminal.shows("names no kind")
    terminal.type(BACKSPACE * 10 + "2019")
    chooses(terminal, "docs/report 2019.pdf")
    terminal.type(ENTER + ENTER)
    terminal.shows("tree/docs")
    chooses(terminal, "report 2019.pdf")
    terminal.type("h")
    chooses(terminal, "docs/")
    terminal.type("f")
    terminal.shows("Largest files")
    chooses(terminal, "media/film.mp4")
    terminal.type("he")
    terminal.shows("Files by type")
    chooses(terminal, "videos")
    terminal.type(ENTER)
    chooses(terminal, "media/film.mp4")
    terminal.type("h\t")
    terminal.shows("Files by extension")
    chooses(terminal, "mp4")
    terminal.type("ho")
    terminal.shows("Files by age")
    terminal.type("h")
    terminal.shows("q quit")
    finish(terminal)


def picture(folder):
    """The folder as rectangles, with the item that is chosen in both views; without colour, too."""
    place = Place(folder)
    place.scan()
    for variable in ("", "NO_COLOR"):
        if variable:
            os.environ[variable] = "1"
        terminal = place.browse()
        chooses(terminal, "media/")
        terminal.type("p")
        terminal.shows("p list")
        terminal.shows("film.mp4")
        terminal.shows("in 2 items")
        terminal.type("\x1bOC")
        terminal.shows("docs  ")
        terminal.type("\x1bOD" + ENTER)
        terminal.shows("tree/media")
        terminal.shows("song.mp3")
        terminal.resize(30, 8)
        terminal.shows("film.mp4")
        terminal.resize(100, 24)
        terminal.type(BACKSPACE + "p")
        terminal.shows("size▼")
        chooses(terminal, "media/")
        finish(terminal)


def trash(folder):
    """Marks, the plan, the Trash and back; for good only with the word; nothing where it is for looking only."""
    place = Place(folder)
    os.link(place.tree / "media/film.mp4", place.tree / "other name.mp4")
    place.scan()
    terminal = place.browse()
    terminal.type(ENTER)
    chooses(terminal, "film.mp4")
    terminal.type(" ")
    # The file has a name outside, so that nothing comes free.
    terminal.shows("1 marked, 0 B would come free")
    terminal.type(" ")
    terminal.shows("2 marked, 50")
    terminal.type("t")
    terminal.shows("Move 2 items")
    terminal.type("n")
    terminal.hides("Move 2 items")
    check((place.tree / "media/song.mp3").exists(), "A no leaves everything")
    terminal.type("t")
    terminal.shows("Move 2 items")
    terminal.type("y")
    terminal.shows("Moved 2 items to the Trash")
    check(not (place.tree / "media/song.mp3").exists(), "What was agreed to is gone")
    terminal.type(" ")
    terminal.shows("Nothing lies in this folder")
    check("song.mp3" not in place.run("search", "song", "--json").stdout, "The saved scan follows")
    terminal.type("z")
    terminal.shows("and 1 more, trashed just now? [y/N]")
    terminal.type("y")
    terminal.shows("Put back 2 items")
    chooses(terminal, "film.mp4")
    check((place.tree / "media/song.mp3").exists(), "It is back")
    check("song.mp3" in place.run("search", "song", "--json").stdout, "In the saved scan, too")
    terminal.type("u" + DOWN + "D")
    terminal.shows("Type DELETE")
    terminal.type("delete" + ENTER)
    terminal.shows("The word is DELETE")
    check((place.tree / "media/song.mp3").exists(), "Another word removes nothing")
    terminal.type("DELETE" + ENTER)
    terminal.shows("Removed 1 item")
    check(not (place.tree / "media/song.mp3").exists(), "The word removes it")
    terminal.type(" ")
    finish(terminal)

    terminal = place.browse("--read-only")
    terminal.type("t")
    terminal.shows("--read-only")
    finish(terminal)
    place.scan()
    terminal = place.browse("--at", "1")
    terminal.type("D")
    terminal.shows("older scan")
    finish(terminal)


def suggestions(folder):
    """What can go by rules, marked as a whole, and after it went no longer among them."""
    place = Place(folder)
    place.tree = place.home / "work"
    place.write("app/Cargo.toml", 10)
    place.write("app/target/debug/program", 4_000_000)
    for item in (place.tree / "app").rglob("*"):
        os.utime(item, (10**9, 10**9))
    place.scan()
    terminal = place.browse()
    terminal.type("w")
    chooses(terminal, "Cargo")
    terminal.shows("cargo build makes it again")
    terminal.type(ENTER)
    chooses(terminal, "app/target/")
    terminal.type("h ")
    terminal.shows("1 marked, 4.0")
    terminal.type("t")
    terminal.shows("Move 1 item")
    terminal.type("y")
    terminal.shows("Moved 1 item to the Trash")
    terminal.type(" ")
    terminal.shows("Nothing that a rule knows of")
    check(not (place.tree / "app/target").exists(), "What was agreed to is gone")
    check((place.tree / "app/Cargo.toml").exists(), "What tells of it stays")
    terminal.type("q")
    finish(terminal)


def written(folder):
    """A folder as a page for browsers and as a file for ncdu, beside each other."""
    place = Place(folder)
    place.scan()
    os.chdir(folder)
    terminal = place.browse(str(place.tree / "docs"))
    for key, name in (("r", "kestrel-report-docs-"), ("n", "kestrel-export-docs-")):
        terminal.type("E")
        terminal.shows("Write this folder as")
        terminal.type(key)
        terminal.shows("Written to the current directory: " + name)
    finish(terminal)
    check([path.name[:15] for path in sorted(folder.glob("kestrel-*"))] == ["kestrel-export-", "kestrel-report-"],
          "Two files, and nothing else")
    export = next(folder.glob("kestrel-export-*"))
    check("/docs with 3 items" in place.run("import", str(export)).stdout, "It can be read again")


def judged(folder):
    """Nothing goes that changed since it was shown, and what protects itself elsewhere does so here."""
    place = Place(folder)
    place.scan()
    terminal = place.browse()
    chooses(terminal, "media/")
    # Another folder of that name, and a link in place of one.
    (place.tree / "media").rename(folder / "aside")
    place.write("media/mine.txt", 5)
    shutil.rmtree(place.tree / ".cache")
    (place.tree / ".cache").symlink_to(place.home)
    terminal.type("*t")
    terminal.shows("changed since the scan")
    terminal.shows("Move 1 item")
    terminal.type("y")
    terminal.shows("Moved 1 item")
    check((place.tree / "media/mine.txt").exists(), "What is not what was shown stays")
    check(place.home.exists(), "What a link leads to stays")
    terminal.type(" ")
    finish(terminal)
    # A folder that vanished is told of, and left.
    place.scan()
    terminal = place.browse(str(place.tree / "media"))
    shutil.rmtree(place.tree / "media")
    place.scan()
    terminal.type("t")
    terminal.shows("no longer exists")
    terminal.type(" ")
    finish(terminal)


def sizes(folder):
    """Any size of terminal, and back."""
    place = Place(folder)
    place.scan()
    terminal = place.browse()
    terminal.type(" ")
    for columns, rows in ((20, 5), (1, 1), (300, 2), (40, 10), (2, 60), (20, 5)):
        terminal.resize(columns, rows)
    # What else two lines show depends on which of the sizes the program met.
    terminal.shows("docs/")
    terminal.resize(100, 24)
    terminal.shows("q quit")
    terminal.shows("media/")
    chooses(terminal, "docs/")
    finish(terminal)


def names(folder):
    """Names command the terminal nothing, and have their true width."""
    place = Place(folder)
    for name in ("esc\x1b[2J\x1b]0;t\x07", "line\nbreak", "bidi\u202egnp.txt", "幅が広い名前.txt", "e" + "\u0301" * 100,
                 "long" * 60, "zero\u200bwidth", b"raw\xff\xfe.bin"):
        raw = name if isinstance(name, bytes) else name.encode()
        with open(os.path.join(os.fsencode(place.tree), raw), "wb") as file:
            file.write(b"y" * 5000)
    place.scan()
    terminal = place.browse()
    for text in ("esc\\x1b[2J", "line\\nbreak", "bidi\\u{202e}gnp", "幅", "zero\\u{200b}width", "media/"):
        terminal.shows(text)
    check(b"\x1b]0;t" not in terminal.raw, "No name is a command")
    for row in range(terminal.screen.lines):
        check(len(terminal.screen.display[row]) <= 100 + 20, "No line breaks")
    terminal.type("/bidi")
    chooses(terminal, "bidi\\u{202e}gnp")
    terminal.type(ENTER + " ")
    terminal.shows("1 marked")
    terminal.type("t")
    terminal.shows("Move 1 item")
    terminal.type("nh")
    finish(terminal)


def signals(folder):
    """Signals, Ctrl-Z, and a program in between leave the terminal and the page as they were."""
    place = Place(folder)
    place.scan()
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        terminal = place.browse()
        terminal.type("/fi")
        terminal.shows("Find: fi_")
        os.kill(terminal.process, number)
        status = terminal.end()
        check(os.WIFEXITED(status) and os.WEXITSTATUS(status) == 130, f"{number!r} ends it with exit code 130")
        check(terminal.is_as_found(), f"The terminal is as it was found after {number!r}")
    terminal = place.browse()
    terminal.type("!")
    terminal.wait_for(lambda screen: "$" in screen or "#" in screen, "A shell asks")
    terminal.type("pwd; echo en''d\r")
    terminal.shows("end")
    check(str(place.tree) in terminal.text().replace("\n", ""), "It stands in the folder")
    terminal.type("exit\r")
    terminal.shows("q quit")
    chooses(terminal, "media/")
    finish(terminal)


def scanning(folder):
    """What no scan covers is scanned, shown and kept; another process's scan is no matter."""
    place = Place(folder)
    terminal = place.browse(str(place.tree))
    terminal.shows("finished and kept")
    chooses(terminal, "media/")
    check("tree" in place.run("history").stdout, "The scan is kept")
    place.write("media/more.bin", 5_000_000)
    place.run("clear")
    terminal.type("r")
    terminal.shows("8.83 MB")
    check("8.83" in place.run("history").stdout, "The second one, too")
    finish(terminal)
    missing = place.run("browse", str(folder / "missing"))
    check(missing.returncode == 2, "Without a terminal it is wrong usage")


def dumb(folder):
    """Where no page can be shown it says so, without one."""
    place = Place(folder)
    place.scan()
    done = subprocess.run(["script", "-qec", f"TERM=dumb {KESTREL} browse; echo code $?", "/dev/null"],
                          capture_output=True, text=True, check=False)
    check("code 2" in done.stdout and "needs a terminal" in done.stdout, f"A sentence and 2: {done.stdout}")
    check("\x1b[" not in done.stdout, "No page is begun")


def hostile(folder):
    """A terminal that misbehaves ends the page or is outlived by it, and nothing spins."""
    place = Place(folder)
    place.scan()
    # Sizes that change faster than the page is drawn, with keys in between.
    terminal = place.browse()
    for step in range(200):
        terminal.resize(1 + step * 37 % 150, 1 + step * 11 % 50)
        terminal.type((DOWN, "\x1b[<0;5;5M", "s", "a", "\x0c")[step % 5])
        terminal.read(0)
    terminal.resize(100, 24)
    terminal.shows("q quit")
    finish(terminal)
    # The terminal is gone, and the signal that says so ignored.
    terminal = place.browse(ignored=[signal.SIGHUP])
    terminal.hang_up()
    _, status = os.waitpid(terminal.process, 0)
    check(os.WIFEXITED(status), f"It ends with its terminal: {status}")
    # Where no page can be shown it says so.
    for what, command in {"an unknown kind": "TERM=no-such-terminal {} browse", "no kind": "env -u TERM {} browse",
                          "no input": "{} browse <&-", "an empty input": "{} browse < /dev/null"}.items():
        done = subprocess.run(["script", "-qec", command.format(KESTREL) + "; echo code $?", "/dev/null"],
                              capture_output=True, text=True, check=False)
        check("code 2" in done.stdout and "terminal" in done.stdout, f"With {what} a sentence and 2: {done.stdout}")
        check("\x1b[?1049" not in done.stdout, f"With {what} no page is begun")


def stopped(folder):
    """Ctrl-Z gives the terminal to the shell that started it, and fg takes it again."""
    place = Place(folder)
    place.scan()
    shell = Terminal(["-i"], 100, 24, program="/bin/sh")
    shell.type(f"PS1='prompt> '; {KESTREL} browse\r")
    shell.shows("q quit")
    shell.type(DOWN)
    chooses(shell, "docs/")
    shell.type("\x1a")
    shell.shows("Stopped")
    shell.type("stty -a | grep -o -- '-*icanon'; echo out''side\r")
    shell.shows("outside")
    check("-icanon" not in shell.text() and "icanon" in shell.text(), f"Lines are edited again:\n{shell.text()}")
    shell.resize(80, 20)
    shell.type("fg\r")
    shell.shows("q quit")
    chooses(shell, "docs/")
    shell.type("q")
    shell.wait_for(lambda _: shell.raw.count(b"\x1b[?1049l") == 2, "The page has gone")
    shell.type("exit\r")
    check(shell.end() == 0, "The shell ends as usual")


run_case({"walk": walk, "find": find, "picture": picture, "trash": trash,
          "suggestions": suggestions, "written": written, "judged": judged, "sizes": sizes, "names": names,
          "signals": signals, "scanning": scanning, "dumb": dumb, "hostile": hostile, "stopped": stopped}, mounting=set())
