#include "ozgi/cls_fixed_point.h"

#include "ozgi/cls_log.h"

namespace ozgi {
namespace {

constexpr unsigned MAX_SCALE = 18;

bool try_mul10(long long v, unsigned times, long long* out) {
    for (unsigned i = 0; i < times; ++i) {
        long long r;
        if (__builtin_mul_overflow(v, 10LL, &r)) return false;
        v = r;
    }
    *out = v;
    return true;
}

long long checked_mul10(long long v, unsigned times) {
    long long r;
    if (!try_mul10(v, times, &r)) OZGI_FATAL("Fixed point overflow: the value does not fit 64 bits.");
    return r;
}

long long checked_add(long long a, long long b) {
    long long r;
    if (__builtin_add_overflow(a, b, &r)) OZGI_FATAL("Fixed point overflow: the value does not fit 64 bits.");
    return r;
}

// false, with both outputs 0, when the digits do not fit 64 bits.
bool try_parse(const char* s, int len, long long* mantissa, unsigned* scale) {
    *mantissa = 0;
    *scale = 0;
    int i = 0;
    while (i < len && (s[i] == ' ' || s[i] == '\t')) ++i;
    bool negative = false;
    if (i < len && (s[i] == '-' || s[i] == '+')) {
        negative = s[i] == '-';
        ++i;
    }
    bool point = false;
    bool digits = false;
    // The magnitude is gathered unsigned: the lowest mantissa has no positive
    // counterpart, yet its own text must read back.
    const unsigned long long limit = negative ? 9223372036854775808ULL : 9223372036854775807ULL;
    unsigned long long m = 0;
    unsigned sc = 0;
    for (; i < len; ++i) {
        char c = s[i];
        if (c >= '0' && c <= '9') {
            // Digits beyond what 64 bits and the scale limit can hold are dropped.
            if (point && sc >= MAX_SCALE) continue;
            unsigned d = static_cast<unsigned>(c - '0');
            if (m > (limit - d) / 10) return false;
            m = m * 10 + d;
            digits = true;
            if (point) ++sc;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            break;
        }
    }
    if (!digits) return true;
    *mantissa = negative ? static_cast<long long>(0ULL - m) : static_cast<long long>(m);
    *scale = sc;
    return true;
}

void parse(const char* s, int len, long long* mantissa, unsigned* scale) {
    if (!try_parse(s, len, mantissa, scale)) OZGI_FATAL("Fixed point overflow: \"%.*s\" does not fit 64 bits.", len, s);
}

} // namespace

cls_fixed_point::cls_fixed_point() : m_mantissa(0), m_scale(0), m_width(-1) {}

cls_fixed_point::cls_fixed_point(const cls_string& text) : m_mantissa(0), m_scale(0), m_width(-1) {
    parse(text.c_str(), text.length(), &m_mantissa, &m_scale);
}

cls_fixed_point::cls_fixed_point(const char* text) : cls_fixed_point(cls_string(text)) {}

cls_fixed_point::cls_fixed_point(long long mantissa, unsigned fractional_width)
    : m_mantissa(mantissa), m_scale(fractional_width), m_width(-1) {
    // A scale beyond what 64 bits can ever show would silently change the value.
    if (fractional_width > MAX_SCALE)
        OZGI_FATAL("Fixed point width %u is too large, at most %u decimals are kept.", fractional_width, MAX_SCALE);
}

void cls_fixed_point::rescale_to(unsigned scale) {
    if (scale > m_scale) {
        m_mantissa = checked_mul10(m_mantissa, scale - m_scale);
    } else if (scale < m_scale) {
        long long div = 1;
        for (unsigned i = 0; i < m_scale - scale; ++i) div *= 10;
        long long q = m_mantissa / div;
        long long r = m_mantissa % div;
        // Half away from zero: compare twice the remainder with the divisor.
        if (r < 0 ? -r >= div - (-r) : r >= div - r) q += m_mantissa < 0 ? -1 : 1;
        m_mantissa = q;
    }
    m_scale = scale;
}

cls_fixed_point& cls_fixed_point::operator+=(const cls_fixed_point& other) {
    cls_fixed_point b = other;
    unsigned scale = m_scale > b.m_scale ? m_scale : b.m_scale;
    rescale_to(scale);
    b.rescale_to(scale);
    m_mantissa = checked_add(m_mantissa, b.m_mantissa);
    return *this;
}

cls_fixed_point cls_fixed_point::operator+(const cls_fixed_point& other) const {
    cls_fixed_point r = *this;
    r += other;
    return r;
}

cls_fixed_point cls_fixed_point::operator-() const {
    if (m_mantissa == (-9223372036854775807LL - 1)) OZGI_FATAL("Fixed point overflow: the value does not fit 64 bits.");
    cls_fixed_point r = *this;
    r.m_mantissa = -m_mantissa;
    return r;
}

cls_fixed_point cls_fixed_point::operator-(const cls_fixed_point& other) const { return *this + (-other); }

namespace {
// |v| as an unsigned number; the most negative value has no signed magnitude.
unsigned long long magnitude(long long v) {
    return v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
}

// Multiplies by 10 `times` times; false when the product no longer fits 64
// bits, which makes it larger than any magnitude of a 64-bit value.
bool scale_up(unsigned long long* v, unsigned times) {
    for (unsigned i = 0; i < times; ++i)
        if (__builtin_mul_overflow(*v, 10ULL, v)) return false;
    return true;
}

// Compares exactly as if both were brought to the larger scale. Signs decide
// first; magnitudes are then compared in 64 bits, where a product that
// overflows is known to be the larger (32-bit targets have no 128-bit type).
int compare(long long am, unsigned as, long long bm, unsigned bs) {
    int sa = (am > 0) - (am < 0);
    int sb = (bm > 0) - (bm < 0);
    if (sa != sb) return sa < sb ? -1 : 1;
    if (sa == 0) return 0;
    unsigned long long a = magnitude(am), b = magnitude(bm);
    int by_magnitude;
    if (as < bs && !scale_up(&a, bs - as)) {
        by_magnitude = 1;
    } else if (bs < as && !scale_up(&b, as - bs)) {
        by_magnitude = -1;
    } else {
        by_magnitude = a < b ? -1 : (a > b ? 1 : 0);
    }
    return sa > 0 ? by_magnitude : -by_magnitude;
}
} // namespace

bool cls_fixed_point::operator<(const cls_fixed_point& o) const { return compare(m_mantissa, m_scale, o.m_mantissa, o.m_scale) < 0; }
bool cls_fixed_point::operator>(const cls_fixed_point& o) const { return compare(m_mantissa, m_scale, o.m_mantissa, o.m_scale) > 0; }
bool cls_fixed_point::operator<=(const cls_fixed_point& o) const { return compare(m_mantissa, m_scale, o.m_mantissa, o.m_scale) <= 0; }
bool cls_fixed_point::operator>=(const cls_fixed_point& o) const { return compare(m_mantissa, m_scale, o.m_mantissa, o.m_scale) >= 0; }
bool cls_fixed_point::operator==(const cls_fixed_point& o) const { return compare(m_mantissa, m_scale, o.m_mantissa, o.m_scale) == 0; }
bool cls_fixed_point::operator<(long long value) const { return compare(m_mantissa, m_scale, value, 0) < 0; }

bool operator<=(long long value, const cls_fixed_point& fp) {
    return !(fp < value);
}

bool cls_fixed_point::try_rescale_to(unsigned scale) {
    if (scale > m_scale) {
        long long m;
        if (!try_mul10(m_mantissa, scale - m_scale, &m)) return false;
    }
    rescale_to(scale);
    return true;
}

bool cls_fixed_point::parse_checked(const cls_string& text, cls_fixed_point* out) {
    long long m = 0;
    unsigned sc = 0;
    if (!try_parse(text.c_str(), text.length(), &m, &sc)) return false;
    *out = cls_fixed_point(m, sc);
    return true;
}

bool cls_fixed_point::add_checked(const cls_fixed_point& other, cls_fixed_point* sum) const {
    cls_fixed_point a = *this;
    cls_fixed_point b = other;
    unsigned scale = a.m_scale > b.m_scale ? a.m_scale : b.m_scale;
    long long m;
    if (!a.try_rescale_to(scale) || !b.try_rescale_to(scale) || __builtin_add_overflow(a.m_mantissa, b.m_mantissa, &m))
        return false;
    a.m_mantissa = m;
    *sum = a;
    return true;
}

bool cls_fixed_point::set_fractional_width_checked(int n) {
    if (n > static_cast<int>(MAX_SCALE)) return false;
    if (n >= 0) {
        cls_fixed_point copy = *this;
        if (!copy.try_rescale_to(static_cast<unsigned>(n))) return false;
    }
    set_fractional_width(n);
    return true;
}

void cls_fixed_point::set_fractional_width(int n) {
    if (n > static_cast<int>(MAX_SCALE))
        OZGI_FATAL("Fixed point width %d is too large, at most %u decimals are kept.", n, MAX_SCALE);
    m_width = n < 0 ? -1 : n;
    if (m_width >= 0) rescale_to(static_cast<unsigned>(m_width));
}

cls_string cls_fixed_point::to_string() const {
    // Arithmetic after set_fractional_width may have produced more decimals; the
    // text still shows exactly the width asked for.
    if (m_width >= 0 && m_scale != static_cast<unsigned>(m_width)) {
        cls_fixed_point shown = *this;
        shown.rescale_to(static_cast<unsigned>(m_width));
        return shown.to_string();
    }
    unsigned long long mag = m_mantissa < 0 ? 0ULL - static_cast<unsigned long long>(m_mantissa)
                                            : static_cast<unsigned long long>(m_mantissa);
    char digits[32];
    int n = 0;
    do {
        digits[n++] = static_cast<char>('0' + mag % 10);
        mag /= 10;
    } while (mag);
    while (n <= static_cast<int>(m_scale)) digits[n++] = '0';  // a "0" before the point
    cls_string out;
    if (m_mantissa < 0) out += '-';
    for (int i = n - 1; i >= 0; --i) {
        out += digits[i];
        if (i == static_cast<int>(m_scale) && m_scale > 0) out += '.';
    }
    return out;
}

} // namespace ozgi
