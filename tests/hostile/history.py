#!/usr/bin/env python3
"""Faults under the history. history.py KEEPER CASE

Every case works in a temporary folder of its own. After each fault every generation that was there before must be
there and equal, or the change be made as a whole; and the next scan must be added. Ends with 0 when all held, 1 when
something did not, 77 when the system lacks what the case needs (a line says what).
"""
import fcntl
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys

from driver import SQLITE_FAULTS, check, mount, needs_strace, open_to_others, run_case, unmount, unprivileged

KEEPER = os.path.abspath(sys.argv[1])
RECORDS = "120"
CANNOT_OPEN = "error: Kestrel could not open its history."
FAULTS = SQLITE_FAULTS | {CANNOT_OPEN}
# What a history that holds the samples 1, 2 and 3 is changed by, what that says, and what it holds then.
CHANGES = {"add": (["add", "{}", "4", RECORDS], "added", "1 2 3 4"),
           "forget": (["forget", "{}", "1", "3"], "forgotten", "2"),
           "thin": (["thin", "{}"], "thinned", "3"),
           "clear": (["clear", "{}"], "cleared", "none")}
BEFORE = "1 2 3"


def call(*arguments, before=(), **options):
    done = subprocess.run([*before, KEEPER, *map(str, arguments)], capture_output=True, text=True, timeout=120, **options)
    return done.returncode, done.stdout.strip()


def add(path, number, **options):
    return call("add", path, number, RECORDS, **options)[1]


def holds(path, **options):
    return call("list", path, RECORDS, **options)[1]


def make(change, path, **options):
    code, said = call(*[word.format(path) for word in CHANGES[change][0]], **options)
    return code, said, CHANGES[change][1], CHANGES[change][2]


def adds_and_holds(path, what):
    had = holds(path)
    check(add(path, 5) == "added", f"{what}: the next scan is added")
    held = holds(path)
    check(held == ("5" if had == "none" else had + " 5"), f"{what}: had {had}, and with the next scan {held}")


class Arena:
    """A folder with a history that holds the samples 1 to 3, to be put back for each fault."""

    def __init__(self, folder):
        self.template = folder / "template"
        self.folder = folder / "history"
        self.path = self.folder / "history.sqlite"
        for number in (1, 2, 3):
            assert add(self.template / "history.sqlite", number) == "added"
        assert holds(self.template / "history.sqlite") == BEFORE

    def restore(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(self.template, self.folder)


CALLS = ("pwrite64", "write", "fsync", "fdatasync", "ftruncate", "fallocate", "unlink", "openat", "flock", "fcntl")


def kill(folder):
    """The process ends at each system call of a change that could matter."""
    needs_strace()
    arena = Arena(folder)
    stops = 0
    for change in CHANGES:
        for name in CALLS:
            for count in range(1, 1000, 5 if name == "fcntl" else 1):
                arena.restore()
                tracer = ["strace", "-f", "-qq", "-o", str(folder / "trace"), "-e", f"trace={name}",
                          "-e", f"inject={name}:signal=SIGKILL:when={count}"]
                code, _, _, after = make(change, arena.path, before=tracer)
                what = f"{change} killed at {name} {count}"
                held = holds(arena.path)
                check(held in (BEFORE, after), f"{what}: {held}")
                if code == 0:
                    break
                stops += 1
                if count % 6 == 1:
                    adds_and_holds(arena.path, what)
    print(f"{stops} places to be killed at")
    check(stops > 40, "there are places to be killed at")


def refuse(folder):
    """The system refuses each call once, or for good from some call on."""
    needs_strace()
    arena = Arena(folder)
    refused = 0
    errors = {"pwrite64": ("ENOSPC", "EIO"), "fdatasync": ("EIO",), "ftruncate": ("EIO",), "openat": ("EACCES",),
              "unlink": ("EACCES",), "flock": ("ENOLCK",), "pread64": ("EIO",)}
    for change in CHANGES:
        for name, error in ((name, error) for name, kinds in errors.items() for error in kinds):
            for forever in ("", "+"):
                for count in range(1, 1000):
                    arena.restore()
                    trace = folder / "trace"
                    tracer = ["strace", "-f", "-qq", "-o", str(trace)]
                    for suffix in ("", "-wal", "-shm", "-lock"):
                        tracer += ["-P", f"{arena.path}{suffix}"]
                    tracer += ["-e", f"trace={name}", "-e", f"inject={name}:error={error}:when={count}{forever}"]
                    _, said, done, after = make(change, arena.path, before=tracer)
                    if "INJECTED" not in trace.read_text():
                        break
                    refused += 1
                    what = f"{change}, {error} at {name} {count}{forever}"
                    # A page that can't be read is a damaged one, to SQLite and to us.
                    is_stated = said in FAULTS or name == "pread64" and (
                        said in ("error: database disk image is malformed",) or said.endswith("can't be read."))
                    check(said == done or is_stated, f"{what}: says {said}")
                    held = holds(arena.path)
                    # A failed change may have been made already; one that says so always is.
                    check(held == after or (said != done and held == BEFORE), f"{what}: {said}, then {held}")
                    if count % 6 == 1:
                        adds_and_holds(arena.path, what)
    print(f"{refused} refused calls")
    check(refused > 40, "calls were refused")


class Disk:
    """What the system was told to put on the disk, and what of it must be there after a power cut: what was written
    before the last sync of a file; of what came after it, any part, in any order, sector by sector."""

    def __init__(self, contents):
        self.synced = {name: bytearray(data) for name, data in contents.items()}
        self.pending = {name: [] for name in contents}

    def write(self, name, offset, data):
        self.pending.setdefault(name, []).append((offset, data))

    def truncate(self, name, size):
        self.pending.setdefault(name, []).append((size, None))

    def sync(self, name):
        data = self.synced.setdefault(name, bytearray())
        for change in self.pending.get(name, []):
            apply(data, *change)
        self.pending[name] = []

    def after_power_cut(self, chance, keeps):
        """`keeps` of the changes that were not synced, in a thousand."""
        result = {}
        for name in self.synced.keys() | self.pending.keys():
            data = bytearray(self.synced.get(name, b""))
            for offset, written in self.pending.get(name, []):
                if written is None:
                    if chance.randrange(1000) < keeps:
                        apply(data, offset, None)
                    continue
                for at in range(0, len(written), 512):
                    if chance.randrange(1000) < keeps:
                        apply(data, offset + at, written[at:at + 512])
            result[name] = bytes(data)
        return result


def apply(data, offset, written):
    if written is None:
        del data[offset:]
        data.extend(bytes(offset - len(data)))
        return
    data.extend(bytes(max(0, offset + len(written) - len(data))))
    data[offset:offset + len(written)] = written


def traced_changes(trace, path):
    """(call, file, arguments) of every change to the database and its log, as strace tells them."""
    pattern = re.compile(r'^\d+ +(\w+)\(\d+<' + re.escape(str(path)) + r'((?:-wal)?)>(?:, (.*))?\) += (\d+)')
    for line in trace.read_text().splitlines():
        match = pattern.match(line)
        if match:
            yield match.group(1), match.group(2), match.group(3)


def powercut(folder):
    """The power fails between any two of the calls of a change: what was not synced by then is there in any part."""
    needs_strace()
    arena = Arena(folder)
    chance = random.Random(3)
    cuts = 0
    for change in CHANGES:
        arena.restore()
        trace = folder / "trace"
        disk = Disk({suffix: arena.path.with_name(arena.path.name + suffix).read_bytes() for suffix in ("", "-wal")})
        tracer = ["strace", "-f", "-qq", "-y", "-xx", "-s", "1000000", "-o", str(trace),
                  "-e", "trace=pwrite64,ftruncate,fdatasync,fsync"]
        _, said, done, after = make(change, arena.path, before=tracer)
        check(said == done, f"{change}: {said}")
        # -xx writes paths in hexadecimal, too.
        spelled = "".join(f"\\x{byte:02x}" for byte in str(arena.path).encode())
        text = trace.read_text().replace(spelled, str(arena.path)).replace(
            "".join(f"\\x{byte:02x}" for byte in b"-wal"), "-wal").replace("-wal\\x", "-wal\\x")
        trace.write_text(text)
        steps = list(traced_changes(trace, arena.path))
        check(len(steps) > 5, f"{change}: its writes are seen")
        for position, (name, suffix, arguments) in enumerate(steps):
            for keeps in (0, 500, 900) if position % 2 == 0 or "sync" in name else (500,):
                state = disk.after_power_cut(chance, keeps)
                shutil.rmtree(arena.folder)
                arena.folder.mkdir(mode=0o700)
                for file, data in state.items():
                    arena.path.with_name(arena.path.name + file).write_bytes(data)
                held = holds(arena.path)
                cuts += 1
                what = f"{change}, power cut before step {position} of {len(steps)}, {keeps}"
                check(held in (BEFORE, after), f"{what}: {held}")
                if cuts % 8 == 0:
                    adds_and_holds(arena.path, what)
            if name == "pwrite64":
                data, _, offset = re.match(r'"([^"]*)", (\d+), (\d+)$', arguments).groups()
                disk.write(suffix, int(offset), bytes.fromhex(data.replace("\\x", "")))
            elif name == "ftruncate":
                disk.truncate(suffix, int(arguments))
            else:
                disk.sync(suffix)
    print(f"{cuts} power cuts")
    check(cuts > 100, "the power was cut")


def full(folder):
    """No space left, at many sizes of the volume."""
    volume = folder / "volume"
    volume.mkdir()
    errors = 0
    for kibibytes in range(0, 600, 40):
        mount("-t", "tmpfs", "-o", "size=8m", "none", volume)
        try:
            path = volume / "history.sqlite"
            for number in (1, 2, 3):
                check(add(path, number) == "added", "there is room at first")
            used = sum(file.stat().st_blocks * 512 for file in volume.iterdir())
            mount("-o", f"remount,size={used // 1024 + 4 + kibibytes}k", "none", volume)
            said = add(path, 4)
            what = f"{kibibytes} KiB"
            check(said == "added" or said in FAULTS, f"{what}: says {said}")
            errors += said != "added"
            # Looking at a database takes some space, too: SQLite's index of the log.
            held = holds(path)
            check(held in (BEFORE, BEFORE + " 4") or held in FAULTS, f"{what}: {said}, then at once {held}")
            mount("-o", "remount,size=8m", "none", volume)
            held = holds(path)
            check(held == BEFORE + " 4" or (said != "added" and held == BEFORE), f"{what}: {said}, then {held}")
            adds_and_holds(path, what)
        finally:
            unmount(volume)
    check(errors > 0, "some scans found no space")


def limit(folder):
    """A limit on the size of files."""
    arena = Arena(folder)
    arena.restore()
    size = arena.path.stat().st_size
    errors = 0
    for limit in range(16_384, size + 200_000, 20_000):
        for change in CHANGES:
            arena.restore()
            _, said, done, after = make(
                change, arena.path, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
            what = f"{change}, {limit} bytes"
            check(said == done or said in FAULTS, f"{what}: says {said}")
            errors += said != done
            held = holds(arena.path)
            check(held == after or (said != done and held == BEFORE), f"{what}: {said}, then {held}")
            adds_and_holds(arena.path, what)
    check(errors > 0, "some changes reached the limit")


def rounds(folder):
    """Two processes add and one reads, all the time; whoever writes has the lock, and who reads never writes.

    SQLite before 3.51.3 can damage a database when one connection commits while another runs a checkpoint: both are
    writes, and no two processes may make any at a time."""
    needs_strace()
    path = folder / "history.sqlite"
    check(add(path, 1) == "added", "the first scan")
    many = os.environ.get("KESTREL_ROUNDS", "60")
    commands = {"first": ["rounds", path, 2, RECORDS, many], "second": ["rounds", path, 100, RECORDS, many],
                "reader": ["reads", path, RECORDS, many]}
    running = {}
    for name, command in commands.items():
        tracer = ["strace", "-f", "-qq", "-y", "-o", str(folder / name), "-e",
                  "trace=flock,close,pwrite64,ftruncate,fdatasync,fallocate"]
        running[name] = subprocess.Popen([*tracer, KEEPER, *map(str, command)], stdout=subprocess.PIPE, text=True)
    said = {name: process.communicate(timeout=600)[0].strip() for name, process in running.items()}
    check(said == {"first": "added", "second": "added", "reader": "read"}, f"side by side: {said}")
    for name in commands:
        locks = 0
        writes = 0
        is_locked = False
        for line in (folder / name).read_text().splitlines():
            if f"{path}-lock>" in line:
                if "flock(" in line and line.endswith("= 0"):
                    is_locked = True
                    locks += 1
                elif "close(" in line:
                    is_locked = False
            elif re.search(r"(pwrite64|ftruncate)\(\d+<" + re.escape(str(path)) + r"(-wal)?>", line):
                writes += 1
                check(is_locked, f"{name} writes without the lock: {line[:150]}")
        if name == "reader":
            check(locks == 0 and writes == 0, f"the reader locks {locks} times and writes {writes} times")
        else:
            check(locks >= int(many) and writes > locks, f"{name} locks {locks} times and writes {writes} times")
    held = holds(path).split()
    first = [number for number in held if int(number) < 100]
    second = [number for number in held if int(number) >= 100]
    check(first == [str(i) for i in range(1, 2 + int(many))], f"the first one's scans: {first}")
    check(second == [str(i) for i in range(100, 100 + int(many))], f"the second one's scans: {second}")


def lock(folder):
    """Somebody has the lock and does not let go: readers don't care, and writers say it after their ten seconds."""
    arena = Arena(folder)
    arena.restore()
    with open(f"{arena.path}-lock", "r+b") as held_lock:
        fcntl.flock(held_lock, fcntl.LOCK_EX)
        check(holds(arena.path) == BEFORE, "readers need no lock")
        said = add(arena.path, 4)
        check(said == "error: database is locked", f"a writer says {said}")
        check(holds(arena.path) == BEFORE, "nothing was changed")
    check(add(arena.path, 4) == "added" and holds(arena.path) == BEFORE + " 4", "the lock is free again")


def readonly(folder):
    """A read-only file, a read-only folder."""
    before = unprivileged()
    open_to_others(folder)
    # The build may lie where other users can't look.
    global KEEPER
    KEEPER = shutil.copy(KEEPER, folder / "keeper")
    arena = Arena(folder)
    arena.restore()

    def own():
        for item in (arena.folder, *arena.folder.iterdir()):
            if before:
                os.chown(item, 65534, 65534)

    own()
    os.chmod(arena.path, 0o444)
    said = add(arena.path, 4, before=before)
    check(said == "error: attempt to write a readonly database", f"read-only file: {said}")
    os.chmod(arena.path, 0o600)
    check(holds(arena.path, before=before) == BEFORE, "read-only file: what was there is there")
    own()
    names = sorted(item.name for item in arena.folder.iterdir())
    os.chmod(arena.folder, 0o500)
    said = add(arena.path, 4, before=before)
    check(said in FAULTS or said == "added", f"read-only folder: {said}")
    held = holds(arena.path, before=before)
    check(held in (BEFORE, BEFORE + " 4") or held in FAULTS, f"read-only folder: {held}")
    check(sorted(item.name for item in arena.folder.iterdir()) == names, "read-only folder: nothing is made")
    os.chmod(arena.folder, 0o700)
    own()
    held = holds(arena.path, before=before)
    check(held == (BEFORE + " 4" if said == "added" else BEFORE), f"writable again: {held}")
    check(add(arena.path, 5, before=before) == "added", "the cause is gone")
    check(holds(arena.path, before=before) == held + " 5", "the cause is gone, and all is there")


def readonly_volume(folder):
    """A file system mounted for reading only."""
    volume = folder / "volume"
    volume.mkdir()
    mount("-t", "tmpfs", "-o", "size=8m", "none", volume)
    try:
        path = volume / "history.sqlite"
        for number in (1, 2, 3):
            check(add(path, number) == "added", "the first scans")
        mount("-o", "remount,ro", "none", volume)
        said = add(path, 4)
        check(said in FAULTS, f"a read-only volume can't be written to: {said}")
        held = holds(path)
        check(held == BEFORE or held in FAULTS, f"a read-only volume: {held}")
        mount("-o", "remount,rw", "none", volume)
        check(holds(path) == BEFORE, "what was there is there")
        adds_and_holds(path, "read-only volume")
    finally:
        unmount(volume)


def damage(folder):
    """A flipped byte, at every thousandth place; truncation; damaged pages: equal data or an error, never a crash."""
    arena = Arena(folder)
    arena.restore()
    sound = arena.path.read_bytes()
    chance = random.Random(5)
    forms = [sound[:at] + bytes([sound[at] ^ 1 << chance.randrange(8)]) + sound[at + 1:]
             for at in range(0, len(sound), 1000)]
    page = 16384
    forms += [sound[:size] for size in range(0, len(sound), page // 2)]
    forms += [sound[:at] + os.urandom(page) + sound[at + page:] for at in range(0, len(sound), page)]
    pages = [sound[at:at + page] for at in range(0, len(sound), page)]
    for _ in range(10):  # pages that have changed their places
        a, b = chance.sample(range(1, len(pages)), 2)
        moved = list(pages)
        moved[a], moved[b] = moved[b], moved[a]
        forms.append(b"".join(moved))
    forms.append(sound[:28] + b"\x7f\xff\xff\xff" + sound[32:])  # an absurd page count
    kinds = {"equal": 0, "damaged": 0, "error": 0}
    for number, form in enumerate(forms):
        arena.restore()
        arena.path.write_bytes(form)
        code, held = call("list", arena.path, RECORDS)
        check(code == 0, f"form {number}: the process ends in order")
        if held.startswith("error: ") or not form:
            kinds["error"] += 1
        else:
            names = held.split()
            is_right = all(name in (sample, "damaged", "failed") for name, sample in zip(names, BEFORE.split()))
            check(is_right and len(names) == 3, f"form {number}: {held}")
            kinds["equal" if held == BEFORE else "damaged"] += 1
        code, _ = call("add", arena.path, 4, RECORDS)
        check(code == 0, f"form {number}: adding ends in order")
    print(kinds)
    check(kinds["equal"] > 0 and kinds["damaged"] > 0 and kinds["error"] > 0, f"damage of all kinds: {kinds}")


def logs(folder):
    """A log that was left behind, whole or cut off, with or without SQLite's index of it; that of another history."""
    needs_strace()
    ours = Arena(folder)
    other = folder / "other"
    # A log that was never copied into its database: the process is killed before the checkpoint.
    found = None
    for count in range(1, 50):
        shutil.rmtree(other, ignore_errors=True)
        shutil.copytree(ours.template, other)
        call("add", other / "history.sqlite", 4, RECORDS,
             before=["strace", "-f", "-qq", "-o", "/dev/null", "-e", "trace=fdatasync",
                     "-e", f"inject=fdatasync:signal=SIGKILL:when={count}"])
        log = other / "history.sqlite-wal"
        if log.exists() and log.stat().st_size > 50_000:
            found = log.read_bytes()
            break
    if found is None:
        check(False, "a hot log could be made")
        return
    for size in (*range(0, len(found), 5000), len(found)):
        for takes_index in (False, True):
            ours.restore()
            pathlib.Path(f"{ours.path}-wal").write_bytes(found[:size])
            if takes_index:
                shutil.copy(other / "history.sqlite-shm", f"{ours.path}-shm")
            else:
                pathlib.Path(f"{ours.path}-shm").unlink(missing_ok=True)
            what = f"{size} bytes of a log, {'with' if takes_index else 'without'} an index"
            held = holds(ours.path)
            check(held in (BEFORE, BEFORE + " 4"), f"{what}: {held}")
            adds_and_holds(ours.path, what)
    # The log of a database that is not this one.
    fresh = folder / "fresh" / "history.sqlite"
    check(add(fresh, 7) == "added", "another history")
    pathlib.Path(f"{fresh}-wal").write_bytes(found)
    held = holds(fresh)
    check(held != "strange" and "strange" not in held.split(), f"a foreign log: {held}")


def many(folder):
    """Three hundred generations: each is there and equal, and so are those that are left when others go."""
    path = folder / "history.sqlite"
    count = 300
    check(call("rounds", path, 1, 40, count)[1] == "added", "scans are added")
    held = call("list", path, 40)[1]
    check(held == " ".join(str(i) for i in range(1, count + 1)), f"all are there: {held}")
    odd = [i for i in range(1, count + 1) if i % 2]
    check(call("forget", path, *odd)[1] == "forgotten", "every second one is forgotten")
    held = call("list", path, 40)[1]
    check(held == " ".join(str(i) for i in range(2, count + 1, 2)), f"the others are there: {held}")


run_case({case.__name__: case for case in (kill, refuse, powercut, full, limit, rounds, lock, readonly, readonly_volume,
                                           damage, logs, many)},
         mounting={"full", "readonly_volume"})
