#!/usr/bin/env python3
"""scripts/check-layers on small trees: it must name each include that runs against the plan, and no other."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "check-layers"
SOUND = {
    "include/KestrelCore/Base/Text.hpp": "",
    "include/KestrelCore/Model/Record.hpp": '#include "KestrelCore/Base/Text.hpp"',
    "src/Platform/Disk.hpp": '#include "KestrelCore/Base/Text.hpp"',
    "src/Platform/Linux/Disk.cpp": '#include "Platform/Disk.hpp"\n#include <sys/stat.h>\n#ifdef __linux__\n#endif',
    "src/Model/Record.cpp": '#include "KestrelCore/Model/Record.hpp"\n#include <vector>',
    "src/Snapshot/Search/Search.cpp": '#include "KestrelCore/Model/Record.hpp"',
    "src/Applications/Bundles/Bundle.hpp": "",
    "src/Applications/Inspector.cpp": '#include "Applications/Bundles/Bundle.hpp"',
    "hosts/cli/output/Table.hpp": '#include "KestrelCore/Model/Record.hpp"',
    "hosts/cli/commands/Scan.cpp": '#include "output/Table.hpp"\n#include <unistd.h>',
}


class CheckLayers(unittest.TestCase):
    def findings(self, wrong):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in {**SOUND, **wrong}.items():
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text + "\n")
            run = subprocess.run([sys.executable, SCRIPT, folder], capture_output=True, text=True)
            self.assertEqual(run.stderr, "")
            lines = run.stdout.splitlines()
            self.assertEqual(run.returncode, 0 if lines == ["Layers: every include runs down."] else 1)
            return [] if run.returncode == 0 else lines

    def expect(self, finding, wrong):
        self.assertEqual(self.findings(wrong), [finding])

    def test_a_sound_tree_passes(self):
        self.assertEqual(self.findings({}), [])

    def test_an_arrow_that_runs_up(self):
        self.expect("src/Model/Up.cpp: Snapshot/List.hpp does not stand below Model",
                    {"src/Snapshot/List.hpp": "", "src/Model/Up.cpp": '#include "Snapshot/List.hpp"'})

    def test_an_arrow_along_one_floor(self):
        self.expect("src/Deletion/Plan.cpp: Applications/Inspector.hpp does not stand below Deletion",
                    {"src/Applications/Inspector.hpp": "", "src/Deletion/Plan.cpp": '#include "Applications/Inspector.hpp"'})

    def test_an_arrow_from_a_wing_up_into_its_own_annex(self):
        self.expect("src/Snapshot/List.cpp: Snapshot/Search/Index.hpp does not stand below Snapshot",
                    {"src/Snapshot/Search/Index.hpp": "", "src/Snapshot/List.cpp": '#include "Snapshot/Search/Index.hpp"'})

    def test_a_wing_that_the_plan_lacks(self):
        self.expect("src/Helpers/Help.cpp: Platform/Disk.hpp does not stand below Helpers",
                    {"src/Helpers/Help.cpp": '#include "Platform/Disk.hpp"'})

    def test_the_c_interface_includes_public_headers(self):
        self.expect("src/CInterface/Calls.cpp: the C interface includes Platform/Disk.hpp, which is private",
                    {"src/CInterface/Calls.hpp": '#include "KestrelCore/Model/Record.hpp"',
                     "src/CInterface/Calls.cpp": '#include "CInterface/Calls.hpp"\n#include "Platform/Disk.hpp"'})

    def test_a_host_that_includes_a_private_header(self):
        self.expect("hosts/cli/output/Tree.cpp: Platform/Disk.hpp is not there for a host to include",
                    {"hosts/cli/output/Tree.cpp": '#include "Platform/Disk.hpp"'})

    def test_an_arrow_that_runs_up_in_the_host(self):
        self.expect("hosts/cli/output/Tree.cpp: store/Store.hpp does not stand below output",
                    {"hosts/cli/store/Store.hpp": "", "hosts/cli/output/Tree.cpp": '#include "store/Store.hpp"'})

    def test_a_public_header_that_names_a_private_one(self):
        self.expect("include/KestrelCore/Model/Public.hpp: a public header includes Model/Private.hpp, which is private",
                    {"src/Model/Private.hpp": "", "include/KestrelCore/Model/Public.hpp": '#include "Model/Private.hpp"'})

    def test_a_private_type_in_what_hosts_can_use(self):
        listing = "class {0}\npublic:\n    explicit List(Rows* rows);\n\nprivate:\n    friend struct Rows;\n    Rows* rows_;\n}};"
        self.expect("include/KestrelCore/Model/List.hpp: offers hosts Rows, which no public header defines",
                    {"include/KestrelCore/Model/List.hpp": "class Rows;\n" + listing.format("KESTRELCORE_EXPORT List {")})

    def test_an_opaque_type_in_a_private_part(self):
        header = "class Rows;\n/// Made of Rows.\nclass List {\npublic:\n    List();  // no Rows\nprivate:\n    Rows* rows_;\n};"
        self.assertEqual(self.findings({"include/KestrelCore/Model/List.hpp": header}), [])

    def test_a_type_that_another_public_header_defines(self):
        self.assertEqual(self.findings({
            "include/KestrelCore/Model/Rows.hpp": "class KESTRELCORE_EXPORT Rows {\n};",
            "include/KestrelCore/Model/Use.hpp": "class Rows;\nvoid use(const Rows& rows);"}), [])

    def test_a_header_of_the_operating_system(self):
        self.expect("src/Snapshot/Map.cpp: includes <sys/mman.h>, a header of the operating system",
                    {"src/Snapshot/Map.cpp": "#include <sys/mman.h>"})

    def test_a_question_for_the_system(self):
        self.expect("src/Model/Record.hpp: asks which system it is on", {"src/Model/Record.hpp": "#if defined(__APPLE__)\n#endif"})

    def test_a_circle(self):
        found = self.findings({"src/Model/A.hpp": "", "src/Model/B.hpp": "", "src/Model/A.cpp": '#include "Model/B.hpp"',
                               "src/Model/B.cpp": '#include "Model/A.hpp"'})
        self.assertEqual(len(found), 1)
        self.assertRegex(found[0], "^A circle: Model/[AB] -> Model/[AB] -> Model/[AB]$")


if __name__ == "__main__":
    unittest.main()
