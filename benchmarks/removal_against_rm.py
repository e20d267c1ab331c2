#!/usr/bin/env python3
"""Removes equal trees with kestrel's removal and with rm -rf, in turn, and prints both times and their ratio.

removal_against_rm.py REMOVER [FILES] [ROUNDS]

REMOVER is kestrel-remover of a release build. The tree has 1,000 files a folder, and stands in the folder for temporary
files: TMPDIR chooses the file system. Of each round's pair the ratio is taken, and the median of those counts; so it does
of the times. The processor time (user and system) tells more than the clock where others use the machine too.
"""
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

FILES_IN_FOLDER = 1000


def make_tree(top, files):
    for number in range(0, files, FILES_IN_FOLDER):
        folder = top / f"folder{number // FILES_IN_FOLDER}"
        folder.mkdir(parents=True)
        descriptor = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
        for i in range(min(FILES_IN_FOLDER, files - number)):
            os.close(os.open(f"file{i}", os.O_CREAT | os.O_WRONLY, 0o600, dir_fd=descriptor))
        os.close(descriptor)


def seconds(command):
    """The clock's and the processor's."""
    os.sync()
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, used = os.wait4(process.pid, 0)
    passed = time.monotonic() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, command)
    return {"clock": passed, "processor": used.ru_utime + used.ru_stime}


def main():
    remover = os.path.abspath(sys.argv[1])
    files = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    times = {"kestrel": [], "rm -rf": []}
    with tempfile.TemporaryDirectory(prefix="kestrel-bench-") as base:
        top = pathlib.Path(base) / "tree"
        for number in range(rounds):
            for name in (("kestrel", "rm -rf") if number % 2 == 0 else ("rm -rf", "kestrel")):
                make_tree(top, files)
                status = top.lstat()
                command = ["rm", "-rf", str(top)] if name == "rm -rf" else [
                    remover, "permanent", str(top), str(status.st_dev), str(status.st_ino), "1"]
                times[name].append(seconds(command))
    for kind in ("clock", "processor"):
        for name, rows in times.items():
            print(f"{kind:9} {name:8} {statistics.median(row[kind] for row in rows):7.3f} s for {files} files")
        ratios = [ours[kind] / theirs[kind] for ours, theirs in zip(*times.values())]
        print(f"{kind:9} ratio    {statistics.median(ratios):7.3f}")


main()
