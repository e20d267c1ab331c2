#!/usr/bin/env python3
"""Asking a real server. ask.py KESTREL CASE [KESTREL-TESTS]

ask     top, growth, hosts and search of two machines, on one server and on two shards: the same answers; texts that would be SQL
schemas the views are the same in the schema of one server and in that of shards
search  the tests FleetSearchServer of the program's test program, which hold translated searches against the library's own
"""
import json
import os
import subprocess
import sys

from server import TOP, Stores, check, run_case

ODD = "it's \\ a \"`report\n') OR 1 = 1 --"


def fill(tree):
    (tree / "a" / "deep").mkdir(parents=True)
    (tree / ODD).mkdir()
    (tree / ODD / "réport.txt").write_text("x" * 5000)
    (tree / "a" / "deep" / "presentation.pdf").write_bytes(b"x" * 3_000_000)
    (tree / "a" / "budget.txt").write_text("old")
    os.utime(tree / "a" / "budget.txt", (981173106, 981173106))


def publish_twice(machine, stores):
    """What two hosts have, the second with an odd name, each before and after something came and something went."""
    for i, host in enumerate(("web1", ODD)):
        tree = machine.tree / f"machine{i}"
        tree.mkdir()
        fill(tree)
        (tree / "a" / "gone.bin").write_bytes(b"y" * 1_000_000)
        for _ in range(2):
            machine.scan(str(tree))
            for store in stores:
                machine.does("publish", "--files", "--to", store.url(), "--host", host, "--volume", "data", str(tree))
            (tree / "a" / "gone.bin").unlink(missing_ok=True)
            (tree / "a" / "deep" / "new.iso").write_bytes(b"z" * (6_000_000 + i * 1_000_000))


def answer(machine, store, *words):
    return json.loads(machine.does("fleet", *words, "--json", "--to", store.url()))


def without_times(rows):
    return [{key: value for key, value in row.items() if key != "publishedAt"} for row in rows]


def check_answers(machine, store):
    tree = str(machine.tree)
    hosts = answer(machine, store, "hosts")["rows"]
    check([row["host"] for row in hosts] == sorted(["web1", ODD], key=str.encode), f"the hosts are {hosts}")
    check(all(row["items"] == 7 and row["hasFiles"] and row["isComplete"] for row in hosts), f"what hosts have is {hosts}")
    check(len(answer(machine, store, "hosts", "--top", "1")["rows"]) == 1, "one host")
    top = answer(machine, store, "top")["rows"]
    check([row["path"] for row in top[:2]] == [tree + "/machine1/a/deep", tree + "/machine0/a/deep"], f"top is {top}")
    check(top[0]["bytes"] > 10_000_000 and top[0]["host"] == ODD, f"top is {top}")
    check([row["host"] for row in answer(machine, store, "top", "--host", ODD, "--top", "1")["rows"]] == [ODD], "of one host")
    growth = answer(machine, store, "growth")["rows"]
    check([(row["path"], row["what"]) for row in growth[:2]] ==
          [(tree + "/machine1/a/deep", "grew"), (tree + "/machine0/a/deep", "grew")], f"growth is {growth}")
    check(growth[0]["change"] == growth[0]["after"] - growth[0]["before"] > 6_900_000, f"growth is {growth}")
    for words, names in ((["presntation"], ["presentation.pdf"]), (["report"], [ODD, "réport.txt"]), (["old"], ["budget.txt"]),
                         (["ext:iso"], ["new.iso"]), ([ODD, "--literal"], [ODD, "réport.txt"]), (["gone.bin"], []),
                         (["--min", "1MB", "type:file"], ["new.iso", "presentation.pdf"]),
                         (["réport", "--in", f"{tree}/machine0/{ODD}"], ["réport.txt"])):
        found = answer(machine, store, "search", *words)
        if words[0] == "réport":
            check([row["host"] for row in found["rows"]] == ["web1"], f"{words} finds {found}")
            continue
        local = json.loads(machine.does("search", "--json", *words))
        here = sorted(row["path"] for row in local["results"])
        check(sorted(row["path"] for row in found["rows"] if "machine1" in row["path"]) == here, f"{words} finds {found}, not {here}")
        check({row["name"] for row in found["rows"]} == set(names) and found["matches"] == 2 * len(names), f"{words} finds {found}")
        counted = machine.does("fleet", "search", "--count", *words, "--to", store.url())
        check(int(counted) == 2 * len(names), f"{words} counts {counted}")
    shown = machine.does("fleet", "search", "budget", "--to", store.url(), "--host", ODD).decode()
    check("budget.txt" in shown and "\n') OR" not in shown, f"a host's name is shown as it is: {shown}")


def check_remarks(machine, store):
    """An answer from less than all of a disk says so; growth is told from whole scans."""
    tree, where = str(machine.tree / "machine0"), ("--to", store.url())
    as_web1 = (*where, "--host", "web1", "--volume", "data", tree)
    growth = answer(machine, store, "growth")
    columns = [row[0].decode() for row in store.sql("SELECT name FROM system.columns WHERE database = 'kestrel' AND table = 'snapshots'")]
    changed = {"publication": "publication + 4294967296", "complete": "0", "snapshot": "'cut'"}
    store.sql(f"INSERT INTO snapshots ({', '.join(columns)}) SELECT {', '.join(changed.get(name, name) for name in columns)} "
              "FROM current WHERE host = 'web1'")
    code, _, said = machine.call("fleet", "top", *where)
    check(code == 0 and b"1 of 2 published scans ended early" in said, f"top of a scan that ended early says {said}")
    check([row["isComplete"] for row in answer(machine, store, "hosts")["rows"]].count(False) == 1, "one scan ended early")
    check(b"ended early" in machine.does("fleet", "hosts", *where), "hosts says which")
    check(answer(machine, store, "growth") == growth, "growth passes over a scan that ended early")
    machine.does("publish", "--files", *as_web1)
    store.settle()
    check(store.sql("SELECT sum(complete), count() FROM snapshots WHERE host = 'web1'") == [[b"2", b"2"]], "the next one takes its place")
    check(answer(machine, store, "growth") == growth, "and growth has its two whole scans")

    # The same scan as if it had ended early, which an export says of itself.
    head, _, rest = machine.does("export", "--format", "json", tree).partition(b",")
    (machine.folder / "cut.json").write_bytes(head + b',"isComplete":false,' + rest)
    machine.does("import", str(machine.folder / "cut.json"), "--name", "cut")
    code, _, said = machine.call("publish", "--files", "--at", "cut", *as_web1[:-1])
    check(code == 0 and b"A whole scan of it is published" in said, f"publishing what ended early says what it takes: {said}")
    check(answer(machine, store, "growth") == growth, "growth passes over it, too")
    machine.does("publish", "--files", *as_web1)
    store.settle()

    code, _, said = machine.call("publish", *as_web1)
    check(code == 0 and b"every item" in said, f"publishing without items says what it takes: {said}")
    code, out, said = machine.call("fleet", "search", "budget", "--count", *where)
    check(code == 0 and out == b"1\n" and b"1 of 2 published scans has only sums" in said, f"a search among one of two: {out} {said}")
    check(b"sums alone" in machine.does("fleet", "hosts", *where), "hosts says which has no items")
    code, out, said = machine.call("fleet", "search", "budget", *where, "--host", "web1")
    check(code == 0 and not out and b"Only sums" in said and said.count(b"\n") == 1, f"a search of one without items: {said}")
    for question in ("top", "growth"):
        check(machine.call("fleet", question, "--top", "0", *where) == (0, b"", b""), f"{question}: no rows are wanted")
    code, out, said = machine.call("fleet", "growth", *where, "--host", ODD)
    check(code == 0 and out and not said, f"growth of one host: {said}")
    check(b"1 of 2 volumes" in machine.does("fleet", "hosts", "--top", "1", *where), "one of two")
    check(b"Did you mean" in machine.call("fleet", "hots", *where)[2], "a slip in the question")


def check_first(machine, store):
    machine.does("publish", "--to", store.url(), "--host", "new")
    code, out, said = machine.call("fleet", "growth", "--host", "new", "--to", store.url())
    check(code == 0 and not out and b"no second one yet" in said, f"growth of what was published once: {said}")


def ask(machine):
    with Stores(1) as [alone], Stores(2) as shards:
        code, out, said = machine.call("fleet", "top", "--to", alone.url())
        check(code == 0 and not out and b"Nothing has been published" in said, f"an empty store: {code} {said}")
        publish_twice(machine, [alone, shards[0]])
        check_answers(machine, alone)
        check_answers(machine, shards[1])
        for words in (["hosts"], ["top"], ["growth"], ["search", "a"]):
            answers = [without_times(answer(machine, store, *words)["rows"]) for store in (alone, *shards)]
            check(answers[0] == answers[1] == answers[2] and answers[0], f"{words}: shards answer {answers}")
        for view in ("oldest_large_files", "same_files", "reclaimable", "largest_folders", "hosts", "current_files", "growth"):
            numbers = [store.number(f"SELECT count() FROM {view}") for store in (alone, *shards)]
            check(numbers[0] == numbers[1] == numbers[2], f"{view} has {numbers} rows")
        check(alone.number("SELECT count() FROM same_files WHERE name = 'presentation.pdf' AND hosts = 2") == 1, "the same file on two")
        for wrong in (["fleet", "nothing"], ["fleet", "top", "word"], ["fleet", "top", "--count"], ["fleet", "search"], ["fleet"]):
            check(machine.call(*wrong, "--to", alone.url())[0] == 2, f"{wrong} is right usage")
        check_remarks(machine, alone)
        check_first(machine, alone)
        code, _, said = machine.call("fleet", "top", "--host", "x", "--to", alone.url())
        check(code == 0 and "Nothing of “x” is published".encode() in said, f"an unknown host: {code} {said}")


def schemas(_):
    """The views stand in both files, since each is run as it is."""
    views = [(TOP / "packaging" / "clickhouse" / name).read_text().partition("-- Views.")[2]
             for name in ("schema.sql", "schema-shards.sql")]
    check(views[0] and views[0] == views[1], "the views of the two schemas differ")


def search(_):
    with Stores(1) as [store]:
        environment = {**os.environ, "KESTREL_FLEET_TEST_URL": store.url(), "RC_PARAMS": "max_success=20 noshrink=1"}
        done = subprocess.run([sys.argv[3], "--gtest_filter=FleetSearchServer.*"], env=environment, capture_output=True, timeout=500)
        words = done.stdout.decode(errors="replace")
        check(done.returncode == 0 and "[  PASSED  ] 2 tests" in words and "SKIPPED" not in words, words[-4000:])


run_case({"ask": ask, "search": search, "schemas": schemas})
