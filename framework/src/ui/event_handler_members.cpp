// cls_event_handler: finding items by path or pattern, and binding the members
// that pages declare.
#include "ozgi/cls_event_handler.h"

#include <algorithm>
#include <vector>

#include "ozgi/cls_log.h"
#include "ui/event_handler_walk.h"

namespace ozgi {
namespace {

// Full match of a small pattern language: "." is any character, "*" repeats the
// element before it any number of times (a "*" with no element before it is an
// element itself). The pattern's elements are states, and the text is read once
// while the set of states that the text so far can reach is kept: time is the
// pattern's length times the text's, where trying one way after another would
// take exponential time on patterns like ".*.*.*x".
bool pattern_match(const char* p, const char* s) {
    struct elem_t {
        char c;
        bool star;
    };
    std::vector<elem_t> elems;
    for (const char* q = p; *q;) {
        bool star = q[1] == '*';
        elems.push_back(elem_t{*q, star});
        q += star ? 2 : 1;
    }
    size_t n = elems.size();
    // reach[j]: the first j elements can match the text read so far. A starred
    // element may match nothing, so reaching it also reaches the one after it.
    std::vector<char> reach(n + 1, 0), next(n + 1, 0);
    auto close = [&](std::vector<char>* r) {
        for (size_t j = 0; j < n; ++j)
            if ((*r)[j] && elems[j].star) (*r)[j + 1] = 1;
    };
    reach[0] = 1;
    close(&reach);
    for (; *s; ++s) {
        std::fill(next.begin(), next.end(), 0);
        bool any = false;
        for (size_t j = 0; j < n; ++j) {
            if (!reach[j] || (elems[j].c != '.' && elems[j].c != *s)) continue;
            // A starred element stays to take more characters.
            next[elems[j].star ? j : j + 1] = 1;
            any = true;
        }
        if (!any) return false;
        close(&next);
        reach.swap(next);
    }
    return reach[n] != 0;
}

bool component_matches(const cls_event_handler* item, const cls_string& component) {
    bool pattern = component.has('*') || component.has('.');
    if (pattern ? pattern_match(component.c_str(), item->item_name().c_str()) && item->item_name().is_not_empty()
                : item->item_name() == component)
        return true;
    const cls_array<cls_string>& groups = item->groups();
    for (int i = 0; i < groups.count(); ++i)
        if (pattern ? pattern_match(component.c_str(), groups[i].c_str()) : groups[i] == component) return true;
    return false;
}

} // namespace

cls_sp<cls_array<cls_event_handler*>> cls_event_handler::get_member_items(const cls_string& path,
                                                                          bool must_exist) const {
    std::vector<cls_event_handler*> current(1, const_cast<cls_event_handler*>(this));
    int from = 0;
    while (from <= path.length()) {
        int slash = path.find('/', from);
        if (slash < 0) slash = path.length();
        cls_string component = path.sub_str(from, slash - from);
        from = slash + 1;
        if (component.is_empty()) continue;
        std::vector<cls_event_handler*> next;
        for (cls_event_handler* base : current) {
            std::vector<cls_event_handler*> all;
            collect_descendants(base, &all);
            for (cls_event_handler* d : all)
                if (component_matches(d, component) && std::find(next.begin(), next.end(), d) == next.end())
                    next.push_back(d);
        }
        current.swap(next);
        if (current.empty()) break;
    }
    cls_array<cls_event_handler*>* out = OZGI_NEW(cls_array<cls_event_handler*>)();
    for (cls_event_handler* d : current)
        if (d != this) out->append(d);
    if (must_exist && out->is_empty())
        OZGI_FATAL("Can't find the member item %s of %s.", path.c_str(), class_name().c_str());
    return cls_sp<cls_array<cls_event_handler*>>(out);
}

cls_event_handler* cls_event_handler::member_item(const cls_string& path, bool must_exist) const {
    cls_sp<cls_array<cls_event_handler*>> found = get_member_items(path, must_exist);
    return found->is_empty() ? nullptr : found->get(0);
}

void cls_event_handler::add_member_item_entry(const member_item_entry_t& entry) { m_member_items.push_back(entry); }

void cls_event_handler::add_member_event_entry(const member_event_entry_t& entry) { m_member_events.push_back(entry); }

void cls_event_handler::bind_members() {
    for (const member_item_entry_t& e : m_member_items) {
        cls_event_handler* item = nullptr;
        if (e.index < 0) {
            item = member_item(e.path, false);
        } else {
            cls_sp<cls_array<cls_event_handler*>> all = get_member_items(e.path, false);
            if (e.index < all->count()) item = all->get(e.index);
        }
        if (!item && e.must_exist)
            OZGI_FATAL("Can't find the member item %s of %s.", e.path.c_str(), class_name().c_str());
        e.assign(e.field, item, e.path);
    }
    for (const member_event_entry_t& e : m_member_events) {
        cls_event_handler* item = member_item(e.path, false);
        if (!item) {
            cls_log::log_warning("No item %s for the %s event of %s", e.path.c_str(), e.event_name.c_str(),
                                 class_name().c_str());
            continue;
        }
        item->listen_event_func(e.event_name, e.handler, this, e.once);
    }
}

void cls_event_handler::wrong_member_class(const cls_string& path, const cls_event_handler* item) {
    OZGI_FATAL("The member item %s is a %s, not of the class its field needs.", path.c_str(),
               item->class_name().c_str());
}

} // namespace ozgi
