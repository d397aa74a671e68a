"""How vesk is started on the board for each display backend. To add one, add
an entry: the options and environment it runs with, and what else the image
needs for it."""
import os

FONT_OPTION = '--ozgi-font=/fonts/DejaVuSans.ttf:/fonts/wqy-microhei.ttc'


class backend_t:
    def __init__(self, name, options, env='', needs=()):
        self.name = name
        self.options = options  # vesk's options on the board
        self.env = env          # shell assignments put before the command
        self.needs = needs      # image extras: names of groups of files (see image_extras)


BACKENDS = {
    'fbdev': backend_t('fbdev', ['--ozgi-video=fbdev']),
    'drm': backend_t('drm', ['--ozgi-video=drm']),
    'sdl-kmsdrm': backend_t('sdl-kmsdrm', ['--ozgi-video=sdl', '--ozgi-fullscreen'],
                            'SDL_VIDEODRIVER=kmsdrm', needs=('kmsdrm',)),
}


# What `scripts/board ARCH --test` runs when no backend is named. A foreign
# architecture's sdl-kmsdrm takes Mesa from a root of its own packages
# (target_root); on arm64 the three boots take about 3.5 minutes.
# FIXME: armhf's sdl-kmsdrm is made the same way but was never run, so its
# default leaves it out; name it to try.
DEFAULT_BACKENDS = {'amd64': ['drm', 'fbdev', 'sdl-kmsdrm'], 'arm64': ['drm', 'fbdev', 'sdl-kmsdrm'],
                    'armhf': ['drm', 'fbdev']}


def command(backend, menu='/menu', extra=()):
    """The shell command that starts vesk in the background on the board,
    its output in /tmp/vesk.log and its process id in /tmp/vesk.pid."""
    b = BACKENDS[backend]
    args = ' '.join(['/usr/bin/vesk', '--dir=' + menu, FONT_OPTION] + b.options + list(extra))
    return '(%s exec %s </dev/null >/tmp/vesk.log 2>&1 & echo $! >/tmp/vesk.pid)' % (
        (b.env + ' ') if b.env else '', args)


def headless_command(program, menu, script):
    """The same program, headless, on the build machine (or under qemu-user)."""
    host_fonts = ['/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf', '/usr/share/fonts/truetype/wqy/wqy-microhei.ttc']
    return [program, '--dir=' + menu, '--ozgi-font=' + ':'.join(host_fonts), '--ozgi-video=headless',
            '--ozgi-script=' + script]
