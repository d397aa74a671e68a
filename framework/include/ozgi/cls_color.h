#pragma once
// A colour with straight (not premultiplied) alpha; alpha 255 is opaque.
#include <cstdint>
#include "ozgi/cls_string.h"

namespace ozgi {

struct cls_color {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    /// The default colour is fully transparent, so an unset colour draws nothing.
    uint8_t a = 0;

    /// Reads "r,g,b,a" (four decimal numbers 0-255, blanks around them allowed),
    /// "white" or "black" into *out. Anything else returns false and leaves *out alone.
    static bool parse(const cls_string& text, cls_color* out);
    /// Builds a colour from a 0xAARRGGBB value.
    static cls_color from_argb(uint32_t argb) {
        return cls_color{static_cast<uint8_t>(argb >> 16), static_cast<uint8_t>(argb >> 8),
                         static_cast<uint8_t>(argb), static_cast<uint8_t>(argb >> 24)};
    }
    /// The colour as 0xAARRGGBB.
    uint32_t argb() const {
        return (static_cast<uint32_t>(a) << 24) | (static_cast<uint32_t>(r) << 16) |
               (static_cast<uint32_t>(g) << 8) | static_cast<uint32_t>(b);
    }
    bool operator==(const cls_color& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
    bool operator!=(const cls_color& o) const { return !(*this == o); }
};

} // namespace ozgi
