#pragma once

namespace ozgi {

typedef void (*release_func_t)(void*);

class cls_singleton_mgr {
public:
    /// Calls `func(object)` when the application ends (when if_main::main_func
    /// returns), in reverse order of registration, once.
    static void register_singleton_release(release_func_t func, void* object);
    /// Runs the registered releases now, last registered first, and forgets them.
    static void release_all();
};

} // namespace ozgi
