#pragma once
// The GUI as a whole: option parsing (every --ozgi- option), the display backend,
// the root container and its first page, and the one event loop that handles
// input, timers, posted events, repainting, child-process output and the
// automation script.
#include "ozgi/cls_rect.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_ui_event.h"

namespace ozgi {

class cls_event_handler;
class cls_timer;

class cls_ozgi_gui {
public:
    static cls_ozgi_gui* ins();

    /// Runs the GUI: reads the --ozgi- options, opens the display, loads
    /// "root_container.xml" (or --ozgi-root=), opens its first page and runs the
    /// event loop until the program ends. Returns the exit status: 0, or 128 plus
    /// the signal when SIGTERM or SIGINT ended it (see cls_stop_signal; running
    /// tests are then stopped too).
    int start_gui();
    /// Prints the framework's options to standard output, one line each.
    static void output_help();

    // ---- Services for the items (GUI thread only) ------------------------------
    /// Queues an event; it is handled in this loop turn, after the current handler.
    void post(const cls_ui_event& event);
    /// Drops queued events addressed to `item` and any reference to it (it is going away).
    void forget_item(cls_event_handler* item);
    /// Asks the loop to end after the current handler.
    void quit();
    /// Whether the loop has been asked to end.
    bool quitting() const;
    /// Marks a screen rectangle for repainting in this loop turn. Rectangles are
    /// kept apart (a focus move repaints its two items, not what lies between),
    /// up to a few; beyond that the nearest ones are merged.
    void invalidate_rect(int x, int y, int w, int h);
    /// How many rectangles the last repaint drew (0 before the first).
    int painted_rect_count() const;
    /// The index-th rectangle the last repaint drew, in screen pixels.
    cls_rect painted_rect(int index) const;
    /// Adds a started timer to those the loop waits for; stopped timers are dropped.
    void add_timer(cls_timer* timer);
    void remove_timer(cls_timer* timer);
    /// Handles every queued event now (including events they post).
    void handle_posted_events();

    /// The loop's state (display, queue, timers, framebuffer); opaque outside the framework.
    struct impl_t;

private:
    cls_ozgi_gui();
    impl_t* m_impl;
};

} // namespace ozgi
