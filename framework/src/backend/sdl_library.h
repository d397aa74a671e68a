#pragma once
// libSDL2, loaded only when an SDL display is chosen: linking it would make every
// run, headless, fbdev and drm included, load it and the sixty libraries behind
// it (X11, Wayland, PulseAudio, ALSA...) for nothing. Its headers still give
// the types; its functions are taken from here.
#include <SDL.h>

#include <string>

namespace ozgi {

/// The library's file name (its ABI version) and the Debian package that has it.
#define OZGI_SDL_LIBRARY "libSDL2-2.0.so.0"
#define OZGI_SDL_PACKAGE "libsdl2-2.0-0"

/// Each function the SDL backend calls: the table's field, then SDL's name.
#define OZGI_SDL_FUNCTIONS(X)                          \
    X(init_sub_system, SDL_InitSubSystem)              \
    X(quit_sub_system, SDL_QuitSubSystem)              \
    X(was_init, SDL_WasInit)                           \
    X(quit, SDL_Quit)                                  \
    X(set_hint, SDL_SetHint)                           \
    X(get_error, SDL_GetError)                         \
    X(get_current_video_driver, SDL_GetCurrentVideoDriver) \
    X(create_window, SDL_CreateWindow)                 \
    X(destroy_window, SDL_DestroyWindow)               \
    X(get_window_size, SDL_GetWindowSize)              \
    X(create_renderer, SDL_CreateRenderer)             \
    X(destroy_renderer, SDL_DestroyRenderer)           \
    X(render_set_logical_size, SDL_RenderSetLogicalSize) \
    X(set_render_draw_color, SDL_SetRenderDrawColor)   \
    X(render_clear, SDL_RenderClear)                   \
    X(render_copy, SDL_RenderCopy)                     \
    X(render_present, SDL_RenderPresent)               \
    X(create_texture, SDL_CreateTexture)               \
    X(destroy_texture, SDL_DestroyTexture)             \
    X(update_texture, SDL_UpdateTexture)               \
    X(get_key_name, SDL_GetKeyName)                    \
    X(get_ticks, SDL_GetTicks)                         \
    X(poll_event, SDL_PollEvent)                       \
    X(pump_events, SDL_PumpEvents)                     \
    X(peep_events, SDL_PeepEvents)                     \
    X(wait_event, SDL_WaitEvent)                       \
    X(wait_event_timeout, SDL_WaitEventTimeout)

/// The functions of libSDL2 the SDL backend uses, typed as SDL's headers declare them.
struct sdl_library_t {
#define OZGI_SDL_SLOT(field, name) decltype(&::name) field = nullptr;
    OZGI_SDL_FUNCTIONS(OZGI_SDL_SLOT)
#undef OZGI_SDL_SLOT
};

/// Loads the library `file` and fills *out; false with the reason in *error when
/// the file can't be loaded or lacks one of the names. The library stays loaded.
bool load_sdl_library(const char* file, sdl_library_t* out, std::string* error);

/// The process's table, loaded from sdl_library_file() at the first call and
/// kept: SDL is never unloaded (its threads and hooks may outlive a backend).
/// Null, with a message for the operator naming the library and its Debian
/// package in *error, when it can't be loaded.
const sdl_library_t* shared_sdl_library(std::string* error);

/// The file shared_sdl_library() loads: OZGI_SDL_LIBRARY, unless a test has
/// named another with set_sdl_library_file().
const char* sdl_library_file();

/// Makes shared_sdl_library() load `file` from now on (null: OZGI_SDL_LIBRARY);
/// lets a test stand for a machine without the library.
void set_sdl_library_file(const char* file);

} // namespace ozgi
