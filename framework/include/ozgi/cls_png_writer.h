#pragma once
// Writes pictures as PNG files.
#include <cstdint>
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_png_writer {
public:
    /// Writes `w` x `h` pixels of 0xAARRGGBB (`stride` pixels, not bytes, from one
    /// row to the next) to the file `path` as an 8-bit RGBA PNG. On failure returns
    /// false and puts a one-line reason into *error (when not null).
    static bool write(const cls_string& path, const uint32_t* argb, int w, int h, int stride, cls_string* error);
};

} // namespace ozgi
