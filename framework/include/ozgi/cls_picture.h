#pragma once
// A decoded picture: width x height pixels as 0xAARRGGBB with straight alpha,
// rows top to bottom. Pictures without an alpha channel hold alpha 255 everywhere.
#include <cstdint>
#include <vector>
#include "ozgi/cls_array.h"
#include "ozgi/cls_rect.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_picture {
public:
    /// A picture of the given size, every pixel 0 (transparent black).
    cls_picture(int width, int height, bool has_alpha);

    int width() const { return m_width; }
    int height() const { return m_height; }
    /// True when the picture came with an alpha channel (a 32-bit BMP).
    bool has_alpha() const { return m_has_alpha; }
    /// The pixels, `width()` per row, rows top to bottom.
    const uint32_t* pixels() const { return m_pixels.begin(); }
    /// The pixels for writing; what the picture knows about its transparent parts
    /// is worked out again after this (so write through a pointer taken after the
    /// last drawing, not one kept from before it).
    uint32_t* pixels() {
        m_spans_known = false;
        m_part_answers.clear();
        return m_pixels.begin();
    }
    /// The pixel at (x, y); the position must lie inside the picture.
    uint32_t pixel(int x, int y) const { return m_pixels[y * m_width + x]; }

    /// Decodes a Windows BMP file image: uncompressed (BI_RGB) 24 or 32 bits per
    /// pixel, rows bottom-up (or top-down when the height is negative). In 32-bit
    /// pictures the fourth byte of a pixel is alpha. On malformed or truncated input
    /// returns null and puts a one-line reason into *error (when not null); never
    /// reads outside the `size` bytes at `data`.
    /// The columns [*first, *end) of row `y` outside which every pixel is wholly
    /// transparent (alpha 0); *first == *end when the whole row is. A picture
    /// without alpha is opaque everywhere. Worked out once for all rows and kept.
    void visible_span(int y, int* first, int* end) const;
    /// The columns [*first, *end) of the longest run of wholly opaque pixels (alpha
    /// 255) in row `y`, which drawing with alpha copies as they are; kept as
    /// visible_span.
    void opaque_run(int y, int* first, int* end) const;
    /// Whether every pixel of `part` (cut to the picture) is wholly transparent; the
    /// answers for the first few parts asked about are kept.
    bool is_transparent(const cls_rect& part) const;
    /// Whether every pixel of `part` (cut to the picture) holds alpha 255, so that
    /// drawing it copies its pixels as they are; kept as is_transparent.
    bool is_opaque(const cls_rect& part) const;

    static cls_sp<cls_picture> decode_bmp(const void* data, long long size, cls_string* error);

private:
    int m_width;
    int m_height;
    bool m_has_alpha;
    cls_array<uint32_t> m_pixels;
    // Per row: the first column that is not wholly transparent and the one after
    // the last, for drawing with alpha that passes by the transparent parts.
    mutable std::vector<int> m_span_first, m_span_end;
    // Per row: the longest run of opaque pixels.
    mutable std::vector<int> m_run_first, m_run_end;
    mutable bool m_spans_known = false;
    // What a part of the picture holds, for the parts asked about.
    struct part_answer_t {
        cls_rect part;
        bool transparent;
        bool opaque;
    };
    // Works out the spans and runs of every row.
    void know_rows() const;
    // The answers for a part inside the picture, kept.
    const part_answer_t& answer(const cls_rect& part) const;
    mutable std::vector<part_answer_t> m_part_answers;
    mutable part_answer_t m_last_answer{};
};

} // namespace ozgi
