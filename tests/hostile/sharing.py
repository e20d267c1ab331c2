#!/usr/bin/env python3
"""Equal files on volumes where files can share blocks. sharing.py KESTREL CASE

Mounts a volume of its own, for which it needs root. Ends with 0 when all held, 1 when something did not, 77 when the
system lacks what the case needs (a line says what).
"""
import json
import os
import shutil
import subprocess
import sys

from driver import check, mount, run_case, skip

KESTREL = os.path.abspath(sys.argv[1])
LENGTH = 8_000_123  # does not end with a block


def volume(base, maker, *options):
    if os.geteuid() != 0 or shutil.which(maker) is None:
        skip(f"A volume needs root and {maker}")
    image, top = base / "image", base / "volume"
    with open(image, "wb") as file:
        file.truncate(320 << 20)
    top.mkdir()
    if subprocess.run([maker, "-q", *options, image], capture_output=True).returncode:
        skip(f"{maker} makes no volume here")
    try:
        mount("-o", "loop", image, top)
    except subprocess.CalledProcessError:
        skip("No such volume can be mounted here")
    return top


def kestrel(base, *arguments):
    home = base / "home"
    home.mkdir(exist_ok=True)
    environment = os.environ | {"HOME": str(home), "XDG_DATA_HOME": str(home / "data"), "CFFIXED_USER_HOME": str(home)}
    result = subprocess.run([KESTREL, *map(str, arguments)], capture_output=True, text=True, env=environment)
    return result.returncode, json.loads(result.stdout) if result.stdout.startswith("{") else {}, result.stderr


def used(top):
    os.sync()
    room = os.statvfs(top)
    return (room.f_blocks - room.f_bfree) * room.f_frsize


def standings(found):
    return {os.path.basename(file["path"]): file["standing"] for group in found["groups"] for file in group["files"]}


def shares(base, top):
    content = os.urandom(LENGTH)
    for name in ("original", "copy"):
        (top / name).write_bytes(content)
    (top / "different").write_bytes(content[:4_000_000] + b"?" + content[4_000_001:])
    subprocess.run(["cp", "--reflink=always", top / "original", top / "reflink"], check=True)
    os.utime(top / "original", (1000, 1000))
    os.sync()
    before = {path.name: (path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_ino) for path in top.iterdir()
              if path.is_file()}
    code, _, messages = kestrel(base, "scan", top)
    check(code == 0, f"the volume is scanned: {messages}")
    code, found, _ = kestrel(base, "duplicates", top, "--json")
    check(standings(found) == {"original": "kept", "copy": "spare", "reflink": "sharesBlocks"},
          f"what shares blocks is no gain: {standings(found)}")
    check(LENGTH <= found["reclaimableBytes"] < LENGTH + 65536, f"one copy comes free: {found['reclaimableBytes']}")

    code, planned, _ = kestrel(base, "duplicates", top, "--dedupe", "--dry-run", "--json")
    check(code == 0 and planned["reclaimableBytes"] == found["shareableBytes"] > 0, "the plan says what is to gain")
    taken = used(top)
    code, done, messages = kestrel(base, "duplicates", top, "--dedupe", "--json")
    check(code == 0 and not messages, f"blocks are shared: {done} {messages}")
    check(done["reclaimableBytes"] > LENGTH - 65536, f"it tells what came free: {done}")
    freed = taken - used(top)
    check(freed > LENGTH - 1_000_000, f"as much did: {freed}")
    after = {path.name: (path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_ino) for path in top.iterdir()
             if path.is_file()}
    check(before == after, "no content, date or file changed")

    code, again, _ = kestrel(base, "duplicates", top, "--json")
    check(again["reclaimableBytes"] == 0 and standings(again)["copy"] == "sharesBlocks",
          f"now nothing is to gain: {again}")
    code, done, _ = kestrel(base, "duplicates", top, "--dedupe", "--json")
    check(code == 0 and done["results"] == [], f"and nothing to do: {done}")


def btrfs(base):
    shares(base, volume(base, "mkfs.btrfs"))


def xfs(base):
    shares(base, volume(base, "mkfs.xfs", "-m", "reflink=1"))


def ext4(base):
    top = volume(base, "mkfs.ext4", "-F")
    for name in ("original", "copy"):
        (top / name).write_bytes(b"x" * 2_000_000)
    kestrel(base, "scan", top)
    code, told, messages = kestrel(base, "duplicates", top, "--dedupe", "--json")
    check(code == 1 and "can't let files share" in told.get("error", {}).get("message", "") + messages,
          f"it says that the file system can't: {code} {told} {messages}")
    check((top / "copy").read_bytes() == b"x" * 2_000_000, "the copy is as it was")


if __name__ == "__main__":
    run_case({case.__name__: case for case in (btrfs, xfs, ext4)}, mounting={"btrfs", "xfs", "ext4"})
