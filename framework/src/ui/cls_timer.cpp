#include "ozgi/cls_timer.h"

#include "ozgi/cls_ozgi_gui.h"
#include "ui/gui_clock.h"
#include "ui/item_attrs.h"

namespace ozgi {

cls_timer::cls_timer() : m_interval(1000), m_repeat(-1), m_fired(0), m_due_ms(0), m_running(false) {
    add_class_name("cls_timer");
    set_visible(false);
}

cls_timer::~cls_timer() {
    if (m_running) cls_ozgi_gui::ins()->remove_timer(this);
}

void cls_timer::start(bool restart) {
    if (m_running && !restart) return;
    m_running = true;
    m_fired = 0;
    m_due_ms = gui_now_ms() + (m_interval > 0 ? m_interval : 1);
    cls_ozgi_gui::ins()->add_timer(this);
}

void cls_timer::stop(bool forget_count) {
    if (m_running) cls_ozgi_gui::ins()->remove_timer(this);
    m_running = false;
    if (forget_count) m_fired = 0;
}

void cls_timer::fire_if_due(long long now_ms) {
    if (!m_running || now_ms < m_due_ms) return;
    ++m_fired;
    if (m_repeat >= 0 && m_fired >= m_repeat) {
        m_running = false;
        cls_ozgi_gui::ins()->remove_timer(this);
    } else {
        // Keep the cadence, but never make up for a long stall with a burst.
        m_due_ms += m_interval > 0 ? m_interval : 1;
        if (m_due_ms <= now_ms) m_due_ms = now_ms + (m_interval > 0 ? m_interval : 1);
    }
    fire_event("timer");
}

attr_result_t cls_timer::apply_attr(const cls_string& name, const cls_string& value) {
    if (name == "interval") {
        if (!parse_int_attr(value, &m_interval) || m_interval < 0) return ATTR_BAD_VALUE;
        return ATTR_OK;
    }
    if (name == "repeat") {
        if (!parse_int_attr(value, &m_repeat) || m_repeat < -1) return ATTR_BAD_VALUE;
        return ATTR_OK;
    }
    return cls_event_handler::apply_attr(name, value);
}

} // namespace ozgi
