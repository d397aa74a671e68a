"""The virtual board's image making, without a board: which files a root of
foreign packages gives, where libraries are taken from, what a scripted drag
does. Run: python3 tests/board/board_lib_test.py"""
import os
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(HERE)), 'scripts'))

from board_lib import checks, image, target_root  # noqa: E402


def write(path, text=''):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'w') as f:
        f.write(text)


class package_files_test(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.root = os.path.join(self.tmp.name, 'root')
        r = os.path.realpath(self.tmp.name) + '/root'
        write(os.path.join(self.root, 'usr/lib/aarch64-linux-gnu/libEGL.so.1'))
        write(os.path.join(self.root, 'usr/share/glvnd/egl_vendor.d/50_mesa.json'))
        os.makedirs(os.path.join(self.root, 'usr/share/doc/libegl1'))
        write(os.path.join(self.root, 'usr/share/doc/libegl1/copyright'))
        # As scripts/cross lists a package: every path inside the root, the
        # directories too, and a file under /lib also under /usr/lib.
        write(os.path.join(self.root, '.vesk-dpkg/info/libegl1:arm64.list'), '\n'.join([
            r + '/usr', r + '/usr/lib', r + '/usr/lib/aarch64-linux-gnu',
            r + '/usr/lib/aarch64-linux-gnu/libEGL.so.1', r + '/lib/aarch64-linux-gnu/libEGL.so.1',
            r + '/usr/share/glvnd/egl_vendor.d/50_mesa.json', r + '/usr/share/doc/libegl1/copyright',
            r + '/usr/lib/aarch64-linux-gnu/gone.so', '']))
        write(os.path.join(self.root, '.vesk-dpkg/info/libgl1-mesa-dri.list'), r + '/usr/share/drirc.d\n')

    def tearDown(self):
        self.tmp.cleanup()

    def test_files_once_without_documentation_or_missing_ones(self):
        self.assertEqual(target_root.package_files(self.root, 'arm64', 'libegl1'),
                         ['/usr/lib/aarch64-linux-gnu/libEGL.so.1', '/usr/share/glvnd/egl_vendor.d/50_mesa.json'])

    def test_a_package_of_only_directories_gives_no_file(self):
        self.assertEqual(target_root.package_files(self.root, 'arm64', 'libgl1-mesa-dri'), [])

    def test_a_package_not_in_the_root_is_named(self):
        with self.assertRaisesRegex(FileNotFoundError, 'package libgles2 is not in'):
            target_root.package_files(self.root, 'arm64', 'libgles2')


def shared_library(path, soname, needs=()):
    """A small shared library of the build machine, linked against `needs`
    (paths of other such libraries) and nothing else, not even the C library."""
    src = path + '.c'
    write(src, 'int f_%s(void) { return 1; }\n' % soname.replace('.', '_'))
    cmd = ['cc', '-shared', '-fPIC', '-o', path, src, '-Wl,-soname,' + soname, '-Wl,--no-as-needed', '-nostdlib']
    for n in needs:
        cmd += ['-L' + os.path.dirname(n), '-l:' + os.path.basename(n)]
    subprocess.run(cmd, check=True)


class library_closure_test(unittest.TestCase):
    def test_the_first_root_that_has_a_library_gives_it(self):
        with tempfile.TemporaryDirectory() as tmp:
            lib = 'usr/lib'
            board, sysroot = os.path.join(tmp, 'board'), os.path.join(tmp, 'sysroot')
            for r in (board, sysroot):
                os.makedirs(os.path.join(r, lib))
            # libb is in both roots, liba only in the sysroot; libtop needs both.
            shared_library(os.path.join(board, lib, 'libb.so.1'), 'libb.so.1')
            shared_library(os.path.join(sysroot, lib, 'libb.so.1'), 'libb.so.1')
            shared_library(os.path.join(sysroot, lib, 'liba.so.1'), 'liba.so.1')
            top = os.path.join(tmp, 'libtop.so')
            shared_library(top, 'libtop.so', [os.path.join(sysroot, lib, 'liba.so.1'),
                                              os.path.join(board, lib, 'libb.so.1')])
            libs = dict(image.library_closure([top], [board, sysroot], ['/' + lib]))
            self.assertEqual(libs['/usr/lib/libb.so.1'], os.path.join(board, lib, 'libb.so.1'))
            self.assertEqual(libs['/usr/lib/liba.so.1'], os.path.join(sysroot, lib, 'liba.so.1'))
            os.remove(os.path.join(sysroot, lib, 'liba.so.1'))
            with self.assertRaisesRegex(FileNotFoundError, 'library liba.so.1 .* not found under .*board, .*sysroot'):
                image.library_closure([top], [board, sysroot], ['/' + lib])


class kmsdrm_test(unittest.TestCase):
    def test_packages_leave_out_fonts_and_adb_and_name_each_once(self):
        names = checks.kmsdrm_packages()
        self.assertEqual(len(names), len(set(names)))
        self.assertFalse([n for n in names if n.startswith(('fonts-', 'fontconfig', 'adb'))])
        for n in ('libsdl2-2.0-0', 'libegl-mesa0', 'libgl1-mesa-dri', 'libgbm1'):
            self.assertIn(n, names)

    def test_a_drag_round_ends_where_it_started_and_draws_each_move(self):
        moves = [l for l in checks.DRAG_ROUND if l.startswith('move ')]
        self.assertEqual(len(moves), checks.DRAG_ROUND_FRAMES)
        self.assertEqual(checks.DRAG_ROUND[0], 'press 320 700')
        self.assertEqual(checks.DRAG_ROUND[-2], 'release 320 700')
        self.assertEqual(moves[-1], 'move 320 700')
        for i, line in enumerate(checks.DRAG_ROUND):
            if line.startswith(('press', 'move', 'release')):
                self.assertEqual(checks.DRAG_ROUND[i + 1], 'wait 1')


if __name__ == '__main__':
    unittest.main()
