#pragma once
// The base of every GUI item: a rectangle in an item tree, with a name, groups,
// free item data, visibility, enablement, focus, event listeners and the
// declarative member bindings that pages set up in their constructors.
#include <type_traits>
#include <vector>
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_size.h"
#include "ozgi/cls_ui_event.h"

namespace ozgi {

class cls_canvas;
struct cls_rect;
class cls_event_handler;
class cls_page;

/// An event handler: a member function of an item that takes the item that fired
/// the event. Derived classes' handlers are passed through listen_event's template.
typedef void (cls_event_handler::*event_func_t)(cls_event_handler* sender);

/// A declared member item: when the layout of the declaring item has been loaded,
/// the item at `path` (below the declaring item) is stored into `field`.
struct member_item_entry_t {
    /// "/"-separated item names (the last one may be a pattern, see get_member_items).
    cls_string path;
    /// The address of the pointer field to fill.
    void* field;
    /// Stores the item (or null) into the field with the field's own type.
    void (*assign)(void* field, cls_event_handler* item, const cls_string& path);
    /// -1: the first item at `path`; n >= 0: the n-th of all items matching `path`.
    int index;
    /// true: a missing item is fatal; false: the field stays null.
    bool must_exist;
};

/// A declared member event: when the layout of the declaring item has been loaded,
/// `handler` of the declaring item listens to `event_name` fired by the item at `path`.
struct member_event_entry_t {
    cls_string path;
    cls_string event_name;
    event_func_t handler;
    /// The listen_event flag (true: called once only).
    bool once;
};

/// The outcome of giving an item one layout attribute.
enum attr_result_t { ATTR_OK = 0, ATTR_UNKNOWN = 1, ATTR_BAD_VALUE = 2 };

class cls_event_handler {
public:
    cls_event_handler();
    /// Destroys the children, last first, and forgets queued events addressed to the item.
    virtual ~cls_event_handler();
    cls_event_handler(const cls_event_handler&) = delete;
    cls_event_handler& operator=(const cls_event_handler&) = delete;

    // ---- Class names -------------------------------------------------------
    /// Appends one level of derivation; every constructor appends its class name.
    void add_class_name(const char* name);
    /// The class names, base first.
    const cls_array<cls_string>& class_names() const { return m_class_names; }
    /// The most derived class name (the name a layout gives the class).
    const cls_string& class_name() const;
    /// Whether `name` is one of the item's class names.
    bool is_class(const char* name) const;

    // ---- Tree --------------------------------------------------------------
    /// The containing item, null for a root.
    cls_event_handler* parent() const { return m_parent; }
    /// Number of children.
    int child_count() const { return static_cast<int>(m_children.size()); }
    /// The index-th child in creation order.
    cls_event_handler* child(int index) const;
    /// Appends `child` (made with OZGI_NEW) as the last child; the item owns it from now on.
    void add_child(cls_event_handler* child);
    /// Detaches `child` without destroying it; the caller owns it again.
    void remove_child(cls_event_handler* child);
    /// The sibling created just before this item (including items created by code), or null.
    cls_event_handler* prev_sibling() const;
    /// The page this item belongs to (itself for a page), or null.
    cls_page* page() const;
    /// Whether the item is a page (cheaper than a dynamic_cast on every lookup).
    bool is_page() const { return m_is_page; }

    // ---- Names, data, groups -------------------------------------------------
    const cls_string& item_name() const { return m_item_name; }
    void set_item_name(const cls_string& name) { m_item_name = name; }
    /// Stores a free text carried by the item.
    void set_item_data(const cls_string& data) { m_item_data = data; }
    /// The free text set by set_item_data (empty by default).
    const cls_string& item_data() const { return m_item_data; }
    /// Puts the item in the group `name` (an item may be in several groups).
    void add_group(const cls_string& name);
    bool in_group(const cls_string& name) const;
    /// Whether the item is in the group "show_on_press" (shown only while its
    /// button is pressed).
    bool follows_press() const { return m_show_on_press; }
    const cls_array<cls_string>& groups() const { return m_groups; }

    // ---- Lookup --------------------------------------------------------------
    /// The first descendant at `path` ("/"-separated item names, each found among
    /// all descendants of the previous one, in creation order), or null. A name may
    /// also be a group name or a pattern (see get_member_items). must_exist true
    /// makes a missing item fatal.
    cls_event_handler* member_item(const cls_string& path, bool must_exist = false) const;
    /// Every descendant matching `path`, in creation order. Each component matches an
    /// item name or a group name; a component may be a pattern in which "." is any
    /// character and "*" repeats the previous one, so "ARGU_BUTTONS.*" finds every
    /// item in the group ARGU_BUTTONS. must_exist true makes an empty result fatal.
    cls_sp<cls_array<cls_event_handler*>> get_member_items(const cls_string& path, bool must_exist = false) const;

    // ---- Events --------------------------------------------------------------
    /// Calls receiver->*handler(this item) whenever the item fires `event_name`
    /// ("click", "timer", ...). With once true the listener is dropped after one call.
    /// Accepts a handler of any class derived from cls_event_handler.
    template <typename C, typename R>
    void listen_event(const cls_string& event_name, void (C::*handler)(cls_event_handler*), R* receiver, bool once = false) {
        static_assert(std::is_base_of<cls_event_handler, C>::value, "handler must belong to an item class");
        static_assert(std::is_base_of<C, R>::value, "receiver must have the handler");
        listen_event_func(event_name, static_cast<event_func_t>(handler), static_cast<cls_event_handler*>(static_cast<C*>(receiver)), once);
    }
    /// listen_event with a handler already cast to event_func_t.
    void listen_event_func(const cls_string& event_name, event_func_t handler, cls_event_handler* receiver, bool once);
    /// Drops every listener of `event_name` on this item.
    void remove_listeners(const cls_string& event_name);
    /// Calls the listeners of `event_name` now, in the order they were added.
    void fire_event(const cls_string& event_name);
    /// Queues `event` for the GUI thread's loop (handled after the current handler returns).
    void post_event(const cls_ui_event& event);
    /// Queues an event of `code` addressed to this item with `text`. Code 1 with an
    /// empty text ends the program; code 1 with a text fires that event on the item.
    void post_event(event_code_t code, const cls_string& text);

    // ---- Visibility, enablement, focus ---------------------------------------
    void show();
    void hide();
    /// Sets the item's own visibility flag.
    void set_visible(bool visible);
    /// Whether the item is shown: its own flag (or, for "show_on_press" and
    /// show_on_focus items, the state of their button), and every ancestor shown.
    bool is_visible() const;
    /// The item's own visibility flag.
    bool visible_flag() const { return m_visible; }
    /// Whether the item's own state lets it show (as is_visible, without asking
    /// the ancestors): for walks from the top that have already asked them.
    bool shown_by_itself() const;
    void enable();
    void disable();
    /// Whether the item and all its ancestors are enabled.
    bool is_enabled() const;
    /// Enables every descendant in the group `name`.
    void enable_group(const cls_string& name);
    /// Disables every descendant in the group `name`.
    void disable_group(const cls_string& name);
    /// Gives this item the focus of its page.
    void get_focus();
    /// Whether this item has the focus of its page.
    bool has_focus() const;
    /// Whether the item takes part in the focus chain (buttons do).
    bool is_focusable() const { return m_focusable; }
    void set_focusable(bool focusable);
    /// The focusable item before the reference in creation order, skipping hidden and
    /// disabled ones; the reference is the page's focus when called on a page, this
    /// item otherwise. wrap true continues from the end. Null when there is none.
    cls_event_handler* prev_focusable_item(bool wrap) const;
    /// As prev_focusable_item, forwards.
    cls_event_handler* next_focusable_item(bool wrap) const;
    /// Whether the item is shown only while its nearest focusable ancestor has the focus.
    bool show_on_focus() const { return m_show_on_focus; }
    void set_show_on_focus(bool on);

    // ---- Geometry (layout coordinates: screen pixels before page scrolling) ----
    int left() const { return m_x; }
    int top() const { return m_y; }
    int width() const { return m_w; }
    int height() const { return m_h; }
    int right() const { return m_x + m_w; }
    int bottom() const { return m_y + m_h; }
    /// Moves the item by dx, dy; with_children true moves all descendants along.
    void move_by(int dx, int dy, bool with_children);
    /// move_by(size.width(), size.height(), with_children).
    void move_by(const cls_size& distance, bool with_children);
    /// Sets the height; relayout true evaluates the descendants' layout expressions again.
    void set_height(int height, bool relayout);
    /// Sets the width; relayout as in set_height.
    void set_width(int width, bool relayout);
    /// Sets the position and size without touching descendants.
    void set_geometry(int x, int y, int w, int h);
    /// The item's rectangle on the screen now (page scrolling applied).
    void screen_rect(int* x, int* y, int* w, int* h) const;
    /// The natural size of the item's content (text or picture); false when it has none.
    virtual bool content_size(int* width, int* height);

    /// What the item and its shown descendants cover, in layout coordinates (page
    /// scrolling not applied), so that walks over a long page can pass by whole
    /// subtrees. Kept until the geometry, visibility or children below change.
    struct subtree_bounds_t {
        /// The box around every rectangle of the subtree (x1, y1 exclusive);
        /// rectangles without area count too, so it may be a line or a point.
        int x0, y0, x1, y1;
        /// The lowest bottom edge (top plus height) in the subtree.
        int lowest_bottom;
        /// A page lies below: it does not scroll with the rest, so the box says
        /// nothing about where things are on the screen.
        bool holds_page;
        /// The children's boxes are in order from top to bottom (both their top and
        /// bottom edges never decrease), so those meeting a band can be looked up.
        bool children_ordered;
    };
    /// The item's subtree bounds, worked out again first when they are stale.
    const subtree_bounds_t& subtree_bounds() const;
    /// Makes the subtree bounds of the item and its ancestors stale: something that
    /// changes what they cover has changed (item classes call it for the state their
    /// show_on_press or show_on_focus items follow).
    void mark_bounds_stale();
    /// mark_bounds_stale, and the bounds of every descendant as well.
    void mark_subtree_bounds_stale();
    /// Whether on_draw fills the item's whole rectangle with an opaque colour, so
    /// that nothing drawn before it under that rectangle can show. A class that
    /// draws otherwise than its base must answer for itself.
    virtual bool is_opaque() const;

    /// Marks the item's screen area for repainting in the current loop turn;
    /// with_children true also covers descendants lying outside it.
    void invalidate(bool with_children = false);
    /// Marks for repainting all that the item and its descendants draw, for an
    /// item that comes or goes. The default is invalidate(true); an item that
    /// draws only parts of its rectangle may mark just those.
    virtual void invalidate_drawn();
    /// Marks for repainting what a change of this item's focus changes: the
    /// show_on_focus items that follow it (the items below it whose nearest
    /// focusable ancestor it is). Nothing else draws by focus.
    void invalidate_focus_followers();

protected:
    /// Marks a rectangle in screen coordinates for repainting when the item's page
    /// is on top, as invalidate does for the item's own rectangle.
    void invalidate_screen_rect(const cls_rect& rect);

public:
    // ---- Layout support ------------------------------------------------------
    /// Applies one layout attribute that belongs to the item's class (geometry,
    /// names and the common flags are handled by the loader).
    virtual attr_result_t apply_attr(const cls_string& name, const cls_string& value);
    /// Remembers a geometry expression so that relayout can evaluate it again.
    void set_layout_expr(const cls_string& attr, const cls_string& expr, const cls_string& file);
    /// Evaluates the remembered geometry expressions of the item, then of every
    /// descendant in creation order.
    void relayout(bool with_children);
    /// Whether a remembered geometry expression depends on the content's size, so
    /// that a new text or picture must lay the item out again.
    bool uses_content_size() const;

    // ---- Member bindings (used by constructors) -------------------------------
    /// Declares a member item; T is the field's item class. See member_item_entry_t.
    template <typename T>
    void add_member_item(const cls_string& path, T** field, int index = -1, bool must_exist = false) {
        static_assert(std::is_base_of<cls_event_handler, T>::value, "member items are items");
        *field = nullptr;
        member_item_entry_t e;
        e.path = path;
        e.field = field;
        e.assign = &assign_member<T>;
        e.index = index;
        e.must_exist = must_exist;
        add_member_item_entry(e);
    }
    /// Declares a member event; see member_event_entry_t.
    template <typename C>
    void add_member_event(const cls_string& path, const cls_string& event_name, void (C::*handler)(cls_event_handler*), bool once = false) {
        static_assert(std::is_base_of<cls_event_handler, C>::value, "handler must belong to an item class");
        member_event_entry_t e;
        e.path = path;
        e.event_name = event_name;
        e.handler = static_cast<event_func_t>(handler);
        e.once = once;
        add_member_event_entry(e);
    }
    void add_member_item_entry(const member_item_entry_t& entry);
    void add_member_event_entry(const member_event_entry_t& entry);
    /// Fills the declared member items and attaches the declared member events
    /// (the loader calls it once the item's layout has been created).
    void bind_members();

    // ---- Virtual slots ---------------------------------------------------------
    /// Draws the item itself (not its children) at `x`, `y` on the screen.
    virtual void on_draw(cls_canvas* canvas, int x, int y);
    /// Called after the layout of the item has been loaded and bound. Does nothing here.
    virtual void init();
    /// A key event for the item; true when it was consumed.
    virtual bool on_key_event(const cls_ui_event& event);
    /// A touch or wheel event for the item; true when it was consumed.
    virtual bool on_touch_event(const cls_ui_event& event);
    /// Called when the item's page becomes the top page again after the page above closed.
    virtual void on_get_top_pos();
    /// Called when another page is opened above the item's page.
    virtual void on_lose_top_pos();

protected:
    /// Called by the page's constructor, so that page() needs no dynamic_cast.
    void mark_as_page() { m_is_page = true; }
    /// Called by the page's destructor: from then on the item is no page.
    void unmark_as_page() { m_is_page = false; }

private:
    template <typename T>
    static void assign_member(void* field, cls_event_handler* item, const cls_string& path);
    [[noreturn]] static void wrong_member_class(const cls_string& path, const cls_event_handler* item);

    struct listener_t {
        cls_string event_name;
        event_func_t handler;
        cls_event_handler* receiver;
        bool once;
    };
    // One geometry expression (width, height, left, top: in the order they are
    // evaluated). Layout texts are shared by every item made from the layout; a
    // size set by code is kept as a number.
    struct layout_expr_t {
        const cls_string* expr;  // null: none, or `fixed`
        const cls_string* file;
        int fixed;
        bool is_fixed;
        bool uses_content;
    };
    void set_fixed_layout(int index, int value);

    cls_array<cls_string> m_class_names;
    cls_event_handler* m_parent;
    std::vector<cls_event_handler*> m_children;
    // The item's place among its parent's children, so that prev_sibling (which
    // every "prev()" in a layout asks for) takes no walk through the siblings.
    int m_index_in_parent;
    cls_string m_item_name;
    cls_string m_item_data;
    cls_array<cls_string> m_groups;
    std::vector<listener_t> m_listeners;
    std::vector<member_item_entry_t> m_member_items;
    std::vector<member_event_entry_t> m_member_events;
    layout_expr_t m_layout_exprs[4];
    int m_x, m_y, m_w, m_h;
    int m_moved_x, m_moved_y;
    bool m_visible;
    bool m_enabled;
    bool m_focusable;
    bool m_show_on_focus;
    bool m_is_page;
    bool m_show_on_press;
    mutable bool m_bounds_stale;
    mutable subtree_bounds_t m_bounds;
};

template <typename T>
void cls_event_handler::assign_member(void* field, cls_event_handler* item, const cls_string& path) {
    T* typed = nullptr;
    if (item) {
        typed = dynamic_cast<T*>(item);
        if (!typed) wrong_member_class(path, item);
    }
    *static_cast<T**>(field) = typed;
}

} // namespace ozgi
