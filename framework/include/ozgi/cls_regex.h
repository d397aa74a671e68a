#pragma once
// Regular expressions in the framework's dialect:
//   <clr>          matches nothing; starts a capture
//   <name>         after a sub-pattern, matches nothing; ends the capture begun by
//                  the latest <clr> and records (name, text); inside a repetition
//                  it records once per repetition, in matching order
//   \< \>          the plain characters < and >
//   { }            plain characters (there is no counted repetition)
//   [...] [^...]   classes; a | inside brackets is the plain character
//   |  ( )  *  +  ?  .   alternation, grouping, repetition, any character
// Matching is anchored at the start of the text and backtracks. Failed
// (node, position) pairs are remembered, so matching time stays polynomial.
#include "ozgi/cls_array.h"
#include "ozgi/cls_dict.h"
#include "ozgi/cls_string.h"

namespace ozgi {

/// One named capture of a match.
struct name_val_t {
    cls_string name;
    cls_string value;
};

class cls_regex {
public:
    /// Compiles `pattern`; a malformed pattern is fatal with the pattern and the reason.
    explicit cls_regex(const cls_string& pattern);
    ~cls_regex();
    cls_regex(const cls_regex&) = delete;
    cls_regex& operator=(const cls_regex&) = delete;

    /// Matches `text` from its start (the match need not reach the end unless the
    /// pattern demands it). On success appends the captures to `captures` (if not
    /// null) in matching order, sets `dict` (if not null) to name -> last value,
    /// and returns true.
    bool match(const cls_string& text, cls_array<name_val_t>* captures, cls_dict<cls_string, cls_string>* dict = nullptr);
    /// The length of the longest start of the text that any attempt of the last
    /// match() call matched.
    int max_matched_len() const { return m_max_matched_len; }

private:
    struct impl_t;
    impl_t* m_impl;
    int m_max_matched_len;
};

} // namespace ozgi
