#include "backend/cls_fb_format.h"

#include <cstring>

namespace ozgi {

namespace {

bool field_fits(const cls_fb_format::field_t& f, int bits) {
    return f.length >= 1 && f.length <= 8 && f.offset >= 0 && f.offset + f.length <= bits;
}

// The top `length` bits of an 8-bit colour, moved to `offset`.
inline uint32_t place(uint32_t c8, const cls_fb_format::field_t& f) { return (c8 >> (8 - f.length)) << f.offset; }

} // namespace

bool cls_fb_format::set(int bits, field_t red, field_t green, field_t blue, cls_string* error) {
    if ((bits != 16 && bits != 24 && bits != 32) || !field_fits(red, bits) || !field_fits(green, bits) ||
        !field_fits(blue, bits)) {
        cls_string reason;
        if (error)
            *error = reason.print("Unsupported framebuffer pixel format: %d bits per pixel, red %d/%d, green %d/%d, "
                                  "blue %d/%d (offset/length); 16, 24 and 32-bit true colour can be drawn.",
                                  bits, red.offset, red.length, green.offset, green.length, blue.offset, blue.length);
        return false;
    }
    m_bits = bits;
    m_red = red;
    m_green = green;
    m_blue = blue;
    m_kind = GENERIC;
    if (bits == 32 && red.offset == 16 && red.length == 8 && green.offset == 8 && green.length == 8 &&
        blue.offset == 0 && blue.length == 8)
        m_kind = XRGB8888;
    if (bits == 16 && red.offset == 11 && red.length == 5 && green.offset == 5 && green.length == 6 &&
        blue.offset == 0 && blue.length == 5)
        m_kind = RGB565;
    return true;
}

bool cls_fb_format::set_default(int bits, cls_string* error) {
    if (bits == 16) return set(16, field_t{11, 5}, field_t{5, 6}, field_t{0, 5}, error);
    return set(bits, field_t{16, 8}, field_t{8, 8}, field_t{0, 8}, error);
}

void cls_fb_format::convert(const uint32_t* argb, int count, unsigned char* out) const {
    switch (m_kind) {
    case XRGB8888:
        // The alpha byte is opaque, which an ARGB panel needs and an XRGB one ignores.
        for (int i = 0; i < count; ++i) {
            uint32_t p = argb[i] | 0xFF000000u;
            std::memcpy(out + 4 * i, &p, 4);
        }
        return;
    case RGB565:
        for (int i = 0; i < count; ++i) {
            uint32_t p = argb[i];
            uint16_t v = static_cast<uint16_t>(((p >> 8) & 0xF800u) | ((p >> 5) & 0x07E0u) | ((p >> 3) & 0x001Fu));
            std::memcpy(out + 2 * i, &v, 2);
        }
        return;
    case GENERIC:
        break;
    }
    int bytes = m_bits / 8;
    // Bits of the pixel that no colour uses (the alpha or padding) are set, as
    // for an opaque pixel.
    uint32_t used = (((1u << m_red.length) - 1) << m_red.offset) | (((1u << m_green.length) - 1) << m_green.offset) |
                    (((1u << m_blue.length) - 1) << m_blue.offset);
    uint32_t unused = (m_bits == 32 ? 0xFFFFFFFFu : ((1u << m_bits) - 1)) & ~used;
    for (int i = 0; i < count; ++i) {
        uint32_t p = argb[i];
        uint32_t v =
            place((p >> 16) & 0xFF, m_red) | place((p >> 8) & 0xFF, m_green) | place(p & 0xFF, m_blue) | unused;
        // FIXME: the low byte first, as on the little-endian boards we run on.
        for (int b = 0; b < bytes; ++b) out[bytes * i + b] = static_cast<unsigned char>(v >> (8 * b));
    }
}

} // namespace ozgi
