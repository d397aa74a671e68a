#pragma once
// The text of one label and its lines. The layout keeps a sparse index of where
// the lines start (one entry per block of lines), so drawing touches only the
// blocks inside the box (a label holding a million lines draws as fast as one
// holding a hundred) and appending text scans only the new text (and the last
// line, when wrapping), never what was there.
//
// Newlines end lines only in multi-line mode. Invalid UTF-8 and control characters
// (and newlines outside multi-line mode) are drawn as a replacement mark; a tab
// advances by four spaces, and in multi-line mode a carriage return is ignored.
#include <cstdint>
#include "ozgi/cls_array.h"
#include "ozgi/cls_color.h"
#include "ozgi/cls_rect.h"
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_canvas;

class cls_text_layout {
public:
    /// Alignment of the text block inside its box, horizontal and vertical.
    enum align_t { ALIGN_LEFT = 0, ALIGN_TOP = 0, ALIGN_MIDDLE = 1, ALIGN_RIGHT = 2, ALIGN_BOTTOM = 2 };

    /// An empty single-line text at 16 pixels, no wrap.
    cls_text_layout();
    cls_text_layout(const cls_text_layout&) = delete;
    cls_text_layout& operator=(const cls_text_layout&) = delete;

    /// Replaces the text with a copy of `text` held by the layout, and rebuilds the
    /// line index.
    void set_text(const cls_string& text);
    /// Adds `text` at the end of a text held by the layout; only the new text (and,
    /// when wrapping, the last line) is scanned. Fatal on a borrowed text.
    void append_text(const cls_string& text);
    /// Lays out `*text`, which the caller owns and keeps alive and in place for as
    /// long as the layout uses it (a label's own string), instead of a copy: a long
    /// text is then held once. Rebuilds the line index. The owner reports its
    /// changes with text_appended and head_replaced.
    void borrow_text(const cls_string* text);
    /// The owner of a borrowed text appended to it; only the new part is scanned.
    void text_appended();
    /// The owner of a borrowed text replaced its first `old_length` bytes by
    /// `new_length` new ones. When the old part ended where a line starts (after a
    /// newline in multi-line mode) only the new part is scanned and the line index
    /// of the rest is moved; otherwise the whole text is laid out again.
    void head_replaced(int old_length, int new_length);
    /// The whole text as set and appended.
    const cls_string& text() const { return *m_text; }

    /// Font size in pixels (the `text_size` attribute). Changing it re-measures the text.
    void set_pixel_size(int px_size);
    int pixel_size() const { return m_px_size; }
    /// Whether newlines start new lines.
    void set_multi_line(bool multi_line);
    bool multi_line() const { return m_multi_line; }
    /// Whether lines longer than the width are broken: at spaces between words, and
    /// anywhere inside runs of CJK characters. A word longer than the width is broken
    /// wherever it must.
    void set_wrap(bool wrap);
    bool wrap() const { return m_wrap; }
    /// The width in pixels used for wrapping (the label's width).
    void set_width(int width);
    int width() const { return m_width; }

    /// Width in pixels of the widest line.
    int content_width() const;
    /// Height in pixels of all lines together (one line height for an empty text).
    int content_height() const;
    /// Number of lines as drawn (after wrapping); an empty text has one line.
    int line_count() const { return m_line_count; }
    /// Height in pixels of one line.
    int line_height() const;
    /// The largest useful scroll_y for a box `box_height` pixels high: how far the
    /// text reaches beyond the box (0 when it fits).
    int max_scroll_y(int box_height) const;
    /// Byte offset in text() where line `index` (0 <= index < line_count()) starts.
    /// Costs a scan of at most one block of lines.
    int line_start(int index) const;

    /// Draws the lines that fall inside `box` (cut also by the canvas clip), aligned
    /// horizontally by `h_align` and vertically by `v_align` (align_t values).
    ///
    /// `scroll_y` is how many pixels the text is scrolled away from its resting
    /// position, clamped to 0..max_scroll_y(box.h). A text that fits the box ignores
    /// it. A text taller than the box rests with its first line at the top when
    /// top- or middle-aligned, and positive scroll_y moves the view down towards the
    /// end of the text; it rests with its last line at the bottom when
    /// bottom-aligned (scroll_y 0 shows the newest lines), and positive scroll_y
    /// moves the view up towards the start of the text.
    void draw(cls_canvas* canvas, const cls_rect& box, int h_align, int v_align, const cls_color& color,
              int scroll_y) const;

private:
    bool wrapping() const { return m_wrap && m_width > 0; }
    void rebuild();
    /// Scans the text from m_scanned_to to its end, extending the last line or
    /// adding lines.
    void scan();
    /// Starts a new line at byte `start` after a line `width` pixels wide.
    void end_line(int width, int start);
    /// The fields of one block of lines in m_blocks.
    enum block_field_t { B_START, B_FIRST_LINE, B_WIDEST, B_LAST_WIDTH, B_FIELDS };
    /// A block holds at most this many lines...
    static constexpr int BLOCK_LINES = 256;
    /// ...and every line of it but the first starts less than this many bytes after it.
    static constexpr int BLOCK_BYTES = 4096;
    int block_count() const { return m_blocks.count() / B_FIELDS; }
    int& block(int b, block_field_t field) { return m_blocks[b * B_FIELDS + field]; }
    int block(int b, block_field_t field) const { return m_blocks[b * B_FIELDS + field]; }
    /// The last block whose `field` is at most `value` (the first block when none
    /// is): both fields it is used with grow from block to block.
    int last_block_from(block_field_t field, int value) const;
    /// The block holding line `line`.
    int block_of_line(int line) const;
    /// Puts in `starts` where lines first..first+count start (the text's length for
    /// the line after the last) and in `widths` the widths of lines
    /// first..first+count-1, scanning only the blocks they lie in.
    void lines_at(int first, int count, cls_array<int>* starts, cls_array<int>* widths) const;
    /// The line that starts at byte `byte`, or -1 when none does.
    int line_starting_at(int byte) const;

    /// The text laid out: m_own_text, or a string the owner lent (borrow_text).
    const cls_string* m_text;
    cls_string m_own_text;
    int m_px_size;
    bool m_multi_line;
    bool m_wrap;
    int m_width;
    /// Width of the widest finished line (every line but the last).
    int m_content_width;
    /// The line index, sparse so that a text of very short lines (`yes`) costs a
    /// small part of its own size: one entry per block of lines (B_FIELDS ints
    /// each): where the block starts, its first line, its widest finished line
    /// and the width of its latest finished line (its last line's, once the
    /// next block starts). The lines inside a block are found by scanning it
    /// again, which breaks them exactly as the first scan did.
    cls_array<int> m_blocks;
    int m_last_width;
    /// Where scanning stopped (an unfinished UTF-8 sequence at the end stays unscanned).
    int m_scanned_to;
    /// Number of lines, and where the last one starts.
    int m_line_count;
    int m_last_start;
};

} // namespace ozgi
