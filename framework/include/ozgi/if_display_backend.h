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
    // The key types are not called KEY_UP and KEY_DOWN: those are key codes of
    // <linux/input.h>, which the device backends include.
    enum type_t { NONE, PRESS, MOVE, RELEASE, WHEEL, KEY_PRESS, KEY_RELEASE, QUIT };
    type_t type = NONE;
    /// Position of PRESS, MOVE, RELEASE and WHEEL (the pointer's position).
    int x = 0;
    int y = 0;
    /// WHEEL: steps, positive when the wheel turns away from the user (scroll up).
    int wheel_dy = 0;
    /// KEY_PRESS, KEY_RELEASE: the framework's key name ("Return", "Escape", "AC Back", "Up", "F5", ...).
    cls_string key_name;
    /// KEY_PRESS: true when the key is held and this is the keyboard's auto-repeat.
    bool repeat = false;
};

/// What display is asked for: the backends to try, the turn of the picture and
/// each backend's own settings.
struct display_options_t {
    /// The backends to try, in order, separated by commas ("drm,fbdev,sdl").
    cls_string video;
    /// Degrees clockwise the picture is turned on the panel: 0, 90, 180 or 270.
    int rotate = 0;
    /// Every framework option as given ("--ozgi-fbdev=/dev/fb1", "--ozgi-fullscreen", ...);
    /// each backend picks out its own.
    cls_array<cls_string> settings;

    /// Whether an option beginning with `prefix` ("--ozgi-fbdev=") was given; its
    /// text after the prefix goes to `value` (when not null). The first one wins.
    bool value(const char* prefix, cls_string* value) const;
    /// Whether the option `flag` ("--ozgi-fullscreen") was given as it is.
    bool has(const char* flag) const;
    /// The options of a command line: --ozgi-video= (default_display_backend()
    /// when not given), --ozgi-rotate= and every other "--ozgi-" argument. False,
    /// with the reason in *error, for a rotation that is not a number.
    static bool from_args(const cls_array<cls_string>& args, display_options_t* out, cls_string* error);
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
    /// Queues an input event as if it came from the screen: x, y are PHYSICAL
    /// pixels of the picture (as a tap on the mounted panel) and are mapped like real input.
    virtual void inject_input(const input_t& in) = 0;
    /// Maps the logical pixel (x, y) to the pixel of the turned picture showing it,
    /// the coordinates inject_input takes.
    virtual void to_physical(int x, int y, int* px, int* py) const = 0;
    /// Blocks until input is pending, one of the `nfds` file descriptors `fds` is
    /// readable, or `timeout_ms` passed (-1: no timeout).
    virtual void wait(int timeout_ms, const int* fds, int nfds) = 0;
    /// What the screen shows, rotated as on the panel: `*w` x `*h` pixels of
    /// 0xAARRGGBB, rows top to bottom. False when nothing was opened.
    virtual bool read_physical(cls_array<uint32_t>* argb, int* w, int* h) = 0;
};

/// Makes the backend `options.video` names (one name: "sdl", "drm", "fbdev" or
/// "headless", as built), not yet opened. An unknown name or a bad setting gives
/// null with the reason in *error.
cls_sp<if_display_backend> create_display_backend(const display_options_t& options, cls_string* error);
/// Makes and opens, for a `width` x `height` picture, the first backend of the
/// list `options.video` that opens. Null with the whole message in *error when
/// a name or setting is bad ("Can't use the display NAME: ...") or when none
/// opens ("Can't open the display: ...", with each one's reason after its name,
/// separated by "; ", when several were tried).
cls_sp<if_display_backend> open_display_backend(const display_options_t& options, int width, int height,
                                                const cls_string& title, cls_string* error);
/// The backend used when none is asked for: "sdl" when it is built, else "drm,fbdev".
const char* default_display_backend();
/// The backends this build has, for messages: "sdl, drm, fbdev or headless".
const char* display_backend_names();

} // namespace ozgi
