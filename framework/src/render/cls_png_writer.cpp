#include "ozgi/cls_png_writer.h"

#include <png.h>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <cerrno>

#include "ozgi/cls_array.h"

namespace ozgi {

namespace {

// libpng reports errors by longjmp; the message is kept here for the caller.
struct png_error_state_t {
    char message[256];
};

void on_png_error(png_structp png, png_const_charp message) {
    png_error_state_t* state = static_cast<png_error_state_t*>(png_get_error_ptr(png));
    std::snprintf(state->message, sizeof(state->message), "%s", message);
    png_longjmp(png, 1);
}

void on_png_warning(png_structp, png_const_charp) {}

} // namespace

bool cls_png_writer::write(const cls_string& path, const uint32_t* argb, int w, int h, int stride, cls_string* error) {
    cls_string reason;
    if (w <= 0 || h <= 0 || argb == nullptr || stride < w) {
        if (error) *error = reason.print("Can't write %s: nothing to write (%d x %d).", path.c_str(), w, h);
        return false;
    }
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        if (error) *error = reason.print("Can't write %s: %s.", path.c_str(), std::strerror(errno));
        return false;
    }
    png_error_state_t state;
    state.message[0] = '\0';
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state, on_png_error, on_png_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info) {
        png_destroy_write_struct(&png, nullptr);
        std::fclose(file);
        if (error) *error = reason.print("Can't write %s: libpng could not start.", path.c_str());
        return false;
    }
    // Allocated before setjmp so that a longjmp leaves nothing to leak.
    cls_array<png_byte> row(w * 4);
    for (int i = 0; i < w * 4; ++i) row.append(0);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        if (error) *error = reason.print("Can't write %s: %s.", path.c_str(), state.message);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(w), static_cast<png_uint_32>(h), 8, PNG_COLOR_TYPE_RGB_ALPHA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 3);
    png_write_info(png, info);
    for (int y = 0; y < h; ++y) {
        const uint32_t* in = argb + static_cast<long>(y) * stride;
        png_byte* out = row.begin();
        for (int x = 0; x < w; ++x) {
            uint32_t p = in[x];
            out[x * 4 + 0] = static_cast<png_byte>(p >> 16);
            out[x * 4 + 1] = static_cast<png_byte>(p >> 8);
            out[x * 4 + 2] = static_cast<png_byte>(p);
            out[x * 4 + 3] = static_cast<png_byte>(p >> 24);
        }
        png_write_row(png, out);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(file) != 0) {
        if (error) *error = reason.print("Can't write %s: %s.", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

} // namespace ozgi
