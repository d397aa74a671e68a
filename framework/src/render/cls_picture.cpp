#include "ozgi/cls_picture.h"

#include <cstring>

namespace ozgi {

namespace {

// Pictures wider or taller than this are refused: no icon comes near it, and it
// keeps a corrupt header from asking for gigabytes.
constexpr long long MAX_SIDE = 16384;
constexpr long long FILE_HEADER_SIZE = 14;
constexpr long long INFO_HEADER_SIZE = 40;
constexpr uint32_t BI_RGB = 0;

uint32_t read_u32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

uint16_t read_u16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

cls_sp<cls_picture> fail(cls_string* error, const cls_string& reason) {
    if (error) *error = reason;
    return cls_sp<cls_picture>();
}

} // namespace

cls_picture::cls_picture(int width, int height, bool has_alpha)
    : m_width(width), m_height(height), m_has_alpha(has_alpha), m_pixels(width * height) {
    for (int i = 0; i < width * height; ++i) m_pixels.append(0);
}

void cls_picture::know_rows() const {
    if (m_spans_known) return;
    size_t rows = static_cast<size_t>(m_height);
    m_span_first.assign(rows, 0);
    m_span_end.assign(rows, 0);
    m_run_first.assign(rows, 0);
    m_run_end.assign(rows, 0);
    for (int row = 0; row < m_height; ++row) {
        const uint32_t* p = m_pixels.begin() + static_cast<long>(row) * m_width;
        int f = 0, e = m_width;
        while (f < e && (p[f] >> 24) == 0) ++f;
        while (e > f && (p[e - 1] >> 24) == 0) --e;
        m_span_first[static_cast<size_t>(row)] = f;
        m_span_end[static_cast<size_t>(row)] = e;
        int best_first = 0, best_end = 0;
        for (int x = f; x < e;) {
            if ((p[x] >> 24) != 255) {
                ++x;
                continue;
            }
            int start = x;
            while (x < e && (p[x] >> 24) == 255) ++x;
            if (x - start > best_end - best_first) {
                best_first = start;
                best_end = x;
            }
        }
        m_run_first[static_cast<size_t>(row)] = best_first;
        m_run_end[static_cast<size_t>(row)] = best_end;
    }
    m_spans_known = true;
}

void cls_picture::visible_span(int y, int* first, int* end) const {
    if (!m_has_alpha) {
        *first = 0;
        *end = m_width;
        return;
    }
    know_rows();
    *first = m_span_first[static_cast<size_t>(y)];
    *end = m_span_end[static_cast<size_t>(y)];
}

void cls_picture::opaque_run(int y, int* first, int* end) const {
    know_rows();
    *first = m_run_first[static_cast<size_t>(y)];
    *end = m_run_end[static_cast<size_t>(y)];
}

bool cls_picture::is_transparent(const cls_rect& part) const {
    cls_rect p = part.intersect(cls_rect{0, 0, m_width, m_height});
    if (p.is_empty()) return true;
    if (!m_has_alpha) return false;
    return answer(p).transparent;
}

bool cls_picture::is_opaque(const cls_rect& part) const {
    cls_rect p = part.intersect(cls_rect{0, 0, m_width, m_height});
    if (p.is_empty()) return true;
    return answer(p).opaque;
}

const cls_picture::part_answer_t& cls_picture::answer(const cls_rect& p) const {
    for (const part_answer_t& a : m_part_answers)
        if (a.part == p) return a;
    part_answer_t a{p, true, true};
    for (int y = p.y; y < p.bottom() && (a.transparent || a.opaque); ++y) {
        const uint32_t* row = m_pixels.begin() + static_cast<long>(y) * m_width;
        for (int x = p.x; x < p.right(); ++x) {
            uint32_t alpha = row[x] >> 24;
            if (alpha != 0) a.transparent = false;
            if (alpha != 255) a.opaque = false;
        }
    }
    // Few parts are ever asked about (a nine-slice asks for the same nine each
    // time); beyond this many the answer is worked out each time.
    const size_t MAX_ANSWERS = 16;
    if (m_part_answers.size() < MAX_ANSWERS) {
        m_part_answers.push_back(a);
        return m_part_answers.back();
    }
    m_last_answer = a;
    return m_last_answer;
}

cls_sp<cls_picture> cls_picture::decode_bmp(const void* data, long long size, cls_string* error) {
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    cls_string reason;
    if (data == nullptr || size <= 0) return fail(error, "Empty BMP file.");
    if (size < 2 || bytes[0] != 'B' || bytes[1] != 'M') return fail(error, "Not a BMP file: it does not begin with \"BM\".");
    if (size < FILE_HEADER_SIZE + 4)
        return fail(error, reason.print("Truncated BMP file: %lld bytes, the headers need %lld.", size,
                                        FILE_HEADER_SIZE + INFO_HEADER_SIZE));
    uint32_t data_offset = read_u32(bytes + 10);
    uint32_t header_size = read_u32(bytes + 14);
    if (header_size < INFO_HEADER_SIZE)
        return fail(error, reason.print("Unsupported BMP header of %u bytes (at least %lld expected).", header_size,
                                        INFO_HEADER_SIZE));
    if (FILE_HEADER_SIZE + static_cast<long long>(header_size) > size)
        return fail(error, reason.print("BMP header of %u bytes reaches beyond the end of the file (%lld bytes).",
                                        header_size, size));
    int32_t width = static_cast<int32_t>(read_u32(bytes + 18));
    int32_t height = static_cast<int32_t>(read_u32(bytes + 22));
    uint16_t planes = read_u16(bytes + 26);
    uint16_t bpp = read_u16(bytes + 28);
    uint32_t compression = read_u32(bytes + 30);
    if (width == 0 || height == 0) return fail(error, reason.print("BMP has zero size (%d x %d).", width, height));
    bool top_down = height < 0;
    long long w = width;
    long long h = top_down ? -static_cast<long long>(height) : height;
    if (w < 0) return fail(error, reason.print("BMP has a negative width (%d).", width));
    if (w > MAX_SIDE || h > MAX_SIDE)
        return fail(error, reason.print("BMP is too large (%lld x %lld, at most %lld on a side).", w, h, MAX_SIDE));
    if (planes != 1) return fail(error, reason.print("BMP has %u planes (1 expected).", planes));
    if (bpp != 24 && bpp != 32)
        return fail(error, reason.print("Unsupported BMP bit depth %u (only 24 and 32 bits per pixel are read).", bpp));
    if (compression != BI_RGB)
        return fail(error, reason.print("Unsupported BMP compression %u (only uncompressed BI_RGB is read).", compression));
    if (data_offset < FILE_HEADER_SIZE + header_size)
        return fail(error, reason.print("BMP pixel data offset %u lies inside its headers.", data_offset));
    long long row_size = ((w * bpp + 31) / 32) * 4;
    long long needed = static_cast<long long>(data_offset) + row_size * h;
    if (needed > size)
        return fail(error, reason.print("Truncated BMP file: the pixels need %lld bytes, the file has %lld.", needed, size));

    bool has_alpha = bpp == 32;
    cls_sp<cls_picture> pic(OZGI_NEW(cls_picture)(static_cast<int>(w), static_cast<int>(h), has_alpha));
    uint32_t* out = pic->pixels();
    uint32_t alpha_seen = 0;
    int bytes_per_pixel = bpp / 8;
    for (long long row = 0; row < h; ++row) {
        long long file_row = top_down ? row : h - 1 - row;
        const unsigned char* src = bytes + data_offset + file_row * row_size;
        uint32_t* dst = out + row * w;
        for (long long x = 0; x < w; ++x) {
            const unsigned char* p = src + x * bytes_per_pixel;
            uint32_t a = has_alpha ? p[3] : 255;
            alpha_seen |= a;
            dst[x] = (a << 24) | (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[1]) << 8) | p[0];
        }
    }
    // Many tools write 32-bit BMPs whose fourth byte is always zero; such a picture
    // would be invisible, so it is taken as opaque.
    if (has_alpha && alpha_seen == 0) {
        for (long long i = 0; i < w * h; ++i) out[i] |= 0xFF000000u;
        pic->m_has_alpha = false;
    }
    return pic;
}

} // namespace ozgi
