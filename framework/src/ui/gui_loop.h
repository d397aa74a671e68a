#pragma once
// The event loop's state and the steps of one loop turn, shared by the loop
// (cls_ozgi_gui.cpp) and the automation script (gui_script.cpp).
#include <deque>
#include <istream>
#include <vector>

#include "ozgi/cls_array.h"
#include "ozgi/cls_ozgi_gui.h"
#include "ozgi/cls_root_container.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_timer.h"
#include "ozgi/if_display_backend.h"

namespace ozgi {

struct cls_ozgi_gui::impl_t {
    cls_sp<if_display_backend> backend;
    cls_root_container* root = nullptr;
    std::deque<cls_ui_event> queue;
    std::vector<cls_timer*> timers;
    // Made when the GUI starts and freed when it ends, so that it is not left over
    // in a leak report.
    cls_array<uint32_t>* framebuffer = nullptr;
    int width = 0;
    int height = 0;
    // The rectangles to repaint in this loop turn, and those the last repaint drew.
    std::vector<cls_rect> dirty;
    std::vector<cls_rect> painted;
    bool quit = false;
    // The automation script.
    std::istream* script = nullptr;
    int script_line = 0;
};

typedef cls_ozgi_gui::impl_t impl_t;

/// Everything that is due now (input, posted events, closed pages, repaint), without timers or waiting.
void settle(impl_t* d);
/// Everything that is due now, timers included, then one repaint.
void run_due(impl_t* d);
/// Blocks for at most `max_wait_ms` (-1: until something happens) until input, a timer or child output is due.
void wait_for_activity(impl_t* d, int max_wait_ms);
/// One turn of the loop: what is due, then the wait for what comes next.
void loop_turn(impl_t* d, int max_wait_ms);
/// A decimal int of at most 9 digits with an optional minus sign; false for anything else.
bool parse_number(const cls_string& text, int* out);
/// Runs the automation script of `d` to its end, then asks the loop to end.
void run_script(impl_t* d);

} // namespace ozgi
