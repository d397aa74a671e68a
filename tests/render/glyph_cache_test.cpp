// The glyph cache keeps a bounded number of glyphs per size.
#include <gtest/gtest.h>

#include "ozgi/cls_font_mgr.h"

using ozgi::cls_font_mgr;

namespace {
// A size no other test draws at, so that the counts below are this test's own.
const int PX = 23;
const uint32_t FIRST_CJK = 0x4E00;
} // namespace

TEST(glyph_cache, many_distinct_characters_keep_the_cache_bounded) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    const cls_font_mgr::glyph_t* first = fonts->glyph(FIRST_CJK, PX);
    ASSERT_NE(first, fonts->replacement_glyph(PX)) << "no font covers Chinese";
    int first_advance = first->advance;
    int first_width = first->width;
    int before = fonts->cached_glyph_count();
    int bound = cls_font_mgr::max_glyphs_per_size();
    for (int i = 0; i < bound * 2; ++i) fonts->glyph(FIRST_CJK + static_cast<uint32_t>(i), PX);
    int held = fonts->cached_glyph_count() - before;
    EXPECT_LE(held, bound);
    EXPECT_GE(held, bound - 1);
    // An evicted glyph comes back the same when it is asked for again.
    const cls_font_mgr::glyph_t* again = fonts->glyph(FIRST_CJK, PX);
    EXPECT_EQ(again->advance, first_advance);
    EXPECT_EQ(again->width, first_width);
    EXPECT_NE(again->mask, nullptr);
}

TEST(glyph_cache, a_glyph_in_use_survives_a_stream_of_new_ones) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    const int px = PX + 1;
    ASSERT_NE(fonts->glyph(FIRST_CJK, px), fonts->replacement_glyph(px)) << "no font covers Chinese";
    int bound = cls_font_mgr::max_glyphs_per_size();
    // The glyph asked for between every new one stays the most recently used, so
    // it is never the one evicted and keeps its place.
    const cls_font_mgr::glyph_t* kept = fonts->glyph(FIRST_CJK, px);
    for (int i = 1; i < bound * 2; ++i) {
        fonts->glyph(FIRST_CJK + static_cast<uint32_t>(i), px);
        ASSERT_EQ(fonts->glyph(FIRST_CJK, px), kept) << "after " << i << " new glyphs";
    }
}

TEST(glyph_cache, ascii_glyphs_are_never_evicted) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    const int px = PX + 2;
    const cls_font_mgr::glyph_t* a = fonts->glyph('A', px);
    for (int i = 0; i < cls_font_mgr::max_glyphs_per_size() + 10; ++i)
        fonts->glyph(FIRST_CJK + static_cast<uint32_t>(i), px);
    EXPECT_EQ(fonts->glyph('A', px), a);
}
