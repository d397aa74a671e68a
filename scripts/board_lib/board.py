"""scripts/board ARCH [--test] [BACKEND ...]: makes the board image, boots it
and (with --test) runs every check on each backend, one boot per backend."""
import argparse
import os
import shutil
import subprocess
import sys
import time

from . import arches, backends, checks, helpers, image, menu, vm

ROOT = image.ROOT


def log(text):
    print('board: ' + text, flush=True)


def build_program(arch):
    """The vesk program of ARCH, built if needed; VESK_BOARD_PROGRAM names one."""
    given = os.environ.get('VESK_BOARD_PROGRAM')
    if given:
        return given
    if arch == 'amd64':
        build = os.environ.get('VESK_BUILD_DIR', os.path.join(ROOT, 'build'))
        if not os.path.exists(os.path.join(build, 'CMakeCache.txt')):
            subprocess.run([os.path.join(ROOT, 'scripts', 'setup')], check=True)
        subprocess.run(['cmake', '--build', build, '-j%d' % os.cpu_count(), '--target', 'vesk'], check=True,
                       stdout=subprocess.DEVNULL)
        return os.path.join(build, 'vesk')
    r = subprocess.run([os.path.join(ROOT, 'scripts', 'cross'), arch])
    if r.returncode != 0:
        # 75: the Debian archive was being synchronised; the caller may retry.
        sys.exit(r.returncode)
    return os.path.join(ROOT, 'build-' + arch, 'vesk')


def prepare(arch, backend_names, work):
    """Builds what the image holds and writes it; returns (kernel, initrd, info)."""
    # The cross sysroot is looked for only when asked (arches.arch_t.sysroot):
    # a clean clone has it only once this build has made it.
    program = build_program(arch)
    menu_dir = menu.make(os.path.join(work, 'menu'))
    helper = helpers.build_mtouch(arch, work)
    extra = [('/usr/bin/mtouch', helper), ('/usr/bin/kdmode', helpers.build(arch, work, 'kdmode'))]
    elves, files, roots = [], [], []
    for name in backend_names:
        e, f, r = checks.image_extras(arch, name)
        elves += e
        files += f
        roots += [d for d in r if d not in roots]
    initrd = os.path.join(work, 'initrd.cpio')
    t0 = time.time()
    kernel, libs = image.make(arch, program, initrd, menu_dir, extra_elves=elves, helpers=extra,
                              extra_files=files, lib_roots=roots)
    info = {'program': program, 'menu': menu_dir, 'initrd_bytes': os.path.getsize(initrd),
            'kernel_bytes': os.path.getsize(kernel), 'libs': libs, 'image_seconds': time.time() - t0}
    return kernel, initrd, info


def system(arch, test):
    """The installed system: image made with the package, booted under systemd."""
    t0 = time.time()
    subprocess.run([os.path.join(ROOT, 'scripts', 'system-image'), arch], check=True)
    log('system image made in %.0f s' % (time.time() - t0))
    cmd = [os.path.join(ROOT, 'scripts', 'system-test'), arch]
    if not test:
        cmd.append('--keep')
    return subprocess.run(cmd).returncode


def main(argv):
    p = argparse.ArgumentParser(prog='scripts/board', description=__doc__)
    p.add_argument('arch', choices=sorted(arches.ARCHES))
    p.add_argument('--test', action='store_true', help='run the checks, then stop the VM')
    p.add_argument('--memory', type=int, default=0,
                   help='the VM memory in MB (default 512; 1024 with sdl-kmsdrm, whose Mesa and LLVM '
                   'the initramfs holds)')
    p.add_argument('--only', default='', help='comma-separated names of the checks to run')
    p.add_argument('--system', action='store_true',
                   help='a Debian 12 system with the vesk package and its boot service instead '
                        '(scripts/system-image, scripts/system-test)')
    p.add_argument('backends', nargs='*', help='drm, fbdev, sdl-kmsdrm (default: all three on amd64 and arm64, drm and fbdev on armhf)')
    a = p.parse_intermixed_args(argv)
    if a.system:
        return system(a.arch, a.test)
    names = a.backends or list(backends.DEFAULT_BACKENDS[a.arch])
    for n in names:
        if n not in backends.BACKENDS:
            p.error('unknown backend %s (%s)' % (n, ', '.join(backends.BACKENDS)))
    if not a.memory:
        a.memory = 1024 if 'sdl-kmsdrm' in names else 512
    work = os.path.join(ROOT, 'build-board', a.arch)
    os.makedirs(work, exist_ok=True)
    kernel, initrd, info = prepare(a.arch, names, work)
    log('image: kernel %d KiB, initramfs %d KiB (%d libraries), made in %.1f s' % (
        info['kernel_bytes'] // 1024, info['initrd_bytes'] // 1024, len(info['libs']), info['image_seconds']))
    if not a.test:
        board = vm.board_t(a.arch, kernel, initrd, os.path.join(work, 'vm'), memory=a.memory)
        board.wait_booted()
        board.sh(backends.command(names[0]))
        log('running %s on %s (pid %d)' % (names[0], a.arch, board.proc.pid))
        log('QMP:    socat - UNIX-CONNECT:%s   (then {"execute":"qmp_capabilities"})' % board.qmp_path)
        log('serial: socat -,raw,echo=0 UNIX-CONNECT:%s   (a root shell; log in %s)' % (
            board.serial_path, board.serial_log))
        log('stop:   kill %d' % board.proc.pid)
        board.qmp.close()
        board.serial.sock.close()
        return 0
    failed = []
    for name in names:
        failed += checks.run_all(a.arch, name, kernel, initrd, info, os.path.join(work, name), a.memory,
                                 [c for c in a.only.split(',') if c])
    if failed:
        log('FAILED: ' + ', '.join(failed))
        return 1
    log('all checks passed on %s (%s)' % (a.arch, ', '.join(names)))
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
