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
    /// Bytes of output dropped since the last reset.
    long long dropped() const { return m_dropped; }
    /// The most bytes of output kept.
    int limit() const { return m_limit; }

private:
    int m_limit;
    long long m_dropped;
    /// Length of the "dropped" line at the start of the label's text (0: none yet).
    int m_head_length;
};
