#!/usr/bin/env python3
"""Removes equal trees with kestrel's removal and with rm -rf, in turn, and prints both times and their ratio.

removal_against_rm.py REMOVER [FILES] [ROUNDS]

REMOVER is kestrel-remover of a release build. The tree has 1,000 files a folder. The best of the rounds counts for each.
"""
import os
import pathlib
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
    os.sync()
    begin = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - begin


def main():
    remover = os.path.abspath(sys.argv[1])
    files = int(sys.argv[2]) if len(sys.argv) > 2 else 1_000_000
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    best = {}
    with tempfile.TemporaryDirectory(prefix="kestrel-bench-") as base:
        top = pathlib.Path(base) / "tree"
        for number in range(rounds):
            for name in (("kestrel", "rm -rf") if number % 2 == 0 else ("rm -rf", "kestrel")):
                make_tree(top, files)
                status = top.lstat()
                command = ["rm", "-rf", str(top)] if name == "rm -rf" else [
                    remover, "permanent", str(top), str(status.st_dev), str(status.st_ino), "1"]
                best[name] = min(best.get(name, float("inf")), seconds(command))
    for name, time_needed in best.items():
        print(f"{name:8} {time_needed:7.2f} s for {files} files")
    print(f"ratio    {best['kestrel'] / best['rm -rf']:7.2f}")


main()
