"""The checks run on a booted board, one boot per backend, chained: each
starts from the state the one before left (the root menu, vesk running).

A check is a function check_NAME(ctx) in CHECKS order; it raises
vm.board_error (or AssertionError) on failure. ctx holds the board, the
backend and the headless reference pictures."""
import os
import subprocess
import time

from . import arches, backends, pictures, target_root, vm

HERE = os.path.dirname(os.path.abspath(__file__))


def log(text):
    print('board: ' + text, flush=True)


# What SDL's KMSDRM driver loads at run time (dlopen), beyond the libraries
# the program is linked with: SDL itself (in case the program loads it only
# when asked for), EGL (through glvnd, with Mesa's vendor), GLES 2 for its
# renderer, GBM, and Mesa's DRI drivers (kms_swrast for a display without a GPU
# driver of its own).
KMSDRM_PACKAGES = ['libsdl2-2.0-0', 'libegl1', 'libegl-mesa0', 'libgles2', 'libgl1', 'libgbm1',
                   'libgl1-mesa-dri']


def package_relations():
    """The packages the .deb depends on and recommends (cmake/package.cmake)."""
    import re
    text = open(os.path.join(os.path.dirname(os.path.dirname(HERE)), 'cmake', 'package.cmake')).read()
    names = []
    for field in ('DEPENDS', 'RECOMMENDS'):
        m = re.search(r'CPACK_DEBIAN_PACKAGE_%s "([^"]*)"' % field, text)
        if m:
            names += [n.strip().split()[0] for n in m.group(1).split(',') if n.strip()]
    return names


def kmsdrm_packages():
    """The packages an image for SDL's KMSDRM display takes files of. The fonts
    come with the image anyway; adb is for Android devices, not the board."""
    skip = ('fonts-', 'fontconfig', 'adb')
    out = []
    for pkg in package_relations() + KMSDRM_PACKAGES:
        if not pkg.startswith(skip) and pkg not in out:
            out.append(pkg)
    return out


def package_files(package):
    r = subprocess.run(['dpkg-query', '-L', package], capture_output=True, text=True)
    return [f for f in r.stdout.splitlines() if os.path.isfile(f) and '/share/doc/' not in f and
            '/lintian/' not in f and '/bug/' not in f and '/man/' not in f]


def image_extras(arch, backend):
    """What a backend adds to the image beyond the program's own library
    closure: (libraries, data files) as (image path, host path), and the roots
    whose libraries come before the sysroot's.

    On the build machine's architecture the packages' files are the installed
    ones; on another, those of a root of the same packages of that architecture
    with their dependencies (target_root), which also gives the libraries they
    need."""
    if backend != 'sdl-kmsdrm':
        return [], [], []
    elves, files, roots = [], [], []
    packages = kmsdrm_packages()
    if arches.ARCHES[arch].native:
        listed = [(f, f) for pkg in packages for f in package_files(pkg)]
    else:
        root = target_root.ensure(arch, 'kmsdrm-root', packages)
        roots.append(root)
        listed = [(f, os.path.join(root, f.lstrip('/'))) for pkg in packages
                  for f in target_root.package_files(root, arch, pkg)]
    for dst, src in listed:
        (elves if '.so' in os.path.basename(dst) else files).append((dst, src))
    return elves, files, roots


class context_t:
    def __init__(self, arch, backend, board, info, work):
        self.arch = arch
        self.backend = backend
        self.board = board
        self.info = info
        self.work = work
        self.figures = {}
        self.refs = {}
        self.history = []
        self.mtouch_started = False

    def act(self, lines, action):
        """Does `action` on the board and records `lines`, the same as
        automation commands, for the headless reference."""
        action()
        self.history += [lines] if isinstance(lines, str) else list(lines)

    def start_vesk(self):
        self.board.sh(backends.command(self.backend))

    def mtouch(self, *commands):
        """Sends commands to the multitouch helper in the guest (started on first use)."""
        if not self.mtouch_started:
            self.board.sh('mkfifo /tmp/mt.in')
            self.board.sh('(/usr/bin/mtouch </tmp/mt.in >/tmp/mt.out 2>&1 &)')
            # The shell keeps the FIFO open, so that the helper reads on.
            self.board.sh('exec 3>/tmp/mt.in')
            self.mtouch_started = True
        for c in commands:
            self.board.sh('echo "%s" >&3' % c)
        time.sleep(0.2)
        out = self.board.sh('cat /tmp/mt.out', check=False)[1]
        if 'error' in out:
            raise vm.board_error('mtouch: ' + out)

    def expect(self, name, timeout=60):
        return self.expect_screen(name, self.reference(self.history), timeout)

    def reference(self, script_lines):
        """The headless screenshot after `script_lines` (automation commands)
        from the program's first page (made once for each history)."""
        key = '\n'.join(script_lines)
        if key in self.refs:
            return self.refs[key]
        name = 'r%03d' % len(self.refs)
        png = os.path.join(self.work, 'ref-%s.png' % name)
        script = os.path.join(self.work, 'ref-%s.ozs' % name)
        with open(script, 'w') as f:
            f.write('\n'.join(list(script_lines) + ['wait 200', 'screenshot ' + png, 'quit']) + '\n')
        cmd = backends.headless_command(self.info['program'], self.info['menu'], script)
        a = arches.ARCHES[self.arch]
        if not a.native:
            cmd = ['qemu-%s-static' % {'arm64': 'aarch64', 'armhf': 'arm'}[self.arch], '-L', a.sysroot] + cmd
        r = subprocess.run(cmd, capture_output=True, text=True, timeout=300)
        if r.returncode != 0 or not os.path.exists(png):
            raise vm.board_error('headless reference %s failed (%d): %s' % (name, r.returncode, r.stderr[-600:]))
        self.refs[key] = pictures.read_png(png)
        return self.refs[key]

    def expect_screen(self, name, ref, timeout=60):
        """Waits until the board shows `ref`; on a mismatch keeps both pictures."""
        start = time.time()
        got = self.board.wait_frame(expected=ref, timeout=timeout)
        n, box = pictures.differences(got, ref)
        if n:
            got.write_ppm(os.path.join(self.work, 'FAIL-%s-board.ppm' % name))
            ref.write_ppm(os.path.join(self.work, 'FAIL-%s-headless.ppm' % name))
            raise vm.board_error('%s: %d pixels differ from the headless screenshot (box %s); see %s' % (
                name, n, box, self.work))
        return time.time() - start

    def vesk_alive(self):
        st, _ = self.board.sh('kill -0 $(cat /tmp/vesk.pid)', check=False)
        return st == 0

    def vesk_log(self):
        return self.board.sh('cat /tmp/vesk.log', check=False)[1]


# Where the root menu's items are (from the headless dump of the same menu).
DISPLAY = (320, 133)
LONG_MENU = (320, 202)
OPTION = (560, 48)
EXIT_VESK = (320, 271)
# The multitouch helper's axes run over 0..4095.
MT_MAX = 4095


def mt_raw(x, y):
    return x * MT_MAX // 639, y * MT_MAX // 799


def check_first_frame(ctx):
    """The first frame equals the headless root menu."""
    t0 = time.time()
    ctx.start_vesk()
    ctx.expect('first_frame', timeout=120)
    ctx.figures['start_to_first_frame_s'] = time.time() - t0


def check_tablet_tap(ctx):
    """A tap of the virtio tablet (BTN_LEFT with ABS_X/ABS_Y) opens a sub-menu."""
    t0 = time.time()
    ctx.act('tap %d %d' % DISPLAY, lambda: ctx.board.tap(*DISPLAY))
    ctx.expect('tablet_tap')
    ctx.figures['tap_to_sub_menu_s'] = time.time() - t0


def check_keys(ctx):
    """The keyboard moves the focus and goes back."""
    ctx.act('key Down', lambda: ctx.board.key('down'))
    ctx.expect('key_down')
    ctx.act('key Escape', lambda: ctx.board.key('esc'))
    ctx.expect('key_back')
    ctx.act('key Down', lambda: ctx.board.key('down'))
    ctx.expect('key_down_root')


def check_drag(ctx):
    """A drag of the tablet scrolls a long menu."""
    ctx.act('tap %d %d' % LONG_MENU, lambda: ctx.board.tap(*LONG_MENU))
    ctx.expect('long_menu')
    steps = [(320, 700 - 45 * i) for i in range(11)]
    lines = ['press 320 700'] + ['move %d %d' % p for p in steps[1:]] + ['release %d %d' % steps[-1]]
    t0 = time.time()
    ctx.act(lines, lambda: ctx.board.drag(320, 700, *steps[-1], steps=10))
    ctx.expect('drag')
    ctx.figures['drag_to_scrolled_frame_s'] = time.time() - t0
    ctx.act('key Escape', lambda: ctx.board.key('esc'))
    ctx.expect('drag_back')


def back_to_root(ctx, name):
    ctx.act('key Escape', lambda: ctx.board.key('esc'))
    ctx.expect(name)


def check_multitouch(ctx):
    """A uinput touch screen made after vesk started (so found by hot-plug):
    protocol B with the first finger in slot 3, two fingers, a release lost
    to SYN_DROPPED, and protocol A."""
    mt = ctx.mtouch
    mt('create b vesk-board-touch')
    x, y = mt_raw(*DISPLAY)
    # Give vesk time to find the new device.
    time.sleep(1.5)
    ctx.act('tap %d %d' % DISPLAY, lambda: mt('down 3 100 %d %d' % (x, y), 'sync', 'up 3', 'sync'))
    ctx.expect('mt_slot3')
    back_to_root(ctx, 'mt_slot3_back')
    # Two fingers: the first (slot 3) is the touch whatever the second does.
    x2, y2 = mt_raw(320, 600)
    ctx.act('tap %d %d' % DISPLAY, lambda: mt(
        'down 3 101 %d %d' % (x, y), 'sync', 'down 5 102 %d %d' % (x2, y2), 'sync',
        'move 5 %d %d' % mt_raw(300, 500), 'sync', 'up 5', 'sync', 'up 3', 'sync'))
    ctx.expect('mt_two_fingers')
    back_to_root(ctx, 'mt_two_back')
    # A drag on an empty part of the page, then, while vesk is stopped, the
    # release followed by more records than the kernel keeps for it.
    a, b = mt_raw(320, 500), mt_raw(320, 600)
    mt('down 0 103 %d %d' % a, 'sync', 'move 0 %d %d' % b, 'sync')
    time.sleep(1.5)
    ctx.board.sh('kill -STOP $(cat /tmp/vesk.pid)')
    mt('up 0', 'sync', 'flood 5000')
    ctx.board.sh('kill -CONT $(cat /tmp/vesk.pid)')
    ctx.history += ['press 320 500', 'move 320 600', 'release 320 600']
    ctx.act('tap %d %d' % DISPLAY, lambda: mt('down 0 104 %d %d' % (x, y), 'sync', 'up 0', 'sync'))
    ctx.expect('mt_syn_dropped')
    back_to_root(ctx, 'mt_dropped_back')
    # The older protocol: contacts ended by SYN_MT_REPORT, an empty report lifts.
    mt('destroy', 'create a vesk-board-touch-a')
    time.sleep(1.5)
    ctx.act('tap %d %d' % DISPLAY, lambda: mt('contact %d %d' % (x, y), 'contact %d %d' % (x2, y2), 'sync',
                                               'sync'))
    ctx.expect('mt_protocol_a')
    back_to_root(ctx, 'mt_a_back')
    mt('destroy')


def check_usb_tablet_hotplug(ctx):
    """A USB tablet plugged in after vesk started works; unplugged, vesk goes on."""
    ctx.board.qmp.cmd('device_add', driver='usb-tablet', id='usbtab', bus='xhci.0', display='gpu0')
    deadline = time.time() + 30
    while 'usb' not in ctx.board.sh('cat /proc/bus/input/devices', check=False)[1].lower():
        if time.time() > deadline:
            raise vm.board_error('the USB tablet did not appear in the guest')
        time.sleep(0.5)
    time.sleep(1.5)
    ctx.act('tap %d %d' % DISPLAY, lambda: ctx.board.tap(*DISPLAY, device='gpu0'))
    ctx.expect('usb_tap')
    ctx.board.qmp.cmd('device_del', id='usbtab')
    time.sleep(2)
    if not ctx.vesk_alive():
        raise vm.board_error('vesk ended when the USB tablet was unplugged')
    back_to_root(ctx, 'usb_unplugged_back')


def check_console_keys(ctx):
    """Ctrl+Alt+Del neither reboots the VM nor Alt+F2 switches the terminal."""
    ctx.board.sh('echo 1 > /proc/sys/kernel/ctrl-alt-del')
    ctx.board.chord('ctrl', 'alt', 'delete')
    time.sleep(2)
    if not ctx.board.is_running():
        raise vm.board_error('Ctrl+Alt+Del rebooted the VM')
    ctx.board.chord('alt', 'f2')
    time.sleep(1)
    active = ctx.board.sh('cat /sys/class/tty/tty0/active')[1].strip()
    if active != 'tty1':
        raise vm.board_error('Alt+F2 switched the terminal to ' + active)
    ctx.expect('console_keys_same_frame')


def wait_console(ctx, name):
    """The screen shows the text console again: not vesk's last frame, and
    (nearly) all black but for text."""
    last = ctx.reference(ctx.history)
    got = ctx.board.wait_frame(changed_from=last, timeout=30)
    if pictures.differences(got, last)[0] == 0 or not pictures.is_mostly_black(got, 0.8):
        got.write_ppm(os.path.join(ctx.work, 'FAIL-%s-board.ppm' % name))
        raise vm.board_error('%s: the screen still shows vesk, not the console' % name)
    mode = ctx.board.sh('/usr/bin/kdmode')[1].strip()
    if mode.split()[0] != 'text' or mode.split()[1] == 'off':
        raise vm.board_error('%s: the console is left in mode "%s"' % (name, mode))


def wait_ended(ctx):
    deadline = time.time() + 30
    while ctx.vesk_alive():
        if time.time() > deadline:
            raise vm.board_error('vesk did not end')
        time.sleep(0.3)


def check_exit_restores_console(ctx):
    """After "Exit vesk" the console is text again."""
    ctx.act('tap %d %d' % OPTION, lambda: ctx.board.tap(*OPTION))
    ctx.expect('option_page')
    ctx.board.tap(*EXIT_VESK)
    wait_ended(ctx)
    wait_console(ctx, 'exit')


def check_sigterm_restores_console(ctx):
    """After SIGTERM the console is text again."""
    ctx.history = []
    ctx.start_vesk()
    ctx.expect('restart_term', timeout=120)
    ctx.board.sh('kill -TERM $(cat /tmp/vesk.pid)')
    wait_ended(ctx)
    wait_console(ctx, 'sigterm')


def check_sigkill_restores_console(ctx):
    """After SIGKILL (the OOM killer, a stop timeout) the console is text again."""
    ctx.history = []
    ctx.start_vesk()
    ctx.expect('restart_kill', timeout=120)
    ctx.board.sh('kill -KILL $(cat /tmp/vesk.pid)')
    wait_ended(ctx)
    wait_console(ctx, 'sigkill')


# The flooding test in the display sub-menu, the execute button and the back button.
YES_FLOOD = (358, 306)
EXECUTE = (320, 167)
BACK = (80, 48)


def check_output_flood(ctx):
    """A test writes without end for 60 s (yes): vesk, which keeps only the
    newest output up to its limit, stays alive, a tap still works after it, and
    the kernel killed nothing for want of memory. Meant for a board with little
    memory (--memory 256); only run when asked for by name (--only)."""
    root_history = list(ctx.history)
    ctx.board.tap(*DISPLAY)
    time.sleep(1)
    ctx.board.tap(*YES_FLOOD)
    time.sleep(2)
    ctx.board.tap(*EXECUTE)
    t0 = time.time()
    peak = 0
    while time.time() - t0 < 90:
        time.sleep(5)
        if not ctx.vesk_alive():
            raise vm.board_error('vesk ended while the test wrote: ' + ctx.vesk_log()[-600:])
        hwm = ctx.board.sh("grep VmHWM /proc/$(cat /tmp/vesk.pid)/status", check=False)[1].split()
        if len(hwm) >= 2 and hwm[1].isdigit():
            peak = max(peak, int(hwm[1]))
        if ctx.board.sh('pidof yes', check=False)[0] != 0 and time.time() - t0 > 55:
            break
    ctx.figures['flood_vesk_peak_kB'] = peak
    time.sleep(2)
    ctx.history = root_history + ['tap %d %d' % DISPLAY, 'tap %d %d' % YES_FLOOD, 'tap %d %d' % BACK]
    ctx.board.tap(*BACK)
    ctx.expect('flood_back_tap', timeout=60)
    oom = ctx.board.sh('dmesg | grep -i -E "out of memory|oom-kill|killed process"', check=False)[1].strip()
    if oom:
        raise vm.board_error('the kernel log reports: ' + oom[-600:])
    ctx.act('key Escape', lambda: ctx.board.key('esc'))
    ctx.expect('flood_root')


def check_terminal_switch(ctx):
    """drm: switching to another terminal and back (chvt from the serial
    shell) lets go of the display and takes it back with a full repaint."""
    if ctx.backend != 'drm':
        return 'only for drm'
    before = ctx.board.screendump('vt-before.ppm')
    ctx.board.sh('chvt 2')
    away = ctx.board.wait_frame(changed_from=before, timeout=20)
    if pictures.differences(away, before)[0] == 0:
        raise vm.board_error('chvt 2 left vesk\'s picture on the screen')
    if not ctx.vesk_alive():
        raise vm.board_error('vesk ended on the switch away: ' + ctx.vesk_log()[-600:])
    t0 = time.time()
    ctx.board.sh('chvt 1')
    ctx.expect('terminal_back', timeout=30)
    ctx.figures['vt_back_to_picture_s'] = time.time() - t0


def check_display_held(ctx):
    """drm: a second vesk finds the display held by the first, says so naming
    it (from debugfs), and ends without disturbing the first one's picture."""
    if ctx.backend != 'drm':
        return 'only for drm'
    ctx.board.sh('mountpoint -q /sys/kernel/debug || mount -t debugfs none /sys/kernel/debug', check=False)
    pid = ctx.board.sh('cat /tmp/vesk.pid')[1].split()[-1]
    b = backends.BACKENDS[ctx.backend]
    cmd = ' '.join(['/usr/bin/vesk', '--dir=/menu', backends.FONT_OPTION] + b.options +
                   ['</dev/null', '>/tmp/second.log', '2>&1'])
    st, _ = ctx.board.sh(cmd, check=False)
    text = ctx.board.sh('cat /tmp/second.log', check=False)[1]
    expected = ('The display card /dev/dri/card0 is held by another program (vesk (pid %s)); stop it first.'
                % pid)
    if st == 0 or expected not in text:
        raise vm.board_error('a second vesk (status %d) said: %s' % (st, text[-600:]))
    if not ctx.vesk_alive():
        raise vm.board_error('the first vesk ended')
    ctx.expect('display_held_same_frame')


def uptime(ctx):
    return float(ctx.board.sh('cut -d" " -f1 /proc/uptime')[1].split()[-1])


def timed_run(ctx, name, lines, repeat, first=()):
    """Seconds a run of vesk in the foreground takes with the automation
    `lines` `repeat` times over, after the lines `first` (then quit)."""
    path = '/tmp/%s.ozs' % name
    # Written by a loop in the guest: the serial line takes a few KiB at most.
    ctx.board.sh("printf '%%s\\n' %s > %s; i=0; while [ $i -lt %d ]; do printf '%%s\\n' %s; i=$((i+1)); "
                 "done >> %s; echo quit >> %s" % (' '.join("'%s'" % l for l in first) or "''", path, repeat,
                                                   ' '.join("'%s'" % l for l in lines), path, path))
    b = backends.BACKENDS[ctx.backend]
    cmd = ' '.join(([b.env] if b.env else []) + ['/usr/bin/vesk', '--dir=/menu', backends.FONT_OPTION] +
                   b.options + ['--ozgi-script=' + path, '</dev/null', '>/tmp/vesk.log', '2>&1'])
    t0 = uptime(ctx)
    ctx.board.sh(cmd, timeout=600)
    return uptime(ctx) - t0


# A drag over the long menu, one frame after each move: up by 450 pixels in
# ten steps and down again, so that every round starts where the one before did.
DRAG_ROUND = (['press 320 700', 'wait 1'] +
              [line for y in [700 - 45 * i for i in range(1, 11)] + [250 + 45 * i for i in range(1, 11)]
               for line in ('move 320 %d' % y, 'wait 1')] +
              ['release 320 700', 'wait 1'])
DRAG_ROUND_FRAMES = 20


def check_figures(ctx):
    """Figures, not checks: the idle CPU of a running vesk, and the time a focus
    move, a full repaint (a page opened or closed) and a frame of a drag take:
    the difference between a long and a short run of each, so that starting and
    ending cancel."""
    if ctx.backend == 'sdl-kmsdrm' and os.environ.get('VESK_BOARD_FIGURES') != '1':
        # Mesa's software GL under emulation makes these runs take ~9 minutes.
        return 'VESK_BOARD_FIGURES=1 measures sdl-kmsdrm too'
    if not ctx.vesk_alive():
        # Started for the figures alone: the idle time counts from its first frame.
        ctx.history = []
        t0 = time.time()
        ctx.start_vesk()
        ctx.expect('figures_first_frame', timeout=120)
        ctx.figures['start_to_first_frame_s'] = time.time() - t0
        time.sleep(1)
    pid = ctx.board.sh('cat /tmp/vesk.pid')[1].split()[-1]
    ticks = "awk '{print $14+$15}' /proc/%s/stat" % pid
    a = int(ctx.board.sh(ticks)[1].split()[-1])
    t0 = uptime(ctx)
    time.sleep(10)
    b = int(ctx.board.sh(ticks)[1].split()[-1])
    # The kernel counts CPU time in ticks of 1/100 s in /proc.
    ctx.figures['idle_cpu_percent'] = (b - a) / (uptime(ctx) - t0)
    ctx.board.sh('kill -TERM %s; while kill -0 %s 2>/dev/null; do sleep 0.1; done' % (pid, pid))
    focus = ['key Down', 'wait 1', 'key Up', 'wait 1']
    pages = ['tap %d %d' % LONG_MENU, 'wait 1', 'key Escape', 'wait 1']
    short, long_ = timed_run(ctx, 'focus50', focus, 50), timed_run(ctx, 'focus250', focus, 250)
    ctx.figures['focus_move_ms'] = (long_ - short) * 1000.0 / 400
    short, long_ = timed_run(ctx, 'pages50', pages, 50), timed_run(ctx, 'pages150', pages, 150)
    ctx.figures['full_repaint_ms'] = (long_ - short) * 1000.0 / 200
    # The press and the release of each round are in both runs' differences
    # too: a frame of a drag is counted with a twentieth of them.
    into = ['tap %d %d' % LONG_MENU, 'wait 1']
    short, long_ = (timed_run(ctx, 'drag10', DRAG_ROUND, 10, into), timed_run(ctx, 'drag40', DRAG_ROUND, 40, into))
    ctx.figures['drag_frame_ms'] = (long_ - short) * 1000.0 / (30 * DRAG_ROUND_FRAMES)


def check_kmsdrm_names_a_missing_library(ctx):
    """Without libGL SDL's KMSDRM display would stay black, saying nothing:
    vesk ends with a message naming the library and its package."""
    if ctx.backend != 'sdl-kmsdrm':
        return 'only for sdl-kmsdrm'
    if ctx.vesk_alive():
        ctx.board.sh('kill -TERM $(cat /tmp/vesk.pid)')
        wait_ended(ctx)
    lib = ctx.board.sh('ls /usr/lib/*/libGL.so.1')[1].strip()
    ctx.board.sh('mv %s /tmp/libGL.so.1' % lib)
    try:
        ctx.start_vesk()
        wait_ended(ctx)
        log = ctx.vesk_log()
    finally:
        ctx.board.sh('mv /tmp/libGL.so.1 %s' % lib)
    want = "Can't draw through SDL's KMSDRM driver: missing libGL.so.1 (libgl1)."
    if want not in log:
        raise vm.board_error('no message naming libGL; vesk said:\n' + log[-800:])



# Checks run only when --only names them: the flood wants a board with little
# memory, and the figures are measurements that take a minute per backend.
OPT_IN = [check_output_flood, check_figures]

CHECKS = [check_first_frame, check_tablet_tap, check_keys, check_drag, check_multitouch,
          check_usb_tablet_hotplug, check_console_keys, check_terminal_switch, check_display_held,
          check_exit_restores_console, check_sigterm_restores_console, check_sigkill_restores_console,
          check_kmsdrm_names_a_missing_library, check_output_flood, check_figures]


def run_all(arch, backend, kernel, initrd, info, work, memory, only):
    os.makedirs(work, exist_ok=True)
    failed = []
    board = vm.board_t(arch, kernel, initrd, os.path.join(work, 'vm'), memory=memory)
    try:
        boot = board.wait_booted()
        log('%s/%s: booted in %.1f s' % (arch, backend, boot))
        ctx = context_t(arch, backend, board, info, work)
        ctx.figures['boot_s'] = boot
        for check in CHECKS:
            name = check.__name__[len('check_'):]
            if only and name not in only:
                continue
            if check in OPT_IN and not (only and name in only):
                continue
            t0 = time.time()
            try:
                why = check(ctx)
                if why:
                    log('%s/%s: SKIP %s (%s)' % (arch, backend, name, why))
                    continue
                log('%s/%s: PASS %s (%.1f s)' % (arch, backend, name, time.time() - t0))
            except (vm.board_error, AssertionError) as e:
                log('%s/%s: FAIL %s: %s' % (arch, backend, name, e))
                failed.append('%s/%s/%s' % (arch, backend, name))
                if not board.is_running():
                    break
                try:
                    log('vesk log:\n' + ctx.vesk_log()[-1500:])
                except vm.board_error:
                    break
        for k, v in sorted(ctx.figures.items()):
            log('%s/%s: figure %s = %s' % (arch, backend, k, ('%.2f' % v) if isinstance(v, float) else v))
    finally:
        board.stop()
    return failed
