#!/usr/bin/env python3
"""The examples, each run as a person would: examples.py BIGGEST RECLAIM LIBRARY"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

BIGGEST, RECLAIM, LIBRARY = sys.argv[1:4]
WATCH = pathlib.Path(__file__).resolve().parent.parent.parent / "examples/watch.py"


class Examples(unittest.TestCase):
    def setUp(self):
        self.home = pathlib.Path(os.path.realpath(tempfile.mkdtemp(prefix="kestrel-examples-")))
        self.addCleanup(shutil.rmtree, self.home)
        self.tree = self.home / "tree"
        for name, size in (("small/file", 50_000), ("large/line\nbreak/file", 2_000_000)):
            (self.tree / name).parent.mkdir(parents=True)
            (self.tree / name).write_bytes(b"x" * size)

    def run_it(self, *arguments, code=0):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.home), "CFFIXED_USER_HOME": str(self.home),
                       "KESTREL_LIBRARY": LIBRARY, "LD_LIBRARY_PATH": os.environ.get("LD_LIBRARY_PATH", "")}
        run = subprocess.run(arguments, env=environment, capture_output=True, text=True)
        self.assertEqual(run.returncode, code, run.stderr)
        return run.stdout if code == 0 else run.stderr

    def test_the_biggest_folders(self):
        lines = self.run_it(BIGGEST, self.tree, "3").splitlines()
        self.assertEqual([line.split("  ")[-1] for line in lines],
                         [f"{self.tree}", f"{self.tree}/large", f"{self.tree}/large/line?break"])
        self.assertTrue(all(line.split()[0] in ("2.0", "2.1") for line in lines), lines)
        self.assertIn("No such file", self.run_it(BIGGEST, self.tree / "none", code=1))

    def test_what_has_grown(self):
        arguments = (sys.executable, "-B", WATCH, self.tree, self.home / "scans")
        self.assertEqual(self.run_it(*arguments), "This is the first look.\n")
        self.assertEqual(self.run_it(*arguments), "Nothing has changed.\n")
        (self.tree / "small/new\nfile").write_bytes(b"x" * 3_000_000)
        (self.tree / "small/file").unlink()
        grown = self.run_it(*arguments)
        self.assertRegex(grown, r"(?m)^ +\+3\.0 MB  .*/tree/small/new\\nfile$")
        self.assertRegex(grown, r"(?m)^ +-0\.1 MB  .*/tree/small/file$")

    def test_what_can_go(self):
        target = self.tree / "project/target"
        (target / "debug").mkdir(parents=True)
        for file in (target / "CACHEDIR.TAG", target / "debug/program", target.parent / "Cargo.toml"):
            file.write_bytes(b"x" * 500_000)
        past = time.time() - 365 * 24 * 3600
        for path in [*target.rglob("*"), target]:
            os.utime(path, (past, past))
        said = self.run_it(RECLAIM, self.tree, self.home / "scans")
        self.assertIn("Build output of Cargo", said)
        self.assertIn(f"{target}\n", said)
        self.assertRegex(said, r"(?m)^ +1\.0 MB  in all$")


unittest.main(argv=sys.argv[:1])
