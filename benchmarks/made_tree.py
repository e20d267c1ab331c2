"""The made tree that comparisons of whole programs share."""
import os
import pathlib
import shutil
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent


def make_tree(files):
    """Its folder in build/bench; made only where it is not there yet."""
    folder = TOP / "build" / "bench"
    tree, complete = folder / f"tree-{files}", folder / f"tree-{files}.complete"
    if not complete.exists():
        folder.mkdir(parents=True, exist_ok=True)
        shutil.rmtree(tree, ignore_errors=True)
        print(f"Making {tree} …", file=sys.stderr)
        subprocess.run([sys.executable, TOP / "benchmarks" / "make_tree.py", "--files", str(files), "--seed", "1",
                        "--out", tree, "--jobs", str(os.cpu_count() or 1)], check=True, stdout=sys.stderr)
        complete.touch()
    return tree
