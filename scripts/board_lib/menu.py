"""The menu the board shows: a few tests, a sub-menu and a menu too long for
the screen (to scroll by dragging)."""
import os

TEST = '''#!/bin/sh
if [ "$1" = --help ]; then echo "Usage: %(name)s"; echo "Says its name."; exit 0; fi
echo "%(name)s ran"
'''


def make(path):
    os.makedirs(path, exist_ok=True)

    def test(rel):
        p = os.path.join(path, rel)
        os.makedirs(os.path.dirname(p), exist_ok=True)
        with open(p, 'w') as f:
            f.write(TEST % {'name': os.path.basename(rel)})
        os.chmod(p, 0o755)

    test('board_info')
    test('display/colour_bars')
    test('display/backlight')
    for i in range(1, 31):
        test('long_menu/item_%02d' % i)
    return path
