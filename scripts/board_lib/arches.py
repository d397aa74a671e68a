"""The architectures a board can be made for. To add one, add an entry to
ARCHES: how QEMU runs it, where its libraries are, how its program is built."""
import glob
import os
import subprocess

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
KERNEL_SERIES = '6.1.0-'


def _apt_env(arch, cache):
    """apt options for a private package list of a foreign architecture (this
    machine's dpkg knows only its own; nothing is installed)."""
    state = os.path.join(cache, 'apt')
    for d in ('lists/partial', 'cache/archives/partial', 'etc'):
        os.makedirs(os.path.join(state, d), exist_ok=True)
    src = os.path.join(state, 'etc', 'sources.list')
    if not os.path.exists(src):
        with open(src, 'w') as f:
            f.write('deb http://deb.debian.org/debian bookworm main\n'
                    'deb http://deb.debian.org/debian bookworm-updates main\n'
                    'deb http://deb.debian.org/debian-security bookworm-security main\n')
    return ['-o', 'APT::Architecture=' + arch, '-o', 'APT::Architectures=' + arch,
            '-o', 'Dir::State::Lists=' + os.path.join(state, 'lists'),
            '-o', 'Dir::State::status=/dev/null',
            '-o', 'Dir::Cache=' + os.path.join(state, 'cache'),
            '-o', 'Dir::Etc::SourceList=' + src, '-o', 'Dir::Etc::SourceParts=/nonexistent',
            '-o', 'Debug::NoLocking=1']


def _download(arch, cache, package, native):
    """The .deb of `package` for `arch` in `cache`, downloaded once with apt-get."""
    os.makedirs(cache, exist_ok=True)
    have = glob.glob(os.path.join(cache, package + '_*_' + arch + '.deb'))
    if have:
        return sorted(have)[-1]
    opts = [] if native else _apt_env(arch, cache)
    if not native and not glob.glob(os.path.join(cache, 'apt', 'lists', '*_Packages*')):
        # An index that can't be had (one of another suite caught in a mirror
        # sync, say) matters only if the package is then not found.
        r = subprocess.run(['apt-get', '-q'] + opts + ['update'], stdout=subprocess.DEVNULL)
        if r.returncode != 0:
            print('board: apt-get update of %s failed for some index; going on with the others' % arch, flush=True)
    subprocess.run(['apt-get', '-q'] + opts + ['download', package], check=True, cwd=cache,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return sorted(glob.glob(os.path.join(cache, package + '_*_' + arch + '.deb')))[-1]


def _kernel_package(arch, flavour, cache, native):
    """The versioned kernel package the meta package linux-image-FLAVOUR names."""
    opts = [] if native else _apt_env(arch, cache)
    if not native:
        _download(arch, cache, 'busybox-static', native)  # makes sure the lists exist
    r = subprocess.run(['apt-cache'] + opts + ['depends', 'linux-image-' + flavour], capture_output=True,
                       text=True, check=True)
    for line in r.stdout.splitlines():
        line = line.strip()
        if line.startswith('Depends: linux-image-'):
            return line.split()[1]
    raise RuntimeError('no kernel package behind linux-image-' + flavour)


class arch_t:
    def __init__(self, name, qemu, machine, console, sysroot, lib_dirs, cc, native, flavour=None):
        self.name = name
        self.flavour = flavour or name  # Debian's kernel flavour (linux-image-FLAVOUR)
        self.qemu = qemu            # the qemu-system program
        self.machine = machine      # its machine and CPU options
        self.console = console      # the serial console's device name in the guest
        self._sysroot = sysroot     # where its libraries are found on this machine (or a function saying it)
        self.lib_dirs = lib_dirs    # the loader's directories, inside the sysroot
        self.cc = cc                # a C compiler for static helpers
        self.native = native

    @property
    def sysroot(self):
        """Looked for when asked: scripts/cross makes a cross sysroot only after the start."""
        return self._sysroot() if callable(self._sysroot) else self._sysroot

    def fetch_kernel(self, cache):
        have = glob.glob(os.path.join(cache, 'linux-image-*_' + self.name + '.deb'))
        if have:
            return sorted(have)[-1]
        return _download(self.name, cache, _kernel_package(self.name, self.flavour, cache, self.native),
                         self.native)

    def fetch_busybox(self, cache):
        return _download(self.name, cache, 'busybox-static', self.native)


def _sysroot(arch, triplet):
    """The cross sysroot of ARCH that scripts/cross makes (VESK_ARCH_SYSROOT names another)."""
    for d in (os.environ.get('VESK_%s_SYSROOT' % arch.upper(), ''), os.path.join(ROOT, 'build-sysroot-' + arch),
              os.path.join(ROOT, '.cache', 'sysroot', arch)):
        if d and os.path.isdir(os.path.join(d, 'usr', 'lib', triplet)):
            return d
    return '/nonexistent-%s-sysroot' % arch


ARCHES = {
    'amd64': arch_t('amd64', 'qemu-system-x86_64', ['-M', 'pc', '-vga', 'none', '-cpu', 'max'], 'ttyS0', '/',
                    ['/lib/x86_64-linux-gnu', '/usr/lib/x86_64-linux-gnu', '/lib64', '/lib'], 'gcc', True),
    'arm64': arch_t('arm64', 'qemu-system-aarch64', ['-M', 'virt', '-cpu', 'cortex-a53'], 'ttyAMA0',
                    lambda: _sysroot('arm64', 'aarch64-linux-gnu'),
                    ['/lib/aarch64-linux-gnu', '/usr/lib/aarch64-linux-gnu', '/lib'], 'aarch64-linux-gnu-gcc', False),
    # 32-bit ARM boards: Debian's multiplatform ARMv7 kernel on QEMU's virt machine, its PCI
    # configuration space kept below 4 GiB (highmem=off), where a kernel without LPAE reaches it.
    'armhf': arch_t('armhf', 'qemu-system-arm', ['-M', 'virt,highmem=off', '-cpu', 'cortex-a15'], 'ttyAMA0',
                    lambda: _sysroot('armhf', 'arm-linux-gnueabihf'),
                    ['/lib/arm-linux-gnueabihf', '/usr/lib/arm-linux-gnueabihf', '/lib'], 'arm-linux-gnueabihf-gcc',
                    False, flavour='armmp'),
}
