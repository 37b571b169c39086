#!/usr/bin/env python3
"""Peak memory of reading the largest report file rpl-toc accepts.

For each shape a report file just under the size limit is written and
`rpl-toc list` is run on it; the peak resident size of that process is
printed beside the file's size and their ratio. The shapes are the costly
ones: tiny values cost the most per byte of the file.

    bench/report_memory.py RPL_TOC [--limit-mib 16]
"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time

HEAD = '{"name": "n", "type": 3, "root": {"type": 1, "name": "R", "children": ['
TAIL = ']}}'

# name, what goes before the items, one item, what goes after them
SHAPES = [
    ("null children", "", "null", ""),
    ("one-cell rows of a table", '{"type": 4, "name": "T", "columns": 1, "cells": [', "[0]", "]}"),
    ("empty tables", "", '{"type": 4, "name": "t"}', ""),
    ("texts of 100 characters", "", '{"type": 3, "name": "x", "text": "' + "a" * 100 + '"}', ""),
]


def write_report(path, limit, before, item, after):
    room = limit - len(HEAD) - len(TAIL) - len(before) - len(after)
    count = room // (len(item) + 1)
    with open(path, "w") as f:
        f.write(HEAD + before + ",".join([item] * count) + after + TAIL)
    return os.path.getsize(path)


def peak_of(argv):
    """Runs argv alone and answers its peak resident size in bytes, its exit code and seconds."""
    start = time.monotonic()
    pid = os.fork()
    if pid == 0:
        devnull = os.open(os.devnull, os.O_WRONLY)
        os.dup2(devnull, 1)
        os.dup2(devnull, 2)
        os.execv(argv[0], argv)
    _, status, usage = os.wait4(pid, 0)
    return usage.ru_maxrss * 1024, os.waitstatus_to_exitcode(status), time.monotonic() - start


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("rpl_toc")
    parser.add_argument("--limit-mib", type=int, default=16)
    args = parser.parse_args()
    limit = args.limit_mib << 20
    print("Reading the largest report accepted (%d MiB): peak resident size of rpl-toc list" % args.limit_mib)
    print("| shape | file | peak | peak / file | seconds |")
    print("|---|---|---|---|---|")
    worst = 0.0
    with tempfile.TemporaryDirectory() as scratch:
        for name, before, item, after in SHAPES:
            path = os.path.join(scratch, "report.json")
            size = write_report(path, limit, before, item, after)
            peak, code, seconds = peak_of([args.rpl_toc, "--db-dir", scratch, "list", path])
            if code != 0:
                print("| %s | %.1f MB | rpl-toc exited %d | | |" % (name, size / 1e6, code))
                continue
            worst = max(worst, peak / size)
            print("| %s | %.1f MB | %.0f MB | %.1f | %.1f |" % (name, size / 1e6, peak / 1e6, peak / size, seconds))
            os.remove(path)
        over = os.path.join(scratch, "over.json")
        with open(over, "wb") as f:
            f.truncate(limit + 1)
        peak, code, seconds = peak_of([args.rpl_toc, "--db-dir", scratch, "list", over])
        print("| one byte over the limit, sparse | %.1f MB | %.0f MB (refused, exit %d) | | %.2f |"
              % ((limit + 1) / 1e6, peak / 1e6, code, seconds))
    print("worst peak / file: %.1f" % worst)


if __name__ == "__main__":
    sys.exit(main())
