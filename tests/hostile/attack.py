#!/usr/bin/env python3
"""Attacks on the real program. attack.py KESTREL SUITE [--all] [--tell]

`kestrel remove`, `trash` and `restore` of a file and of a folder are run again and again, and something happens at one
of their system calls each time; kestrel-tracer, which stands beside the program, sees to it. Suites:

    stops   the program is stopped, something is swapped, it goes on
    mounts  likewise, but something is mounted (root only)
    kills   the program is killed
    faults  the call fails, and is not made
    late    the call is made, and reported as failed
    interrupts
            Ctrl-C comes

Without --all a part of the calls, another one for each kind of attack; --tell prints what the program said to each
finding. What must hold is in `judge`. The last line counts. Ends with 0 when all held, 1 when something did not, 77 when
the system lacks what the suite needs (a line says what).
"""
import collections
import ctypes
import errno
import functools
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

from driver import failures, mount, mounts_below, needs_mount_namespace, skip, unmount

KESTREL = os.path.abspath(sys.argv[1])
TRACER = os.path.join(os.path.dirname(KESTREL), "kestrel-tracer")
REMOVER = os.path.join(os.path.dirname(KESTREL), "kestrel-remover")
SUITE = sys.argv[2]
ALL = "--all" in sys.argv
TELL = "--tell" in sys.argv
LIBC = ctypes.CDLL(None, use_errno=True)
AT_FDCWD, RENAME_EXCHANGE = -100, 2
PATIENCE = 120  # seconds after which a run counts as one that never ends
HIDDEN = ".kestrel-"  # how the names begin that the program makes up beside an item
# Calls that change names or what they hold.
CHANGES = {"renameat2", "renameat", "rename", "linkat", "link", "unlinkat", "unlink", "rmdir", "mkdirat", "mkdir",
           "symlinkat", "symlink"}
ERRORS = ("EIO", "ENOMEM", "EMFILE", "ENOSPC", "EINTR", "EACCES")
LATE_ERRORS = ("EIO", "ENOENT", "EEXIST")

counts = collections.Counter()
# A shell that starts this in the background has Ctrl-C ignored, and what is ignored stays so in all that is started from
# here. What has a handler has not.
signal.signal(signal.SIGINT, signal.default_int_handler)


def exchange(a, b):
    if LIBC.renameat2(AT_FDCWD, os.fsencode(a), AT_FDCWD, os.fsencode(b), RENAME_EXCHANGE) != 0:
        raise OSError(ctypes.get_errno(), "exchange", str(a))


class Scene:
    """An item, a home and a Trash of its own, and outside of it what must never be touched. Every file's content tells
    where it stood at first."""

    def __init__(self, base, operation, kind):
        self.base = base
        self.top = base / "scene"
        self.operation, self.kind = operation, kind
        self.parent = self.top / "parent"
        self.victim = self.parent / "victim"
        self.outside = self.top / "outside"
        self.link = self.top / "lnk"
        self.data = self.top / "data"
        self.trash = self.data / "Trash"
        # Where it goes when the home's Trash can't be used: the volume is the test's own.
        self.volume_trash = base / f".Trash-{os.geteuid()}"
        for folder in (self.top / "home", self.data, self.parent, self.outside / "sub", self.outside / "victim" / "sub"):
            folder.mkdir(parents=True)
        self.kept = set()  # contents that must be there afterwards, once each
        self.free = set()  # contents that may be there
        for name in ("parent/beside", "outside/f0", "outside/f1", "outside/sub/f0", "outside/sub/f1", "outside/victim/f0",
                     "outside/victim/f1", "outside/victim/sub/f0", "outside/victim/sub/f1"):
            self.write(self.top / name, self.kept)
        goes = self.free if operation in ("remove", "naive") else self.kept
        if kind == "folder":
            (self.victim / "sub").mkdir(parents=True)
            for name in ("f0", "f1", "sub/f0", "sub/f1"):
                self.write(self.victim / name, goes)
            self.contents = {f"parent/victim/{name}" for name in ("f0", "f1", "sub/f0", "sub/f1")}
        else:
            self.write(self.victim, goes)
            self.contents = {"parent/victim"}
        self.folder = None  # the inode of somebody else's empty folder
        self.has_orphan = False  # whether somebody else put a file into the Trash without an info
        self.link.symlink_to(self.outside)
        self.theirs = {self.link.lstat().st_ino}  # the inodes of what is swapped in
        self.inode = self.victim.lstat().st_ino
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": str(self.top / "home"),
                            "CFFIXED_USER_HOME": str(self.top / "home"), "XDG_DATA_HOME": str(self.data),
                            "XDG_CONFIG_HOME": str(self.top / "home" / "config"),
                            "XDG_CACHE_HOME": str(self.top / "home" / "cache"),
                            "XDG_STATE_HOME": str(self.top / "home" / "state"), "TMPDIR": str(self.top)}
        self.command = {"remove": [KESTREL, "remove", "--json", "--confirm", "DELETE", str(self.victim)],
                        "trash": [KESTREL, "trash", "--json", "--yes", str(self.victim)],
                        "naive": [REMOVER, "naive", str(self.victim)]}.get(operation)
        if operation == "restore":
            self.run([KESTREL, "trash", "--json", "--yes", str(self.victim)])
            self.command = [KESTREL, "restore", "--json", self.receipts()[0].stem]

    def write(self, path, contents):
        name = str(path.relative_to(self.top))
        path.write_text(name)
        contents.add(name)

    def run(self, command):
        return subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=PATIENCE)

    def is_trashed(self, place):
        return place is not None and any(str(trash) in place for trash in (self.trash, self.volume_trash))

    def receipts(self):
        return list(self.data.glob("kestrel/*receipts/*.receipt"))

    def now(self, from_within=True):
        """The item where it stands now: an attacker who watches the folders learns every name. One who has it open, or is
        root, also follows it into a folder that nobody else may enter; one who has not, does not."""
        for folder in (self.parent, self.parent.resolve(), self.trash / "files", self.volume_trash / "files"):
            for path in [folder / "victim", *folder.glob(HIDDEN + "*"), *folder.glob(HIDDEN + "*/*")]:
                try:
                    is_private = path.parent != folder and path.parent.stat().st_mode & 0o077 == 0
                    if path.lstat().st_ino == self.inode and (from_within or not is_private):
                        return path
                except OSError:
                    continue
        raise FileNotFoundError("victim")

    def hidden(self):
        """What stands beside the item's place under a name that the program made up."""
        for path in self.parent.glob(HIDDEN + "*"):
            if path.lstat().st_ino != self.inode:
                return path
        raise FileNotFoundError("hidden")


# What is swapped at a stop. Each may fail with an OSError where the scene has gone on too far for it.

def link_inside(scene): exchange(scene.now() / "sub", scene.link)
def link_item(scene): exchange(scene.now(from_within=False), scene.link)
def link_parent(scene): exchange(scene.parent, scene.link)
def link_hidden(scene): exchange(scene.hidden(), scene.link)


def file_of_theirs(scene):
    path = scene.top / "theirs"
    path.write_text("theirs")
    scene.kept.add("theirs")
    scene.theirs.add(path.lstat().st_ino)
    return path


def another_file(scene):
    """Exchanges the item for somebody else's file, under whatever name it has now."""
    theirs = file_of_theirs(scene)
    exchange(scene.now(from_within=False), theirs)


def another_hidden(scene):
    """Exchanges what the program keeps beside the item for somebody else's file. For an empty folder would be another
    matter: nothing tells it from an emptied one of ours in the moment in which that goes, and nothing is in it."""
    theirs = file_of_theirs(scene)
    exchange(scene.hidden(), theirs)


def another_folder(scene):
    """Likewise for an empty folder of somebody else's: what is lost then is the folder itself."""
    theirs = scene.top / "theirs"
    theirs.mkdir()
    scene.folder = theirs.lstat().st_ino
    exchange(scene.now(from_within=False), theirs)


def emptied(scene):
    """Somebody else takes the item's contents away."""
    for path in sorted(scene.now().rglob("f?")):
        name = path.read_text()
        path.unlink()
        scene.kept.discard(name)
        scene.free.discard(name)
        scene.contents.discard(name)


def refilled(scene):
    """New files come into the item."""
    place = scene.now()
    for name in ("new", "sub/new"):
        path = place / name
        path.write_text("refilled " + name)
        (scene.free if scene.operation == "remove" else scene.kept).add("refilled " + name)


def occupied(scene):
    """Somebody else's file takes the free name where the item was or goes to."""
    for place in (scene.victim, scene.trash / "files" / "victim"):
        if place.parent.is_dir() and not os.path.lexists(place):
            name = "occupies " + str(place.relative_to(scene.top))
            with open(place, "x", encoding="utf-8") as file:
                file.write(name)
            scene.kept.add(name)
            if scene.trash in place.parents:
                scene.has_orphan = True
            return
    raise FileNotFoundError("no free name")


def link_files(scene): exchange(scene.trash / "files", scene.link)
def link_info(scene): exchange(scene.trash / "info", scene.link)
def link_trash(scene): exchange(scene.trash, scene.link)


def mount_inside(scene): mount("--bind", scene.outside, scene.now() / "sub")
def mount_item(scene): mount("--bind", scene.outside, scene.now())
def mount_parent(scene): mount("--bind", scene.outside, scene.parent)
def mount_empty(scene): mount("-t", "tmpfs", "none", scene.now() / "sub")
def mount_file(scene): mount("--bind", scene.outside / "f0", scene.now() if scene.kind == "file" else scene.now() / "f0")


SWAPS = [link_inside, link_item, link_parent, link_hidden, another_file, another_folder, another_hidden, emptied, refilled,
         occupied, link_files, link_info, link_trash]
MOUNTS = [mount_inside, mount_item, mount_parent, mount_empty, mount_file]


def swap_kinds(swap, operation, kind):
    """Whether the swap means anything there."""
    if kind == "file" and swap in (link_inside, emptied, refilled, mount_inside, mount_empty):
        return False
    return operation not in ("remove", "naive") or swap not in (link_files, link_info, link_trash)


def traced(scene, action, number, meddle=lambda: None):
    """Runs the scene's command with one call meddled with: the call's name or None where it was not reached, the wait
    status (None: it never ended), and what was printed."""
    report, told = os.pipe()
    answer, answered = os.pipe()
    output = tempfile.TemporaryFile("w+", dir=scene.top.parent)
    tracer = subprocess.Popen([TRACER, action, str(number), str(told), str(answer), *scene.command], env=scene.environment,
                              stdin=subprocess.DEVNULL, stdout=output, stderr=output, pass_fds=(told, answer))
    os.close(told)
    os.close(answer)

    def too_late(*_):
        tracer.kill()

    signal.signal(signal.SIGALRM, too_late)
    signal.alarm(PATIENCE)
    lines = ""
    try:
        while "\n" not in lines or action != "stop":
            piece = os.read(report, 65536).decode()
            lines += piece
            if not piece:
                break
        if action == "stop" and not lines.startswith("status"):
            try:
                meddle()
            finally:
                os.write(answered, b".")
            while piece := os.read(report, 65536).decode():
                lines += piece
        code = tracer.wait()
    finally:
        signal.alarm(0)
        os.close(report)
        os.close(answered)
    if code == 77:
        skip("Programs can't be traced here")
    *names, status = lines.splitlines() or [""]
    status = int(status.split()[1]) if status.startswith("status") else None
    output.seek(0)
    text = output.read()
    output.close()
    return (names if action == "count" else names[0] if names else None), status, text


def files_below(top):
    """The contents of all files, and the folders by their inodes."""
    contents, folders = collections.Counter(), {}
    for folder, names, files in os.walk(top):
        folders[os.lstat(folder).st_ino] = folder
        for name in files:
            path = os.path.join(folder, name)
            if not os.path.islink(path):
                with open(path, "rb") as file:
                    contents[file.read(200).decode(errors="replace")] += 1
                folders.setdefault(os.lstat(path).st_ino, path)
    return contents, folders


def answer_of(text):
    """The results of the program's JSON answer; None where there is no whole one."""
    for line in text.splitlines():
        if line.startswith("{"):
            try:
                return json.loads(line)["results"]
            except (ValueError, KeyError):
                return None
    return None


def judge(scene, text, status, killed=False, swapped=(), interrupted=False):
    """What does not hold afterwards, a sentence each."""
    wrong = []
    contents, places = files_below(scene.base)
    for name in sorted(scene.kept):
        if contents[name] != 1:
            wrong.append(f"LOST {name}: {contents[name]} of it")
    if scene.folder is not None and scene.folder not in places:
        wrong.append("LOST their empty folder")
    if status is None:
        return [*wrong, "it never ended"]
    if scene.operation == "naive":
        return wrong
    code = os.waitstatus_to_exitcode(status)
    if not killed and code not in ((130,) if interrupted else (0, 1, 2, 3, 4)):
        wrong.append(f"it ended with {code}")
    place = places.get(scene.inode)
    if killed:
        return wrong + judge_trash(scene, text, killed, swapped)
    # A name of ours that stays is told.
    for folder, names, files in os.walk(scene.top):
        for name in names + files:
            is_theirs = os.lstat(os.path.join(folder, name)).st_ino in scene.theirs
            if name.startswith(HIDDEN) and name not in text and not is_theirs:
                wrong.append(f"nothing tells of {folder}/{name}")
    results = answer_of(text)
    if code == 0 and not results:
        wrong.append("0 without a result")
    if code != 0 and not text.strip():
        wrong.append(f"{code} without a word")
    if results:
        result = results[0]
        succeeded, message = result["succeeded"], result["message"]
        if succeeded != (code == 0) and not interrupted and not (succeeded and "kestrel: " in text):
            wrong.append(f"exit code {code}, succeeded {succeeded}")
        part = scene.contents - {name for name in scene.contents if contents[name]}
        if scene.operation == "remove":
            if succeeded and place is not None:
                wrong.append(f"removed, it says, and it is at {place}")
            if succeeded and not swapped and scene.contents - part:
                wrong.append(f"removed, it says, and there is {sorted(scene.contents - part)}")
            if not succeeded and place is None and not swapped:
                wrong.append(f"it is gone: {message}")
            if not succeeded and part and not swapped and "Some of its contents were removed" not in message:
                wrong.append(f"a part is gone: {message}")
        else:
            in_trash = scene.is_trashed(place)
            wanted = scene.operation == "trash"
            if succeeded and in_trash != wanted and not swapped:
                wrong.append(f"done, it says, and it is at {place}")
            if succeeded and not swapped and result.get("resultingPath") != place:
                wrong.append(f"done to {result.get('resultingPath')}, it says, and it is at {place}")
            # Taken out of the Trash by somebody else, or under a mount of somebody else's, it can't be seen.
            taken_away = swapped and not wanted and place is not None and \
                (not place.startswith(str(scene.parent)) or place in swapped)
            tells = place is not None and (place in message or (in_trash and "is in the trash" in message))
            if not succeeded and in_trash == wanted and not tells and not taken_away:
                wrong.append(f"not done, it says, and it is at {place}: {message}")
    elif not swapped and not killed and (results is not None or interrupted):
        # Refused, or not begun: all is as it was.
        if place is None or scene.is_trashed(place) != (scene.operation == "restore"):
            wrong.append(f"no result, and it is at {place}")
    return wrong + judge_trash(scene, text, killed, swapped)


def judge_trash(scene, text, killed, swapped):
    """No file without its info; no info and no receipt without a file unless told."""
    wrong = []
    lying = 0
    for trash in (scene.trash, scene.volume_trash):
        files, info = trash / "files", trash / "info"
        if swapped and (files.is_symlink() or info.is_symlink() or trash.is_symlink()):
            return wrong
        trashed = set(os.listdir(files)) if files.is_dir() else set()
        infos = {name.removesuffix(".trashinfo") for name in os.listdir(info)} if info.is_dir() else set()
        lying += len(trashed)
        if trashed - infos and not scene.has_orphan:
            wrong.append(f"in the Trash without info: {sorted(trashed - infos)}")
        if infos - trashed and not swapped and not killed:
            wrong.append(f"info without a file: {sorted(infos - trashed)}")
    if killed:
        return wrong
    receipts = [path.name for path in scene.receipts()]
    if len(receipts) > lying and not swapped and not any(name[:8] in text for name in receipts):
        wrong.append(f"a receipt for nothing: {receipts}")
    known = {"Trash", "kestrel", "files", "info", "directorysizes", "receipts", "data", "home"}
    for folder, names, others in os.walk(scene.data):
        if str(scene.trash / "files") in folder:
            continue
        for name in names + others:
            if name not in known and not re.fullmatch(r"victim.*\.trashinfo|[-0-9A-F]{36}\.receipt|victim.*|f\d|sub", name) \
                    and not name.startswith(("snapshots.sqlite", HIDDEN, "history")) and name not in text:
                wrong.append(f"a stray {folder}/{name}")
    return wrong


def tell(what, wrong, text=""):
    counts["lost"] += any(line.startswith("LOST") for line in wrong)
    for line in wrong:
        failures.append(f"{what}: {line}")
        if len(failures) <= 40 or TELL:
            print(f"FAILED: {what}: {line}", flush=True)
    if wrong and TELL:
        print("    " + text.strip().replace("\n", "\n    "), flush=True)


def clear(scene):
    for point in mounts_below(str(scene.top)):
        unmount(point)
    if mounts_below(str(scene.top)):
        raise RuntimeError("something is still mounted")
    for folder in (scene.top, scene.volume_trash):
        if folder.exists():
            shutil.rmtree(folder)


@functools.cache
def lines(base, operation, kind):
    """The calls that the command makes when nobody meddles: their names, and the paths that they ask about."""
    scene = Scene(base, operation, kind)
    names, status, text = traced(scene, "count", 0)
    wrong = judge(scene, text, status)
    clear(scene)
    if status != 0 or (wrong and operation != "naive"):
        raise RuntimeError(f"{operation} of a {kind} does not even work: {wrong} {text}")
    return names


def numbers(base, operation, kind, salt, only=None):
    """The numbers of the calls to meddle with. All of them goes on until one is not reached any more: a meddling can
    make the program do more than it does by itself."""
    names = [line.split(" ")[0] for line in lines(base, operation, kind)]
    if only:
        return [number for number, name in enumerate(names, 1) if name in only]
    if ALL:
        return range(1, 100 * len(names))
    # Half of them from where names change, for there it matters most.
    every = range(1, len(names) + 1)
    near = [number for number in every if CHANGES.intersection(names[max(number - 6, 0):number + 5])]
    return sorted({number for choice in (every, near) for number in spread(choice, SAMPLES, salt)})


def spread(choice, count, salt):
    step = max(len(choice) // count, 1)
    return choice[salt * 7 % step::step]


def first_look(base, operation, kind):
    """The number of the call with which the program gets to know the item: whatever stands there until then is what was
    asked for. What is to be restored is known from its receipt. A look that comes before, with another call, is the
    command line's: it only tells whether the path names a folder."""
    if operation not in ("remove", "trash"):
        return 0
    return next(number for number, name in enumerate(lines(base, operation, kind), 1)
                if name.startswith("statx ") and name.endswith("/parent/victim"))


def swap_suite(base, swaps):
    for operation, kind in ((o, k) for o in ("naive", "remove", "trash", "restore") for k in ("file", "folder")):
        escaped = 0
        for salt, swap in enumerate(swaps):
            if not swap_kinds(swap, operation, kind):
                continue
            look = first_look(base, operation, kind)
            for number in numbers(base, operation, kind, salt):
                if number <= look:
                    continue
                scene = Scene(base, operation, kind)
                swapped = []

                def meddle():
                    try:
                        swap(scene)
                        swapped.extend(["swapped", *mounts_below(str(scene.top))])
                    except (OSError, subprocess.CalledProcessError):
                        pass  # that part is gone already

                name, status, text = traced(scene, "stop", number, meddle)
                travelled = [point for point in mounts_below(str(base)) if scene.is_trashed(point) and point not in swapped]
                for point in mounts_below(str(scene.top)):
                    unmount(point)
                wrong = judge(scene, text, status, swapped=swapped)
                if travelled:
                    wrong.append(f"LOST a mount travelled to {travelled[0]}")
                if operation == "naive":
                    escaped += bool(wrong)
                    counts["naive stops"] += name is not None
                else:
                    counts["stops"] += name is not None
                    counts["swaps"] += bool(swapped)
                    tell(f"{operation} of a {kind}, {swap.__name__} at {name} {number}", wrong, text)
                clear(scene)
                if name is None:
                    break
        counts["naive escapes"] += escaped
    if not counts["naive escapes"]:
        tell("the naive remover", ["never reached anything outside: the attacks don't bite"])


def stops(base):
    swap_suite(base, SWAPS)
    return ["stops", "swaps", "naive escapes", "lost"]


def mounts(base):
    if os.geteuid() != 0:
        skip("Only root may mount everywhere")
    swap_suite(base, MOUNTS)
    return ["stops", "swaps", "naive escapes", "lost"]


def kills(base):
    for operation, kind in ((o, k) for o in ("remove", "trash", "restore") for k in ("file", "folder")):
        for number in numbers(base, operation, kind, 0):
            scene = Scene(base, operation, kind)
            name, status, text = traced(scene, "kill", number)
            what = f"{operation} of a {kind}, killed at {name} {number}"
            if name is None:
                clear(scene)
                break
            counts["kills"] += 1
            wrong = judge(scene, text, status, killed=True)
            place = files_below(scene.base)[1].get(scene.inode)
            # A following run names what was left, and what lies in the Trash can be restored.
            (scene.parent / "next").write_text("next")
            after = scene.run([KESTREL, "remove", "--json", "--confirm", "DELETE", str(scene.parent / "next")])
            for left in scene.parent.glob(HIDDEN + "*"):
                if left.name not in after.stdout + after.stderr:
                    wrong.append(f"nothing tells of {left.name} afterwards")
            if after.returncode != 0 and not list(scene.parent.glob(HIDDEN + "*")):
                wrong.append(f"the next removal fails: {after.stderr}")
            if operation != "remove":
                if scene.is_trashed(place):
                    receipts = scene.receipts()
                    if not receipts:
                        wrong.append("in the Trash without a receipt")
                    else:
                        back = scene.run([KESTREL, "restore", "--json", receipts[0].stem])
                        if back.returncode != 0:
                            wrong.append(f"it can't be restored: {back.stdout} {back.stderr}")
                again = files_below(scene.base)[1].get(scene.inode)
                if again != str(scene.victim):
                    wrong.append(f"in the end it is at {again}")
                wrong += judge(scene, text, status, killed=True)
            tell(what, wrong, text + after.stdout + after.stderr)
            clear(scene)
    return ["kills", "lost"]


def fault_suite(base, action, errors, only):
    salt = 0
    for operation, kind in ((o, k) for o in ("remove", "trash", "restore") for k in ("file", "folder")):
        for error in errors:
            salt += 1
            for number in numbers(base, operation, kind, salt, only):
                scene = Scene(base, operation, kind)
                name, status, text = traced(scene, f"{action}={getattr(errno, error)}", number)
                if name is None:
                    clear(scene)
                    break
                counts["faults" if action == "fail" else "late errors"] += 1
                tell(f"{operation} of a {kind}, {action} {error} at {name} {number}", judge(scene, text, status), text)
                clear(scene)


def faults(base):
    fault_suite(base, "fail", ERRORS, None)
    return ["faults", "lost"]


def late(base):
    fault_suite(base, "late", LATE_ERRORS, CHANGES)
    return ["late errors", "lost"]


def interrupts(base):
    for salt, (operation, kind) in enumerate((o, k) for o in ("remove", "trash") for k in ("file", "folder")):
        names = [line.split(" ")[0] for line in lines(base, operation, kind)]
        # From when it looks at the item until the last name is changed: before, nothing has begun; then, all is done.
        last = max(number for number, name in enumerate(names, 1) if name in CHANGES)
        look = first_look(base, operation, kind)
        for number in numbers(base, operation, kind, salt):
            if not look < number <= last:
                continue
            scene = Scene(base, operation, kind)
            name, status, text = traced(scene, "interrupt", number)
            counts["interrupts"] += 1
            wrong = judge(scene, text, status, interrupted=True)
            left = [path.name for path in scene.parent.glob(HIDDEN + "*")]
            if left:
                wrong.append(f"{left} stays")
            # How much of the item is gone, for the closing line.
            here = scene.contents & set(files_below(scene.base)[0])
            counts["stopped within the item"] += bool(here) and here != scene.contents
            counts["nothing touched"] += files_below(scene.base)[1].get(scene.inode) == str(scene.victim) and \
                here == scene.contents
            tell(f"{operation} of a {kind}, interrupted at {name} {number}", wrong, text)
            clear(scene)
    return ["interrupts", "stopped within the item", "nothing touched", "lost"]


# How many calls are taken for each kind of attack, twice over.
SAMPLES = {"stops": 3, "mounts": 4, "kills": 16, "faults": 6, "late": 0, "interrupts": 20}[SUITE]
if not os.access(TRACER, os.X_OK):
    skip("kestrel-tracer was not built beside the program")
needs_mount_namespace()
folder = pathlib.Path(os.path.realpath(tempfile.mkdtemp(prefix="kestrel-attack-")))
try:
    # A volume of the test's own, so that the Trash at its top is the test's too, and no disk is waited for.
    mount("-t", "tmpfs", "none", folder)
    shown = {suite.__name__: suite for suite in (stops, mounts, kills, faults, late, interrupts)}[SUITE](folder)
finally:
    for point in mounts_below(str(folder)):
        unmount(point)
    if not mounts_below(str(folder)):
        shutil.rmtree(folder, ignore_errors=True)
print(", ".join(f"{counts[name]} {name}" for name in shown) + f", {len(failures)} did not hold")
sys.exit(1 if failures else 0)
