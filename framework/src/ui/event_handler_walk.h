#pragma once
// The walks over an item's descendants that the item's lookups, group changes,
// focus chain, moves, painting and hit tests share.
#include <vector>

#include "ozgi/cls_event_handler.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_rect.h"

namespace ozgi {

/// Appends every descendant of `item`, in creation order (each before its own).
inline void collect_descendants(const cls_event_handler* item, std::vector<cls_event_handler*>* out) {
    for (int i = 0; i < item->child_count(); ++i) {
        out->push_back(item->child(i));
        collect_descendants(item->child(i), out);
    }
}

/// Whether subtree bounds, moved up by `scroll`, may meet `r` on the screen
/// (worked out in long long: bounds may reach the ends of int).
inline bool bounds_meet(const cls_event_handler::subtree_bounds_t& b, int scroll, const cls_rect& r) {
    if (b.holds_page) return true;
    long long s = scroll;
    return b.x0 < r.right() && b.x1 > r.x && b.y0 - s < r.bottom() && b.y1 - s > r.y;
}

/// Whether subtree bounds, moved up by `scroll`, may hold the whole of `r`.
inline bool bounds_may_cover(const cls_event_handler::subtree_bounds_t& b, int scroll, const cls_rect& r) {
    if (b.holds_page) return true;
    long long s = scroll;
    return b.x0 <= r.x && b.x1 >= r.right() && b.y0 - s <= r.y && b.y1 - s >= r.bottom();
}

/// The children of `item` (scrolled by `scroll`) that may meet `r`: indices
/// [*first, *end). A long row of children in order from top to bottom is cut by
/// binary search; otherwise all of them.
inline void children_meeting(const cls_event_handler* item, int scroll, const cls_rect& r, int* first, int* end) {
    int n = item->child_count();
    *first = 0;
    *end = n;
    // Below this many a look at each is as cheap.
    const int SEARCH_FROM = 16;
    if (n < SEARCH_FROM || !item->subtree_bounds().children_ordered) return;
    int lo = 0, hi = n;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (item->child(mid)->subtree_bounds().y1 - static_cast<long long>(scroll) > r.y) hi = mid;
        else lo = mid + 1;
    }
    *first = lo;
    hi = n;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        if (item->child(mid)->subtree_bounds().y0 - static_cast<long long>(scroll) >= r.bottom()) hi = mid;
        else lo = mid + 1;
    }
    *end = lo;
}

/// How far the children of `item` are scrolled when `item` is: a page scrolls
/// its content, not itself.
inline int scroll_of_children(const cls_event_handler* item, int scroll) {
    return item->is_page() ? static_cast<const cls_page*>(item)->scroll_y() : scroll;
}

/// Calls visit(d) for the shown descendants d of `item` (itself shown, its
/// children scrolled by `scroll`) that may hold the screen pixel (px, py), the
/// last drawn first, each after its own descendants: the reverse of the order
/// they are drawn in. A hidden item hides its descendants. visit returns true to
/// stop the walk; so does the walk then.
template <typename F>
bool visit_at_point_top_first(const cls_event_handler* item, int px, int py, int scroll, F& visit) {
    cls_rect point{px, py, 1, 1};
    int first = 0, end = 0;
    children_meeting(item, scroll, point, &first, &end);
    for (int i = end - 1; i >= first; --i) {
        cls_event_handler* c = item->child(i);
        if (!c->shown_by_itself()) continue;
        if (!c->is_page() && !bounds_meet(c->subtree_bounds(), scroll, point)) continue;
        if (visit_at_point_top_first(c, px, py, scroll_of_children(c, scroll), visit)) return true;
        if (visit(c)) return true;
    }
    return false;
}

} // namespace ozgi
