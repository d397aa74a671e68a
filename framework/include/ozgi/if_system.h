#pragma once
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class if_system {
public:
    /// The value of an environment variable, null when it is unset.
    static cls_sp<cls_string> env(const cls_string& name);
};

} // namespace ozgi
