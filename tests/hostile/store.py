#!/usr/bin/env python3
"""Faults under the snapshot store. store.py SAVER CASE

Every case works in a temporary folder of its own. After each fault the earlier or the new snapshot must load whole (or,
where the file itself was damaged, loading ends with a snapshot, none or an error), and the next save must work. Ends with
0 when all held, 1 when something did not, 77 when the system lacks what the case needs (a line says what).
"""
import os
import pathlib
import random
import resource
import shutil
import subprocess
import sys

from driver import SQLITE_FAULTS, check, mount, needs_strace, open_to_others, run_case, unmount, unprivileged

SAVER = os.path.abspath(sys.argv[1])
RECORDS = "300"
CANNOT_OPEN = "error: Kestrel could not open its private scan index."
FAULTS = SQLITE_FAULTS | {CANNOT_OPEN}


def call(*arguments, before=(), **options):
    done = subprocess.run([*before, SAVER, *map(str, arguments)], capture_output=True, text=True, timeout=120, **options)
    return done.returncode, done.stdout.strip()


def save(path, number, **options):
    return call("save", path, number, RECORDS, **options)[1]


def load(path, **options):
    return call("load", path, RECORDS, 3, **options)[1]


def saves_and_loads(path, what):
    check(save(path, 3) == "saved", f"{what}: the next save works")
    check(load(path) == "3", f"{what}: the next save loads")


class Arena:
    """A folder with a store that holds sample 1, to be put back for each fault."""

    def __init__(self, folder):
        self.template = folder / "template"
        self.folder = folder / "store"
        self.path = self.folder / "snapshots.sqlite"
        assert save(self.template / "snapshots.sqlite", 1) == "saved"

    def restore(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(self.template, self.folder)


CHANGING = ("pwrite64", "write", "fsync", "fdatasync", "ftruncate", "fallocate", "unlink", "openat", "flock", "fcntl", "mkdir")


def kill(folder):
    """The process ends at each system call of a save that could matter."""
    needs_strace()
    arena = Arena(folder)
    stops = 0
    for name in CHANGING:
        for count in range(1, 1000):
            arena.restore()
            tracer = ["strace", "-f", "-qq", "-o", str(folder / "trace"), "-e", f"trace={name}",
                      "-e", f"inject={name}:signal=SIGKILL:when={count}"]
            code, _ = call("save", arena.path, 2, RECORDS, before=tracer)
            what = f"killed at {name} {count}"
            check(load(arena.path) in ("1", "2"), what)
            if code == 0:
                break
            stops += 1
            if count % 4 == 1:
                saves_and_loads(arena.path, what)
    print(f"{stops} places to be killed at")
    check(stops > 20, "there are places to be killed at")


def refuse(folder):
    """The system refuses each call once, or for good from some call on."""
    needs_strace()
    arena = Arena(folder)
    refused = 0
    errors = {"pwrite64": ("ENOSPC", "EIO"), "fdatasync": ("EIO",), "fsync": ("EIO",), "ftruncate": ("EIO",),
              "openat": ("EACCES",), "unlink": ("EACCES",), "fallocate": ("ENOSPC",), "flock": ("ENOLCK",),
              "pread64": ("EIO",)}
    for name, kinds in errors.items():
        for error in kinds:
            for forever in ("", "+"):
                for count in range(1, 1000):
                    arena.restore()
                    trace = folder / "trace"
                    tracer = ["strace", "-f", "-qq", "-o", str(trace), "-P", str(arena.path), "-P", f"{arena.path}-wal",
                              "-P", f"{arena.path}-shm", "-P", f"{arena.path}-lock", "-e", f"trace={name}",
                              "-e", f"inject={name}:error={error}:when={count}{forever}"]
                    result = save(arena.path, 2, before=tracer)
                    if "INJECTED" not in trace.read_text():
                        break
                    refused += 1
                    what = f"{error} at {name} {count}{forever}"
                    # A page that can't be read is a damaged one to SQLite.
                    is_stated = result in FAULTS or (name == "pread64" and result == "error: database disk image is malformed")
                    check(result == "saved" or is_stated, f"{what}: says {result}")
                    loaded = load(arena.path)
                    # A failed save may have been whole on the disk already; a successful one always is.
                    check(loaded == "2" or (result != "saved" and loaded == "1"), f"{what}: {result}, then {loaded}")
                    if count % 4 == 1:
                        saves_and_loads(arena.path, what)
    print(f"{refused} refused calls")
    check(refused > 20, "calls were refused")


def full(folder):
    """No space left, at many sizes of the volume."""
    volume = folder / "volume"
    volume.mkdir()
    errors = 0
    for kibibytes in range(200, 1400, 60):
        mount("-t", "tmpfs", "-o", "size=4m", "none", volume)
        try:
            path = volume / "snapshots.sqlite"
            check(save(path, 1) == "saved", "there is room at first")
            used = sum(file.stat().st_blocks * 512 for file in volume.iterdir())
            mount("-o", f"remount,size={used // 1024 + kibibytes - 190}k", "none", volume)
            result = save(path, 2)
            what = f"{kibibytes} KiB"
            check(result == "saved" or result in FAULTS, f"{what}: says {result}")
            errors += result != "saved"
            # Looking at a database takes some space, too: SQLite's index of the log.
            loaded = load(path)
            check(loaded in ("1", "2") or loaded in FAULTS, f"{what}: {result}, then at once {loaded}")
            mount("-o", "remount,size=4m", "none", volume)
            loaded = load(path)
            check(loaded in (("2",) if result == "saved" else ("1", "2")), f"{what}: {result}, then {loaded}")
            saves_and_loads(path, what)
        finally:
            unmount(volume)
    check(errors > 0, "some saves found no space")


def limit(folder):
    """A limit on the size of files."""
    arena = Arena(folder)
    errors = 0
    for size in range(50_000, 800_000, 50_000):
        arena.restore()
        result = save(arena.path, 2, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size)))
        check(result == "saved" or result in FAULTS, f"{size} bytes: says {result}")
        errors += result != "saved"
        check(load(arena.path) in (("2",) if result == "saved" else ("1", "2")), f"{size} bytes: {result}")
        saves_and_loads(arena.path, f"{size} bytes")
    check(errors > 0, "some saves reached the limit")


def rounds(folder):
    """Two processes save and one loads, all the time."""
    path = folder / "snapshots.sqlite"
    check(save(path, 1) == "saved", "the first save")
    many = os.environ.get("KESTREL_ROUNDS", "500")
    commands = [["rounds", path, 1, 2, RECORDS, many], ["rounds", path, 3, 1, RECORDS, many],
                ["loads", path, RECORDS, 3, many]]
    running = [subprocess.Popen([SAVER, *map(str, command)], stdout=subprocess.PIPE, text=True) for command in commands]
    results = [process.communicate()[0].strip() for process in running]
    check(results == ["saved", "saved", "loaded"], f"saves and loads side by side: {results}")
    check(load(path) in ("1", "2", "3"), "what is left loads")
    saves_and_loads(path, "afterwards")


def readonly(folder):
    """A read-only file, a read-only folder."""
    before = unprivileged()
    open_to_others(folder)
    # The build may lie where other users can't look.
    global SAVER
    SAVER = shutil.copy(SAVER, folder / "saver")
    arena = Arena(folder)
    arena.restore()

    def own():
        for item in (arena.folder, *arena.folder.iterdir()):
            if before:
                os.chown(item, 65534, 65534)

    own()
    os.chmod(arena.path, 0o444)
    result = save(arena.path, 2, before=before)
    check(result == "error: attempt to write a readonly database", f"read-only file: {result}")
    os.chmod(arena.path, 0o644)
    check(load(arena.path) == "1", "read-only file: the earlier snapshot is there")
    own()
    os.chmod(arena.folder, 0o555)
    for command in (save, lambda path, _, **options: load(path, **options)):
        result = command(arena.path, 2, before=before)
        check(result == CANNOT_OPEN, f"read-only folder: {result}")
    os.chmod(arena.folder, 0o755)
    check(load(arena.path) == "1", "read-only folder: the earlier snapshot is there")
    own()
    check(save(arena.path, 2, before=before) == "saved", "the cause is gone")
    check(load(arena.path) == "2", "the cause is gone, and the save loads")


def readonly_volume(folder):
    """A file system mounted for reading only."""
    volume = folder / "volume"
    volume.mkdir()
    mount("-t", "tmpfs", "-o", "size=4m", "none", volume)
    try:
        path = volume / "snapshots.sqlite"
        check(save(path, 1) == "saved", "the first save")
        mount("-o", "remount,ro", "none", volume)
        check(save(path, 2) == CANNOT_OPEN, "a read-only volume can't be saved to")
        mount("-o", "remount,rw", "none", volume)
        check(load(path) == "1", "the earlier snapshot is there")
        saves_and_loads(path, "read-only volume")
    finally:
        unmount(volume)


def damage(folder):
    """Damaged pages, flipped bytes, truncation: no crash, no hang, and a file that is made anew works."""
    arena = Arena(folder)
    arena.restore()
    sound = arena.path.read_bytes()
    page = int.from_bytes(sound[16:18], "big")
    page = 65536 if page == 1 else page
    chance = random.Random(5)
    forms = [sound[:size] for size in range(0, len(sound), page // 2)]
    forms += [sound[:at] + os.urandom(page) + sound[at + page:] for at in range(0, len(sound), page)]
    for _ in range(60):
        at = chance.randrange(len(sound)) if chance.random() < 0.5 else chance.randrange(200)
        forms.append(sound[:at] + bytes([sound[at] ^ 1 << chance.randrange(8)]) + sound[at + 1:])
    forms.append(sound[:28] + b"\x7f\xff\xff\xff" + sound[32:])  # an absurd page count
    for number, form in enumerate(forms):
        arena.restore()
        arena.path.write_bytes(form)
        code, loaded = call("load", arena.path, RECORDS, 3)
        check(code == 0, f"form {number}: the process ends in order")
        check(loaded in ("1", "none", "strange") or loaded.startswith("error: "), f"form {number}: {loaded}")
        code, _ = call("save", arena.path, 2, RECORDS)
        check(code == 0, f"form {number}: a save ends in order")
        arena.restore()
        for item in arena.folder.iterdir():
            item.unlink()
        if number % 20 == 0:
            saves_and_loads(arena.path, f"form {number}, removed")


def logs(folder):
    """The log of another database beside ours, and a hot log deleted."""
    needs_strace()
    ours = Arena(folder)
    other = folder / "other"
    # A log that was never copied into its database: the process is killed before the checkpoint.
    found = None
    for count in range(1, 200):
        shutil.rmtree(other, ignore_errors=True)
        shutil.copytree(ours.template, other)
        call("save", other / "snapshots.sqlite", 2, RECORDS,
             before=["strace", "-f", "-qq", "-o", "/dev/null", "-e", "trace=fdatasync",
                     "-e", f"inject=fdatasync:signal=SIGKILL:when={count}"])
        log = other / "snapshots.sqlite-wal"
        if log.exists() and log.stat().st_size > 100_000:
            found = log
            break
    if found is None:
        check(False, "a hot log could be made")
        return
    for takes_index in (False, True):
        ours.restore()
        shutil.copy(found, f"{ours.path}-wal")
        if takes_index:
            shutil.copy(other / "snapshots.sqlite-shm", f"{ours.path}-shm")
        loaded = load(ours.path)
        check(loaded in ("1", "2", "none") or loaded.startswith("error: "), f"a foreign log: {loaded}")
        result = save(ours.path, 3)
        check(result == "saved" and load(ours.path) == "3", f"a save over a foreign log: {result}")
    found.unlink()
    loaded = load(other / "snapshots.sqlite")
    check(loaded in ("1", "2", "none") or loaded.startswith("error: "), f"a deleted log: {loaded}")


run_case({case.__name__: case for case in (kill, refuse, full, limit, rounds, readonly, readonly_volume, damage, logs)},
         mounting={"full", "readonly_volume"})
