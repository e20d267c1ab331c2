#!/usr/bin/env python3
"""Counts the tests in the JUnit reports of ctest and says why tests failed or were skipped, with the last words of those
that failed: of a long run the end may be all that is kept.

summarize-tests.py REPORT…: the last line is "N passed, M failed, K skipped". Fails when a test failed, when a report
is missing or unreadable, or when there was no test at all.
"""
import collections
import os
import sys
import xml.etree.ElementTree as ElementTree


def skip_reason(case):
    """What the test printed before it said that it was skipped."""
    lines = (case.findtext("system-out") or "").splitlines()
    for number, line in enumerate(lines):
        if line.endswith(": Skipped"):
            return " ".join(text.strip() for text in lines[number + 1 : number + 3] if not text.startswith("["))
    skipped = case.find("skipped")
    return (skipped.get("message") if skipped is not None else None) or "no reason given"


def last_words(case):
    """The end of what a test printed."""
    lines = (case.findtext("system-out") or "").splitlines()
    return "".join(f"\n    {line[:400]}" for line in lines[-40:])


def main(paths):
    passed, failed, counts, reasons = 0, [], [], collections.defaultdict(list)
    for path in paths:
        try:
            cases = ElementTree.parse(path).getroot().iter("testcase")
        except (OSError, ElementTree.ParseError) as error:
            failed.append(f"{path}: no report ({error})")
            continue
        for case in cases:
            name, status = case.get("name"), case.get("status")
            if status == "run":
                passed += 1
                if ".program." in name:  # attacks count what they tried
                    counts.append(f"{name}: {((case.findtext('system-out') or '').splitlines() or ['no counts'])[-1]}")
            elif status == "fail":
                failed.append(f"{path}: {name}{last_words(case)}")
            elif case.find("skipped") is not None and "SKIP" in (case.find("skipped").get("message") or "").upper():
                # These need nothing that an ordinary user lacks.
                if name.startswith("hostile.") and os.environ.get("KESTREL_ALLOW_SKIPS") != "1":
                    failed.append(f"{path}: {name} was skipped (KESTREL_ALLOW_SKIPS=1 allows that): {skip_reason(case)}")
                else:
                    reasons[skip_reason(case)].append(name)
            elif status == "disabled":
                reasons["disabled"].append(name)
            else:  # not run for a reason of its own, such as a missing program
                failed.append(f"{path}: {name} did not run")
    for line in counts:
        print(line)
    for name in failed:
        print(f"Failed: {name}")
    for reason, names in sorted(reasons.items()):
        shown = ", ".join(names[:3]) + (f" and {len(names) - 3} more" if len(names) > 3 else "")
        print(f"Skipped {len(names)}: {reason} ({shown})")
    skipped = sum(len(names) for names in reasons.values())
    print(f"{passed} passed, {len(failed)} failed, {skipped} skipped")
    return 1 if failed or passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
