#pragma once
// Helpers shared by the rendering tests: building BMP file images and reading PNG
// files back with libpng.
#include <png.h>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace render_test {

/// A BMP file image of w x h pixels at 24 or 32 bits, filled by pixel(x, y)
/// (0xAARRGGBB, y counted from the top). Rows are stored bottom-up unless `top_down`.
template <typename F>
std::vector<unsigned char> make_bmp(int w, int h, int bpp, F pixel, bool top_down = false) {
    int row_size = ((w * bpp + 31) / 32) * 4;
    int data_size = row_size * h;
    std::vector<unsigned char> out(54 + data_size, 0);
    auto put32 = [&](int at, uint32_t v) {
        for (int i = 0; i < 4; ++i) out[at + i] = static_cast<unsigned char>(v >> (8 * i));
    };
    auto put16 = [&](int at, uint16_t v) {
        out[at] = static_cast<unsigned char>(v);
        out[at + 1] = static_cast<unsigned char>(v >> 8);
    };
    out[0] = 'B';
    out[1] = 'M';
    put32(2, static_cast<uint32_t>(out.size()));
    put32(10, 54);
    put32(14, 40);
    put32(18, static_cast<uint32_t>(w));
    put32(22, static_cast<uint32_t>(top_down ? -h : h));
    put16(26, 1);
    put16(28, static_cast<uint16_t>(bpp));
    put32(30, 0);
    put32(34, static_cast<uint32_t>(data_size));
    for (int y = 0; y < h; ++y) {
        int file_row = top_down ? y : h - 1 - y;
        unsigned char* row = out.data() + 54 + file_row * row_size;
        for (int x = 0; x < w; ++x) {
            uint32_t p = pixel(x, y);
            unsigned char* px = row + x * (bpp / 8);
            px[0] = static_cast<unsigned char>(p);
            px[1] = static_cast<unsigned char>(p >> 8);
            px[2] = static_cast<unsigned char>(p >> 16);
            if (bpp == 32) px[3] = static_cast<unsigned char>(p >> 24);
        }
    }
    return out;
}

/// Reads any PNG as 0xAARRGGBB pixels; false when libpng cannot read it.
inline bool read_png(const std::string& path, int* w, int* h, std::vector<uint32_t>* pixels) {
    png_image image;
    std::memset(&image, 0, sizeof(image));
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    image.format = PNG_FORMAT_BGRA;
    std::vector<unsigned char> buffer(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, buffer.data(), 0, nullptr)) return false;
    *w = static_cast<int>(image.width);
    *h = static_cast<int>(image.height);
    pixels->resize(static_cast<size_t>(*w) * *h);
    for (size_t i = 0; i < pixels->size(); ++i) {
        const unsigned char* p = buffer.data() + i * 4;
        (*pixels)[i] = (static_cast<uint32_t>(p[3]) << 24) | (static_cast<uint32_t>(p[2]) << 16) |
                       (static_cast<uint32_t>(p[1]) << 8) | p[0];
    }
    return true;
}

} // namespace render_test
