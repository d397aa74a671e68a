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
    # Writes without end for a minute: what vesk holds of it is bounded (the
    # output_flood check, in a board with little memory).
    flood = os.path.join(path, 'display', 'yes_flood')
    os.makedirs(os.path.dirname(flood), exist_ok=True)
    with open(flood, 'w') as f:
        f.write('#!/bin/sh\nif [ "$1" = --help ]; then exit 1; fi\ntimeout 60 yes\n')
    os.chmod(flood, 0o755)
    test('display/colour_bars')
    test('display/backlight')
    for i in range(1, 31):
        test('long_menu/item_%02d' % i)
    return path
