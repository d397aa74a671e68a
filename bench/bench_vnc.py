#!/usr/bin/env python3
"""Figures of the remote panel (--ozgi-vnc); prints them, asserts nothing.

    bench/bench_vnc.py [PROGRAM] [MENU_DIR]

- CPU time vesk uses with 1 and 4 viewers connected, idle and during a drag;
- bytes a raw-encoding viewer receives for a focus move and for a page change;
- the time from a click sent by a viewer to the new picture at that viewer."""
import os
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'tests', 'vnc'))
from rfb_client import RfbClient  # noqa: E402
import vnc_test_env as env  # noqa: E402

PROGRAM = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, '..', 'build', 'vesk')
SECONDS = 10


def long_menu():
    """A menu of 60 tests: a page long enough to drag."""
    import tempfile
    menu = tempfile.mkdtemp(prefix='vesk-vnc-bench-')
    for i in range(60):
        path = os.path.join(menu, 'test_%02d' % i)
        with open(path, 'w') as f:
            f.write('#!/bin/sh\necho ok\n')
        os.chmod(path, 0o755)
    return menu


MENU = sys.argv[2] if len(sys.argv) > 2 else long_menu()


def cpu_seconds(pid):
    with open('/proc/%d/stat' % pid) as f:
        fields = f.read().rsplit(')', 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK')


class Viewer(threading.Thread):
    """A viewer that keeps asking for changes, as real viewers do, and reads them."""

    def __init__(self, port):
        super().__init__(daemon=True)
        self.client = RfbClient(port)
        self.client.request(False)
        self.client.read_update()
        self.updates = 0

    def run(self):
        try:
            while True:
                self.client.request(True)
                self.client.read_update()
                self.updates += 1
        except (OSError, EOFError):
            pass


def cpu_during(vesk, viewers, drag):
    start = cpu_seconds(vesk.proc.pid)
    t0 = time.monotonic()
    if drag:
        c = viewers[0].client
        c.pointer(1, 320, 600)
        y, step = 600, -8
        while time.monotonic() - t0 < SECONDS:
            y += step
            if y < 200 or y > 700:
                step = -step
            c.pointer(1, 320, y)
            time.sleep(1 / 60)
        c.pointer(0, 320, y)
    else:
        time.sleep(SECONDS)
    used = cpu_seconds(vesk.proc.pid) - start
    return 100.0 * used / (time.monotonic() - t0)


def main():
    env.setup(PROGRAM, MENU)
    vesk = env.Vesk()
    try:
        for n in (1, 4):
            viewers = [Viewer(vesk.port) for _ in range(n)]
            for v in viewers:
                v.start()
            time.sleep(1)
            idle = cpu_during(vesk, viewers, False)
            drag = cpu_during(vesk, viewers, True)
            print('viewers %d: vesk CPU idle %.2f %%, during a drag (60 moves/s) %.1f %%, updates to viewer 1: %d'
                  % (n, idle, drag, viewers[0].updates))
            for v in viewers:
                v.client.close()
            time.sleep(1)
    finally:
        vesk.stop()

    vesk = env.Vesk()
    try:
        c = RfbClient(vesk.port)
        c.request(False)
        c.read_update()
        # A focus move: the Down key.
        before = c.bytes_received
        c.key(True, 0xff54)
        c.key(False, 0xff54)
        c.request(True)
        rects = c.read_update()
        print('focus move (Down): %d bytes raw, rectangles %s' % (c.bytes_received - before, rects))
        # A page change: click the first row, with the time to the new picture.
        c.request(True)
        before = c.bytes_received
        t0 = time.monotonic()
        c.pointer(1, env.ROW_X, env.ROW_Y)
        c.pointer(0, env.ROW_X, env.ROW_Y)
        rects = c.read_update()
        latency = (time.monotonic() - t0) * 1000
        area = sum(w * h for _, _, w, h in rects)
        print('page change (click on a row): %d bytes raw, %d pixels, first update %.1f ms after the click'
              % (c.bytes_received - before, area, latency))
        c.close()
    finally:
        vesk.stop()
        env.cleanup()


main()
