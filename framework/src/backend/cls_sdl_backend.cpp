#include "backend/cls_sdl_backend.h"

#include "backend/cls_kmsdrm_libraries.h"
#include "ozgi/cls_stop_signal.h"

#include <poll.h>
#include <strings.h>
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

cls_sdl_backend::cls_sdl_backend(int rotate, int scale, bool fullscreen)
    : m_rotate(rotate), m_scale(scale), m_fullscreen(fullscreen), m_video_started(false), m_window(nullptr),
      m_renderer(nullptr), m_texture(nullptr), m_mouse_down(false), m_mouse_x(0), m_mouse_y(0), m_finger(-1) {}

cls_sdl_backend::~cls_sdl_backend() {
    if (m_texture) SDL_DestroyTexture(m_texture);
    if (m_renderer) SDL_DestroyRenderer(m_renderer);
    if (m_window) SDL_DestroyWindow(m_window);
    if (m_video_started) SDL_QuitSubSystem(SDL_INIT_VIDEO);
    // With nothing else of SDL in use, SDL_Quit also lets go of what SDL keeps
    // beyond its subsystems (its D-Bus connection among them).
    if (m_video_started && SDL_WasInit(0) == 0) SDL_Quit();
}

bool cls_sdl_backend::open(int width, int height, const cls_string& title, cls_string* error) {
    // Touch is handled as touch; SDL's own translations between touch and mouse
    // would deliver every tap twice.
    SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
    SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "nearest");
    // SIGINT and SIGTERM are the framework's (cls_stop_signal), not a quit event.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    cls_string reason;
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
        if (error)
            *error = reason.print("Can't open a display (SDL: %s). Use --ozgi-video=headless to run without a screen, "
                                  "or run under xvfb-run.",
                                  SDL_GetError());
        return false;
    }
    // With no display at all SDL falls back to drivers that show nothing; unless
    // they were asked for, that is no display, not an invisible program.
    const char* fallback = SDL_GetCurrentVideoDriver();
    if (fallback && (strcasecmp(fallback, "offscreen") == 0 || strcasecmp(fallback, "dummy") == 0) &&
        !driver_asked_for(fallback)) {
        if (error)
            *error = reason.print("Can't open a display (SDL: no display found, only its %s driver). Use "
                                  "--ozgi-video=headless to run without a screen, or run under xvfb-run.",
                                  fallback);
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
        if (SDL_WasInit(0) == 0) SDL_Quit();
        return false;
    }
    m_video_started = true;
    m_screen.setup(width, height, m_rotate);
    int pw = m_screen.physical_width();
    int ph = m_screen.physical_height();
    const char* driver = SDL_GetCurrentVideoDriver();
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
    m_window = SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, pw * m_scale,
                                ph * m_scale, flags);
    if (m_window) m_renderer = SDL_CreateRenderer(m_window, -1, 0);
    if (m_window && !m_renderer) m_renderer = SDL_CreateRenderer(m_window, -1, SDL_RENDERER_SOFTWARE);
    if (m_renderer) {
        // Events then arrive in panel pixels whatever the window's real size.
        SDL_RenderSetLogicalSize(m_renderer, pw, ph);
        m_texture = SDL_CreateTexture(m_renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING, pw, ph);
    }
    if (!m_texture) {
        if (error)
            *error = reason.print("Can't open a %d x %d window (SDL %s: %s). Use --ozgi-video=headless to run without "
                                  "a screen, or run under xvfb-run.",
                                  pw * m_scale, ph * m_scale, driver ? driver : "no video driver", SDL_GetError());
        return false;
    }
    redraw();
    return true;
}

void cls_sdl_backend::redraw() {
    if (!m_texture) return;
    SDL_SetRenderDrawColor(m_renderer, 0, 0, 0, 255);
    SDL_RenderClear(m_renderer);
    SDL_RenderCopy(m_renderer, m_texture, nullptr, nullptr);
    SDL_RenderPresent(m_renderer);
}

void cls_sdl_backend::present(const uint32_t* argb, int stride, const cls_rect& dirty) {
    if (!m_texture) return;
    cls_rect r = m_screen.update(argb, stride, dirty);
    if (r.is_empty()) return;
    // Only the changed rectangle travels to the texture.
    int pw = m_screen.physical_width();
    SDL_Rect rect{r.x, r.y, r.w, r.h};
    SDL_UpdateTexture(m_texture, &rect, m_screen.physical() + static_cast<long>(r.y) * pw + r.x,
                      pw * static_cast<int>(sizeof(uint32_t)));
    redraw();
}

void cls_sdl_backend::pointer(input_t::type_t type, int px, int py, input_t* out) const {
    int pw = m_screen.physical_width();
    int ph = m_screen.physical_height();
    px = px < 0 ? 0 : px >= pw ? pw - 1 : px;
    py = py < 0 ? 0 : py >= ph ? ph - 1 : py;
    out->type = type;
    m_screen.to_logical(px, py, &out->x, &out->y);
}

bool cls_sdl_backend::translate(const SDL_Event& e, input_t* out) {
    *out = input_t();
    int pw = m_screen.physical_width();
    int ph = m_screen.physical_height();
    switch (e.type) {
    case SDL_QUIT:
        out->type = input_t::QUIT;
        return true;
    case SDL_WINDOWEVENT:
        if (e.window.event == SDL_WINDOWEVENT_EXPOSED || e.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) redraw();
        return false;
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        out->type = e.type == SDL_KEYDOWN ? input_t::KEY_DOWN : input_t::KEY_UP;
        out->key_name = SDL_GetKeyName(e.key.keysym.sym);
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

bool cls_sdl_backend::poll_input(input_t* out) {
    if (!m_queue.empty()) {
        *out = m_queue.front();
        m_queue.pop_front();
        return true;
    }
    if (!m_video_started) return false;
    SDL_Event e;
    while (SDL_PollEvent(&e))
        if (translate(e, out)) return true;
    return false;
}

void cls_sdl_backend::inject_input(const input_t& in) {
    input_t mapped = in;
    if (in.type == input_t::PRESS || in.type == input_t::MOVE || in.type == input_t::RELEASE ||
        in.type == input_t::WHEEL)
        m_screen.to_logical(in.x, in.y, &mapped.x, &mapped.y);
    m_queue.push_back(mapped);
}

void cls_sdl_backend::wait(int timeout_ms, const int* fds, int nfds) {
    if (!m_queue.empty()) return;
    if (!m_video_started) {
        std::vector<pollfd> polled(static_cast<size_t>(nfds > 0 ? nfds : 0));
        for (int i = 0; i < nfds; ++i) polled[i] = pollfd{fds[i], POLLIN, 0};
        ::poll(polled.data(), polled.size(), timeout_ms < 0 ? -1 : timeout_ms);
        return;
    }
    if (nfds <= 0) {
        if (timeout_ms < 0) SDL_WaitEvent(nullptr);
        else SDL_WaitEventTimeout(nullptr, timeout_ms);
        return;
    }
    if (nfds == 1 && fds[0] == cls_stop_signal::wake_fd()) {
        // Only a stop signal could come besides SDL's events: SDL's own wait
        // blocks (on a desktop it sleeps on the display connection), and a
        // signal is noticed within one slice, far below the second a service
        // manager allows, while an idle window wakes only a few times a second.
        Uint32 start = SDL_GetTicks();
        for (;;) {
            int slice = SIGNAL_SLICE_MS;
            if (timeout_ms >= 0) {
                int left = timeout_ms - static_cast<int>(SDL_GetTicks() - start);
                if (left <= 0) return;
                if (left < slice) slice = left;
            }
            if (SDL_WaitEventTimeout(nullptr, slice)) return;
            pollfd stop{fds[0], POLLIN, 0};
            if (::poll(&stop, 1, 0) != 0) return;
        }
    }
    // SDL cannot wait on other descriptors, so the two are watched in turn while
    // a test runs (its output must be read as it comes).
    pollfd polled[MAX_WAIT_FDS];
    if (nfds > MAX_WAIT_FDS) nfds = MAX_WAIT_FDS;
    for (int i = 0; i < nfds; ++i) polled[i] = pollfd{fds[i], POLLIN, 0};
    Uint32 start = SDL_GetTicks();
    for (;;) {
        SDL_PumpEvents();
        if (SDL_PeepEvents(nullptr, 0, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) > 0) return;
        int slice = WAIT_SLICE_MS;
        if (timeout_ms >= 0) {
            int left = timeout_ms - static_cast<int>(SDL_GetTicks() - start);
            if (left <= 0) return;
            if (left < slice) slice = left;
        }
        if (::poll(polled, static_cast<nfds_t>(nfds), slice) != 0) return;
    }
}

bool cls_sdl_backend::read_physical(cls_array<uint32_t>* argb, int* w, int* h) {
    if (!m_screen.is_set_up()) return false;
    m_screen.copy_physical(argb);
    *w = m_screen.physical_width();
    *h = m_screen.physical_height();
    return true;
}

} // namespace ozgi
