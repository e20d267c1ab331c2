"""What the drivers of the hostile tests share: checks, skips, a folder for each case, tracing, mounts."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
failures = []
# What SQLite says when the system refuses it something.
SQLITE_FAULTS = {"error: " + text for text in (
    "database or disk is full", "disk I/O error", "unable to open database file", "database is locked",
    "attempt to write a readonly database", "locking protocol", "out of memory")}


def skip(reason):
    print(f"{sys.argv[2]}: Skipped\n{reason}")
    sys.exit(SKIPPED)


def check(holds, what):
    if not holds:
        failures.append(what)
        print("FAILED:", what, flush=True)


def needs_strace():
    if shutil.which("strace") is None:
        skip("strace is not installed")
    if subprocess.run(["strace", "-qq", "-o", "/dev/null", "true"], capture_output=True).returncode != 0:
        skip("Processes may not be traced here")


def needs_mount_namespace():
    """Runs this very command again in a mount namespace of its own, as the root of a user namespace if need be."""
    if os.environ.get("KESTREL_IN_NAMESPACE"):
        return
    flags = ["-m"] if os.geteuid() == 0 else ["-Urm"]
    if subprocess.run(["unshare", *flags, "true"], capture_output=True).returncode != 0:
        skip("Mount namespaces are not to be had here")
    os.environ["KESTREL_IN_NAMESPACE"] = "1"
    os.execvp("unshare", ["unshare", *flags, sys.executable, "-B", *sys.argv])


def unprivileged():
    """How to run a command that file modes bind."""
    if os.geteuid() != 0:
        return []
    command = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
    if shutil.which("setpriv") is None or subprocess.run([*command, "true"], capture_output=True).returncode != 0:
        skip("There is no way to give up root's privileges here")
    return command


def open_to_others(folder):
    """Lets other users into the folder."""
    os.chmod(folder, 0o755)
    for parent in folder.parents:
        if not os.stat(parent).st_mode & 0o001:
            skip("The temporary folder is private")


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True, capture_output=True)


def unmount(path):
    """Takes away everything that is mounted there."""
    while subprocess.run(["umount", "-l", str(path)], capture_output=True).returncode == 0:
        pass


def mounts_below(folder):
    """Where something is mounted there, the innermost first."""
    with open("/proc/self/mountinfo", encoding="utf-8", errors="surrogateescape") as table:
        points = [line.split()[4].encode().decode("unicode_escape") for line in table]
    return sorted((point for point in points if point.startswith(folder)), reverse=True)


def run_case(cases, mounting):
    """Runs the case that the command line names in a folder of its own, and ends the program. `mounting` are those that
    need a mount namespace too."""
    if sys.argv[2] in mounting:
        needs_mount_namespace()
    folder = tempfile.mkdtemp(prefix="kestrel-hostile-")
    try:
        cases[sys.argv[2]](pathlib.Path(folder))
    finally:
        # First what is mounted below, then the rest: never delete through a mount.
        for point in mounts_below(folder):
            unmount(point)
        if not mounts_below(folder):
            shutil.rmtree(folder, ignore_errors=True)
    print("all held" if not failures else f"{len(failures)} did not hold")
    sys.exit(1 if failures else 0)
