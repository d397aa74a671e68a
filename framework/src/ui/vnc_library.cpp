#include "ui/vnc_library.h"

#include <dlfcn.h>

#include "ozgi/cls_log.h"

namespace ozgi {

namespace {

// Fills *slot with the address of `name` in `handle`; false and *error set when missing.
template <typename T> bool take(void* handle, const char* name, T* slot, std::string* error) {
    void* p = dlsym(handle, name);
    if (!p) {
        *error = std::string("it has no ") + name;
        return false;
    }
    *slot = reinterpret_cast<T>(p);
    return true;
}

// The name of a function after the headers' renaming: rfbInitServer is a macro
// naming the variant that matches how the library was built (threads, ZRLE).
#define OZGI_VNC_NAME(f) OZGI_VNC_NAME_TEXT(f)
#define OZGI_VNC_NAME_TEXT(f) #f

} // namespace

bool load_vnc_library(const char* file, vnc_library_t* out, std::string* error) {
    // Never closed: the server's threads run the library's code until the program ends.
    void* handle = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* why = dlerror();
        *error = why ? why : "dlopen failed";
        return false;
    }
    vnc_library_t lib{};
    bool ok = take(handle, "rfbGetScreen", &lib.get_screen, error) &&
              take(handle, OZGI_VNC_NAME(rfbInitServer), &lib.init_server, error) &&
              take(handle, "rfbRunEventLoop", &lib.run_event_loop, error) &&
              take(handle, "rfbMarkRectAsModified", &lib.mark_rect_as_modified, error) &&
              take(handle, "rfbNewClient", &lib.new_client, error) &&
              take(handle, "rfbStartOnHoldClient", &lib.start_on_hold_client, error) &&
              take(handle, "rfbShutdownServer", &lib.shutdown_server, error) &&
              take(handle, "rfbScreenCleanup", &lib.screen_cleanup, error) &&
              take(handle, "rfbCheckPasswordByList", &lib.check_password_by_list, error) &&
              take(handle, "rfbLog", &lib.log, error) && take(handle, "rfbErr", &lib.err, error);
    if (!ok) {
        dlclose(handle);
        return false;
    }
    *out = lib;
    return true;
}

void load_vnc_library_or_die(const char* file, vnc_library_t* out) {
    std::string error;
    if (!load_vnc_library(file, out, &error))
        OZGI_FATAL("--ozgi-vnc needs the VNC server library %s, from the Debian package %s: %s.", file, OZGI_VNC_PACKAGE,
                   error.c_str());
}

} // namespace ozgi
