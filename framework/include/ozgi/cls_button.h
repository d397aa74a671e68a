#pragma once
// A pressable item. While pressed it shows its descendants of the group
// "show_on_press"; a release inside it fires "click". A disabled button neither
// presses nor clicks.
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_button : public cls_event_handler {
public:
    cls_button();
    ~cls_button() override;

    /// Whether the button is held down now.
    bool is_pressed() const { return m_pressed; }
    /// Sets the pressed state and repaints; a disabled button stays released.
    void set_pressed(bool pressed);
    /// Fires "click" when the button is visible and enabled.
    void click();
    /// Whether the button draws no press effect of its own (only its show_on_press items).
    bool hide_effect() const { return m_hide_effect; }

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;
    /// Opaque when its background colour is (the press effect only darkens it).
    bool is_opaque() const override;

private:
    bool m_pressed;
    bool m_hide_effect;
    unsigned m_bg_argb;
};

} // namespace ozgi
