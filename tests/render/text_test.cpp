#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ozgi/cls_canvas.h"
#include "ozgi/cls_font_mgr.h"
#include "ozgi/cls_text_layout.h"

using namespace ozgi;

namespace {

// Counts the pixels inside `r` that differ from `background`.
int inked(const cls_canvas& canvas, const cls_rect& r, uint32_t background) {
    int n = 0;
    for (int y = r.y; y < r.bottom(); ++y)
        for (int x = r.x; x < r.right(); ++x)
            if (canvas.pixel(x, y) != background) ++n;
    return n;
}

// The rectangle holding every pixel that differs from `background`.
cls_rect ink_box(const cls_canvas& canvas, uint32_t background) {
    cls_rect box;
    for (int y = 0; y < canvas.height(); ++y)
        for (int x = 0; x < canvas.width(); ++x)
            if (canvas.pixel(x, y) != background) box = box.unite(cls_rect{x, y, 1, 1});
    return box;
}

cls_canvas white_canvas(int w, int h) {
    cls_canvas canvas(w, h);
    canvas.fill_rect(cls_rect{0, 0, w, h}, cls_color{255, 255, 255, 255});
    return canvas;
}

} // namespace

TEST(font, finds_a_latin_and_a_chinese_font) {
    const cls_array<cls_string>& paths = cls_font_mgr::ins()->font_paths();
    ASSERT_GE(paths.count(), 2);
    EXPECT_NE(cls_font_mgr::ins()->glyph('A', 20)->mask, nullptr);
    const cls_font_mgr::glyph_t* zhong = cls_font_mgr::ins()->glyph(0x4E2D, 20);
    EXPECT_NE(zhong->mask, nullptr);
    EXPECT_NE(zhong, cls_font_mgr::ins()->replacement_glyph(20));
}

TEST(font, measures_text_in_pixels) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    int a = fonts->glyph('A', 18)->advance;
    EXPECT_GT(a, 5);
    EXPECT_LT(a, 18);
    EXPECT_EQ(fonts->text_width("AAA", 18), 3 * a);
    EXPECT_EQ(fonts->text_width("", 18), 0);
    EXPECT_GT(fonts->text_width("Back", 24), fonts->text_width("Back", 12));
    // A CJK character is about as wide as the font size.
    int zhong = fonts->glyph(0x4E2D, 20)->advance;
    EXPECT_GE(zhong, 18);
    EXPECT_LE(zhong, 22);
    EXPECT_EQ(fonts->text_width("中文", 20), zhong + fonts->glyph(0x6587, 20)->advance);
    EXPECT_EQ(fonts->text_width("A中", 20), fonts->glyph('A', 20)->advance + zhong);
    EXPECT_GE(fonts->line_height(20), 20);
    EXPECT_LT(fonts->ascent(20), fonts->line_height(20));
}

TEST(font, marks_invalid_utf8_and_control_characters) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    int mark = fonts->replacement_glyph(16)->advance;
    EXPECT_GT(mark, 0);
    EXPECT_EQ(fonts->text_width("\x01", 16), mark);
    EXPECT_EQ(fonts->text_width("\x7f", 16), mark);
    EXPECT_EQ(fonts->text_width("\xff", 16), mark);
    EXPECT_EQ(fonts->text_width("\xc0\xaf", 16), 2 * mark);
    // A sequence cut short is one mark, and the character after it is kept.
    EXPECT_EQ(fonts->text_width("\xe4\xb8" "A", 16), mark + fonts->glyph('A', 16)->advance);
    EXPECT_EQ(fonts->text_width("\xed\xa0\x80", 16), 3 * mark);
    EXPECT_EQ(fonts->text_width("\t", 16), 4 * fonts->glyph(' ', 16)->advance);
}

TEST(font, decodes_utf8) {
    int pos = 0;
    const char* text = "a\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80";
    int len = static_cast<int>(std::strlen(text));
    EXPECT_EQ(cls_font_mgr::decode_utf8(text, len, &pos), 'a');
    EXPECT_EQ(cls_font_mgr::decode_utf8(text, len, &pos), 0xE9);
    EXPECT_EQ(cls_font_mgr::decode_utf8(text, len, &pos), 0x4E2D);
    EXPECT_EQ(cls_font_mgr::decode_utf8(text, len, &pos), 0x1F600);
    EXPECT_EQ(pos, len);
    pos = 0;
    EXPECT_EQ(cls_font_mgr::decode_utf8("\xe4\xb8", 2, &pos), -1);
    EXPECT_EQ(pos, 2);
}

TEST(text_draw, english_label_inks_its_box_only) {
    cls_canvas canvas = white_canvas(200, 100);
    cls_text_layout text;
    text.set_pixel_size(18);
    text.set_text("Back");
    cls_rect box{20, 30, 150, 40};
    text.draw(&canvas, box, cls_text_layout::ALIGN_LEFT, cls_text_layout::ALIGN_MIDDLE, cls_color{0, 0, 0, 255}, 0);
    EXPECT_GT(inked(canvas, box, 0xFFFFFFFFu), 40);
    cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
    EXPECT_GE(ink.x, 20);
    EXPECT_LE(ink.x, 23);
    EXPECT_LE(ink.right(), 20 + text.content_width() + 1);
    EXPECT_GE(ink.y, 30);
    EXPECT_LE(ink.bottom(), 70);
    // Vertically centred: the ink sits around the middle of the box.
    EXPECT_LT(ink.y, 50);
    EXPECT_GT(ink.bottom(), 50);
    // Anti-aliased: some pixels are neither white nor black.
    bool grey = false;
    for (int y = ink.y; y < ink.bottom(); ++y)
        for (int x = ink.x; x < ink.right(); ++x) {
            uint32_t p = canvas.pixel(x, y);
            if (p != 0xFFFFFFFFu && p != 0xFF000000u) grey = true;
        }
    EXPECT_TRUE(grey);
}

TEST(text_draw, chinese_label_inks_its_box) {
    cls_canvas canvas = white_canvas(200, 100);
    cls_text_layout text;
    text.set_pixel_size(24);
    text.set_text("返回");
    EXPECT_GE(text.content_width(), 44);
    cls_rect box{10, 10, 180, 60};
    text.draw(&canvas, box, cls_text_layout::ALIGN_RIGHT, cls_text_layout::ALIGN_TOP, cls_color{200, 0, 0, 255}, 0);
    cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
    ASSERT_FALSE(ink.is_empty());
    EXPECT_GT(inked(canvas, box, 0xFFFFFFFFu), 80);
    EXPECT_GE(ink.x, 190 - text.content_width() - 1);
    EXPECT_LE(ink.right(), 190);
    EXPECT_GE(ink.y, 10);
    EXPECT_LE(ink.bottom(), 10 + text.line_height());
    // Pure glyph colour appears in the strokes.
    bool red = false;
    for (int y = ink.y; y < ink.bottom(); ++y)
        for (int x = ink.x; x < ink.right(); ++x)
            if (canvas.pixel(x, y) == 0xFFC80000u) red = true;
    EXPECT_TRUE(red);
}

TEST(text_draw, is_clipped_to_its_box_and_the_canvas_clip) {
    cls_canvas canvas = white_canvas(200, 60);
    cls_text_layout text;
    text.set_pixel_size(20);
    text.set_text("WWWWWWWWWWWWWWWWWWWW");
    canvas.set_clip(cls_rect{0, 0, 120, 60});
    text.draw(&canvas, cls_rect{10, 10, 80, 30}, 0, 1, cls_color{0, 0, 0, 255}, 0);
    cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
    EXPECT_GE(ink.x, 10);
    EXPECT_LE(ink.right(), 90);
    EXPECT_EQ(canvas.clip(), (cls_rect{0, 0, 120, 60}));
}

TEST(text_layout, single_line_marks_newlines) {
    cls_text_layout text;
    text.set_pixel_size(16);
    text.set_text("a\nb");
    EXPECT_EQ(text.line_count(), 1);
    cls_font_mgr* fonts = cls_font_mgr::ins();
    EXPECT_EQ(text.content_width(), fonts->text_width("a", 16) + fonts->replacement_glyph(16)->advance +
                                        fonts->text_width("b", 16));
}

TEST(text_layout, multi_line_honours_newlines) {
    cls_text_layout text;
    text.set_pixel_size(16);
    text.set_multi_line(true);
    text.set_text("first\r\nsecond line\n\nlast");
    EXPECT_EQ(text.line_count(), 4);
    EXPECT_EQ(text.line_start(1), 7);
    EXPECT_EQ(text.line_start(2), 19);
    EXPECT_EQ(text.line_start(3), 20);
    EXPECT_EQ(text.content_width(), cls_font_mgr::ins()->text_width("second line", 16));
    EXPECT_EQ(text.content_height(), 4 * text.line_height());
    text.set_text("");
    EXPECT_EQ(text.line_count(), 1);
    EXPECT_EQ(text.content_width(), 0);
    text.set_text("ends with newline\n");
    EXPECT_EQ(text.line_count(), 2);
}

TEST(text_layout, wraps_at_spaces) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    int word = fonts->text_width("word", 16);
    int space = fonts->text_width(" ", 16);
    cls_text_layout text;
    text.set_pixel_size(16);
    text.set_wrap(true);
    text.set_width(2 * word + space + 2);
    text.set_text("word word word word word");
    EXPECT_EQ(text.line_count(), 3);
    EXPECT_EQ(text.line_start(1), 10);
    EXPECT_EQ(text.line_start(2), 20);
    EXPECT_EQ(text.content_width(), 2 * word + space);
    // Wider: everything fits on one line.
    text.set_width(10000);
    EXPECT_EQ(text.line_count(), 1);
    // A word longer than the line is cut where it must be.
    text.set_width(word);
    text.set_text("wordword");
    EXPECT_EQ(text.line_count(), 2);
    EXPECT_EQ(text.line_start(1), 4);
}

TEST(text_layout, wraps_anywhere_inside_cjk) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    int zhong = fonts->glyph(0x4E2D, 20)->advance;
    cls_text_layout text;
    text.set_pixel_size(20);
    text.set_wrap(true);
    text.set_width(3 * zhong + zhong / 2);
    text.set_text("中中中中中中中");
    EXPECT_EQ(text.line_count(), 3);
    EXPECT_EQ(text.line_start(1), 9);
    EXPECT_EQ(text.line_start(2), 18);
    EXPECT_EQ(text.content_width(), 3 * zhong);
    // A Latin word before CJK stays whole; the break falls between the ideographs.
    text.set_text("abc中中中");
    EXPECT_EQ(text.line_count(), 2);
    EXPECT_GT(text.line_start(1), 3);
}

TEST(text_layout, wrap_with_multi_line) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    cls_text_layout text;
    text.set_pixel_size(16);
    text.set_multi_line(true);
    text.set_wrap(true);
    text.set_width(fonts->text_width("aaaa", 16));
    text.set_text("aa bb cc\nx");
    ASSERT_EQ(text.line_count(), 4);
    EXPECT_EQ(text.line_start(1), 3);
    EXPECT_EQ(text.line_start(2), 6);
    EXPECT_EQ(text.line_start(3), 9);
}

TEST(text_layout, appending_builds_the_same_index_as_setting) {
    // Pieces cut at awkward places: inside UTF-8 sequences, between \r and \n.
    std::string whole;
    for (int i = 0; i < 300; ++i) {
        whole += "line ";
        whole += std::to_string(i);
        whole += i % 7 == 0 ? " 中文输出 with some longer words to wrap\r\n" : "\n";
    }
    for (int wrap = 0; wrap < 2; ++wrap) {
        cls_text_layout appended;
        cls_text_layout set;
        for (cls_text_layout* t : {&appended, &set}) {
            t->set_pixel_size(14);
            t->set_multi_line(true);
            t->set_wrap(wrap == 1);
            t->set_width(150);
        }
        for (size_t at = 0; at < whole.size(); at += 13)
            appended.append_text(cls_string(whole.c_str() + at, static_cast<int>(std::min<size_t>(13, whole.size() - at))));
        set.set_text(cls_string(whole.c_str(), static_cast<int>(whole.size())));
        ASSERT_EQ(appended.line_count(), set.line_count()) << "wrap " << wrap;
        for (int i = 0; i < set.line_count(); ++i) ASSERT_EQ(appended.line_start(i), set.line_start(i)) << i;
        EXPECT_EQ(appended.content_width(), set.content_width());
        EXPECT_EQ(appended.line_count() > 301, wrap == 1);
    }
}

TEST(text_layout, a_borrowed_text_is_read_where_it_is_and_follows_its_owner) {
    cls_string owned("one\ntwo\n");
    cls_text_layout layout;
    layout.set_multi_line(true);
    layout.borrow_text(&owned);
    EXPECT_EQ(&layout.text(), &owned);
    EXPECT_EQ(layout.line_count(), 3);
    owned += "three\nfour";
    layout.text_appended();
    EXPECT_EQ(layout.line_count(), 4);
    EXPECT_EQ(layout.line_start(3), 14);
}

TEST(text_layout, replacing_the_head_builds_the_same_index_as_setting) {
    // The old head ends at a line start (keeping the rest's index) or inside a
    // line (laid out again); the new one is one or more lines.
    std::string body;
    for (int i = 0; i < 200; ++i) {
        body += "line " + std::to_string(i);
        body += i % 5 == 0 ? " 中文输出 with some longer words to wrap around\n" : "\n";
    }
    for (int wrap = 0; wrap < 2; ++wrap) {
        for (const char* new_head : {"[... 1234 bytes of earlier output dropped ...]\n", "a\nbb\n", "no newline "}) {
            for (size_t cut : {body.find("line 17\n"), body.find("line 120"), body.find("ine 50")}) {
                cls_string owned(body.c_str(), static_cast<int>(body.size()));
                cls_text_layout replaced;
                cls_text_layout set;
                for (cls_text_layout* t : {&replaced, &set}) {
                    t->set_pixel_size(14);
                    t->set_multi_line(true);
                    t->set_wrap(wrap == 1);
                    t->set_width(150);
                }
                replaced.borrow_text(&owned);
                owned.replace(0, static_cast<int>(cut), new_head, static_cast<int>(std::strlen(new_head)));
                replaced.head_replaced(static_cast<int>(cut), static_cast<int>(std::strlen(new_head)));
                set.set_text(owned);
                ASSERT_EQ(replaced.line_count(), set.line_count()) << wrap << " " << new_head << " " << cut;
                for (int i = 0; i < set.line_count(); ++i) ASSERT_EQ(replaced.line_start(i), set.line_start(i)) << i;
                EXPECT_EQ(replaced.content_width(), set.content_width());
                EXPECT_EQ(replaced.content_height(), set.content_height());
                // Appending after the replacement goes on from the right place.
                owned += "tail line one\ntail";
                replaced.text_appended();
                set.set_text(owned);
                ASSERT_EQ(replaced.line_count(), set.line_count());
                for (int i = 0; i < set.line_count(); ++i) ASSERT_EQ(replaced.line_start(i), set.line_start(i)) << i;
                EXPECT_EQ(replaced.content_width(), set.content_width());
            }
        }
    }
}

TEST(text_layout, every_line_is_found_among_many_short_and_long_lines) {
    // Runs of empty and 1-byte lines (many lines to a block) between lines of up
    // to 20000 bytes (one line to a block); the starts are where the newlines say.
    std::string whole;
    std::vector<int> expected{0};
    for (int i = 0; i < 3000; ++i) {
        int length = i % 97 == 0 ? 20000 : i % 13 == 0 ? 700 : i % 3;
        whole.append(static_cast<size_t>(length), 'x');
        whole += '\n';
        expected.push_back(static_cast<int>(whole.size()));
    }
    cls_string owned(whole.c_str(), static_cast<int>(whole.size()));
    cls_text_layout layout;
    layout.set_multi_line(true);
    layout.borrow_text(&owned);
    ASSERT_EQ(layout.line_count(), static_cast<int>(expected.size()));
    for (int i = 0; i < layout.line_count(); ++i) ASSERT_EQ(layout.line_start(i), expected[i]) << i;
    // Cutting the head inside a block keeps every later start right.
    for (int cut_line : {1, 777, 300, 1925}) {
        const char* head = "[cut]\n";
        int cut = layout.line_start(cut_line) - layout.line_start(0);
        int shift = static_cast<int>(std::strlen(head)) - cut;
        int before_count = layout.line_count();
        std::vector<int> starts;
        for (int i = cut_line; i < before_count; ++i) starts.push_back(layout.line_start(i) + shift);
        owned.replace(0, cut, head, static_cast<int>(std::strlen(head)));
        layout.head_replaced(cut, static_cast<int>(std::strlen(head)));
        ASSERT_EQ(layout.line_count(), before_count - cut_line + 1) << cut_line;
        ASSERT_EQ(layout.line_start(0), 0);
        for (size_t i = 0; i < starts.size(); ++i) ASSERT_EQ(layout.line_start(static_cast<int>(i) + 1), starts[i]) << i;
        cls_text_layout set;
        set.set_multi_line(true);
        set.set_text(owned);
        EXPECT_EQ(layout.content_width(), set.content_width()) << cut_line;
    }
}

TEST(text_layout, millions_of_lines_do_not_wrap_the_height) {
    // Five million empty lines of a 500-pixel font pass the int range of pixels.
    cls_string many('\n', 5000000);
    cls_text_layout layout;
    layout.set_multi_line(true);
    layout.set_pixel_size(500);
    layout.set_text(many);
    EXPECT_EQ(layout.line_count(), 5000001);
    EXPECT_GT(layout.content_height(), 0);
    EXPECT_EQ(layout.content_height(), 2147483647);
    cls_canvas canvas = white_canvas(40, 40);
    layout.set_text("x\n" + many + "y");
    layout.draw(&canvas, cls_rect{0, 0, 40, 40}, 0, cls_text_layout::ALIGN_BOTTOM, cls_color{0, 0, 0, 255}, 0);
    layout.draw(&canvas, cls_rect{0, 0, 40, 40}, 0, cls_text_layout::ALIGN_TOP, cls_color{0, 0, 0, 255}, 2000000000);
}

TEST(text_layout, bottom_aligned_output_shows_the_newest_lines_until_scrolled) {
    cls_text_layout text;
    text.set_pixel_size(16);
    text.set_multi_line(true);
    std::string body(999, '\n');
    text.set_text(cls_string(("HEAD" + body + "TAIL").c_str()));
    ASSERT_EQ(text.line_count(), 1000);
    cls_rect box{0, 0, 200, 5 * text.line_height()};
    EXPECT_EQ(text.max_scroll_y(box.h), 995 * text.line_height());
    cls_color black{0, 0, 0, 255};
    {
        cls_canvas canvas = white_canvas(200, box.h);
        text.draw(&canvas, box, 0, cls_text_layout::ALIGN_BOTTOM, black, 0);
        cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
        ASSERT_FALSE(ink.is_empty());
        EXPECT_GE(ink.y, 4 * text.line_height());
    }
    {
        // Scrolled all the way (and beyond: clamped) towards the start: HEAD on top.
        cls_canvas canvas = white_canvas(200, box.h);
        text.draw(&canvas, box, 0, cls_text_layout::ALIGN_BOTTOM, black, 1 << 30);
        cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
        ASSERT_FALSE(ink.is_empty());
        EXPECT_LT(ink.bottom(), text.line_height());
    }
    {
        // Top-aligned rests on the first line; scrolling moves towards the end.
        cls_canvas canvas = white_canvas(200, box.h);
        text.draw(&canvas, box, 0, cls_text_layout::ALIGN_TOP, black, text.max_scroll_y(box.h));
        cls_rect ink = ink_box(canvas, 0xFFFFFFFFu);
        ASSERT_FALSE(ink.is_empty());
        EXPECT_GE(ink.y, 4 * text.line_height());
    }
}

TEST(text_layout, survives_hostile_bytes) {
    std::string junk;
    for (int i = 0; i < 4096; ++i) junk += static_cast<char>((i * 131 + 7) & 0xFF);
    cls_text_layout text;
    text.set_multi_line(true);
    text.set_wrap(true);
    text.set_width(100);
    text.set_text(cls_string(junk.data(), static_cast<int>(junk.size())));
    cls_canvas canvas = white_canvas(120, 120);
    text.draw(&canvas, cls_rect{0, 0, 120, 120}, 0, 2, cls_color{0, 0, 0, 255}, 0);
    EXPECT_GT(text.line_count(), 10);
    EXPECT_GT(inked(canvas, cls_rect{0, 0, 120, 120}, 0xFFFFFFFFu), 0);
}

TEST(font_death, no_usable_font_is_fatal_and_says_how_to_give_one) {
    EXPECT_EXIT(
        {
            cls_font_mgr::ins()->set_font_paths("/nonexistent/a.ttf:/nonexistent/b.ttf");
            cls_font_mgr::ins()->text_width("x", 12);
        },
        testing::ExitedWithCode(1),
        "No usable font: looked for the files given by --ozgi-font= \\(/nonexistent/a.ttf:/nonexistent/b.ttf\\)\\. "
        "Install fonts-dejavu-core and fonts-wqy-microhei, or give font files with --ozgi-font=PATH\\[:PATH\\.\\.\\.\\]\\.");
}

TEST(font, font_paths_can_be_given) {
    cls_font_mgr* fonts = cls_font_mgr::ins();
    cls_array<cls_string> found = fonts->font_paths();
    ASSERT_GE(found.count(), 2);
    // Only the Chinese font: Latin letters still come out, from it.
    fonts->set_font_paths(found[1] + ":/nonexistent/x.ttf");
    EXPECT_EQ(fonts->font_paths().count(), 1);
    EXPECT_STREQ(fonts->font_paths()[0].c_str(), found[1].c_str());
    EXPECT_NE(fonts->glyph(0x4E2D, 16)->mask, nullptr);
    fonts->set_font_paths(found[0] + ":" + found[1]);
    EXPECT_EQ(fonts->font_paths().count(), 2);
}
