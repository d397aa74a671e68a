"""A root of Debian packages of a foreign architecture, for what the board
image needs beyond the build's sysroot (Mesa for SDL's KMSDRM display).

It is made by `scripts/cross ARCH --root DIR --packages FILE`, the same way as
the cross sysroot (debootstrap's first stage from bookworm, every package
unpacked, nothing of the target run), and kept in .cache/board/ARCH/ until its
package list changes. The build's sysroot is left as it is: only a board that
asks for such packages pays for them."""
import os
import subprocess
import sys

from . import arches

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
CACHE = os.path.join(ROOT, '.cache', 'board')


def ensure(arch, name, packages):
    """The root `name` of ARCH holding `packages` and their dependencies,
    made if it is not there yet or was made of another list."""
    cache = os.path.join(CACHE, arch)
    os.makedirs(cache, exist_ok=True)
    listing = os.path.join(cache, name + '-packages.txt')
    text = '\n'.join(packages) + '\n'
    if not os.path.exists(listing) or open(listing).read() != text:
        with open(listing, 'w') as f:
            f.write(text)
    root = os.path.join(cache, name)
    r = subprocess.run([os.path.join(ROOT, 'scripts', 'cross'), arch, '--root', root, '--packages', listing])
    if r.returncode != 0:
        # 75: the Debian archive was being synchronised; the caller may retry.
        sys.exit(r.returncode)
    return root


def _list_file(root, arch, package):
    info = os.path.join(root, '.vesk-dpkg', 'info')
    for n in (package + '.list', package + ':' + arches.ARCHES[arch].name + '.list'):
        if os.path.exists(os.path.join(info, n)):
            return os.path.join(info, n)
    raise FileNotFoundError('package %s is not in %s' % (package, root))


def package_files(root, arch, package):
    """The files `package` installs, as paths on the target, read from the
    root's package database (scripts/cross writes it: each path as it is in
    the root, and under /usr too for /lib, /bin and /sbin)."""
    out = []
    prefix = os.path.realpath(root)
    for line in open(_list_file(root, arch, package)).read().splitlines():
        if not line.startswith(prefix + '/'):
            continue
        path = line[len(prefix):]
        # The merged /usr gives every file under /lib also under /usr/lib: keep one.
        if path.split('/')[1] in ('lib', 'bin', 'sbin'):
            continue
        if ('/share/doc/' in path or '/lintian/' in path or '/bug/' in path or '/man/' in path or
                '/locale/' in path):
            continue
        if os.path.isfile(os.path.join(root, path.lstrip('/'))):
            out.append(path)
    return out
