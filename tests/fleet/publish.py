#!/usr/bin/env python3
"""Publishing to a real server. publish.py KESTREL CASE

publish  what arrives is what was scanned; publishing again, keeping, clearing, parts of a volume; two shards have the same
breaks   the connection is cut after every so many bytes, in both directions: nothing is doubled, nothing is lost
names    any bytes in any text are data
"""
import json
import os
import socket
import threading

from server import DATABASE, PASSWORD, Stores, check, run_case

FILES = ("SELECT path, kind, size, allocated, display, modified, links, bitTest(flags, 0), bitTest(flags, 2) FROM (SELECT *, "
         "concat(if(dir = '/', '', dir), '/', name) AS path FROM files) WHERE (host, volume, publication) GLOBAL IN "
         "(SELECT host, volume, publication FROM current) ORDER BY path")
FOLDERS = ("SELECT path, parent, depth, items, files, bytes, photos, code, others, changed_30_days, changed_earlier FROM folders "
           "WHERE (host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current) ORDER BY path")


def fill(tree):
    (tree / "a" / "deep" / "deeper").mkdir(parents=True)
    (tree / "empty").mkdir()
    for i in range(40):
        (tree / "a" / f"file {i}.txt").write_bytes(b"x" * (i * 997))
    for i in range(20):
        (tree / "a" / "deep" / "deeper" / f"Bild {i}.JPG").write_bytes(b"y" * 5000)
    (tree / "é").mkdir()
    (tree / "é" / "Ünïcödé.py").write_text("z")
    os.link(tree / "a" / "file 7.txt", tree / "é" / "again")
    os.symlink("nowhere", tree / "a" / "link")
    os.utime(tree / "a" / "file 9.txt", (981173106.25, 981173106.25))


def expected(machine):
    """The rows that `files` is to have, of the export of the same scan."""
    rows = []
    inodes = {}
    for line in machine.does("export", "--format", "json").decode().splitlines()[1:-1]:
        item = json.loads(line)
        status = os.lstat(item["path"])
        inodes[item["path"]] = status.st_ino
        rows.append(item)
    return rows, inodes


def unescaped(text):
    """As the server writes texts for people to copy."""
    for old, new in ((rb"\'", b"'"), (rb"\t", b"\t"), (rb"\n", b"\n"), (rb"\r", b"\r"), (rb"\b", b"\b"), (rb"\f", b"\f"),
                     (rb"\0", b"\0")):
        text = text.replace(old, new)
    return text.replace(rb"\\", b"\\")


def check_files(store, machine, what):
    items, inodes = expected(machine)
    rows = store.sql(FILES)
    links = {inode: list(inodes.values()).count(inode) for inode in inodes.values()}
    found = {row[0].decode(): row[1:] for row in rows}
    check(len(rows) == len(items) == len(found), f"{what}: {len(rows)} rows of {len(items)} items")
    for item in items:
        row = found.get(item["path"])
        if row is None:
            check(False, f"{what}: {item['path']} is missing")
            continue
        kind, size, allocated, display, modified, names, hidden, further = [cell.decode() for cell in row]
        is_folder = item["kind"] == "directory"
        status = os.lstat(item["path"])
        check(kind.replace(" ", "") == item["kind"].lower().replace("symboliclink", "symboliclink"), f"{what}: kind of {item['path']}: {kind}")
        check(int(size) == status.st_size, f"{what}: size of {item['path']}")
        check(int(allocated) == status.st_blocks * 512, f"{what}: allocation of {item['path']}")
        check(is_folder or display == allocated, f"{what}: what is shown of {item['path']}")
        check(abs(float(modified) + 978307200 - status.st_mtime) < 1e-5, f"{what}: date of {item['path']}")
        check(is_folder or int(names) == links[status.st_ino], f"{what}: links of {item['path']}: {names}")
        check(hidden == "0", f"{what}: {item['path']} is hidden")
        check(further == "0" or links[status.st_ino] > 1, f"{what}: {item['path']} is a further link")


def check_folders(store, machine, what):
    """Against sums that are added up here."""
    rows = {row[0].decode(): [cell.decode() for cell in row[1:]] for row in store.sql(FOLDERS)}
    seen = {}
    for top, folders, files in os.walk(machine.tree, topdown=False):
        items = files_in = size = photos = code = old = recent = 0
        counted = set()
        for below, inner, names in os.walk(top):
            items += len(inner) + len(names)
            for name in names:
                path = os.path.join(below, name)
                status = os.lstat(path)
                if os.path.islink(path):
                    continue
                files_in += 1
                # Which of several links counts is the scan's choice: this tree has one pair, in two folders.
                if status.st_ino in counted or (status.st_nlink > 1 and name != counting_name(machine)):
                    continue
                counted.add(status.st_ino)
                size += status.st_blocks * 512
                photos += status.st_blocks * 512 if name.endswith("JPG") else 0
                code += status.st_blocks * 512 if name.endswith("py") else 0
                old += status.st_blocks * 512 if status.st_mtime < 1e9 else 0
                recent += status.st_blocks * 512 if status.st_mtime > 1e9 else 0
        seen[top] = [items, files_in, photos, code, size - photos - code, recent, old]
    check(rows.keys() == seen.keys(), f"{what}: the folders are {sorted(rows)}")
    for path, sums in seen.items():
        row = rows.get(path)
        if row is None:
            continue
        parent, depth, items, files, shown, photos, code, others, recent, old = row
        check(parent == ("" if path == str(machine.tree) else os.path.dirname(path)), f"{what}: parent of {path}: {parent}")
        check(int(depth) == path.count("/") - str(machine.tree).count("/"), f"{what}: depth of {path}")
        documents = sums[4]  # .txt
        check([int(items), int(files), int(photos), int(code), int(recent), int(old)] == sums[:4] + sums[5:],
              f"{what}: {path} has {row}, and not {sums}")
        check(int(others) <= documents, f"{what}: others in {path}")
        listed = {row[0].decode(): int(row[4]) for row in store.sql(FILES)}
        check(int(shown) == listed.get(path, int(shown)), f"{what}: bytes of {path}")


def counting_name(machine):
    """Of the two links in the tree the one that the scan counts."""
    for line in machine.does("export", "--format", "json").decode().splitlines()[1:-1]:
        item = json.loads(line)
        if item["path"].endswith(("/file 7.txt", "/again")) and not item.get("isHardLinkDuplicate"):
            return os.path.basename(item["path"])
    return None


def publications(store):
    return [row[0] for row in store.sql("SELECT publication FROM snapshots ORDER BY publication")]


def publish(machine):
    fill(machine.tree)
    machine.scan()
    with Stores(1) as [store]:
        answer = json.loads(machine.does("publish", "--files", "--json", "--to", store.url(), "--host", "web1"))
        items = store.number("SELECT count() FROM files")
        check(answer["files"] == items and answer["rows"] == items + answer["folders"] + answer["suggestions"], "the JSON counts rows")
        check(answer["host"] == "web1" and answer["volume"] == str(machine.tree), "host and volume are told")
        check(publications(store) == [answer["publication"].encode()], "the publication is told")
        check_files(store, machine, "first")
        check_folders(store, machine, "first")
        line = store.sql("SELECT host, volume, root, snapshot, items, folders, has_files, complete, bytes FROM current")
        root = str(machine.tree).encode()
        check(line == [[b"web1", root, root, answer["snapshot"]["id"].encode(), b"%d" % items, b"%d" % answer["folders"], b"1", b"1",
                        b"%d" % answer["snapshot"]["totalAllocatedBytes"]]], f"the line says {line}")

        # The same scan again takes the place of the first; then others, of which two stay.
        machine.does("publish", "--files", "--to", store.url(), "--host", "web1")
        store.settle()
        check(len(publications(store)) == 1 and store.number("SELECT count() FROM files") == items, "the same scan is there once")
        for i in range(3):
            (machine.tree / f"new {i}").write_bytes(b"n" * 100_000)
            machine.scan()
            machine.does("publish", "--files", "--to", store.url(), "--host", "web1")
        store.settle()
        check(len(publications(store)) == 2 and store.number("SELECT count() FROM files") == 2 * items + 5,
              "two scans are kept, with their rows")
        check_files(store, machine, "latest")
        machine.does("publish", "--to", store.url(), "--host", "web1", "--keep", "1")
        store.settle()
        check(len(publications(store)) == 1 and store.number("SELECT count() FROM files") == 0, "--keep 1, and --files is not asked for")

        # Rows without a line: those of a broken attempt long ago go, those of one that may still be at work stay; so do
        # those of others with the same number.
        old, young = 1_600_000_000 << 32, int(publications(store)[0]) + 1
        for host, number in (("web1", old), ("web1", young), ("web2", old)):
            store.sql(f"INSERT INTO files (host, volume, publication, name) VALUES ('{host}', '{machine.tree}', {number}, 'x')")
        machine.does("publish", "--to", store.url(), "--host", "web1")
        store.settle()
        check(store.sql("SELECT host, publication FROM files ORDER BY host") ==
              [[b"web1", b"%d" % young], [b"web2", b"%d" % old]], "only what is abandoned is cleared")

        # A clock that was set back: the later publication is the later number all the same.
        store.sql("INSERT INTO snapshots (host, volume, root, publication, snapshot, completed, complete) VALUES "
                  f"('web1', '{machine.tree}', '{machine.tree}', {4_000_000_000 << 32}, 'x', '2040-01-01 00:00:00', 1)")
        code, out, said = machine.call("publish", "--to", store.url(), "--host", "web1", "--json")
        check(code == 0 and b"later scan" in said, f"an earlier scan says what it replaces: {said}")
        answer = json.loads(out)
        check(store.sql("SELECT publication FROM current") == [[answer["publication"].encode()]], "the later one holds")

        # Parts of one volume add up; what would count twice is refused.
        for part in ("a", "é"):
            machine.scan(str(machine.tree / part))
            machine.does("publish", "--to", store.url(), "--volume", "v", "--host", "web1", str(machine.tree / part))
        check(store.number("SELECT count() FROM current WHERE volume = 'v'") == 2, "two parts of a volume")
        before = publications(store)
        code, _, said = machine.call("publish", "--to", store.url(), "--volume", "v", "--host", "web1", str(machine.tree))
        check(code == 1 and b"count twice" in said and publications(store) == before, f"a root above another: {said}")
        code, _, said = machine.call("publish", "--to", store.url(), "--host", "web1", str(machine.tree / "a" / "deep"))
        check(code == 1 and b"no saved scan" in said, f"a folder that is no root: {said}")

        # Who may only read is told so, and the password is nowhere.
        code, out, said = machine.call("publish", "--to", store.url(), KESTREL_FLEET_USER="reader", KESTREL_FLEET_PASSWORD=PASSWORD)
        check(code == 1 and b"127.0.0.1" in said and PASSWORD.encode() not in out + said, f"a reader: {said}")
        code, out, said = machine.call("publish", "--to", store.url(), KESTREL_FLEET_USER="anna", KESTREL_FLEET_PASSWORD="not-hers-2")
        check(code == 1 and b"let anna" in said and b"not-hers-2" not in out + said, f"a wrong password: {said}")
        secret = machine.folder / "secret"
        secret.write_text(f"anna\n{PASSWORD}\n")
        secret.chmod(0o644)
        code, _, said = machine.call("publish", "--to", store.url(), "--credentials", str(secret))
        check(code == 1 and b"chmod 600" in said, f"a file that others may read: {said}")
        secret.chmod(0o600)
        machine.does("publish", "--to", store.url(), "--credentials", str(secret))
        alone = (store.sql(FILES), store.sql(FOLDERS.replace("parent", "volume, parent")))
        machine.does("publish", "--files", "--to", store.url(), "--host", "one", str(machine.tree))
        machine.does("publish", "--files", "--to", store.url(), "--host", "two", str(machine.tree / "a"))
        alone = rows_of(store, ("one", "two"))

    with Stores(2) as shards:
        machine.does("publish", "--files", "--to", shards[0].url(), "--host", "one", str(machine.tree))
        machine.does("publish", "--files", "--to", shards[1].url(), "--host", "two", str(machine.tree / "a"))
        for i, shard in enumerate(shards):
            check(rows_of(shard, ("one", "two")) == alone, f"shard {i} tells the same as one server")
        lines = [shard.number("SELECT count() FROM snapshots_local") for shard in shards]
        places = [shard.sql("SELECT DISTINCT host, volume FROM files_local") for shard in shards]
        check(sum(lines) == 2 and all(len(place) == count for place, count in zip(places, lines)), "a host's volume lies on one shard")
        machine.does("publish", "--files", "--to", shards[1].url(), "--host", "one", str(machine.tree))
        check(rows_of(shards[0], ("one", "two")) == alone, "the later publication holds over shards")


def rows_of(store, hosts):
    names = ", ".join(f"'{host}'" for host in hosts)
    at = f"(host, volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current WHERE host IN ({names}))"
    return {table: store.sql(f"SELECT {columns} FROM {table} WHERE {at} ORDER BY {columns}") for table, columns in
            (("files", "host, volume, dir, name, extension, kind, size, allocated, display, modified, device, inode, links, flags, risk, "
                       "text_class, name_key, path_key"),
             ("folders", "host, volume, path, parent, depth, items, files, bytes, newest, oldest"))}


class Cutter:
    """Between the program and a server: counts bytes, and cuts every connection when so many have gone one way."""

    def __init__(self, port):
        self.server = port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.limits = {"up": None, "down": None}
        self.passed = {"up": 0, "down": 0}
        self.answers = []  # what had gone down when something went up again
        threading.Thread(target=self.accept, daemon=True).start()

    def begin(self, up=None, down=None):
        self.limits = {"up": up, "down": down}
        self.passed = {"up": 0, "down": 0}
        self.answers = []

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            server = socket.create_connection(("127.0.0.1", self.server))
            for way, source, target in (("up", client, server), ("down", server, client)):
                threading.Thread(target=self.pump, args=(way, source, target), daemon=True).start()

    def pump(self, way, source, target):
        try:
            while data := source.recv(65536):
                limit = self.limits[way]
                if way == "up" and self.passed["down"] not in self.answers:
                    self.answers.append(self.passed["down"])
                rest = data if limit is None else data[:max(0, limit - self.passed[way])]
                self.passed[way] += len(rest)
                if rest:
                    target.sendall(rest)
                if len(rest) < len(data):
                    break
        except OSError:
            pass
        # Both ends at once, as when a cable is pulled: what was on its way is lost.
        for each in (source, target):
            try:
                each.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def url(self):
        return f"http://127.0.0.1:{self.port}/{DATABASE}"


def breaks(machine):
    fill(machine.tree)
    machine.scan()
    with Stores(1) as [store]:
        cutter = Cutter(store.port)
        call = ("publish", "--files", "--to", cutter.url(), "--host", "web1", "--keep", "1")
        cutter.begin()
        machine.does(*call)
        up, down = cutter.passed["up"], cutter.passed["down"]
        answers = cutter.answers
        whole = rows_of(store, ("web1",))
        check(up > 2000 and len(answers) >= 6, f"there is something to cut: {up} and {down} bytes, {len(answers)} answers")
        points = [{"up": n} for n in (*range(0, up, up // 14), up - 1)]
        # At the beginning of each answer, in it, and all through the last ones, that to the line's insert among them.
        points += [{"down": n} for each in answers for n in (each, each + 1)]
        points += [{"down": n} for n in range(answers[-4], down, max(1, (down - answers[-4]) // 6))]
        failed = 0
        for point in points:
            cutter.begin(**point)
            code, out, said = machine.call(*call)
            failed += code == 1
            check(code in (0, 1) and (code == 0 or said.count(b"\n") == 1), f"cut at {point}: {code} {said}")
            check(rows_of(store, ("web1",)) == whole, f"cut at {point}: all rows are there, once")
            check(store.number("SELECT count() FROM current") == 1, f"cut at {point}: one publication holds")
        check(failed > len(points) // 2, f"{failed} of {len(points)} cuts were felt")
        cutter.begin()
        machine.does(*call)
        check(rows_of(store, ("web1",)) == whole, "after all cuts the next one is whole")

        # The same before anything was there: what is seen is nothing, or all of it.
        for point in points[::6]:
            for table in ("snapshots", "files", "folders", "suggestions"):
                store.sql(f"TRUNCATE TABLE {table}")
            cutter.begin(**point)
            code, _, _ = machine.call(*call)
            rows = rows_of(store, ("web1",))
            check(rows == whole or not any(rows.values()), f"the first one cut at {point}: all or nothing")
            check(code == 1 or rows == whole, f"the first one cut at {point}: done is done")
            cutter.begin()
            machine.does(*call)
            check(rows_of(store, ("web1",)) == whole, f"again after the cut at {point}")


HOSTILE = [b"'", b'"', b"\\", b"\\'", b"`", b"'); DROP TABLE files; --", b"{v:String}", b"%27", b"a\tb\nc\rd\be", b"$1", b"?",
           b"\xff\xfe", b"a\xc3", "ẞ\u202eé".encode(), b"*/ --", b"(SELECT v FROM terms WHERE i = 0)"]


def names(machine):
    os.makedirs(machine.tree / "in")
    for name in HOSTILE:
        for way in (name.replace(b"/", b"|"), b"x" + name.replace(b"/", b"|") + b".TXT"):
            with open(os.path.join(os.fsencode(machine.tree / "in"), way), "wb"):
                pass
    machine.scan()
    with Stores(1) as [store]:
        database = "a'b\"c\\d é"
        store.schema(database=database)
        machine.does("publish", "--files", "--to", store.url(database), "--host", "web1")
        scanned = [json.loads(line)["path"].encode() for line in machine.does("export", "--format", "json").decode().splitlines()[1:-1]]
        found = store.sql("SELECT hex(concat(if(dir = '/', '', dir), '/', name)) FROM files", database=database)
        check(sorted(bytes.fromhex(row[0].decode()) for row in found) == sorted(scanned), "names are data")
        check(len(scanned) == 2 * len(HOSTILE) + 2, f"{len(scanned)} items were scanned")

        for name in [*HOSTILE, b"h" * 100_000]:
            call = (b"publish", b"--to", os.fsencode(store.url()), b"--host", name, b"--volume", b"v" + name)
            for _ in range(2):
                code, out, said = machine.call(*call)
                check(code == 0 and said == b"", f"{name[:20]}: ends with {code}: {said[-400:]}")
            check(b"\x1b" not in out and b"\r" not in out, f"{name[:20]}: what is said is plain")
            rows = [[bytes.fromhex(cell.decode()) for cell in row] for row in
                    store.sql("SELECT DISTINCT hex(host), hex(volume) FROM snapshots")]
            check([name, b"v" + name] in rows, f"{name[:20]}: stored as it is")
        store.settle()
        check(store.number("SELECT count() FROM snapshots") == len(HOSTILE) + 1, "each host has one publication")
        check(store.number("SELECT count() FROM files") == 0, "the tables are there")

        # From elsewhere come names that no disk here holds, and paths as long as they are deep.
        def imported(number, text):
            path = machine.folder / f"scan{number}.json"
            path.write_text(text)
            code, _, said = machine.call("import", str(path), "--name", f"i{number}")
            if code == 0:
                machine.does("publish", "--at", f"i{number}", "--files", "--to", store.url(), "--host", f"far{number}")
            return code, said

        def ncdu(entry):
            return json.dumps([1, 2, {"progname": "x", "progver": "1", "timestamp": 1}])[:-1] + ", " + entry + "]"

        code, said = imported(0, ncdu(json.dumps([{"name": "/srv"}, {"name": "'\\\"\x01", "asize": 1, "dsize": 512}])))
        check(code == 0, f"odd names are imported: {said}")
        rows = store.sql("SELECT hex(name) FROM files WHERE host = 'far0' AND kind = 'file'")
        check(rows == [[b"275C2201"]], f"odd names arrive: {rows}")
        part, levels = "d" * 250, 400
        code, said = imported(1, ncdu('[{"name": "/srv"}, ' + f'[{{"name": "{part}"}}, ' * levels + '{"name": "f", "dsize": 512}' +
                                      "]" * (levels + 1)))
        check(code == 0, f"a deep tree is imported: {said}")
        check(store.number("SELECT max(length(dir)) FROM files WHERE host = 'far1'") == len("/srv") + levels * (len(part) + 1),
              "a long path arrives")
        code, said = imported(2, ncdu(json.dumps([{"name": "/srv"}, {"name": "n" * 1_000_000}])))
        check(code == 1 and b"longer than any" in said, f"a name of a megabyte is no disk's: {said}")


run_case({"publish": publish, "breaks": breaks, "names": names})
