#!/usr/bin/env python3
"""Draws docs/browse.svg, the pages of `kestrel browse` one after the other: picture.py KESTREL FILE

What it shows is a made home directory, whose files hold nothing but have their room on the disk (some 12 GB for a
minute, on file systems that can set blocks aside).
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
from html import escape

from terminal import KESTREL, Terminal

COLUMNS, ROWS = 92, 24
CELL_WIDTH, CELL_HEIGHT, SIZE, PADDING = 8.4, 18, 14, 14
SECONDS = 4  # a frame
COLORS = {"black": "#1d1f21", "red": "#e06c75", "green": "#98c379", "brown": "#e5c07b", "yellow": "#e5c07b", "blue": "#61afef",
          "magenta": "#c678dd", "cyan": "#56b6c2", "white": "#d7dae0", "default": "#d7dae0",
          "brightblack": "#7f848e", "brightred": "#ff7b85", "brightgreen": "#b5e08f", "brightbrown": "#ffd58a",
          "brightyellow": "#ffd58a", "brightblue": "#7cc4ff", "brightmagenta": "#e09cf5", "brightcyan": "#7fdde6",
          "brightwhite": "#ffffff"}
BACKGROUND = "#16181d"
# Left, top, width and height of what a character fills of its cell: fonts leave gaps between them.
BLOCKS = {"█": (0, 0, 1, 1), "▀": (0, 0, 1, 0.5), "▐": (0.5, 0, 0.5, 1),
          **{chr(0x2580 + n): (0, 1 - n / 8, 1, n / 8) for n in range(1, 8)},
          **{chr(0x2590 - n): (0, 0, n / 8, 1) for n in range(1, 8)}}
KB, MB, DAY = 10**3, 10**6, 86400

HOME = [  # path, bytes, age in days
    ("Downloads/debian-12.8.0-amd64-DVD-1.iso", 3880 * MB, 40), ("Downloads/backup.tar.zst", 1360 * MB, 0),
    ("Videos/2024/summer.mp4", 2520 * MB, 130), ("Videos/wedding.mov", 1990 * MB, 500),
    *[(f"Music/album {i // 10}/{i % 10:02} track.flac", 32 * MB, 300) for i in range(28)],
    ("Pictures/2025/panorama.tif", 290 * MB, 80), *[(f"Pictures/2025/IMG_{4000 + i}.jpg", 4 * MB, 80) for i in range(20)],
    ("Documents/thesis.pdf", 12 * MB, 20), (".cache/thumbnails/large/a.png", 45 * MB, 9), (".cache/pip/http/1a/2b", 410 * MB, 60),
    ("src/engine/Cargo.toml", 4 * KB, 9), ("src/engine/target/CACHEDIR.TAG", 4 * KB, 50),
    ("src/engine/target/debug/deps/engine.rlib", 880 * MB, 50), ("src/engine/src/main.rs", 8 * KB, 9),
    ("src/site/package.json", 4 * KB, 90), *[(f"src/site/node_modules/p{i}/index.js", 3 * MB, 90) for i in range(60)],
]


def make_home(home):
    for name, size, age in HOME:
        path = home / name
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "wb") as file:
            os.posix_fallocate(file.fileno(), 0, size)
        then = time.time() - age * DAY
        for each in (path, path.parent):
            os.utime(each, (then, then))
    for folder in sorted((each for each in home.rglob("*") if each.is_dir()), reverse=True):
        newest = max(each.stat().st_mtime for each in folder.iterdir())
        os.utime(folder, (newest, newest))


def color(name, otherwise):
    if name == "default":
        return otherwise
    return COLORS.get(name, f"#{name}")


def runs(line):
    """Pieces of a line that look the same: first column, text, colours, boldness."""
    pieces = []
    for column in range(COLUMNS):
        cell = line[column]
        ink, paper = color(cell.fg, COLORS["default"]), color(cell.bg, BACKGROUND)
        if cell.reverse:
            ink, paper = paper, ink
        look = (ink, paper, cell.bold)
        if pieces and pieces[-1][2] == look:
            pieces[-1][1] += cell.data
        else:
            pieces.append([column, cell.data, look])
    return pieces


def box(x, y, width, height, color_name):
    return (f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{height:.1f}" fill="{color_name}" '
            'shape-rendering="crispEdges"/>')


def drawn(screen):
    """The screen as SVG elements."""
    lines = []
    for row in range(ROWS):
        y = PADDING + row * CELL_HEIGHT
        for column, text, (ink, paper, bold) in runs(screen.buffer[row]):
            x, width = PADDING + column * CELL_WIDTH, len(text) * CELL_WIDTH
            if paper != BACKGROUND:
                lines.append(box(x, y, width, CELL_HEIGHT, paper))
            for match in re.finditer(r"([▀-▐])\1*", text):
                left, top, part, height = BLOCKS[match[1]]
                start = x + match.start() * CELL_WIDTH
                whole = len(match[0]) * CELL_WIDTH if part == 1 else part * CELL_WIDTH
                lines.append(box(start + left * CELL_WIDTH, y + top * CELL_HEIGHT, whole, height * CELL_HEIGHT, ink))
            text = re.sub("[▀-▐]", " ", text)
            if text.strip():
                # Whatever font there is, the columns stay where they are.
                lines.append(f'<text x="{x:.1f}" y="{y + 13}" textLength="{width:.1f}" lengthAdjust="spacingAndGlyphs" '
                             f'fill="{ink}"{" font-weight=" + chr(34) + "bold" + chr(34) if bold else ""}>'
                             f'{escape(text)}</text>')
    return "\n".join(lines)


def picture(frames):
    width, height = COLUMNS * CELL_WIDTH + 2 * PADDING, ROWS * CELL_HEIGHT + 2 * PADDING
    whole, share = SECONDS * len(frames), 100 / len(frames)
    groups = "\n".join(f'<g class="frame" style="animation-delay:{-whole + index * SECONDS}s">\n{frame}\n</g>'
                       for index, frame in enumerate(frames))
    return f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" height="{height}">
<style>
text {{ font: {SIZE}px ui-monospace, Menlo, Consolas, "DejaVu Sans Mono", monospace; white-space: pre }}
.frame {{ animation: show {whole}s step-end infinite }}
@keyframes show {{ 0% {{ visibility: visible }} {share:.3f}% {{ visibility: hidden }} 100% {{ visibility: hidden }} }}
@media (prefers-reduced-motion) {{ .frame {{ animation: none; visibility: hidden }} .frame:first-of-type {{ visibility: visible }} }}
</style>
<rect width="100%" height="100%" rx="8" fill="{BACKGROUND}"/>
{groups}
</svg>
"""


def main():
    with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:
        home = pathlib.Path(folder) / "anna"
        home.mkdir()
        for name in ("XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "NO_COLOR"):
            os.environ.pop(name, None)
        os.environ.update(HOME=str(home), CFFIXED_USER_HOME=str(home), XDG_DATA_HOME=folder + "/data", COLORTERM="truecolor")
        make_home(home)
        new = home / "Downloads/backup.tar.zst"
        new.rename(folder + "/later")
        subprocess.run([KESTREL, "scan", home], check=True, stdout=subprocess.DEVNULL)
        os.rename(folder + "/later", new)
        subprocess.run([KESTREL, "scan", home], check=True, stdout=subprocess.DEVNULL)
        terminal = Terminal(["browse", str(home)], COLUMNS, ROWS)
        frames = []

        def keep(keys, text):
            terminal.type(keys)
            terminal.shows(text)
            while terminal.read(0.5):
                pass
            frames.append(drawn(terminal.screen))

        keep("", "Downloads/")
        keep("p", "debian")
        keep("pw", "What can go")
        terminal.type(" ")
        terminal.shows("marked")
        keep("t", "to the Trash?")
        terminal.type("n")
        terminal.shows("What can go")
        terminal.type("q")
        terminal.shows("Downloads/")
        terminal.type("q")
        terminal.end()
        pathlib.Path(sys.argv[2]).write_text(picture(frames))


if __name__ == "__main__":
    main()
