#include <gtest/gtest.h>

#include "ozgi/cls_picture.h"
#include "render_test_util.h"

using namespace ozgi;
using render_test::make_bmp;

namespace {

uint32_t pattern(int x, int y) { return 0x80000000u | static_cast<uint32_t>(x * 7) << 16 | static_cast<uint32_t>(y * 5) << 8 | 0x33; }

cls_sp<cls_picture> decode(const std::vector<unsigned char>& file, cls_string* error) {
    return cls_picture::decode_bmp(file.data(), static_cast<long long>(file.size()), error);
}

} // namespace

TEST(bmp, decodes_32_bit_with_alpha_bottom_up) {
    auto file = make_bmp(5, 3, 32, pattern);
    cls_string error;
    auto pic = decode(file, &error);
    ASSERT_TRUE(pic.is_not_null()) << error.c_str();
    EXPECT_EQ(pic->width(), 5);
    EXPECT_EQ(pic->height(), 3);
    EXPECT_TRUE(pic->has_alpha());
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(pic->pixel(x, y), pattern(x, y)) << x << "," << y;
}

TEST(bmp, decodes_24_bit_opaque_with_row_padding) {
    // 5 pixels of 3 bytes need one byte of padding per row.
    auto file = make_bmp(5, 4, 24, pattern);
    ASSERT_EQ(file.size(), 54u + 16u * 4u);
    cls_string error;
    auto pic = decode(file, &error);
    ASSERT_TRUE(pic.is_not_null()) << error.c_str();
    EXPECT_FALSE(pic->has_alpha());
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(pic->pixel(x, y), pattern(x, y) | 0xFF000000u);
}

TEST(bmp, decodes_top_down_rows) {
    auto file = make_bmp(2, 3, 32, pattern, true);
    auto pic = decode(file, nullptr);
    ASSERT_TRUE(pic.is_not_null());
    EXPECT_EQ(pic->pixel(0, 0), pattern(0, 0));
    EXPECT_EQ(pic->pixel(1, 2), pattern(1, 2));
}

TEST(bmp, a_32_bit_picture_without_any_alpha_is_opaque) {
    auto file = make_bmp(2, 2, 32, [](int, int) -> uint32_t { return 0x00123456u; });
    auto pic = decode(file, nullptr);
    ASSERT_TRUE(pic.is_not_null());
    EXPECT_FALSE(pic->has_alpha());
    EXPECT_EQ(pic->pixel(1, 1), 0xFF123456u);
}

TEST(bmp, decodes_the_embedded_icons) {
    const char* names[] = {"marlo.bmp", "focus_frame.bmp", "pass.bmp", "option.bmp"};
    for (const char* name : names) {
        std::string path = std::string(VESK_SOURCE_DIR) + "/resource/icon/" + name;
        FILE* f = std::fopen(path.c_str(), "rb");
        if (!f) continue;  // The icons are someone else's; their absence is not this test's failure.
        std::vector<unsigned char> bytes;
        int c;
        while ((c = std::fgetc(f)) != EOF) bytes.push_back(static_cast<unsigned char>(c));
        std::fclose(f);
        cls_string error;
        auto pic = decode(bytes, &error);
        ASSERT_TRUE(pic.is_not_null()) << name << ": " << error.c_str();
        EXPECT_GT(pic->width(), 0);
    }
}

TEST(bmp, rejects_wrong_magic) {
    auto file = make_bmp(2, 2, 32, pattern);
    file[0] = 'P';
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Not a BMP file: it does not begin with \"BM\".");
}

TEST(bmp, rejects_truncated_pixels) {
    auto file = make_bmp(4, 4, 32, pattern);
    file.resize(file.size() - 1);
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Truncated BMP file: the pixels need 118 bytes, the file has 117.");
}

TEST(bmp, rejects_truncated_headers) {
    auto file = make_bmp(4, 4, 32, pattern);
    cls_string error;
    EXPECT_TRUE(cls_picture::decode_bmp(file.data(), 10, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Truncated BMP file: 10 bytes, the headers need 54.");
    EXPECT_TRUE(cls_picture::decode_bmp(file.data(), 40, &error).is_null());
    EXPECT_STREQ(error.c_str(), "BMP header of 40 bytes reaches beyond the end of the file (40 bytes).");
}

TEST(bmp, rejects_an_oversized_header) {
    auto file = make_bmp(2, 2, 32, pattern);
    file[14] = 0xFF;
    file[15] = 0xFF;
    file[16] = 0xFF;
    file[17] = 0x7F;
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "BMP header of 2147483647 bytes reaches beyond the end of the file (70 bytes).");
    auto small = make_bmp(2, 2, 32, pattern);
    small[14] = 12;
    EXPECT_TRUE(decode(small, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported BMP header of 12 bytes (at least 40 expected).");
}

TEST(bmp, rejects_zero_size) {
    auto file = make_bmp(2, 2, 32, pattern);
    for (int i = 18; i < 22; ++i) file[i] = 0;
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "BMP has zero size (0 x 2).");
    EXPECT_TRUE(cls_picture::decode_bmp(file.data(), 0, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Empty BMP file.");
}

TEST(bmp, rejects_huge_dimensions_without_allocating) {
    auto file = make_bmp(2, 2, 32, pattern);
    file[21] = 0x10;  // width 0x10000002
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "BMP is too large (268435458 x 2, at most 16384 on a side).");
}

TEST(bmp, rejects_other_depths_and_compression) {
    auto file = make_bmp(2, 2, 32, pattern);
    file[28] = 8;
    cls_string error;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported BMP bit depth 8 (only 24 and 32 bits per pixel are read).");
    file[28] = 32;
    file[30] = 3;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "Unsupported BMP compression 3 (only uncompressed BI_RGB is read).");
    file[30] = 0;
    file[10] = 20;
    EXPECT_TRUE(decode(file, &error).is_null());
    EXPECT_STREQ(error.c_str(), "BMP pixel data offset 20 lies inside its headers.");
}

TEST(bmp, never_reads_past_the_size_of_any_prefix) {
    // Every prefix of a valid file is either rejected or (only the full file) decoded.
    auto file = make_bmp(3, 3, 24, pattern);
    for (size_t n = 0; n < file.size(); ++n) {
        std::vector<unsigned char> prefix(file.begin(), file.begin() + n);
        cls_string error;
        EXPECT_TRUE(cls_picture::decode_bmp(prefix.data(), static_cast<long long>(n), &error).is_null()) << n;
        EXPECT_TRUE(error.is_not_empty());
    }
    EXPECT_TRUE(decode(file, nullptr).is_not_null());
}
