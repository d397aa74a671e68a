#include "ozgi/cls_singleton_mgr.h"

#include <vector>

namespace ozgi {
namespace {
struct entry_t {
    release_func_t func;
    void* object;
};
std::vector<entry_t>& entries() {
    static std::vector<entry_t>* e = new std::vector<entry_t>();
    return *e;
}
} // namespace

void cls_singleton_mgr::register_singleton_release(release_func_t func, void* object) {
    entries().push_back(entry_t{func, object});
}

void cls_singleton_mgr::release_all() {
    // A release may register another singleton; take them one at a time.
    while (!entries().empty()) {
        entry_t e = entries().back();
        entries().pop_back();
        e.func(e.object);
    }
}

} // namespace ozgi
