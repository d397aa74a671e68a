#!/usr/bin/env python3
"""Draws the nine icons of resource/icon/ and writes them as BMP files.

Every icon is a stack of vector shapes, each a coverage test on a point of the
picture plane. A pixel takes the average colour of SAMPLES x SAMPLES points
spread over its area, which gives anti-aliased edges without any library.

The files are Windows BMPs with a 40-byte info header, no palette, no
compression (BI_RGB) and rows stored bottom-up. 32-bit pictures keep their alpha
in the fourth byte of each pixel (blue, green, red, alpha), not premultiplied;
the logo is opaque 24-bit. The generated files are committed, so run this only
after changing a picture:

    python3 tools/make_icons.py [output directory]

The output directory defaults to resource/icon/ next to this tools/ directory.
"""

import math
import os
import struct
import sys

# Points sampled along each side of a pixel.
SAMPLES = 8

# One palette for the whole set, after the usual iOS system colours.
BLUE = (0, 122, 255)
GREEN = (52, 199, 89)
RED = (255, 59, 48)
GRAPHITE = (58, 58, 60)
GREY = (99, 99, 102)
WHITE = (255, 255, 255)
BAR_GREY = (247, 247, 247)  # the title bar behind the opaque logo


# ---------------------------------------------------------------- shapes
# A shape is a function (x, y) -> bool telling whether the point is inside.

def circle(cx, cy, r):
    """A filled disc."""
    r2 = r * r
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r2


def segment_distance(x, y, ax, ay, bx, by):
    """Distance from (x, y) to the segment from (ax, ay) to (bx, by)."""
    dx, dy = bx - ax, by - ay
    length2 = dx * dx + dy * dy
    t = 0.0 if length2 == 0 else max(0.0, min(1.0, ((x - ax) * dx + (y - ay) * dy) / length2))
    px, py = ax + t * dx, ay + t * dy
    return math.hypot(x - px, y - py)


def stroke(points, width):
    """A polyline of the given width with round caps and joins."""
    half = width / 2.0
    pairs = list(zip(points, points[1:]))

    def inside(x, y):
        return any(segment_distance(x, y, a[0], a[1], b[0], b[1]) <= half for a, b in pairs)
    return inside


def rounded_rect(x0, y0, x1, y1, r):
    """A filled rectangle whose corners are quarter circles of radius r."""
    def inside(x, y):
        if x < x0 or x > x1 or y < y0 or y > y1:
            return False
        cx = min(max(x, x0 + r), x1 - r)
        cy = min(max(y, y0 + r), y1 - r)
        return (x - cx) ** 2 + (y - cy) ** 2 <= r * r
    return inside


def arc(cx, cy, r, width, upper_only=True):
    """A ring of the given stroke width; with upper_only just its upper half."""
    inner, outer = r - width / 2.0, r + width / 2.0

    def inside(x, y):
        if upper_only and y > cy:
            return False
        d = math.hypot(x - cx, y - cy)
        return inner <= d <= outer
    return inside


def gear(cx, cy, r_tip, r_root, teeth, r_hole):
    """A gear wheel with trapezoid teeth and a round hole in the middle."""
    def inside(x, y):
        d = math.hypot(x - cx, y - cy)
        if d < r_hole or d > r_tip:
            return False
        if d <= r_root:
            return True
        # Position within one tooth period, 0 at the tooth's centre line.
        phase = (math.atan2(y - cy, x - cx) * teeth / (2 * math.pi)) % 1.0
        phase = min(phase, 1.0 - phase)
        # Teeth narrow towards their tips.
        half_width = 0.25 - 0.08 * (d - r_root) / (r_tip - r_root)
        return phase <= half_width
    return inside


def union(*shapes):
    return lambda x, y: any(s(x, y) for s in shapes)


def difference(shape, cut):
    return lambda x, y: shape(x, y) and not cut(x, y)


def vertical_gradient(top_colour, bottom_colour, y0, y1):
    """A colour function that blends from top_colour at y0 to bottom_colour at y1."""
    def colour(_x, y):
        t = max(0.0, min(1.0, (y - y0) / float(y1 - y0)))
        return tuple(a + (b - a) * t for a, b in zip(top_colour, bottom_colour))
    return colour


# ---------------------------------------------------------------- rendering

def render(width, height, layers, background=None):
    """Rasterises layers of (shape, colour) from bottom to top.

    colour is an (r, g, b) triple or a function (x, y) -> (r, g, b). With a
    background colour the result is opaque. Returns rows top-down of
    (r, g, b, a) tuples with straight (not premultiplied) colour.
    """
    step = 1.0 / SAMPLES
    offsets = [(i + 0.5) * step for i in range(SAMPLES)]
    count = SAMPLES * SAMPLES
    # Fully transparent pixels take the colour of the first layer, so that a
    # renderer that filters the picture does not pull in black fringes.
    first = layers[0][1]
    bleed = first if not callable(first) else first(width / 2.0, height / 2.0)
    rows = []
    for py in range(height):
        row = []
        for px in range(width):
            acc_r = acc_g = acc_b = acc_a = 0.0
            for oy in offsets:
                y = py + oy
                for ox in offsets:
                    x = px + ox
                    colour = background
                    for shape, fill in layers:
                        if shape(x, y):
                            colour = fill(x, y) if callable(fill) else fill
                    if colour is not None:
                        acc_r += colour[0]
                        acc_g += colour[1]
                        acc_b += colour[2]
                        acc_a += 1.0
            if acc_a == 0:
                row.append((bleed[0], bleed[1], bleed[2], 0))
            else:
                row.append((round(acc_r / acc_a), round(acc_g / acc_a), round(acc_b / acc_a),
                            round(255 * acc_a / count)))
        rows.append(row)
    return rows


def write_bmp(path, rows, bits):
    """Writes rows (top-down, (r, g, b, a) tuples) as a 24- or 32-bit BI_RGB BMP."""
    height = len(rows)
    width = len(rows[0])
    bytes_per_pixel = bits // 8
    row_size = width * bytes_per_pixel
    if row_size % 4:
        raise ValueError("%s: rows of %d bytes would need padding" % (path, row_size))
    pixels = bytearray()
    for row in reversed(rows):  # bottom-up
        for r, g, b, a in row:
            pixels += bytes((int(b), int(g), int(r)))
            if bytes_per_pixel == 4:
                pixels.append(int(a))
    file_header = struct.pack("<2sIHHI", b"BM", 54 + len(pixels), 0, 0, 54)
    info_header = struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, len(pixels),
                              2835, 2835, 0, 0)
    with open(path, "wb") as out:
        out.write(file_header + info_header + pixels)


# ---------------------------------------------------------------- icons

def icon_pass():
    return render(64, 64, [
        (circle(32, 32, 28), GREEN),
        (stroke([(19, 33), (28, 42), (45, 24)], 6), WHITE),
    ])


def icon_fail():
    return render(64, 64, [
        (circle(32, 32, 28), RED),
        (union(stroke([(22, 22), (42, 42)], 6), stroke([(42, 22), (22, 42)], 6)), WHITE),
    ])


def icon_executable():
    # A terminal window: a dark pane with a prompt and a cursor.
    return render(64, 64, [
        (rounded_rect(6, 11, 58, 53, 7), vertical_gradient((72, 72, 74), GRAPHITE, 11, 53)),
        (rounded_rect(6, 11, 58, 18, 3.5), GREY),
        (rounded_rect(6, 15, 58, 18, 0), GREY),
        (stroke([(16, 26), (24, 33), (16, 40)], 4.5), GREEN),
        (stroke([(29, 41), (42, 41)], 4.5), WHITE),
    ])


def chevron(pointing_right):
    points = [(26, 19), (39, 32), (26, 45)]
    if not pointing_right:
        points = [(64 - x, y) for x, y in points]
    return render(64, 64, [(stroke(points, 5.5), BLUE)])


def icon_option():
    return render(66, 64, [(gear(33, 32, 25, 19, 8, 8.5), BLUE)])


def icon_battery():
    body = rounded_rect(1.5, 6.5, 20.5, 17.5, 3)
    hollow = rounded_rect(3, 8, 19, 16, 1.8)
    return render(24, 24, [
        (difference(body, hollow), GRAPHITE),
        (rounded_rect(21.5, 10, 23, 14, 0.7), GRAPHITE),
        (rounded_rect(4.5, 9.5, 14.5, 14.5, 1), GREEN),
    ])


def icon_marlo():
    # The maker's mark: a lower-case "m" on a blue tile, opaque on the title bar's grey.
    tile = rounded_rect(4, 4, 60, 60, 13)
    letter = union(
        stroke([(19, 29), (19, 43)], 5),
        arc(25.5, 29, 6.5, 5),
        stroke([(32, 29), (32, 43)], 5),
        arc(38.5, 29, 6.5, 5),
        stroke([(45, 29), (45, 43)], 5),
    )
    return render(64, 64, [
        (tile, vertical_gradient((40, 150, 255), (0, 98, 220), 4, 60)),
        (letter, WHITE),
    ], background=BAR_GREY)


def icon_focus_frame():
    # Drawn pixel by pixel: the tiling keeps 4 pixels on each side, and the
    # alpha must stay 0 or 255, so no smoothing here.
    rows = []
    for y in range(16):
        row = []
        for x in range(16):
            edge = min(x, y, 15 - x, 15 - y)
            corner = min(x, 15 - x) + min(y, 15 - y) == 0
            if edge >= 4 or corner:
                row.append(BLUE + (0,))
            elif edge == 3:
                row.append((128, 188, 255, 255))
            else:
                row.append(BLUE + (255,))
        rows.append(row)
    return rows


ICONS = [
    ("marlo.bmp", icon_marlo, 24),
    ("focus_frame.bmp", icon_focus_frame, 32),
    ("fail.bmp", icon_fail, 32),
    ("executable.bmp", icon_executable, 32),
    ("left_arrow.bmp", lambda: chevron(False), 32),
    ("battery.bmp", icon_battery, 32),
    ("right_arrow.bmp", lambda: chevron(True), 32),
    ("pass.bmp", icon_pass, 32),
    ("option.bmp", icon_option, 32),
]


def main(argv):
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = argv[1] if len(argv) > 1 else os.path.join(here, "..", "resource", "icon")
    os.makedirs(out_dir, exist_ok=True)
    for name, draw, bits in ICONS:
        path = os.path.join(out_dir, name)
        write_bmp(path, draw(), bits)
        print("%s %d bytes" % (os.path.normpath(path), os.path.getsize(path)))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
