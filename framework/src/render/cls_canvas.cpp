#include "ozgi/cls_canvas.h"

#include <algorithm>

namespace ozgi {

namespace {

// x / 255 rounded, exact for 0 <= x <= 255 * 255.
inline uint32_t div255(uint32_t x) {
    x += 128;
    return (x + (x >> 8)) >> 8;
}

// Mixes the colour `src` (0xRRGGBB in the low bits) into the opaque pixel `dst`
// with weight `a` (0-255).
inline uint32_t blend(uint32_t dst, uint32_t src, uint32_t a) {
    uint32_t na = 255 - a;
    uint32_t r = div255(((src >> 16) & 0xFF) * a + ((dst >> 16) & 0xFF) * na);
    uint32_t g = div255(((src >> 8) & 0xFF) * a + ((dst >> 8) & 0xFF) * na);
    uint32_t b = div255((src & 0xFF) * a + (dst & 0xFF) * na);
    return 0xFF000000u | (r << 16) | (g << 8) | b;
}

} // namespace

cls_canvas::cls_canvas(uint32_t* pixels, int width, int height, int stride)
    : m_pixels(pixels), m_width(width), m_height(height), m_stride(stride), m_clip{0, 0, width, height} {}

cls_canvas::cls_canvas(int width, int height)
    : m_pixels(nullptr), m_width(width), m_height(height), m_stride(width), m_clip{0, 0, width, height},
      m_own(width * height) {
    for (int i = 0; i < width * height; ++i) m_own.append(0xFF000000u);
    m_pixels = m_own.begin();
}

void cls_canvas::set_clip(const cls_rect& rect) { m_clip = rect.intersect(cls_rect{0, 0, m_width, m_height}); }

void cls_canvas::fill_rect(const cls_rect& rect, const cls_color& color) {
    if (color.a == 0) return;
    cls_rect r = rect.intersect(m_clip);
    if (r.is_empty()) return;
    uint32_t src = color.argb() | 0xFF000000u;
    for (int y = r.y; y < r.bottom(); ++y) {
        uint32_t* row = m_pixels + static_cast<long>(y) * m_stride + r.x;
        if (color.a == 255) {
            std::fill(row, row + r.w, src);
        } else {
            for (int x = 0; x < r.w; ++x) row[x] = blend(row[x], src, color.a);
        }
    }
}

void cls_canvas::draw_picture(const cls_picture& pic, int x, int y, bool use_alpha) {
    draw_picture_part(pic, cls_rect{0, 0, pic.width(), pic.height()}, x, y, use_alpha);
}

void cls_canvas::draw_picture_part(const cls_picture& pic, const cls_rect& src, int x, int y, bool use_alpha) {
    cls_rect s = src.intersect(cls_rect{0, 0, pic.width(), pic.height()});
    if (s.is_empty()) return;
    // Where the source part lands, moved by what the cut took off its top-left.
    int dx = x + (s.x - src.x);
    int dy = y + (s.y - src.y);
    cls_rect d = cls_rect{dx, dy, s.w, s.h}.intersect(m_clip);
    if (d.is_empty()) return;
    bool blend_alpha = use_alpha && pic.has_alpha();
    int src_x = s.x + (d.x - dx);
    for (int row = d.y; row < d.bottom(); ++row) {
        int src_y = s.y + row - dy;
        const uint32_t* in = pic.pixels() + static_cast<long>(src_y) * pic.width() + src_x;
        uint32_t* out = m_pixels + static_cast<long>(row) * m_stride + d.x;
        if (!blend_alpha) {
            for (int i = 0; i < d.w; ++i) out[i] = in[i] | 0xFF000000u;
            continue;
        }
        // Wholly transparent pixels change nothing: only the row's visible span is blended.
        int first = 0, end = 0;
        pic.visible_span(src_y, &first, &end);
        int from = std::max(0, first - src_x), to = std::min(d.w, end - src_x);
        if (from >= to) continue;
        // The row's longest opaque run is copied as it is; the rest blended.
        int run_first = 0, run_end = 0;
        pic.opaque_run(src_y, &run_first, &run_end);
        int copy_from = std::max(from, run_first - src_x), copy_to = std::min(to, run_end - src_x);
        if (copy_from >= copy_to) copy_from = copy_to = to;
        blend_row(in, out, from, copy_from);
        std::copy(in + copy_from, in + copy_to, out + copy_from);
        blend_row(in, out, copy_to, to);
    }
}

void cls_canvas::blend_row(const uint32_t* in, uint32_t* out, int from, int to) {
    for (int i = from; i < to; ++i) {
        uint32_t p = in[i];
        uint32_t a = p >> 24;
        if (a == 255) out[i] = p;
        else if (a != 0) out[i] = blend(out[i], p, a);
    }
}

void cls_canvas::nine_slice(const cls_picture& pic, const cls_rect& dst, int left, int right, int top, int bottom,
                            cls_rect cells[9], cls_rect parts[9]) {
    left = std::max(0, std::min(left, pic.width()));
    right = std::max(0, std::min(right, pic.width() - left));
    top = std::max(0, std::min(top, pic.height()));
    bottom = std::max(0, std::min(bottom, pic.height() - top));
    // A target smaller than both borders together shares it between them.
    if (left + right > dst.w) {
        int l = left + right > 0 ? dst.w * left / (left + right) : 0;
        right = dst.w - l;
        left = l;
    }
    if (top + bottom > dst.h) {
        int t = top + bottom > 0 ? dst.h * top / (top + bottom) : 0;
        bottom = dst.h - t;
        top = t;
    }
    int src_x[4] = {0, left, pic.width() - right, pic.width()};
    int src_y[4] = {0, top, pic.height() - bottom, pic.height()};
    int dst_x[4] = {dst.x, dst.x + left, dst.right() - right, dst.right()};
    int dst_y[4] = {dst.y, dst.y + top, dst.bottom() - bottom, dst.bottom()};
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col) {
            cells[row * 3 + col] =
                cls_rect{dst_x[col], dst_y[row], dst_x[col + 1] - dst_x[col], dst_y[row + 1] - dst_y[row]};
            parts[row * 3 + col] =
                cls_rect{src_x[col], src_y[row], src_x[col + 1] - src_x[col], src_y[row + 1] - src_y[row]};
        }
    }
}

void cls_canvas::draw_tiled_picture(const cls_picture& pic, const cls_rect& dst, int left, int right, int top,
                                    int bottom, bool use_alpha) {
    if (dst.is_empty() || pic.width() <= 0 || pic.height() <= 0) return;
    cls_rect cells[9], parts[9];
    nine_slice(pic, dst, left, right, top, bottom, cells, parts);
    bool blend_alpha = use_alpha && pic.has_alpha();
    for (int i = 0; i < 9; ++i) {
        if (cells[i].is_empty() || parts[i].is_empty()) continue;
        // A wholly transparent part (a frame's middle) is not tiled at all.
        if (blend_alpha && pic.is_transparent(parts[i])) continue;
        tile_part(pic, parts[i], cells[i], blend_alpha);
    }
}

void cls_canvas::tile_part(const cls_picture& pic, const cls_rect& part, const cls_rect& cell, bool blend_alpha) {
    // Row by row across all the tiles at once: the pixel at (x, y) of the cell
    // shows the part's pixel at its offset from the cell, wrapped round.
    cls_rect d = cell.intersect(m_clip);
    if (d.is_empty()) return;
    // An opaque part (a frame's edges) is copied as it is, the whole row repeated
    // from its first tile.
    bool copy = pic.is_opaque(part);
    for (int row = d.y; row < d.bottom(); ++row) {
        int src_y = part.y + (row - cell.y) % part.h;
        const uint32_t* in = pic.pixels() + static_cast<long>(src_y) * pic.width();
        uint32_t* out = m_pixels + static_cast<long>(row) * m_stride;
        int first = part.x, end = part.right();
        if (blend_alpha && !copy) {
            int f = 0, e = 0;
            pic.visible_span(src_y, &f, &e);
            first = std::max(first, f);
            end = std::min(end, e);
            if (first >= end) continue;
        }
        int src_x = part.x + (d.x - cell.x) % part.w;
        int x = d.x;
        // Where the row's first whole tile begins, once drawn: copies of the drawn tiles follow.
        int period_start = -1;
        while (x < d.right()) {
            if (copy && period_start >= 0) {
                int n = std::min(x - period_start, d.right() - x);
                std::copy(out + period_start, out + period_start + n, out + x);
                x += n;
                continue;
            }
            int n = std::min(part.right() - src_x, d.right() - x);
            // Source column i lands in column i + shift of the row.
            int shift = x - src_x;
            if (copy) {
                std::copy(in + src_x, in + src_x + n, out + x);
            } else if (!blend_alpha) {
                for (int i = src_x; i < src_x + n; ++i) out[i + shift] = in[i] | 0xFF000000u;
            } else {
                for (int i = std::max(src_x, first), to = std::min(src_x + n, end); i < to; ++i) {
                    uint32_t p = in[i];
                    uint32_t a = p >> 24;
                    if (a == 255) out[i + shift] = p;
                    else if (a != 0) out[i + shift] = blend(out[i + shift], p, a);
                }
            }
            if (src_x == part.x && period_start < 0) period_start = x;
            x += n;
            src_x = part.x;
        }
    }
}

void cls_canvas::draw_mask(const uint8_t* mask, int mask_w, int mask_h, int pitch, int x, int y,
                           const cls_color& color) {
    if (mask == nullptr || color.a == 0) return;
    cls_rect d = cls_rect{x, y, mask_w, mask_h}.intersect(m_clip);
    if (d.is_empty()) return;
    uint32_t src = color.argb() & 0xFFFFFFu;
    for (int row = d.y; row < d.bottom(); ++row) {
        const uint8_t* in = mask + static_cast<long>(row - y) * pitch + (d.x - x);
        uint32_t* out = m_pixels + static_cast<long>(row) * m_stride + d.x;
        for (int i = 0; i < d.w; ++i) {
            uint32_t cover = in[i];
            if (cover == 0) continue;
            uint32_t a = color.a == 255 ? cover : div255(cover * color.a);
            out[i] = a == 255 ? (0xFF000000u | src) : blend(out[i], src, a);
        }
    }
}

} // namespace ozgi
