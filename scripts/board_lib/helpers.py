"""Small programs built for the board's architecture and put in its image."""
import os
import subprocess

from . import arches

HERE = os.path.dirname(os.path.abspath(__file__))


def build_mtouch(arch, work):
    """The uinput touch screen helper (mtouch.c), static, for ARCH."""
    return build(arch, work, 'mtouch')


def build(arch, work, name):
    """The helper NAME.c, static, for ARCH."""
    out = os.path.join(work, name)
    src = os.path.join(HERE, name + '.c')
    if not os.path.exists(out) or os.path.getmtime(out) < os.path.getmtime(src):
        subprocess.run([arches.ARCHES[arch].cc, '-static', '-O2', '-Wall', '-Wextra', '-Werror', '-o', out, src],
                       check=True)
    return out
