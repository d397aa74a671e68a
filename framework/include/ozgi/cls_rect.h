#pragma once
// An axis-aligned rectangle in pixels. A rectangle with no width or no height is
// empty and covers no pixel; the right and bottom edges are exclusive.

namespace ozgi {

struct cls_rect {
    int x = 0;
    int y = 0;
    int w = 0;
    int h = 0;

    /// True when the rectangle covers no pixel (width or height zero or negative).
    bool is_empty() const { return w <= 0 || h <= 0; }
    /// The first column right of the rectangle.
    int right() const { return x + w; }
    /// The first row below the rectangle.
    int bottom() const { return y + h; }
    /// The common part of both rectangles; an empty rectangle when they do not overlap.
    cls_rect intersect(const cls_rect& other) const {
        int l = x > other.x ? x : other.x;
        int t = y > other.y ? y : other.y;
        int r = right() < other.right() ? right() : other.right();
        int b = bottom() < other.bottom() ? bottom() : other.bottom();
        if (r <= l || b <= t) return cls_rect{};
        return cls_rect{l, t, r - l, b - t};
    }
    /// The smallest rectangle holding both; an empty operand is ignored.
    cls_rect unite(const cls_rect& other) const {
        if (other.is_empty()) return *this;
        if (is_empty()) return other;
        int l = x < other.x ? x : other.x;
        int t = y < other.y ? y : other.y;
        int r = right() > other.right() ? right() : other.right();
        int b = bottom() > other.bottom() ? bottom() : other.bottom();
        return cls_rect{l, t, r - l, b - t};
    }
    /// True when the pixel (px, py) lies inside the rectangle.
    bool contains(int px, int py) const { return px >= x && py >= y && px < right() && py < bottom(); }
    /// A copy of the rectangle moved by (dx, dy); the rectangle itself is unchanged.
    cls_rect translate(int dx, int dy) const { return cls_rect{x + dx, y + dy, w, h}; }
    bool operator==(const cls_rect& o) const { return x == o.x && y == o.y && w == o.w && h == o.h; }
    bool operator!=(const cls_rect& o) const { return !(*this == o); }
};

} // namespace ozgi
