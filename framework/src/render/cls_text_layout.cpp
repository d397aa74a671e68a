#include "ozgi/cls_text_layout.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_font_mgr.h"
#include "ozgi/cls_log.h"

namespace ozgi {

namespace {

// Characters between which a line may break without a space: CJK ideographs,
// kana, hangul, CJK punctuation and full-width forms.
bool is_cjk(int32_t cp) {
    return (cp >= 0x2E80 && cp <= 0x9FFF) || (cp >= 0xAC00 && cp <= 0xD7AF) || (cp >= 0xF900 && cp <= 0xFAFF) ||
           (cp >= 0xFF00 && cp <= 0xFFEF) || (cp >= 0x20000 && cp <= 0x3FFFF);
}

// True when text[pos] starts a UTF-8 sequence that the text ends in the middle of;
// more text may still complete it.
bool unfinished_sequence(const char* text, int length, int pos) {
    unsigned char c = static_cast<unsigned char>(text[pos]);
    int extra = (c >= 0xC2 && c <= 0xDF) ? 1 : (c >= 0xE0 && c <= 0xEF) ? 2 : (c >= 0xF0 && c <= 0xF4) ? 3 : 0;
    if (extra == 0 || pos + extra < length) return false;
    for (int i = pos + 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return false;
    return true;
}

/// Advances of the characters met while scanning, so that a long text costs one
/// table load per character instead of a glyph lookup. Lives for one scan (the
/// fonts may change between scans); ASCII has a table of its own, other
/// characters a small direct-mapped cache, set up only when one is met.
class advance_cache_t {
public:
    advance_cache_t(cls_font_mgr* fonts, int px_size) : m_fonts(fonts), m_px_size(px_size), m_wide_ready(false) {
        std::memset(m_ascii, -1, sizeof(m_ascii));
    }
    int ascii(unsigned char c) {
        int a = m_ascii[c];
        if (a < 0) a = m_ascii[c] = m_fonts->glyph(c, m_px_size)->advance;
        return a;
    }
    int wide(uint32_t cp) {
        if (!m_wide_ready) {
            // 0 is ASCII, never a key here: every slot starts empty.
            std::memset(m_keys, 0, sizeof(m_keys));
            m_wide_ready = true;
        }
        unsigned slot = cp % WIDE_SLOTS;
        if (m_keys[slot] != cp) {
            m_keys[slot] = cp;
            m_wide[slot] = m_fonts->glyph(cp, m_px_size)->advance;
        }
        return m_wide[slot];
    }

private:
    static constexpr unsigned WIDE_SLOTS = 512;
    cls_font_mgr* m_fonts;
    int m_px_size;
    bool m_wide_ready;
    int m_ascii[128];
    uint32_t m_keys[WIDE_SLOTS];
    int m_wide[WIDE_SLOTS];
};

struct scan_at_t {
    int pos;
    int width;
    int line_start;
};

/// Lays out text[pos..length) from the state in `at`, calling end_line(width, start)
/// at every line end; the scan stops early when end_line returns false. The same
/// scan serves the layout's own index and the lines found again inside a block,
/// so both break lines alike.
template <class F>
void scan_lines(const char* text, int length, int px_size, bool multi_line, bool wrap, int wrap_width,
                scan_at_t* at, F end_line) {
    advance_cache_t advances(cls_font_mgr::ins(), px_size);
    int pos = at->pos;
    int width = at->width;
    int line_start = at->line_start;
    // The latest place the current line could break: the byte where the next line
    // would start, the width of the line before it (trailing spaces not counted)
    // and the width up to that byte.
    int break_at = -1;
    int break_line_width = 0;
    int break_consumed = 0;
    bool after_space = false;
    while (pos < length) {
        if (!wrap) {
            // Without wrapping a run of plain ASCII only adds up advances.
            while (pos < length) {
                unsigned char u = static_cast<unsigned char>(text[pos]);
                if (u >= 0x80 || u == '\n' || u == '\r') break;
                width += advances.ascii(u);
                ++pos;
            }
            if (pos == length) break;
        }
        char c = text[pos];
        if (multi_line && c == '\n') {
            if (!end_line(width, pos + 1)) return;
            line_start = pos + 1;
            width = 0;
            break_at = -1;
            after_space = false;
            ++pos;
            continue;
        }
        if (multi_line && c == '\r') {
            ++pos;
            continue;
        }
        int next = pos;
        int32_t cp;
        int advance;
        if (static_cast<unsigned char>(c) < 0x80) {
            cp = static_cast<unsigned char>(c);
            ++next;
            advance = advances.ascii(static_cast<unsigned char>(c));
        } else {
            if (unfinished_sequence(text, length, pos)) break;
            cp = cls_font_mgr::decode_utf8(text, length, &next);
            advance = advances.wide(static_cast<uint32_t>(cp));
        }
        if (wrap) {
            if (cp == ' ') {
                // Spaces may hang past the edge; the next line starts after them.
                if (!after_space) break_line_width = width;
                break_at = next;
                break_consumed = width + advance;
                after_space = true;
                width += advance;
                pos = next;
                continue;
            }
            after_space = false;
            if (is_cjk(cp) && pos > line_start) {
                break_at = pos;
                break_line_width = width;
                break_consumed = width;
            }
            if (width + advance > wrap_width && pos > line_start) {
                if (break_at > line_start) {
                    if (!end_line(break_line_width, break_at)) return;
                    line_start = break_at;
                    width -= break_consumed;
                } else {
                    // One word wider than the line: it is cut where it overflows.
                    if (!end_line(width, pos)) return;
                    line_start = pos;
                    width = 0;
                }
                break_at = -1;
                // The character is measured again against the new line.
                continue;
            }
            width += advance;
            if (is_cjk(cp)) {
                break_at = next;
                break_line_width = width;
                break_consumed = width;
            }
            pos = next;
            continue;
        }
        width += advance;
        pos = next;
    }
    at->pos = pos;
    at->width = width;
    at->line_start = line_start;
}

} // namespace

cls_text_layout::cls_text_layout()
    : m_text(&m_own_text), m_px_size(16), m_multi_line(false), m_wrap(false), m_width(0), m_content_width(0), m_last_width(0),
      m_scanned_to(0), m_line_count(1), m_last_start(0) {
    for (int i = 0; i < B_FIELDS; ++i) m_blocks.append(0);
}

void cls_text_layout::set_text(const cls_string& text) {
    m_own_text = text;
    m_text = &m_own_text;
    rebuild();
}

void cls_text_layout::borrow_text(const cls_string* text) {
    m_own_text = cls_string();
    m_text = text;
    rebuild();
}

void cls_text_layout::append_text(const cls_string& text) {
    if (m_text != &m_own_text) OZGI_FATAL("Can't append to a text layout's borrowed text; its owner appends.");
    if (text.is_empty()) return;
    m_own_text += text;
    text_appended();
}

void cls_text_layout::text_appended() {
    if (wrapping()) {
        // Earlier lines were broken for good when they filled up; only the last
        // line can take a different break with more text, so it is scanned again.
        m_scanned_to = m_last_start;
        m_last_width = 0;
    }
    scan();
}

void cls_text_layout::set_pixel_size(int px_size) {
    if (px_size == m_px_size || px_size <= 0) return;
    m_px_size = px_size;
    rebuild();
}

void cls_text_layout::set_multi_line(bool multi_line) {
    if (multi_line == m_multi_line) return;
    m_multi_line = multi_line;
    rebuild();
}

void cls_text_layout::set_wrap(bool wrap) {
    if (wrap == m_wrap) return;
    m_wrap = wrap;
    rebuild();
}

void cls_text_layout::set_width(int width) {
    if (width == m_width) return;
    bool was_wrapping = wrapping();
    m_width = width;
    if (was_wrapping || wrapping()) rebuild();
}

int cls_text_layout::content_width() const { return std::max(m_content_width, m_last_width); }

int cls_text_layout::line_height() const { return cls_font_mgr::ins()->line_height(m_px_size); }

int cls_text_layout::content_height() const {
    // Millions of lines times the line height can pass the int range; the height
    // then stays at the largest int (nothing can be scrolled that far anyway).
    long long h = static_cast<long long>(line_count()) * line_height();
    return h > INT_MAX ? INT_MAX : static_cast<int>(h);
}

int cls_text_layout::max_scroll_y(int box_height) const { return std::max(0, content_height() - box_height); }

int cls_text_layout::line_start(int index) const {
    cls_array<int> starts;
    cls_array<int> widths;
    lines_at(index, 0, &starts, &widths);
    return starts[0];
}

int cls_text_layout::last_block_from(block_field_t field, int value) const {
    int lo = 0, hi = block_count() - 1;
    while (lo < hi) {
        int mid = lo + (hi - lo + 1) / 2;
        if (block(mid, field) <= value) lo = mid;
        else hi = mid - 1;
    }
    return lo;
}

int cls_text_layout::block_of_line(int line) const { return last_block_from(B_FIRST_LINE, line); }

void cls_text_layout::lines_at(int first, int count, cls_array<int>* starts, cls_array<int>* widths) const {
    int stop = first + count;
    const char* text = m_text->c_str();
    int length = m_text->length();
    for (int b = block_of_line(first);; ++b) {
        bool last_block = b + 1 == block_count();
        int next_first = last_block ? m_line_count : block(b + 1, B_FIRST_LINE);
        int cur = block(b, B_FIRST_LINE);
        if (cur >= first) starts->append(block(b, B_START));
        if (cur >= stop) return;
        if (cur < next_first - 1) {
            // Only the lines inside the block are found again: at most a block's
            // worth of lines, all but the last starting within its byte span.
            scan_at_t at = {block(b, B_START), 0, block(b, B_START)};
            scan_lines(text, length, m_px_size, m_multi_line, wrapping(), m_width, &at, [&](int width, int start) {
                if (cur >= first) widths->append(width);
                ++cur;
                if (cur >= first) starts->append(start);
                return cur < next_first - 1 && cur < stop;
            });
        }
        if (cur >= stop) return;
        // The block's last line: its width is kept, and it ends where the next
        // block (or the text) starts, however long it is.
        if (cur >= first) widths->append(last_block ? m_last_width : block(b, B_LAST_WIDTH));
        if (last_block) {
            starts->append(length);
            return;
        }
    }
}

int cls_text_layout::line_starting_at(int byte) const {
    int b = last_block_from(B_START, byte);
    if (block(b, B_START) == byte) return block(b, B_FIRST_LINE);
    int next_first = b + 1 == block_count() ? m_line_count : block(b + 1, B_FIRST_LINE);
    int cur = block(b, B_FIRST_LINE);
    int found = -1;
    scan_at_t at = {block(b, B_START), 0, block(b, B_START)};
    scan_lines(m_text->c_str(), m_text->length(), m_px_size, m_multi_line, wrapping(), m_width, &at,
               [&](int, int start) {
                   ++cur;
                   if (start == byte) found = cur;
                   return start < byte && cur < next_first - 1;
               });
    return found;
}

void cls_text_layout::head_replaced(int old_length, int new_length) {
    // The old head must have ended at a hard line start inside what was scanned,
    // or the lines after it may break differently now.
    int k = -1;
    if (m_multi_line && old_length > 0 && old_length <= m_scanned_to) k = line_starting_at(old_length);
    else if (m_line_count > 1 && line_start(1) == old_length) k = 1;
    bool hard_start = k > 0 && new_length > 0 && m_text->length() >= new_length && (*m_text)[new_length - 1] == '\n';
    if (!hard_start) {
        rebuild();
        return;
    }
    // Lines k.. are kept, moved by the size difference, in place: the index of a
    // text of millions of short lines must not be needed twice over. The block
    // holding line k is cut to start there; the widths of the lines it keeps are
    // found again (a block's worth at most).
    int b = block_of_line(k);
    if (block(b, B_FIRST_LINE) != k) {
        bool last_block = b + 1 == block_count();
        int finished = (last_block ? m_line_count - 1 : block(b + 1, B_FIRST_LINE)) - k;
        cls_array<int> starts;
        cls_array<int> widths;
        lines_at(k, finished, &starts, &widths);
        int widest = 0;
        for (int i = 0; i < widths.count(); ++i) widest = std::max(widest, widths[i]);
        block(b, B_START) = old_length;
        block(b, B_FIRST_LINE) = k;
        block(b, B_WIDEST) = widest;
    }
    int dropped = b * B_FIELDS;
    int kept = m_blocks.count() - dropped;
    for (int i = 0; i < kept; ++i) m_blocks[i] = m_blocks[i + dropped];
    for (int i = 0; i < dropped; ++i) m_blocks.remove_at(m_blocks.count() - 1);

    // The new head (a line or two) is laid out on its own and put in front.
    cls_text_layout head;
    head.m_px_size = m_px_size;
    head.m_multi_line = m_multi_line;
    head.m_wrap = m_wrap;
    head.m_width = m_width;
    head.set_text(m_text->sub_str(0, new_length));
    // The head ends with a newline, so its last line starts at new_length: the
    // first kept line. A block of the head that starts there is left out.
    int head_lines = head.m_line_count - 1;
    int head_blocks = head.block_count();
    if (head.block(head_blocks - 1, B_FIRST_LINE) == head_lines) --head_blocks;
    int shift = new_length - old_length;
    for (int i = 0; i < block_count(); ++i) {
        block(i, B_START) += shift;
        block(i, B_FIRST_LINE) += head_lines - k;
    }
    for (int i = head_blocks * B_FIELDS; i-- > 0;) m_blocks.insert(0, head.m_blocks[i]);
    m_line_count += head_lines - k;
    m_last_start += shift;
    m_scanned_to += shift;
    m_content_width = 0;
    for (int i = 0; i < block_count(); ++i) m_content_width = std::max(m_content_width, block(i, B_WIDEST));
}

void cls_text_layout::rebuild() {
    m_blocks.clear();
    for (int i = 0; i < B_FIELDS; ++i) m_blocks.append(0);
    m_line_count = 1;
    m_last_start = 0;
    m_content_width = 0;
    m_last_width = 0;
    m_scanned_to = 0;
    scan();
}

void cls_text_layout::end_line(int width, int start) {
    int b = block_count() - 1;
    block(b, B_WIDEST) = std::max(block(b, B_WIDEST), width);
    block(b, B_LAST_WIDTH) = width;
    if (width > m_content_width) m_content_width = width;
    int line = m_line_count++;
    if (line - block(b, B_FIRST_LINE) >= BLOCK_LINES || start - block(b, B_START) >= BLOCK_BYTES) {
        m_blocks.append(start);
        m_blocks.append(line);
        m_blocks.append(0);
        m_blocks.append(0);
    }
    m_last_start = start;
}

void cls_text_layout::scan() {
    if (m_text->is_empty()) return;
    scan_at_t at = {m_scanned_to, m_last_width, m_last_start};
    scan_lines(m_text->c_str(), m_text->length(), m_px_size, m_multi_line, wrapping(), m_width, &at,
               [this](int width, int start) {
                   end_line(width, start);
                   return true;
               });
    m_scanned_to = at.pos;
    m_last_width = at.width;
}

void cls_text_layout::draw(cls_canvas* canvas, const cls_rect& box, int h_align, int v_align,
                           const cls_color& color, int scroll_y) const {
    cls_rect saved = canvas->clip();
    cls_rect area = saved.intersect(box);
    if (area.is_empty() || color.a == 0) return;
    cls_font_mgr* fonts = cls_font_mgr::ins();
    int lh = line_height();
    int lines = line_count();
    // Positions are worked out in 64 bits: a text of millions of lines is taller
    // than an int can count in pixels.
    long long total = static_cast<long long>(lines) * lh;
    long long top;
    if (total <= box.h) {
        top = box.y + (v_align == ALIGN_MIDDLE ? (box.h - total) / 2 : v_align == ALIGN_BOTTOM ? box.h - total : 0);
    } else {
        long long scroll = std::max(0LL, std::min(static_cast<long long>(scroll_y), total - box.h));
        top = v_align == ALIGN_BOTTOM ? box.bottom() - total + scroll : box.y - scroll;
    }
    int first = static_cast<int>(std::max(0LL, (area.y - top) / lh));
    int last = static_cast<int>(std::min(static_cast<long long>(lines) - 1, (area.bottom() - 1 - top) / lh));
    if (last < first) return;
    canvas->set_clip(area);
    int ascent = fonts->ascent(m_px_size);
    const char* text = m_text->c_str();
    cls_array<int> starts;
    cls_array<int> widths;
    lines_at(first, last - first + 1, &starts, &widths);
    for (int i = first; i <= last; ++i) {
        int start = starts[i - first];
        int end = starts[i - first + 1];
        int width = widths[i - first];
        int x = box.x;
        if (h_align == ALIGN_MIDDLE) x += (box.w - width) / 2;
        else if (h_align == ALIGN_RIGHT) x += box.w - width;
        int baseline = static_cast<int>(top + static_cast<long long>(i) * lh + ascent);
        int pos = start;
        while (pos < end && x < area.right()) {
            char c = text[pos];
            if (m_multi_line && (c == '\n' || c == '\r')) {
                ++pos;
                continue;
            }
            int32_t cp = cls_font_mgr::decode_utf8(text, end, &pos);
            const cls_font_mgr::glyph_t* g = fonts->glyph(static_cast<uint32_t>(cp), m_px_size);
            if (g->mask)
                canvas->draw_mask(g->mask, g->width, g->height, g->pitch, x + g->bearing_x, baseline - g->bearing_y,
                                  color);
            x += g->advance;
        }
    }
    canvas->set_clip(saved);
}

} // namespace ozgi
