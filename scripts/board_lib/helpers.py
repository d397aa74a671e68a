"""Small programs built for the board's architecture and put in its image."""
import os
import subprocess

from . import arches

HERE = os.path.dirname(os.path.abspath(__file__))


def build_mtouch(arch, work):
    """The uinput touch screen helper (mtouch.c), static, for ARCH."""
    out = os.path.join(work, 'mtouch')
    src = os.path.join(HERE, 'mtouch.c')
    if not os.path.exists(out) or os.path.getmtime(out) < os.path.getmtime(src):
        subprocess.run([arches.ARCHES[arch].cc, '-static', '-O2', '-Wall', '-Wextra', '-Werror', '-o', out, src],
                       check=True)
    return out
