#include "ozgi/cls_string.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/large_block.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_log.h"
#include "ozgi/size_math.h"

namespace ozgi {

namespace {
// What the size checks call a string in their messages.
const char* const STRING = "a string";
} // namespace

cls_string::cls_string() : m_small{}, m_len(0), m_cap(SMALL) {}

cls_string::cls_string(const char* text) : m_small{}, m_len(0), m_cap(SMALL) {
    if (text) append(text, size_math::length_of(std::strlen(text), STRING));
}

cls_string::cls_string(const char* text, int length) : m_small{}, m_len(0), m_cap(SMALL) { append(text, length); }

cls_string::cls_string(const cls_string& other) : m_small{}, m_len(0), m_cap(SMALL) { append(other.buf(), other.m_len); }

cls_string::cls_string(char c, int count) : m_small{}, m_len(0), m_cap(SMALL) {
    if (count <= 0) return;
    reserve(count);
    std::memset(buf(), c, count);
    m_len = count;
    buf()[m_len] = '\0';
}

cls_string::~cls_string() {
    if (is_small()) return;
    if (is_large_block(static_cast<size_t>(m_cap) + 1)) large_block_release(m_heap, static_cast<size_t>(m_cap) + 1);
    else std::free(m_heap);
}

void cls_string::reserve(int capacity) {
    if (capacity <= m_cap) return;
    // Doubling keeps appends amortised O(1) even for very long outputs. It starts
    // from SMALL, so a block's capacity is never SMALL itself.
    int cap = size_math::grown_capacity(m_cap, capacity);
    size_t bytes = static_cast<size_t>(cap) + 1;
    bool small = is_small();
    char* old = small ? nullptr : m_heap;
    char* block = is_large_block(bytes)
                      ? static_cast<char*>(large_block_grow(old, old ? static_cast<size_t>(m_cap) + 1 : 0, bytes))
                      : static_cast<char*>(std::realloc(old, bytes));
    if (!block) OZGI_FATAL("Out of memory growing a string to %d bytes.", cap);
    if (small) std::memcpy(block, m_small, static_cast<size_t>(m_len) + 1);
    m_heap = block;
    m_cap = cap;
}

char* cls_string::append_buffer(int count) {
    if (count < 0) OZGI_FATAL("Can't make room for %d bytes.", count);
    reserve(m_len + count);
    return buf() + m_len;
}

void cls_string::commit_append(int count) {
    if (count < 0 || count > m_cap - m_len) OZGI_FATAL("Can't count %d bytes as appended, there is room for %d.", count, m_cap - m_len);
    if (count == 0) return;
    m_len += count;
    buf()[m_len] = '\0';
}

cls_string& cls_string::append(const char* data, int length) {
    if (length <= 0 || data == nullptr) return *this;
    int new_len = size_math::add(m_len, length, STRING);
    if (new_len > m_cap) {
        // `data` may point into this string: keep its offset across the realloc.
        bool inside = data >= buf() && data < buf() + m_len;
        long offset = inside ? data - buf() : 0;
        reserve(new_len);
        if (inside) data = buf() + offset;
    }
    std::memmove(buf() + m_len, data, length);
    m_len = new_len;
    buf()[m_len] = '\0';
    return *this;
}

cls_string& cls_string::replace(int from, int count, const char* data, int length) {
    if (from < 0) from = 0;
    if (from > m_len) from = m_len;
    if (count < 0 || count > m_len - from) count = m_len - from;
    if (length < 0 || data == nullptr) length = 0;
    int tail = m_len - from - count;
    int new_len = size_math::add(size_math::add(from, length, STRING), tail, STRING);
    if (new_len == 0) {
        clear();
        return *this;
    }
    reserve(new_len);
    std::memmove(buf() + from + length, buf() + from + count, tail);
    if (length > 0) std::memcpy(buf() + from, data, length);
    m_len = new_len;
    buf()[m_len] = '\0';
    return *this;
}

cls_string& cls_string::operator=(const cls_string& other) {
    if (this == &other) return *this;
    m_len = 0;
    buf()[0] = '\0';
    return append(other.buf(), other.m_len);
}

cls_string& cls_string::operator=(const char* text) {
    cls_string copy(text);  // `text` may point into this string
    return *this = copy;
}

cls_string cls_string::operator+(const cls_string& other) const {
    cls_string r;
    r.reserve(size_math::add(m_len, other.m_len, STRING));
    r.append(buf(), m_len);
    r.append(other.buf(), other.m_len);
    return r;
}

cls_string cls_string::operator+(const char* text) const {
    cls_string r(*this);
    r += text;
    return r;
}

cls_string cls_string::operator+(char c) const {
    cls_string r(*this);
    r += c;
    return r;
}

cls_string& cls_string::operator+=(const cls_string& other) { return append(other.buf(), other.m_len); }

cls_string& cls_string::operator+=(const char* text) {
    return text ? append(text, size_math::length_of(std::strlen(text), STRING)) : *this;
}

cls_string& cls_string::operator+=(char c) { return append(&c, 1); }

bool cls_string::operator==(const cls_string& other) const {
    return m_len == other.m_len && (m_len == 0 || std::memcmp(buf(), other.buf(), m_len) == 0);
}

bool cls_string::operator==(const char* text) const {
    if (!text) return m_len == 0;
    size_t n = std::strlen(text);
    return n == static_cast<size_t>(m_len) && (m_len == 0 || std::memcmp(buf(), text, n) == 0);
}

bool cls_string::operator<(const cls_string& other) const {
    int n = m_len < other.m_len ? m_len : other.m_len;
    int c = n ? std::memcmp(buf(), other.buf(), n) : 0;
    if (c != 0) return c < 0;
    return m_len < other.m_len;
}

void cls_string::clear() {
    m_len = 0;
    buf()[0] = '\0';
}

cls_string& cls_string::print(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    va_list copy;
    va_copy(copy, ap);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    clear();
    if (n > 0) {
        reserve(n);
        std::vsnprintf(buf(), static_cast<size_t>(n) + 1, format, ap);
        m_len = n;
    }
    va_end(ap);
    return *this;
}

cls_string& cls_string::to_str(const int* value) { return print("%d", *value); }

cls_string& cls_string::to_str(const void* value) { return print("%p", value); }

cls_string& cls_string::to_str(const cls_string* value) { return *this = *value; }

cls_string& cls_string::to_str(const if_to_string* value) {
    cls_sp<cls_string> s = value->to_string();
    if (s.is_null()) clear();
    else *this = *s;
    return *this;
}

int cls_string::to_int() const {
    int i = 0;
    while (i < m_len && (buf()[i] == ' ' || buf()[i] == '\t')) ++i;
    bool negative = false;
    if (i < m_len && (buf()[i] == '-' || buf()[i] == '+')) {
        negative = buf()[i] == '-';
        ++i;
    }
    long long v = 0;
    while (i < m_len && buf()[i] >= '0' && buf()[i] <= '9') {
        v = v * 10 + (buf()[i] - '0');
        if (v > 2147483648LL) v = 2147483648LL;  // saturate instead of wrapping
        ++i;
    }
    if (negative) v = -v;
    if (v > 2147483647LL) v = 2147483647LL;
    return static_cast<int>(v);
}

bool cls_string::has(char c) const { return find(c) != NOT_FOUND; }

int cls_string::find(char c, int from) const {
    if (from < 0) from = 0;
    for (int i = from; i < m_len; ++i)
        if (buf()[i] == c) return i;
    return NOT_FOUND;
}

int cls_string::find(const char* text, int from) const {
    int n = size_math::length_of(std::strlen(text), STRING);
    if (from < 0) from = 0;
    if (n == 0) return from <= m_len ? from : NOT_FOUND;
    for (int i = from; i <= m_len - n; ++i)
        if (std::memcmp(buf() + i, text, n) == 0) return i;
    return NOT_FOUND;
}

int cls_string::rfind(const char* text, int from) const {
    int n = size_math::length_of(std::strlen(text), STRING);
    int start = m_len - n;
    if (from >= 0 && from < start) start = from;
    if (n == 0) return start;
    for (int i = start; i >= 0; --i)
        if (std::memcmp(buf() + i, text, n) == 0) return i;
    return NOT_FOUND;
}

bool cls_string::begin_with(const char* prefix, cls_string* rest) const {
    int n = size_math::length_of(std::strlen(prefix), STRING);
    if (n > m_len || (n > 0 && std::memcmp(buf(), prefix, n) != 0)) return false;
    if (rest) *rest = cls_string(buf() + n, m_len - n);
    return true;
}

bool cls_string::end_with(const char* suffix) const {
    int n = size_math::length_of(std::strlen(suffix), STRING);
    return n <= m_len && (n == 0 || std::memcmp(buf() + m_len - n, suffix, n) == 0);
}

cls_string cls_string::sub_str(int from, int count) const {
    if (from < 0) from = 0;
    if (from >= m_len) return cls_string();
    // Compared as a difference: from + count could wrap for a huge count.
    if (count < 0 || count > m_len - from) count = m_len - from;
    return cls_string(buf() + from, count);
}

cls_string& cls_string::to_sub_str(int from, int count) {
    cls_string s = sub_str(from, count);
    return *this = s;
}

bool cls_string::get_sub_str(int index, char separator, cls_string* out) const {
    out->clear();
    if (index < 0) return false;
    int start = 0;
    for (int field = 0; field < index; ++field) {
        int sep = find(separator, start);
        if (sep == NOT_FOUND) return false;
        start = sep + 1;
    }
    int end = find(separator, start);
    if (end == NOT_FOUND) end = m_len;
    *out = cls_string(buf() + start, end - start);
    return true;
}

cls_string& cls_string::trim_to_str(const char* chars, bool left, bool right) {
    int b = 0, e = m_len;
    if (left)
        while (b < e && buf()[b] && std::strchr(chars, buf()[b])) ++b;
    if (right)
        while (e > b && buf()[e - 1] && std::strchr(chars, buf()[e - 1])) --e;
    if (b == 0 && e == m_len) return *this;
    return to_sub_str(b, e - b);
}

void cls_string::split_to_lines(cls_array<cls_string>* lines) const {
    int start = 0;
    while (start < m_len) {
        int nl = find('\n', start);
        int end = nl == NOT_FOUND ? m_len : nl;
        int line_end = end;
        if (line_end > start && buf()[line_end - 1] == '\r') --line_end;
        lines->append(cls_string(buf() + start, line_end - start));
        if (nl == NOT_FOUND) break;
        start = nl + 1;
    }
}

bool cls_string::has_line(const cls_string& line) const {
    // A line never holds a newline.
    if (line.find('\n') != NOT_FOUND) return false;
    if (line.is_empty()) {
        // Lines as split_to_lines makes them: a newline at the very end ends the last one.
        for (int start = 0; start < m_len;) {
            int nl = find('\n', start);
            int end = nl == NOT_FOUND ? m_len : nl;
            if (end == start || (end == start + 1 && buf()[start] == '\r')) return true;
            if (nl == NOT_FOUND) break;
            start = nl + 1;
        }
        return false;
    }
    for (int at = find(line.c_str()); at != NOT_FOUND; at = find(line.c_str(), at + 1)) {
        if (at > 0 && buf()[at - 1] != '\n') continue;
        int after = at + line.length();
        // The line ends at the text's end or at a newline, with one "\r" before it
        // dropped: a line that itself ends in "\r" is only found followed by another.
        if ((after == m_len || buf()[after] == '\n') && line[line.length() - 1] != '\r') return true;
        if (buf()[after] == '\r' && (after + 1 == m_len || buf()[after + 1] == '\n')) return true;
    }
    return false;
}

cls_string cls_string::file_name() const {
    int slash = rfind("/");
    return slash == NOT_FOUND ? *this : sub_str(slash + 1);
}

} // namespace ozgi
