#include "backend/cls_evdev_input.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>

#include "backend/evdev_key_names.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

struct cls_evdev_input::device_t {
    int fd = -1;
    cls_string path;
    // The ranges of the single-touch and the multitouch axes.
    range_t range;
    range_t mt_range;
    // Once a device speaks the multitouch protocol its single-touch emulation
    // is ignored, or every touch would count twice.
    bool multitouch = false;
    int slot = 0;
    // Whether the device tracks its fingers (ABS_MT_TRACKING_ID); one that does
    // not (the older multitouch protocol) and a single-touch one say with
    // BTN_TOUCH whether a finger is down.
    bool tracking = false;
    // The older protocol sends every finger's contact in turn; the first one of
    // a frame is the touch.
    bool contact_done = false;
    // The touch as the events of the current frame leave it.
    bool down = false;
    int raw_x = 0;
    int raw_y = 0;
    // The touch as last reported.
    bool was_down = false;
    int px = 0;
    int py = 0;
    // A part of a record read from a FIFO, waiting for the rest.
    unsigned char partial[sizeof(input_event)];
    int partial_len = 0;
};

namespace {

// Records read from a device in one go.
constexpr int READ_BATCH = 64;

bool test_bit(const unsigned long* bits, int bit) {
    const int per = static_cast<int>(sizeof(unsigned long) * 8);
    return (bits[bit / per] >> (bit % per)) & 1UL;
}

bool parse_int(const std::string& text, int* out) {
    if (text.empty() || text.size() > 10) return false;
    size_t i = text[0] == '-' ? 1 : 0;
    if (i == text.size()) return false;
    long long v = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        v = v * 10 + (text[i] - '0');
    }
    *out = static_cast<int>(text[0] == '-' ? -v : v);
    return true;
}

// The range of one axis pair, or `fallback` when the device cannot tell it.
cls_evdev_input::range_t axis_range(int fd, int x_axis, int y_axis, const cls_evdev_input::range_t& fallback) {
    input_absinfo x{}, y{};
    cls_evdev_input::range_t r;
    if (::ioctl(fd, EVIOCGABS(x_axis), &x) == 0 && ::ioctl(fd, EVIOCGABS(y_axis), &y) == 0) {
        r.xmin = x.minimum;
        r.xmax = x.maximum;
        r.ymin = y.minimum;
        r.ymax = y.maximum;
    }
    return r.is_set() ? r : fallback;
}

// Whether the device is a touch screen or has keys, from its capabilities.
bool is_useful(int fd) {
    unsigned long ev[(EV_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
    unsigned long abs[(ABS_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
    unsigned long key[(KEY_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
    if (::ioctl(fd, EVIOCGBIT(0, sizeof ev), ev) < 0) return false;
    if (test_bit(ev, EV_ABS) && ::ioctl(fd, EVIOCGBIT(EV_ABS, sizeof abs), abs) < 0) return false;
    if (test_bit(ev, EV_KEY) && ::ioctl(fd, EVIOCGBIT(EV_KEY, sizeof key), key) < 0) return false;
    bool mt = test_bit(abs, ABS_MT_POSITION_X) && test_bit(abs, ABS_MT_POSITION_Y);
    bool st = test_bit(abs, ABS_X) && test_bit(abs, ABS_Y) && test_bit(key, BTN_TOUCH);
    if (mt || st) return true;
    for (int code = 0; code <= KEY_MAX; ++code)
        if (evdev_is_key(code) && test_bit(key, code)) return true;
    return false;
}

} // namespace

cls_evdev_input::~cls_evdev_input() { close_all(); }

bool cls_evdev_input::parse_range(const cls_string& text, range_t* out) {
    std::string s(text.c_str());
    int v[4];
    size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        size_t end = i < 3 ? s.find(':', at) : s.size();
        if (end == std::string::npos || !parse_int(s.substr(at, end - at), &v[i])) return false;
        at = end + 1;
    }
    range_t r;
    r.xmin = v[0];
    r.xmax = v[1];
    r.ymin = v[2];
    r.ymax = v[3];
    if (!r.is_set()) return false;
    *out = r;
    return true;
}

bool cls_evdev_input::add(const char* path, bool only_if_useful, const range_t& fallback) {
    struct stat st {};
    // A FIFO is opened for writing too, so that it does not read as ended while
    // no writer has it open yet.
    int mode = ::stat(path, &st) == 0 && S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY;
    int fd = ::open(path, mode | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    if (only_if_useful && !is_useful(fd)) {
        ::close(fd);
        return true;
    }
    device_t* dev = OZGI_NEW(device_t)();
    dev->fd = fd;
    dev->path = path;
    dev->range = axis_range(fd, ABS_X, ABS_Y, fallback);
    dev->mt_range = axis_range(fd, ABS_MT_POSITION_X, ABS_MT_POSITION_Y, fallback);
    m_devices.push_back(dev);
    return true;
}

bool cls_evdev_input::open(const cls_string& paths, bool scan, const range_t& fallback, int panel_w, int panel_h,
                           cls_string* error) {
    close_all();
    m_panel_w = panel_w;
    m_panel_h = panel_h;
    if (scan) {
        std::vector<std::string> names;
        if (DIR* dir = ::opendir("/dev/input")) {
            while (dirent* e = ::readdir(dir))
                if (std::strncmp(e->d_name, "event", 5) == 0) names.push_back(std::string("/dev/input/") + e->d_name);
            ::closedir(dir);
        }
        std::sort(names.begin(), names.end());
        // A device we may not read is not ours to use.
        for (const std::string& name : names) add(name.c_str(), true, fallback);
        return true;
    }
    std::string all(paths.c_str());
    size_t at = 0;
    while (at <= all.size()) {
        size_t end = all.find(',', at);
        if (end == std::string::npos) end = all.size();
        std::string path = all.substr(at, end - at);
        at = end + 1;
        if (path.empty()) continue;
        if (!add(path.c_str(), false, fallback)) {
            cls_string reason;
            if (error) *error = reason.print("Can't open the input device %s: %s.", path.c_str(), std::strerror(errno));
            close_all();
            return false;
        }
    }
    return true;
}

bool cls_evdev_input::open(const display_options_t& options, int panel_w, int panel_h, cls_string* error) {
    cls_string inputs, range_text;
    bool named = options.value("--ozgi-input=", &inputs);
    range_t range;
    if (options.value("--ozgi-input-range=", &range_text) && !parse_range(range_text, &range)) {
        cls_string reason;
        if (error)
            *error = reason.print("Bad --ozgi-input-range=%s (XMIN:XMAX:YMIN:YMAX, the minimum and maximum different).",
                                  range_text.c_str());
        return false;
    }
    return open(inputs, !named, range, panel_w, panel_h, error);
}

void cls_evdev_input::close_all() {
    for (device_t* dev : m_devices) {
        ::close(dev->fd);
        ozgi_delete(dev);
    }
    m_devices.clear();
    m_pending.clear();
    m_pending_at = 0;
}

void cls_evdev_input::add_poll_fds(std::vector<pollfd>* out) const {
    for (const device_t* dev : m_devices) out->push_back(pollfd{dev->fd, POLLIN, 0});
}

void cls_evdev_input::to_panel(const device_t& dev, int* px, int* py) const {
    const range_t& r = dev.multitouch ? dev.mt_range : dev.range;
    double x = dev.raw_x, y = dev.raw_y;
    if (r.is_set()) {
        x = (x - r.xmin) * (m_panel_w - 1) / (r.xmax - r.xmin);
        y = (y - r.ymin) * (m_panel_h - 1) / (r.ymax - r.ymin);
    }
    long ix = std::lround(x), iy = std::lround(y);
    *px = static_cast<int>(ix < 0 ? 0 : ix >= m_panel_w ? m_panel_w - 1 : ix);
    *py = static_cast<int>(iy < 0 ? 0 : iy >= m_panel_h ? m_panel_h - 1 : iy);
}

bool cls_evdev_input::translate(device_t* dev, const input_event& e, input_t* out) {
    switch (e.type) {
    case EV_ABS:
        switch (e.code) {
        case ABS_MT_SLOT:
            dev->multitouch = true;
            dev->slot = e.value;
            return false;
        case ABS_MT_TRACKING_ID:
            dev->multitouch = true;
            dev->tracking = true;
            // Only the first finger (slot 0) drives the pointer.
            if (dev->slot == 0) dev->down = e.value >= 0;
            return false;
        case ABS_MT_POSITION_X:
        case ABS_MT_POSITION_Y:
            dev->multitouch = true;
            if (dev->slot == 0 && !dev->contact_done) (e.code == ABS_MT_POSITION_X ? dev->raw_x : dev->raw_y) = e.value;
            return false;
        case ABS_X:
        case ABS_Y:
            if (!dev->multitouch) (e.code == ABS_X ? dev->raw_x : dev->raw_y) = e.value;
            return false;
        default:
            return false;
        }
    case EV_KEY:
        if (e.code == BTN_TOUCH) {
            if (!dev->tracking) dev->down = e.value != 0;
            return false;
        }
        if (!evdev_is_key(e.code)) return false;
        *out = input_t();
        out->type = e.value == 0 ? input_t::KEY_RELEASE : input_t::KEY_PRESS;
        out->key_name = evdev_key_name(e.code);
        out->repeat = e.value == 2;
        return true;
    case EV_SYN: {
        // FIXME: SYN_DROPPED (the kernel's buffer overflowed) is not resynchronised
        // from the device's state; the next complete frame puts things right.
        if (e.code == SYN_MT_REPORT) dev->contact_done = true;
        if (e.code != SYN_REPORT) return false;
        dev->contact_done = false;
        int px = 0, py = 0;
        to_panel(*dev, &px, &py);
        input_t::type_t type = input_t::NONE;
        if (dev->down && !dev->was_down) type = input_t::PRESS;
        else if (!dev->down && dev->was_down) type = input_t::RELEASE;
        else if (dev->down && (px != dev->px || py != dev->py)) type = input_t::MOVE;
        if (type == input_t::NONE) return false;
        // A lifted finger reports no position of its own: it left where it was last.
        if (type == input_t::RELEASE) {
            px = dev->px;
            py = dev->py;
        }
        dev->was_down = dev->down;
        dev->px = px;
        dev->py = py;
        *out = input_t();
        out->type = type;
        out->x = px;
        out->y = py;
        return true;
    }
    default:
        return false;
    }
}

bool cls_evdev_input::drain(device_t* dev) {
    input_event batch[READ_BATCH];
    unsigned char* bytes = reinterpret_cast<unsigned char*>(batch);
    for (;;) {
        int have = dev->partial_len;
        std::memcpy(bytes, dev->partial, static_cast<size_t>(have));
        ssize_t n = ::read(dev->fd, bytes + have, sizeof batch - static_cast<size_t>(have));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
        // End of file (a file of records read to its end) or an error (a device
        // unplugged: ENODEV): the device is gone.
        if (n <= 0) return false;
        int total = have + static_cast<int>(n);
        int whole = total / static_cast<int>(sizeof(input_event));
        dev->partial_len = total - whole * static_cast<int>(sizeof(input_event));
        std::memcpy(dev->partial, bytes + whole * sizeof(input_event), static_cast<size_t>(dev->partial_len));
        input_t in;
        for (int i = 0; i < whole; ++i)
            if (translate(dev, batch[i], &in)) m_pending.push_back(in);
        if (total < static_cast<int>(sizeof batch)) return true;
    }
}

bool cls_evdev_input::read(input_t* out) {
    if (m_pending_at >= m_pending.size()) {
        m_pending.clear();
        m_pending_at = 0;
        for (size_t i = 0; i < m_devices.size();) {
            device_t* dev = m_devices[i];
            if (drain(dev)) {
                ++i;
                continue;
            }
            cls_log::log_warning("The input device %s is gone; going on without it.", dev->path.c_str());
            // A finger that was down when its device went is lifted.
            if (dev->was_down) {
                input_t up;
                up.type = input_t::RELEASE;
                up.x = dev->px;
                up.y = dev->py;
                m_pending.push_back(up);
            }
            ::close(dev->fd);
            ozgi_delete(dev);
            m_devices.erase(m_devices.begin() + static_cast<long>(i));
        }
        if (m_pending.empty()) return false;
    }
    *out = m_pending[m_pending_at++];
    return true;
}

} // namespace ozgi
