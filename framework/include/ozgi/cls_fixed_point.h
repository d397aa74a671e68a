#pragma once
// Signed decimal fixed point: a 64-bit mantissa and a decimal scale (digits
// after the point). Numeric test arguments are never floating point.
#include "ozgi/cls_string.h"

namespace ozgi {

class cls_fixed_point {
public:
    /// Zero, with scale 0 and no fixed width.
    cls_fixed_point();
    /// Parses decimal text such as "12.50", "-3" or ".5". Leading blanks and one
    /// sign are accepted; parsing stops at the first character that cannot continue
    /// the number ("1.2.3" is 1.2); text with no digits gives 0. The scale is the
    /// number of digits written after the point.
    cls_fixed_point(const cls_string& text);
    /// The same as the cls_string form.
    cls_fixed_point(const char* text);
    /// mantissa / 10^fractional_width; the scale is fractional_width. A width above 18
    /// is fatal.
    cls_fixed_point(long long mantissa, unsigned fractional_width);

    /// Adds; the result keeps the larger scale. Overflow is fatal.
    cls_fixed_point& operator+=(const cls_fixed_point& other);
    /// The sum, with the larger scale of the two. Overflow is fatal.
    cls_fixed_point operator+(const cls_fixed_point& other) const;
    /// The difference, with the larger scale of the two. Overflow is fatal.
    cls_fixed_point operator-(const cls_fixed_point& other) const;
    /// The negated value, same scale. Overflow is fatal.
    cls_fixed_point operator-() const;
    /// Exact comparison, whatever the scales ("0.50" equals "0.5").
    bool operator<(const cls_fixed_point& other) const;
    /// Exact comparison, whatever the scales.
    bool operator>(const cls_fixed_point& other) const;
    /// Exact comparison, whatever the scales.
    bool operator<=(const cls_fixed_point& other) const;
    /// Exact comparison, whatever the scales.
    bool operator>=(const cls_fixed_point& other) const;
    /// Exact comparison, whatever the scales.
    bool operator==(const cls_fixed_point& other) const;
    /// The negation of operator==.
    bool operator!=(const cls_fixed_point& other) const { return !(*this == other); }
    /// True when the value is below the integer `value`, comparing exactly.
    bool operator<(long long value) const;

    /// n >= 0: the value is rounded to n decimals now (half away from zero when
    /// digits are dropped) and is always shown with exactly n decimals, even when later
    /// arithmetic produces more. -1 (or any negative n): no fixed width; the value is
    /// shown with the decimals its arithmetic produced. A width above 18 is fatal.
    void set_fractional_width(int n);
    /// The width set by set_fractional_width, -1 when none.
    int fractional_width() const { return m_width; }

    /// "-" for negatives, no "+", a "0" before the point ("0.5", "-0.5", "250", "1.00").
    cls_string to_string() const;

    /// The non-fatal forms, for code that must judge numbers before the fatal
    /// operations meet them. Each returns false, leaving its output untouched,
    /// exactly where the ordinary form would end the program.
    /// Parses like the text constructor.
    static bool parse_checked(const cls_string& text, cls_fixed_point* out);
    /// *this + other, like operator+.
    bool add_checked(const cls_fixed_point& other, cls_fixed_point* sum) const;
    /// Like set_fractional_width, on this value.
    bool set_fractional_width_checked(int n);

    /// The value times 10^scale().
    long long mantissa() const { return m_mantissa; }
    /// Number of decimal digits after the point held by the value.
    unsigned scale() const { return m_scale; }

private:
    void rescale_to(unsigned scale);
    /// rescale_to, false (value unchanged) when the value does not fit at that scale.
    bool try_rescale_to(unsigned scale);

    long long m_mantissa;
    unsigned m_scale;
    int m_width;
};

/// value <= fixed point, comparing exactly.
bool operator<=(long long value, const cls_fixed_point& fp);

} // namespace ozgi
