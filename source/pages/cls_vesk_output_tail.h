#pragma once
// The output of one run as the execution page keeps it: at most a fixed number
// of bytes, the newest. When more arrives, the oldest whole lines are dropped and
// the label's first line says how many bytes have gone so far.
#include "ozgi/cls_string.h"

namespace ozgi {
class cls_label;
} // namespace ozgi

class cls_vesk_output_tail {
public:
    /// Keeps at most `limit` (at least 1) bytes of output.
    explicit cls_vesk_output_tail(int limit);

    /// Starts a new run: nothing dropped yet. The caller empties the label.
    void reset();
    /// Appends `piece` to `label`, which holds only what this object put there
    /// since the last reset, dropping the oldest lines beyond the limit.
    void append(ozgi::cls_label* label, const ozgi::cls_string& piece);
    /// Like append, for a reader that may itself have dropped output: `reader_dropped`
    /// is how many bytes it dropped, in all since the run began, before `piece`.
    /// Those count as dropped here too, and what is shown never spans them.
    /// `piece` may be cut in place.
    void append(ozgi::cls_label* label, ozgi::cls_string* piece, long long reader_dropped);
    /// Bytes of output dropped since the last reset.
    long long dropped() const { return m_dropped; }
    /// The most bytes of output kept.
    int limit() const { return m_limit; }

private:
    int m_limit;
    long long m_dropped;
    /// Length of the "dropped" line at the start of the label's text (0: none yet).
    int m_head_length;
    /// The reader's count of dropped bytes at the last append.
    long long m_reader_dropped;
    /// Sets the "dropped" line at the head of the label's text in place of its
    /// first `cut` bytes, which are counted as dropped.
    void drop_head(ozgi::cls_label* label, long long dropped, int cut);
    /// append, cutting `own_piece` (which is `piece`, or null) in place where a
    /// copy would otherwise be made.
    void append_piece(ozgi::cls_label* label, const ozgi::cls_string& piece, ozgi::cls_string* own_piece);
};
