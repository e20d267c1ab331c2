#!/usr/bin/env python3
"""Attacks on the removal of items. deletion.py REMOVER CASE

Every case works in a temporary folder of its own and, where it mounts something, in a mount namespace of its own. Ends
with 0 when all held, 1 when something did not, 77 when the system lacks what the case needs (a line says what).
"""
import ctypes
import os
import pathlib
import shutil
import stat
import subprocess
import sys
import time
import urllib.parse

from driver import check, failures, mount, needs_strace, run_case, skip, unmount

REMOVER = os.path.abspath(sys.argv[1])
LIBC = ctypes.CDLL(None, use_errno=True)
AT_FDCWD, RENAME_EXCHANGE = -100, 2
DIRECTORY, FILE = 1, 0
CHANGED = "The item changed since the scan. Scan again before deleting it."
PROTECTED = "Trash and Time Machine content are protected from Kestrel deletion."


def quote(name):
    """As gio writes a name in a URI."""
    return urllib.parse.quote(name, safe="=")


def exchange(a, b):
    if LIBC.renameat2(AT_FDCWD, os.fsencode(a), AT_FDCWD, os.fsencode(b), RENAME_EXCHANGE) != 0:
        raise OSError(ctypes.get_errno(), "exchange", a)


class Arena:
    """A folder with a victim and, outside of it, what must never be touched."""

    def __init__(self, base, name):
        self.top = base / name
        self.parent = self.top / "parent"
        self.victim = self.parent / "victim"
        self.outside = self.top / "outside"
        self.link = self.top / "lnk"
        (self.victim / "sub").mkdir(parents=True)
        # Laid out like the parent, so that the same names are found behind a link to it.
        (self.outside / "victim" / "sub").mkdir(parents=True)
        (self.outside / "sub").mkdir()
        self.precious = []
        for folder in (self.outside, self.outside / "sub", self.outside / "victim", self.outside / "victim" / "sub"):
            for i in range(4):
                (folder / f"f{i}").write_text("precious")
                self.precious.append(folder / f"f{i}")
        for folder in (self.victim, self.victim / "sub"):
            for i in range(4):
                (folder / f"f{i}").write_text("content")
        self.link.symlink_to(self.outside)
        status = self.victim.lstat()
        self.identity = [str(status.st_dev), str(status.st_ino), str(DIRECTORY)]

    def lost(self):
        return [str(p) for p in self.precious if not p.is_file() or p.read_text() != "precious"]


class TrashArena(Arena):
    """The same with the victim in the home trash, which XDG_DATA_HOME names."""

    def __init__(self, base, name):
        super().__init__(base, name)
        trash = self.top / "data" / "Trash"
        for folder in (trash, trash / "info"):
            folder.mkdir(parents=True, mode=0o700)
        self.parent = self.parent.rename(trash / "files")
        self.parent.chmod(0o700)
        self.victim = self.parent / "victim"
        (trash / "info" / "victim.trashinfo").write_text("[Trash Info]\nPath=/victim\nDeletionDate=2026-11-20T09:30:00\n")


def hidden(folder, name):
    """The item where it stands in the folder while it is removed: in a private folder, or under a name of ours itself."""
    for place in folder.glob(".kestrel-removing-*"):
        if os.path.lexists(place / name):
            return place / name
        if place.is_dir() and any(place.iterdir()) or not place.is_dir():
            return place
    return None


def now(arena):
    """The item where it stands now: this attacker is the same user, watches the folder and may enter every other."""
    return hidden(arena.parent, arena.victim.name) or arena.victim


SWAPS = {
    "a folder inside": lambda a: exchange(now(a) / "sub", a.link),
    "the item": lambda a: exchange(now(a), a.link),
    "its parent": lambda a: exchange(a.parent, a.link),
}
MOUNTS = {
    "a mount on a folder inside": lambda a: mount("--bind", a.outside, now(a) / "sub"),
    "a mount on the item": lambda a: mount("--bind", a.outside, now(a)),
    "a mount on its parent": lambda a: mount("--bind", a.outside, a.parent),
}
CALLS = ["newfstatat", "fstat", "lstat", "statx", "openat", "open", "openat2", "getdents64", "unlinkat", "unlink", "rmdir",
         "renameat2", "close", "fcntl", "getrandom", "lseek"]


def run_stopped(command, call, number, log, act, output=subprocess.DEVNULL, **options):
    """Runs the command, stopped at the given call for `act`. Whether it got there."""
    log.write_text("")
    tracer = subprocess.Popen(["strace", "-qq", "-o", str(log), "-e", f"trace={call}", "-e",
                               f"inject={call}:signal=SIGSTOP:when={number}", *command],
                              stdout=output, stderr=subprocess.DEVNULL, **options)
    stopped = False
    while True:
        if not stopped and "--- stopped by SIGSTOP ---" in log.read_text(errors="replace"):
            stopped = True
            child = pathlib.Path(f"/proc/{tracer.pid}/task/{tracer.pid}/children").read_text().split()[0]
            try:
                act()
            finally:
                os.kill(int(child), 18)
        if tracer.poll() is not None:
            return stopped
        time.sleep(0.0005)  # between two looks at the log; nothing depends on its length


def attack(remover, base, attacks, clean, tells, make=Arena, step=1):
    """Swaps at every call of every kind, or at every few. How many attacks, and how many reached something outside."""
    tried = escaped = 0
    for title, swap in attacks.items():
        for call in CALLS:
            number = 1
            while True:
                arena = make(base, "arena")
                swapped = []

                def act():
                    try:
                        swap(arena)
                        swapped.append(True)
                    except (OSError, subprocess.CalledProcessError):
                        pass  # that part is gone already

                reached = run_stopped(remover(arena), call, number, base / "log", act)
                clean(arena)
                lost = arena.lost()
                shutil.rmtree(arena.top)
                if not reached:
                    break
                tried += bool(swapped)
                if lost:
                    escaped += 1
                    if tells:
                        print(f"  {title} at {call} {number}: {len(lost)} lost, such as {lost[0]}")
                number += step
    return tried, escaped


def race(base, attacks, clean, mode="permanent", **options):
    needs_strace()
    probe = base / "probe"
    if not run_stopped(["true"], "close", 1, probe, lambda: None):
        skip("strace can't stop a program here")
    naive = lambda arena: [REMOVER, "naive", str(arena.victim)]
    ours = lambda arena: [REMOVER, mode, str(arena.victim), *arena.identity]
    print("The naive remover:")
    tried, escaped = attack(naive, base, attacks, clean, tells=False, **options)
    print(f"  reached something outside in {escaped} of {tried} attacks")
    check(tried > 10 and escaped > 0, "the attacks bite")
    print("Ours:")
    tried, escaped = attack(ours, base, attacks, clean, tells=True, **options)
    print(f"  reached something outside in {escaped} of {tried} attacks")
    check(tried > 50, "there were attacks")
    check(escaped == 0, "nothing outside was touched")


def race_links(base):
    race(base, SWAPS, lambda arena: None)


def race_trash(base):
    """The same while a trash is emptied, at some of the calls: finding the trashes of all volumes takes most of them."""
    os.environ["XDG_DATA_HOME"] = str(base / "arena" / "data")
    race(base, SWAPS, lambda arena: None, "empty", make=TrashArena, step=3)


def race_mounts(base):
    def clean(arena):
        unmount(arena.parent)
        for place in (arena.victim, now(arena)):
            unmount(place / "sub")
            unmount(place)
            unmount(place / "sub")

    race(base, MOUNTS, clean)


def run(command, **options):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, **options)


def identity(path):
    status = os.lstat(path)
    return [status.st_dev, status.st_ino, DIRECTORY if stat.S_ISDIR(status.st_mode) else FILE]


def remove(path, mode="permanent", **options):
    return run([REMOVER, mode, path, *identity(path)], **options)


def tree(top):
    return sorted(str(p.relative_to(top)) for p in pathlib.Path(top).rglob("*"))


def swaps(base):
    """Exchanged at every call for another item of its kind: both are there afterwards, and the message tells why."""
    needs_strace()
    item, other, data = base / "item", base / "other", base / "data"
    environment = dict(os.environ, XDG_DATA_HOME=str(data))
    refused = 0

    def inner(path, kind):
        return path / "f" if kind == DIRECTORY else path

    for mode, kind in ((mode, kind) for mode in ("permanent", "trash") for kind in (FILE, DIRECTORY)):
        for call in ("newfstatat", "fstat", "statx", "openat", "openat2", "read", "close", "getrandom", "renameat2", "unlinkat"):
            number, reached = 1, True
            while reached:
                for path in (item, other):
                    if kind == DIRECTORY:
                        path.mkdir()
                    inner(path, kind).write_text(path.name)
                swapped = []

                def act():
                    if item.exists():
                        exchange(item, other)
                        swapped.append(True)

                with open(base / "output", "w+", encoding="utf-8") as output:
                    reached = run_stopped([REMOVER, mode, item, *map(str, identity(item))], call, number, base / "log", act,
                                          output, env=environment)
                    output.seek(0)
                    message = output.read()
                what = f"{mode} of kind {kind}, exchanged at {call} {number}"
                if swapped:
                    refused += 1
                    found = [inner(path, kind).read_text() for path in (item, other) if inner(path, kind).is_file()]
                    check(sorted(found) == ["item", "other"], f"{what}: both are there: {found}")
                    check(CHANGED in message, f"{what}: {message}")
                    check(not tree(data / "Trash" / "info"), f"{what}: no info file is left")
                else:
                    check(inner(other, kind).read_text() == "other", f"{what}: the other one is as it was")
                check(not list(base.glob(".kestrel-removing-*")), f"{what}: nothing is left under a name of ours")
                for path in (item, other, data):
                    if path.is_dir():
                        shutil.rmtree(path)
                    path.unlink(missing_ok=True)
                number += 1
    print(f"{refused} refused")
    check(refused > 40, "there were exchanges")


def crash(base):
    """Killed at every call of a removal and of a move to the trash: nothing is lost but what was asked for."""
    needs_strace()
    environment = dict(os.environ, XDG_DATA_HOME=str(base / "data"))
    kills = 0
    for mode in ("permanent", "trash"):
        for call in ("renameat2", "unlinkat", "write", "fsync", "mkdirat", "openat", "openat2", "statx", "newfstatat"):
            number = 1
            while True:
                item = base / "item"
                (item / "sub").mkdir(parents=True)
                (item / "sub" / "f").write_text("content")
                beside = base / "beside"
                beside.write_text("precious")
                result = run(["strace", "-f", "-qq", "-o", base / "log", "-e", f"trace={call}", "-e",
                              f"inject={call}:signal=SIGKILL:when={number}", REMOVER, mode, item, *identity(item)],
                             env=environment)
                killed = result.returncode < 0 or result.returncode == 137
                kills += killed
                check(beside.read_text() == "precious", f"{mode} killed at {call} {number}: what is beside it stays")
                places = [item, hidden(base, item.name) or item / "nowhere"]
                leftovers = list(base.glob(".kestrel-removing-*"))
                check(len(leftovers) <= 1, f"{mode} killed at {call} {number}: one folder of ours at most is left")
                trash = base / "data" / "Trash"
                if mode == "trash":
                    files = list((trash / "files").glob("*"))
                    whole = [p for p in [item, *files] if (p / "sub" / "f").is_file()]
                    check(len(whole) == 1, f"trash killed at {call} {number}: the item is in one place, whole")
                    for moved in files:
                        check((trash / "info" / f"{moved.name}.trashinfo").read_text().startswith("[Trash Info]\nPath="),
                              f"trash killed at {call} {number}: a trashed item has its info")
                elif killed:
                    check(sum(p.exists() for p in places) <= 1, f"killed at {call} {number}: at most one is left")
                for left in [item, *leftovers, base / "data"]:
                    shutil.rmtree(left, ignore_errors=True)
                if not killed:
                    break
                number += 1
    check(kills > 20, "there were kills")
    print(f"{kills} kills")


def faults(base):
    """System calls that are missing or fail: a slower way or a refusal, never an unsafe way."""
    needs_strace()
    environment = dict(os.environ, XDG_DATA_HOME=str(base / "data"))

    def with_fault(fault, mode, path):
        return run(["strace", "-f", "-qq", "-o", base / "log", "-e", f"inject={fault}", REMOVER, mode, path,
                    *identity(path)], env=environment)

    def new_tree():
        top = base / "item"
        shutil.rmtree(top, ignore_errors=True)
        (top / "sub" / "deep").mkdir(parents=True)
        for i in range(4):
            (top / "sub" / f"f{i}").write_text("content")
        return top

    for fault in ("openat2:error=ENOSYS", "openat2:error=EPERM", "statx:error=ENOSYS", "renameat2:error=ENOSYS",
                  "renameat2:error=EXDEV", "renameat2:error=ENOSPC", "renameat2:error=EINVAL"):
        top = new_tree()
        result = with_fault(fault, "permanent", top)
        check(result.returncode == 0 and not top.exists(), f"a folder is removed with {fault}: {result.stdout}")

    single = base / "file"
    single.write_text("content")
    for fault in ("renameat2:error=ENOSYS", "renameat2:error=EINVAL", "renameat2:error=ENOSPC"):
        result = with_fault(fault, "permanent", single)
        check(result.returncode == 1 and single.is_file(), f"a file stays with {fault}")
    result = with_fault("unlinkat:error=EACCES:when=1", "permanent", single)
    check(single.is_file() and not list(base.glob(".kestrel-removing-*")), "a file gets its name back")
    check("permission" in result.stdout, "the message tells the reason")

    for error, reason in (("EPERM", "Operation not permitted"), ("EBUSY", "Device or resource busy"),
                          ("EROFS", "Read-only file system"), ("EIO", "Input/output error")):
        top = new_tree()
        result = with_fault(f"unlinkat:error={error}:when=3", "permanent", top)
        check(result.returncode == 1 and top.is_dir(), f"a folder that is partly removed gets its name back after {error}")
        check("Some of its contents were removed; it stopped at “" + str(top) + "/sub/f" in result.stdout
              and result.stdout.rstrip().endswith(f"{reason}."), f"the message says so: {result.stdout}")

    for fault, what in (("write:error=ENOSPC:when=1", "no space"), ("write:error=EDQUOT:when=1", "a full quota"),
                        ("fsync:error=EIO:when=1", "a failing disk"),
                        ("renameat2:error=EXDEV", "another file system"), ("renameat2:error=EACCES", "no permission")):
        if "EXDEV" in fault and os.geteuid() == 0:
            continue  # would try the top of the real volume next
        result = with_fault(fault, "trash", single)
        check(result.returncode == 1 and single.is_file(), f"the item stays with {what}")
        check(not tree(base / "data" / "Trash" / "info"), f"no info file stays with {what}")
        check(not tree(base / "data" / "Trash" / "files"), f"nothing is in the trash with {what}")


def macos(base):
    """With the remover that has macOS's answers: what differs there is not what safety hangs on."""
    needs_strace()
    environment = dict(os.environ, KESTREL_RENAMES="unsupported")
    single, top = base / "file", base / "item"
    single.write_text("content")
    result = remove(single, env=environment)
    check(result.returncode == 1 and single.is_file(), "a file stays where a rename may replace something")
    check("Operation not supported." in result.stdout, f"the message tells why: {result.stdout}")
    check(not list(base.glob(".kestrel-removing-*")), "nothing is left under a name of ours")
    (top / "sub").mkdir(parents=True)
    (top / "sub" / "f").write_text("content")
    check(remove(top, env=environment).returncode == 0 and not top.exists(), "a folder is removed all the same")

    # What may not be taken into another folder, since that would fetch its content, gets a name of ours where it is.
    environment["KESTREL_RENAMES"] = "dataless"
    check(remove(single, env=environment).returncode == 0 and not single.exists(), "a file without its content is removed")
    check(not list(base.glob(".kestrel-removing-*")), "nothing is left under a name of ours")

    # More than one batch: the listing begins anew behind the removals of the first.
    top.mkdir()
    for number in range(70_000):
        os.mknod(top / str(number))
    (top / "sub" / "deep").mkdir(parents=True)
    result = remove(top)
    check(result.returncode == 0 and not top.exists(), f"a large folder is removed: {result.stdout}")

    # A locked file and a folder are refused with one value there; only a look tells them apart.
    (top / "sub").mkdir(parents=True)
    (top / "f").write_text("content")
    result = run(["strace", "-f", "-qq", "-o", base / "log", "-e", "inject=unlinkat:error=EPERM", REMOVER, "permanent", top,
                  *identity(top)])
    check(result.returncode == 1 and (top / "f").is_file(), "a locked file stays")
    check(f"It stopped at “{top}/f”: Operation not permitted." in result.stdout, f"the message names it: {result.stdout}")
    for left in base.glob(".kestrel-removing-*"):
        left.rmdir()  # nothing could be removed, so neither could our own folder

    tried, escaped = attack(lambda arena: [REMOVER, "permanent", str(arena.victim), *arena.identity], base, SWAPS,
                            lambda arena: None, tells=True, step=5)
    print(f"  reached something outside in {escaped} of {tried} attacks")
    check(tried > 30 and escaped == 0, "nothing outside was touched")


def mounts(base):
    """Items with mounts on or in them are refused whole; full, read-only and layered volumes."""
    volume = base / "volume"
    volume.mkdir()
    mount("-t", "tmpfs", "-o", "size=1m", "none", volume)
    outside = volume / "outside"
    outside.mkdir()
    (outside / "precious").write_text("precious")

    def refused(path, what):
        before = tree(path)
        for mode in ("permanent", "trash"):
            result = remove(path, mode, env=dict(os.environ, XDG_DATA_HOME=str(volume / "data")))
            check(result.returncode == 1, f"{what} is refused ({mode})")
            check("mounted" in result.stdout, f"{what}: the message says why: {result.stdout}")
            check(tree(path) == before, f"{what} is left as it was ({mode})")
        check((outside / "precious").is_file(), f"{what}: nothing behind the mount is touched")

    item = volume / "item"
    (item / "a" / "m").mkdir(parents=True)
    (item / "first").write_text("content")
    (item / "a" / "file").write_text("content")
    for arguments, what in ((("-t", "tmpfs", "none", item / "a" / "m"), "another file system"),
                            (("--bind", outside, item / "a" / "m"), "a bind mount of the same device"),
                            (("--bind", outside / "precious", item / "a" / "file"), "a bind mount of a file"),
                            (("--bind", outside, item), "a mount on the item itself")):
        mount(*arguments)
        refused(item, what)
        unmount(arguments[-1])
    spaced = volume / "odd name\\with\nmore"
    (spaced / "m").mkdir(parents=True)
    mount("--bind", outside, spaced / "m")
    refused(spaced, "a mount below an odd name")
    unmount(spaced / "m")
    check(remove(item).returncode == 0 and not item.exists(), "without mounts the item goes")

    # Where no table tells of the mounts, nothing is touched.
    (item / "a" / "m").mkdir(parents=True)
    (item / "first").write_text("content")
    mount("--bind", outside, item / "a" / "m")
    without_table = ["unshare", "-m", "sh", "-c", 'mount -t tmpfs none /proc && exec "$@"', "sh", REMOVER]
    environment = dict(os.environ, XDG_DATA_HOME=str(volume / "data"))
    result = run([*without_table, "trash", item, *identity(item)], env=environment)
    check("mounted" in result.stdout and (item / "first").is_file(), f"it is not trashed: {result.stdout} {result.stderr}")
    result = run([*without_table, "permanent", item, *identity(item)])
    check("Without /proc" in result.stdout and (item / "first").is_file(),
          f"nor is it removed: {result.stdout} {result.stderr}")
    check((outside / "precious").is_file(), "what is mounted stays")
    unmount(item / "a" / "m")

    # What must never go, behind another path.
    home, program = volume / "home", volume / "program"
    (home / "sub").mkdir(parents=True)
    (volume / "disguise").mkdir()
    mount("--bind", home, volume / "disguise")
    result = remove(volume / "disguise", env=dict(environment, HOME=str(home), CFFIXED_USER_HOME=str(home)))
    check("home-directory root" in result.stdout and (home / "sub").is_dir(), f"the home directory: {result.stdout}")
    program.write_text("")
    mount("--bind", REMOVER, program)
    result = remove(program)
    check("cannot remove itself" in result.stdout and os.path.exists(REMOVER), f"its own program: {result.stdout}")
    for place in (volume / "disguise", program):
        unmount(place)

    # A full volume: no bytes, no inodes.
    full = base / "full"
    full.mkdir()
    mount("-t", "tmpfs", "-o", "size=64k,nr_inodes=20", "none", full)
    (full / "item" / "sub").mkdir(parents=True)
    try:
        for i in range(100):
            (full / "item" / "sub" / f"f{i}").write_bytes(b"x" * 4096)
    except OSError:
        pass
    (full / "keep").exists()
    check(remove(full / "item").returncode == 0 and tree(full) == [], "removal works on a full volume")

    # A read-only volume.
    (full / "item").mkdir()
    (full / "item" / "file").write_text("content")
    mount("-o", "remount,ro,size=64k,nr_inodes=20", "none", full)
    result = remove(full / "item")
    check(result.returncode == 1 and "Read-only file system" in result.stdout, f"read-only: {result.stdout}")
    result = remove(full / "item", "trash", env=dict(os.environ, XDG_DATA_HOME=str(volume / "data")))
    check(result.returncode == 1 and "Read-only file system" in result.stdout, f"read-only trash: {result.stdout}")
    check(tree(full) == ["item", "item/file"], "nothing was touched on the read-only volume")

    # An overlay: a folder of the lower layer can't be renamed.
    layers = base / "layers"
    layers.mkdir()
    mount("-t", "tmpfs", "none", layers)
    for name in ("lower/item/sub", "upper", "work", "merged"):
        (layers / name).mkdir(parents=True)
    (layers / "lower" / "other").mkdir()
    (layers / "lower" / "other" / "f").write_text("content")
    for i in range(4):
        (layers / "lower" / "item" / "sub" / f"f{i}").write_text("content")
    for name in ("twin a", "twin b"):
        (layers / "lower" / name).write_text("content")
        os.link(layers / "lower" / name, layers / "lower" / f"{name} too")
    overlay = f"lowerdir={layers}/lower,upperdir={layers}/upper,workdir={layers}/work"
    if os.geteuid() != 0 or run(["mount", "-t", "overlay", "-o", overlay + ",userxattr", "none", layers / "merged"]).returncode:
        mount("-t", "overlay", "-o", overlay, "none", layers / "merged")
    item = layers / "merged" / "item"
    result = remove(item)
    check(result.returncode == 0 and not item.exists(), f"removal works on an overlay: {result.stdout}")
    check((layers / "lower" / "item" / "sub" / "f0").is_file(), "the lower layer is as it was")
    # A rename copies such a file to the upper layer, where it has another inode number.
    result = remove(layers / "merged" / "twin a")
    check(result.returncode == 0 and tree(layers / "merged").count("twin a") == 0, f"a hard link there: {result.stdout}")
    result = remove(layers / "merged" / "twin b", "trash", env=dict(os.environ, XDG_DATA_HOME=str(layers / "merged" / "data")))
    place = layers / "merged" / "data" / "Trash" / "files" / "twin b"
    check(result.returncode == 0 and place.is_file(), f"and to the trash: {result.stdout}")
    shutil.rmtree(layers / "merged" / "data")
    other = layers / "merged" / "other"
    result = remove(other, "trash", env=dict(os.environ, XDG_DATA_HOME=str(layers / "merged" / "data")))
    check(result.returncode == 1 and "doesn’t have one" in result.stdout, f"it can't be trashed there: {result.stdout}")
    check(tree(other) == ["f"], "it stays")
    for trash in (layers / "merged" / "data" / "Trash", layers / "merged" / f".Trash-{os.geteuid()}"):
        check(tree(trash) == ["files", "info"], f"nothing is left in {trash.name}")
    for place in (layers / "merged", layers, full, volume):
        unmount(place)


def subvolumes(base):
    """A part of a file system that no mount shows is left alone like a mount."""
    if os.geteuid() != 0 or shutil.which("mkfs.btrfs") is None or shutil.which("btrfs") is None:
        skip("Subvolumes need root and btrfs-progs")
    image, volume = base / "image", base / "volume"
    with open(image, "wb") as file:
        file.truncate(300 << 20)
    volume.mkdir()
    if run(["mkfs.btrfs", "-q", image]).returncode or run(["mount", "-o", "loop", image, volume]).returncode:
        skip("No btrfs can be mounted here")
    item = volume / "item"
    inside = item / "sub" / "inside"
    (item / "sub").mkdir(parents=True)
    (item / "first").write_text("content")
    for subvolume in (inside, volume / "itself"):
        subprocess.run(["btrfs", "-q", "subvolume", "create", subvolume], check=True)
        (subvolume / "precious").write_text("precious")
    environment = dict(os.environ, XDG_DATA_HOME=str(volume / "data"))
    for path in (item, volume / "itself"):
        result = remove(path, "trash", env=environment)
        check(result.returncode == 1 and "mounted" in result.stdout, f"{path.name} is not trashed: {result.stdout}")
        check(path.is_dir() and not tree(volume / "data"), f"{path.name} stays, and nothing is left in the trash")
    result = remove(volume / "itself")
    check(result.returncode == 1 and "mounted" in result.stdout, f"a subvolume is not removed: {result.stdout}")
    result = remove(item)
    check(result.stdout.endswith(f"Some of its contents were removed; it stopped at “{inside}”: Device or resource busy.\n"),
          f"the removal stops there: {result.stdout}")
    for precious in (inside / "precious", volume / "itself" / "precious"):
        check(precious.is_file(), f"{precious} stays")


def volumes(base):
    """The trash at the top of a volume that is not the home directory's."""
    volume = base / "disk name"
    volume.mkdir()
    environment = dict(os.environ, XDG_DATA_HOME=str(base / "data"))
    user = os.geteuid()
    own = volume / f".Trash-{user}"
    shared = volume / ".Trash"

    def fresh():
        unmount(volume)
        mount("-t", "tmpfs", "-o", "size=1m", "none", volume)
        (volume / "sub").mkdir()
        (volume / "sub" / "a b").write_text("content")
        return volume / "sub" / "a b"

    def trashed(item):
        result = remove(item, "trash", env=environment)
        return pathlib.Path(result.stdout.splitlines()[1]) if result.returncode == 0 else result.stdout

    item = fresh()
    place = trashed(item)
    check(place == own / "files" / "a b" and place.is_file(), f"the own trash is made: {place}")
    check("Path=sub/a%20b\n" in (own / "info" / "a b.trashinfo").read_text(), "its paths are relative to the volume")
    check(stat.S_IMODE(own.lstat().st_mode) == 0o700, "it is private")
    another = volume / ".Trash-4711" / "files" / "x"
    another.mkdir(parents=True)
    result = remove(another, "empty", env=environment)
    check(result.returncode == 1 and another.is_dir(), f"another user's trash is not emptied: {result.stdout}")
    for protected in (own, own / "files", place, another.parents[1], another):
        result = remove(protected, env=environment)
        check(result.returncode == 1 and PROTECTED in result.stdout, f"{protected.name} is protected: {result.stdout}")
    result = remove(place, "empty", env=environment)
    check(result.returncode == 0 and not tree(own / "files") and not tree(own / "info"), f"it is emptied: {result.stdout}")

    item = fresh()
    shared.mkdir()
    shared.chmod(0o1777)
    place = trashed(item)
    check(place == shared / str(user) / "files" / "a b", f"the shared trash is used: {place}")
    check(not own.exists(), "the own one is not made then")
    result = remove(place, "empty", env=environment)
    check(result.returncode == 0 and not tree(place.parent), f"the shared trash is emptied: {result.stdout}")

    def not_sticky(): shared.mkdir(); shared.chmod(0o777)
    def a_link(): (volume / "elsewhere").mkdir(mode=0o1777); shared.symlink_to(volume / "elsewhere")
    def user_is_link():
        shared.mkdir(); shared.chmod(0o1777); (volume / "elsewhere").mkdir(); (shared / str(user)).symlink_to(volume / "elsewhere")
    def files_is_link():
        shared.mkdir(); shared.chmod(0o1777); (shared / str(user)).mkdir(mode=0o700)
        (volume / "elsewhere").mkdir(); (shared / str(user) / "files").symlink_to(volume / "elsewhere")
    def group_writable():
        shared.mkdir(); shared.chmod(0o1777); (shared / str(user)).mkdir(); (shared / str(user)).chmod(0o770)
    for spoil in (not_sticky, a_link, user_is_link, files_is_link, group_writable):
        item = fresh()
        spoil()
        place = trashed(item)
        check(place == own / "files" / "a b", f"{spoil.__name__}: the own trash is used: {place}")
        check(not tree(volume / "elsewhere"), f"{spoil.__name__}: nothing is written outside")

    def own_is_link(): (volume / "elsewhere").mkdir(); own.symlink_to(volume / "elsewhere")
    def own_is_file(): own.write_text("x")
    def own_info_is_link():
        own.mkdir(mode=0o700); (volume / "elsewhere").mkdir(); (own / "info").symlink_to(volume / "elsewhere")
    def own_is_group_writable(): own.mkdir(); own.chmod(0o770)
    for spoil in (own_is_link, own_is_file, own_info_is_link, own_is_group_writable):
        item = fresh()
        spoil()
        message = trashed(item)
        check(message == "“a b” couldn’t be moved to the trash because the volume “disk name” doesn’t have one.\n",
              f"{spoil.__name__}: {message}")
        check(item.is_file() and not tree(volume / "elsewhere"), f"{spoil.__name__}: nothing is touched")

    def own_is_a_link_to_a_trash():
        elsewhere.rename(volume / "elsewhere"); own.symlink_to(volume / "elsewhere")
    def files_is_a_link_to_a_folder():
        elsewhere.rename(own); (own / "files").rename(volume / "elsewhere"); (own / "files").symlink_to(volume / "elsewhere")
    def info_is_a_link_to_a_folder():
        elsewhere.rename(own); (own / "info").rename(volume / "elsewhere"); (own / "info").symlink_to(volume / "elsewhere")
    def own_may_be_written_by_others(): elsewhere.rename(own); own.chmod(0o770)
    for spoil in (own_is_a_link_to_a_trash, files_is_a_link_to_a_folder, info_is_a_link_to_a_folder,
                  own_may_be_written_by_others):
        fresh()
        elsewhere = volume / "prepared"
        for folder in (elsewhere, elsewhere / "files", elsewhere / "info"):
            folder.mkdir(mode=0o700)
        (elsewhere / "files" / "x").write_text("precious")
        spoil()
        result = remove(own / "files" / "x", "empty", env=environment)
        check(result.stdout == "No trash lists it.\n" and (own / "files" / "x").read_text() == "precious",
              f"{spoil.__name__}: {result.stdout}")
    item = fresh()
    place = trashed(item)
    outside = base / "outside the volume"
    outside.mkdir()
    (outside / "f").write_text("precious")
    place.unlink()
    place.mkdir()
    mount("--bind", outside, place)
    result = remove(place, "empty", env=environment)
    check(result.returncode == 1 and (outside / "f").is_file(), f"a mount in the trash is not emptied: {result.stdout}")
    unmount(place)

    # The home trash on the same volume.
    data = volume / "data"

    def home_is_link(): (data / "Trash").symlink_to(volume / "elsewhere")
    def home_is_file(): (data / "Trash").write_text("x")
    def home_info_is_link(): (data / "Trash").mkdir(mode=0o700); (data / "Trash" / "info").symlink_to(volume / "elsewhere")
    def home_files_is_link(): (data / "Trash").mkdir(mode=0o700); (data / "Trash" / "files").symlink_to(volume / "elsewhere")
    def home_is_group_writable(): (data / "Trash").mkdir(); (data / "Trash").chmod(0o770)
    for spoil in (home_is_link, home_is_file, home_info_is_link, home_files_is_link, home_is_group_writable):
        item = fresh()
        data.mkdir()
        (volume / "elsewhere").mkdir()
        spoil()
        place = remove(item, "trash", env=dict(environment, XDG_DATA_HOME=str(data))).stdout.splitlines()[-1]
        check(place == str(own / "files" / "a b"), f"{spoil.__name__}: the volume's trash is used: {place}")
        check(not tree(volume / "elsewhere"), f"{spoil.__name__}: nothing is written outside")

    # A bind mount of the home trash's own device: the same device number, but no rename across it.
    home = base / "home"
    home.mkdir()
    mount("-t", "tmpfs", "none", home)
    (home / "real" / "sub").mkdir(parents=True)
    (home / "bound").mkdir()
    mount("--bind", home / "real", home / "bound")
    item = home / "bound" / "sub" / "file"
    item.write_text("content")
    environment["XDG_DATA_HOME"] = str(home / "data")
    place = trashed(item)
    check(place == home / "bound" / f".Trash-{user}" / "files" / "file", f"the trash of the bind mount is used: {place}")
    check(not tree(home / "data" / "Trash" / "info"), "no info file is left in the home trash")

    # No space for the info file.
    item = fresh()
    try:
        (volume / "filler").write_bytes(b"x" * (2 << 20))
    except OSError:
        pass
    message = trashed(item)
    check(isinstance(message, str) and "No space left on device" in message, f"a full volume: {message}")
    check(item.is_file() and not tree(own / "info"), "the item stays, and no empty info file")
    for place in (home / "bound", home, volume):
        unmount(place)


def interoperability(base):
    """Items go back and forth between this trash, trash-cli and gio."""
    if shutil.which("trash-list") is None or shutil.which("trash-restore") is None:
        skip("trash-cli is not installed")
    work = base / "work"
    work.mkdir()
    environment = dict(os.environ, HOME=str(base), CFFIXED_USER_HOME=str(base), XDG_DATA_HOME=str(base / "data"),
                       LC_ALL="C.UTF-8")
    environment.pop("DBUS_SESSION_BUS_ADDRESS", None)
    names = ["plain", "a b", "100%", "é=ü", "new\nline", "-rf"]
    trash = base / "data" / "Trash"

    for name in names:
        (work / name).write_text(name)
        check(remove(work / name, "trash", env=environment).returncode == 0, f"{name!r} is trashed")
    listing = run(["trash-list"], env=environment).stdout
    for name in names:
        check(str(work / name) in listing, f"trash-cli lists {name!r}")
    for name in names:
        run(["trash-restore", work / name], env=environment, input="0\n", cwd=work)
        check((work / name).is_file() and (work / name).read_text() == name, f"trash-cli restores {name!r}")
    check(not tree(trash / "files") and not tree(trash / "info"), "trash-cli leaves nothing behind")

    # What another tool put there is never overwritten.
    (work / "same").write_text("theirs")
    check(run(["trash-put", work / "same"], env=environment).returncode == 0, "trash-cli trashes")
    (work / "same").write_text("ours")
    check(remove(work / "same", "trash", env=environment).returncode == 0, "a second one is trashed")
    check(sorted(p.read_text() for p in (trash / "files").iterdir()) == ["ours", "theirs"], "both are there")
    run(["trash-empty"], env=environment, input="y\n")
    check(not tree(trash / "files"), "trash-cli empties what both put there")

    # And ours what trash-cli put there.
    (work / "theirs").mkdir()
    (work / "theirs" / "f").write_text("content")
    (work / "new\nname").write_text("content")
    for name in ("theirs", "new\nname"):
        check(run(["trash-put", work / name], env=environment).returncode == 0, f"trash-cli trashes {name!r}")
        check(str(work / name) in run(["trash-list"], env=environment).stdout, f"trash-cli lists {name!r}")
        result = remove(trash / "files" / name, "empty", env=environment)
        check(result.returncode == 0, f"{name!r} is emptied: {result.stdout}")
        check(str(work / name) not in run(["trash-list"], env=environment).stdout, f"trash-cli lists {name!r} no more")
    check(not tree(trash / "files") and not tree(trash / "info"), "nothing of it is left")

    gvfs = any(pathlib.Path(p).exists() for p in ("/usr/libexec/gvfsd-trash", "/usr/lib/gvfs/gvfsd-trash"))
    if shutil.which("gio") is None or shutil.which("dbus-run-session") is None or not gvfs:
        if not failures:
            skip("gio, gvfs or dbus-run-session is not installed")
        return
    (work / "folder" / "sub").mkdir(parents=True)
    (work / "folder" / "sub" / "f").write_text("content")
    for name in ["folder", *names]:
        check(remove(work / name, "trash", env=environment).returncode == 0, f"{name!r} is trashed")
    # gio itself restores a name that is not ASCII under an escaped one; that it reads such items is as far as it goes.
    plain = ["folder", "plain", "a b", "100%", "-rf"]
    script = "\n".join(["gio trash --list", *(f"gio cat 'trash:///{quote(name)}' && echo" for name in names),
                        *(f"gio trash --restore 'trash:///{quote(name)}'" for name in plain)])
    result = run(["dbus-run-session", "--", "sh", "-c", script], env=environment, cwd=work)
    for name in ["folder", *names]:
        check(f"trash:///{quote(name)}\t" in result.stdout, f"gio lists {name!r}: {result.stdout} {result.stderr}")
    check("".join(f"{name}\n" for name in names) in result.stdout, f"gio reads all of them: {result.stdout}")
    for name in plain:
        check((work / name).exists(), f"gio restores {name!r}: {result.stdout} {result.stderr}")
    check(len(list((trash / "files").iterdir())) == len(names) + 1 - len(plain), "gio leaves the others there")

    # And the other way: what gio trashes is not overwritten by ours.
    (work / "twice").write_text("theirs")
    run(["dbus-run-session", "--", "gio", "trash", work / "twice"], env=environment)
    (work / "twice").write_text("ours")
    check(remove(work / "twice", "trash", env=environment).returncode == 0, "a second one is trashed")
    check(sorted(p.read_text() for p in (trash / "files").glob("twice*")) == ["ours", "theirs"], "both are there")


run_case({case.__name__.replace("_", "-"): case for case in
          (race_links, race_trash, race_mounts, swaps, crash, faults, macos, mounts, subvolumes, volumes, interoperability)},
         mounting={"race-mounts", "mounts", "subvolumes", "volumes"})
