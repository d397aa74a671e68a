#include "backend/cls_kmsdrm_libraries.h"

#include <dlfcn.h>

namespace ozgi {

namespace {

struct library_t {
    const char* file;
    const char* package;
};

// What SDL's KMSDRM driver and its OpenGL renderer open with dlopen().
const library_t NEEDED[] = {
    {"libgbm.so.1", "libgbm1"},
    {"libEGL.so.1", "libegl1"},
    {"libEGL_mesa.so.0", "libegl-mesa0"},
    {"libGL.so.1", "libgl1"},
    {"libGLESv2.so.2", "libgles2"},
};

} // namespace

bool cls_kmsdrm_libraries::check(cls_string* missing) {
    cls_string list;
    for (const library_t& lib : NEEDED) {
        void* handle = ::dlopen(lib.file, RTLD_LAZY | RTLD_LOCAL);
        if (handle) {
            ::dlclose(handle);
            continue;
        }
        cls_string one;
        one.print("%s%s (%s)", list.is_empty() ? "" : ", ", lib.file, lib.package);
        list += one;
    }
    if (missing) *missing = list;
    return list.is_empty();
}

} // namespace ozgi
