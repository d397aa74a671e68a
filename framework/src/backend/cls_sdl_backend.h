#pragma once
// The screen through SDL2: a window on an X11 or Wayland desktop, or the whole
// display through KMSDRM on a device. Mouse, touch and keyboard become input_t.
#include "backend/cls_console_mode.h"
#include "backend/cls_display_backend.h"
#include "backend/cls_evdev_input.h"
#include "backend/sdl_library.h"

namespace ozgi {

class cls_sdl_backend : public cls_display_backend {
public:
    /// Makes the backend for `options`: --ozgi-scale=N enlarges a desktop window
    /// (1 or more), --ozgi-fullscreen covers the whole display. Null, with the
    /// reason, for a bad scale. libSDL2 is not loaded before open().
    static cls_sp<if_display_backend> create(const display_options_t& options, cls_string* error);
    /// A backend whose desktop window is enlarged `scale` times and covers the
    /// display when `fullscreen`.
    cls_sdl_backend(const display_options_t& options, int scale, bool fullscreen);
    ~cls_sdl_backend() override;
    bool open(int width, int height, const cls_string& title, cls_string* error) override;
    void present(const uint32_t* argb, int stride, const cls_rect& dirty) override;
    void wait(int timeout_ms, const int* fds, int nfds) override;

protected:
    bool read_device_input(input_t* out) override;

private:
    /// Turns one SDL event into input; false for events the GUI does not see.
    bool translate(const SDL_Event& event, input_t* out);
    /// Maps a position in panel pixels to logical input coordinates.
    void pointer(input_t::type_t type, int px, int py, input_t* out) const;
    /// Shows the whole texture again (after the window was uncovered).
    void redraw();

    /// SDL's functions, loaded by open(); null until then (nothing of SDL in use).
    const sdl_library_t* m_sdl = nullptr;
    int m_scale;
    bool m_fullscreen;
    bool m_video_started;
    SDL_Window* m_window;
    SDL_Renderer* m_renderer;
    SDL_Texture* m_texture;
    bool m_mouse_down;
    int m_mouse_x;
    int m_mouse_y;
    /// The finger that drives the pointer; others are ignored (-1: none down).
    long long m_finger;
    /// On a device (KMSDRM) the console under the picture is ours as on fbdev.
    cls_console_mode m_console;
    /// On a device the input is read (and grabbed) by the framework's own
    /// evdev input, as on fbdev: SDL's finds no device without udev and does
    /// not take a tablet's BTN_LEFT as a touch.
    cls_evdev_input m_evdev;
    bool m_own_input = false;
    /// The display's size, for the touches read there.
    int m_display_w = 0;
    int m_display_h = 0;
    /// Turns a touch from the evdev input (display pixels) into input.
    bool from_display(const input_t& in, input_t* out) const;
};

} // namespace ozgi
