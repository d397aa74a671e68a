"""Pictures as (width, height, bytes of RGB): QEMU's screendump (PPM) and
the program's screenshots (PNG), read with the standard library only, and
compared pixel for pixel."""
import struct
import zlib


class picture_t:
    def __init__(self, w, h, rgb):
        self.w = w
        self.h = h
        self.rgb = rgb  # bytes, 3 a pixel, rows top to bottom

    def pixel(self, x, y):
        i = (y * self.w + x) * 3
        return tuple(self.rgb[i:i + 3])

    def write_ppm(self, path):
        with open(path, 'wb') as f:
            f.write(b'P6\n%d %d\n255\n' % (self.w, self.h))
            f.write(self.rgb)


def read_ppm(path):
    with open(path, 'rb') as f:
        data = f.read()
    fields = []
    at = 0
    while len(fields) < 4:
        while data[at:at + 1].isspace():
            at += 1
        if data[at:at + 1] == b'#':
            at = data.index(b'\n', at) + 1
            continue
        end = at
        while not data[end:end + 1].isspace():
            end += 1
        fields.append(data[at:end])
        at = end
    at += 1
    if fields[0] != b'P6' or fields[3] != b'255':
        raise ValueError('%s: not a binary 8-bit PPM' % path)
    w, h = int(fields[1]), int(fields[2])
    return picture_t(w, h, data[at:at + w * h * 3])


def _paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    if pa <= pb and pa <= pc:
        return a
    return b if pb <= pc else c


def read_png(path):
    """An 8-bit RGB or RGBA PNG (not interlaced), as RGB."""
    with open(path, 'rb') as f:
        data = f.read()
    if data[:8] != b'\x89PNG\r\n\x1a\n':
        raise ValueError('%s: not a PNG' % path)
    at = 8
    idat = []
    w = h = ctype = 0
    while at < len(data):
        n, kind = struct.unpack('>I4s', data[at:at + 8])
        body = data[at + 8:at + 8 + n]
        at += 12 + n
        if kind == b'IHDR':
            w, h, depth, ctype, _, _, interlace = struct.unpack('>IIBBBBB', body)
            if depth != 8 or ctype not in (2, 6) or interlace:
                raise ValueError('%s: only 8-bit RGB(A) PNGs are read' % path)
        elif kind == b'IDAT':
            idat.append(body)
        elif kind == b'IEND':
            break
    raw = zlib.decompress(b''.join(idat))
    bpp = 3 if ctype == 2 else 4
    row = w * bpp
    out = bytearray(w * h * 3)
    prev = bytearray(row)
    at = 0
    for y in range(h):
        f = raw[at]
        line = bytearray(raw[at + 1:at + 1 + row])
        at += 1 + row
        if f == 1:
            for i in range(bpp, row):
                line[i] = (line[i] + line[i - bpp]) & 255
        elif f == 2:
            for i in range(row):
                line[i] = (line[i] + prev[i]) & 255
        elif f == 3:
            for i in range(row):
                left = line[i - bpp] if i >= bpp else 0
                line[i] = (line[i] + ((left + prev[i]) >> 1)) & 255
        elif f == 4:
            for i in range(row):
                left = line[i - bpp] if i >= bpp else 0
                up_left = prev[i - bpp] if i >= bpp else 0
                line[i] = (line[i] + _paeth(left, prev[i], up_left)) & 255
        if bpp == 3:
            out[y * w * 3:(y + 1) * w * 3] = line
        else:
            o = y * w * 3
            out[o:o + w * 3:3] = line[0::4]
            out[o + 1:o + w * 3:3] = line[1::4]
            out[o + 2:o + w * 3:3] = line[2::4]
        prev = line
    return picture_t(w, h, bytes(out))


def read(path):
    with open(path, 'rb') as f:
        magic = f.read(2)
    return read_png(path) if magic == b'\x89P' else read_ppm(path)


def differences(a, b):
    """How many pixels differ, and the box round them (None when equal).
    Pictures of different sizes differ everywhere."""
    if a.w != b.w or a.h != b.h:
        return max(a.w * a.h, b.w * b.h), (0, 0, max(a.w, b.w), max(a.h, b.h))
    if a.rgb == b.rgb:
        return 0, None
    count = 0
    x0, y0, x1, y1 = a.w, a.h, -1, -1
    row = a.w * 3
    for y in range(a.h):
        ra = a.rgb[y * row:(y + 1) * row]
        rb = b.rgb[y * row:(y + 1) * row]
        if ra == rb:
            continue
        for x in range(a.w):
            if ra[x * 3:x * 3 + 3] != rb[x * 3:x * 3 + 3]:
                count += 1
                x0, x1 = min(x0, x), max(x1, x)
                y0, y1 = min(y0, y), max(y1, y)
    return count, (x0, y0, x1 + 1, y1 + 1)


def is_mostly_black(p, share=0.9):
    """Whether at least `share` of the pixels are black (a text console)."""
    black = p.rgb.count(b'\0\0\0')
    return black >= share * p.w * p.h
