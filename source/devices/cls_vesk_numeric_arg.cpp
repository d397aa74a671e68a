#include "devices/cls_vesk_numeric_arg.h"

using ozgi::cls_array;
using ozgi::cls_fixed_point;

void cls_vesk_numeric_arg::amounts(const cls_vesk_device::arg_info_t& arg, const cls_fixed_point& range,
                                   cls_array<cls_fixed_point>* amounts, int* width) {
    *width = -1;
    if (arg.step.is_not_empty()) {
        cls_fixed_point step(arg.step);
        // The step's own decimals decide how many the value shows from now on.
        if (arg.step.has('.')) {
            *width = arg.step.length() - arg.step.find('.') - 1;
            step.set_fractional_width(*width);
        }
        amounts->append(-step);
        amounts->append(step);
    }
    // FIXME: ranges of 10^9 and more get no buttons beyond 10^9.
    for (long long p = 1; p <= 1000000000LL && !(range < p); p *= 10) {
        amounts->append(cls_fixed_point(-p, 0));
        amounts->append(cls_fixed_point(p, 0));
    }
}

bool cls_vesk_numeric_arg::tap(const cls_fixed_point& value, const cls_fixed_point& amount,
                               const cls_fixed_point& lower, const cls_fixed_point& higher, int width, bool checked,
                               cls_fixed_point* out) {
    cls_fixed_point sum;
    if (!checked) {
        sum = value;
        sum += amount;
    } else if (!value.add_checked(amount, &sum)) {
        return false;
    }
    if (sum < lower) sum = lower;
    if (sum > higher) sum = higher;
    if (!checked) {
        sum.set_fractional_width(width);
    } else if (!sum.set_fractional_width_checked(width)) {
        return false;
    }
    *out = sum;
    return true;
}
