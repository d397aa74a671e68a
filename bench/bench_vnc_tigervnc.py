#!/usr/bin/env python3
"""Bytes and click-to-picture time with a real viewer (TigerVNC, ZRLE); prints
figures, asserts nothing. Run under X: xvfb-run -a -s '-screen 0 800x900x24'
bench/bench_vnc_tigervnc.py [PROGRAM] [MENU_DIR]

A relay between the viewer and vesk counts what the server sends and when; a
burst ends when nothing more comes for 300 ms."""
import os
import socket
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'tests', 'vnc'))
import vnc_test_env as env  # noqa: E402

PROGRAM = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, '..', 'build', 'vesk')
MENU = sys.argv[2] if len(sys.argv) > 2 else os.path.join(HERE, '..', 'examples', 'menu')
chunks = []  # (time, bytes) of what the server sent
lock = threading.Lock()


def pump(src, dst, count):
    try:
        while True:
            data = src.recv(65536)
            if not data:
                break
            if count:
                with lock:
                    chunks.append((time.monotonic(), len(data)))
            dst.sendall(data)
    except OSError:
        pass


def relay(listener, port):
    viewer, _ = listener.accept()
    server = socket.create_connection(('127.0.0.1', port))
    threading.Thread(target=pump, args=(viewer, server, False), daemon=True).start()
    threading.Thread(target=pump, args=(server, viewer, True), daemon=True).start()


def burst_after(t0):
    """Bytes sent after t0 and the time of the last of them, once 300 ms pass quietly."""
    while True:
        time.sleep(0.1)
        with lock:
            after = [c for c in chunks if c[0] >= t0]
        if after and time.monotonic() - after[-1][0] > 0.3:
            return sum(n for _, n in after), (after[-1][0] - t0) * 1000
        if not after and time.monotonic() - t0 > 5:
            return 0, 0


env.setup(PROGRAM, MENU)
vesk = env.Vesk()
listener = socket.socket()
listener.bind(('127.0.0.1', 0))
listener.listen(1)
threading.Thread(target=relay, args=(listener, vesk.port), daemon=True).start()
start = time.monotonic()
viewer = subprocess.Popen(['xtigervncviewer', '-AutoSelect=0', '-PreferredEncoding=ZRLE', '-FullColor=1',
                           '-SecurityTypes=None', '127.0.0.1::%d' % listener.getsockname()[1]],
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
try:
    total, _ = burst_after(start)
    print('first picture: %d bytes' % total)
    win = subprocess.run(['xdotool', 'search', '--sync', '--name', 'TigerVNC'], capture_output=True,
                         text=True).stdout.split()[0]
    subprocess.run(['xdotool', 'mousemove', '--window', win, '600', '700'], check=True)
    subprocess.run(['xdotool', 'windowfocus', '--sync', win], check=True)
    time.sleep(1)
    for i in range(3):
        t0 = time.monotonic()
        subprocess.run(['xdotool', 'key', 'Down'], check=True)
        n, ms = burst_after(t0)
        print('focus move (Down): %d bytes, last byte %.1f ms after the key was sent' % (n, ms))
    subprocess.run(['xdotool', 'key', 'Up', 'Up', 'Up'], check=True)
    burst_after(time.monotonic())
    for i in range(3):
        t0 = time.monotonic()
        subprocess.run(['xdotool', 'mousemove', '--window', win, str(env.ROW_X), str(env.ROW_Y), 'click', '1'],
                       check=True)
        n, ms = burst_after(t0)
        print('page change (click on a row): %d bytes, last byte %.1f ms after the click was sent' % (n, ms))
        t0 = time.monotonic()
        subprocess.run(['xdotool', 'key', 'Escape'], check=True)
        n, ms = burst_after(t0)
        print('page change (Escape, back): %d bytes, last byte %.1f ms after the key was sent' % (n, ms))
finally:
    viewer.terminate()
    vesk.stop()
    env.cleanup()
