#include "backend/cls_fbdev_backend.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>


namespace ozgi {

namespace {

bool parse_positive(const std::string& text, int* out) {
    if (text.empty() || text.size() > 6) return false;
    int v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    if (v <= 0) return false;
    *out = v;
    return true;
}

} // namespace

cls_sp<if_display_backend> cls_fbdev_backend::create(const display_options_t& options, cls_string*) {
    return cls_sp<if_display_backend>(OZGI_NEW(cls_fbdev_backend)(options));
}

cls_fbdev_backend::cls_fbdev_backend(const display_options_t& options) : cls_display_backend(options) {}

cls_fbdev_backend::~cls_fbdev_backend() {
    m_console.give_back();
    m_input.close_all();
    close_framebuffer();
}

bool cls_fbdev_backend::parse_geometry(const cls_string& text, int* w, int* h, int* bpp, int* stride) {
    std::string s(text.c_str());
    size_t x = s.find('x'), c1 = s.find(':');
    if (x == std::string::npos || c1 == std::string::npos || x > c1) return false;
    size_t c2 = s.find(':', c1 + 1);
    std::string depth = s.substr(c1 + 1, c2 == std::string::npos ? std::string::npos : c2 - c1 - 1);
    if (!parse_positive(s.substr(0, x), w) || !parse_positive(s.substr(x + 1, c1 - x - 1), h) ||
        !parse_positive(depth, bpp))
        return false;
    if (*bpp != 16 && *bpp != 24 && *bpp != 32) return false;
    int row = *w * (*bpp / 8);
    *stride = row;
    if (c2 != std::string::npos && (!parse_positive(s.substr(c2 + 1), stride) || *stride < row)) return false;
    return true;
}

void cls_fbdev_backend::close_framebuffer() {
    if (m_map) ::munmap(m_map, m_map_len);
    m_map = nullptr;
    m_map_len = 0;
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

bool cls_fbdev_backend::open_framebuffer(const cls_string& path, cls_string* error) {
    cls_string reason;
    m_fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (m_fd < 0) {
        if (error) *error = reason.print("Can't open the framebuffer %s: %s.", path.c_str(), std::strerror(errno));
        return false;
    }
    fb_var_screeninfo var{};
    fb_fix_screeninfo fix{};
    if (::ioctl(m_fd, FBIOGET_VSCREENINFO, &var) == 0 && ::ioctl(m_fd, FBIOGET_FSCREENINFO, &fix) == 0) {
        if (fix.type != FB_TYPE_PACKED_PIXELS ||
            (fix.visual != FB_VISUAL_TRUECOLOR && fix.visual != FB_VISUAL_DIRECTCOLOR)) {
            if (error)
                *error = reason.print("The framebuffer %s is not a true-colour one (type %u, visual %u).", path.c_str(),
                                      fix.type, fix.visual);
            return false;
        }
        typedef cls_fb_format::field_t field_t;
        if (!m_format.set(static_cast<int>(var.bits_per_pixel),
                          field_t{static_cast<int>(var.red.offset), static_cast<int>(var.red.length)},
                          field_t{static_cast<int>(var.green.offset), static_cast<int>(var.green.length)},
                          field_t{static_cast<int>(var.blue.offset), static_cast<int>(var.blue.length)}, error))
            return false;
        m_panel_w = static_cast<int>(var.xres);
        m_panel_h = static_cast<int>(var.yres);
        m_stride = static_cast<int>(fix.line_length);
        m_visible = static_cast<size_t>(var.yoffset) * m_stride +
                    static_cast<size_t>(var.xoffset) * m_format.bytes_per_pixel();
        m_map_len = fix.smem_len;
    } else {
        // Not a framebuffer device: a file standing in for one, described by
        // --ozgi-fb-geometry=.
        int why = errno;
        cls_string geometry;
        if (!options().value("--ozgi-fb-geometry=", &geometry)) {
            if (error)
                *error = reason.print("Can't read the geometry of the framebuffer %s (%s); a file standing in for one "
                                      "needs --ozgi-fb-geometry=WxH:BPP[:STRIDE].",
                                      path.c_str(), std::strerror(why));
            return false;
        }
        int bpp = 0;
        if (!parse_geometry(geometry, &m_panel_w, &m_panel_h, &bpp, &m_stride)) {
            if (error)
                *error = reason.print("Bad --ozgi-fb-geometry=%s (WxH:BPP[:STRIDE], BPP 16, 24 or 32, "
                                      "STRIDE in bytes).",
                                      geometry.c_str());
            return false;
        }
        if (!m_format.set_default(bpp, error)) return false;
        m_visible = 0;
        m_map_len = static_cast<size_t>(m_stride) * m_panel_h;
        struct stat st {};
        // A file that is too short grows to the panel's size.
        if (::fstat(m_fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<size_t>(st.st_size) < m_map_len &&
            ::ftruncate(m_fd, static_cast<off_t>(m_map_len)) != 0) {
            if (error) *error = reason.print("Can't size the file %s: %s.", path.c_str(), std::strerror(errno));
            return false;
        }
    }
    size_t needed = m_visible + static_cast<size_t>(m_stride) * (m_panel_h > 0 ? m_panel_h - 1 : 0) +
                    static_cast<size_t>(m_panel_w) * m_format.bytes_per_pixel();
    if (m_panel_w <= 0 || m_panel_h <= 0 || m_stride < m_panel_w * m_format.bytes_per_pixel() || m_map_len < needed) {
        if (error)
            *error = reason.print("The framebuffer %s has an unusable geometry: %dx%d pixels, %d bytes a row, %zu "
                                  "bytes of memory.",
                                  path.c_str(), m_panel_w, m_panel_h, m_stride, m_map_len);
        return false;
    }
    if (screen().physical_width() > m_panel_w || screen().physical_height() > m_panel_h) {
        if (error)
            *error = reason.print("The framebuffer %s is %dx%d pixels, smaller than the %dx%d picture.", path.c_str(),
                                  m_panel_w, m_panel_h, screen().physical_width(), screen().physical_height());
        return false;
    }
    void* map = ::mmap(nullptr, m_map_len, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (map == MAP_FAILED) {
        if (error) *error = reason.print("Can't map the framebuffer %s: %s.", path.c_str(), std::strerror(errno));
        m_map_len = 0;
        return false;
    }
    m_map = static_cast<unsigned char*>(map);
    return true;
}

bool cls_fbdev_backend::open(int width, int height, const cls_string&, cls_string* error) {
    if (width <= 0 || height <= 0) {
        if (error) error->print("Can't open a %d x %d screen.", width, height);
        return false;
    }
    cls_string path = "/dev/fb0";
    options().value("--ozgi-fbdev=", &path);
    setup_screen(width, height);
    if (!open_framebuffer(path, error)) {
        close_framebuffer();
        return false;
    }
    if (!m_input.open(options(), m_panel_w, m_panel_h, error)) {
        close_framebuffer();
        return false;
    }
    place_on_panel(m_panel_w, m_panel_h);
    struct stat st {};
    // Only a real panel has a console under it (and may have been blanked by
    // it); a file standing in for one has neither.
    if (::fstat(m_fd, &st) == 0 && S_ISCHR(st.st_mode)) {
        m_console.take();
        ::ioctl(m_fd, FBIOBLANK, FB_BLANK_UNBLANK);
    }
    // The whole panel starts black: the border round a smaller picture too, and
    // whatever the console left there.
    std::vector<uint32_t> black(static_cast<size_t>(m_panel_w), 0xFF000000u);
    for (int y = 0; y < m_panel_h; ++y)
        m_format.convert(black.data(), m_panel_w, m_map + m_visible + static_cast<size_t>(y) * m_stride);
    return true;
}

void cls_fbdev_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (!m_map) return;
    cls_rect r = screen().update(argb, stride, dirty);
    if (r.is_empty()) return;
    const uint32_t* picture = screen().physical();
    int pw = screen().physical_width();
    int bytes = m_format.bytes_per_pixel();
    for (int y = r.y; y < r.bottom(); ++y) {
        unsigned char* out = m_map + m_visible + static_cast<size_t>(panel_top() + y) * m_stride +
                             static_cast<size_t>(panel_left() + r.x) * bytes;
        m_format.convert(picture + static_cast<long>(y) * pw + r.x, r.w, out);
    }
}

bool cls_fbdev_backend::read_device_input(input_t* out) {
    while (m_input.read(out))
        if (panel_to_logical(out)) return true;
    return false;
}

void cls_fbdev_backend::wait(int timeout_ms, const int* fds, int nfds) {
    if (has_queued_input()) return;
    m_polled.clear();
    m_input.add_poll_fds(&m_polled);
    // A signal ends the wait early; the caller's loop simply comes round again.
    poll_with(&m_polled, timeout_ms, fds, nfds);
}

} // namespace ozgi
