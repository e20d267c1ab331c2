#!/usr/bin/env python3
"""kestrel duplicates beside rdfind, jdupes and fdupes, on trees that it makes.

benchmarks/duplicates.py build/release/bin/kestrel [--folder FOLDER] [--rounds N] [--tree NAME …]

Three trees: many small files, few large ones, many of one size whose contents differ (at the beginning, in the middle,
or not at all). All programs find equal files of 1 byte and more; for kestrel the scan that it works on is counted, and
shown apart. Warm: the files are in memory. Cold: caches are dropped before each run, which needs root. Programs take
turns; the best of the rounds counts. At the end the groups of all are compared.
"""
import argparse
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

PEERS = {
    "rdfind": ["rdfind", "-dryrun", "true", "-makeresultsfile", "false"],
    "jdupes": ["jdupes", "-r", "-q"],
    "fdupes": ["fdupes", "-r", "-q"],
}


def make_small(folder):
    chance = random.Random(1)
    contents = [chance.randbytes(chance.randrange(1, 16384)) for _ in range(12000)]
    for number in range(60000):
        place = folder / f"d{number % 400}"
        place.mkdir(exist_ok=True)
        # A third has an equal somewhere.
        content = chance.choice(contents) if number % 3 == 0 else chance.randbytes(chance.randrange(1, 16384))
        (place / f"f{number}").write_bytes(content)


def make_large(folder):
    chance = random.Random(2)
    for number in range(8):
        content = chance.randbytes(160_000_000 + number * 1_000_000)
        for copy in range(2):
            # Of some pairs one byte in the middle differs.
            if copy == 1 and number % 4 == 3:
                content = content[:90_000_000] + b"x" + content[90_000_001:]
            (folder / f"large{number}-{copy}").write_bytes(content)


def make_onesize(folder):
    chance = random.Random(3)
    same = chance.randbytes(65536)
    for number in range(20000):
        place = folder / f"d{number % 100}"
        place.mkdir(exist_ok=True)
        kind = number % 4
        content = chance.randbytes(65536)
        if kind == 1:  # beginning and end are those of others
            content = same[:20000] + content[20000:40000] + same[40000:]
        elif kind == 2 and number % 8 == 2:
            content = same
        (place / f"f{number}").write_bytes(content)


TREES = {"small": make_small, "large": make_large, "onesize": make_onesize}


def drop_caches():
    os.sync()
    try:
        pathlib.Path("/proc/sys/vm/drop_caches").write_text("3")
    except OSError as error:
        return str(error)
    return None


def timed(command, environment=None):
    begin = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=environment)
    return time.monotonic() - begin


def kestrel_environment(home):
    return os.environ | {"HOME": str(home), "XDG_DATA_HOME": str(home / "data"), "CFFIXED_USER_HOME": str(home)}


def measure(kestrel, tree, rounds, is_cold):
    best = {}

    def note(name, seconds):
        best[name] = min(best.get(name, seconds), seconds)

    for _ in range(rounds):
        for name, command in PEERS.items():
            if not shutil.which(command[0]):
                continue
            if is_cold:
                drop_caches()
            note(name, timed([*command, str(tree)]))
        with tempfile.TemporaryDirectory() as home:
            environment = kestrel_environment(pathlib.Path(home))
            if is_cold:
                drop_caches()
            scan = timed([kestrel, "scan", str(tree)], environment)
            search = timed([kestrel, "duplicates", str(tree), "--min", "1", "--json"], environment)
            note("kestrel", scan + search)
            note("  its scan", scan)
            note("  its search", search)
    return best


def sets(lines):
    return {frozenset(group.split("\n")) for group in lines.strip().split("\n\n") if group}


def groups(kestrel, tree, scratch):
    found = {}
    with tempfile.TemporaryDirectory() as home:
        environment = kestrel_environment(pathlib.Path(home))
        timed([kestrel, "scan", str(tree)], environment)
        answer = subprocess.run([kestrel, "duplicates", str(tree), "--min", "1", "--json"], check=True,
                                capture_output=True, env=environment).stdout
        found["kestrel"] = {frozenset(group["paths"]) for group in json.loads(answer)["groups"]}
    for name in ("jdupes", "fdupes"):
        if shutil.which(name):
            found[name] = sets(subprocess.run([name, "-r", "-q", str(tree)], check=True, capture_output=True,
                                              text=True).stdout)
    if shutil.which("rdfind"):
        results = scratch / "results.txt"
        subprocess.run(["rdfind", "-dryrun", "false", "-outputname", str(results), str(tree)], check=True,
                       capture_output=True)
        by_number = {}
        for line in results.read_text().splitlines():
            if not line.startswith("#"):
                words = line.split(" ", 7)
                by_number.setdefault(abs(int(words[1])), set()).add(words[7])
        found["rdfind"] = {frozenset(paths) for paths in by_number.values()}
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kestrel")
    parser.add_argument("--folder", help="where the trees are made (default: the temporary folder)")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--tree", action="append", choices=TREES)
    parser.add_argument("--keep", action="store_true", help="leave the trees for the next time")
    options = parser.parse_args()
    top = pathlib.Path(options.folder or tempfile.mkdtemp(prefix="kestrel-duplicates-"))
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="kestrel-results-"))
    is_fine = True
    try:
        for name in options.tree or TREES:
            tree = top / name
            if not tree.exists():
                tree.mkdir(parents=True)
                TREES[name](tree)
                os.sync()
            for state in ("warm", "cold"):
                problem = drop_caches() if state == "cold" else None
                if problem:
                    print(f"{name}, cold: not measured ({problem})")
                    continue
                if state == "warm":
                    measure(options.kestrel, tree, 1, False)
                best = measure(options.kestrel, tree, options.rounds if state == "warm" else min(3, options.rounds),
                               state == "cold")
                fastest = min(seconds for program, seconds in best.items() if program in PEERS)
                print(f"{name}, {state}: kestrel takes {best['kestrel'] / fastest:.2f} of the fastest other one")
                for program, seconds in best.items():
                    print(f"    {program:<12} {seconds:8.3f} s")
            found = groups(options.kestrel, tree, scratch)
            for program, sets_of_paths in found.items():
                is_same = sets_of_paths == found["kestrel"]
                is_fine = is_fine and is_same
                print(f"    {program:<12} {len(sets_of_paths)} groups{'' if is_same else ', NOT THE SAME'}")
    finally:
        shutil.rmtree(scratch)
        if not options.keep:
            shutil.rmtree(top)
    return 0 if is_fine else 1


if __name__ == "__main__":
    sys.exit(main())
