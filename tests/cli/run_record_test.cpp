// The run record and the escaping it relies on: JSON and XML from output that
// holds anything, and the first and last 4 KiB cut between characters.
#include <gtest/gtest.h>

#include "devices/cls_vesk_run_record.h"
#include "devices/cls_vesk_text_escape.h"

using ozgi::cls_array;
using ozgi::cls_string;

namespace {
std::string s(const cls_string& t) { return std::string(t.c_str(), t.length()); }
} // namespace

TEST(text_escape, json_escapes_controls_and_replaces_broken_utf8) {
    EXPECT_EQ(s(cls_vesk_text_escape::json(cls_string("a\"b\\c\n\t\x01\x7f"))), "\"a\\\"b\\\\c\\n\\t\\u0001\\u007f\"");
    EXPECT_EQ(s(cls_vesk_text_escape::json(cls_string("\xff\xe4\xbd\xa0"))), "\"\xEF\xBF\xBD\xe4\xbd\xa0\"");
    // A surrogate and an overlong form are not UTF-8.
    EXPECT_FALSE(cls_vesk_text_escape::is_utf8(cls_string("\xed\xa0\x80")));
    EXPECT_FALSE(cls_vesk_text_escape::is_utf8(cls_string("\xc0\xaf")));
    EXPECT_TRUE(cls_vesk_text_escape::is_utf8(cls_string("诊断 ok")));
}

TEST(text_escape, xml_escapes_markup_and_replaces_what_xml_cannot_hold) {
    EXPECT_EQ(s(cls_vesk_text_escape::xml(cls_string("<a & \"b\">\x01\r"))), "&lt;a &amp; &quot;b&quot;&gt;\xEF\xBF\xBD&#13;");
    EXPECT_EQ(s(cls_vesk_text_escape::printable(cls_string("bad\xff\tname"))), "bad\\xFF\\x09name");
}

TEST(run_record, head_and_tail_are_cut_between_characters) {
    cls_vesk_run_record record;
    record.begin("adb", "S1", "a/t", cls_array<cls_string>());
    // 4095 ASCII bytes, then a 3-byte character across the 4096 boundary, twice over.
    std::string text(4095, 'x');
    text += "\xe4\xbd\xa0";
    text += std::string(5000, 'y');
    text += "\xe4\xbd\xa0";
    text += std::string(4094, 'z');
    // Fed in small pieces, as the execution page's ticks bring it.
    for (size_t i = 0; i < text.size(); i += 1000) {
        std::string piece = text.substr(i, 1000);
        record.add_output(cls_string(piece.data(), static_cast<int>(piece.size())));
    }
    record.finish(0, cls_vesk_run_record::RESULT_PASS);
    EXPECT_EQ(record.output_bytes(), static_cast<long long>(text.size()));
    std::string json = s(record.to_json());
    // The head ends before the character that crosses 4096; the tail starts after the one that crosses its start.
    EXPECT_NE(json.find("\"output_head\":\"" + std::string(4095, 'x') + "\""), std::string::npos);
    EXPECT_NE(json.find("\"output_tail\":\"" + std::string(4094, 'z') + "\"}"), std::string::npos);
    EXPECT_NE(json.find("\"device\":\"adb\",\"serial_id\":\"S1\",\"test\":\"a/t\",\"args\":[]"), std::string::npos);
    EXPECT_EQ(json.back(), '\n');
    EXPECT_EQ(json.find('\n'), json.size() - 1);
}

TEST(run_record, kept_output_says_how_much_is_left_out) {
    cls_vesk_run_record record(4096);
    record.begin("local", "LOCAL_DEVICE", "t", cls_array<cls_string>());
    record.add_output(cls_string(std::string(10000, 'a').c_str()));
    record.finish(1, cls_vesk_run_record::RESULT_FAIL);
    std::string kept = s(record.kept_output());
    EXPECT_EQ(kept, std::string(4096, 'a') + "\n[... 1808 bytes left out ...]\n" + std::string(4096, 'a'));
}
