#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""outside.py [--tiny] --binaries FOLDER SOURCE: what is measured of the program from outside.

Runs in the session and the display that it is given, and prints the rows of its
source as JSON: name, figure and floor.
"""
import argparse
import contextlib
import json
import os
import re
import shutil
import signal
import statistics
import subprocess
import sys
import threading
import time
import urllib.request

FRAME = "qt.scenegraph.time.renderloop"
# Other time trackers stand beside this one where they are installed.
PEERS = ("charmtimetracker", "ktimetracker")


def started(command, *rules):
    """The program, which says on its stderr when it has painted a frame, and what else the rules ask for."""
    environment = dict(os.environ, QT_LOGGING_RULES=";".join((f"{FRAME}=true", *rules)),
                       QT_FORCE_STDERR_LOGGING="1", QT_LOGGING_TO_CONSOLE="1")
    return subprocess.Popen(command, env=environment, stderr=subprocess.PIPE, text=True)


@contextlib.contextmanager
def ended(process):
    """The process, which ends with the block, however that does."""
    with process:
        try:
            yield process
        finally:
            process.terminate()


def tells_frame(line):
    return "frame rendered" in line or "rendered in" in line


def first_frame(command):
    """Milliseconds from the start of a program to the end of its first frame."""
    begun = time.monotonic()
    with ended(started(command)) as process:
        if not any(tells_frame(line) for line in process.stderr):
            raise RuntimeError(f"{command[0]} painted no frame")
        return (time.monotonic() - begun) * 1000


def first_frame_with_entries(command):
    """Milliseconds from the start of the program to the end of the first frame that was begun after it had read
    its store: that reading and what it shows of it are one step, in which no frame begins."""
    begun = time.monotonic()
    with ended(started(command, "timer.controller=true")) as process:
        read = None
        for line in process.stderr:
            now = time.monotonic()
            if "its record was read: true" in line:
                read = now
            painted = re.search(r"rendered in (\d+)ms", line)
            if read and painted and now - int(painted[1]) / 1000 >= read:
                break
        else:
            raise RuntimeError(f"{command[0]} showed no entries")
        return (now - begun) * 1000


def fill_store(command):
    """Runs the program until it has stored what its server has."""
    with ended(started(command, "timer.vault=true")) as process:
        if not any("stored true" in line for line in process.stderr):
            raise RuntimeError(f"{command[0]} stored nothing")


def first_window(command):
    """Milliseconds from the start of a program, whose frames nobody tells, to its first window."""
    begun = time.monotonic()
    with ended(subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)) as process:
        if not window_of(process):
            raise RuntimeError(f"{command[0]} showed no window")
        return (time.monotonic() - begun) * 1000


def window_of(process):
    """The X11 id of the first window that a program shows; nothing when it shows none."""
    return subprocess.run(["xdotool", "search", "--sync", "--onlyvisible", "--pid", str(process.pid)],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=30, check=False).stdout


def settled_memory(command, loaded=lambda: True):
    """The proportional set size in MB once it stops growing, after it has loaded what it is to show."""
    with ended(subprocess.Popen(command, stderr=subprocess.DEVNULL)) as process:
        wait_until(loaded)
        sizes = [0.0]
        while len(sizes) < 6 or (len(sizes) < 20 and max(sizes[-4:]) - min(sizes[-4:]) > 0.5):
            time.sleep(1)
            with open(f"/proc/{process.pid}/smaps_rollup", encoding="ascii") as rollup:
                sizes.append(int(re.search(r"^Pss:\s+(\d+)", rollup.read(), re.M)[1]) / 1024)
        return sizes[-1]


class Server:
    """bench_peer with so many entries, while it is needed."""

    def __init__(self, binaries, count, *options):
        self.process = subprocess.Popen([os.path.join(binaries, "bench_peer"), str(count), *options],
                                        stdout=subprocess.PIPE, text=True)
        port, parse = self.process.stdout.readline().split()
        self.url = f"http://127.0.0.1:{port}"
        self.parse_ms = float(parse)

    def counts(self):
        with urllib.request.urlopen(self.url + "/counts") as reply:
            return json.load(reply)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.communicate()


class Program:
    """The program or its like on a server, with its frames counted."""

    def __init__(self, command):
        self.process = started(command)
        self.frames = 0
        self.reader = threading.Thread(target=self.count)
        self.reader.start()

    def count(self):
        for line in self.process.stderr:
            self.frames += tells_frame(line)

    def processor_ms(self):
        """Of the whole process so far, as clock_getcpuclockid() has it: /proc counts in steps of 10 ms."""
        return time.clock_gettime((~self.process.pid << 3) | 2) * 1000

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.reader.join()
        self.process.wait()


def memory_with(count, binaries):
    """What the program settles at that has loaded so many entries."""
    with Server(binaries, count) as server:
        return settled_memory([os.path.join(binaries, "timer-kelvaro"), "--server", server.url],
                              lambda: server.counts()["reloads"] > 0)


def start_with_entries(binaries, runs, count):
    """The medians of the program's start with entries in its store, and of the bare window's that reads them."""
    with Server(binaries, count) as server:
        command = [os.path.join(binaries, "timer-kelvaro"), "--server", server.url]
        fill_store(command)
    bare = [os.path.join(binaries, "bench_stored"), os.path.join(os.environ["HOME"], "bare.sqlite")]
    subprocess.run([*bare, str(count)], check=True)
    pairs = [(first_frame_with_entries(command), first_frame(bare)) for _ in runs][-5:]
    return [statistics.median(one) for one in zip(*pairs)]


def start_rows(binaries, tiny):
    program, bare = (os.path.join(binaries, name) for name in ("timer-kelvaro", "bench_window"))
    nowhere = [program, "--server", "http://127.0.0.1:9"]
    runs = range(1) if tiny else range(7)
    pairs = [(first_frame(nowhere), first_frame([bare])) for _ in runs][-5:]
    memory, start = settled_memory([bare]), statistics.median(p[0] for p in pairs)
    rows = {"start to first frame, empty profile (ms)": [start, statistics.median(p[1] for p in pairs)]}
    rows["start to first frame with 10000 entries (ms)"] = start_with_entries(binaries, runs, 200 if tiny else 10000)
    for count in (10000, 50000):
        rows[f"memory with {count} entries (MB)"] = [memory_with(count // 50 if tiny else count, binaries), memory]
    for peer in filter(shutil.which, PEERS):
        try:
            beside = statistics.median(first_window([peer]) for _ in runs)
        except (RuntimeError, subprocess.TimeoutExpired) as failure:
            print(failure, file=sys.stderr)
            continue
        rows[f"start beside {peer} (ms)"] = [start, beside]
        rows[f"memory, no entries, beside {peer} (MB)"] = [settled_memory(nowhere), settled_memory([peer])]
    return rows


def wait_until(done):
    for _ in range(600):
        if done():
            return
        time.sleep(0.1)
    raise RuntimeError("the program did not load its entries")


def idle_minute(binaries, tiny, *options, hidden=False):
    """What a program does in a minute in which nobody uses it and its server has nothing new.

    With --tiny it is a second, in which it seldom asks its server."""
    with Server(binaries, 200 if tiny else 10000, *options) as server, \
            Program([os.path.join(binaries, "timer-kelvaro"), "--server", server.url]) as program:
        wait_until(lambda: server.counts()["reloads"] > 0)
        if hidden:
            subprocess.run(["xdotool", "windowunmap", window_of(program.process).split()[0]], check=True)
        time.sleep(1 if tiny else 5)
        before, frames, processor = server.counts(), program.frames, program.processor_ms()
        time.sleep(1 if tiny else 60)
        processor = program.processor_ms() - processor
        frames, counts = program.frames - frames, server.counts()
        reloads = counts["reloads"] - before["reloads"]
        if not tiny and reloads not in (3, 4, 5):
            raise RuntimeError(f"the program loaded its entries {reloads} times")
        return {"frames": frames, "reloads": reloads, "processor": processor, "parse": server.parse_ms,
                "received": counts["bytes"] - before["bytes"]}


def idle_rows(binaries, tiny):
    minute = idle_minute(binaries, tiny)
    return {"frames in a minute, shown": [minute["frames"], minute["reloads"]],
            "processor in a minute (ms)": [minute["processor"], minute["parse"] * minute["reloads"]]}


def peers_minute(peer, tiny):
    """What another time tracker takes of the processor in a minute in which nobody uses it."""
    with Program([peer]) as program:
        if not window_of(program.process):
            raise RuntimeError(f"{peer} showed no window")
        time.sleep(1 if tiny else 5)
        before = program.processor_ms()
        time.sleep(1 if tiny else 60)
        return program.processor_ms() - before


def idle_tag_rows(binaries, tiny):
    minute = idle_minute(binaries, tiny, "--tag")
    rows = {"processor in a minute, not modified (ms)": [minute["processor"], minute["parse"] * minute["reloads"]],
            "received per reload, not modified (KB)": [minute["received"] / 1024 / max(minute["reloads"], 1), 1]}
    for peer in filter(shutil.which, PEERS):
        rows[f"processor in a minute beside {peer} (ms)"] = [minute["processor"], peers_minute(peer, tiny)]
    return rows


def idle_timer_rows(binaries, tiny):
    minute = idle_minute(binaries, tiny, "--timer", "--tag")
    return {"frames in a minute, with a timer": [minute["frames"], minute["reloads"] + (1 if tiny else 60)]}


def idle_hidden_rows(binaries, tiny):
    return {"frames in a minute, hidden": [idle_minute(binaries, tiny, "--timer", "--tag", hidden=True)["frames"], 0]}


SOURCES = {"start": start_rows, "idle": idle_rows, "idle-tag": idle_tag_rows, "idle-timer": idle_timer_rows,
           "idle-hidden": idle_hidden_rows}

if __name__ == "__main__":
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--tiny", action="store_true")
    arguments.add_argument("--binaries", required=True)
    arguments.add_argument("source", choices=SOURCES)
    given = arguments.parse_args()
    print(json.dumps(SOURCES[given.source](given.binaries, given.tiny)))
