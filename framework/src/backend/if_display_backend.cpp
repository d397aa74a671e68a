#include "ozgi/if_display_backend.h"

#include "backend/cls_headless_backend.h"
#if OZGI_WITH_SDL
#include "backend/cls_sdl_backend.h"
#endif
#if OZGI_WITH_FBDEV
#include "backend/cls_fbdev_backend.h"
#endif

namespace ozgi {

if_display_backend::~if_display_backend() {}

cls_sp<if_display_backend> create_display_backend(const cls_string& name, int rotate, int scale, bool fullscreen,
                                                  cls_string* error) {
    cls_string reason;
    if (rotate != 0 && rotate != 90 && rotate != 180 && rotate != 270) {
        if (error) *error = reason.print("Unsupported rotation %d (0, 90, 180 or 270).", rotate);
        return cls_sp<if_display_backend>();
    }
    if (scale < 1) {
        if (error) *error = reason.print("Unsupported scale %d (1 or more).", scale);
        return cls_sp<if_display_backend>();
    }
    if (name == "headless") return cls_sp<if_display_backend>(OZGI_NEW(cls_headless_backend)(rotate));
    // Only the SDL window is enlarged or made to cover the display.
    (void)fullscreen;
#if OZGI_WITH_SDL
    if (name == "sdl") return cls_sp<if_display_backend>(OZGI_NEW(cls_sdl_backend)(rotate, scale, fullscreen));
#endif
#if OZGI_WITH_FBDEV
    if (name == "fbdev") return cls_sp<if_display_backend>(OZGI_NEW(cls_fbdev_backend)(rotate));
#endif
    if (error) *error = reason.print("Unknown video backend \"%s\" (%s).", name.c_str(), display_backend_names());
    return cls_sp<if_display_backend>();
}

const char* default_display_backend() { return OZGI_WITH_SDL ? "sdl" : OZGI_WITH_FBDEV ? "fbdev" : "headless"; }

const char* display_backend_names() {
    return OZGI_WITH_SDL && OZGI_WITH_FBDEV ? "sdl, fbdev or headless"
           : OZGI_WITH_SDL                 ? "sdl or headless"
           : OZGI_WITH_FBDEV               ? "fbdev or headless"
                                           : "headless";
}

} // namespace ozgi
