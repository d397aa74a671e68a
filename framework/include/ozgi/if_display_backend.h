#pragma once
// The one platform interface of the GUI: show a framebuffer, read input, wait.
// The GUI always works in logical coordinates (the unrotated screen, e.g. 640x800);
// the backend rotates what it shows and maps input back.
#include <cstdint>
#include "ozgi/cls_array.h"
#include "ozgi/cls_rect.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

/// One input event in logical coordinates.
struct input_t {
    enum type_t { NONE, PRESS, MOVE, RELEASE, WHEEL, KEY_DOWN, KEY_UP, QUIT };
    type_t type = NONE;
    /// Position of PRESS, MOVE, RELEASE and WHEEL (the pointer's position).
    int x = 0;
    int y = 0;
    /// WHEEL: steps, positive when the wheel turns away from the user (scroll up).
    int wheel_dy = 0;
    /// KEY_DOWN, KEY_UP: SDL's key name ("Return", "Escape", "AC Back", "Up", "F5", ...).
    cls_string key_name;
    /// KEY_DOWN: true when the key is held and this is the keyboard's auto-repeat.
    bool repeat = false;
};

class if_display_backend {
public:
    virtual ~if_display_backend();
    /// Opens the screen for a `width` x `height` logical framebuffer. On failure
    /// returns false with a one-line reason in *error.
    virtual bool open(int width, int height, const cls_string& title, cls_string* error) = 0;
    /// Shows the `dirty` part (logical coordinates) of the framebuffer `argb`
    /// (`stride` pixels per row); the rest of the screen keeps what it showed.
    virtual void present(const uint32_t* argb, int stride, const cls_rect& dirty) = 0;
    /// Takes the next input event without blocking; false when there is none.
    /// Coordinates are logical (un-rotated).
    virtual bool poll_input(input_t* out) = 0;
    /// Queues an input event as if it came from the screen: x, y are PHYSICAL screen
    /// pixels (as a tap on the mounted panel) and are mapped like real input.
    virtual void inject_input(const input_t& in) = 0;
    /// Blocks until input is pending, one of the `nfds` file descriptors `fds` is
    /// readable, or `timeout_ms` passed (-1: no timeout).
    virtual void wait(int timeout_ms, const int* fds, int nfds) = 0;
    /// What the screen shows, rotated as on the panel: `*w` x `*h` pixels of
    /// 0xAARRGGBB, rows top to bottom. False when nothing was opened.
    virtual bool read_physical(cls_array<uint32_t>* argb, int* w, int* h) = 0;
};

/// Makes the backend `name` ("sdl", "fbdev" or "headless", as built). `rotate` is 0, 90, 180 or 270
/// (degrees clockwise the picture is turned on the panel), `scale` enlarges a
/// desktop window (1 or more), `fullscreen` asks for the whole display. An unknown
/// name or a bad value gives null with the reason in *error.
cls_sp<if_display_backend> create_display_backend(const cls_string& name, int rotate, int scale, bool fullscreen,
                                                  cls_string* error);
/// The backend used when none is asked for: "sdl" when it is built, else "fbdev".
const char* default_display_backend();
/// The backends this build has, for messages: "sdl, fbdev or headless".
const char* display_backend_names();

} // namespace ozgi
