#pragma once
// The walk over an item's descendants that the item's lookups, group changes,
// focus chain and moves share.
#include <vector>

#include "ozgi/cls_event_handler.h"

namespace ozgi {

/// Appends every descendant of `item`, in creation order (each before its own).
inline void collect_descendants(const cls_event_handler* item, std::vector<cls_event_handler*>* out) {
    for (int i = 0; i < item->child_count(); ++i) {
        out->push_back(item->child(i));
        collect_descendants(item->child(i), out);
    }
}

} // namespace ozgi
