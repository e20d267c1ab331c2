#!/usr/bin/env python3
"""The page of `kestrel report` in a browser that this drives as a person does. browser.py KESTREL all

One browser for all of it, without a window. Ends with 0 when all held, 1 when something did not, 77 when there is no
browser, or no driver for it. Nothing is timed: each step waits until the page is as it should be.
"""
import base64
import json
import os
import pathlib
import subprocess
import sys
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "hostile"))
from driver import check, run_case, skip

sys.path.append("/usr/lib/python3/dist-packages")  # where the system keeps it, whichever interpreter runs this
try:
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    skip("python3-selenium is not installed")

KESTREL = os.path.abspath(sys.argv[1])
PATIENCE = 60  # seconds, for a step that takes a moment
MARK = "@KESTREL-DATA@"
HOSTILE = [
    b"<script>document.title='taken'", b"</script><script>document.title='taken'<!--", b"<img src=x onerror=document.title='taken'>", b"--><!--",
    b"]]>&amp;&#0;\"'`${1}", b"evil\xe2\x80\xaegpj.exe", b"bad\xff\xfe", b"half\xed\xa0\x80pair", b"line\nbreak\x1b[2J",
    b"@KESTREL-DATA@", b"__proto__", b"n" * 255]


class Browser:
    """A window with a page in it."""

    def __init__(self, folder):
        options = webdriver.ChromeOptions()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--window-size=1280,860", f"--user-data-dir={folder}/profile"):
            options.add_argument(argument)
        for program in ("/usr/bin/chromium", "/usr/bin/google-chrome"):
            if os.path.exists(program):
                options.binary_location = program
                break
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        try:
            self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        except (WebDriverException, OSError) as error:
            skip(f"No browser could be started: {error}")
        self.driver.set_script_timeout(PATIENCE)

    def open(self, page):
        self.driver.get("about:blank")
        self.driver.get(pathlib.Path(page).as_uri())
        self.is_shown(page)

    def is_shown(self, what):
        self.until("document.documentElement.dataset.state !== undefined", f"{what} comes to an end")
        if self.value("document.documentElement.dataset.state") != "ready":
            raise RuntimeError(f"{what}: {self.text('waiting')}")

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def value(self, expression, *arguments):
        return self.run(f"return {expression}", *arguments)

    def until(self, condition, what):
        try:
            WebDriverWait(self.driver, PATIENCE, poll_frequency=0.02).until(lambda _: self.value(condition))
        except WebDriverException:
            check(False, what)

    def text(self, name):
        return self.value("document.getElementById(arguments[0]).textContent", name)

    def rows(self, panel):
        return self.value("[...document.querySelectorAll(`#panel-${arguments[0]} tbody tr`)]"
                          ".map(row => [...row.cells].map(cell => cell.textContent))", panel)

    def type(self, *keys):
        for key in keys:
            self.driver.switch_to.active_element.send_keys(key)

    def name_with_focus(self):
        return self.value("document.activeElement.closest('tr')?.cells[0].textContent")

    def folder(self):
        return self.value("document.querySelector('#way [aria-current]').textContent")

    def is_in(self, name):
        self.until(f"document.querySelector('#way [aria-current]').textContent === {json.dumps(name)}", f"goes to {name}")

    def colors(self):
        """The different colours on a grid over the picture."""
        return self.value("""(() => {
            const picture = document.getElementById('picture');
            const canvas = Object.assign(document.createElement('canvas'), {width: picture.width, height: picture.height});
            const context = canvas.getContext('2d', {willReadFrequently: true});
            context.drawImage(picture, 0, 0);
            const data = context.getImageData(0, 0, canvas.width, canvas.height).data;
            const found = {};
            for (let y = 5; y < canvas.height; y += 10) for (let x = 5; x < canvas.width; x += 10) {
              const i = 4 * (y * canvas.width + x);
              const color = `${data[i]},${data[i + 1]},${data[i + 2]}`;
              found[color] = (found[color] ?? 0) + 1;
            }
            return found;
        })()""")

    def click_in_picture(self, x, y):
        """At a place in parts of the picture's width and height."""
        canvas = self.driver.find_element(By.ID, "picture")
        size = canvas.size
        ActionChains(self.driver, duration=0).move_to_element_with_offset(
            canvas, int((x - 0.5) * size["width"]), int((y - 0.5) * size["height"])).click().perform()

    def wheel(self, steps):
        self.run("""const canvas = document.getElementById('picture'), room = canvas.getBoundingClientRect();
            canvas.dispatchEvent(new WheelEvent('wheel', {deltaY: arguments[0], cancelable: true, bubbles: true,
                clientX: room.left + room.width / 4, clientY: room.top + room.height / 2}))""", steps)

    def complaints(self):
        """What the browser says of the page (errors, refused content), and what was asked of anything but the file."""
        said = [entry["message"] for entry in self.driver.get_log("browser")]
        asked = []
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                address = message["params"]["request"]["url"]
                if not address.startswith(("file:///", "about:", "data:", "chrome:")):
                    asked.append(address)
        return said + asked

    def has_nothing_to_complain_of(self):
        found = self.complaints()
        check(found == [], f"no errors, and nothing asked of anybody: {found}")


def kestrel(folder, *arguments):
    environment = {**os.environ, "XDG_DATA_HOME": f"{folder}/data", "CFFIXED_USER_HOME": str(folder), "HOME": str(folder),
                   "TZ": "UTC", "LC_ALL": "C.UTF-8"}
    result = subprocess.run([KESTREL, *arguments], cwd=folder, env=environment, capture_output=True, text=True)
    check(result.returncode == 0, f"kestrel {' '.join(arguments)}: {result.returncode} {result.stderr}")
    return result


def fill(path, size):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(b"x" * size)
    os.utime(path, (1_700_000_000, 1_700_000_000))


def scanned(folder):
    """A page of a small tree, and one of it after it has grown."""
    tree = folder / "tree"
    fill(tree / "videos/trip/mountain.mp4", 900_000)
    fill(tree / "videos/short.mkv", 300_000)
    fill(tree / "music/one.flac", 400_000)
    fill(tree / "music/Two.FLAC", 200_000)
    fill(tree / "notes.txt", 50_000)
    os.link(tree / "notes.txt", tree / "notes-again.txt")
    kestrel(folder, "scan", "tree")
    kestrel(folder, "report", "-o", "small.html")
    fill(tree / "music/three.flac", 800_000)
    (tree / "videos/short.mkv").unlink()
    kestrel(folder, "scan", "tree")
    kestrel(folder, "report", "--since", "1", "-o", "grown.html")


def small(browser, folder):
    """Everything that a person does on a page."""
    browser.open(folder / "small.html")
    top = str(folder / "tree")
    check(browser.folder() == top, "begins at the top")
    check(top in browser.driver.title, "has a title")
    about = browser.text("about")
    check(" MB · " in about and "items" in about and "scanned 20" in about, f"says what it is of: {about}")
    check([row[0] for row in browser.rows("folder")] == ["videos", "music", "notes.txt", "notes-again.txt"] or
          [row[0] for row in browser.rows("folder")] == ["videos", "music", "notes-again.txt", "notes.txt"],
          f"lists the folder: {browser.rows('folder')}")
    colors = browser.colors()
    check(len(colors) >= 5 and max(colors.values()) < 0.8 * sum(colors.values()), f"draws a picture: {colors}")

    # The mouse: to the folder whose file was clicked at; the wheel out and in; the way above.
    browser.click_in_picture(0.2, 0.5)
    browser.is_in("trip")
    check("#" in browser.driver.current_url, "has an address for the folder")
    check(browser.text("said").startswith("trip: "), "says where it is")
    check("trip" in browser.value("document.getElementById('picture').getAttribute('aria-label')"), "names the picture")
    browser.driver.refresh()
    browser.is_shown("loading again")
    browser.is_in("trip")
    browser.wheel(200)
    browser.is_in("videos")
    browser.run("document.querySelector('#way button').click()")
    browser.is_in(top)
    browser.until("(() => { const canvas = document.getElementById('picture'), room = canvas.getBoundingClientRect();"
                  "canvas.dispatchEvent(new WheelEvent('wheel', {deltaY: -200, cancelable: true, bubbles: true,"
                  "clientX: room.left + room.width / 4, clientY: room.top + room.height / 2}));"
                  "return document.querySelector('#way [aria-current]').textContent === 'videos'; })()", "the wheel goes in")
    browser.driver.back()
    browser.is_in(top)
    ActionChains(browser.driver, duration=0).move_to_element(browser.driver.find_element(By.ID, "picture")).perform()
    tip = browser.text("tip")
    check("bytes)" in tip and "of this folder" in tip and "Modified" in tip and "Kind" in tip, f"tells of what is pointed at: {tip}")

    # Keys only, from the list.
    browser.run("document.activeElement.blur()")
    browser.type("l")
    check(browser.name_with_focus() == "videos", "l goes to the list")
    browser.type(Keys.ARROW_DOWN)
    check(browser.name_with_focus() == "music", "an arrow goes down")
    check(not browser.value("document.getElementById('chosen').hidden"), "the picture shows what is chosen")
    browser.type(Keys.ENTER)
    browser.is_in("music")
    check(browser.name_with_focus() == "one.flac", "the focus goes in as well")
    browser.type(Keys.BACKSPACE)
    browser.is_in(top)
    check(browser.name_with_focus() == "music", "back up it is where it was")
    browser.type(Keys.HOME, Keys.ENTER)
    browser.is_in("videos")
    browser.type("0")
    browser.is_in(top)
    # And in the picture.
    browser.type("m", Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
    check(browser.text("said").startswith("music, "), f"arrows walk in the picture: {browser.text('said')}")
    browser.type(Keys.ENTER)
    browser.is_in("music")
    browser.type("0")

    # The search.
    browser.type("/")
    check(browser.value("document.activeElement.id") == "search", "/ goes to the search")
    browser.type("FLAC")
    browser.until("document.querySelectorAll('#panel-found tbody tr').length === 2", "finds names in any case")
    check(browser.rows("found")[1][0].startswith("Two.FLAC"), f"the larger one first: {browser.rows('found')}")
    browser.type(Keys.ENTER)
    browser.type(Keys.ENTER)
    browser.is_in("music")
    browser.type(Keys.ESCAPE)
    check(browser.value("document.getElementById('tab-found').hidden"), "Esc ends the search")
    browser.type("0")

    # The other lists, each by its number.
    browser.type("2")
    check(browser.rows("largest")[0][0].startswith("mountain.mp4"), "lists the largest files")
    browser.type("3")
    types = browser.rows("types")
    summary = json.loads(kestrel(folder, "summary", "--json", "--at", "1").stdout)
    check([[row[0], row[3]] for row in types] == [[row["name"], str(row["items"])] for row in summary["rows"]],
          f"types as kestrel summary has them: {types}")
    browser.type("4")
    ages = json.loads(kestrel(folder, "summary", "--by", "age", "--json", "--at", "1").stdout)
    check([[row[0], row[3]] for row in browser.rows("ages")] == [[row["name"], str(row["items"])] for row in ages["rows"]],
          f"and ages: {browser.rows('ages')}")
    browser.type("1")
    browser.run("document.querySelector('#panel-folder th button').click()")
    check(browser.rows("folder")[0][0] == "music" and
          browser.value("document.querySelector('#panel-folder th').getAttribute('aria-sort')") == "ascending", "sorts by name")

    # Help, light and dark, colours.
    browser.type("?")
    check(browser.value("document.getElementById('keys').open"), "? tells the keys")
    browser.type(Keys.ESCAPE)
    check(not browser.value("document.getElementById('keys').open"), "Esc closes them")
    ground = "getComputedStyle(document.body).backgroundColor"
    light = browser.value(ground)
    browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": "dark"}]})
    browser.until("document.documentElement.dataset.theme === 'dark'", "follows the system into the dark")
    check(browser.value(ground) != light, "which is another ground")
    browser.type("t")
    check(browser.value(ground) == light, "and the switch brings the light back")
    before = browser.colors()
    browser.type("c")
    check(browser.colors() != before and browser.value("document.getElementById('coloring').value") == "age", "c takes other colours")

    # A narrow window needs no other width.
    browser.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": 360, "height": 700, "deviceScaleFactor": 2, "mobile": False})
    browser.until("innerWidth === 360 && document.getElementById('picture').clientWidth < 360", "takes a narrow window")
    check(browser.value("document.documentElement.scrollWidth <= 360"), "nothing stands out of it")
    browser.driver.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
    paper = browser.driver.execute_cdp_cmd("Page.printToPDF", {})
    check(base64.b64decode(paper["data"]).startswith(b"%PDF"), "can be printed")
    browser.until("document.querySelectorAll('.panel:not([hidden])').length === 1", "and is as before then")
    browser.has_nothing_to_complain_of()


def grown(browser, folder):
    """Two scans: a table of what changed, and the picture coloured by it."""
    browser.open(folder / "grown.html")
    rows = browser.rows("growth")
    names = [row[0].split("new")[0].split("gone")[0] for row in rows]
    check("three.flac" in names and "short.mkv" in names, f"tells what grew and what is gone: {rows}")
    check(any(row[1].startswith("+") for row in rows) and any(row[1].startswith("−") for row in rows), "with signs")
    check(browser.value("document.getElementById('coloring').value") == "change", "colours by change")
    check(len(browser.colors()) >= 3, "in more than one colour")
    browser.run("[...document.querySelectorAll('#panel-growth tr')].find(row => row.textContent.includes('three')).click()")
    browser.is_in("music")


def hostile(browser, folder):
    """Names that would be markup, script, or the end of something."""
    tree = folder / "hostile"
    tree.mkdir()
    for number, name in enumerate(HOSTILE):
        fill(pathlib.Path(os.fsdecode(os.path.join(os.fsencode(tree), name))), 5000 * (number + 1))
    kestrel(folder, "scan", "hostile")
    kestrel(folder, "report", "hostile", "-o", "hostile.html")
    browser.open(folder / "hostile.html")
    shown = {row[0] for row in browser.rows("folder")}
    for name in ("<script>document.title='taken'", "<", "<img src=x onerror=document.title='taken'>", "--><!--",
                 "]]>&amp;&#0;\"'`${1}", "evil\\u{202e}gpj.exe", "bad\ufffd\ufffd", "line\\nbreak\\x1b[2J", "@KESTREL-DATA@",
                 "__proto__", "n" * 255):
        check(name in shown, f"{name[:40]} is shown as it is, or as an escape: {shown}")
    check(any(name.startswith("half\ufffd") for name in shown), "half a pair is repaired")
    check("taken" not in browser.driver.title, "no name has become a script")
    check(browser.value("document.querySelectorAll('img, iframe, object').length") == 0, "nor an element")
    browser.type("/", "gpj")
    browser.until("document.querySelectorAll('#panel-found tbody tr').length === 1", "and each can be found")
    browser.has_nothing_to_complain_of()
    # That the policy would.
    browser.run("const image = new Image(); image.src = 'https://kestrel.invalid/x.png'; document.body.append(image);"
                "const script = document.createElement('script'); script.textContent = 'document.title = \"taken\"';"
                "document.body.append(script)")
    check("taken" not in browser.driver.title, "the policy lets no other script run")
    check(any("Content Security Policy" in each for each in browser.complaints()), "and nothing from outside in")


def varint(number):
    out = bytearray()
    while number >= 0x80:
        out.append(number & 0x7F | 0x80)
        number >>= 7
    out.append(number)
    return bytes(out)


# The page's digits to the base 85 are the usual ones, but for those that mean something in markup.
FROM_B85 = str.maketrans("&<>`", "[],.")
TO_B85 = str.maketrans("[],.", "&<>`")


def million(browser, folder):
    """A page of a million items, put together here: it must open, and says how soon."""
    page = (folder / "small.html").read_text()
    before, rest = page.split('<script id="data" type="application/octet-stream">')
    after = rest[rest.index("</script>"):]
    packed = zlib.decompress(base64.b85decode(rest[:rest.index("</script>")].translate(TO_B85)))
    length = int.from_bytes(packed[:4], "little")
    head = json.loads(packed[4:4 + length])
    columns = {
        "what": b"\x0a" + b"\x0a" * 1000 + bytes(range(10)) * 99_900,
        "counts": varint(1000) + varint(999) * 1000,
        "sizes": b"\x02" * 1001 + b"".join(varint(2 * (1 + i * i % 9973)) for i in range(999)) * 1000,
        "dates": varint(1 + 2 * 28_000_000) + b"\x01" * 999_999 + b"",
        "names": b"/million\0" + b"".join(b"folder %d\0" % i for i in range(1000)) + b"".join(
            b"item-%06d.dat\0" % i for i in range(999_000)),
        "rests": b"", "changes": b""}
    head.update(columns={name: len(column) for name, column in columns.items()}, shown=1_000_001, items=1_000_001)
    columns["dates"] += b"\x01"
    head["columns"]["dates"] += 1
    text = json.dumps(head).encode()
    data = len(text).to_bytes(4, "little") + text + b"".join(columns.values())
    path = folder / "million.html"
    path.write_text(before + '<script id="data" type="application/octet-stream">' +
                    base64.b85encode(zlib.compress(data, 1)).decode().translate(FROM_B85) + after)
    browser.open(path)
    check("1,000,000 items" in browser.text("about"), f"counts them all: {browser.text('about')}")
    check(len(browser.colors()) > 5, "draws them")
    moments = browser.value("performance.getEntriesByType('mark').map(mark => [mark.name, Math.round(mark.startTime)])")
    print(f"A million items, {os.path.getsize(path) / 1e6:.1f} MB: {dict(moments)} ms", flush=True)
    browser.type("/", "item-99800")
    browser.until("document.querySelectorAll('#panel-found tbody tr').length === 10", "finds ten of them")


def every(folder):
    browser = Browser(folder)
    try:
        scanned(folder)
        for case in (small, grown, hostile, million):
            print(case.__name__, flush=True)
            case(browser, folder)
    finally:
        browser.driver.quit()


run_case({"all": every}, mounting=())
