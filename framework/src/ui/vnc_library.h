#pragma once
// libvncserver, loaded only when the panel is served over VNC: linking it would
// make every run load it and its own libraries (TLS, crypto, JPEG...) for nothing.
// Its headers still give the types; its functions are taken from here.
#include <rfb/rfb.h>

#include <string>

namespace ozgi {

/// The library's file name (its ABI version) and the Debian package that has it.
#define OZGI_VNC_LIBRARY "libvncserver.so.1"
#define OZGI_VNC_PACKAGE "libvncserver1"

/// The functions and variables of libvncserver the VNC server uses.
struct vnc_library_t {
    rfbScreenInfoPtr (*get_screen)(int* argc, char** argv, int width, int height, int bits_per_sample,
                                   int samples_per_pixel, int bytes_per_pixel);
    void (*init_server)(rfbScreenInfoPtr screen);
    void (*run_event_loop)(rfbScreenInfoPtr screen, long usec, rfbBool run_in_background);
    void (*mark_rect_as_modified)(rfbScreenInfoPtr screen, int x1, int y1, int x2, int y2);
    rfbClientPtr (*new_client)(rfbScreenInfoPtr screen, int sock);
    void (*start_on_hold_client)(rfbClientPtr client);
    void (*shutdown_server)(rfbScreenInfoPtr screen, rfbBool disconnect_clients);
    void (*screen_cleanup)(rfbScreenInfoPtr screen);
    rfbPasswordCheckProcPtr check_password_by_list;
    /// The library's own message hooks (variables of the library).
    rfbLogProc* log;
    rfbLogProc* err;
};

/// Loads the library `file` and fills *out; false with the reason in *error when
/// the file can't be loaded or lacks one of the names. The library stays loaded.
bool load_vnc_library(const char* file, vnc_library_t* out, std::string* error);
/// Loads the VNC library `file` into *out like load_vnc_library; fatal, naming the
/// library and its Debian package, when that fails.
void load_vnc_library_or_die(const char* file, vnc_library_t* out);

} // namespace ozgi
