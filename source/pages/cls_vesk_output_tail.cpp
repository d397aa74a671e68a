#include "pages/cls_vesk_output_tail.h"

#include "ozgi/cls_label.h"

using ozgi::cls_string;

namespace {

// Index of the first line start at or after `from` in `text` (a line starts after
// a newline), or NOT_FOUND.
int line_start_at_or_after(const cls_string& text, int from) {
    if (from <= 0) return 0;
    int nl = text.find('\n', from - 1);
    return nl == cls_string::NOT_FOUND ? cls_string::NOT_FOUND : nl + 1;
}

// `at` moved forward past UTF-8 continuation bytes, so that a cut inside an
// endless line does not split a character.
int character_start(const cls_string& text, int at) {
    while (at < text.length() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
    return at;
}

} // namespace

cls_vesk_output_tail::cls_vesk_output_tail(int limit) : m_limit(limit < 1 ? 1 : limit), m_dropped(0), m_head_length(0) {}

void cls_vesk_output_tail::reset() {
    m_dropped = 0;
    m_head_length = 0;
}

void cls_vesk_output_tail::append(ozgi::cls_label* label, const cls_string& piece) {
    if (piece.is_empty()) return;
    const cls_string& text = label->text();
    int kept = text.length() - m_head_length;
    long long total = static_cast<long long>(kept) + piece.length();
    if (total <= m_limit) {
        label->append_text(piece);
        return;
    }
    // A sixteenth of the limit more than needed goes at once, so that a test that
    // keeps printing does not make every tick move the whole kept text.
    long long need = total - m_limit + m_limit / 16;
    if (need > total) need = total;

    // The cut, counted in kept output followed by the piece: the first line start
    // at or after `need`; with no line end there at all, `need` itself.
    long long cut;
    if (need <= kept) {
        int start = line_start_at_or_after(text, m_head_length + static_cast<int>(need));
        if (start != cls_string::NOT_FOUND) {
            cut = start - m_head_length;
        } else {
            int in_piece = line_start_at_or_after(piece, 1);
            cut = in_piece != cls_string::NOT_FOUND ? kept + in_piece
                                                    : character_start(text, m_head_length + static_cast<int>(need)) -
                                                          m_head_length;
        }
    } else {
        int from = static_cast<int>(need - kept);
        int in_piece = line_start_at_or_after(piece, from);
        cut = kept + (in_piece != cls_string::NOT_FOUND ? in_piece : character_start(piece, from));
    }

    m_dropped += cut;
    cls_string head;
    head.print("[... %lld bytes of earlier output dropped ...]\n", m_dropped);
    if (cut <= kept) {
        label->replace_text_head(m_head_length + static_cast<int>(cut), head);
        m_head_length = head.length();
        label->append_text(piece);
    } else {
        label->replace_text_head(text.length(), head);
        m_head_length = head.length();
        label->append_text(piece.sub_str(static_cast<int>(cut - kept)));
    }
}
