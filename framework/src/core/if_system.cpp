#include "ozgi/if_system.h"

#include <cstdlib>

namespace ozgi {

cls_sp<cls_string> if_system::env(const cls_string& name) {
    const char* v = std::getenv(name.c_str());
    return cls_sp<cls_string>(v ? OZGI_NEW(cls_string)(v) : nullptr);
}

} // namespace ozgi
