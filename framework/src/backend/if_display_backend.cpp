#include "ozgi/if_display_backend.h"

#include "backend/cls_headless_backend.h"
#include "backend/cls_sdl_backend.h"

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
    if (name == "sdl") return cls_sp<if_display_backend>(OZGI_NEW(cls_sdl_backend)(rotate, scale, fullscreen));
    if (error) *error = reason.print("Unknown video backend \"%s\" (sdl or headless).", name.c_str());
    return cls_sp<if_display_backend>();
}

} // namespace ozgi
