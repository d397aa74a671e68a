"""Makes the board's boot image: an initramfs holding busybox, the kernel's
modules it needs, the program with its library closure, the fonts and a menu.

Everything comes from Debian packages: the kernel and busybox are downloaded
once into a cache and extracted there; the libraries come from the build
machine (amd64) or from the cross sysroot (other architectures).
"""
import os
import re
import shutil
import stat
import subprocess

from . import arches

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
CACHE = os.path.join(ROOT, '.cache', 'board')

# The modules the board loads, in the order the init script asks for them
# (their dependencies come first, found by modprobe from modules.dep).
MODULES = ['virtio_pci', 'virtio-gpu', 'virtio_input', 'evdev', 'uinput', 'xhci-pci', 'usbhid',
           'hid-generic', 'virtio_console']

FONTS = ['/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf', '/usr/share/fonts/truetype/wqy/wqy-microhei.ttc']


def run(cmd, **kw):
    return subprocess.run(cmd, check=True, **kw)


def extract(deb, into):
    if not os.path.isdir(into):
        tmp = into + '.part'
        shutil.rmtree(tmp, ignore_errors=True)
        os.makedirs(tmp)
        run(['dpkg-deb', '-x', deb, tmp])
        os.rename(tmp, into)
    return into


def kernel_tree(arch):
    """The extracted kernel package of ARCH (vmlinuz and modules, depmod run)."""
    a = arches.ARCHES[arch]
    cache = os.path.join(CACHE, arch)
    deb = a.fetch_kernel(cache)
    tree = extract(deb, os.path.join(cache, 'kernel'))
    release = os.listdir(os.path.join(tree, 'lib', 'modules'))[0]
    if not os.path.exists(os.path.join(tree, 'lib', 'modules', release, 'modules.dep')):
        run(['depmod', '-b', tree, release])
    return tree, release


def busybox(arch):
    a = arches.ARCHES[arch]
    cache = os.path.join(CACHE, arch)
    deb = a.fetch_busybox(cache)
    tree = extract(deb, os.path.join(cache, 'busybox'))
    return os.path.join(tree, 'bin', 'busybox')


def module_files(tree, release, names):
    """The module files for `names` with their dependencies, in load order."""
    out = []
    for name in names:
        r = subprocess.run(['modprobe', '-d', tree, '-S', release, '--show-depends', name],
                           capture_output=True, text=True)
        for line in r.stdout.splitlines():
            parts = line.split()
            if parts and parts[0] == 'insmod' and parts[1] not in out:
                out.append(parts[1])
    return out


def needed(path):
    """The DT_NEEDED names of an ELF file and its RUNPATH/RPATH directories."""
    r = subprocess.run(['readelf', '-d', path], capture_output=True, text=True)
    names = re.findall(r'\(NEEDED\)\s+Shared library: \[([^\]]+)\]', r.stdout)
    paths = []
    for p in re.findall(r'\((?:RUNPATH|RPATH)\)\s+Library (?:runpath|rpath): \[([^\]]+)\]', r.stdout):
        paths += [d for d in p.split(':') if d and '$' not in d]
    return names, paths


def interpreter(path):
    r = subprocess.run(['readelf', '-l', path], capture_output=True, text=True)
    m = re.search(r'Requesting program interpreter: ([^\]]+)\]', r.stdout)
    return m.group(1) if m else None


def library_closure(elf_files, sysroots, lib_dirs):
    """Every library the ELF files need, as (image path, host path) with the
    host path under the first of `sysroots` that has it, following symbolic
    links (the image keeps the names the loader looks for)."""
    found = {}
    todo = list(elf_files)
    seen = set()
    while todo:
        f = todo.pop()
        if f in seen:
            continue
        seen.add(f)
        names, runpath = needed(f)
        for name in names:
            if name in found:
                continue
            for sysroot in sysroots:
                for d in runpath + list(lib_dirs):
                    p = os.path.join(sysroot, d.lstrip('/'), name)
                    if os.path.exists(p):
                        found[name] = (os.path.join(d, name), os.path.realpath(p))
                        todo.append(os.path.realpath(p))
                        break
                if name in found:
                    break
            else:
                raise FileNotFoundError('library %s (needed by %s) not found under %s' % (
                    name, f, ', '.join(sysroots)))
    return sorted(found.values())


class cpio_writer:
    """A newc cpio archive, the kernel's initramfs format, written directly so
    that owners and modes are right without root or fakeroot."""

    def __init__(self, path):
        self.f = open(path, 'wb')
        self.ino = 1
        self.names = set()

    def _entry(self, name, mode, data=b'', nlink=1):
        name = name.lstrip('/')
        if name in self.names:
            return
        self.names.add(name)
        nb = name.encode() + b'\0'
        hdr = '070701' + ''.join('%08X' % v for v in (
            self.ino, mode, 0, 0, nlink, 0, len(data), 0, 0, 0, 0, len(nb), 0))
        self.ino += 1
        self.f.write(hdr.encode() + nb)
        self.f.write(b'\0' * ((4 - (110 + len(nb)) % 4) % 4))
        self.f.write(data)
        self.f.write(b'\0' * ((4 - len(data) % 4) % 4))

    def dir(self, name):
        parts = name.strip('/').split('/')
        for i in range(1, len(parts) + 1):
            self._entry('/'.join(parts[:i]), stat.S_IFDIR | 0o755, nlink=2)

    def file(self, name, data, mode=0o644):
        self.dir(os.path.dirname(name.strip('/')) or '.')
        self._entry(name, stat.S_IFREG | mode, data)

    def copy(self, name, src, mode=None):
        with open(src, 'rb') as f:
            data = f.read()
        self.file(name, data, mode if mode is not None else (stat.S_IMODE(os.stat(src).st_mode)))

    def symlink(self, name, target):
        self.dir(os.path.dirname(name.strip('/')) or '.')
        self._entry(name, stat.S_IFLNK | 0o777, target.encode())

    def tree(self, name, src):
        """Copies a directory tree (files, directories and symbolic links)."""
        self.dir(name)
        for entry in sorted(os.listdir(src)):
            s = os.path.join(src, entry)
            n = name.rstrip('/') + '/' + entry
            if os.path.islink(s):
                self.symlink(n, os.readlink(s))
            elif os.path.isdir(s):
                self.tree(n, s)
            else:
                self.copy(n, s)

    def close(self):
        self._entry('TRAILER!!!', 0, nlink=1)
        self.f.write(b'\0' * ((512 - self.f.tell() % 512) % 512))
        self.f.close()


INIT = r'''#!/bin/busybox sh
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
mkdir -p /dev/pts /tmp /run
mount -t devpts devpts /dev/pts
mount -t tmpfs tmp /tmp
while read m; do insmod "$m" 2>/dev/null; done < /etc/modules.list
# Keys the console sees: Ctrl+Alt+Del reboots at once (as on a board whose init
# reboots on it), so a key that leaks to the console shows.
echo 1 > /proc/sys/kernel/ctrl-alt-del
# The devices appear as their drivers bind: wait for the display and inputs.
i=0; while [ ! -e /dev/fb0 ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done
export HOME=/root PATH=/bin:/usr/bin
mkdir -p /root
echo "board: up $(cut -d' ' -f1 /proc/uptime)"
# The serial shell; init must not end, so a shell that exits is started again.
trap '' PIPE
while true; do sh; done
'''


def make(arch, program, out_path, menu_dir, extra_elves=(), extra_trees=(), helpers=(), extra_files=(),
         lib_roots=()):
    """Writes the initramfs to `out_path` and returns the kernel image path.

    `program`: the built vesk; `menu_dir`: a menu directory put at /menu;
    `extra_elves`: (image path, host path) of more programs or libraries
    whose closure is wanted (helpers, dlopen()ed libraries); `extra_trees`:
    (image path, host directory) copied as they are; `extra_files`: (image
    path, host path) of data files."""
    a = arches.ARCHES[arch]
    tree, release = kernel_tree(arch)
    bb = busybox(arch)
    w = cpio_writer(out_path)
    for d in ('bin', 'sbin', 'usr/bin', 'proc', 'sys', 'dev', 'tmp', 'run', 'etc', 'root'):
        w.dir(d)
    w.copy('/bin/busybox', bb, 0o755)
    w.file('/init', INIT.encode(), 0o755)
    mods = module_files(tree, release, MODULES)
    names = []
    for m in mods:
        rel = os.path.relpath(m, tree)
        w.copy('/' + rel, m)
        names.append('/' + rel)
    w.file('/etc/modules.list', ('\n'.join(names) + '\n').encode())
    elves = [('/usr/bin/vesk', program)] + list(extra_elves)
    # Files that are one (Mesa's drivers are hard links of one another) are
    # stored once, the other names as symbolic links to it.
    stored = {}
    for dst, src in elves:
        key = (os.stat(src).st_dev, os.stat(src).st_ino)
        if key in stored:
            w.symlink(dst, os.path.relpath(stored[key], os.path.dirname(dst)))
            continue
        stored[key] = dst
        w.copy(dst, src, 0o755)
    for dst, src in extra_files:
        w.copy(dst, src)
    dynamic = [src for _, src in elves]
    libs = library_closure(dynamic, list(lib_roots) + [a.sysroot], a.lib_dirs)
    for lib, src in libs:
        if lib.lstrip('/') not in w.names:
            w.copy(lib, src, 0o755)
    interp = interpreter(program)
    if interp:
        w.copy(interp, os.path.realpath(os.path.join(a.sysroot, interp.lstrip('/'))), 0o755)
    for f in FONTS:
        w.copy('/fonts/' + os.path.basename(f), f)
    w.tree('/menu', menu_dir)
    for dst, src in extra_trees:
        w.tree(dst, src)
    for dst, src in helpers:
        w.copy(dst, src, 0o755)
    w.close()
    return os.path.join(tree, 'boot', 'vmlinuz-' + release), [lib for lib, _ in libs]
