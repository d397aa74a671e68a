#include "backend/cls_screen_rotation.h"

#include <cstring>

namespace ozgi {

void cls_screen_rotation::setup(int width, int height, int rotate) {
    m_width = width;
    m_height = height;
    m_rotate = rotate;
    m_physical.clear();
    for (int i = 0; i < width * height; ++i) m_physical.append(0xFF000000u);
}

void cls_screen_rotation::to_logical(int px, int py, int* x, int* y) const {
    switch (m_rotate) {
    case 90: *x = py; *y = m_height - 1 - px; break;
    case 180: *x = m_width - 1 - px; *y = m_height - 1 - py; break;
    case 270: *x = m_width - 1 - py; *y = px; break;
    default: *x = px; *y = py; break;
    }
}

void cls_screen_rotation::to_physical(int x, int y, int* px, int* py) const {
    switch (m_rotate) {
    case 90: *px = m_height - 1 - y; *py = x; break;
    case 180: *px = m_width - 1 - x; *py = m_height - 1 - y; break;
    case 270: *px = y; *py = m_width - 1 - x; break;
    default: *px = x; *py = y; break;
    }
}

cls_rect cls_screen_rotation::update(const uint32_t* argb, int stride, const cls_rect& dirty) {
    cls_rect r = dirty.intersect(cls_rect{0, 0, m_width, m_height});
    if (r.is_empty() || argb == nullptr) return cls_rect{};
    uint32_t* phys = m_physical.begin();
    int pw = physical_width();
    for (int y = r.y; y < r.bottom(); ++y) {
        const uint32_t* in = argb + static_cast<long>(y) * stride;
        switch (m_rotate) {
        case 0:
            std::memcpy(phys + static_cast<long>(y) * pw + r.x, in + r.x, sizeof(uint32_t) * r.w);
            break;
        case 90:
            // Logical (x, y) lands at panel (height - 1 - y, x).
            for (int x = r.x; x < r.right(); ++x) phys[static_cast<long>(x) * pw + (m_height - 1 - y)] = in[x];
            break;
        case 180: {
            uint32_t* out = phys + static_cast<long>(m_height - 1 - y) * pw;
            for (int x = r.x; x < r.right(); ++x) out[m_width - 1 - x] = in[x];
            break;
        }
        case 270:
            // Logical (x, y) lands at panel (y, width - 1 - x).
            for (int x = r.x; x < r.right(); ++x) phys[static_cast<long>(m_width - 1 - x) * pw + y] = in[x];
            break;
        }
    }
    switch (m_rotate) {
    case 90: return cls_rect{m_height - r.bottom(), r.x, r.h, r.w};
    case 180: return cls_rect{m_width - r.right(), m_height - r.bottom(), r.w, r.h};
    case 270: return cls_rect{r.y, m_width - r.right(), r.h, r.w};
    default: return r;
    }
}

void cls_screen_rotation::copy_physical(cls_array<uint32_t>* out) const { *out = m_physical; }

} // namespace ozgi
