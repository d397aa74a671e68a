#include <gtest/gtest.h>
#include <unistd.h>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_png_writer.h"
#include "render_test_util.h"

using namespace ozgi;

TEST(png, written_pixels_read_back_identical) {
    cls_canvas canvas(37, 23);
    for (int y = 0; y < 23; ++y)
        for (int x = 0; x < 37; ++x) canvas.pixels()[y * 37 + x] = 0xFF000000u | (x * 6) << 16 | (y * 11) << 8 | ((x ^ y) & 0xFF);
    canvas.fill_rect(cls_rect{5, 5, 10, 10}, cls_color{255, 255, 255, 100});
    std::string path = "/tmp/vesk_render_png_" + std::to_string(getpid()) + ".png";
    cls_string error;
    ASSERT_TRUE(cls_png_writer::write(path.c_str(), canvas.pixels(), 37, 23, canvas.stride(), &error)) << error.c_str();
    int w = 0;
    int h = 0;
    std::vector<uint32_t> back;
    ASSERT_TRUE(render_test::read_png(path, &w, &h, &back));
    std::remove(path.c_str());
    ASSERT_EQ(w, 37);
    ASSERT_EQ(h, 23);
    for (int y = 0; y < 23; ++y)
        for (int x = 0; x < 37; ++x) ASSERT_EQ(back[y * 37 + x], canvas.pixel(x, y)) << x << "," << y;
}

TEST(png, honours_the_stride) {
    uint32_t memory[3 * 5];
    for (int i = 0; i < 15; ++i) memory[i] = 0xFF000000u | static_cast<uint32_t>(i);
    std::string path = "/tmp/vesk_render_stride_" + std::to_string(getpid()) + ".png";
    ASSERT_TRUE(cls_png_writer::write(path.c_str(), memory, 2, 3, 5, nullptr));
    int w = 0;
    int h = 0;
    std::vector<uint32_t> back;
    ASSERT_TRUE(render_test::read_png(path, &w, &h, &back));
    std::remove(path.c_str());
    ASSERT_EQ(back.size(), 6u);
    EXPECT_EQ(back[2], 0xFF000005u);
    EXPECT_EQ(back[5], 0xFF00000Bu);
}

TEST(png, reports_an_unwritable_path) {
    uint32_t pixel = 0xFFFFFFFFu;
    cls_string error;
    EXPECT_FALSE(cls_png_writer::write("/nonexistent/dir/shot.png", &pixel, 1, 1, 1, &error));
    EXPECT_STREQ(error.c_str(), "Can't write /nonexistent/dir/shot.png: No such file or directory.");
}
