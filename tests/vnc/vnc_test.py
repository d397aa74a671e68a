#!/usr/bin/env python3
"""The remote panel (--ozgi-vnc) seen by real viewers and by hostile clients.

    vnc_test.py PROGRAM MENU_DIR CASE

CASE is viewer (TigerVNC under Xvfb, driven by xdotool), auth (password and
address checks) or hostile (garbage, a huge clipboard, a client that never
reads, too many connections; a good viewer is served throughout)."""
import os
import random
import socket
import struct
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from rfb_client import AuthRefused, RfbClient, recv_exact  # noqa: E402
from vnc_test_env import (DEADLINE_S, MAX_VIEWERS, ROW_X, ROW_Y, WORK, Vesk, click, free_port,  # noqa: E402
                          reference_pictures, rgb_of_png, wait_for_picture)
import vnc_test_env  # noqa: E402

PROGRAM, MENU, CASE = sys.argv[1], sys.argv[2], sys.argv[3]
vnc_test_env.setup(PROGRAM, MENU)


def case_viewer():
    main, sub = reference_pictures()
    vesk = Vesk()
    shot = os.path.join(WORK, 'viewer.png')
    env = dict(os.environ)
    viewer = subprocess.Popen(['xtigervncviewer', '-AutoSelect=0', '-PreferredEncoding=ZRLE', '-FullColor=1',
                               '-SecurityTypes=None', '127.0.0.1::%d' % vesk.port], env=env,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        def window():
            end = time.monotonic() + DEADLINE_S
            while True:
                found = subprocess.run(['xdotool', 'search', '--name', 'TigerVNC'], capture_output=True, text=True)
                if found.stdout.split():
                    return found.stdout.split()[0]
                assert time.monotonic() < end, 'no viewer window'
                time.sleep(0.2)

        def shows(expected, what):
            end = time.monotonic() + DEADLINE_S
            while True:
                subprocess.run(['import', '-window', win, shot], check=True)
                if rgb_of_png(shot) == expected:
                    return
                assert time.monotonic() < end, 'the viewer window never showed %s' % what
                time.sleep(0.3)

        win = window()
        shows(main, 'the first page')
        subprocess.run(['xdotool', 'mousemove', '--window', win, str(ROW_X), str(ROW_Y), 'click', '1'], check=True)
        shows(sub, 'the sub-menu after the click')
        assert vesk.running()
    finally:
        viewer.terminate()
        viewer.wait(timeout=30)
        vesk.stop()


def case_auth():
    # Off loopback without a password: refused at start, naming the option.
    port = free_port()
    run = subprocess.run([PROGRAM, '--dir=' + MENU, '--ozgi-video=headless', '--ozgi-vnc=0.0.0.0:%d' % port],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode != 0, 'served off loopback without a password'
    assert ("Won't serve the panel on 0.0.0.0 without a password: give --ozgi-vnc-password-file=FILE, or serve on "
            "127.0.0.1 and reach it through an ssh tunnel.") in run.stderr, run.stderr
    # A bad address or port is refused too.
    run = subprocess.run([PROGRAM, '--dir=' + MENU, '--ozgi-video=headless', '--ozgi-vnc=localhost:x'],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode != 0 and 'Bad value of --ozgi-vnc: "localhost:x"' in run.stderr, run.stderr

    # Without a password file on loopback: security type None and nothing else.
    main, sub = reference_pictures()
    vesk = Vesk()
    try:
        client = RfbClient(vesk.port)
        assert client.security_types == [1], client.security_types
        wait_for_picture(client, main, 'the first page')
        # Return held down (pressed twice, released once) opens the focused row once:
        # Escape then leads back to the first page, not to the sub-menu.
        client.key(True, 0xff0d)
        client.key(True, 0xff0d)
        client.key(False, 0xff0d)
        wait_for_picture(client, sub, 'the sub-menu after Return')
        client.key(True, 0xff1b)
        client.key(False, 0xff1b)
        wait_for_picture(client, main, 'the first page after a held Return and Escape')
        client.close()
    finally:
        vesk.stop()

    password_file = os.path.join(WORK, 'password')
    with open(password_file, 'w') as f:
        f.write('s3cret\n')
    vesk = Vesk('--ozgi-vnc-password-file=' + password_file)
    try:
        try:
            RfbClient(vesk.port)
            raise AssertionError('a viewer without the password was let in')
        except AuthRefused:
            pass
        try:
            RfbClient(vesk.port, wrong_response=True)
            raise AssertionError('a wrong password was let in')
        except AuthRefused:
            pass
        try:
            RfbClient(vesk.port, password='s3cre7')
            raise AssertionError('a wrong password was let in')
        except AuthRefused:
            pass
        client = RfbClient(vesk.port, password='s3cret')
        wait_for_picture(client, main, 'the first page')
        click(client, ROW_X, ROW_Y)
        wait_for_picture(client, sub, 'the sub-menu')
        client.close()
        assert vesk.running()
    finally:
        vesk.stop()

    # View only: the picture, and a click does nothing. The script's screenshot
    # is taken after the wait in which the click arrived; the same steps without
    # the option open the sub-menu.
    for view_only, expected in ((False, sub), (True, main)):
        shot = os.path.join(WORK, 'after-click.png')
        options = ['--ozgi-vnc-view-only'] if view_only else []
        vesk = Vesk(*options, script_text='wait 3000\nscreenshot %s\nquit\n' % shot)
        client = RfbClient(vesk.port)
        wait_for_picture(client, main, 'the first page')
        click(client, ROW_X, ROW_Y)
        # The server reads a client's messages in order: once this update comes, the click was taken in.
        client.request(False)
        client.read_update()
        assert vesk.running(), 'the script ended before the click arrived'
        assert vesk.proc.wait(timeout=60) == 0, vesk.output()
        client.close()
        assert rgb_of_png(shot) == expected, 'view only: %s, yet the click %s' % (
            view_only, 'opened the sub-menu' if view_only else 'did nothing')
    # The VNC options need --ozgi-vnc.
    run = subprocess.run([PROGRAM, '--dir=' + MENU, '--ozgi-video=headless', '--ozgi-vnc-view-only'],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode != 0 and 'need --ozgi-vnc=[ADDR:]PORT' in run.stderr, run.stderr


def closed_by_server(sock):
    """True when the server closes `sock` (it may first send what it sends)."""
    sock.settimeout(DEADLINE_S)
    try:
        while sock.recv(65536):
            pass
        return True
    except ConnectionResetError:
        return True
    except socket.timeout:
        return False


def viewer_let_in(port, within_s, pause_s, failure):
    """A viewer connected once the server lets one in again, tried every
    `pause_s` seconds for up to `within_s` (then the test fails with `failure`)."""
    end = time.monotonic() + within_s
    while True:
        try:
            return RfbClient(port)
        except (EOFError, ConnectionResetError, BrokenPipeError):
            assert time.monotonic() < end, failure
            time.sleep(pause_s)


def case_hostile():
    main, sub = reference_pictures()
    vesk = Vesk()
    try:
        # Garbage instead of a protocol version.
        s = socket.create_connection(('127.0.0.1', vesk.port))
        s.sendall(bytes(random.Random(1).getrandbits(8) for _ in range(4096)))
        assert closed_by_server(s), 'garbage did not close the connection'
        s.close()
        # Garbage after the handshake: an unknown message type.
        c = RfbClient(vesk.port)
        c.sock.sendall(b'\xfe' + bytes(64))
        assert closed_by_server(c.sock), 'an unknown message did not close the connection'
        c.close()
        # A huge clipboard: announced as nearly 2 GB.
        c = RfbClient(vesk.port)
        c.sock.sendall(struct.pack('>BxxxI', 6, 0x7ffffff0) + b'x' * 65536)
        assert closed_by_server(c.sock), 'a huge clipboard did not close the connection'
        c.close()
        assert vesk.running(), vesk.output()

        # A client that keeps asking for whole pictures and never reads them, with
        # a small receive buffer: once the socket's buffers are full, the server's
        # writes to it block.
        stuck = socket.socket()
        stuck.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        stuck.connect(('127.0.0.1', vesk.port))
        recv_exact(stuck, 12)
        stuck.sendall(b'RFB 003.008\n')
        recv_exact(stuck, 2)
        stuck.sendall(b'\x01')
        recv_exact(stuck, 4)
        stuck.sendall(b'\x01')
        stuck.sendall(struct.pack('>BxHi', 2, 1, 0))
        dropped = threading.Event()

        def ask():
            end = time.monotonic() + 90
            try:
                while time.monotonic() < end:
                    stuck.sendall(struct.pack('>BBHHHH', 3, 0, 0, 0, 640, 800))
                    time.sleep(0.05)
            except OSError:
                # The server closed the connection: what it still had for us is thrown away.
                dropped.set()
        asker = threading.Thread(target=ask, daemon=True)
        asker.start()
        # A good viewer is served meanwhile, and its taps and keys work, again and again.
        good = RfbClient(vesk.port)
        wait_for_picture(good, main, 'the first page')
        for _ in range(5):
            click(good, ROW_X, ROW_Y)
            wait_for_picture(good, sub, 'the sub-menu while another client never reads')
            good.key(True, 0xff1b)  # Escape: back to the first page
            good.key(False, 0xff1b)
            wait_for_picture(good, main, 'the first page after Escape')
        good.close()
        # The server gives up on the stuck client (its writes time out after 20 s)
        # and closes it; its requests then meet a reset.
        asker.join()
        assert dropped.is_set(), 'the client that never reads was never dropped'
        stuck.close()
        assert vesk.running(), vesk.output()

        # More connections than the limit: the one too many is turned away, the others work.
        clients = [RfbClient(vesk.port) for _ in range(MAX_VIEWERS)]
        try:
            RfbClient.__init__(object.__new__(RfbClient), vesk.port)
            raise AssertionError('a viewer beyond the limit of %d was let in' % MAX_VIEWERS)
        except (EOFError, ConnectionResetError, BrokenPipeError):
            pass
        wait_for_picture(clients[-1], main, 'the first page to the last admitted viewer')
        for c in clients:
            c.close()
        # Once they have gone, a viewer gets in again.
        good = viewer_let_in(vesk.port, DEADLINE_S, 0.2, 'no viewer let in after the others left')
        wait_for_picture(good, main, 'the first page')
        good.close()

        # Connections that say nothing take every place; they are cut off once
        # their time for the handshake is out (30 s), and a viewer gets in again.
        # One more than the limit, in case the viewer just closed has not quite gone yet.
        silent = [socket.create_connection(('127.0.0.1', vesk.port)) for _ in range(MAX_VIEWERS + 1)]
        for s in silent:
            recv_exact(s, 12)  # the server's version
        try:
            RfbClient(vesk.port)
            raise AssertionError('a viewer got in while silent connections held every place')
        except (EOFError, ConnectionResetError, BrokenPipeError):
            pass
        good = viewer_let_in(vesk.port, 90, 0.5, 'silent connections kept viewers out for good')
        wait_for_picture(good, main, 'the first page after the silent connections')
        for s in silent:
            assert closed_by_server(s), 'a silent connection was left open'
            s.close()
        good.close()
        assert vesk.running(), vesk.output()
    finally:
        vesk.stop()


try:
    {'viewer': case_viewer, 'auth': case_auth, 'hostile': case_hostile}[CASE]()
    print('ok')
finally:
    vnc_test_env.cleanup()
