#pragma once
// Turning arbitrary test output and file names into text that JSON, XML and a
// terminal accept. Test output is bytes: it may hold invalid UTF-8 and control
// characters, and it may be cut in the middle of a character.
#include "ozgi/cls_string.h"

class cls_vesk_text_escape {
public:
    /// Whether `text` is valid UTF-8 (no overlong forms, no surrogates).
    static bool is_utf8(const ozgi::cls_string& text);
    /// `text` as a JSON string literal, quotes included. Invalid UTF-8 bytes become
    /// U+FFFD; control characters are escaped.
    static ozgi::cls_string json(const ozgi::cls_string& text);
    /// `text` for XML character data or an attribute value: markup characters and
    /// quotes escaped, invalid UTF-8 and characters XML forbids replaced by U+FFFD.
    static ozgi::cls_string xml(const ozgi::cls_string& text);
    /// `text` for a terminal line: invalid UTF-8 bytes and control characters
    /// shown as \xNN, everything else unchanged.
    static ozgi::cls_string printable(const ozgi::cls_string& text);
    /// The length of the longest start of `text` no longer than `max` bytes that
    /// does not end inside a UTF-8 character.
    static int utf8_cut(const ozgi::cls_string& text, int from, int max);
    /// The offset at or after `from` (at most `text.length()`) where a character begins.
    static int utf8_start(const ozgi::cls_string& text, int from);
};
