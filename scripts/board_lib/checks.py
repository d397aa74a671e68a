"""The checks run on a booted board, one boot per backend, chained: each
starts from the state the one before left (the root menu, vesk running).

A check is a function check_NAME(ctx) in CHECKS order; it raises
vm.board_error (or AssertionError) on failure. ctx holds the board, the
backend and the headless reference pictures."""
import os
import subprocess
import time

from . import arches, backends, pictures, vm


def log(text):
    print('board: ' + text, flush=True)


def image_extras(arch, backend):
    """(programs, trees) a backend adds to the image beyond the program's own
    library closure."""
    return [], []


class context_t:
    def __init__(self, arch, backend, board, info, work):
        self.arch = arch
        self.backend = backend
        self.board = board
        self.info = info
        self.work = work
        self.figures = {}
        self.refs = {}

    def reference(self, name, script_lines):
        """The headless screenshot after `script_lines` (automation commands)
        from the program's first page, made once per name."""
        if name in self.refs:
            return self.refs[name]
        png = os.path.join(self.work, 'ref-%s.png' % name)
        script = os.path.join(self.work, 'ref-%s.ozs' % name)
        with open(script, 'w') as f:
            f.write('\n'.join(list(script_lines) + ['screenshot ' + png, 'quit']) + '\n')
        cmd = backends.headless_command(self.info['program'], self.info['menu'], script)
        a = arches.ARCHES[self.arch]
        if not a.native:
            cmd = ['qemu-%s-static' % {'arm64': 'aarch64'}[self.arch], '-L', a.sysroot] + cmd
        r = subprocess.run(cmd, capture_output=True, text=True, timeout=300)
        if r.returncode != 0 or not os.path.exists(png):
            raise vm.board_error('headless reference %s failed (%d): %s' % (name, r.returncode, r.stderr[-600:]))
        self.refs[name] = pictures.read_png(png)
        return self.refs[name]

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


def check_first_frame(ctx):
    """The first frame equals the headless root menu."""
    ref = ctx.reference('root', [])
    t0 = time.time()
    ctx.board.sh(backends.command(ctx.backend))
    ctx.expect_screen('first_frame', ref, timeout=120)
    ctx.figures['start_to_first_frame_s'] = time.time() - t0


# Where the root menu's items are (the headless dump of the board's menu).
LONG_MENU_ITEM = (320, 200)
OPTION_BUTTON = (560, 48)
EXIT_ITEM = (320, 270)
DRAG = (320, 700, 320, 300, 10)


def drag_script(x0, y0, x1, y1, steps):
    """The automation lines of the drag board_t.drag makes."""
    lines = ['press %d %d' % (x0, y0)]
    for i in range(1, steps + 1):
        lines.append('move %d %d' % (x0 + (x1 - x0) * i // steps, y0 + (y1 - y0) * i // steps))
    lines.append('release %d %d' % (x1, y1))
    return lines


# The automation lines that lead to what the board shows now; the checks of
# input add to them, later checks compare with them.
INPUT_STEPS = []


def check_keys_taps_drags(ctx):
    """A key moves the focus, a tap opens a menu, a drag scrolls it, a key goes
    back: after each the board shows what the headless program shows."""
    steps = []
    ctx.board.key('down')
    steps.append('key Down')
    ctx.expect_screen('key_down', ctx.reference('key_down', steps))
    ctx.board.tap(*LONG_MENU_ITEM)
    steps.append('tap %d %d' % LONG_MENU_ITEM)
    ctx.expect_screen('tap', ctx.reference('tap', steps))
    ctx.board.drag(*DRAG)
    steps += drag_script(*DRAG)
    ctx.expect_screen('drag', ctx.reference('drag', steps))
    ctx.board.key('esc')
    steps.append('key Escape')
    ctx.expect_screen('key_back', ctx.reference('key_back', steps))
    INPUT_STEPS[:] = steps


def check_terminal_switch(ctx):
    """drm: switching to another terminal and back repaints the whole picture."""
    if ctx.backend != 'drm':
        log('%s: terminal switching is the drm backend\'s' % ctx.backend)
        return
    ref = ctx.reference('now', INPUT_STEPS) if INPUT_STEPS else ctx.reference('root', [])
    before = ctx.board.screendump('vt-before.ppm')
    ctx.board.sh('chvt 2')
    away = ctx.board.wait_frame(changed_from=before, timeout=20)
    if pictures.differences(away, before)[0] == 0:
        raise vm.board_error('chvt 2 left vesk\'s picture on the screen')
    if not ctx.vesk_alive():
        raise vm.board_error('vesk ended on the switch away: ' + ctx.vesk_log()[-600:])
    t0 = time.time()
    ctx.board.sh('chvt 1')
    ctx.expect_screen('terminal_back', ref, timeout=30)
    ctx.figures['vt_back_to_picture_s'] = time.time() - t0


def console_is_back(ctx, how):
    """After vesk ended: the console prints on the screen again."""
    st, _ = ctx.board.sh('i=0; while kill -0 $(cat /tmp/vesk.pid) 2>/dev/null && [ $i -lt 100 ]; do '
                         'sleep 0.1; i=$((i+1)); done; ! kill -0 $(cat /tmp/vesk.pid) 2>/dev/null', check=False)
    if st != 0:
        raise vm.board_error('vesk did not end after %s' % how)
    before = ctx.board.wait_frame(settle=0.5, timeout=10)
    ctx.board.sh('printf "\\033[2J\\033[Hconsole back after %s\\n" > /dev/tty1' % how)
    after = ctx.board.wait_frame(changed_from=before, timeout=10)
    if pictures.differences(after, before)[0] == 0:
        raise vm.board_error('after %s the console does not print on the screen' % how)


def restart(ctx):
    ctx.board.sh(backends.command(ctx.backend))
    ctx.expect_screen('restart', ctx.reference('root', []), timeout=120)


def check_console_after_exit(ctx):
    """Exit vesk from its option page: the console comes back."""
    ctx.board.tap(*OPTION_BUTTON)
    ctx.board.wait_frame(changed_from=ctx.reference('root', []), timeout=20)
    ctx.board.tap(*EXIT_ITEM)
    console_is_back(ctx, 'Exit')
    restart(ctx)


def check_console_after_sigterm(ctx):
    """SIGTERM: vesk ends and the console comes back."""
    ctx.board.sh('kill -TERM $(cat /tmp/vesk.pid)')
    console_is_back(ctx, 'SIGTERM')
    restart(ctx)


def check_console_after_sigkill(ctx):
    """SIGKILL: the console comes back all the same."""
    ctx.board.sh('kill -KILL $(cat /tmp/vesk.pid)')
    console_is_back(ctx, 'SIGKILL')
    restart(ctx)


def uptime(ctx):
    return float(ctx.board.sh('cut -d" " -f1 /proc/uptime')[1].split()[-1])


def timed_run(ctx, name, lines):
    """Seconds a run of vesk takes with the automation `lines` (then quit)."""
    path = '/tmp/%s.ozs' % name
    ctx.board.sh("printf '%%s\\n' %s > %s" % (' '.join("'%s'" % l for l in lines + ['quit']), path))
    cmd = backends.command(ctx.backend, extra=['--ozgi-script=' + path]).replace(' & echo $! >/tmp/vesk.pid', '')
    t0 = uptime(ctx)
    ctx.board.sh(cmd.replace('exec ', '').lstrip('(').rstrip(')'), timeout=600)
    return uptime(ctx) - t0


def check_figures(ctx):
    """Figures, not checks: the idle CPU of a running vesk, and the time a focus
    move and a full repaint (a page opened or closed) take, from runs of 100
    of each less a run that only starts and ends."""
    if not ctx.vesk_alive():
        restart(ctx)
    pid = ctx.board.sh('cat /tmp/vesk.pid')[1].split()[-1]
    ticks = "awk '{print $14+$15}' /proc/%s/stat" % pid
    hz = 100.0
    a = int(ctx.board.sh(ticks)[1].split()[-1])
    t0 = uptime(ctx)
    time.sleep(10)
    b = int(ctx.board.sh(ticks)[1].split()[-1])
    ctx.figures['idle_cpu_percent'] = 100.0 * (b - a) / hz / (uptime(ctx) - t0)
    ctx.board.sh('kill -TERM %s; while kill -0 %s 2>/dev/null; do sleep 0.1; done' % (pid, pid))
    base = timed_run(ctx, 'base', [])
    focus = timed_run(ctx, 'focus', ['key Down', 'wait 1', 'key Up', 'wait 1'] * 50)
    pages = timed_run(ctx, 'pages', ['tap %d %d' % LONG_MENU_ITEM, 'wait 1', 'key Escape', 'wait 1'] * 50)
    ctx.figures['focus_move_ms'] = (focus - base) * 1000.0 / 100
    ctx.figures['full_repaint_ms'] = (pages - base) * 1000.0 / 100
    ctx.figures['start_and_quit_s'] = base
    restart(ctx)


CHECKS = [check_first_frame, check_keys_taps_drags, check_terminal_switch, check_console_after_exit,
          check_console_after_sigterm, check_console_after_sigkill, check_figures]


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
            t0 = time.time()
            try:
                check(ctx)
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
