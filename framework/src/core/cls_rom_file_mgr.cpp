#include "ozgi/cls_rom_file_mgr.h"

namespace ozgi {

cls_rom_file_mgr* cls_rom_file_mgr::ins() {
    // Registrations run during static initialisation, so the store is made on
    // first use and never destroyed.
    static cls_rom_file_mgr* instance = new cls_rom_file_mgr();
    return instance;
}

cls_rom_file_mgr::reg_token_t cls_rom_file_mgr::register_file(const char* name, const void* data, long long size) {
    // The store lives as long as the process; its blocks are no leak.
    cls_mem_mgr::permanent_scope_t permanent;
    cls_string key(name);
    if (!m_files.has(key)) m_order.append(key);
    int index = m_order.count() - 1;
    m_files.set(key, entry_t{data, size, index});
    return reg_token_t{index};
}

bool cls_rom_file_mgr::find(const cls_string& name, const void** data, long long* size) const {
    const entry_t* e = m_files.get(name);
    if (!e) return false;
    if (data) *data = e->data;
    if (size) *size = e->size;
    return true;
}

bool cls_rom_file_mgr::has(const cls_string& name) const { return m_files.has(name); }

cls_array<cls_string> cls_rom_file_mgr::names() const { return m_order; }

} // namespace ozgi
