#!/usr/bin/env python3
"""scripts/check-macos on small Mach-O files: it must name what a list lacks and what it has too much, and nothing else."""
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "check-macos"
LOOKED_UP, LIBSYSTEM = 0xFE, 1
UNDEFINED, DEFINED, DEBUGGING = 0x01, 0x0F, 0x64


def program(*symbols):
    """A Mach-O file with one load command, the symbol table: names as they are linked, their kinds and libraries."""
    strings = b"\0" + b"".join(name.encode() + b"\0" for name, _, _ in symbols)
    table = b"".join(struct.pack("<IBBHQ", strings.index(b"\0" + name.encode() + b"\0") + 1, kind, 0, library << 8, 0)
                     for name, kind, library in symbols)
    begin = 32 + 24
    header = struct.pack("<8I", 0xFEEDFACF, 0x0100000C, 0, 2, 1, 24, 0, 0)
    return header + struct.pack("<6I", 2, 24, begin, len(symbols), begin + len(table), len(strings)) + table + strings


class CheckMacOS(unittest.TestCase):
    def findings(self, known, *symbols):
        with tempfile.TemporaryDirectory() as folder:
            built, listed = pathlib.Path(folder, "small"), pathlib.Path(folder, "symbols")
            built.write_bytes(program(*symbols))
            listed.write_text("# A list.\n\n[some library]\n" + "".join(f"{name}\n" for name in known))
            run = subprocess.run([sys.executable, "-B", SCRIPT, "--symbols", "--list", listed, built],
                                 capture_output=True, text=True)
            self.assertEqual(run.stderr, "")
            lines = run.stdout.splitlines()
            self.assertEqual(run.returncode == 0, lines == ["macOS: all of it compiles and links."])
            return [] if run.returncode == 0 else [line.replace(str(listed), "LIST") for line in lines]

    def test_what_the_list_has_passes(self):
        self.assertEqual(self.findings(["sqlite3_*", "LINES"], ("_sqlite3_step", UNDEFINED, LOOKED_UP),
                                       ("_LINES", UNDEFINED, LOOKED_UP)), [])

    def test_what_the_linker_found_or_the_file_has_is_no_question(self):
        self.assertEqual(self.findings([], ("_open", UNDEFINED, LIBSYSTEM), ("_main", DEFINED, 0),
                                       ("_getrandom", DEBUGGING, LOOKED_UP)), [])

    def test_a_name_that_the_list_lacks(self):
        self.assertEqual(self.findings(["sqlite3_*"], ("_sqlite3_step", UNDEFINED, LOOKED_UP),
                                       ("_getrandom", UNDEFINED, LOOKED_UP)),
                         ["getrandom is neither in KestrelCore nor in a library that LIST names."])

    def test_a_name_that_nobody_asks_for(self):
        self.assertEqual(self.findings(["LINES", "COLS"], ("_LINES", UNDEFINED, LOOKED_UP)),
                         ["COLS stands in LIST, and nothing asks for it."])

    def test_names_of_cpp_belong_to_what_they_stand_in(self):
        # fmt::v9::vformat, a table of fmt::v9::format_error, and a function that merely takes something of fmt's.
        vformat = "__ZN3fmt2v97vformatENS0_17basic_string_viewIcEE"
        self.assertEqual(self.findings(["fmt::*"], (vformat, UNDEFINED, LOOKED_UP),
                                       ("__ZTVN3fmt2v912format_errorE", UNDEFINED, LOOKED_UP)), [])
        found = self.findings(["fmt::*"], (vformat, UNDEFINED, LOOKED_UP),
                              ("__ZN11KestrelCore5printEN3fmt2v912format_errorE", UNDEFINED, LOOKED_UP))
        self.assertEqual(found, ["KestrelCore::print(fmt::v9::format_error) is neither in KestrelCore nor in a library "
                                 "that LIST names."])

    def test_the_version_of_ICU_is_no_part_of_a_name(self):
        self.assertEqual(self.findings(["u_tolower", "icu::*"], ("_u_tolower_72", UNDEFINED, LOOKED_UP),
                                       ("__ZN6icu_726Locale7getRootEv", UNDEFINED, LOOKED_UP)), [])

    def test_what_is_no_program(self):
        with tempfile.TemporaryDirectory() as folder:
            text = pathlib.Path(folder, "text")
            text.write_text("no program, but long enough to have a header" * 2)
            run = subprocess.run([sys.executable, "-B", SCRIPT, "--symbols", text], capture_output=True, text=True)
            self.assertEqual(run.returncode, 1)
            self.assertIn("is no Mach-O file", run.stderr)


if __name__ == "__main__":
    unittest.main()
