#include "backend/cls_drm_device.h"

#include <dirent.h>
#include <drm.h>
#include <drm_fourcc.h>
#include <drm_mode.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

struct cls_drm_device::saved_modes_t {
    uint32_t connector = 0;
    std::vector<drm_mode_modeinfo> modes;
};

struct cls_drm_device::saved_crtc_t {
    drm_mode_crtc crtc{};
    uint32_t connector = 0;
};

static_assert(if_drm_device::XRGB8888 == DRM_FORMAT_XRGB8888, "the kernel's code of XRGB8888");
static_assert(if_drm_device::RGB565 == DRM_FORMAT_RGB565, "the kernel's code of RGB565");

namespace {

// An ioctl tried again when a signal cut it short.
int xioctl(int fd, unsigned long request, void* arg) {
    int r;
    do {
        r = ::ioctl(fd, request, arg);
    } while (r == -1 && (errno == EINTR || errno == EAGAIN));
    return r;
}

template <typename T> uint64_t to_u64(T* p) { return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p)); }

// The kernel's names of connector types, as in "HDMI-A-1".
const char* type_name(uint32_t type) {
    static const char* const NAMES[] = {"Unknown",   "VGA",  "DVI-I", "DVI-D", "DVI-A",   "Composite", "SVIDEO",
                                        "LVDS",      "Component", "DIN", "DP",  "HDMI-A",  "HDMI-B",    "TV",
                                        "eDP",       "Virtual",   "DSI", "DPI", "Writeback", "SPI",     "USB"};
    return type < sizeof NAMES / sizeof NAMES[0] ? NAMES[type] : "Unknown";
}

// The connector `id` with its modes and encoders; false when it went away.
bool get_connector(int fd, uint32_t id, drm_mode_get_connector* c, std::vector<drm_mode_modeinfo>* modes,
                   std::vector<uint32_t>* encoders) {
    // The counts may change between the two calls (a panel plugged in): ask again until they hold.
    for (int attempt = 0; attempt < 5; ++attempt) {
        std::memset(c, 0, sizeof *c);
        c->connector_id = id;
        if (xioctl(fd, DRM_IOCTL_MODE_GETCONNECTOR, c) != 0) return false;
        uint32_t n_modes = c->count_modes, n_enc = c->count_encoders;
        modes->assign(n_modes, drm_mode_modeinfo{});
        encoders->assign(n_enc, 0);
        std::memset(c, 0, sizeof *c);
        c->connector_id = id;
        c->count_modes = n_modes;
        c->modes_ptr = to_u64(modes->data());
        c->count_encoders = n_enc;
        c->encoders_ptr = to_u64(encoders->data());
        if (xioctl(fd, DRM_IOCTL_MODE_GETCONNECTOR, c) != 0) return false;
        if (c->count_modes == n_modes && c->count_encoders == n_enc) return true;
    }
    return false;
}

} // namespace

cls_drm_device::~cls_drm_device() { close(); }

std::vector<cls_string> cls_drm_device::cards() {
    std::vector<std::string> names;
    if (DIR* dir = ::opendir("/dev/dri")) {
        while (dirent* e = ::readdir(dir))
            if (std::strncmp(e->d_name, "card", 4) == 0) names.push_back(std::string("/dev/dri/") + e->d_name);
        ::closedir(dir);
    }
    // card2 before card10.
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    std::vector<cls_string> out;
    for (const std::string& n : names) out.push_back(cls_string(n.c_str()));
    return out;
}

bool cls_drm_device::open(const cls_string& path, cls_string* error) {
    close();
    m_fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (m_fd < 0) {
        cls_string reason;
        if (error) *error = reason.print("Can't open the display card %s: %s.", path.c_str(), std::strerror(errno));
        return false;
    }
    drm_get_cap cap{};
    cap.capability = DRM_CAP_DUMB_BUFFER;
    if (xioctl(m_fd, DRM_IOCTL_GET_CAP, &cap) != 0 || cap.value == 0) {
        cls_string reason;
        if (error)
            *error = reason.print("The device %s is not a display card with dumb buffers (mode setting).",
                                  path.c_str());
        close();
        return false;
    }
    return true;
}

bool cls_drm_device::connectors(std::vector<connector_t>* out, cls_string* error) {
    out->clear();
    drm_mode_card_res res{};
    std::vector<uint32_t> crtcs, conns;
    for (int attempt = 0;; ++attempt) {
        std::memset(&res, 0, sizeof res);
        if (xioctl(m_fd, DRM_IOCTL_MODE_GETRESOURCES, &res) != 0) {
            cls_string reason;
            if (error) *error = reason.print("Can't read the display card's outputs: %s.", std::strerror(errno));
            return false;
        }
        uint32_t n_crtc = res.count_crtcs, n_conn = res.count_connectors;
        crtcs.assign(n_crtc, 0);
        conns.assign(n_conn, 0);
        drm_mode_card_res again{};
        again.count_crtcs = n_crtc;
        again.crtc_id_ptr = to_u64(crtcs.data());
        again.count_connectors = n_conn;
        again.connector_id_ptr = to_u64(conns.data());
        if (xioctl(m_fd, DRM_IOCTL_MODE_GETRESOURCES, &again) == 0 && again.count_crtcs == n_crtc &&
            again.count_connectors == n_conn)
            break;
        if (attempt == 4) {
            if (error) *error = "Can't read the display card's outputs: they keep changing.";
            return false;
        }
    }
    for (saved_modes_t* m : m_modes) ozgi_delete(m);
    m_modes.clear();
    for (uint32_t id : conns) {
        drm_mode_get_connector c{};
        std::vector<drm_mode_modeinfo> modes;
        std::vector<uint32_t> encoders;
        if (!get_connector(m_fd, id, &c, &modes, &encoders)) continue;
        connector_t conn;
        conn.id = id;
        conn.name.print("%s-%u", type_name(c.connector_type), c.connector_type_id);
        conn.connected = c.connection == 1;
        for (size_t i = 0; i < modes.size(); ++i) {
            mode_t m;
            m.width = modes[i].hdisplay;
            m.height = modes[i].vdisplay;
            m.refresh_hz = static_cast<int>(modes[i].vrefresh);
            m.preferred = (modes[i].type & DRM_MODE_TYPE_PREFERRED) != 0;
            m.index = static_cast<int>(i);
            conn.modes.push_back(m);
        }
        // The CRTC that drives it now, else the first one an encoder of it can use.
        std::vector<uint32_t> tried = encoders;
        if (c.encoder_id) tried.insert(tried.begin(), c.encoder_id);
        for (uint32_t enc_id : tried) {
            drm_mode_get_encoder enc{};
            enc.encoder_id = enc_id;
            if (xioctl(m_fd, DRM_IOCTL_MODE_GETENCODER, &enc) != 0) continue;
            if (enc_id == c.encoder_id && enc.crtc_id) {
                conn.crtc = enc.crtc_id;
                break;
            }
            for (size_t i = 0; i < crtcs.size() && i < 32; ++i)
                if (enc.possible_crtcs & (1u << i)) {
                    conn.crtc = crtcs[i];
                    break;
                }
            if (conn.crtc) break;
        }
        saved_modes_t* saved = OZGI_NEW(saved_modes_t)();
        saved->connector = id;
        saved->modes = modes;
        m_modes.push_back(saved);
        out->push_back(conn);
    }
    return true;
}

if_drm_device::master_t cls_drm_device::take_master() {
    if (::ioctl(m_fd, DRM_IOCTL_SET_MASTER, 0) == 0) return MASTER_TAKEN;
    // EBUSY (and, on older kernels, EINVAL) means another program holds it;
    // EACCES and EPERM that we may not take it at all.
    return errno == EACCES || errno == EPERM ? MASTER_DENIED : MASTER_BUSY;
}

void cls_drm_device::drop_master() {
    if (m_fd >= 0) ::ioctl(m_fd, DRM_IOCTL_DROP_MASTER, 0);
}

cls_string cls_drm_device::master_holder(const cls_string& path) {
    // The card's minor number names its debugfs directory, whose client list
    // marks the master (readable by root when debugfs is mounted).
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return cls_string();
    unsigned minor = static_cast<unsigned>(st.st_rdev & 0xff);
    char name[64];
    std::snprintf(name, sizeof name, "/sys/kernel/debug/dri/%u/clients", minor);
    std::ifstream clients(name);
    std::string line;
    // "command pid dev master a uid magic", one client a line after the header.
    std::getline(clients, line);
    while (std::getline(clients, line)) {
        std::istringstream words(line);
        std::string command, pid, dev, master;
        if (words >> command >> pid >> dev >> master && master == "y" && pid != std::to_string(::getpid())) {
            cls_string who;
            who.print("%s (pid %s)", command.c_str(), pid.c_str());
            return who;
        }
    }
    return cls_string();
}

bool cls_drm_device::create_buffer(int width, int height, uint32_t fourcc, buffer_t* out, cls_string* error) {
    cls_string reason;
    int bpp = fourcc == DRM_FORMAT_RGB565 ? 16 : 32;
    drm_mode_create_dumb create{};
    create.width = static_cast<uint32_t>(width);
    create.height = static_cast<uint32_t>(height);
    create.bpp = static_cast<uint32_t>(bpp);
    if (xioctl(m_fd, DRM_IOCTL_MODE_CREATE_DUMB, &create) != 0) {
        if (error) *error = reason.print("Can't make a %dx%d screen buffer: %s.", width, height, std::strerror(errno));
        return false;
    }
    buffer_t b;
    b.handle = create.handle;
    b.pitch = static_cast<int>(create.pitch);
    b.size = static_cast<size_t>(create.size);
    drm_mode_fb_cmd2 fb{};
    fb.width = static_cast<uint32_t>(width);
    fb.height = static_cast<uint32_t>(height);
    fb.pixel_format = fourcc;
    fb.handles[0] = b.handle;
    fb.pitches[0] = create.pitch;
    if (xioctl(m_fd, DRM_IOCTL_MODE_ADDFB2, &fb) != 0) {
        if (error) *error = reason.print("The display card does not show this pixel format: %s.", std::strerror(errno));
        destroy_buffer(&b);
        return false;
    }
    b.fb = fb.fb_id;
    drm_mode_map_dumb map{};
    map.handle = b.handle;
    void* pixels = MAP_FAILED;
    if (xioctl(m_fd, DRM_IOCTL_MODE_MAP_DUMB, &map) == 0)
        pixels = ::mmap(nullptr, b.size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, static_cast<off_t>(map.offset));
    if (pixels == MAP_FAILED) {
        if (error) *error = reason.print("Can't map a screen buffer: %s.", std::strerror(errno));
        destroy_buffer(&b);
        return false;
    }
    b.pixels = static_cast<unsigned char*>(pixels);
    *out = b;
    return true;
}

void cls_drm_device::destroy_buffer(buffer_t* b) {
    if (b->pixels) ::munmap(b->pixels, b->size);
    if (b->fb) {
        uint32_t id = b->fb;
        xioctl(m_fd, DRM_IOCTL_MODE_RMFB, &id);
    }
    if (b->handle) {
        drm_mode_destroy_dumb d{};
        d.handle = b->handle;
        xioctl(m_fd, DRM_IOCTL_MODE_DESTROY_DUMB, &d);
    }
    *b = buffer_t();
}

bool cls_drm_device::set_crtc(uint32_t crtc, uint32_t fb, uint32_t connector, const mode_t& mode, cls_string* error) {
    const drm_mode_modeinfo* info = nullptr;
    for (const saved_modes_t* m : m_modes)
        if (m->connector == connector && mode.index >= 0 && static_cast<size_t>(mode.index) < m->modes.size())
            info = &m->modes[static_cast<size_t>(mode.index)];
    if (!info) {
        if (error) *error = "The display mode is no longer offered.";
        return false;
    }
    if (!m_saved) {
        m_saved = OZGI_NEW(saved_crtc_t)();
        m_saved->crtc.crtc_id = crtc;
        m_saved->connector = connector;
        if (xioctl(m_fd, DRM_IOCTL_MODE_GETCRTC, &m_saved->crtc) != 0) m_saved->crtc.fb_id = 0;
    }
    drm_mode_crtc set{};
    uint32_t conn = connector;
    set.crtc_id = crtc;
    set.fb_id = fb;
    set.set_connectors_ptr = to_u64(&conn);
    set.count_connectors = 1;
    set.mode = *info;
    set.mode_valid = 1;
    if (xioctl(m_fd, DRM_IOCTL_MODE_SETCRTC, &set) != 0) {
        cls_string reason;
        if (error) *error = reason.print("Can't set the display mode %dx%d: %s.", mode.width, mode.height,
                                         std::strerror(errno));
        return false;
    }
    return true;
}

bool cls_drm_device::page_flip(uint32_t crtc, uint32_t fb) {
    drm_mode_crtc_page_flip flip{};
    flip.crtc_id = crtc;
    flip.fb_id = fb;
    flip.flags = DRM_MODE_PAGE_FLIP_EVENT;
    return xioctl(m_fd, DRM_IOCTL_MODE_PAGE_FLIP, &flip) == 0;
}

int cls_drm_device::read_flips() {
    int flips = 0;
    alignas(8) char buf[1024];
    for (;;) {
        ssize_t n = ::read(m_fd, buf, sizeof buf);
        if (n <= 0) break;
        for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(drm_event)) <= n;) {
            drm_event e;
            std::memcpy(&e, buf + at, sizeof e);
            if (e.length < sizeof e) break;
            if (e.type == DRM_EVENT_FLIP_COMPLETE) ++flips;
            at += e.length;
        }
    }
    return flips;
}

void cls_drm_device::close() {
    if (m_fd >= 0 && m_saved && m_saved->crtc.fb_id) {
        // The console's own picture (where the kernel keeps one) comes back.
        drm_mode_crtc set = m_saved->crtc;
        uint32_t conn = m_saved->connector;
        set.set_connectors_ptr = to_u64(&conn);
        set.count_connectors = 1;
        xioctl(m_fd, DRM_IOCTL_MODE_SETCRTC, &set);
    }
    if (m_saved) ozgi_delete(m_saved);
    m_saved = nullptr;
    for (saved_modes_t* m : m_modes) ozgi_delete(m);
    m_modes.clear();
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

} // namespace ozgi
