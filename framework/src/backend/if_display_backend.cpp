#include "ozgi/if_display_backend.h"

#include <string>

#include "backend/cls_headless_backend.h"
#if OZGI_WITH_SDL
#include "backend/cls_sdl_backend.h"
#endif
#if OZGI_WITH_DRM
#include "backend/cls_drm_backend.h"
#endif
#if OZGI_WITH_FBDEV
#include "backend/cls_fbdev_backend.h"
#endif

namespace ozgi {

namespace {

typedef cls_sp<if_display_backend> (*create_fn_t)(const display_options_t& options, cls_string* error);

struct backend_entry_t {
    const char* name;
    create_fn_t create;
};

// The backends this build has, in the order messages name them. A new backend
// is one line here.
const backend_entry_t BACKENDS[] = {
#if OZGI_WITH_SDL
    {"sdl", &cls_sdl_backend::create},
#endif
#if OZGI_WITH_DRM
    {"drm", &cls_drm_backend::create},
#endif
#if OZGI_WITH_FBDEV
    {"fbdev", &cls_fbdev_backend::create},
#endif
    {"headless", &cls_headless_backend::create},
};

bool is_prefixed(const cls_string& arg, const char* prefix) {
    size_t n = std::char_traits<char>::length(prefix);
    return static_cast<size_t>(arg.length()) >= n && std::char_traits<char>::compare(arg.c_str(), prefix, n) == 0;
}

} // namespace

if_display_backend::~if_display_backend() {}

bool display_options_t::value(const char* prefix, cls_string* out) const {
    size_t n = std::char_traits<char>::length(prefix);
    for (int i = 0; i < settings.count(); ++i)
        if (is_prefixed(settings[i], prefix)) {
            if (out) *out = settings[i].sub_str(static_cast<int>(n));
            return true;
        }
    return false;
}

bool display_options_t::has(const char* flag) const {
    for (int i = 0; i < settings.count(); ++i)
        if (settings[i] == flag) return true;
    return false;
}

bool display_options_t::from_args(const cls_array<cls_string>& args, display_options_t* out, cls_string* error) {
    display_options_t o;
    o.video = default_display_backend();
    for (int i = 0; i < args.count(); ++i)
        if (is_prefixed(args[i], "--ozgi-")) o.settings.append(args[i]);
    o.value("--ozgi-video=", &o.video);
    cls_string rotate;
    if (o.value("--ozgi-rotate=", &rotate)) {
        std::string text(rotate.c_str());
        size_t used = 0;
        int v = 0;
        bool ok = !text.empty() && text.size() <= 9 && text.find_first_not_of("-0123456789") == std::string::npos;
        if (ok) {
            try {
                v = std::stoi(text, &used);
            } catch (...) {
                ok = false;
            }
        }
        if (!ok || used != text.size()) {
            cls_string reason;
            if (error) *error = reason.print("Bad value of --ozgi-rotate=: \"%s\"", rotate.c_str());
            return false;
        }
        o.rotate = v;
    }
    *out = o;
    return true;
}

cls_sp<if_display_backend> create_display_backend(const display_options_t& options, cls_string* error) {
    cls_string reason;
    int rotate = options.rotate;
    if (rotate != 0 && rotate != 90 && rotate != 180 && rotate != 270) {
        if (error) *error = reason.print("Unsupported rotation %d (0, 90, 180 or 270).", rotate);
        return cls_sp<if_display_backend>();
    }
    for (const backend_entry_t& b : BACKENDS)
        if (options.video == b.name) return b.create(options, error);
    if (error)
        *error = reason.print("Unknown video backend \"%s\" (%s).", options.video.c_str(), display_backend_names());
    return cls_sp<if_display_backend>();
}

cls_sp<if_display_backend> open_display_backend(const display_options_t& options, int width, int height,
                                                const cls_string& title, cls_string* error) {
    std::string list(options.video.c_str()), reasons;
    size_t at = 0;
    for (;;) {
        size_t end = list.find(',', at);
        display_options_t one = options;
        one.video = list.substr(at, end == std::string::npos ? std::string::npos : end - at).c_str();
        cls_string why;
        cls_sp<if_display_backend> backend = create_display_backend(one, &why);
        // A bad name or setting is a mistake to fix, not a backend to pass over.
        if (backend.is_null()) {
            cls_string reason;
            if (error) *error = reason.print("Can't use the display %s: %s", one.video.c_str(), why.c_str());
            return backend;
        }
        if (backend->open(width, height, title, &why)) return backend;
        if (!reasons.empty()) reasons += "; ";
        reasons += one.video.c_str();
        reasons += ": ";
        reasons += why.c_str();
        if (end == std::string::npos) break;
        at = end + 1;
    }
    // With one backend asked for, its reason alone is the message.
    if (error)
        *error = cls_string("Can't open the display: ") +
                 (options.video.find(",") < 0 ? cls_string(reasons.substr(reasons.find(": ") + 2).c_str())
                                              : cls_string(reasons.c_str()));
    return cls_sp<if_display_backend>();
}

const char* default_display_backend() { return OZGI_WITH_SDL ? "sdl" : OZGI_WITH_DRM ? "drm,fbdev" : OZGI_WITH_FBDEV ? "fbdev" : "headless"; }

const char* display_backend_names() {
    static std::string names;
    if (names.empty()) {
        size_t n = sizeof BACKENDS / sizeof BACKENDS[0];
        for (size_t i = 0; i < n; ++i) {
            if (i > 0) names += i + 1 == n ? " or " : ", ";
            names += BACKENDS[i].name;
        }
    }
    return names.c_str();
}

} // namespace ozgi
