#pragma once
// Drawing into a 32-bit framebuffer of 0xAARRGGBB pixels. Every operation is cut to
// the clip rectangle (which never reaches outside the framebuffer). The framebuffer
// is treated as opaque: blending mixes the source into the existing colour and
// leaves the destination alpha at 255.
#include <cstdint>
#include "ozgi/cls_array.h"
#include "ozgi/cls_color.h"
#include "ozgi/cls_picture.h"
#include "ozgi/cls_rect.h"

namespace ozgi {

class cls_canvas {
public:
    /// Draws into memory owned by the caller: `stride` is the number of pixels
    /// (not bytes) from one row to the next. The clip is the whole framebuffer.
    cls_canvas(uint32_t* pixels, int width, int height, int stride);
    /// Draws into a framebuffer of its own, `width` x `height`, cleared to opaque black.
    cls_canvas(int width, int height);

    uint32_t* pixels() { return m_pixels; }
    const uint32_t* pixels() const { return m_pixels; }
    int width() const { return m_width; }
    int height() const { return m_height; }
    /// Pixels (not bytes) from one row to the next.
    int stride() const { return m_stride; }
    /// The pixel at (x, y), which must lie inside the framebuffer.
    uint32_t pixel(int x, int y) const { return m_pixels[y * m_stride + x]; }

    /// Limits drawing to `rect` cut to the framebuffer.
    void set_clip(const cls_rect& rect);
    /// The current clip rectangle.
    const cls_rect& clip() const { return m_clip; }

    /// Fills `rect` with `color`, blended by its alpha (alpha 0 draws nothing).
    void fill_rect(const cls_rect& rect, const cls_color& color);
    /// Draws the whole picture with its top-left corner at (x, y). With `use_alpha`
    /// and a picture that has alpha, pixels are blended by their alpha; otherwise
    /// the picture is copied opaque.
    void draw_picture(const cls_picture& pic, int x, int y, bool use_alpha);
    /// Draws the part `src` of the picture with its top-left corner at (x, y).
    void draw_picture_part(const cls_picture& pic, const cls_rect& src, int x, int y, bool use_alpha);
    /// The cells of `dst` and the parts of `pic` that nine-slice drawing pairs, in
    /// rows from the top: cells[i] is tiled from parts[i]. Borders wider than the
    /// picture or than `dst` are cut as draw_tiled_picture cuts them.
    static void nine_slice(const cls_picture& pic, const cls_rect& dst, int left, int right, int top, int bottom,
                           cls_rect cells[9], cls_rect parts[9]);
    /// Nine-slice drawing of the picture into `dst`: the four corners (`left`,
    /// `right` columns wide, `top`, `bottom` rows high) keep their size, the edges
    /// and the middle are tiled (repeated, not stretched) to fill the rest.
    void draw_tiled_picture(const cls_picture& pic, const cls_rect& dst, int left, int right, int top, int bottom,
                            bool use_alpha);
    /// Blends `color` through an 8-bit coverage mask (`pitch` bytes per row) whose
    /// top-left corner goes to (x, y); coverage 255 means fully covered. Text glyphs
    /// are drawn this way.
    void draw_mask(const uint8_t* mask, int mask_w, int mask_h, int pitch, int x, int y, const cls_color& color);

private:
    // Blends the source pixels [from, to) of a row into the same columns of `out`.
    static void blend_row(const uint32_t* in, uint32_t* out, int from, int to);
    // Repeats `part` of the picture over `cell` from its top-left corner, cut to the clip.
    void tile_part(const cls_picture& pic, const cls_rect& part, const cls_rect& cell, bool blend_alpha);

    uint32_t* m_pixels;
    int m_width;
    int m_height;
    int m_stride;
    cls_rect m_clip;
    cls_array<uint32_t> m_own;
};

} // namespace ozgi
