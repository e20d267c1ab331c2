#!/usr/bin/env python3
"""What a folder has grown by since the last look: watch.py FOLDER HISTORY-FILE

Each call scans the folder, keeps the scan in the file, and shows what has changed since the one before.
"""
import ctypes
import os
import sys

kestrel = ctypes.CDLL(os.environ.get("KESTREL_LIBRARY", "libkestrel.so.1"))
Handle, Number = ctypes.c_void_p, ctypes.c_int64
unbounded = ctypes.c_size_t(-1)


class Text(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("length", ctypes.c_size_t)]

    def __str__(self):
        return ascii(ctypes.string_at(self.data, self.length).decode())[1:-1]  # nothing that a terminal would obey


class Change(ctypes.Structure):
    _fields_ = [("what", ctypes.c_int32), ("kind", ctypes.c_int32), ("path", Text), ("moved_from", Text),
                ("before", Number), ("after", Number), ("items", Number)]


kestrel.kestrel_error_message.restype = ctypes.c_char_p
kestrel.kestrel_error_message.argtypes = [Handle]
kestrel.kestrel_growth_at.restype = ctypes.POINTER(Change)
kestrel.kestrel_growth_at.argtypes = [Handle, ctypes.c_size_t]


def call(name, *arguments):
    error = Handle()
    if getattr(kestrel, name)(*arguments, ctypes.byref(error)):
        sys.exit(f"watch: {kestrel.kestrel_error_message(error).decode()}")


def main(folder, file):
    scan, snapshot, history, growth, before, after = Handle(), Handle(), Handle(), Handle(), Number(), Number()
    folder = os.path.realpath(folder).encode()
    call("kestrel_history_open", os.path.abspath(file).encode(), ctypes.byref(history))
    kestrel.kestrel_history_newest(history, folder, ctypes.byref(before), None)  # 0 the first time
    call("kestrel_scan_new", folder, ctypes.byref(scan))
    call("kestrel_scan_run", scan, None, ctypes.byref(snapshot))
    call("kestrel_history_add", history, snapshot, ctypes.byref(after))
    if before.value == 0:
        return print("This is the first look.")
    call("kestrel_history_growth", history, before, after, None, unbounded, ctypes.c_size_t(20), ctypes.byref(growth))
    index = 0
    while change := kestrel.kestrel_growth_at(growth, index):
        print(f"{(change[0].after - change[0].before) / 1e6:+10.1f} MB  {change[0].path}")
        index += 1
    if index == 0:
        print("Nothing has changed.")


if len(sys.argv) != 3:
    sys.exit(__doc__)
main(*sys.argv[1:])
