// The BMP decoder: the input is a whole file image. Bad input must give null
// and a reason; a picture must have the size it claims, every pixel readable.
#include <cstdint>

#include "fuzz_support.h"
#include "ozgi/cls_picture.h"

using namespace ozgi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vesk_fuzz::run_allowing_fatal([&] {
        cls_string error;
        cls_sp<cls_picture> picture = cls_picture::decode_bmp(data, static_cast<long long>(size), &error);
        if (picture.is_null()) {
            vesk_fuzz::check(error.is_not_empty(), "a rejected picture says why");
            return;
        }
        vesk_fuzz::check(picture->width() > 0 && picture->height() > 0, "a decoded picture is not empty");
        uint32_t sum = 0;
        const uint32_t* pixels = picture->pixels();
        long long count = static_cast<long long>(picture->width()) * picture->height();
        for (long long i = 0; i < count; ++i) sum += pixels[i];
        if (!picture->has_alpha()) {
            // Pictures without alpha are opaque everywhere.
            for (long long i = 0; i < count; ++i) vesk_fuzz::check((pixels[i] >> 24) == 0xff, "opaque picture");
        }
        (void)sum;
    });
    return 0;
}
