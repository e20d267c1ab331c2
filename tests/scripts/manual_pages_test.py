#!/usr/bin/env python3
"""The manual pages beside the program that they are about, as a reader sees them: manual_pages_test.py KESTREL FOLDER."""
import html
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

KESTREL, PAGES = sys.argv[1], pathlib.Path(sys.argv[2])
SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "manual-pages"
DEFINITIONS = json.loads(subprocess.run([KESTREL, "definitions"], capture_output=True, check=True).stdout)
COMMANDS = {command["name"]: command for command in DEFINITIONS["commands"] if command["isShown"]}
# What one page tells for two commands.
SHARED = {"media": ["documents"], "documents": ["media"], "trash": ["remove"], "remove": ["trash"]}


def output(page, *form):
    return subprocess.run(["mandoc", *form, page], capture_output=True, check=True).stdout.decode()


def rendered(page):
    return re.sub(".\b", "", output(page, "-T", "ascii", "-O", "width=1000"))


def listed_options(page):
    """The options that entries of lists are about."""
    tags = re.findall(r"<dt[^>]*>(.*?)</dt>", output(page, "-T", "html"), re.DOTALL)
    texts = [html.unescape(re.sub(r"<[^>]*>", "", tag)) for tag in tags]
    return {name for text in texts if text.startswith("-") for name in re.findall(r"(?<!\S)--?[A-Za-z0-9][-\w]*", text)}


def names_of(options):
    return {name for option in options for name in option["names"]}


def written_for(definitions, folder):
    source = pathlib.Path(folder, "definitions.json")
    source.write_text(json.dumps(definitions))
    return subprocess.run([sys.executable, "-B", SCRIPT, source, pathlib.Path(folder, "pages"), "1.0", "2026-01-01"],
                          capture_output=True, text=True)


class ManualPages(unittest.TestCase):
    def test_every_command_has_a_page_with_its_options_and_no_others(self):
        everywhere = names_of(DEFINITIONS["options"])
        for name, command in COMMANDS.items():
            with self.subTest(name):
                page = PAGES / "man1" / f"kestrel-{name}.1"
                text, told = rendered(page), listed_options(page)
                own = names_of(command["options"])
                shared = set().union(*(names_of(COMMANDS[other]["options"]) for other in SHARED.get(name, [])))
                self.assertEqual(own - told, set(), "options without a place in the page")
                self.assertEqual(told - own - shared - everywhere, set(), "options that there are not")
                for heading in ("NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXAMPLES", "EXIT STATUS", "SEE ALSO"):
                    self.assertIn(f"\n{heading}\n", text)
                for example in command["examples"]:
                    self.assertIn(example, text)

    def test_the_page_of_the_program_has_the_options_of_every_command_and_all_commands(self):
        page = PAGES / "man1" / "kestrel.1"
        text = rendered(page)
        self.assertEqual(names_of(DEFINITIONS["options"]), listed_options(page))
        for name in COMMANDS:
            self.assertIn(f"kestrel-{name}(1)", text)

    def test_no_page_is_of_anything_else_and_every_reference_leads_somewhere(self):
        there = {page.name for page in PAGES.glob("man*/*")}
        for page in sorted(PAGES.glob("man*/*")):
            for name, section in re.findall(r"(kestrel[-a-z]*)\((\d)\)", rendered(page)):
                self.assertIn(f"{name}.{section}", there, page)
        of_commands = {f"kestrel-{command['name']}.1" for command in DEFINITIONS["commands"]}
        self.assertEqual({page.name for page in PAGES.glob("man1/*")} - of_commands, {"kestrel.1"})
        self.assertLess({"kestrel-search.7", "kestrel-reclaim.5"}, there)

    def test_the_checker_of_pages_has_nothing_to_say(self):
        run = subprocess.run(["mandoc", "-T", "lint", *sorted(PAGES.glob("man*/*"))], capture_output=True, text=True)
        self.assertEqual(run.stdout + run.stderr, "")

    def test_an_option_that_the_program_lost_is_an_error(self):
        changed = json.loads(json.dumps(DEFINITIONS))
        scan = next(command for command in changed["commands"] if command["name"] == "scan")
        scan["options"] = [option for option in scan["options"] if "--issues" not in option["names"]]
        with tempfile.TemporaryDirectory() as folder:
            run = written_for(changed, folder)
        self.assertEqual((run.returncode, run.stderr), (1, "manual-pages: kestrel-scan tells of --issues, which there is not\n"))

    def test_a_command_without_a_section_is_an_error(self):
        changed = json.loads(json.dumps(DEFINITIONS))
        changed["commands"].append(dict(COMMANDS["scan"], name="glide"))
        with tempfile.TemporaryDirectory() as folder:
            run = written_for(changed, folder)
        self.assertEqual((run.returncode, run.stderr), (1, "manual-pages: docs/kestrel.md has no section about glide\n"))


if shutil.which("mandoc") is None:
    print("mandoc is not installed", file=sys.stderr)
    sys.exit(77)
unittest.main(argv=sys.argv[:1])
