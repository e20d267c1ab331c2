#!/usr/bin/env python3
"""Words that the real shells complete, as a person types them: completion.py KESTREL CASE (bash, zsh or fish).

Each step types the beginning of a line and the key Tab, and waits for the whole line on the screen. What names hold that
a shell would run must end up as a plain argument: nothing but the folder's own files may be there afterwards.
"""
import os
import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from terminal import KESTREL, Terminal, check, skip

from driver import run_case

TAB, KILL_LINE = "\t", "\x15"
TRAP = """it's "a" $(touch x) `touch x` file"""
APPLICATION = "Fancy 'App' $(touch x)"


class Shell:
    """A shell in a terminal, with completion as `cmake --install` puts it, in a folder with names to complete."""

    def __init__(self, program, arguments, files, scratch):
        self.name = os.path.basename(program)
        self.home = scratch / "home"
        self.folder = scratch / "folder"
        for name, text in files.items():
            path = self.home / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        (self.folder / "subfolder").mkdir(parents=True)
        (self.folder / TRAP).write_text("")
        (self.folder / "plain.txt").write_text("")
        entry = self.home / ".local/share/applications/org.example.Fancy.desktop"
        entry.parent.mkdir(parents=True)
        entry.write_text(f"[Desktop Entry]\nType=Application\nName={APPLICATION}\nExec=fancy\n")
        self.before = sorted(os.listdir(self.folder))
        for name in list(os.environ):
            if name.startswith(("XDG_", "BASH", "ZDOTDIR", "PROMPT")) or name in ("ENV", "PS1", "NO_COLOR", "CDPATH"):
                del os.environ[name]
        os.environ.update(HOME=str(self.home), CFFIXED_USER_HOME=str(self.home), ZDOTDIR=str(self.home),
                          PATH=os.path.dirname(KESTREL) + ":" + os.environ["PATH"], XDG_DATA_DIRS="/nonexistent",
                          SHELL=program)
        os.chdir(self.folder)
        self.terminal = Terminal([argument.format(home=self.home) for argument in arguments], 200, 60, program)
        self.steps = 0
        self.settle()

    def settle(self):
        """Waits until the shell takes a new line, on an empty screen."""
        self.steps += 1
        # The word as it is typed is not yet the one that is printed.
        self.terminal.type(KILL_LINE + f"clear; echo rea''dy-{self.steps}.\r")
        self.terminal.shows(f"ready-{self.steps}.")

    def completes(self, typed, whole):
        self.terminal.type(typed + TAB)
        self.terminal.shows(whole)
        self.settle()

    def runs(self, typed, shown):
        """What is completed is then run, with that very argument."""
        self.terminal.type(typed + TAB)
        self.terminal.shows(r"\$\(")
        self.terminal.type("\r")
        self.terminal.shows(shown)
        self.settle()

    def end(self):
        self.terminal.type("exit\r")
        self.terminal.end()
        check(sorted(os.listdir(self.folder)) == self.before, f"{self.name} ran nothing and made nothing: {os.listdir(self.folder)}")


def own_name():
    """Of a process, with something to run in it: no other test's, and as long as one may be."""
    number, digits = os.getpid(), ""
    while number:
        number, digit = divmod(number, 36)
        digits += "0123456789abcdefghijklmnopqrstuvwxyz"[digit]
    return f"i{digits} $(id>x)"


def script(name):
    return subprocess.run([KESTREL, "completion", name], capture_output=True, check=True, text=True).stdout


def completes_everything(shell):
    shell.completes("kestrel dupl", "kestrel duplicates")
    shell.completes("kestrel scan --one", "kestrel scan --one-file-system")
    shell.completes("kestrel search --sort sc", "kestrel search --sort score")
    shell.completes("kestrel scan --color=al", "kestrel scan --color=always")
    shell.completes("kestrel scan subf", "kestrel scan subfolder/")
    shell.completes("kestrel export --output=pl", "kestrel export --output=plain.txt")
    shell.completes("kestrel search type:fol", "kestrel search type:folder")
    shell.completes("kestrel search --type photos,vid", "kestrel search --type photos,videos")
    # No blank behind the colon: what is of interest comes there.
    shell.terminal.type("kestrel search ty" + TAB)
    shell.terminal.shows("kestrel search type:")
    shell.completes("li", "kestrel search type:link")
    shell.runs("kestrel trash --dry-run it", TRAP)
    shell.runs("kestrel apps Fan", APPLICATION)

    name = own_name()
    idler = shell.home / name
    shutil.copy(shutil.which("sleep"), idler)
    with subprocess.Popen([idler, "600"]) as process:
        try:
            shell.runs("kestrel quit --yes " + name.split()[0], f"{name} ({process.pid}) was asked to quit.")
            check(process.wait() == -15, "The process was asked to quit")
        finally:
            process.kill()
    # Whether it is the only one with these first digits or one of many: it is there.
    own = str(os.getpid())
    shell.terminal.type("kestrel quit " + own[:-1] + TAB)
    shell.terminal.shows(own)
    shell.settle()
    shell.end()


def needs(name):
    program = shutil.which(name)
    if program is None:
        skip(f"{name} is not installed")
    return program


def bash(scratch):
    settings = "bind 'set show-all-if-ambiguous on'\nbind 'set page-completions off'\nbind 'set completion-query-items 0'\n"
    completes_everything(Shell(needs("bash"), ["--noprofile", "--rcfile", "{home}/rc", "-i"],
                               {"rc": settings + script("bash")}, scratch))


def zsh(scratch):
    settings = "unsetopt beep\nLISTMAX=1000\nfpath=(~/functions $fpath)\nautoload -Uz compinit\ncompinit -u\n"
    completes_everything(Shell(needs("zsh"), ["-d", "-i"], {".zshrc": settings, "functions/_kestrel": script("zsh")}, scratch))


def fish(scratch):
    settings = "set -g fish_greeting\nset -g fish_autosuggestion_enabled 0\n"
    completes_everything(Shell(needs("fish"), ["--private", "-i"],
                               {".config/fish/config.fish": settings,
                                ".config/fish/completions/kestrel.fish": script("fish")}, scratch))


run_case({"bash": bash, "zsh": zsh, "fish": fish}, mounting=set())
