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


CHECKS = [check_first_frame]


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
