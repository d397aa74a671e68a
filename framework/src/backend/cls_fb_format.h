#pragma once
// A framebuffer's pixel layout (16, 24 or 32 bits, each colour a bit field) and
// the conversion of the framework's 0xAARRGGBB pixels into it.
#include <cstdint>

#include "ozgi/cls_string.h"

namespace ozgi {

class cls_fb_format {
public:
    /// One colour's place in a pixel: its lowest bit and its width in bits.
    struct field_t {
        int offset = 0;
        int length = 0;
    };

    /// Takes the layout; false, with the reason, for one that cannot be drawn
    /// (a palette, a colour wider than 8 bits, a field outside the pixel).
    bool set(int bits_per_pixel, field_t red, field_t green, field_t blue, cls_string* error);
    /// The usual layout of a depth: 32 XRGB8888, 24 RGB888, 16 RGB565.
    bool set_default(int bits_per_pixel, cls_string* error);
    int bytes_per_pixel() const { return m_bits / 8; }
    int bits_per_pixel() const { return m_bits; }
    /// Writes `count` pixels of `argb` to `out` in this layout.
    void convert(const uint32_t* argb, int count, unsigned char* out) const;

private:
    enum kind_t { XRGB8888, RGB565, GENERIC };
    int m_bits = 0;
    kind_t m_kind = GENERIC;
    field_t m_red, m_green, m_blue;
};

} // namespace ozgi
