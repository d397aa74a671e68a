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
//   \t \n \r \f \v   control characters; \d \s \w (\D \S \W) the usual classes;
//                  a backslash before any other non-alphanumeric character makes it plain
// A '.' matches any character but a newline. A '<' or '>' that is not part of
// <clr> or <name> must be escaped; names are letters, digits and underscores.
// A <name> passed when no <clr> has been passed captures the empty text.
// Matching is anchored at the start of the text and backtracks, greedy first.
// An iteration of * or + (after the first) that consumes nothing fails, so a
// repetition can't loop in place. Failed (node, position) pairs (with the state
// of such iterations) are remembered, so matching time stays polynomial, and the walk keeps its own stack, so a
// long text can't overflow the C++ stack.
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
    /// Turns the memo of failed (node, position) pairs and the other shortcuts of
    /// matching on (the default) or off. Without them matching is plain
    /// backtracking, which gives the same results but may take exponential time;
    /// tests use it to check exactly that.
    void set_memoise(bool enabled);

private:
    struct impl_t;
    impl_t* m_impl;
    int m_max_matched_len;
};

} // namespace ozgi
