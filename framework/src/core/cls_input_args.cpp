#include "ozgi/cls_input_args.h"

#include <cstdio>

namespace ozgi {

cls_input_args* cls_input_args::ins() {
    static cls_input_args* instance = new cls_input_args();
    return instance;
}

cls_input_args::cls_input_args() {
    // The arguments live as long as the process; their blocks are no leak.
    cls_mem_mgr::permanent_scope_t permanent;
    // The kernel keeps the arguments NUL-separated; the first is the program.
    FILE* f = std::fopen("/proc/self/cmdline", "rb");
    if (!f) return;
    cls_string all;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0) all.append(buf, static_cast<int>(n));
    std::fclose(f);
    int start = 0;
    bool first = true;
    for (int i = 0; i < all.length(); ++i) {
        if (all[i] != '\0') continue;
        if (!first) m_args.append(all.sub_str(start, i - start));
        first = false;
        start = i + 1;
    }
}

void cls_input_args::set_args(const cls_array<cls_string>& args) {
    cls_mem_mgr::permanent_scope_t permanent;
    m_args = args;
}

bool cls_input_args::has_arg(const cls_string& name, bool whole, cls_string* value) const {
    for (const cls_string& arg : m_args) {
        if (whole) {
            if (arg == name) return true;
        } else if (arg.begin_with(name.c_str(), value)) {
            return true;
        }
    }
    return false;
}

} // namespace ozgi
