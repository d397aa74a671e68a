#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

using namespace ozgi;

namespace {

struct point_t : if_to_string {
    int x, y;
    point_t(int a, int b) : x(a), y(b) {}
    cls_sp<cls_string> to_string() const override {
        cls_string* s = OZGI_NEW(cls_string)();
        s->print("(%d,%d)", x, y);
        return cls_sp<cls_string>(s);
    }
};

struct nothing_t : if_to_string {
    cls_sp<cls_string> to_string() const override { return cls_sp<cls_string>(); }
};

cls_sp<cls_string> lines_of(const char* text) {
    cls_array<cls_string> lines;
    cls_string(text).split_to_lines(&lines);
    cls_string* joined = OZGI_NEW(cls_string)();
    for (const cls_string& l : lines) *joined += "<" + l + ">";
    return cls_sp<cls_string>(joined);
}

} // namespace

TEST(core_string, constructors) {
    EXPECT_STREQ(cls_string().c_str(), "");
    EXPECT_TRUE(cls_string().is_empty());
    EXPECT_STREQ(cls_string("abc").c_str(), "abc");
    EXPECT_STREQ(cls_string(static_cast<const char*>(nullptr)).c_str(), "");
    EXPECT_STREQ(cls_string("abcdef", 3).c_str(), "abc");
    EXPECT_STREQ(cls_string("abc", 0).c_str(), "");
    EXPECT_STREQ(cls_string("abc", -1).c_str(), "");
    EXPECT_STREQ(cls_string('x', 4).c_str(), "xxxx");
    EXPECT_STREQ(cls_string('x', 0).c_str(), "");
    EXPECT_STREQ(cls_string('x', -3).c_str(), "");
    cls_string original("copy me");
    cls_string copy(original);
    original += "!";
    EXPECT_STREQ(copy.c_str(), "copy me");
}

TEST(core_string, bytes_with_nul_inside) {
    cls_string s("a\0b", 3);
    EXPECT_EQ(s.length(), 3);
    EXPECT_EQ(s[1], '\0');
    EXPECT_TRUE(s == cls_string("a\0b", 3));
    EXPECT_FALSE(s == cls_string("a\0c", 3));
}

TEST(core_string, assignment) {
    cls_string s("start");
    s = "next";
    EXPECT_STREQ(s.c_str(), "next");
    cls_string t("other");
    s = t;
    EXPECT_STREQ(s.c_str(), "other");
    const cls_string& same = s;  // an alias: assigning to itself
    s = same;
    EXPECT_STREQ(s.c_str(), "other");
    s = s.c_str() + 2;  // text from inside the string itself
    EXPECT_STREQ(s.c_str(), "her");
    s = "";
    EXPECT_TRUE(s.is_empty());
}

TEST(core_string, concatenation) {
    cls_string a("ab");
    EXPECT_STREQ((a + cls_string("cd")).c_str(), "abcd");
    EXPECT_STREQ((a + "cd").c_str(), "abcd");
    EXPECT_STREQ((a + 'c').c_str(), "abc");
    EXPECT_STREQ(("x" + a).c_str(), "xab");
    EXPECT_STREQ((cls_string() + cls_string()).c_str(), "");
    EXPECT_STREQ(a.c_str(), "ab");
    a += cls_string("1");
    a += "2";
    a += '3';
    a += static_cast<const char*>(nullptr);
    a += "";
    EXPECT_STREQ(a.c_str(), "ab123");
    a += a;
    EXPECT_STREQ(a.c_str(), "ab123ab123");
    a.append(a.c_str() + 2, 3);
    EXPECT_STREQ(a.c_str(), "ab123ab123123");
}

TEST(core_string, long_appends) {
    cls_string s;
    for (int i = 0; i < 100000; ++i) s += static_cast<char>('a' + i % 26);
    EXPECT_EQ(s.length(), 100000);
    EXPECT_EQ(s[99999], static_cast<char>('a' + 99999 % 26));
}

TEST(core_string, equality) {
    EXPECT_TRUE(cls_string("abc") == "abc");
    EXPECT_FALSE(cls_string("abc") == "abcd");
    EXPECT_FALSE(cls_string("abc") == "ab");
    EXPECT_TRUE(cls_string() == "");
    EXPECT_TRUE(cls_string() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(cls_string("x") != "y");
    EXPECT_TRUE(cls_string("x") != cls_string("y"));
    EXPECT_FALSE(cls_string("x") != cls_string("x"));
    EXPECT_TRUE(cls_string() == cls_string(""));
}

TEST(core_string, less_is_byte_order) {
    EXPECT_TRUE(cls_string("B") < cls_string("a"));
    EXPECT_FALSE(cls_string("a") < cls_string("B"));
    EXPECT_TRUE(cls_string("10") < cls_string("9"));
    EXPECT_TRUE(cls_string("ab") < cls_string("abc"));
    EXPECT_FALSE(cls_string("abc") < cls_string("ab"));
    EXPECT_TRUE(cls_string("") < cls_string("a"));
    EXPECT_FALSE(cls_string("") < cls_string(""));
    EXPECT_FALSE(cls_string("same") < cls_string("same"));
    // Bytes above 127 (UTF-8) sort after ASCII.
    EXPECT_TRUE(cls_string("z") < cls_string("\xc3\xa9"));
}

TEST(core_string, clear_and_reserve) {
    cls_string s("text");
    s.clear();
    EXPECT_TRUE(s.is_empty());
    EXPECT_STREQ(s.c_str(), "");
    s.reserve(100);
    EXPECT_TRUE(s.is_empty());
    s += "again";
    EXPECT_STREQ(s.c_str(), "again");
    EXPECT_TRUE(s.is_not_empty());
}

TEST(core_string, print_replaces_the_contents) {
    cls_string s("old text");
    EXPECT_STREQ(s.print("%d-%s", 42, "x").c_str(), "42-x");
    EXPECT_STREQ(s.print("%s", "").c_str(), "");
    cls_string big;
    big.print("%0500d", 7);
    EXPECT_EQ(big.length(), 500);
    EXPECT_EQ(big[499], '7');
    EXPECT_STREQ(s.print("Exit code:%d", -1).c_str(), "Exit code:-1");
}

TEST(core_string, to_str_forms) {
    cls_string s("old");
    int v = -123;
    EXPECT_STREQ(s.to_str(&v).c_str(), "-123");
    int zero = 0;
    EXPECT_STREQ(s.to_str(&zero).c_str(), "0");
    cls_string other("copied");
    EXPECT_STREQ(s.to_str(&other).c_str(), "copied");
    point_t p(3, -4);
    EXPECT_STREQ(s.to_str(static_cast<const if_to_string*>(&p)).c_str(), "(3,-4)");
    nothing_t n;
    EXPECT_STREQ(s.to_str(static_cast<const if_to_string*>(&n)).c_str(), "");
    char expected[64];
    std::snprintf(expected, sizeof(expected), "%p", static_cast<const void*>(&v));
    EXPECT_STREQ(s.to_str(static_cast<const void*>(&v)).c_str(), expected);
}

TEST(core_string, to_int_plain_numbers) {
    EXPECT_EQ(cls_string("0").to_int(), 0);
    EXPECT_EQ(cls_string("42").to_int(), 42);
    EXPECT_EQ(cls_string("-17").to_int(), -17);
    EXPECT_EQ(cls_string("+8").to_int(), 8);
    EXPECT_EQ(cls_string("007").to_int(), 7);
    EXPECT_EQ(cls_string("2147483647").to_int(), 2147483647);
    EXPECT_EQ(cls_string("-2147483648").to_int(), -2147483647 - 1);
}

TEST(core_string, to_int_accepts_leading_blanks_and_one_sign) {
    EXPECT_EQ(cls_string("   12").to_int(), 12);
    EXPECT_EQ(cls_string("\t -5").to_int(), -5);
    EXPECT_EQ(cls_string("--5").to_int(), 0);
    EXPECT_EQ(cls_string("- 5").to_int(), 0);
}

TEST(core_string, to_int_stops_at_garbage) {
    EXPECT_EQ(cls_string("12abc").to_int(), 12);
    EXPECT_EQ(cls_string("3.9").to_int(), 3);
    EXPECT_EQ(cls_string("1 2").to_int(), 1);
    EXPECT_EQ(cls_string("abc").to_int(), 0);
    EXPECT_EQ(cls_string("").to_int(), 0);
    EXPECT_EQ(cls_string("-").to_int(), 0);
    EXPECT_EQ(cls_string("0x10").to_int(), 0);
}

TEST(core_string, to_int_saturates_instead_of_wrapping) {
    EXPECT_EQ(cls_string("99999999999").to_int(), 2147483647);
    EXPECT_EQ(cls_string("-99999999999").to_int(), -2147483647 - 1);
}

TEST(core_string, has_and_find_char) {
    cls_string s("a/b/c");
    EXPECT_TRUE(s.has('/'));
    EXPECT_FALSE(s.has('x'));
    EXPECT_FALSE(cls_string().has('a'));
    EXPECT_EQ(s.find('/'), 1);
    EXPECT_EQ(s.find('/', 1), 1);
    EXPECT_EQ(s.find('/', 2), 3);
    EXPECT_EQ(s.find('/', 4), cls_string::NOT_FOUND);
    EXPECT_EQ(s.find('/', 100), -1);
    EXPECT_EQ(s.find('a', -5), 0);
    EXPECT_EQ(cls_string().find('a'), -1);
}

TEST(core_string, find_text) {
    cls_string s("one two one");
    EXPECT_EQ(s.find("one"), 0);
    EXPECT_EQ(s.find("one", 1), 8);
    EXPECT_EQ(s.find("two"), 4);
    EXPECT_EQ(s.find("three"), -1);
    EXPECT_EQ(s.find("one two one and more"), -1);
    EXPECT_EQ(s.find(""), 0);
    EXPECT_EQ(s.find("", 11), 11);
    EXPECT_EQ(s.find("", 12), -1);
    EXPECT_EQ(cls_string().find("a"), -1);
    EXPECT_EQ(cls_string().find(""), 0);
}

TEST(core_string, rfind_from_the_end) {
    cls_string s("a/b/c");
    EXPECT_EQ(s.rfind("/"), 3);
    EXPECT_EQ(s.rfind("/", -1), 3);
    EXPECT_EQ(s.rfind("a/b/c"), 0);
    EXPECT_EQ(s.rfind("c"), 4);
}

TEST(core_string, rfind_from_a_position) {
    cls_string s("abcabc");
    EXPECT_EQ(s.rfind("abc", 5), 3);
    EXPECT_EQ(s.rfind("abc", 3), 3);
    EXPECT_EQ(s.rfind("abc", 2), 0);
    EXPECT_EQ(s.rfind("abc", 0), 0);
    EXPECT_EQ(s.rfind("bc", 0), -1);
}

TEST(core_string, rfind_of_absent_text_is_minus_one) {
    EXPECT_EQ(cls_string("a/b/c").rfind("x"), cls_string::NOT_FOUND);
    EXPECT_EQ(cls_string::NOT_FOUND, -1);
    EXPECT_EQ(cls_string("abc").rfind("abcd"), -1);
    EXPECT_EQ(cls_string().rfind("a"), -1);
    EXPECT_EQ(cls_string("abc").rfind("c", 1), -1);
}

TEST(core_string, rfind_of_empty_text) {
    EXPECT_EQ(cls_string("abc").rfind(""), 3);
    EXPECT_EQ(cls_string("abc").rfind("", 1), 1);
    EXPECT_EQ(cls_string().rfind(""), 0);
}

TEST(core_string, begin_with_gives_the_rest) {
    cls_string rest("untouched");
    EXPECT_TRUE(cls_string("--device=adb").begin_with("--device=", &rest));
    EXPECT_STREQ(rest.c_str(), "adb");
    EXPECT_TRUE(cls_string("--device=").begin_with("--device=", &rest));
    EXPECT_STREQ(rest.c_str(), "");
    EXPECT_TRUE(cls_string("abc").begin_with("", &rest));
    EXPECT_STREQ(rest.c_str(), "abc");
    rest = "untouched";
    EXPECT_FALSE(cls_string("--dev").begin_with("--device=", &rest));
    EXPECT_STREQ(rest.c_str(), "untouched");
    EXPECT_FALSE(cls_string("xabc").begin_with("abc", &rest));
    EXPECT_STREQ(rest.c_str(), "untouched");
    EXPECT_TRUE(cls_string("abc").begin_with("ab"));
    EXPECT_TRUE(cls_string().begin_with(""));
    EXPECT_FALSE(cls_string().begin_with("a"));
}

TEST(core_string, begin_with_may_write_the_rest_into_the_string_itself) {
    cls_string s("direct_exec.test");
    EXPECT_TRUE(s.begin_with("direct_exec.", &s));
    EXPECT_STREQ(s.c_str(), "test");
}

TEST(core_string, not_begin_with_and_end_with) {
    EXPECT_TRUE(cls_string("abc").not_begin_with("b"));
    EXPECT_FALSE(cls_string("abc").not_begin_with("a"));
    EXPECT_TRUE(cls_string("abc").end_with("bc"));
    EXPECT_TRUE(cls_string("abc").end_with(""));
    EXPECT_TRUE(cls_string("abc").end_with("abc"));
    EXPECT_FALSE(cls_string("abc").end_with("xabc"));
    EXPECT_FALSE(cls_string("abc").end_with("b"));
    EXPECT_TRUE(cls_string().end_with(""));
}

TEST(core_string, sub_str) {
    cls_string s("hello world");
    EXPECT_STREQ(s.sub_str(6).c_str(), "world");
    EXPECT_STREQ(s.sub_str(6, -1).c_str(), "world");
    EXPECT_STREQ(s.sub_str(0, 5).c_str(), "hello");
    EXPECT_STREQ(s.sub_str(0, 0).c_str(), "");
    EXPECT_STREQ(s.sub_str(6, 100).c_str(), "world");
    EXPECT_STREQ(s.sub_str(11).c_str(), "");
    EXPECT_STREQ(s.sub_str(20, 2).c_str(), "");
    EXPECT_STREQ(s.sub_str(-3, 2).c_str(), "he");
    EXPECT_STREQ(s.sub_str(0, -1).c_str(), "hello world");
    EXPECT_STREQ(cls_string().sub_str(0, -1).c_str(), "");
    EXPECT_STREQ(s.c_str(), "hello world");
}

TEST(core_string, to_sub_str_cuts_in_place) {
    cls_string s("hello world");
    cls_string& same = s.to_sub_str(3, 5);
    EXPECT_EQ(&same, &s);
    EXPECT_STREQ(s.c_str(), "lo wo");
    s.to_sub_str(2, -1);
    EXPECT_STREQ(s.c_str(), " wo");
    s.to_sub_str(10);
    EXPECT_STREQ(s.c_str(), "");
}

TEST(core_string, get_sub_str_fields) {
    cls_string s("a,bb,,ccc");
    cls_string out;
    EXPECT_TRUE(s.get_sub_str(0, ',', &out));
    EXPECT_STREQ(out.c_str(), "a");
    EXPECT_TRUE(s.get_sub_str(1, ',', &out));
    EXPECT_STREQ(out.c_str(), "bb");
    EXPECT_TRUE(s.get_sub_str(2, ',', &out));
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_TRUE(s.get_sub_str(3, ',', &out));
    EXPECT_STREQ(out.c_str(), "ccc");
    out = "stale";
    EXPECT_FALSE(s.get_sub_str(4, ',', &out));
    EXPECT_STREQ(out.c_str(), "");
    out = "stale";
    EXPECT_FALSE(s.get_sub_str(-1, ',', &out));
    EXPECT_STREQ(out.c_str(), "");
}

TEST(core_string, get_sub_str_without_separator_and_at_the_ends) {
    cls_string out;
    EXPECT_TRUE(cls_string("whole").get_sub_str(0, ':', &out));
    EXPECT_STREQ(out.c_str(), "whole");
    EXPECT_FALSE(cls_string("whole").get_sub_str(1, ':', &out));
    EXPECT_TRUE(cls_string(":x:").get_sub_str(0, ':', &out));
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_TRUE(cls_string(":x:").get_sub_str(2, ':', &out));
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_TRUE(cls_string().get_sub_str(0, ':', &out));
    EXPECT_STREQ(out.c_str(), "");
}

TEST(core_string, trim_to_str_ends) {
    cls_string s(" \t value \n");
    EXPECT_STREQ(cls_string(s).trim_to_str(" \t\n", true, true).c_str(), "value");
    EXPECT_STREQ(cls_string(s).trim_to_str(" \t\n", true, false).c_str(), "value \n");
    EXPECT_STREQ(cls_string(s).trim_to_str(" \t\n", false, true).c_str(), " \t value");
    EXPECT_STREQ(cls_string(s).trim_to_str(" \t\n", false, false).c_str(), " \t value \n");
    EXPECT_STREQ(cls_string(s).trim_to_str("", true, true).c_str(), " \t value \n");
}

TEST(core_string, trim_to_str_of_nothing_but_trimmed_chars) {
    EXPECT_STREQ(cls_string("   ").trim_to_str(" ", true, true).c_str(), "");
    EXPECT_STREQ(cls_string("xyx").trim_to_str("xy", false, true).c_str(), "");
    EXPECT_STREQ(cls_string().trim_to_str(" ", true, true).c_str(), "");
    EXPECT_STREQ(cls_string("--a--").trim_to_str("-", true, true).c_str(), "a");
}

TEST(core_string, trim_to_str_keeps_inner_nul_bytes) {
    cls_string s(" a\0 ", 4);
    s.trim_to_str(" ", true, true);
    EXPECT_EQ(s.length(), 2);
    EXPECT_EQ(s[1], '\0');
}

TEST(core_string, split_to_lines_plain) {
    EXPECT_STREQ(lines_of("a\nb\nc")->c_str(), "<a><b><c>");
    EXPECT_STREQ(lines_of("single")->c_str(), "<single>");
}

TEST(core_string, split_to_lines_trailing_newline_gives_no_empty_last_line) {
    EXPECT_STREQ(lines_of("a\nb\n")->c_str(), "<a><b>");
    EXPECT_STREQ(lines_of("\n")->c_str(), "<>");
    EXPECT_STREQ(lines_of("a\n\n")->c_str(), "<a><>");
}

TEST(core_string, split_to_lines_strips_carriage_returns) {
    EXPECT_STREQ(lines_of("a\r\nb\r\n")->c_str(), "<a><b>");
    EXPECT_STREQ(lines_of("a\r\n\r\nb")->c_str(), "<a><><b>");
    EXPECT_STREQ(lines_of("x\ry\r\n")->c_str(), "<x\ry>");
    EXPECT_STREQ(lines_of("last\r")->c_str(), "<last>");
}

TEST(core_string, split_to_lines_of_empty_text_gives_nothing) {
    cls_array<cls_string> lines;
    cls_string().split_to_lines(&lines);
    EXPECT_EQ(lines.count(), 0);
}

TEST(core_string, split_to_lines_appends_to_what_is_there) {
    cls_array<cls_string> lines;
    lines.append("before");
    cls_string("\nmiddle\n\nend").split_to_lines(&lines);
    EXPECT_STREQ(lines.glue("|")->c_str(), "before||middle||end");
}

TEST(core_string, file_name) {
    EXPECT_STREQ(cls_string("a/b/c").file_name().c_str(), "c");
    EXPECT_STREQ(cls_string("/usr/bin/test.sh").file_name().c_str(), "test.sh");
    EXPECT_STREQ(cls_string("plain").file_name().c_str(), "plain");
    EXPECT_STREQ(cls_string("a/b/").file_name().c_str(), "");
    EXPECT_STREQ(cls_string("/").file_name().c_str(), "");
    EXPECT_STREQ(cls_string().file_name().c_str(), "");
}

TEST(core_string, data_is_writable) {
    cls_string s("abc");
    s.data()[1] = 'X';
    EXPECT_STREQ(s.c_str(), "aXc");
}

// Strings of several MiB live in their own mappings (so that they grow without
// copying); crossing that size in every way keeps every byte.
TEST(core_string, large_strings_keep_their_text_while_growing) {
    const int piece = 64 * 1024;
    cls_string s;
    for (int i = 0; i < 160; ++i) {  // 10 MiB in reads of 64 KiB, as a captured pipe grows
        char* room = s.append_buffer(piece);
        std::memset(room, 'a' + i % 26, piece);
        s.commit_append(piece);
    }
    ASSERT_EQ(s.length(), 160 * piece);
    for (int i = 0; i < 160; ++i) {
        ASSERT_EQ(s[i * piece], 'a' + i % 26) << i;
        ASSERT_EQ(s[i * piece + piece - 1], 'a' + i % 26) << i;
    }
    EXPECT_EQ(s.c_str()[s.length()], '\0');

    cls_string copy(s);
    EXPECT_TRUE(copy == s);
    cls_string assigned;
    assigned = s;
    EXPECT_TRUE(assigned == s);
}

TEST(core_string, appending_a_string_to_itself_across_the_large_size) {
    cls_string s(std::string(3 * 1024 * 1024, 'x').c_str());
    s += "end";
    s.append(s.c_str(), s.length());
    ASSERT_EQ(s.length(), 2 * (3 * 1024 * 1024 + 3));
    EXPECT_EQ(s.find("end"), 3 * 1024 * 1024);
    EXPECT_EQ(s.find("end", 3 * 1024 * 1024 + 1), s.length() - 3);
    EXPECT_EQ(s[3 * 1024 * 1024 + 3], 'x');
}

// has_line answers as a search of split_to_lines' lines would, for every line of
// texts with every kind of line end, and for texts that are not lines.
TEST(core_string, has_line_agrees_with_split_to_lines) {
    const char* texts[] = {"", "one", "one\n", "one\ntwo", "one\r\ntwo\r\n", "a\n\nb", "\n", "\r\n", "x\r\r\ny\r",
                           "ab\nb\nabc", "\rq\n", "tail\r"};
    const char* probes[] = {"", "one", "two", "a", "b", "ab", "abc", "x", "x\r", "y", "\r", "q", "\rq", "tail",
                            "tail\r", "one\ntwo", "ne", "on"};
    for (const char* t : texts) {
        cls_string text(t);
        cls_array<cls_string> lines;
        text.split_to_lines(&lines);
        for (const char* p : probes) {
            bool expected = false;
            for (int i = 0; i < lines.count(); ++i)
                if (lines[i] == p) expected = true;
            EXPECT_EQ(text.has_line(cls_string(p)), expected) << "text \"" << t << "\" line \"" << p << "\"";
        }
    }
}
