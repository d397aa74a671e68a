// Fixed-point text: the input's first line and second line are two numbers
// (the rest picks a fractional width). Parsing, arithmetic and printing may end
// in a clean fatal (overflow); what is printed must parse back to the same value.
#include <climits>
#include <cstdint>
#include <cstring>

#include "fuzz_support.h"
#include "ozgi/cls_fixed_point.h"

using namespace ozgi;

namespace {

// The text of a value without a fixed width parses back to the value and prints
// the same text again.
void check_round_trip(const cls_fixed_point& value) {
    cls_string text = value.to_string();
    bool parsed = vesk_fuzz::run_allowing_fatal([&] {
        cls_fixed_point again(text);
        vesk_fuzz::check(again == value, "printed text parses back to the same value");
        vesk_fuzz::check(again.scale() == value.scale(), "printed text keeps the scale");
        vesk_fuzz::check(again.to_string() == text, "printing is stable");
    });
    vesk_fuzz::check(parsed, "printed text is accepted by the parser");
}

cls_string line_of(const char** at, const char* end) {
    const char* start = *at;
    const char* newline = static_cast<const char*>(std::memchr(start, '\n', static_cast<size_t>(end - start)));
    const char* stop = newline ? newline : end;
    *at = newline ? newline + 1 : end;
    return cls_string(start, static_cast<int>(stop - start));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* at = reinterpret_cast<const char*>(data);
    const char* end = at + size;
    cls_string a_text = line_of(&at, end);
    cls_string b_text = line_of(&at, end);
    int width = at < end ? static_cast<unsigned char>(*at) % 21 - 1 : -1;  // -1 to 19

    vesk_fuzz::run_allowing_fatal([&] {
        cls_fixed_point a(a_text);
        check_round_trip(a);
        cls_fixed_point b(b_text);
        check_round_trip(b);
        // Comparisons agree with each other.
        vesk_fuzz::check((a < b) + (a == b) + (a > b) == 1, "exactly one of <, ==, > holds");
        vesk_fuzz::check((a <= b) == !(a > b) && (a >= b) == !(a < b), "<= and >= agree with < and >");
        vesk_fuzz::check((a < 0LL) == (a < cls_fixed_point(0LL, 0)), "comparison with an integer");
        vesk_fuzz::run_allowing_fatal([&] {
            cls_fixed_point sum = a + b;
            check_round_trip(sum);
            cls_fixed_point back = sum - b;
            vesk_fuzz::check(back == a, "(a + b) - b is a");
        });
        vesk_fuzz::run_allowing_fatal([&] {
            cls_fixed_point negated = -a;
            check_round_trip(negated);
            vesk_fuzz::check(-negated == a, "negating twice gives the value");
        });
        vesk_fuzz::run_allowing_fatal([&] {
            cls_fixed_point shown = a;
            shown.set_fractional_width(width);
            cls_string text = shown.to_string();
            if (width >= 0) {
                // Exactly `width` decimals are shown.
                int point = text.find('.');
                int decimals = point == cls_string::NOT_FOUND ? 0 : text.length() - point - 1;
                vesk_fuzz::check(decimals == width, "a fixed width shows that many decimals");
            }
            cls_fixed_point parsed(text);
            (void)parsed;
            cls_fixed_point sum = shown;
            sum += b;
            sum.to_string();
        });
    });
    return 0;
}
