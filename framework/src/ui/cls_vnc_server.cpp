#include "ui/cls_vnc_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <rfb/keysym.h>
#include <rfb/rfb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>

#include "ozgi/cls_input_args.h"
#include "ozgi/cls_log.h"
#include "ui/cls_vnc_listener.h"
#include "ui/vnc_library.h"

namespace ozgi {

struct cls_vnc_server::screen_t {
    vnc_library_t lib;
    rfbScreenInfoPtr rfb = nullptr;
    cls_vnc_listener listener;
};

namespace {

// What one viewer's pointer did last, to turn its button states into touches.
struct viewer_t {
    cls_vnc_server* server;
    // The server's key of an admitted viewer; -1 for one turned away.
    int key;
    bool shown;
    int buttons;
    int x;
    int y;
    // Keys held down: a second press without a release is the keyboard's auto-repeat.
    std::set<rfbKeySym> held;
};

// The server's own progress messages are not the program's business; its
// errors (a viewer that broke the protocol, a port in use) go to standard error.
void quiet_log(const char*, ...) {}

void error_log(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::fputs("vnc: ", stderr);
    std::vfprintf(stderr, format, args);
    va_end(args);
}

cls_vnc_server* server_of(rfbClientPtr cl) {
    return static_cast<cls_vnc_server*>(cl->screen->screenData);
}

viewer_t* viewer_of(rfbClientPtr cl) { return static_cast<viewer_t*>(cl->clientData); }

void client_gone(rfbClientPtr cl) {
    viewer_t* v = viewer_of(cl);
    if (!v) return;
    if (v->key >= 0) v->server->viewer_gone(v->key);
    cl->clientData = nullptr;
    delete v;
}

// A viewer counts from its connection, before it has given a password: one
// that does not get as far as a picture in HANDSHAKE_MS is cut off (see
// watch_handshakes), so that silent connections can't keep everyone out.
enum rfbNewClientAction new_client(rfbClientPtr cl) {
    cls_vnc_server* server = server_of(cl);
    viewer_t* v = new viewer_t{server, -1, false, 0, 0, 0, std::set<rfbKeySym>()};
    cl->clientData = v;
    cl->clientGoneHook = client_gone;
    v->key = server->admit_viewer(cl->sock);
    if (v->key < 0) return RFB_CLIENT_REFUSE;
    cl->viewOnly = server->view_only() ? TRUE : FALSE;
    return RFB_CLIENT_ACCEPT;
}

// Before each update: the picture is text and thin lines, so it is sent without
// loss whatever quality a viewer asks for (JPEG would blur what a test printed).
void before_update(rfbClientPtr cl) {
    cl->tightQualityLevel = -1;
    cl->turboQualityLevel = -1;
    viewer_t* v = viewer_of(cl);
    if (v && v->key >= 0 && !v->shown) {
        v->shown = true;
        v->server->viewer_shown(v->key);
    }
}

void pointer_event(int buttons, int x, int y, rfbClientPtr cl) {
    viewer_t* v = viewer_of(cl);
    cls_vnc_server* server = server_of(cl);
    if (!v || server->view_only()) return;
    if (x < 0) x = 0;
    if (y < 0) y = 0;
    if (x >= server->width()) x = server->width() - 1;
    if (y >= server->height()) y = server->height() - 1;
    int was = v->buttons;
    input_t in;
    in.x = x;
    in.y = y;
    bool down = (buttons & 1) != 0, was_down = (was & 1) != 0;
    if (down && !was_down) {
        in.type = input_t::PRESS;
        server->push_input(in);
    } else if (down && (x != v->x || y != v->y)) {
        in.type = input_t::MOVE;
        server->push_input(in);
    } else if (!down && was_down) {
        in.type = input_t::RELEASE;
        server->push_input(in);
    }
    // The wheel is buttons 4 (away from the user) and 5, one step per press.
    if ((buttons & 8) && !(was & 8)) {
        in.type = input_t::WHEEL;
        in.wheel_dy = 1;
        server->push_input(in);
    }
    if ((buttons & 16) && !(was & 16)) {
        in.type = input_t::WHEEL;
        in.wheel_dy = -1;
        server->push_input(in);
    }
    v->buttons = buttons;
    v->x = x;
    v->y = y;
}

// The framework's name of an X key symbol; empty for keys it has no use for.
cls_string key_name(rfbKeySym sym) {
    static const struct {
        rfbKeySym sym;
        const char* name;
    } KEYS[] = {
        {XK_Return, "Return"},     {XK_KP_Enter, "Keypad Enter"}, {XK_space, "Space"},
        {XK_Escape, "Escape"},     {XK_BackSpace, "Backspace"},   {XK_Up, "Up"},
        {XK_Down, "Down"},         {XK_Left, "Left"},             {XK_Right, "Right"},
        {XK_Tab, "Tab"},           {XK_Home, "Home"},             {XK_End, "End"},
        {XK_Page_Up, "PageUp"},    {XK_Page_Down, "PageDown"},    {XK_Delete, "Delete"},
        {XK_Insert, "Insert"},     {XK_Menu, "Menu"},             {XK_KP_Up, "Up"},
        {XK_KP_Down, "Down"},      {XK_KP_Left, "Left"},          {XK_KP_Right, "Right"},
    };
    for (const auto& k : KEYS)
        if (k.sym == sym) return k.name;
    cls_string name;
    if (sym >= XK_F1 && sym <= XK_F12) return name.print("F%d", static_cast<int>(sym - XK_F1 + 1));
    if (sym >= 'a' && sym <= 'z') return name.print("%c", static_cast<char>(sym - 'a' + 'A'));
    if ((sym >= 'A' && sym <= 'Z') || (sym >= '0' && sym <= '9')) return name.print("%c", static_cast<char>(sym));
    return cls_string();
}

void key_event(rfbBool down, rfbKeySym sym, rfbClientPtr cl) {
    cls_vnc_server* server = server_of(cl);
    viewer_t* v = viewer_of(cl);
    if (!v || server->view_only()) return;
    cls_string name = key_name(sym);
    if (name.is_empty()) return;
    input_t in;
    in.type = down ? input_t::KEY_PRESS : input_t::KEY_RELEASE;
    in.key_name = name;
    if (down) in.repeat = !v->held.insert(sym).second;
    else v->held.erase(sym);
    server->push_input(in);
}

// A clipboard sent by a viewer means nothing to the panel; its text is dropped.
void cut_text(char*, int, rfbClientPtr) {}

bool is_loopback(const cls_string& address) {
    in_addr a;
    if (inet_pton(AF_INET, address.c_str(), &a) != 1) return false;
    return (ntohl(a.s_addr) >> 24) == 127;
}

} // namespace

bool cls_vnc_server::read_options(vnc_options_t* out) {
    cls_input_args* args = cls_input_args::ins();
    cls_string value;
    bool on = args->has_arg("--ozgi-vnc=", false, &value);
    bool has_password = args->has_arg("--ozgi-vnc-password-file=", false, &out->password_file);
    bool has_web = args->has_arg("--ozgi-vnc-web=", false, &out->web_dir);
    out->view_only = args->has_arg("--ozgi-vnc-view-only", true);
    if (!on) {
        if (has_password || has_web || out->view_only)
            OZGI_FATAL("--ozgi-vnc-password-file, --ozgi-vnc-web and --ozgi-vnc-view-only need --ozgi-vnc=[ADDR:]PORT.");
        return false;
    }
    std::string text = value.c_str();
    std::string port = text;
    size_t colon = text.rfind(':');
    if (colon != std::string::npos) {
        out->address = text.substr(0, colon).c_str();
        port = text.substr(colon + 1);
    }
    in_addr a;
    bool port_ok = !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
    out->port = port_ok ? std::atoi(port.c_str()) : 0;
    if (out->port < 1 || out->port > 65535 || inet_pton(AF_INET, out->address.c_str(), &a) != 1)
        OZGI_FATAL("Bad value of --ozgi-vnc: \"%s\" (expected [ADDR:]PORT, ADDR a dotted IPv4 address, PORT 1 to 65535).",
                   value.c_str());
    if (has_password && out->password_file.is_empty()) OZGI_FATAL("--ozgi-vnc-password-file needs a file name.");
    if (has_web && out->web_dir.is_empty()) OZGI_FATAL("--ozgi-vnc-web needs a directory.");
    if (!is_loopback(out->address) && !has_password)
        OZGI_FATAL("Won't serve the panel on %s without a password: give --ozgi-vnc-password-file=FILE, or serve on "
                   "127.0.0.1 and reach it through an ssh tunnel.",
                   out->address.c_str());
    return true;
}

cls_vnc_server::cls_vnc_server(const vnc_options_t& options, int width, int height, const cls_string& title)
    : m_screen(new screen_t()), m_width(width), m_height(height), m_view_only(options.view_only), m_title(title),
      m_web_dir(options.web_dir) {
    if (!options.password_file.is_empty()) {
        std::ifstream in(options.password_file.c_str());
        std::string line;
        if (!in || !std::getline(in, line))
            OZGI_FATAL("Can't read the VNC password from %s.", options.password_file.c_str());
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) OZGI_FATAL("The VNC password file %s has an empty first line.", options.password_file.c_str());
        m_passwords.push_back(strdup(line.c_str()));
        m_passwords.push_back(nullptr);
    }
    m_wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake_fd < 0) OZGI_FATAL("Can't make the VNC server's wake-up descriptor.");

    // Loaded now, not at program start: see vnc_library.h.
    load_vnc_library_or_die(OZGI_VNC_LIBRARY, &m_screen->lib);
    const vnc_library_t& lib = m_screen->lib;
    *lib.log = quiet_log;
    *lib.err = error_log;
    int argc = 0;
    rfbScreenInfoPtr s = lib.get_screen(&argc, nullptr, width, height, 8, 3, 4);
    if (!s) OZGI_FATAL("Can't start the VNC server.");
    m_screen->rfb = s;
    s->screenData = this;
    s->desktopName = m_title.c_str();
    // The framebuffer's pixels are 0xAARRGGBB words: in memory B, G, R, unused.
    s->serverFormat.redShift = 16;
    s->serverFormat.greenShift = 8;
    s->serverFormat.blueShift = 0;
    s->frameBuffer = static_cast<char*>(calloc(static_cast<size_t>(width) * height, 4));
    // The port is the listener's: the server itself listens nowhere.
    s->autoPort = FALSE;
    s->port = 0;
    s->ipv6port = 0;
    s->httpPort = 0;
    s->http6Port = 0;
    s->alwaysShared = TRUE;
    s->newClientHook = new_client;
    s->displayHook = before_update;
    s->ptrAddEvent = pointer_event;
    s->kbdAddEvent = key_event;
    s->setXCutText = cut_text;
    s->cursor = nullptr;
    if (!m_passwords.empty()) {
        s->authPasswdData = m_passwords.data();
        s->passwordCheck = lib.check_password_by_list;
    }
    std::string error;
    if (!m_screen->listener.listen(options.address.c_str(), options.port, &error))
        OZGI_FATAL("Can't serve VNC on %s:%d: %s.", options.address.c_str(), options.port, error.c_str());
    lib.init_server(s);
    // Each viewer gets threads of its own (its input, its updates).
    lib.run_event_loop(s, -1, TRUE);
    m_watchdog = std::thread([this] { watch_handshakes(); });
    m_screen->listener.start(m_web_dir.c_str(), [s, &lib](int fd) {
        rfbClientPtr cl = lib.new_client(s, fd);
        if (cl && !cl->onHold) lib.start_on_hold_client(cl);
    });
}

cls_vnc_server::~cls_vnc_server() {
    rfbScreenInfoPtr s = m_screen->rfb;
    // No new viewer comes while the server stops.
    m_screen->listener.stop();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }
    if (m_watchdog.joinable()) m_watchdog.join();
    // A viewer's thread may be blocked writing to one that reads nothing, for up
    // to the server's write timeout: shutting the sockets down ends such writes
    // at once, so that the program ends in no time.
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto& entry : m_viewers) shutdown(entry.first, SHUT_RDWR);
    }
    const vnc_library_t& lib = m_screen->lib;
    lib.shutdown_server(s, TRUE);
    free(s->frameBuffer);
    s->frameBuffer = nullptr;
    lib.screen_cleanup(s);
    // The keys of viewers whose end the server did not report.
    for (auto& entry : m_viewers) close(entry.first);
    m_viewers.clear();
    delete m_screen;
    for (char* p : m_passwords) free(p);
    if (m_wake_fd >= 0) close(m_wake_fd);
}

void cls_vnc_server::update(const uint32_t* argb, int stride, const cls_rect* rects, int count) {
    rfbScreenInfoPtr s = m_screen->rfb;
    uint32_t* fb = reinterpret_cast<uint32_t*>(s->frameBuffer);
    for (int i = 0; i < count; ++i) {
        cls_rect r = rects[i].intersect(cls_rect{0, 0, m_width, m_height});
        if (r.is_empty()) continue;
        for (int y = r.y; y < r.bottom(); ++y)
            std::memcpy(fb + static_cast<size_t>(y) * m_width + r.x, argb + static_cast<size_t>(y) * stride + r.x,
                        static_cast<size_t>(r.w) * 4);
        m_screen->lib.mark_rect_as_modified(s, r.x, r.y, r.right(), r.bottom());
    }
}

bool cls_vnc_server::poll_input(input_t* out) {
    uint64_t n;
    // Emptied before the queue is looked at: an input queued meanwhile wakes the loop again.
    while (read(m_wake_fd, &n, sizeof n) > 0) {
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_inputs.empty()) return false;
    *out = m_inputs.front();
    m_inputs.pop_front();
    return true;
}

void cls_vnc_server::push_input(const input_t& in) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_inputs.push_back(in);
    }
    uint64_t one = 1;
    ssize_t written = write(m_wake_fd, &one, sizeof one);
    (void)written;
}

int cls_vnc_server::admit_viewer(int sock) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_viewers.size() >= static_cast<size_t>(MAX_VIEWERS)) return -1;
    int key = fcntl(sock, F_DUPFD_CLOEXEC, 0);
    if (key < 0) return -1;
    viewer_state_t& state = m_viewers[key];
    state.since = std::chrono::steady_clock::now();
    ++m_handshaking;
    m_changed.notify_all();
    return key;
}

void cls_vnc_server::viewer_gone(int key) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_viewers.find(key);
    if (it == m_viewers.end()) return;
    if (!it->second.shown) --m_handshaking;
    m_viewers.erase(it);
    close(key);
}

void cls_vnc_server::viewer_shown(int key) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_viewers.find(key);
    if (it == m_viewers.end() || it->second.shown) return;
    it->second.shown = true;
    --m_handshaking;
}

void cls_vnc_server::watch_handshakes() {
    const auto limit = std::chrono::milliseconds(HANDSHAKE_MS);
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        if (m_handshaking <= 0) {
            m_changed.wait(lock);
            continue;
        }
        auto now = std::chrono::steady_clock::now();
        auto next = now + limit;
        for (auto& entry : m_viewers) {
            viewer_state_t& v = entry.second;
            if (v.shown || v.cut_off) continue;
            if (now - v.since >= limit) {
                // The viewer's own thread sees the end of its connection and cleans up.
                v.cut_off = true;
                shutdown(entry.first, SHUT_RDWR);
            } else if (v.since + limit < next) {
                next = v.since + limit;
            }
        }
        m_changed.wait_until(lock, next);
    }
}

} // namespace ozgi
