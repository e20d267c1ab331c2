#!/usr/bin/env python3
"""Times `kestrel apps --json` against `du -s` over the same folders: the applications and what they left behind.

Makes a home directory with 200 application bundles and 100,000 residue files (in the page cache afterwards), runs both
in turn, and prints the medians and their ratio. Both must find the same number of bytes, up to the folders' own blocks,
which only du counts.
"""
import argparse
import json
import os
import plistlib
import statistics
import subprocess
import tempfile
import time

PLACES = ["Caches/{}", "Containers/{}", "Application Scripts/{}", "HTTPStorages/{}", "WebKit/{}",
          "Saved Application State/{}.savedState"]


def make_home(home, applications, files):
    per_place = files // (applications * len(PLACES))
    extra = files - per_place * applications * len(PLACES)
    made = 0
    for number in range(applications):
        identifier = f"com.example.application{number}"
        contents = f"{home}/Applications/Application {number}.app/Contents"
        os.makedirs(contents)
        form = plistlib.FMT_BINARY if number % 2 else plistlib.FMT_XML
        with open(f"{contents}/Info.plist", "wb") as file:
            plistlib.dump({"CFBundleIdentifier": identifier, "CFBundleName": f"Application {number}",
                           "CFBundleShortVersionString": "1.0"}, file, fmt=form)
        for place_number, place in enumerate(PLACES):
            root = f"{home}/Library/{place.format(identifier)}"
            count = per_place + (1 if number * len(PLACES) + place_number < extra else 0)
            for item in range(count):
                folder = f"{root}/{item // 20 % 3}/{item // 20}" if item >= 20 else root
                os.makedirs(folder, exist_ok=True)
                with open(f"{folder}/data-{item:05}.bin", "wb") as file:
                    file.write(b"x" * (made % 7000))
                made += 1
    return made


def run(command, environment):
    start = time.perf_counter()
    output = subprocess.run(command, env=environment, check=True, stdout=subprocess.PIPE).stdout
    return time.perf_counter() - start, output


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--kestrel", default="build/release/bin/kestrel")
    parser.add_argument("--applications", type=int, default=200)
    parser.add_argument("--files", type=int, default=100_000)
    parser.add_argument("--rounds", type=int, default=9)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="kestrel-apps-") as home:
        made = make_home(home, arguments.applications, arguments.files)
        environment = {**os.environ, "CFFIXED_USER_HOME": home, "XDG_DATA_DIRS": "/nonexistent",
                       "FLATPAK_SYSTEM_DIR": "/nonexistent"}
        for name in ("XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "FLATPAK_USER_DIR"):
            environment.pop(name, None)
        commands = {"kestrel apps": [arguments.kestrel, "apps", "--json"],
                    "du -s": ["du", "-s", "--block-size=1", f"{home}/Applications", f"{home}/Library"]}
        times = {name: [] for name in commands}
        outputs = {}
        for round_number in range(arguments.rounds + 1):
            for name, command in commands.items():
                seconds, outputs[name] = run(command, environment)
                if round_number > 0:
                    times[name].append(seconds)
        applications = json.loads(outputs["kestrel apps"])["applications"]
        found = sum(application["estimatedBytes"] for application in applications)
        files = subprocess.run(f"find {home}/Library -type f -printf '%b\\n' | awk '{{s += $1}} END {{print s * 512}}'",
                               shell=True, check=True, stdout=subprocess.PIPE).stdout
        print(f"{len(applications)} applications, {made} residue files, {found} bytes (by find: {int(files)})")
        if found != int(files) or len(applications) != arguments.applications:
            raise SystemExit("The results differ.")
        medians = {name: statistics.median(values) for name, values in times.items()}
        for name, seconds in medians.items():
            print(f"{name:14} {seconds * 1000:8.1f} ms  (of {arguments.rounds}: "
                  f"{min(times[name]) * 1000:.1f} to {max(times[name]) * 1000:.1f})")
        print(f"ratio {medians['kestrel apps'] / medians['du -s']:.2f} (goal: at most 1.30)")


if __name__ == "__main__":
    main()
