"""A board under qemu-system: its QMP socket, its serial shell, and the input
a person gives a panel (taps and drags on a tablet, keys), all through QMP."""
import json
import os
import re
import socket
import subprocess
import time

from . import arches, pictures

# The tablet's coordinates run over 0..32767 whatever the screen's size.
TABLET_MAX = 0x7FFF


class board_error(Exception):
    pass


def connect_unix(path, what, timeout):
    """A socket connected to qemu's Unix socket `path`, which qemu may not have
    made yet: tried again for up to `timeout` seconds."""
    deadline = time.time() + timeout
    while True:
        sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            sock.connect(path)
            return sock
        except OSError:
            sock.close()
            if time.time() > deadline:
                raise board_error('no %s socket at %s' % (what, path))
            time.sleep(0.05)


class qmp_t:
    """A QMP connection: commands and their answers; events are kept."""

    def __init__(self, path, timeout=30):
        self.sock = connect_unix(path, 'QMP', timeout)
        self.buf = b''
        self.events = []
        self._read()  # the greeting
        self.cmd('qmp_capabilities')

    def _read(self):
        while b'\n' not in self.buf:
            chunk = self.sock.recv(65536)
            if not chunk:
                raise board_error('QMP closed')
            self.buf += chunk
        line, self.buf = self.buf.split(b'\n', 1)
        return json.loads(line)

    def cmd(self, name, **args):
        msg = {'execute': name}
        if args:
            msg['arguments'] = args
        self.sock.sendall(json.dumps(msg).encode() + b'\n')
        while True:
            r = self._read()
            if 'event' in r:
                self.events.append(r)
                continue
            if 'error' in r:
                raise board_error('QMP %s: %s' % (name, r['error'].get('desc')))
            return r.get('return')

    def close(self):
        self.sock.close()


class serial_t:
    """The guest's serial console, a shell: commands and their output."""

    def __init__(self, path, log_path, timeout=30):
        self.sock = connect_unix(path, 'serial', timeout)
        self.log = open(log_path, 'ab')
        self.text = b''
        self.count = 0

    def _pump(self, timeout):
        self.sock.settimeout(timeout)
        try:
            chunk = self.sock.recv(65536)
        except socket.timeout:
            return False
        if not chunk:
            raise board_error('the serial console closed (the VM ended?)')
        self.log.write(chunk)
        self.log.flush()
        self.text += chunk
        return True

    def wait_for(self, pattern, timeout):
        """Reads until `pattern` (a regular expression over bytes) appears in
        what was read since the last wait; returns the match."""
        deadline = time.time() + timeout
        rx = re.compile(pattern)
        while True:
            m = rx.search(self.text)
            if m:
                self.text = self.text[m.end():]
                return m
            left = deadline - time.time()
            if left <= 0:
                raise board_error('serial: no %r within %ds; last output:\n%s' %
                                  (pattern, timeout, self.text[-800:].decode('utf-8', 'replace')))
            self._pump(min(left, 1.0))

    def send(self, data):
        self.sock.sendall(data.encode())


class serial_shell_t(serial_t):
    def run(self, command, timeout=60, check=True):
        self.count += 1
        tag = 'END%d' % self.count
        self.log.write(('\n[board sh %d] %s\n' % (self.count, command)).encode())
        self.sock.sendall(('%s; echo "@@%s@$?@@"\n' % (command, tag)).encode())
        rx = re.compile((r'@@%s@(\d+)@@' % tag).encode())
        deadline = time.time() + timeout
        start = len(self.text)
        while True:
            m = rx.search(self.text, start)
            if m:
                out = self.text[start:m.start()]
                self.text = self.text[m.end():]
                break
            left = deadline - time.time()
            if left <= 0:
                raise board_error('guest: `%s` did not end within %ds; output:\n%s' %
                                  (command, timeout, self.text[start:].decode('utf-8', 'replace')[-1500:]))
            self._pump(min(left, 1.0))
        text = out.decode('utf-8', 'replace').replace('\r', '')
        # The terminal echoes the command line first.
        lines = text.split('\n')
        if lines and 'echo "@@' in lines[0]:
            lines = lines[1:]
        text = '\n'.join(lines).strip('\n')
        status = int(m.group(1))
        if check and status != 0:
            raise board_error('guest: `%s` ended with %d:\n%s' % (command, status, text))
        return status, text


class board_t:
    """One running VM. `workdir` holds its sockets, logs and screendumps."""

    def __init__(self, arch, kernel, initrd, workdir, memory=512, append='', extra_args=()):
        self.arch = arches.ARCHES[arch]
        self.workdir = workdir
        os.makedirs(workdir, exist_ok=True)
        self.qmp_path = os.path.join(workdir, 'qmp.sock')
        self.serial_path = os.path.join(workdir, 'serial.sock')
        self.serial_log = os.path.join(workdir, 'serial.log')
        for p in (self.qmp_path, self.serial_path, self.serial_log):
            if os.path.exists(p):
                os.unlink(p)
        cmdline = 'console=tty1 console=%s quiet loglevel=4 panic=-1 %s' % (self.arch.console, append)
        self.argv = [self.arch.qemu] + self.arch.machine + [
            '-accel', 'tcg', '-smp', '1', '-m', str(memory), '-nographic', '-no-reboot',
            '-kernel', kernel, '-initrd', initrd, '-append', cmdline.strip(),
            '-device', 'virtio-gpu-pci,xres=640,yres=800,id=gpu0',
            '-device', 'virtio-tablet-pci,id=tablet0',
            '-device', 'virtio-keyboard-pci,id=keyboard0',
            '-device', 'qemu-xhci,id=xhci',
            '-qmp', 'unix:%s,server=on,wait=off' % self.qmp_path,
            '-chardev', 'socket,id=ser0,path=%s,server=on,wait=off' % self.serial_path,
            '-serial', 'chardev:ser0', '-monitor', 'none',
        ] + list(extra_args)
        self.qemu_log = open(os.path.join(workdir, 'qemu.log'), 'wb')
        self.started = time.time()
        self.proc = subprocess.Popen(self.argv, stdin=subprocess.DEVNULL, stdout=self.qemu_log,
                                     stderr=subprocess.STDOUT, start_new_session=True)
        self.qmp = qmp_t(self.qmp_path)
        self.serial = serial_shell_t(self.serial_path, self.serial_log)
        self.shots = 0

    def wait_booted(self, timeout=240):
        """Waits for the init script's shell; returns the seconds since start."""
        self.serial.wait_for(rb'board: up [0-9.]+', timeout)
        self.serial.run("stty -echo 2>/dev/null; PS1=''", check=False)
        return time.time() - self.started

    def sh(self, command, timeout=60, check=True):
        return self.serial.run(command, timeout, check)

    # -- the screen --

    def screendump(self, name=None):
        self.shots += 1
        path = os.path.join(self.workdir, name or 'shot%03d.ppm' % self.shots)
        self.qmp.cmd('screendump', filename=path)
        return pictures.read_ppm(path)

    def wait_frame(self, expected=None, changed_from=None, timeout=60, settle=0.3):
        """Waits until the screen equals `expected` (a picture), or differs
        from `changed_from`, or (with neither) is not black; then returns it.
        With `settle`, the picture must stay the same that long."""
        deadline = time.time() + timeout
        last = None
        while True:
            p = self.screendump('poll.ppm')
            ok = (expected is not None and pictures.differences(p, expected)[0] == 0) or \
                 (changed_from is not None and pictures.differences(p, changed_from)[0] != 0) or \
                 (expected is None and changed_from is None and not pictures.is_mostly_black(p, 0.999))
            if ok and settle:
                time.sleep(settle)
                again = self.screendump('poll.ppm')
                ok = pictures.differences(p, again)[0] == 0
                p = again
            if ok:
                return p
            last = p
            if time.time() > deadline:
                return last
            time.sleep(0.1)

    # -- input, as a person gives it --

    def _abs(self, x, y, w=640, h=800):
        return [{'type': 'abs', 'data': {'axis': 'x', 'value': x * TABLET_MAX // (w - 1)}},
                {'type': 'abs', 'data': {'axis': 'y', 'value': y * TABLET_MAX // (h - 1)}}]

    def _btn(self, down):
        return [{'type': 'btn', 'data': {'down': down, 'button': 'left'}}]

    def pointer(self, events, device=None):
        """Sends pointer events to the active tablet, or with `device` (a
        display's id) to the tablet bound to that display."""
        args = {'events': events}
        if device:
            args['device'] = device
        self.qmp.cmd('input-send-event', **args)

    def tap(self, x, y, device=None):
        self.pointer(self._abs(x, y), device)
        self.pointer(self._btn(True), device)
        time.sleep(0.05)
        self.pointer(self._btn(False), device)

    def drag(self, x0, y0, x1, y1, steps=10, device=None):
        self.pointer(self._abs(x0, y0), device)
        self.pointer(self._btn(True), device)
        for i in range(1, steps + 1):
            self.pointer(self._abs(x0 + (x1 - x0) * i // steps, y0 + (y1 - y0) * i // steps), device)
            time.sleep(0.03)
        self.pointer(self._btn(False), device)

    def key(self, qcode, device=None):
        """Presses and releases one key (a QEMU qcode: 'down', 'ret', 'esc'...)."""
        for down in (True, False):
            ev = [{'type': 'key', 'data': {'down': down, 'key': {'type': 'qcode', 'data': qcode}}}]
            args = {'events': ev}
            if device:
                args['device'] = device
            self.qmp.cmd('input-send-event', **args)

    def chord(self, *qcodes):
        """Holds the keys together, as Ctrl+Alt+Del."""
        self.qmp.cmd('send-key', keys=[{'type': 'qcode', 'data': k} for k in qcodes])

    def is_running(self):
        return self.proc.poll() is None

    def stop(self):
        if self.proc.poll() is None:
            try:
                self.qmp.cmd('quit')
            except Exception:
                pass
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
