#include "devices/cls_vesk_dir_chain.h"

bool cls_vesk_dir_chain::enter(const ozgi::cls_dir::id_t& id) {
    for (int i = 0; i < m_ids.count(); ++i)
        if (m_ids[i] == id) return false;
    m_ids.append(id);
    return true;
}

void cls_vesk_dir_chain::leave() {
    if (!m_ids.is_empty()) m_ids.remove_at(m_ids.count() - 1);
}
