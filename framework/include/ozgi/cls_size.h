#pragma once
// A width and a height in pixels.

namespace ozgi {

class cls_size {
public:
    /// A size of `width` x `height` pixels.
    cls_size(int width = 0, int height = 0) : m_width(width), m_height(height) {}
    /// The horizontal extent (for move_by: the distance along x).
    int width() const { return m_width; }
    /// The vertical extent (for move_by: the distance along y).
    int height() const { return m_height; }

    int m_width;
    int m_height;
};

} // namespace ozgi
