#include "ozgi/cls_ozgi_gui.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "ozgi/cls_app_data.h"
#include "ozgi/cls_button.h"
#include "ozgi/cls_canvas.h"
#include "ozgi/cls_font_mgr.h"
#include "ozgi/cls_icon.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_page.h"
#include "ozgi/cls_png_writer.h"
#include "ozgi/cls_process.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_stop_signal.h"
#include "ozgi/cls_timer.h"
#include "ozgi/cls_ui_res_loader.h"
#include "ozgi/if_display_backend.h"
#include "ui/event_handler_walk.h"
#include "ui/gui_clock.h"
#include "ui/gui_dump.h"
#include "ui/gui_loop.h"

namespace ozgi {

cls_ozgi_gui* cls_ozgi_gui::ins() {
    static cls_ozgi_gui* instance = new cls_ozgi_gui();
    return instance;
}

cls_ozgi_gui::cls_ozgi_gui() : m_impl(new impl_t()) {}

void cls_ozgi_gui::output_help() {
    std::printf(
        "Framework options:\n"
        "  --ozgi-video=NAME[,NAME...]  display, or several tried in order (e.g. drm,fbdev,sdl): an SDL window, or full screen on a device (sdl, the default), the kernel's mode setting with evdev input (drm, then fbdev: the default when built without SDL), a Linux framebuffer with evdev input (fbdev), or no display at all (headless)\n"
        "  --ozgi-drm=PATH             drm: the display card (default: the first /dev/dri/card* with a connected output)\n"
        "  --ozgi-drm-connector=NAME   drm: the output to drive, e.g. HDMI-A-1 or DSI-1 (default: the first connected one)\n"
        "  --ozgi-drm-format=XRGB8888|RGB565  drm: the buffers' pixel format (default XRGB8888, else RGB565)\n"
        "  --ozgi-fbdev=PATH           fbdev: the framebuffer device (default /dev/fb0)\n"
        "  --ozgi-fb-geometry=WxH:BPP[:STRIDE]  fbdev, a testing aid: the geometry of a regular file standing in for the framebuffer (BPP 16, 24 or 32)\n"
        "  --ozgi-input=PATH[,PATH...] drm, fbdev: the evdev input devices (default: every /dev/input/event* that is a touch screen or has keys)\n"
        "  --ozgi-input-range=XMIN:XMAX:YMIN:YMAX  drm, fbdev: the raw touch coordinates at the panel's edges, for a device that cannot tell them\n"
        "  --ozgi-script=FILE          run automation commands from FILE (\"-\": standard input) once the first page is shown\n"
        "  --ozgi-lang=zh_CN           start in Simplified Chinese instead of English (en_US)\n"
        "  --ozgi-font=PATH[:PATH...]  font files to use, in fallback order, instead of those fontconfig finds\n"
        "  --ozgi-rotate=0|90|180|270  turn the picture clockwise on the panel (touches are turned back)\n"
        "  --ozgi-scale=N              sdl: enlarge a desktop window N times (default 1)\n"
        "  --ozgi-fullscreen           sdl: use the whole display\n"
        "  --ozgi-root=LAYOUT          the root container layout (default \"root_container.xml\")\n"
        "  --ozgi-first-page=LAYOUT    open LAYOUT first instead of the root container's first page\n");
}

void cls_ozgi_gui::post(const cls_ui_event& event) { m_impl->queue.push_back(event); }

void cls_ozgi_gui::forget_item(cls_event_handler* item) {
    std::deque<cls_ui_event>& q = m_impl->queue;
    q.erase(std::remove_if(q.begin(), q.end(), [&](const cls_ui_event& e) { return e.target() == item; }), q.end());
    std::vector<cls_timer*>& t = m_impl->timers;
    t.erase(std::remove(t.begin(), t.end(), item), t.end());
}

void cls_ozgi_gui::quit() { m_impl->quit = true; }

bool cls_ozgi_gui::quitting() const { return m_impl->quit; }

namespace {

// More separate rectangles than this cost more to walk the items for than they save.
const size_t MAX_DIRTY_RECTS = 8;

long long area(const cls_rect& r) { return static_cast<long long>(r.w) * r.h; }

bool covers(const cls_rect& outer, const cls_rect& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && inner.right() <= outer.right() &&
           inner.bottom() <= outer.bottom();
}

} // namespace

void cls_ozgi_gui::invalidate_rect(int x, int y, int w, int h) {
    if (m_impl->width <= 0) return;
    cls_rect r = cls_rect{x, y, w, h}.intersect(cls_rect{0, 0, m_impl->width, m_impl->height});
    if (r.is_empty()) return;
    std::vector<cls_rect>& dirty = m_impl->dirty;
    for (const cls_rect& d : dirty)
        if (covers(d, r)) return;
    dirty.erase(std::remove_if(dirty.begin(), dirty.end(), [&](const cls_rect& d) { return covers(r, d); }),
                dirty.end());
    if (dirty.size() < MAX_DIRTY_RECTS) {
        dirty.push_back(r);
        return;
    }
    // Full: the new rectangle joins the one that grows least by it.
    size_t best = 0;
    long long best_growth = -1;
    for (size_t i = 0; i < dirty.size(); ++i) {
        long long growth = area(dirty[i].unite(r)) - area(dirty[i]);
        if (best_growth < 0 || growth < best_growth) {
            best = i;
            best_growth = growth;
        }
    }
    cls_rect merged = dirty[best].unite(r);
    dirty.erase(dirty.begin() + static_cast<std::ptrdiff_t>(best));
    invalidate_rect(merged.x, merged.y, merged.w, merged.h);
}

int cls_ozgi_gui::painted_rect_count() const { return static_cast<int>(m_impl->painted.size()); }

cls_rect cls_ozgi_gui::painted_rect(int index) const {
    if (index < 0 || index >= painted_rect_count())
        OZGI_FATAL("Can't get the %dth painted rectangle, there are only %d.", index, painted_rect_count());
    return m_impl->painted[static_cast<size_t>(index)];
}

void cls_ozgi_gui::add_timer(cls_timer* timer) {
    if (std::find(m_impl->timers.begin(), m_impl->timers.end(), timer) == m_impl->timers.end())
        m_impl->timers.push_back(timer);
}

void cls_ozgi_gui::remove_timer(cls_timer* timer) {
    std::vector<cls_timer*>& t = m_impl->timers;
    t.erase(std::remove(t.begin(), t.end(), timer), t.end());
}

namespace {

// Posted events handled in one go at most; more wait for the next loop turn, so
// that a handler that posts itself again cannot starve input and timers.
const int MAX_EVENTS_PER_TURN = 10000;

void dispatch(cls_root_container* root, const cls_ui_event& e) {
    cls_event_handler* target = e.target();
    if (!target) target = root ? root->top_page() : nullptr;
    if (!target) return;
    // Events for a page that has been closed meanwhile are dropped.
    cls_page* page = target->page();
    if (page && page->parent() != root && e.event_code() != cls_ui_event::EVENT_APP) return;
    switch (e.event_code()) {
    case cls_ui_event::EVENT_APP:
        if (e.text().is_empty()) cls_ozgi_gui::ins()->quit();
        else target->fire_event(e.text());
        break;
    case cls_ui_event::EVENT_KEY: target->on_key_event(e); break;
    case cls_ui_event::EVENT_TOUCH:
    case cls_ui_event::EVENT_WHEEL: target->on_touch_event(e); break;
    default: break;
    }
}

} // namespace

void cls_ozgi_gui::handle_posted_events() {
    for (int n = 0; n < MAX_EVENTS_PER_TURN && !m_impl->queue.empty() && !m_impl->quit; ++n) {
        cls_ui_event e = m_impl->queue.front();
        m_impl->queue.pop_front();
        dispatch(m_impl->root, e);
    }
}

namespace {

void handle_input(impl_t* d, const input_t& in) {
    cls_page* top = d->root ? d->root->top_page() : nullptr;
    if (in.type == input_t::QUIT) {
        cls_ozgi_gui::ins()->quit();
        return;
    }
    if (!top) return;
    switch (in.type) {
    case input_t::PRESS:
    case input_t::MOVE:
    case input_t::RELEASE: {
        cls_ui_event e(cls_ui_event::EVENT_TOUCH, top);
        e.set_int_data(0, in.x);
        e.set_int_data(1, in.y);
        e.set_int_data(2, in.type == input_t::PRESS ? cls_ui_event::TOUCH_PRESS
                          : in.type == input_t::MOVE ? cls_ui_event::TOUCH_MOVE
                                                     : cls_ui_event::TOUCH_RELEASE);
        top->on_touch_event(e);
        break;
    }
    case input_t::WHEEL: {
        cls_ui_event e(cls_ui_event::EVENT_WHEEL, top);
        e.set_int_data(0, in.x);
        e.set_int_data(1, in.y);
        e.set_int_data(2, in.wheel_dy);
        top->on_touch_event(e);
        break;
    }
    case input_t::KEY_PRESS: {
        // Pages act when a key goes down; its release means nothing to them and is
        // not passed on. A held key repeats only when it moves the focus: a held
        // select or back key must not click or close page after page.
        int code = cls_ui_event::key_code(in.key_name);
        if (in.repeat && code != cls_ui_event::KEY_PREV && code != cls_ui_event::KEY_PREV_ALT &&
            code != cls_ui_event::KEY_NEXT && code != cls_ui_event::KEY_NEXT_ALT)
            break;
        cls_ui_event e(cls_ui_event::EVENT_KEY, top);
        e.set_int_data(0, code);
        e.set_int_data(1, 1);
        e.set_key_name(in.key_name);
        top->on_key_event(e);
        break;
    }
    default: break;
    }
}

void handle_inputs(impl_t* d) {
    input_t in;
    while (!d->quit && d->backend->poll_input(&in)) {
        handle_input(d, in);
        // Events posted by an input's handler come before the next input.
        cls_ozgi_gui::ins()->handle_posted_events();
    }
}

bool timer_is_live(impl_t* d, cls_timer* t) {
    // A timer on a page that was just closed stays silent until the page goes.
    cls_page* p = t->page();
    if (!p) return true;
    return p->parent() == d->root;
}

void fire_due_timers(impl_t* d) {
    long long now = gui_now_ms();
    std::vector<cls_timer*> due;
    for (cls_timer* t : d->timers)
        if (t->due_ms() <= now) due.push_back(t);
    for (cls_timer* t : due) {
        if (d->quit) return;
        // An earlier handler may have stopped or destroyed this one.
        if (std::find(d->timers.begin(), d->timers.end(), t) == d->timers.end()) continue;
        if (!timer_is_live(d, t)) continue;
        t->fire_if_due(now);
        cls_ozgi_gui::ins()->handle_posted_events();
    }
}

// One rectangle's painting: where, and from which item on (null: from the start).
struct paint_t {
    cls_canvas* canvas;
    cls_rect dirty;
    const cls_event_handler* start;
    bool started;
};

// Draws `item` and its descendants where they meet the dirty rectangle; `scroll`
// is how far their page is scrolled (0 for the page itself, which stays in
// place). The walk comes from the top page down, so each item asks only its own
// state, not its ancestors'; subtrees wholly outside the rectangle are passed by.
// Nothing is drawn before the paint's start item.
void draw_subtree(cls_event_handler* item, paint_t* p, int scroll) {
    if (!item->shown_by_itself()) return;
    if (!item->is_page() && !bounds_meet(item->subtree_bounds(), scroll, p->dirty)) return;
    if (item == p->start) p->started = true;
    if (p->started) {
        // A page scrolls its content, not itself.
        int x = item->left(), y = item->top() - (item->is_page() ? 0 : scroll);
        cls_rect clip = cls_rect{x, y, item->width(), item->height()}.intersect(p->dirty);
        if (!clip.is_empty()) {
            p->canvas->set_clip(clip);
            item->on_draw(p->canvas, x, y);
        }
    }
    int child_scroll = scroll_of_children(item, scroll);
    int first = 0, end = 0;
    children_meeting(item, child_scroll, p->dirty, &first, &end);
    // Drawing may change the tree: the count is asked again.
    for (int i = first; i < end && i < item->child_count(); ++i) draw_subtree(item->child(i), p, child_scroll);
}

// The last item, in the order they are drawn, of `item`'s subtree that is shown
// and fills the whole of `r` with an opaque colour: what lies under it there
// need not be drawn. *found keeps its value when there is none.
void find_cover(const cls_event_handler* item, const cls_rect& r, int scroll, const cls_event_handler** found) {
    if (!item->shown_by_itself()) return;
    if (!item->is_page() && !bounds_may_cover(item->subtree_bounds(), scroll, r)) return;
    int y = item->top() - (item->is_page() ? 0 : scroll);
    cls_rect own{item->left(), y, item->width(), item->height()};
    if (own.intersect(r) == r && item->is_opaque()) *found = item;
    int child_scroll = scroll_of_children(item, scroll);
    int first = 0, end = 0;
    children_meeting(item, child_scroll, r, &first, &end);
    for (int i = first; i < end; ++i) find_cover(item->child(i), r, child_scroll, found);
}

void draw_tree(cls_page* top, cls_canvas* canvas, const cls_rect& dirty) {
    paint_t p{canvas, dirty, nullptr, true};
    bool shown = top && (!top->parent() || top->parent()->is_visible());
    if (shown) find_cover(top, dirty, 0, &p.start);
    if (p.start) {
        p.started = false;
    } else {
        canvas->set_clip(dirty);
        canvas->fill_rect(dirty, cls_color{0, 0, 0, 255});
    }
    if (shown) draw_subtree(top, &p, 0);
}

void repaint(impl_t* d) {
    if (d->dirty.empty() || !d->backend) return;
    d->painted.swap(d->dirty);
    d->dirty.clear();
    cls_canvas canvas(d->framebuffer->begin(), d->width, d->height, d->width);
    cls_page* top = d->root ? d->root->top_page() : nullptr;
    cls_rect all;
    for (const cls_rect& r : d->painted) {
        draw_tree(top, &canvas, r);
        all = all.unite(r);
    }
    // One present for the frame: what lies between the rectangles is unchanged in
    // the framebuffer, and a display shows one frame per present.
    d->backend->present(d->framebuffer->begin(), d->width, all);
}

int next_timeout(impl_t* d, int max_wait_ms) {
    if (!d->queue.empty()) return 0;
    long long now = gui_now_ms();
    long long timeout = max_wait_ms;
    for (cls_timer* t : d->timers) {
        if (!timer_is_live(d, t)) continue;
        long long left = t->due_ms() - now;
        if (left < 0) left = 0;
        if (timeout < 0 || left < timeout) timeout = left;
    }
    return static_cast<int>(timeout);
}

} // namespace

// Everything that is due now, without waiting.
void settle(impl_t* d) {
    handle_inputs(d);
    cls_ozgi_gui::ins()->handle_posted_events();
    if (d->root) d->root->destroy_closed_pages();
    repaint(d);
}

// Everything that is due now, timers included, then one repaint and one
// present, whatever happened.
void run_due(impl_t* d) {
    handle_inputs(d);
    cls_ozgi_gui::ins()->handle_posted_events();
    fire_due_timers(d);
    cls_ozgi_gui::ins()->handle_posted_events();
    if (d->root) d->root->destroy_closed_pages();
    repaint(d);
}

// Blocks for at most `max_wait_ms` (-1: until something happens) until input,
// a timer, child-process output or a stop signal is due. A stop signal ends the
// loop as quit does.
void wait_for_activity(impl_t* d, int max_wait_ms) {
    if (d->quit) return;
    int fds[64];
    int n = 0;
    if (cls_stop_signal::wake_fd() >= 0) fds[n++] = cls_stop_signal::wake_fd();
    n += cls_process::pipe_fds(fds + n, 64 - n);
    d->backend->wait(next_timeout(d, max_wait_ms), fds, n);
    cls_process::pump(0);
    if (cls_stop_signal::received()) cls_ozgi_gui::ins()->quit();
}

// One turn of the loop: what is due, then the wait for what comes next.
void loop_turn(impl_t* d, int max_wait_ms) {
    run_due(d);
    wait_for_activity(d, max_wait_ms);
}

bool parse_number(const cls_string& text, int* out) {
    if (text.is_empty()) return false;
    int i = text[0] == '-' ? 1 : 0;
    if (i == text.length()) return false;
    for (; i < text.length(); ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    if (text.length() > 9) return false;
    *out = text.to_int();
    return true;
}

namespace {

// Time that running tests get to end on SIGTERM when the program is being ended
// by a signal, before they are killed: the whole end stays well within a second.
const int STOP_GRACE_MS = 300;

// The GUI that runs, for the end of the program from outside its loop.
impl_t* g_running = nullptr;

// The end of the program when a signal arrives while a handler waits outside the
// loop (see cls_stop_signal): running tests are stopped and the display is given
// back; the pages go with the process.
void end_gui_at_once() {
    cls_process::stop_all(STOP_GRACE_MS);
    if (g_running) {
        cls_mem_mgr::permanent_scope_t permanent;
        g_running->backend = cls_sp<if_display_backend>();
    }
}

} // namespace

int cls_ozgi_gui::start_gui() {
    impl_t* d = m_impl;
    d->quit = false;
    d->queue.clear();
    d->timers.clear();
    d->dirty.clear();
    d->painted.clear();
    d->script_line = 0;
    cls_input_args* args = cls_input_args::ins();
    cls_app_data::ins();

    cls_stop_signal::catch_signals();
    g_running = d;
    cls_stop_signal::set_cleanup(&end_gui_at_once);

    cls_string script, font, root_name = "root_container.xml", first_page;
    bool has_script = args->has_arg("--ozgi-script=", false, &script);
    if (args->has_arg("--ozgi-font=", false, &font)) cls_font_mgr::ins()->set_font_paths(font);
    args->has_arg("--ozgi-root=", false, &root_name);
    args->has_arg("--ozgi-first-page=", false, &first_page);
    display_options_t display;
    cls_string error;
    if (!display_options_t::from_args(args->args(), &display, &error)) OZGI_FATAL("%s", error.c_str());

    std::ifstream script_file;
    if (has_script) {
        if (script == "-") {
            d->script = &std::cin;
        } else {
            script_file.open(script.c_str());
            if (!script_file) OZGI_FATAL("Can't read the script %s.", script.c_str());
            d->script = &script_file;
        }
    } else {
        d->script = nullptr;
    }

    cls_array<cls_event_handler*> created;
    cls_ui_res_loader* loader = cls_ui_res_loader::ins();
    loader->load_resource(loader->load_xml(root_name), nullptr, &created);
    cls_root_container* root = created.is_empty() ? nullptr : dynamic_cast<cls_root_container*>(created[0]);
    if (!root) OZGI_FATAL("The layout %s does not describe a cls_root_container.", root_name.c_str());
    root->set_geometry(0, 0, root->screen_width(), root->screen_height());
    d->width = root->screen_width();
    d->height = root->screen_height();

    cls_string title = root->window_title().is_empty() ? cls_string("ozgi") : root->window_title();
    d->backend = open_display_backend(display, d->width, d->height, title, &error);
    if (d->backend.is_null()) OZGI_FATAL("%s", error.c_str());
    ozgi_delete(d->framebuffer);
    d->framebuffer = OZGI_NEW(cls_array<uint32_t>)();
    for (int i = 0; i < d->width * d->height; ++i) d->framebuffer->append(0xff000000u);

    d->root = root;
    cls_root_container::set_ins(root);
    invalidate_rect(0, 0, d->width, d->height);
    if (first_page.is_empty()) first_page = root->first_page();
    if (first_page.is_empty()) OZGI_FATAL("The layout %s names no first_page.", root_name.c_str());
    cls_root_container::open_page(first_page, false);

    if (d->script) run_script(d);
    while (!d->quit) loop_turn(d, -1);

    cls_stop_signal::set_cleanup(nullptr);
    int stopped_by = cls_stop_signal::received();
    // A program ended by a signal takes the tests it runs with it.
    if (stopped_by) cls_process::stop_all(STOP_GRACE_MS);
    // Pages go before the display, so that nothing draws into a closed screen.
    cls_root_container::set_ins(nullptr);
    d->root = nullptr;
    ozgi_delete(root);
    d->queue.clear();
    d->timers.clear();
    {
        // The empty pointer's count cell stays with this singleton for good.
        cls_mem_mgr::permanent_scope_t permanent;
        d->backend = cls_sp<if_display_backend>();
    }
    ozgi_delete(d->framebuffer);
    d->framebuffer = nullptr;
    d->width = d->height = 0;
    d->script = nullptr;
    g_running = nullptr;
    cls_stop_signal::release_signals();
    return stopped_by ? 128 + stopped_by : 0;
}

} // namespace ozgi
