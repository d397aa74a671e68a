#include "ui/text_pool.h"

#include <deque>
#include <string>
#include <unordered_map>

#include "ozgi/cls_mem_mgr.h"

namespace ozgi {

const cls_string* intern_text(const cls_string& text) {
    // Never destroyed: the items that point into it may outlive static destruction.
    static auto* index = new std::unordered_map<std::string, const cls_string*>();
    static auto* store = new std::deque<cls_string>();
    std::string key(text.c_str(), static_cast<size_t>(text.length()));
    auto it = index->find(key);
    if (it != index->end()) return it->second;
    cls_mem_mgr::permanent_scope_t permanent;
    store->push_back(text);
    const cls_string* kept = &store->back();
    (*index)[key] = kept;
    return kept;
}

} // namespace ozgi
