"""Logs a line from Python, using only the library's C functions.

    python3 hello.py DIRECTORY

The library is found where the system looks for libraries (LD_LIBRARY_PATH names more places).
"""
import ctypes
import os
import sys

INFO = 0x40


def load():
    qz = ctypes.CDLL("libqzCore.so")
    qz.qz_log_start.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
    qz.qz_log.argtypes = [ctypes.c_char_p, ctypes.c_uint, ctypes.c_char_p]
    qz.qz_log.restype = None
    qz.QZ_hash_string.argtypes = [ctypes.c_char_p, ctypes.c_uint32]
    qz.QZ_hash_string.restype = ctypes.c_uint64
    return qz


def main(directory):
    qz = load()
    if qz.qz_log_start(os.fsencode(directory), b"hello_py") != 0:
        sys.exit("the log cannot be started")
    greeting = "hello from Python"
    qz.qz_log(b"HELLO", INFO, greeting.encode())
    qz.qz_log_stop()
    print(f"the hash of '{greeting}' is {qz.QZ_hash_string(greeting.encode(), 0):#010x}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(f"Usage: {sys.argv[0]} DIRECTORY")
    main(sys.argv[1])
