#pragma once
// The turn between the GUI's logical screen and the physical panel, and the
// physical picture the panel shows. Shared by the backends.
#include <cstdint>
#include "ozgi/cls_array.h"
#include "ozgi/cls_rect.h"

namespace ozgi {

class cls_screen_rotation {
public:
    /// A logical screen of `width` x `height` shown turned clockwise by `rotate`
    /// degrees (0, 90, 180 or 270); the physical picture starts black.
    void setup(int width, int height, int rotate);

    int logical_width() const { return m_width; }
    int logical_height() const { return m_height; }
    /// Size of the panel in pixels (width and height swapped at 90 and 270).
    int physical_width() const { return m_rotate == 90 || m_rotate == 270 ? m_height : m_width; }
    int physical_height() const { return m_rotate == 90 || m_rotate == 270 ? m_width : m_height; }

    /// Maps a panel pixel to the logical pixel shown there.
    void to_logical(int px, int py, int* x, int* y) const;
    /// Maps a logical pixel to the panel pixel showing it.
    void to_physical(int x, int y, int* px, int* py) const;
    /// Copies the `dirty` part of the logical framebuffer into the physical picture
    /// and returns the physical rectangle it landed in (empty when nothing).
    cls_rect update(const uint32_t* argb, int stride, const cls_rect& dirty);
    /// The physical picture, physical_width() pixels per row.
    const uint32_t* physical() const { return m_physical.begin(); }
    bool is_set_up() const { return m_width > 0; }
    /// Copies the physical picture out.
    void copy_physical(cls_array<uint32_t>* out) const;

private:
    int m_width = 0;
    int m_height = 0;
    int m_rotate = 0;
    cls_array<uint32_t> m_physical;
};

} // namespace ozgi
