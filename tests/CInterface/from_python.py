#!/usr/bin/env python3
"""The C interface from Python: from_python.py LIBRARY. Also proves that the header's words are enough to call it by."""
import ctypes
import os
import pathlib
import shutil
import sys
import tempfile
import threading
import unittest

Handle = ctypes.c_void_p
Size = ctypes.c_size_t
OK, INVALID_ARGUMENT, CANCELLED, NOT_FOUND, STALE_ITEM, SYSTEM = 0, 1, 3, 4, 8, 9
PERMANENT, TRASH = 1, 0


class Text(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("length", Size)]

    @property
    def value(self):
        return None if not self.data else ctypes.string_at(self.data, self.length).decode()


class Record(ctypes.Structure):
    _fields_ = [("name", Text), ("extension", Text), ("display_bytes", ctypes.c_int64),
                ("allocated_bytes", ctypes.c_int64), ("aggregate_bytes", ctypes.c_int64),
                ("logical_bytes", ctypes.c_int64), ("modified_at", ctypes.c_double), ("device", ctypes.c_uint64),
                ("inode", ctypes.c_uint64), ("items_below", ctypes.c_int64), ("freed_bytes", ctypes.c_int64),
                ("kind", ctypes.c_int32), ("risk", ctypes.c_int32), ("flags", ctypes.c_uint32),
                ("reserved_flags", ctypes.c_uint32), ("reserved", ctypes.c_uint64 * 4)]


class Event(ctypes.Structure):
    _fields_ = [("kind", ctypes.c_int32), ("path", Text), ("message", Text), ("items", ctypes.c_int64),
                ("allocated_bytes", ctypes.c_int64)]


class PlanItem(ctypes.Structure):
    _fields_ = [("path", Text), ("kind", ctypes.c_int32), ("risk", ctypes.c_int32), ("refusal", ctypes.c_int32),
                ("reason", Text), ("allocated_bytes", ctypes.c_int64), ("unread", ctypes.c_int64)]


class Result(ctypes.Structure):
    _fields_ = [("path", Text), ("resulting_path", Text), ("message", Text), ("code", ctypes.c_int32)]


class GrowthInfo(ctypes.Structure):
    _fields_ = [("path", Text), ("before_bytes", ctypes.c_int64), ("after_bytes", ctypes.c_int64),
                ("change_count", Size)]


ScanCallback = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Event))
kestrel = ctypes.CDLL(sys.argv[1])
for name, result in (("error_message", ctypes.c_char_p), ("records_count", Size), ("records_path", Size),
                     ("records_get", ctypes.c_bool), ("plan_at", ctypes.POINTER(PlanItem)),
                     ("results_at", ctypes.POINTER(Result)), ("growth_get_info", ctypes.POINTER(GrowthInfo))):
    getattr(kestrel, "kestrel_" + name).restype = result


class Failed(Exception):
    def __init__(self, code, message):
        super().__init__(message)
        self.code = code


def call(name, *arguments):
    error = Handle()
    code = getattr(kestrel, "kestrel_" + name)(*arguments, ctypes.byref(error))
    message = kestrel.kestrel_error_message(error).decode()
    kestrel.kestrel_error_free(error)
    if code != OK:
        assert message
        raise Failed(code, message)
    assert not error


def made(name, *arguments):
    handle = Handle()
    call(name, *arguments, ctypes.byref(handle))
    assert handle
    return handle


def path_of(records, index):
    length = kestrel.kestrel_records_path(records, Size(index), None, Size(0))
    buffer = ctypes.create_string_buffer(length + 1)
    kestrel.kestrel_records_path(records, Size(index), buffer, Size(len(buffer)))
    return buffer.value.decode()


def all_of(records):
    record = Record()
    for index in range(kestrel.kestrel_records_count(records)):
        assert kestrel.kestrel_records_get(records, Size(index), ctypes.byref(record))
        yield index, record


class FromPython(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=top))
        tree = self.folder / "tree"
        (tree / "folder").mkdir(parents=True)
        (tree / "folder" / "line\nbreak.txt").write_bytes(b"x" * 5000)
        with open(os.fsencode(tree) + b"/folder/bad\xff", "wb") as file:
            file.write(b"x" * 100)
        self.tree = tree

    def scanned(self):
        scan = made("scan_new", os.fsencode(self.tree))
        snapshot = made("scan_run", scan, None)
        kestrel.kestrel_scan_free(scan)
        return snapshot

    def test_records_and_paths(self):
        snapshot = self.scanned()
        records = made("snapshot_records", snapshot)
        kestrel.kestrel_snapshot_free(snapshot)
        found = {path_of(records, index): (record.name.value, record.logical_bytes, record.kind)
                 for index, record in all_of(records)}
        self.assertEqual(len(found), 4)
        self.assertEqual(found[f"{self.tree}/folder/line\nbreak.txt"], ("line\nbreak.txt", 5000, 0))
        self.assertEqual(found[f"{self.tree}/folder/bad\ufffd"], ("bad\ufffd", 100, 0))
        kestrel.kestrel_records_free(records)

    def test_failures(self):
        for code, name, arguments in ((SYSTEM, "scan_new", (b"/no/such/folder",)),
                                      (INVALID_ARGUMENT, "scan_new", (None,)),
                                      (INVALID_ARGUMENT, "history_open", (b"\xff",))):
            with self.assertRaises(Failed) as failure:
                made(name, *arguments)
            self.assertEqual(failure.exception.code, code)

    def test_a_callback_hears_and_cancels(self):
        kinds = []

        @ScanCallback
        def hear(_, event):
            kinds.append(event[0].kind)
            return 1 if len(kinds) == 2 else 0

        scan = made("scan_new", os.fsencode(self.tree))
        call("scan_set_callback", scan, hear, None)
        with self.assertRaises(Failed) as failure:
            made("scan_run", scan, None)
        self.assertEqual(failure.exception.code, CANCELLED)
        self.assertEqual(kinds, [1, 2])
        kestrel.kestrel_scan_free(scan)

    def test_another_thread_cancels(self):
        running, cancelled = threading.Event(), threading.Event()

        @ScanCallback
        def wait(_, event):
            running.set()
            cancelled.wait()
            return 0

        cancellation = made("cancellation_new")
        scan = made("scan_new", os.fsencode(self.tree))
        call("scan_set_callback", scan, wait, None)

        def cancel():
            running.wait()
            kestrel.kestrel_cancellation_cancel(cancellation)
            cancelled.set()

        other = threading.Thread(target=cancel)
        other.start()
        with self.assertRaises(Failed) as failure:
            made("scan_run", scan, cancellation)
        other.join()
        self.assertEqual(failure.exception.code, CANCELLED)
        kestrel.kestrel_scan_free(scan)
        kestrel.kestrel_cancellation_free(cancellation)

    def test_growth_of_two_scans(self):
        history = made("history_open", os.fsencode(self.folder / "scans"))
        numbers = []
        for _ in range(2):
            snapshot, number = self.scanned(), ctypes.c_int64()
            call("history_add", history, snapshot, ctypes.byref(number))
            kestrel.kestrel_snapshot_free(snapshot)
            numbers.append(number)
            (self.tree / "more").write_bytes(b"x" * 200000)
        growth = made("history_growth", history, *numbers, None, Size(-1), Size(-1))
        kestrel.kestrel_history_free(history)
        info = kestrel.kestrel_growth_get_info(growth)[0]
        self.assertEqual(info.path.value, str(self.tree))
        self.assertGreater(info.after_bytes - info.before_bytes, 190000)
        kestrel.kestrel_growth_free(growth)

    def test_a_plan_and_its_execution(self):
        snapshot = self.scanned()
        records = made("snapshot_records", snapshot)
        plan = made("plan_new", None)
        for index, record in all_of(records):
            if record.name.value in ("line\nbreak.txt", "bad\ufffd"):
                call("plan_add", plan, records, Size(index), None)
        for handle, free in ((snapshot, "snapshot_free"), (records, "records_free")):
            getattr(kestrel, "kestrel_" + free)(handle)
        refusals = {}
        for index in range(2):
            item = kestrel.kestrel_plan_at(plan, Size(index))[0]
            refusals[pathlib.Path(item.path.value).name] = item.refusal
        # What is not UTF-8 has another name than its record tells.
        self.assertEqual(refusals, {"line\nbreak.txt": OK, "bad\ufffd": STALE_ITEM})
        with self.assertRaises(Failed) as failure:
            made("plan_execute", plan, PERMANENT, b"yes", None, None, None)
        self.assertEqual(failure.exception.code, INVALID_ARGUMENT)
        results = made("plan_execute", plan, TRASH, None, None, None, None)
        kestrel.kestrel_plan_free(plan)
        result = kestrel.kestrel_results_at(results, Size(0))[0]
        self.assertEqual((result.code, result.path.value), (OK, f"{self.tree}/folder/line\nbreak.txt"))
        self.assertTrue(os.path.exists(result.resulting_path.value))
        self.assertFalse(kestrel.kestrel_results_at(results, Size(1)))
        kestrel.kestrel_results_free(results)
        self.assertEqual(os.listdir(os.fsencode(self.tree) + b"/folder"), [b"bad\xff"])


top = os.path.realpath(tempfile.mkdtemp(prefix="kestrel-python-"))
# Nothing of the person who runs the tests is looked at or changed. The library asks the process, not Python.
for variable, place in (("HOME", ""), ("CFFIXED_USER_HOME", ""), ("XDG_DATA_HOME", "/data"),
                        ("XDG_CONFIG_HOME", "/config"), ("XDG_CACHE_HOME", "/cache"), ("XDG_STATE_HOME", "/state")):
    os.environ[variable] = top + place
try:
    unittest.main(argv=sys.argv[:1])
finally:
    shutil.rmtree(os.fsencode(top))
