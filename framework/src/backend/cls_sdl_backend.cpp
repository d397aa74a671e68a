#include "backend/cls_sdl_backend.h"

#include "backend/cls_kmsdrm_libraries.h"
#include "ozgi/cls_stop_signal.h"

#include <poll.h>
#include <strings.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace ozgi {

namespace {

// How long the wait for descriptors and SDL events looks at each before turning
// to the other: short enough for taps to feel immediate, long enough to idle.
constexpr int WAIT_SLICE_MS = 10;
// How long SDL's own wait may block before the stop-signal pipe is looked at.
constexpr int SIGNAL_SLICE_MS = 200;
// The most descriptors one wait watches (the GUI passes at most 64).
constexpr int MAX_WAIT_FDS = 64;

// Whether the environment asks SDL for the video driver `name` by itself
// (SDL_VIDEODRIVER may list several, separated by commas).
bool driver_asked_for(const char* name) {
    const char* asked = std::getenv("SDL_VIDEODRIVER");
    if (!asked) return false;
    size_t len = std::strlen(name);
    for (const char* p = asked; *p;) {
        const char* end = std::strchr(p, ',');
        size_t n = end ? static_cast<size_t>(end - p) : std::strlen(p);
        if (n == len && strncasecmp(p, name, n) == 0) return true;
        if (!end) break;
        p = end + 1;
    }
    return false;
}

} // namespace

cls_sp<if_display_backend> cls_sdl_backend::create(const display_options_t& options, cls_string* error) {
    int scale = 1;
    cls_string text;
    if (options.value("--ozgi-scale=", &text)) {
        long v = 0;
        bool ok = text.length() > 0 && text.length() <= 6;
        for (int i = 0; ok && i < text.length(); ++i) {
            if (text[i] < '0' || text[i] > '9') ok = false;
            else v = v * 10 + (text[i] - '0');
        }
        if (!ok || v < 1) {
            cls_string reason;
            if (error) *error = reason.print("Unsupported scale %s (1 or more).", text.c_str());
            return cls_sp<if_display_backend>();
        }
        scale = static_cast<int>(v);
    }
    return cls_sp<if_display_backend>(
        OZGI_NEW(cls_sdl_backend)(options, scale, options.has("--ozgi-fullscreen")));
}

cls_sdl_backend::cls_sdl_backend(const display_options_t& options, int scale, bool fullscreen)
    : cls_display_backend(options), m_scale(scale), m_fullscreen(fullscreen), m_video_started(false), m_window(nullptr),
      m_renderer(nullptr), m_texture(nullptr), m_mouse_down(false), m_mouse_x(0), m_mouse_y(0), m_finger(-1) {}

cls_sdl_backend::~cls_sdl_backend() {
    m_console.give_back();
    m_evdev.close_all();
    if (m_texture) m_sdl->destroy_texture(m_texture);
    if (m_renderer) m_sdl->destroy_renderer(m_renderer);
    if (m_window) m_sdl->destroy_window(m_window);
    if (m_video_started) m_sdl->quit_sub_system(SDL_INIT_VIDEO);
    // With nothing else of SDL in use, SDL_Quit also lets go of what SDL keeps
    // beyond its subsystems (its D-Bus connection among them).
    if (m_video_started && m_sdl->was_init(0) == 0) m_sdl->quit();
}

bool cls_sdl_backend::open(int width, int height, const cls_string& title, cls_string* error) {
    cls_string reason;
    // The library is loaded only now that SDL is what draws (see sdl_library.h);
    // without it, as with no display, the next display of a list is tried.
    std::string missing_library;
    m_sdl = shared_sdl_library(&missing_library);
    if (!m_sdl) {
        if (error) *error = missing_library.c_str();
        return false;
    }
    // Touch is handled as touch; SDL's own translations between touch and mouse
    // would deliver every tap twice.
    m_sdl->set_hint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
    m_sdl->set_hint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
    m_sdl->set_hint(SDL_HINT_RENDER_SCALE_QUALITY, "nearest");
    // SIGINT and SIGTERM are the framework's (cls_stop_signal), not a quit event.
    m_sdl->set_hint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (m_sdl->init_sub_system(SDL_INIT_VIDEO) != 0) {
        if (error)
            *error = reason.print("Can't open a display (SDL: %s). Use --ozgi-video=headless to run without a screen, "
                                  "or run under xvfb-run.",
                                  m_sdl->get_error());
        return false;
    }
    // With no display at all SDL falls back to drivers that show nothing; unless
    // they were asked for, that is no display, not an invisible program.
    const char* fallback = m_sdl->get_current_video_driver();
    if (fallback && (strcasecmp(fallback, "offscreen") == 0 || strcasecmp(fallback, "dummy") == 0) &&
        !driver_asked_for(fallback)) {
        if (error)
            *error = reason.print("Can't open a display (SDL: no display found, only its %s driver). Use "
                                  "--ozgi-video=headless to run without a screen, or run under xvfb-run.",
                                  fallback);
        m_sdl->quit_sub_system(SDL_INIT_VIDEO);
        if (m_sdl->was_init(0) == 0) m_sdl->quit();
        return false;
    }
    m_video_started = true;
    setup_screen(width, height);
    int pw = screen().physical_width();
    int ph = screen().physical_height();
    const char* driver = m_sdl->get_current_video_driver();
    // Without a desktop (KMSDRM on the device) the panel is the whole display.
    bool on_device = driver && (std::strcmp(driver, "KMSDRM") == 0 || std::strcmp(driver, "kmsdrm") == 0);
    cls_string missing;
    if (on_device && !cls_kmsdrm_libraries::check(&missing)) {
        if (error)
            *error = reason.print("Can't draw through SDL's KMSDRM driver: missing %s. Install them, or use "
                                  "--ozgi-video=fbdev.",
                                  missing.c_str());
        return false;
    }
    Uint32 flags = SDL_WINDOW_SHOWN;
    if (m_fullscreen || on_device) flags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
    m_window = m_sdl->create_window(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, pw * m_scale,
                                ph * m_scale, flags);
    if (m_window) m_renderer = m_sdl->create_renderer(m_window, -1, 0);
    if (m_window && !m_renderer) m_renderer = m_sdl->create_renderer(m_window, -1, SDL_RENDERER_SOFTWARE);
    if (m_renderer) {
        // Events then arrive in panel pixels whatever the window's real size.
        m_sdl->render_set_logical_size(m_renderer, pw, ph);
        m_texture = m_sdl->create_texture(m_renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING, pw, ph);
    }
    if (!m_texture) {
        if (error)
            *error = reason.print("Can't open a %d x %d window (SDL %s: %s). Use --ozgi-video=headless to run without "
                                  "a screen, or run under xvfb-run.",
                                  pw * m_scale, ph * m_scale, driver ? driver : "no video driver", m_sdl->get_error());
        return false;
    }
    // SDL leaves the terminal's keyboard on: Ctrl+Alt+Del and Alt+Fn would
    // reach the console under the picture. It is turned off (and the console
    // put back on every exit path) as with the framebuffer backend.
    if (on_device) {
        m_console.take();
        m_sdl->get_window_size(m_window, &m_display_w, &m_display_h);
        cls_string input_error;
        m_own_input = m_evdev.open("", true, cls_evdev_input::range_t(), m_display_w, m_display_h, &input_error);
    }
    redraw();
    return true;
}

void cls_sdl_backend::redraw() {
    if (!m_texture) return;
    m_sdl->set_render_draw_color(m_renderer, 0, 0, 0, 255);
    m_sdl->render_clear(m_renderer);
    m_sdl->render_copy(m_renderer, m_texture, nullptr, nullptr);
    m_sdl->render_present(m_renderer);
}

void cls_sdl_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (!m_texture) return;
    cls_rect r = screen().update(argb, stride, dirty);
    if (r.is_empty()) return;
    // Only the changed rectangle travels to the texture.
    int pw = screen().physical_width();
    SDL_Rect rect{r.x, r.y, r.w, r.h};
    m_sdl->update_texture(m_texture, &rect, screen().physical() + static_cast<long>(r.y) * pw + r.x,
                      pw * static_cast<int>(sizeof(uint32_t)));
    redraw();
}

void cls_sdl_backend::pointer(input_t::type_t type, int px, int py, input_t* out) const {
    int pw = screen().physical_width();
    int ph = screen().physical_height();
    px = px < 0 ? 0 : px >= pw ? pw - 1 : px;
    py = py < 0 ? 0 : py >= ph ? ph - 1 : py;
    out->type = type;
    screen().to_logical(px, py, &out->x, &out->y);
}

bool cls_sdl_backend::translate(const SDL_Event& e, input_t* out) {
    *out = input_t();
    int pw = screen().physical_width();
    int ph = screen().physical_height();
    switch (e.type) {
    case SDL_QUIT:
        out->type = input_t::QUIT;
        return true;
    case SDL_WINDOWEVENT:
        if (e.window.event == SDL_WINDOWEVENT_EXPOSED || e.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) redraw();
        return false;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        out->type = e.type == SDL_KEYDOWN ? input_t::KEY_PRESS : input_t::KEY_RELEASE;
        out->key_name = m_sdl->get_key_name(e.key.keysym.sym);
        out->repeat = e.key.repeat != 0;
        return out->key_name.is_not_empty();
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        if (e.button.which == SDL_TOUCH_MOUSEID || e.button.button != SDL_BUTTON_LEFT) return false;
        m_mouse_down = e.type == SDL_MOUSEBUTTONDOWN;
        m_mouse_x = e.button.x;
        m_mouse_y = e.button.y;
        pointer(m_mouse_down ? input_t::PRESS : input_t::RELEASE, e.button.x, e.button.y, out);
        return true;
    case SDL_MOUSEMOTION:
        if (e.motion.which == SDL_TOUCH_MOUSEID) return false;
        m_mouse_x = e.motion.x;
        m_mouse_y = e.motion.y;
        // Hovering means nothing on a touch screen; only drags are reported.
        if (!m_mouse_down) return false;
        pointer(input_t::MOVE, e.motion.x, e.motion.y, out);
        return true;
    case SDL_MOUSEWHEEL:
        if (e.wheel.which == SDL_TOUCH_MOUSEID || e.wheel.y == 0) return false;
        pointer(input_t::WHEEL, m_mouse_x, m_mouse_y, out);
        out->wheel_dy = e.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -e.wheel.y : e.wheel.y;
        return true;
    case SDL_FINGERDOWN:
    case SDL_FINGERMOTION:
    case SDL_FINGERUP: {
        long long id = static_cast<long long>(e.tfinger.fingerId);
        if (e.type == SDL_FINGERDOWN) {
            if (m_finger != -1) return false;
            m_finger = id;
        } else if (id != m_finger) {
            return false;
        }
        input_t::type_t type = e.type == SDL_FINGERDOWN ? input_t::PRESS
                               : e.type == SDL_FINGERUP ? input_t::RELEASE
                                                        : input_t::MOVE;
        if (e.type == SDL_FINGERUP) m_finger = -1;
        // Finger positions are fractions of the touch surface, which is the panel.
        pointer(type, static_cast<int>(e.tfinger.x * pw), static_cast<int>(e.tfinger.y * ph), out);
        return true;
    }
    default:
        return false;
    }
}

bool cls_sdl_backend::read_device_input(input_t* out) {
    if (!m_video_started) return false;
    if (m_own_input) {
        input_t in;
        while (m_evdev.read(&in))
            if (from_display(in, out)) return true;
    }
    SDL_Event e;
    while (m_sdl->poll_event(&e))
        if (translate(e, out)) return true;
    return false;
}

bool cls_sdl_backend::from_display(const input_t& in, input_t* out) const {
    if (in.type != input_t::PRESS && in.type != input_t::MOVE && in.type != input_t::RELEASE) {
        *out = in;
        return true;
    }
    // The picture is scaled to fit the display and centred, as SDL's logical
    // size draws it.
    int pw = screen().physical_width(), ph = screen().physical_height();
    double scale = std::min(static_cast<double>(m_display_w) / pw, static_cast<double>(m_display_h) / ph);
    if (scale <= 0) return false;
    double left = (m_display_w - pw * scale) / 2, top = (m_display_h - ph * scale) / 2;
    int x = static_cast<int>((in.x - left) / scale), y = static_cast<int>((in.y - top) / scale);
    x = x < 0 ? 0 : x >= pw ? pw - 1 : x;
    y = y < 0 ? 0 : y >= ph ? ph - 1 : y;
    pointer(in.type, x, y, out);
    return true;
}

void cls_sdl_backend::wait(int timeout_ms, const int* fds, int nfds) {
    if (has_queued_input()) return;
    if (!m_video_started || m_own_input) {
        // On a device SDL has no events of its own to wait for: the input
        // devices are ours, so one poll covers everything and idles.
        // FIXME: a relative mouse is left to SDL, whose events then wait for
        // the next wake-up.
        std::vector<pollfd> polled;
        if (m_own_input) m_evdev.add_poll_fds(&polled);
        poll_with(&polled, timeout_ms, fds, nfds);
        return;
    }
    if (nfds <= 0) {
        if (timeout_ms < 0) m_sdl->wait_event(nullptr);
        else m_sdl->wait_event_timeout(nullptr, timeout_ms);
        return;
    }
    if (nfds == 1 && fds[0] == cls_stop_signal::wake_fd()) {
        // Only a stop signal could come besides SDL's events: SDL's own wait
        // blocks (on a desktop it sleeps on the display connection), and a
        // signal is noticed within one slice, far below the second a service
        // manager allows, while an idle window wakes only a few times a second.
        Uint32 start = m_sdl->get_ticks();
        for (;;) {
            int slice = SIGNAL_SLICE_MS;
            if (timeout_ms >= 0) {
                int left = timeout_ms - static_cast<int>(m_sdl->get_ticks() - start);
                if (left <= 0) return;
                if (left < slice) slice = left;
            }
            if (m_sdl->wait_event_timeout(nullptr, slice)) return;
            pollfd stop{fds[0], POLLIN, 0};
            if (::poll(&stop, 1, 0) != 0) return;
        }
    }
    // SDL cannot wait on other descriptors, so the two are watched in turn while
    // a test runs (its output must be read as it comes).
    pollfd polled[MAX_WAIT_FDS];
    if (nfds > MAX_WAIT_FDS) nfds = MAX_WAIT_FDS;
    for (int i = 0; i < nfds; ++i) polled[i] = pollfd{fds[i], POLLIN, 0};
    Uint32 start = m_sdl->get_ticks();
    for (;;) {
        m_sdl->pump_events();
        if (m_sdl->peep_events(nullptr, 0, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0) return;
        int slice = WAIT_SLICE_MS;
        if (timeout_ms >= 0) {
            int left = timeout_ms - static_cast<int>(m_sdl->get_ticks() - start);
            if (left <= 0) return;
            if (left < slice) slice = left;
        }
        if (::poll(polled, static_cast<nfds_t>(nfds), slice) != 0) return;
    }
}

} // namespace ozgi
