#include "backend/sdl_library.h"

#include <dlfcn.h>

#include <cstddef>

namespace ozgi {

namespace {

// SDL's names of the table's functions, in the table's order.
const char* const NAMES[] = {
#define OZGI_SDL_NAME(field, name) #name,
    OZGI_SDL_FUNCTIONS(OZGI_SDL_NAME)
#undef OZGI_SDL_NAME
};
constexpr size_t COUNT = sizeof NAMES / sizeof NAMES[0];

// The file to load, and the table once it loaded from that file.
const char* g_file = OZGI_SDL_LIBRARY;
sdl_library_t g_library;
std::string g_loaded_from;

} // namespace

bool load_sdl_library(const char* file, sdl_library_t* out, std::string* error) {
    // Global, as SDL was when it was linked: what it opens in turn (its X11,
    // Wayland, GL and audio libraries) finds the same names as before.
    void* handle = dlopen(file, RTLD_NOW | RTLD_GLOBAL);
    if (!handle) {
        const char* why = dlerror();
        *error = why ? why : "dlopen failed";
        return false;
    }
    // Looked up in a loop, and only then given their types: one lookup per
    // function written out would make this the backend's biggest function.
    void* found[COUNT];
    for (size_t i = 0; i < COUNT; ++i) {
        found[i] = dlsym(handle, NAMES[i]);
        if (!found[i]) {
            *error = std::string("it has no ") + NAMES[i];
            dlclose(handle);
            return false;
        }
    }
    sdl_library_t lib;
    size_t at = 0;
#define OZGI_SDL_SET(field, name) lib.field = reinterpret_cast<decltype(lib.field)>(found[at++]);
    OZGI_SDL_FUNCTIONS(OZGI_SDL_SET)
#undef OZGI_SDL_SET
    *out = lib;
    return true;
}

const sdl_library_t* shared_sdl_library(std::string* error) {
    if (!g_loaded_from.empty() && g_loaded_from == g_file) return &g_library;
    std::string why;
    sdl_library_t lib;
    if (!load_sdl_library(g_file, &lib, &why)) {
        if (error)
            *error = std::string("Can't use SDL: its library ") + g_file + " can't be loaded (" + why +
                     "). Install the Debian package " + OZGI_SDL_PACKAGE + ", or choose another display with --ozgi-video=.";
        return nullptr;
    }
    g_library = lib;
    g_loaded_from = g_file;
    return &g_library;
}

const char* sdl_library_file() { return g_file; }

void set_sdl_library_file(const char* file) { g_file = file ? file : OZGI_SDL_LIBRARY; }

} // namespace ozgi
