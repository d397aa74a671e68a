#pragma once
// SDL's KMSDRM display loads its EGL, GBM and OpenGL libraries only when a
// window is made, and when one is missing the screen may simply stay black
// with nothing said. The libraries are looked for first, so that a missing
// one ends the program with its name and the Debian package that has it.
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_kmsdrm_libraries {
public:
    /// Whether every library SDL's KMSDRM driver loads can be loaded; when
    /// not, false with "LIB (PACKAGE), ..." of those missing in *missing.
    static bool check(cls_string* missing);
};

} // namespace ozgi
