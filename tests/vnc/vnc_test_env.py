"""What the remote panel's tests and its benchmark share: vesk started with
--ozgi-vnc on a free port, the headless reference pictures, and waiting for a
viewer to show one."""
import os
import socket
import shutil
import subprocess
import tempfile
import time

PROGRAM = MENU = None
WORK = tempfile.mkdtemp(prefix='vesk-vnc-')


def setup(program, menu):
    global PROGRAM, MENU
    PROGRAM, MENU = program, menu


def cleanup():
    shutil.rmtree(WORK, ignore_errors=True)


# The first menu row ("audio"): tapping it opens its sub-menu.
ROW_X, ROW_Y = 300, 133
# How long a picture may take to arrive before the case fails: a deadline, not a measure.
DEADLINE_S = 30
MAX_VIEWERS = 8


def free_port():
    with socket.socket() as s:
        s.bind(('127.0.0.1', 0))
        return s.getsockname()[1]


def rgb_of_png(path):
    return subprocess.run(['convert', path, '-alpha', 'off', 'rgb:-'], capture_output=True, check=True).stdout


def reference_pictures():
    """The headless screenshots of the first page and of the row's sub-menu."""
    main, sub = os.path.join(WORK, 'main.png'), os.path.join(WORK, 'sub.png')
    script = 'screenshot %s\ntap %d %d\nscreenshot %s\nquit\n' % (main, ROW_X, ROW_Y, sub)
    subprocess.run([PROGRAM, '--dir=' + MENU, '--ozgi-video=headless', '--ozgi-script=-'], input=script.encode(),
                   check=True, timeout=60)
    pictures = rgb_of_png(main), rgb_of_png(sub)
    assert pictures[0] != pictures[1], 'the tap changed nothing'
    return pictures


class Vesk:
    """vesk on the headless display, serving VNC on a free port while a script waits."""

    def __init__(self, *options, script_text='wait 3600000\n'):
        self.port = free_port()
        script = os.path.join(WORK, 'script-%d.txt' % self.port)
        with open(script, 'w') as f:
            f.write(script_text)
        self.log = open(os.path.join(WORK, 'vesk-%d.log' % self.port), 'w+')
        self.proc = subprocess.Popen([PROGRAM, '--dir=' + MENU, '--ozgi-video=headless', '--ozgi-script=' + script,
                                      '--ozgi-vnc=%d' % self.port] + list(options), stdout=self.log,
                                     stderr=subprocess.STDOUT)
        end = time.monotonic() + DEADLINE_S
        while True:
            assert self.proc.poll() is None, 'vesk ended: %s' % self.output()
            try:
                socket.create_connection(('127.0.0.1', self.port), timeout=1).close()
                break
            except OSError:
                assert time.monotonic() < end, 'vesk does not listen on %d' % self.port
                time.sleep(0.1)

    def output(self):
        self.log.flush()
        self.log.seek(0)
        return self.log.read()

    def running(self):
        return self.proc.poll() is None

    def stop(self):
        self.proc.terminate()
        self.proc.wait(timeout=30)


def wait_for_picture(client, expected, what):
    """Reads updates until the client's picture is `expected`; a picture that
    stops changing before it gets there fails with `what` too."""
    end = time.monotonic() + DEADLINE_S
    client.request(False)
    while True:
        try:
            client.read_update()
        except socket.timeout:
            raise AssertionError('the viewer never showed %s (no change came)' % what)
        if client.rgb() == expected:
            return
        assert time.monotonic() < end, 'the viewer never showed %s' % what
        client.request(True)


def click(client, x, y):
    client.pointer(1, x, y)
    client.pointer(0, x, y)
