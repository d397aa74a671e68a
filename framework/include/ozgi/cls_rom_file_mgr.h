#pragma once
// A read-only store of files compiled into the program. Layouts, dictionaries
// and pictures are looked up here by a path-like name before the file system.
#include "ozgi/cls_array.h"
#include "ozgi/cls_dict.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_rom_file_mgr {
public:
    /// What register_file returns; kept by the registering code, never used again.
    struct reg_token_t {
        int index;
    };

    /// The one store, made on first use and never destroyed.
    static cls_rom_file_mgr* ins();
    /// Makes `size` bytes at `data` readable under `name`. The bytes are not copied
    /// and must live as long as the program. A later registration of a name wins.
    reg_token_t register_file(const char* name, const void* data, long long size);
    /// Finds a registered file; returns false when `name` is not registered.
    bool find(const cls_string& name, const void** data, long long* size) const;
    /// True when `name` is registered.
    bool has(const cls_string& name) const;
    /// The registered names, in registration order.
    cls_array<cls_string> names() const;

private:
    cls_rom_file_mgr() {}
    struct entry_t {
        const void* data;
        long long size;
        int index;
    };
    cls_dict<cls_string, entry_t> m_files;
    cls_array<cls_string> m_order;
};

} // namespace ozgi
