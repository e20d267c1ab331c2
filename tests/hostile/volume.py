#!/usr/bin/env python3
"""A volume that lies, fails, hangs and never ends, under the scan. volume.py KESTREL CASE

Mounts one through FUSE in a temporary folder. Ends with 0 when all held, 1 when something did not, 77 when the system
lacks what the case needs (a line says what).
"""
import errno
import json
import os
import pathlib
import signal
import stat
import subprocess
import sys
import time

from driver import check, run_case, skip

KESTREL = os.path.abspath(sys.argv[1])

sys.path.append("/usr/lib/python3/dist-packages")  # where the system keeps it, whichever interpreter runs this
try:
    import fusepy
except (ImportError, OSError):
    try:
        import fuse as fusepy
    except (ImportError, OSError):
        skip("The Python interface to FUSE is not installed")


FOLDERS = {"/": ["plain", "huge", "endless", "ancient", "broken", "stale", "unlistable", "good"],
           "/unlistable": [], "/good": ["inside"],
           "/interrupting": ["opening", "reopening", "listing", "good"], "/interrupting/good": ["inside"],
           "/interrupting/opening": [], "/interrupting/reopening": [], "/interrupting/listing": []}
CLAIMS = {"/plain": {"st_size": 5, "st_blocks": 8}, "/good/inside": {"st_size": 7, "st_blocks": 16},
          "/interrupting/good/inside": {"st_size": 7, "st_blocks": 16},
          "/huge": {"st_size": 2**63 - 1, "st_blocks": 2**55}, "/endless": {"st_size": 1, "st_blocks": 2**62},
          "/ancient": {"st_size": 1, "st_blocks": 8, "st_mtime": -2**62}}
ERRORS = {"/broken": errno.EIO, "/stale": errno.ESTALE}
OPENING = {"/interrupting/opening": errno.EINTR, "/interrupting/reopening": errno.EAGAIN}
LISTING = {"/unlistable": errno.EIO, "/interrupting/listing": errno.EINTR}


class Volume(fusepy.Operations):
    def getattr(self, path, fh=None):
        if path in ERRORS:
            raise fusepy.FuseOSError(ERRORS[path])
        times = {"st_mtime": 1_600_000_000, "st_ctime": 0, "st_atime": 0, "st_nlink": 1}
        if path in FOLDERS or path == "/unending":
            return {**times, "st_mode": stat.S_IFDIR | 0o755, "st_nlink": 2}
        if path in CLAIMS or path.startswith("/unending/"):
            return {**times, "st_mode": stat.S_IFREG | 0o644, **CLAIMS.get(path, {})}
        raise fusepy.FuseOSError(errno.ENOENT)

    def opendir(self, path):
        if path in OPENING:
            raise fusepy.FuseOSError(OPENING[path])
        self.listed = 0
        return 0

    def readdir(self, path, fh):
        if path in LISTING:
            raise fusepy.FuseOSError(LISTING[path])
        if path == "/unending":
            return self.names_without_end()
        return [".", "..", *FOLDERS[path]]

    def names_without_end(self):
        """A name with a place behind it lets the system ask for what follows; the one that found no room is lost."""
        while True:
            self.listed += 1
            yield f"name{self.listed}", None, self.listed


class Mounted:
    """The volume at a folder, served by a process of its own."""

    def __init__(self, folder):
        self.folder = str(folder)

    def __enter__(self):
        self.server = subprocess.Popen([sys.executable, __file__, KESTREL, "serve", self.folder],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        while not os.path.ismount(self.folder):
            if self.server.poll() is not None:
                skip("No FUSE volume can be mounted here")
            time.sleep(0.05)
        return self

    def __exit__(self, *_):
        self.server.send_signal(signal.SIGCONT)
        if subprocess.run(["umount", self.folder], capture_output=True).returncode != 0:
            subprocess.run(["fusermount", "-u", "-z", self.folder], capture_output=True)
        self.server.wait()


def waits_for_a_volume(process):
    """Whether some thread of the process waits for a FUSE server's answer."""
    tasks = pathlib.Path(f"/proc/{process.pid}/task")
    return any((task / "wchan").read_text() == "request_wait_answer" for task in tasks.iterdir())


def resident_bytes(process):
    return int(pathlib.Path(f"/proc/{process.pid}/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def scan(folder):
    return [KESTREL, "scan", "--json", "--no-save", "--top", "100", str(folder)]


def lies(outer):
    """What can't be so, and what can't be read, is told as an issue; all else is complete and the sums are right."""
    volume = outer / "volume"
    volume.mkdir()
    with Mounted(volume):
        done = subprocess.run(scan(volume), capture_output=True, text=True, timeout=120)
    check(done.returncode == 3, f"incomplete, not {done.returncode}: {done.stderr}")
    answer = json.loads(done.stdout)
    issues = {os.path.basename(issue["path"]) for issue in answer["issues"]}
    check(issues == {"huge", "endless", "broken", "stale", "unlistable"}, f"issues: {issues}")
    names = {record["name"] for record in answer["largest"] if record["kind"] == "file"}
    check(names == {"plain", "ancient", "inside"}, f"files: {names}")
    check(answer["snapshot"]["totalAllocatedBytes"] == (8 + 8 + 16) * 512, f"total: {answer['snapshot']}")


def interrupts(outer):
    """What can't be opened or listed since the volume always says that it was interrupted is an issue."""
    volume = outer / "volume"
    volume.mkdir()
    with Mounted(volume):
        done = subprocess.run(scan(volume / "interrupting"), capture_output=True, text=True, timeout=120)
    check(done.returncode == 3, f"incomplete, not {done.returncode}: {done.stderr}")
    answer = json.loads(done.stdout)
    issues = {os.path.basename(issue["path"]): issue["message"] for issue in answer["issues"]}
    check(issues == {"opening": os.strerror(errno.EINTR), "reopening": os.strerror(errno.EAGAIN),
                     "listing": os.strerror(errno.EINTR)}, f"issues: {issues}")
    check(answer["snapshot"]["totalAllocatedBytes"] == 16 * 512, f"total: {answer['snapshot']}")


def unending(outer):
    """A scan of a folder that lists names for ever is ended by whoever interrupts it."""
    volume = outer / "volume"
    volume.mkdir()
    with Mounted(volume):
        process = subprocess.Popen(scan(volume / "unending"), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        # The records that it makes of them take ever more memory: it is in the midst of the listing.
        while process.poll() is None and resident_bytes(process) < 14 << 20:
            time.sleep(0.05)
        check(process.poll() is None, f"the scan goes on, but it ended with {process.returncode}")
        process.send_signal(signal.SIGINT)
        try:
            code = process.wait(timeout=120)
            check(code == 130, f"interrupted, not {code}")
        except subprocess.TimeoutExpired:
            check(False, "the scan ends although the listing does not")
            process.kill()


def hangs(outer):
    """Whoever interrupts a scan that met a hanging volume gets their terminal back while it still hangs."""
    volume = outer / "volume"
    volume.mkdir()
    with Mounted(volume) as mounted:
        mounted.server.send_signal(signal.SIGSTOP)
        process = subprocess.Popen(scan(outer), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        while not waits_for_a_volume(process):
            if process.poll() is not None:
                check(False, f"the scan meets the volume, but it ended with {process.returncode}")
                return
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        try:
            code = process.wait(timeout=120)
            check(code == 130, f"interrupted, not {code}")
        except subprocess.TimeoutExpired:
            check(False, "the scan ends although the volume hangs")
            process.kill()


if sys.argv[2] == "serve":
    fusepy.FUSE(Volume(), sys.argv[3], foreground=True, attr_timeout=0)
    sys.exit(0)
if not os.access("/dev/fuse", os.R_OK | os.W_OK):
    skip("/dev/fuse can't be used here")
run_case({case.__name__: case for case in (lies, hangs, interrupts, unending)}, mounting=set())
