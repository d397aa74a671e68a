#pragma once
// The arithmetic of a numeric argument, shared by the numeric argument page and
// "vesk-cli check": the amounts of its step buttons, the number of decimals a
// value keeps, and what one tap makes of a value.
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_fixed_point.h"

class cls_vesk_numeric_arg {
public:
    /// The step buttons' amounts in the order the page shows them: -step and
    /// +step when the argument has a step, then -1 and +1, -10 and +10 ... up to
    /// the range (higher - lower, given), at most 10^9. *width becomes the number
    /// of decimals a value keeps after a tap: the step's own when it is written
    /// with a point, else -1 (as the arithmetic gives).
    static void amounts(const cls_vesk_device::arg_info_t& arg, const ozgi::cls_fixed_point& range,
                        ozgi::cls_array<ozgi::cls_fixed_point>* amounts, int* width);

    /// One tap: `value` + `amount`, clamped to the bounds (the lower bound is
    /// tested first, so with reversed bounds the higher one wins), then given
    /// `width` decimals. With `checked` an overflow returns false; without it the
    /// fixed-point type's own overflow handling applies, as on the page.
    static bool tap(const ozgi::cls_fixed_point& value, const ozgi::cls_fixed_point& amount,
                    const ozgi::cls_fixed_point& lower, const ozgi::cls_fixed_point& higher, int width, bool checked,
                    ozgi::cls_fixed_point* out);
};
