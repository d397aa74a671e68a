#pragma once
// An owned byte string holding UTF-8 text. A text of up to SMALL bytes is kept in
// the object itself: most strings are names, numbers and words, and a block of
// their own cost them a malloc, a free and more memory than the text. Nothing in
// the object points into itself, so it may be moved bytewise (cls_array relies
// on that); a pointer into a short string's bytes, though, moves with it.
#include <cstddef>
#include "ozgi/if_to_string.h"

namespace ozgi {

template <typename T> class cls_array;

class cls_string {
public:
    /// Returned by the searches when the text is absent.
    static constexpr int NOT_FOUND = -1;

    /// An empty string (no buffer is allocated until text is added).
    cls_string();
    /// A copy of the NUL-terminated `text`; null gives an empty string.
    cls_string(const char* text);
    /// A copy of `length` bytes of `text` (which may hold NULs); a length of 0 or less gives "".
    cls_string(const char* text, int length);
    /// A copy of `other`.
    cls_string(const cls_string& other);
    /// `count` copies of `c`; a count of 0 or less gives "".
    cls_string(char c, int count);
    /// Frees the buffer.
    ~cls_string();

    /// Replaces the contents with a copy of `other`.
    cls_string& operator=(const cls_string& other);
    /// Replaces the contents with a copy of `text` (which may point into this string).
    cls_string& operator=(const char* text);
    /// The concatenation of this string and `other`.
    cls_string operator+(const cls_string& other) const;
    /// The concatenation of this string and `text`.
    cls_string operator+(const char* text) const;
    /// This string followed by the byte `c`.
    cls_string operator+(char c) const;
    /// Appends `other`; returns this string.
    cls_string& operator+=(const cls_string& other);
    /// Appends `text` (null appends nothing); returns this string.
    cls_string& operator+=(const char* text);
    /// Appends the byte `c`; returns this string.
    cls_string& operator+=(char c);
    /// Appends `length` bytes of `data`.
    cls_string& append(const char* data, int length);
    /// Replaces `count` bytes from `from` (both cut to the text; a negative count:
    /// to the end) by `length` bytes of `data`, in place. `data` must not point
    /// into this string.
    cls_string& replace(int from, int count, const char* data, int length);
    /// True when both hold the same bytes.
    bool operator==(const cls_string& other) const;
    /// True when this string holds the bytes of `text` (null equals "").
    bool operator==(const char* text) const;
    /// The negation of operator==.
    bool operator!=(const cls_string& other) const { return !(*this == other); }
    /// The negation of operator==.
    bool operator!=(const char* text) const { return !(*this == text); }
    /// Byte-wise order of unsigned bytes ("B" < "a", "10" < "9"); a proper prefix sorts first.
    bool operator<(const cls_string& other) const;

    /// Empties the string (the buffer is kept).
    void clear();
    /// Makes room for `capacity` bytes plus the terminator.
    void reserve(int capacity);
    /// Makes room for `count` more bytes and returns where they go, so that a
    /// reader can fill them in place (e.g. straight from a pipe); nothing counts
    /// as text until commit_append.
    char* append_buffer(int count);
    /// Counts `count` bytes written at append_buffer() as appended (at most the
    /// count asked for there).
    void commit_append(int count);

    /// Replaces the contents with printf-style formatted text.
    cls_string& print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Replaces the contents with the decimal text of *value.
    cls_string& to_str(const int* value);
    /// Replaces the contents with the address, as "0x..." text.
    cls_string& to_str(const void* value);
    /// Replaces the contents with a copy of *value.
    cls_string& to_str(const cls_string* value);
    /// Replaces the contents with value->to_string().
    cls_string& to_str(const if_to_string* value);

    /// Decimal text to int: leading blanks and one sign are accepted; the first
    /// character that is not a digit ends the number; no digits gives 0.
    int to_int() const;

    /// The text, NUL-terminated; never null ("" for an empty string). For a text
    /// of up to SMALL bytes it lies inside the object.
    const char* c_str() const { return buf(); }
    /// Number of bytes.
    int length() const { return m_len; }
    /// True when the string has no bytes.
    bool is_empty() const { return m_len == 0; }
    /// True when the string has at least one byte.
    bool is_not_empty() const { return m_len != 0; }
    /// The byte at `index`, which must be below length() (not checked).
    char operator[](int index) const { return buf()[index]; }
    /// Writable bytes (the string must not be empty).
    char* data() { return buf(); }

    /// True when the byte `c` occurs in the string.
    bool has(char c) const;
    /// Index of the first `c` at or after `from`, or NOT_FOUND.
    int find(char c, int from = 0) const;
    /// Index of the first `text` at or after `from`, or NOT_FOUND.
    int find(const char* text, int from = 0) const;
    /// Searches backwards: the index of the last occurrence of `text` that starts at or
    /// before `from`; with `from` -1 (or any negative value) the search starts at the end,
    /// so the last occurrence in the whole string is found. When the text does not occur
    /// there, the result is NOT_FOUND, which is -1. An empty `text` is found at
    /// min(from, length()).
    int rfind(const char* text, int from = -1) const;

    /// True when the string begins with `prefix`; then `rest` (if not null) gets
    /// the text after it. When it does not, `rest` is left unchanged.
    bool begin_with(const char* prefix, cls_string* rest = nullptr) const;
    /// The negation of begin_with.
    bool not_begin_with(const char* prefix) const { return !begin_with(prefix); }
    /// True when the string ends with `suffix`.
    bool end_with(const char* suffix) const;

    /// `count` bytes from `from` (-1: to the end); out-of-range parts are cut off.
    cls_string sub_str(int from, int count = -1) const;
    /// Cuts the string in place to sub_str(from, count).
    cls_string& to_sub_str(int from, int count = -1);
    /// The index-th field between `separator`s (index 0 is the text before the
    /// first separator). Returns false, leaving `out` empty, when there is no such field.
    bool get_sub_str(int index, char separator, cls_string* out) const;
    /// Removes any of `chars` from the left and/or right end, in place.
    cls_string& trim_to_str(const char* chars, bool left, bool right);
    /// Splits the text at "\n"; a "\r" before the "\n" is dropped, and a trailing
    /// newline does not make an empty last line. Lines are appended to `lines`.
    void split_to_lines(cls_array<cls_string>* lines) const;
    /// Whether one of the lines split_to_lines would give equals `line`, found
    /// without making them (a long text is not copied line by line).
    bool has_line(const cls_string& line) const;
    /// The last component of a path ("a/b/c" gives "c"; "a/b/" gives "").
    cls_string file_name() const;

    /// Longest text kept inside the object.
    static constexpr int SMALL = 15;

private:
    bool is_small() const { return m_cap == SMALL; }
    char* buf() { return is_small() ? m_small : m_heap; }
    const char* buf() const { return is_small() ? m_small : m_heap; }

    union {
        char* m_heap;             // the block, when the capacity is above SMALL
        char m_small[SMALL + 1];  // the text and its terminator, otherwise
    };
    int m_len;
    int m_cap;  // SMALL while the text is in m_small; a block's is always larger
};

inline cls_string operator+(const char* a, const cls_string& b) { return cls_string(a) + b; }

} // namespace ozgi
