#include <gtest/gtest.h>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_color.h"
#include "ozgi/cls_picture.h"
#include "ozgi/cls_rect.h"

using namespace ozgi;

namespace {

cls_sp<cls_picture> make_picture(int w, int h, bool alpha, uint32_t (*pixel)(int, int)) {
    cls_sp<cls_picture> pic(OZGI_NEW(cls_picture)(w, h, alpha));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) pic->pixels()[y * w + x] = pixel(x, y);
    return pic;
}

} // namespace

TEST(rect, intersect_unite_contains_translate) {
    cls_rect a{10, 10, 20, 20};
    cls_rect b{25, 0, 10, 15};
    EXPECT_EQ(a.intersect(b), (cls_rect{25, 10, 5, 5}));
    EXPECT_TRUE(a.intersect(cls_rect{40, 40, 5, 5}).is_empty());
    EXPECT_EQ(a.unite(b), (cls_rect{10, 0, 25, 30}));
    EXPECT_EQ(a.unite(cls_rect{}), a);
    EXPECT_EQ(cls_rect{}.unite(b), b);
    EXPECT_TRUE(a.contains(10, 10));
    EXPECT_TRUE(a.contains(29, 29));
    EXPECT_FALSE(a.contains(30, 29));
    EXPECT_EQ(a.translate(-5, 3), (cls_rect{5, 13, 20, 20}));
    EXPECT_TRUE((cls_rect{0, 0, 0, 5}).is_empty());
}

TEST(color, parses_the_layout_forms) {
    cls_color c;
    ASSERT_TRUE(cls_color::parse("217,217,217,255", &c));
    EXPECT_EQ(c, (cls_color{217, 217, 217, 255}));
    ASSERT_TRUE(cls_color::parse("255, 255, 255, 64", &c));
    EXPECT_EQ(c, (cls_color{255, 255, 255, 64}));
    ASSERT_TRUE(cls_color::parse("white", &c));
    EXPECT_EQ(c.argb(), 0xFFFFFFFFu);
    ASSERT_TRUE(cls_color::parse("black", &c));
    EXPECT_EQ(c.argb(), 0xFF000000u);
    cls_color kept{1, 2, 3, 4};
    EXPECT_FALSE(cls_color::parse("256,0,0,255", &kept));
    EXPECT_FALSE(cls_color::parse("1,2,3", &kept));
    EXPECT_FALSE(cls_color::parse("1,2,3,4,5", &kept));
    EXPECT_FALSE(cls_color::parse("red", &kept));
    EXPECT_FALSE(cls_color::parse("", &kept));
    EXPECT_FALSE(cls_color::parse("1,,3,4", &kept));
    EXPECT_EQ(kept, (cls_color{1, 2, 3, 4}));
    EXPECT_EQ(cls_color::from_argb(0x80102030u), (cls_color{0x10, 0x20, 0x30, 0x80}));
}

TEST(canvas, fills_an_opaque_rectangle_exactly) {
    cls_canvas canvas(64, 48);
    canvas.fill_rect(cls_rect{10, 5, 20, 8}, cls_color{239, 239, 244, 255});
    EXPECT_EQ(canvas.pixel(10, 5), 0xFFEFEFF4u);
    EXPECT_EQ(canvas.pixel(29, 12), 0xFFEFEFF4u);
    EXPECT_EQ(canvas.pixel(9, 5), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(30, 12), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(10, 13), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(10, 4), 0xFF000000u);
}

TEST(canvas, blends_a_translucent_rectangle) {
    cls_canvas canvas(16, 16);
    canvas.fill_rect(cls_rect{0, 0, 16, 16}, cls_color{0, 0, 0, 255});
    // The pressed overlay of the title bar buttons: white at alpha 64.
    canvas.fill_rect(cls_rect{0, 0, 8, 16}, cls_color{255, 255, 255, 64});
    EXPECT_EQ(canvas.pixel(3, 3), 0xFF404040u);
    EXPECT_EQ(canvas.pixel(12, 3), 0xFF000000u);
    canvas.fill_rect(cls_rect{0, 0, 16, 16}, cls_color{255, 0, 0, 0});
    EXPECT_EQ(canvas.pixel(12, 3), 0xFF000000u);
    // Half red over blue.
    cls_canvas other(4, 4);
    other.fill_rect(cls_rect{0, 0, 4, 4}, cls_color{0, 0, 255, 255});
    other.fill_rect(cls_rect{0, 0, 4, 4}, cls_color{255, 0, 0, 128});
    EXPECT_EQ(other.pixel(1, 1), 0xFF80007Fu);
}

TEST(canvas, draws_an_alpha_icon_over_a_colour) {
    cls_canvas canvas(32, 32);
    canvas.fill_rect(cls_rect{0, 0, 32, 32}, cls_color{255, 255, 255, 255});
    // Left column transparent, middle half-transparent green, right opaque red.
    auto icon = make_picture(3, 2, true, [](int x, int) -> uint32_t {
        return x == 0 ? 0x00FF00FFu : x == 1 ? 0x8000FF00u : 0xFFFF0000u;
    });
    canvas.draw_picture(*icon, 5, 7, true);
    EXPECT_EQ(canvas.pixel(5, 7), 0xFFFFFFFFu);
    EXPECT_EQ(canvas.pixel(6, 7), 0xFF7FFF7Fu);
    EXPECT_EQ(canvas.pixel(7, 8), 0xFFFF0000u);
    EXPECT_EQ(canvas.pixel(8, 8), 0xFFFFFFFFu);
    EXPECT_EQ(canvas.pixel(6, 9), 0xFFFFFFFFu);
    // Without use_alpha the colours are copied as they are.
    canvas.draw_picture(*icon, 20, 20, false);
    EXPECT_EQ(canvas.pixel(20, 20), 0xFFFF00FFu);
    EXPECT_EQ(canvas.pixel(21, 20), 0xFF00FF00u);
}

TEST(canvas, draws_an_opaque_picture_and_its_parts) {
    cls_canvas canvas(20, 20);
    auto pic = make_picture(4, 4, false, [](int x, int y) -> uint32_t { return 0xFF000000u | (x << 8) | y; });
    canvas.draw_picture(*pic, -2, 18, true);
    EXPECT_EQ(canvas.pixel(0, 18), 0xFF000200u);
    EXPECT_EQ(canvas.pixel(1, 19), 0xFF000301u);
    canvas.draw_picture_part(*pic, cls_rect{1, 1, 2, 2}, 10, 10, false);
    EXPECT_EQ(canvas.pixel(10, 10), 0xFF000101u);
    EXPECT_EQ(canvas.pixel(11, 11), 0xFF000202u);
    EXPECT_EQ(canvas.pixel(12, 12), 0xFF000000u);
}

TEST(canvas, draws_a_nine_slice_frame) {
    // A 6x6 frame picture: 2-pixel border of colour by region, middle blue.
    auto frame = make_picture(6, 6, true, [](int x, int y) -> uint32_t {
        int col = x < 2 ? 0 : x < 4 ? 1 : 2;
        int row = y < 2 ? 0 : y < 4 ? 1 : 2;
        if (col == 1 && row == 1) return 0xFF0000FFu;
        return 0xFF000000u | static_cast<uint32_t>((row * 3 + col) * 20) << 16 | static_cast<uint32_t>(x * 16 + y);
    });
    cls_canvas canvas(40, 40);
    canvas.draw_tiled_picture(*frame, cls_rect{5, 5, 20, 14}, 2, 2, 2, 2, true);
    // Corners keep their pixels.
    EXPECT_EQ(canvas.pixel(5, 5), frame->pixel(0, 0));
    EXPECT_EQ(canvas.pixel(6, 6), frame->pixel(1, 1));
    EXPECT_EQ(canvas.pixel(24, 5), frame->pixel(5, 0));
    EXPECT_EQ(canvas.pixel(5, 18), frame->pixel(0, 5));
    EXPECT_EQ(canvas.pixel(24, 18), frame->pixel(5, 5));
    EXPECT_EQ(canvas.pixel(23, 17), frame->pixel(4, 4));
    // The top edge repeats the picture's two middle columns.
    EXPECT_EQ(canvas.pixel(7, 5), frame->pixel(2, 0));
    EXPECT_EQ(canvas.pixel(8, 5), frame->pixel(3, 0));
    EXPECT_EQ(canvas.pixel(9, 5), frame->pixel(2, 0));
    EXPECT_EQ(canvas.pixel(22, 6), frame->pixel(3, 1));
    // The left edge repeats the middle rows.
    EXPECT_EQ(canvas.pixel(5, 7), frame->pixel(0, 2));
    EXPECT_EQ(canvas.pixel(5, 8), frame->pixel(0, 3));
    EXPECT_EQ(canvas.pixel(5, 9), frame->pixel(0, 2));
    // The middle is tiled blue, and nothing outside the target is touched.
    EXPECT_EQ(canvas.pixel(15, 11), 0xFF0000FFu);
    EXPECT_EQ(canvas.pixel(25, 10), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(10, 19), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(4, 10), 0xFF000000u);
}

TEST(canvas, nine_slice_with_a_transparent_middle_keeps_the_background) {
    auto frame = make_picture(16, 16, true, [](int x, int y) -> uint32_t {
        bool border = x < 4 || y < 4 || x >= 12 || y >= 12;
        return border ? 0xFF3080F0u : 0x00000000u;
    });
    cls_canvas canvas(100, 80);
    canvas.fill_rect(cls_rect{0, 0, 100, 80}, cls_color{255, 255, 255, 255});
    canvas.draw_tiled_picture(*frame, cls_rect{0, 0, 100, 64}, 4, 4, 4, 4, true);
    EXPECT_EQ(canvas.pixel(50, 1), 0xFF3080F0u);
    EXPECT_EQ(canvas.pixel(98, 40), 0xFF3080F0u);
    EXPECT_EQ(canvas.pixel(50, 62), 0xFF3080F0u);
    EXPECT_EQ(canvas.pixel(50, 30), 0xFFFFFFFFu);
    EXPECT_EQ(canvas.pixel(50, 70), 0xFFFFFFFFu);
}

TEST(canvas, clips_every_operation) {
    cls_canvas canvas(30, 30);
    canvas.set_clip(cls_rect{10, 10, 10, 10});
    canvas.fill_rect(cls_rect{0, 0, 30, 30}, cls_color{255, 0, 0, 255});
    EXPECT_EQ(canvas.pixel(10, 10), 0xFFFF0000u);
    EXPECT_EQ(canvas.pixel(19, 19), 0xFFFF0000u);
    EXPECT_EQ(canvas.pixel(9, 15), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(20, 15), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(15, 20), 0xFF000000u);
    auto pic = make_picture(30, 30, true, [](int, int) -> uint32_t { return 0xFF00FF00u; });
    canvas.set_clip(cls_rect{25, 25, 100, 100});
    EXPECT_EQ(canvas.clip(), (cls_rect{25, 25, 5, 5}));
    canvas.draw_picture(*pic, 0, 0, true);
    EXPECT_EQ(canvas.pixel(29, 29), 0xFF00FF00u);
    EXPECT_EQ(canvas.pixel(24, 29), 0xFF000000u);
    canvas.draw_tiled_picture(*pic, cls_rect{0, 0, 30, 30}, 2, 2, 2, 2, false);
    EXPECT_EQ(canvas.pixel(24, 24), 0xFF000000u);
    uint8_t mask[4] = {255, 255, 255, 255};
    canvas.draw_mask(mask, 2, 2, 2, 24, 24, cls_color{0, 0, 255, 255});
    EXPECT_EQ(canvas.pixel(24, 24), 0xFF000000u);
    EXPECT_EQ(canvas.pixel(25, 25), 0xFF0000FFu);
    EXPECT_EQ(canvas.pixel(26, 25), 0xFF00FF00u);
}

TEST(canvas, draws_into_caller_memory_with_a_stride) {
    uint32_t memory[4 * 8];
    for (uint32_t& p : memory) p = 0xFF111111u;
    cls_canvas canvas(memory, 3, 4, 8);
    canvas.fill_rect(cls_rect{0, 0, 100, 100}, cls_color{0, 0, 0, 255});
    EXPECT_EQ(memory[0], 0xFF000000u);
    EXPECT_EQ(memory[2], 0xFF000000u);
    EXPECT_EQ(memory[3], 0xFF111111u);
    EXPECT_EQ(memory[3 * 8 + 2], 0xFF000000u);
    EXPECT_EQ(memory[3 * 8 + 7], 0xFF111111u);
}

namespace {

// A ring: transparent but for the pixels on a diamond around (8, 8), and a
// half-transparent row 3; nothing in rows 0-1 and column 0.
uint32_t ring_pixel(int x, int y) {
    if (y == 3 && x > 0) return 0x80FF0000u | static_cast<uint32_t>(x);
    int d = (x > 8 ? x - 8 : 8 - x) + (y > 8 ? y - 8 : 8 - y);
    if (x > 0 && y > 1 && d == 5) return 0xFF00FF00u | static_cast<uint32_t>(y);
    if (x > 0 && y > 1 && d == 6) return 0x4000FFFFu;
    return 0x00FFFFFFu;
}

// What draw_picture_part must give: every source pixel blended by its alpha.
uint32_t blend_one(uint32_t dst, uint32_t src) {
    uint32_t a = src >> 24;
    if (a == 255) return src;
    if (a == 0) return dst;
    uint32_t out = 0xFF000000u;
    for (int shift = 0; shift <= 16; shift += 8) {
        uint32_t v = (((src >> shift) & 0xFF) * a + ((dst >> shift) & 0xFF) * (255 - a) + 127) / 255;
        out |= v << shift;
    }
    return out;
}

} // namespace

TEST(picture, knows_its_transparent_rows_and_parts) {
    cls_sp<cls_picture> pic = make_picture(17, 17, true, ring_pixel);
    int first = -1, end = -1;
    pic->visible_span(0, &first, &end);
    EXPECT_EQ(first, end);
    pic->visible_span(3, &first, &end);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(end, 17);
    pic->visible_span(8, &first, &end);
    EXPECT_EQ(first, 2);
    EXPECT_EQ(end, 15);
    EXPECT_TRUE(pic->is_transparent(cls_rect{0, 0, 17, 2}));
    EXPECT_TRUE(pic->is_transparent(cls_rect{0, 0, 1, 17}));
    EXPECT_TRUE(pic->is_transparent(cls_rect{6, 7, 5, 3}));   // inside the ring
    EXPECT_FALSE(pic->is_transparent(cls_rect{6, 7, 5, 5}));  // reaches it
    EXPECT_TRUE(pic->is_transparent(cls_rect{40, 40, 5, 5}));  // outside the picture
    // Written again, the picture tells anew.
    pic->pixels()[8 * 17 + 8] = 0x01000000u;
    EXPECT_FALSE(pic->is_transparent(cls_rect{6, 7, 5, 3}));
    cls_sp<cls_picture> opaque = make_picture(4, 4, false, ring_pixel);
    EXPECT_FALSE(opaque->is_transparent(cls_rect{0, 0, 4, 2}));
    opaque->visible_span(0, &first, &end);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(end, 4);
}

// The ring with opaque bars in rows 12-14, the middle one cut by a translucent pixel.
uint32_t barred_pixel(int x, int y) {
    if (y == 13 && x == 8) return 0x7F123456u;
    if (y >= 12 && y <= 14 && x >= 3 && x <= 12) return 0xFF000000u | static_cast<uint32_t>(x * 4099 + y);
    return ring_pixel(x, y);
}

TEST(picture, knows_the_longest_opaque_run_of_each_row) {
    cls_sp<cls_picture> pic = make_picture(17, 17, true, barred_pixel);
    int first = -1, end = -1;
    pic->opaque_run(12, &first, &end);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(end, 13);
    pic->opaque_run(13, &first, &end);
    EXPECT_EQ(first, 3);
    EXPECT_EQ(end, 8);
    pic->opaque_run(0, &first, &end);
    EXPECT_EQ(first, end);
    pic->opaque_run(3, &first, &end);  // translucent only
    EXPECT_EQ(first, end);
}

TEST(canvas, blends_only_the_visible_spans_of_a_picture_exactly) {
    cls_sp<cls_picture> pic = make_picture(17, 17, true, barred_pixel);
    // Every part and place, clipped on every side, against the plain rule.
    const cls_rect parts[] = {{0, 0, 17, 17}, {3, 2, 9, 12}, {0, 0, 1, 17}, {6, 7, 5, 3}, {10, 1, 7, 16}, {5, 11, 6, 4}};
    for (const cls_rect& part : parts) {
        for (int dx = -4; dx <= 4; dx += 4) {
            cls_canvas canvas(20, 20);
            for (int i = 0; i < 400; ++i) canvas.pixels()[i] = 0xFF000000u | static_cast<uint32_t>(i * 2654435761u >> 8);
            std::vector<uint32_t> want(canvas.pixels(), canvas.pixels() + 400);
            cls_rect clip{2, 1, 15, 16};
            canvas.set_clip(clip);
            int x = 3 + dx, y = 2 - dx / 2;
            canvas.draw_picture_part(*pic, part, x, y, true);
            for (int py = part.y; py < part.bottom(); ++py)
                for (int px = part.x; px < part.right(); ++px) {
                    int cx = x + px - part.x, cy = y + py - part.y;
                    if (!clip.contains(cx, cy)) continue;
                    want[static_cast<size_t>(cy * 20 + cx)] = blend_one(want[static_cast<size_t>(cy * 20 + cx)], pic->pixel(px, py));
                }
            for (int i = 0; i < 400; ++i)
                ASSERT_EQ(canvas.pixels()[i], want[static_cast<size_t>(i)]) << "part " << part.x << "," << part.y << " dx " << dx << " at " << i;
        }
    }
}

TEST(canvas, nine_slice_matches_the_tiling_rule_pixel_for_pixel) {
    // The ring's edges opaque, so that parts of every kind are drawn: wholly
    // opaque, wholly transparent and mixed.
    cls_sp<cls_picture> pic = make_picture(17, 17, true, [](int x, int y) -> uint32_t {
        if (x >= 14 || y >= 15) return 0xFF000000u | static_cast<uint32_t>(x * 7 + y * 300);
        return ring_pixel(x, y);
    });
    struct case_t {
        cls_rect dst;
        int left, right, top, bottom;
        cls_rect clip;
    };
    const case_t cases[] = {{{1, 2, 37, 29}, 3, 4, 2, 5, {0, 0, 40, 40}},
                            {{1, 2, 37, 29}, 3, 4, 2, 5, {5, 7, 20, 11}},
                            {{-6, -3, 45, 41}, 0, 0, 0, 0, {2, 3, 30, 31}},
                            {{4, 4, 5, 3}, 6, 6, 6, 6, {0, 0, 40, 40}},
                            {{0, 0, 40, 40}, 8, 8, 8, 8, {13, 1, 9, 38}}};
    // Without alpha the picture's own alpha does not count.
    cls_sp<cls_picture> plain = make_picture(17, 17, false, ring_pixel);
    for (int k = 0; k < 3; ++k) {
        bool use_alpha = k != 1;
        if (k == 2) pic = plain;
        for (const case_t& c : cases) {
            cls_canvas canvas(40, 40);
            for (int i = 0; i < 1600; ++i) canvas.pixels()[i] = 0xFF000000u | static_cast<uint32_t>(i * 40503u);
            std::vector<uint32_t> want(canvas.pixels(), canvas.pixels() + 1600);
            canvas.set_clip(c.clip);
            canvas.draw_tiled_picture(*pic, c.dst, c.left, c.right, c.top, c.bottom, use_alpha);
            // The rule, one pixel at a time: borders kept (shared out when the
            // target is smaller), edges and middle repeated from their corner.
            int l = c.left, r = c.right, t = c.top, b = c.bottom;
            if (l + r > c.dst.w) {
                int nl = c.dst.w * l / (l + r);
                r = c.dst.w - nl;
                l = nl;
            }
            if (t + b > c.dst.h) {
                int nt = c.dst.h * t / (t + b);
                b = c.dst.h - nt;
                t = nt;
            }
            auto source = [](int d, int start, int size, int first, int last, int pic_size, int* s) {
                int o = d - start;
                if (o < first) *s = o;
                else if (o >= size - last) *s = pic_size - (size - o);
                else if (pic_size - first - last <= 0) return false;
                else *s = first + (o - first) % (pic_size - first - last);
                return true;
            };
            for (int y = 0; y < 40; ++y)
                for (int x = 0; x < 40; ++x) {
                    if (!c.clip.contains(x, y) || !c.dst.contains(x, y)) continue;
                    int sx = 0, sy = 0;
                    if (!source(x, c.dst.x, c.dst.w, l, r, 17, &sx) || !source(y, c.dst.y, c.dst.h, t, b, 17, &sy))
                        continue;
                    uint32_t p = pic->pixel(sx, sy);
                    uint32_t& w = want[static_cast<size_t>(y * 40 + x)];
                    w = use_alpha && pic->has_alpha() ? blend_one(w, p) : (p | 0xFF000000u);
                }
            for (int i = 0; i < 1600; ++i)
                ASSERT_EQ(canvas.pixels()[i], want[static_cast<size_t>(i)])
                    << "case " << (&c - cases) << " kind " << k << " at " << i % 40 << "," << i / 40;
        }
    }
}
