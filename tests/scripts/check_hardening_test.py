#!/usr/bin/env python3
"""scripts/check-hardening on small programs: it must name the one protection that each lacks, and nothing else."""
import pathlib
import platform
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "check-hardening"
# A frame of many pages, a buffer in it, and a function that others can call.
SOURCE = """
#include <stdio.h>
#include <string.h>
int measured(const char* text) {
    char copy[100000];
    return snprintf(copy, sizeof copy, "%s", text) + (int)strlen(copy);
}
int main(int count, char** arguments) { return measured(arguments[count - 1]); }
"""
BRANCHES = "-mbranch-protection=standard" if platform.machine() == "aarch64" else "-fcf-protection"
FLAGS = ["-O2", "-fPIE", "-pie", "-fstack-protector-strong", "-fstack-clash-protection", BRANCHES,
         "-Wl,-z,relro", "-Wl,-z,now", "-Wl,-z,noexecstack"]
LIBRARY = [{"-fPIE": "-fPIC", "-pie": "-shared"}.get(flag, flag) for flag in FLAGS] + ["-Wl,-soname,libsmall.so.1"]


class CheckHardening(unittest.TestCase):
    def findings(self, flags):
        with tempfile.TemporaryDirectory() as folder:
            source, built = pathlib.Path(folder, "small.c"), pathlib.Path(folder, "small")
            source.write_text(SOURCE)
            subprocess.run(["cc", *flags, "-o", built, source], check=True)
            run = subprocess.run([sys.executable, "-B", SCRIPT, built], capture_output=True, text=True)
            self.assertEqual(run.stderr, "")
            lines = run.stdout.splitlines()
            if run.returncode == 0:
                self.assertEqual(lines, ["Hardening: all of it in small"])
                return []
            return [line.removeprefix(f"{built}: ") for line in lines]

    def expect(self, finding, replaced):
        """One finding, with other flags in the place of some."""
        self.assertLessEqual(set(replaced), set(FLAGS))
        found = self.findings([replaced.get(flag, flag) for flag in FLAGS])
        self.assertEqual(len(found), 1, found)
        self.assertIn(finding, found[0])

    def test_a_sound_program_and_a_sound_library_pass(self):
        self.assertEqual(self.findings(FLAGS), [])
        self.assertEqual(self.findings(LIBRARY), [])

    def test_a_fixed_place(self):
        self.expect("no PIE", {"-fPIE": "-fno-pie", "-pie": "-no-pie"})

    def test_tables_that_stay_writable(self):
        self.expect("no RELRO", {"-Wl,-z,relro": "-Wl,-z,norelro"})
        self.expect("no full RELRO", {"-Wl,-z,now": "-Wl,-z,lazy"})

    def test_an_executable_stack(self):
        self.expect("a stack that can be executed", {"-Wl,-z,noexecstack": "-Wl,-z,execstack"})

    def test_frames_that_nobody_watches(self):
        self.expect("no stack protector", {"-fstack-protector-strong": "-fno-stack-protector"})
        self.expect("no stack clash protection", {"-fstack-clash-protection": "-fno-stack-clash-protection"})

    def test_functions_that_any_jump_may_reach(self):
        self.expect("without CET or BTI", {BRANCHES: "-O2"})


if __name__ == "__main__":
    unittest.main()
