#pragma once
// Helpers of the framebuffer backend tests: files of evdev records and reading
// pixels back from a file that stands in for a framebuffer.
#include <linux/input.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>
#include <unistd.h>

namespace fbdev_test {

/// A temporary directory, removed with its files.
struct temp_dir_t {
    std::string path;
    temp_dir_t() {
        char name[] = "/tmp/vesk_fbdev_XXXXXX";
        path = ::mkdtemp(name) ? name : "";
    }
    ~temp_dir_t() { std::system(("rm -rf '" + path + "'").c_str()); }
    std::string at(const std::string& rel) const { return path + "/" + rel; }
    /// An empty file to stand in for a framebuffer (it grows to the geometry given).
    std::string fb() const {
        std::ofstream touch(at("fb"));
        return at("fb");
    }
};

/// A run of evdev records, built up as a touch screen or keyboard sends them.
class records_t {
public:
    records_t& ev(int type, int code, int value) {
        input_event e;
        std::memset(&e, 0, sizeof e);
        e.type = static_cast<unsigned short>(type);
        e.code = static_cast<unsigned short>(code);
        e.value = value;
        m_events.push_back(e);
        return *this;
    }
    records_t& syn() { return ev(EV_SYN, SYN_REPORT, 0); }
    /// A multitouch (slot 0) finger going down at raw (x, y).
    records_t& mt_down(int x, int y, int id = 7) {
        return ev(EV_ABS, ABS_MT_SLOT, 0).ev(EV_ABS, ABS_MT_TRACKING_ID, id).ev(EV_ABS, ABS_MT_POSITION_X, x)
            .ev(EV_ABS, ABS_MT_POSITION_Y, y).syn();
    }
    records_t& mt_move(int x, int y) { return ev(EV_ABS, ABS_MT_POSITION_X, x).ev(EV_ABS, ABS_MT_POSITION_Y, y).syn(); }
    records_t& mt_up() { return ev(EV_ABS, ABS_MT_SLOT, 0).ev(EV_ABS, ABS_MT_TRACKING_ID, -1).syn(); }
    /// A single-touch press at raw (x, y).
    records_t& st_down(int x, int y) {
        return ev(EV_KEY, BTN_TOUCH, 1).ev(EV_ABS, ABS_X, x).ev(EV_ABS, ABS_Y, y).syn();
    }
    records_t& st_move(int x, int y) { return ev(EV_ABS, ABS_X, x).ev(EV_ABS, ABS_Y, y).syn(); }
    records_t& st_up() { return ev(EV_KEY, BTN_TOUCH, 0).syn(); }
    /// A key pressed and let go.
    records_t& key(int code) { return ev(EV_KEY, code, 1).syn().ev(EV_KEY, code, 0).syn(); }

    std::string bytes() const {
        return std::string(reinterpret_cast<const char*>(m_events.data()), m_events.size() * sizeof(input_event));
    }
    void write_to(const std::string& path) const {
        std::ofstream out(path, std::ios::binary);
        std::string b = bytes();
        out.write(b.data(), static_cast<std::streamsize>(b.size()));
    }

private:
    std::vector<input_event> m_events;
};

inline std::string read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

/// One pixel of a framebuffer file as 0xRRGGBB: 32 and 24-bit XRGB/RGB, or
/// 16-bit RGB565 with each colour's bits put at the top of its byte.
inline uint32_t fb_pixel(const std::string& fb, int stride, int bpp, int x, int y) {
    size_t at = static_cast<size_t>(y) * stride + static_cast<size_t>(x) * (bpp / 8);
    if (at + bpp / 8 > fb.size()) return 0xDEADBEEFu;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(fb.data()) + at;
    if (bpp == 16) {
        unsigned v = p[0] | (p[1] << 8);
        return (((v >> 11) & 0x1F) << 19) | (((v >> 5) & 0x3F) << 10) | ((v & 0x1F) << 3);
    }
    return (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[1]) << 8) | p[0];
}

/// What a 0xRRGGBB colour becomes in the framebuffer of depth `bpp` (as fb_pixel reads it back).
inline uint32_t in_depth(uint32_t rgb, int bpp) {
    rgb &= 0xFFFFFFu;
    if (bpp != 16) return rgb;
    return rgb & 0xF8FCF8u;
}

} // namespace fbdev_test
