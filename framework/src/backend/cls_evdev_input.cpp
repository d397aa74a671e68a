#include "backend/cls_evdev_input.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "backend/evdev_key_names.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

struct cls_evdev_input::device_t {
    int fd = -1;
    cls_string path;
    cls_evdev_decoder decoder;
    // How many multitouch slots the kernel keeps for it (0: no slots).
    int slots = 0;
    // A part of a record read from a FIFO, waiting for the rest.
    unsigned char partial[sizeof(input_event)];
    int partial_len = 0;
};

namespace {

// Records read from a device in one go.
constexpr int READ_BATCH = 64;
const char INPUT_DIR[] = "/dev/input";

template <size_t N>
bool test_bit(const unsigned long (&bits)[N], int bit) {
    const int per = static_cast<int>(sizeof(unsigned long) * 8);
    if (bit < 0 || static_cast<size_t>(bit / per) >= N) return false;
    return (bits[bit / per] >> (bit % per)) & 1UL;
}

#define BITS_FOR(max) ((max) / (8 * sizeof(unsigned long)) + 1)

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

bool is_event_node(const char* name) {
    if (std::strncmp(name, "event", 5) != 0 || !name[5]) return false;
    for (const char* p = name + 5; *p; ++p)
        if (*p < '0' || *p > '9') return false;
    return true;
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

cls_evdev_input::kind_t cls_evdev_input::classify(int fd) {
    unsigned long ev[BITS_FOR(EV_MAX)] = {};
    unsigned long abs[BITS_FOR(ABS_MAX)] = {};
    unsigned long key[BITS_FOR(KEY_MAX)] = {};
    unsigned long prop[BITS_FOR(INPUT_PROP_MAX)] = {};
    if (::ioctl(fd, EVIOCGBIT(0, sizeof ev), ev) < 0) return KIND_NONE;
    if (test_bit(ev, EV_ABS) && ::ioctl(fd, EVIOCGBIT(EV_ABS, sizeof abs), abs) < 0) return KIND_NONE;
    if (test_bit(ev, EV_KEY) && ::ioctl(fd, EVIOCGBIT(EV_KEY, sizeof key), key) < 0) return KIND_NONE;
    // Old kernels without properties: nothing is known, nothing is left out.
    ::ioctl(fd, EVIOCGPROP(sizeof prop), prop);
    bool mt = test_bit(abs, ABS_MT_POSITION_X) && test_bit(abs, ABS_MT_POSITION_Y);
    bool press = test_bit(key, BTN_TOUCH) || test_bit(key, BTN_LEFT);
    for (int code = BTN_TOOL_PEN; code <= BTN_TOOL_QUADTAP; ++code) press = press || test_bit(key, code);
    bool st = test_bit(abs, ABS_X) && test_bit(abs, ABS_Y) && press;
    if (mt || st) {
        // A touchpad moves a pointer relative to where it is; a pen tablet
        // likewise stands for a screen elsewhere. Neither is the panel.
        if (test_bit(prop, INPUT_PROP_POINTER) && !test_bit(prop, INPUT_PROP_DIRECT)) return KIND_POINTER_PAD;
        return KIND_TOUCH;
    }
    for (int code = 0; code <= KEY_MAX; ++code)
        if (evdev_is_key(code) && test_bit(key, code)) return KIND_KEYS;
    return KIND_NONE;
}

bool cls_evdev_input::is_open(const char* path) const {
    for (const device_t* dev : m_devices)
        if (dev->path == path) return true;
    return false;
}

cls_evdev_decoder::snapshot_t cls_evdev_input::read_state(const device_t& dev) {
    cls_evdev_decoder::snapshot_t s;
    unsigned long key[BITS_FOR(KEY_MAX)] = {};
    if (::ioctl(dev.fd, EVIOCGKEY(sizeof key), key) >= 0) {
        s.keys.assign(KEY_CNT, false);
        for (int code = 0; code < KEY_CNT; ++code) s.keys[static_cast<size_t>(code)] = test_bit(key, code);
    }
    input_absinfo info{};
    if (::ioctl(dev.fd, EVIOCGABS(ABS_X), &info) == 0) s.abs_x = info.value;
    if (::ioctl(dev.fd, EVIOCGABS(ABS_Y), &info) == 0) s.abs_y = info.value;
    if (dev.slots > 0) {
        if (::ioctl(dev.fd, EVIOCGABS(ABS_MT_SLOT), &info) == 0) s.slot = info.value;
        s.slots.resize(static_cast<size_t>(dev.slots));
        std::vector<int32_t> values(static_cast<size_t>(dev.slots) + 1);
        const int codes[] = {ABS_MT_TRACKING_ID, ABS_MT_POSITION_X, ABS_MT_POSITION_Y};
        for (int code : codes) {
            values[0] = code;
            if (::ioctl(dev.fd, EVIOCGMTSLOTS(values.size() * sizeof(int32_t)), values.data()) < 0) {
                // Without the slots nobody is known to touch.
                if (code == ABS_MT_TRACKING_ID) break;
                continue;
            }
            for (int i = 0; i < dev.slots; ++i) {
                cls_evdev_decoder::slot_t& slot = s.slots[static_cast<size_t>(i)];
                int v = values[static_cast<size_t>(i) + 1];
                (code == ABS_MT_TRACKING_ID ? slot.id : code == ABS_MT_POSITION_X ? slot.x : slot.y) = v;
            }
        }
    }
    return s;
}

bool cls_evdev_input::add(const char* path, bool only_if_useful) {
    struct stat st {};
    // A FIFO is opened for writing too, so that it does not read as ended while
    // no writer has it open yet.
    int mode = ::stat(path, &st) == 0 && S_ISFIFO(st.st_mode) ? O_RDWR : O_RDONLY;
    int fd = ::open(path, mode | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    if (only_if_useful) {
        kind_t kind = classify(fd);
        if (kind == KIND_NONE || kind == KIND_POINTER_PAD) {
            ::close(fd);
            return true;
        }
    }
    device_t* dev = OZGI_NEW(device_t)();
    dev->fd = fd;
    dev->path = path;
    // The kernel answers EVIOCGABS for any axis of a device with some: only
    // one that has ABS_MT_SLOT has slots.
    unsigned long abs[BITS_FOR(ABS_MAX)] = {};
    input_absinfo slots{};
    if (::ioctl(fd, EVIOCGBIT(EV_ABS, sizeof abs), abs) >= 0 && test_bit(abs, ABS_MT_SLOT) &&
        ::ioctl(fd, EVIOCGABS(ABS_MT_SLOT), &slots) == 0 && slots.maximum >= 0)
        dev->slots = std::min(slots.maximum + 1, static_cast<int>(cls_evdev_decoder::MAX_SLOTS));
    dev->decoder.setup(axis_range(fd, ABS_X, ABS_Y, m_fallback),
                       axis_range(fd, ABS_MT_POSITION_X, ABS_MT_POSITION_Y, m_fallback), m_panel_w, m_panel_h);
    // Ours alone: its keys reach neither the console (Ctrl+Alt+Del, Alt+Fn)
    // nor another reader. A FIFO or a file cannot be grabbed and needs not.
    ::ioctl(fd, EVIOCGRAB, 1);
    dev->decoder.start(read_state(*dev));
    m_devices.push_back(dev);
    return true;
}

bool cls_evdev_input::open(const cls_string& paths, bool scan, const range_t& fallback, int panel_w, int panel_h,
                           cls_string* error) {
    close_all();
    m_panel_w = panel_w;
    m_panel_h = panel_h;
    m_fallback = fallback;
    if (scan) {
        // Watched before the scan, so that a device appearing meanwhile is not missed.
        m_watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_watch >= 0 && ::inotify_add_watch(m_watch, INPUT_DIR, IN_CREATE | IN_ATTRIB | IN_MOVED_TO) < 0) {
            ::close(m_watch);
            m_watch = -1;
        }
        std::vector<std::string> names;
        if (DIR* dir = ::opendir(INPUT_DIR)) {
            while (dirent* e = ::readdir(dir))
                if (is_event_node(e->d_name)) names.push_back(std::string(INPUT_DIR) + "/" + e->d_name);
            ::closedir(dir);
        }
        std::sort(names.begin(), names.end());
        // A device we may not read is not ours to use.
        for (const std::string& name : names) add(name.c_str(), true);
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
        if (!add(path.c_str(), false)) {
            cls_string reason;
            if (error) *error = reason.print("Can't open the input device %s: %s.", path.c_str(), std::strerror(errno));
            close_all();
            return false;
        }
    }
    return true;
}

void cls_evdev_input::close_all() {
    for (device_t* dev : m_devices) {
        ::close(dev->fd);
        ozgi_delete(dev);
    }
    m_devices.clear();
    if (m_watch >= 0) ::close(m_watch);
    m_watch = -1;
    m_pending.clear();
    m_pending_at = 0;
}

void cls_evdev_input::add_poll_fds(std::vector<pollfd>* out) const {
    for (const device_t* dev : m_devices) out->push_back(pollfd{dev->fd, POLLIN, 0});
    if (m_watch >= 0) out->push_back(pollfd{m_watch, POLLIN, 0});
}

void cls_evdev_input::take_new_devices() {
    if (m_watch < 0) return;
    alignas(inotify_event) char buf[4096];
    for (;;) {
        ssize_t n = ::read(m_watch, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        for (ssize_t at = 0; at < n;) {
            const inotify_event* e = reinterpret_cast<const inotify_event*>(buf + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
            if (e->len == 0 || !is_event_node(e->name)) continue;
            std::string path = std::string(INPUT_DIR) + "/" + e->name;
            // A node appears before its permissions are set (IN_ATTRIB follows);
            // one that cannot be opened yet is tried again then.
            if (!is_open(path.c_str())) add(path.c_str(), true);
        }
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
        for (int i = 0; i < whole; ++i)
            // The kernel dropped records: what it holds now says what was missed.
            if (!dev->decoder.feed(batch[i], &m_pending)) dev->decoder.resync(read_state(*dev), &m_pending);
        if (total < static_cast<int>(sizeof batch)) return true;
    }
}

bool cls_evdev_input::read(input_t* out) {
    if (m_pending_at >= m_pending.size()) {
        m_pending.clear();
        m_pending_at = 0;
        take_new_devices();
        for (size_t i = 0; i < m_devices.size();) {
            device_t* dev = m_devices[i];
            if (drain(dev)) {
                ++i;
                continue;
            }
            cls_log::log_warning("The input device %s is gone; going on without it.", dev->path.c_str());
            // A finger that was down when its device went is lifted.
            if (dev->decoder.is_down()) {
                input_t up;
                up.type = input_t::RELEASE;
                up.x = dev->decoder.x();
                up.y = dev->decoder.y();
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
