// The headless walk of scripts/demo over the bundled example menu runs to its
// end and leaves a readable screenshot of every page it visits.
#include <gtest/gtest.h>

#include <string>

#include "app_test_util.h"

using namespace app_test;

TEST(AppDemoWalk, WalksTheExampleMenuAndWritesEveryScreenshot) {
    temp_dir work;
    work.make_dir("out/demo");
    run_opts_t o;
    o.cwd = work.path();
    o.args = {"--dir=" + std::string(VESK_SOURCE_DIR) + "/examples/menu", "--ozgi-video=headless",
              "--ozgi-script=" + std::string(VESK_SOURCE_DIR) + "/tools/demo_walk.ozs"};
    run_result r = run_plain(o);
    ASSERT_EQ(r.status, 0) << r.err;
    int shots = 0;
    for (const auto& entry : std::filesystem::directory_iterator(work.at("out/demo"))) {
        picture_t pic = read_png(entry.path().string());
        EXPECT_EQ(pic.width, 640) << entry.path();
        EXPECT_EQ(pic.height, 800) << entry.path();
        ++shots;
    }
    EXPECT_GE(shots, 9);
    // The Chinese root menu differs from the English one, and the walk ends in English again.
    picture_t en = read_png(work.at("out/demo/01_root_menu.png"));
    picture_t zh = read_png(work.at("out/demo/06_root_menu_chinese.png"));
    picture_t again = read_png(work.at("out/demo/09_root_menu_english_again.png"));
    ASSERT_TRUE(en.valid() && zh.valid() && again.valid());
    EXPECT_NE(en.rgb, zh.rgb);
    EXPECT_EQ(en.rgb, again.rgb);
}
