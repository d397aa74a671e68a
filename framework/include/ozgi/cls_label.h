#pragma once
// A text item. Its text is a dictionary key: the label keeps the key (text())
// and shows the key's translation in the language that was current when the
// text was set.
#include "ozgi/cls_event_handler.h"

namespace ozgi {

class cls_text_layout;

class cls_label : public cls_event_handler {
public:
    cls_label();
    ~cls_label() override;

    /// Stores `key` and shows its translation in the application data's "language".
    void set_text(const cls_string& key);
    /// Appends `more` to the key and to the shown text, without a dictionary lookup.
    void append_text(const cls_string& more);
    /// Replaces the first `length` bytes of the key and of the shown text by `head`,
    /// without a dictionary lookup (a long output dropping its oldest lines). When
    /// they ended a line, and `head` ends with a newline, the lines after them are
    /// not measured again.
    void replace_text_head(int length, const cls_string& head);
    /// The key as set (plus anything appended), never translated.
    const cls_string& text() const { return m_key; }
    /// The text shown on the screen.
    const cls_string& shown_text() const { return m_shown_is_key ? m_key : m_shown; }

    /// How far a multi-line text is scrolled from its aligned position, in pixels
    /// (for a bottom-aligned text positive values move towards its top).
    int text_scroll_y() const { return m_text_scroll; }
    /// Scrolls the text, clamped to its height; returns whether anything changed.
    bool set_text_scroll_y(int y);
    /// Moves the text with a finger that moved `dy` pixels down (positive) or up.
    bool drag_text(int dy);
    /// Whether the text is taller than the label (so a drag scrolls the text).
    bool text_overflows();
    bool is_multi_line() const { return m_multi_line; }

    attr_result_t apply_attr(const cls_string& name, const cls_string& value) override;
    bool content_size(int* width, int* height) override;
    void on_draw(cls_canvas* canvas, int x, int y) override;

private:
    cls_text_layout* layout();

    cls_string m_key;
    /// The translation, kept only when it differs from the key: an untranslated
    /// text (such as a test's output) is held once, and the layout borrows it.
    cls_string m_shown;
    bool m_shown_is_key;
    cls_text_layout* m_layout;
    int m_text_size;
    unsigned m_text_argb;
    unsigned m_disabled_argb;
    unsigned m_bg_argb;
    int m_h_align;
    int m_v_align;
    bool m_multi_line;
    bool m_wrap;
    int m_text_scroll;
};

} // namespace ozgi
