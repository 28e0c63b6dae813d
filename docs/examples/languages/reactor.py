#!/usr/bin/env python3
"""The reactor from Python: a pipe that is watched, and a timer that ends it all.

    reactor.py <libuserlib.so.1> <records.json>

The sizes of records come from records.json; what a record holds is the library's business.
"""
import ctypes
import json
import sys

library = ctypes.CDLL(sys.argv[1])
with open(sys.argv[2], encoding="utf-8") as file:
    layout = json.load(file)

Number = ctypes.c_int64 if layout["target"]["timeval"] == 16 else ctypes.c_int32


class Timeval(ctypes.Structure):
    _fields_ = [("seconds", Number), ("microseconds", Number)]


def record(name):
    """Storage for a record, aligned as it wants to be."""
    return (ctypes.c_uint64 * ((layout["records"][name]["size"] + 7) // 8))()


on_event = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32)
on_time = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.POINTER(Timeval), ctypes.c_uint32)
library.NUV_Select_setReadExternal.argtypes = [ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p, ctypes.c_uint32, on_event]
library.NUV_Select_setReadExternal.restype = ctypes.c_void_p
library.NUV_Select_setTempTimeout.argtypes = [ctypes.c_void_p, Timeval, ctypes.c_void_p, ctypes.c_uint32, on_time]
library.NUV_Select_setTempTimeout.restype = ctypes.c_uint32

loop, pipe = record("Select"), record("Pipe")
is_over = False


@on_event
def read(_context, _fd, number):
    text = ctypes.create_string_buffer(64)
    count = library.NUV_Pipe_read(pipe, text, 64)
    print("%d bytes through watch %d: %s" % (count, number, text.raw[:count].decode()))
    return 0


@on_time
def end(_context, _time, _number):
    global is_over
    is_over = True
    print("time is over")
    return 0


# The functions stay alive as long as the reactor may call them: they are names of this module.
library.NUV_Select_construct(loop)
library.NUV_Pipe_construct(pipe)
library.NUV_Select_setReadExternal(loop, library.NUV_Pipe_readFd(pipe), None, 7, read)
library.NUV_Pipe_write(pipe, b"hello", 5)
library.NUV_Select_process(loop, None)
library.NUV_Select_setTempTimeout(loop, Timeval(0, 10000), None, 0, end)
while not is_over:
    library.NUV_Select_process(loop, None)
library.NUV_Select_destruct(loop)
library.NUV_Pipe_destruct(pipe)
