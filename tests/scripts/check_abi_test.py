#!/usr/bin/env python3
"""scripts/check-abi on changed headers: it must tell what old programs can live with from what they can't."""
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
HEADER = "include/kestrel/kestrel.h"


class CheckABI(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = pathlib.Path(folder.name)
        for name in (HEADER, "tests/CInterface/abi/libkestrel.so.1.abi", "tests/CInterface/abi/constants.txt"):
            (self.top / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TOP / name, self.top / name)

    def check(self, *options):
        run = subprocess.run([sys.executable, "-B", TOP / "scripts/check-abi", *options, self.top],
                             capture_output=True, text=True)
        self.assertEqual(run.stderr, "")
        return run.returncode, run.stdout

    def change(self, before, after):
        header = self.top / HEADER
        text = header.read_text()
        self.assertIn(before, text)
        header.write_text(text.replace(before, after, 1))

    def expect_broken(self, words):
        code, said = self.check("--accept")
        self.assertEqual(code, 1)
        self.assertIn(words, said)
        self.assertIn("breaks programs", said)

    def test_functions_constants_and_fields_of_what_the_library_makes_may_come(self):
        self.assertEqual(self.check()[0], 0)
        self.change("KESTREL_API size_t kestrel_records_count",
                    "KESTREL_API int kestrel_new_one(void) KESTREL_NOTHROW;\nKESTREL_API size_t kestrel_records_count")
        self.change("KESTREL_INTERNAL = 11", "KESTREL_NEW_ONE = 12, KESTREL_INTERNAL = 11")
        self.change("} kestrel_issue;", "int32_t more; } kestrel_issue;")
        code, said = self.check()
        self.assertEqual(code, 1)
        for words in ("kestrel_new_one", "Added: KESTREL_NEW_ONE = 12", "more", "run with this, too"):
            self.assertIn(words, said)
        self.assertEqual(self.check("--accept")[0], 0)
        self.assertEqual(self.check()[0], 0)

    def test_a_function_may_not_go(self):
        self.change("KESTREL_API size_t kestrel_records_count(const kestrel_records* records) KESTREL_NOTHROW;", "")
        self.expect_broken("kestrel_records_count")

    def test_a_parameter_may_not_change(self):
        self.change("kestrel_records_count(const kestrel_records* records)", "kestrel_records_count(int records)")
        self.expect_broken("kestrel_records_count")

    def test_a_type_may_not_change(self):
        self.change("typedef int32_t kestrel_kind;", "typedef int64_t kestrel_kind;")
        self.expect_broken("Gone or changed: kestrel_kind")

    def test_a_callback_may_not_change(self):
        self.change("const kestrel_result* result);", "const kestrel_result* result, int more);")
        self.expect_broken("Gone or changed: kestrel_result_callback")

    def test_a_constant_may_not_change(self):
        self.change("KESTREL_INTERNAL = 11", "KESTREL_INTERNAL = 12")
        self.expect_broken("KESTREL_INTERNAL = 11")

    def test_fields_may_not_move(self):
        self.change("typedef struct kestrel_issue {", "typedef struct kestrel_issue { int32_t first;")
        self.expect_broken("Gone or changed: kestrel_issue")

    def test_what_programs_make_may_not_grow(self):
        self.change("} kestrel_record;", "int32_t more; } kestrel_record;")
        self.expect_broken("programs make it: kestrel_record")
        self.change("} kestrel_text;", "int32_t more; } kestrel_text;")
        self.expect_broken("kestrel_text")


if __name__ == "__main__":
    if shutil.which("abidiff") is None:
        print("Skipped: abidiff is missing (abigail-tools).")
        sys.exit(77)
    unittest.main()
