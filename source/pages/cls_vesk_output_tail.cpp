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

cls_vesk_output_tail::cls_vesk_output_tail(int limit)
    : m_limit(limit < 1 ? 1 : limit), m_dropped(0), m_head_length(0), m_reader_dropped(0) {}

void cls_vesk_output_tail::reset() {
    m_dropped = 0;
    m_head_length = 0;
    m_reader_dropped = 0;
}

void cls_vesk_output_tail::drop_head(ozgi::cls_label* label, long long dropped, int cut) {
    m_dropped += dropped;
    cls_string head;
    head.print("[... %lld bytes of earlier output dropped ...]\n", m_dropped);
    label->replace_text_head(cut, head);
    m_head_length = head.length();
}

void cls_vesk_output_tail::append(ozgi::cls_label* label, cls_string* piece, long long reader_dropped) {
    long long gap = reader_dropped - m_reader_dropped;
    m_reader_dropped = reader_dropped;
    if (gap <= 0) {
        append_piece(label, *piece, piece);
        return;
    }
    // What the reader dropped lies between the kept text and the piece, so the
    // kept text goes whole: output shown is always one unbroken stretch. The
    // reader hands out at most the limit, beginning with a line where it could.
    // Beyond the limit, the cut in the piece is found the way append finds it.
    const cls_string& text = label->text();
    int kept = text.length() - m_head_length;
    long long over = static_cast<long long>(piece->length()) - m_limit;
    int cut = 0;
    if (over > 0) {
        int from = static_cast<int>(over + m_limit / 16 < piece->length() ? over + m_limit / 16 : piece->length());
        int in_piece = line_start_at_or_after(*piece, from);
        cut = in_piece != cls_string::NOT_FOUND ? in_piece : character_start(*piece, from);
    }
    drop_head(label, kept + gap + cut, text.length());
    // Cut in place: a copy of the piece would cost as much memory again.
    piece->replace(0, cut, nullptr, 0);
    label->append_text(*piece);
}

void cls_vesk_output_tail::append(ozgi::cls_label* label, const cls_string& piece) { append_piece(label, piece, nullptr); }

void cls_vesk_output_tail::append_piece(ozgi::cls_label* label, const cls_string& piece, cls_string* own_piece) {
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
        if (own_piece) {
            // Cut in place: a copy of the rest would cost as much memory again.
            own_piece->replace(0, static_cast<int>(cut - kept), nullptr, 0);
            label->append_text(*own_piece);
        } else {
            label->append_text(piece.sub_str(static_cast<int>(cut - kept)));
        }
    }
}
