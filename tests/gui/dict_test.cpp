// The text dictionary and label translation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "gui_test_util.h"
#include "ozgi/cls_app_data.h"
#include "ozgi/cls_label.h"
#include "ozgi/cls_ui_res_loader.h"
#include "ozgi/cls_ui_text_dict.h"

using namespace ozgi;

namespace {

class dict_test : public ::testing::Test {
protected:
    void SetUp() override { cls_app_data::ins()->set_data("language", "en_US"); }
    void TearDown() override { cls_app_data::ins()->set_data("language", "en_US"); }
};

TEST_F(dict_test, base_dictionary_comes_from_the_registered_file) {
    cls_ui_text_dict* d = cls_ui_text_dict::ins();
    EXPECT_EQ(d->translate("Back", "zh_CN"), "返回");
    EXPECT_EQ(d->translate("Option", "zh_CN"), "选项");
    EXPECT_EQ(d->translate("切换至中文", "zh_CN"), "Switch to English");
    EXPECT_EQ(d->translate("切换至中文", "en_US"), "切换至中文");
    EXPECT_EQ(d->translate("Back", "en_US"), "Back");
}

TEST_F(dict_test, missing_key_is_shown_as_itself) {
    EXPECT_EQ(cls_ui_text_dict::ins()->translate("No such text 42", "zh_CN"), "No such text 42");
    EXPECT_EQ(cls_ui_text_dict::ins()->translate("", "zh_CN"), "");
}

TEST_F(dict_test, menu_dictionary_by_text_adds_and_later_entries_win) {
    cls_ui_text_dict* d = cls_ui_text_dict::ins();
    d->add_dict("  <ui_text_dict><dict_entry en_US=\"Dict text A\" zh_CN=\"甲\"/>"
                "<dict_entry en_US=\"Dict text B\" zh_CN=\"乙\"/></ui_text_dict>");
    EXPECT_EQ(d->translate("Dict text A", "zh_CN"), "甲");
    d->add_dict("<ui_text_dict><dict_entry en_US=\"Dict text A\" zh_CN=\"丙\"/></ui_text_dict>");
    EXPECT_EQ(d->translate("Dict text A", "zh_CN"), "丙");
    EXPECT_EQ(d->translate("Dict text B", "zh_CN"), "乙");
    // The base can be overridden too: menus may reword our texts.
    d->add_dict("<ui_text_dict><dict_entry en_US=\"Help\" zh_CN=\"说明\"/></ui_text_dict>");
    EXPECT_EQ(d->translate("Help", "zh_CN"), "说明");
}

TEST_F(dict_test, menu_dictionary_by_path) {
    std::string path = gui_test::temp_path("dict.xml");
    gui_test::write_file(path, "<?xml version=\"1.0\"?>\n<ui_text_dict>\n"
                               "  <dict_entry en_US=\"From a file\" zh_CN=\"来自文件\"/>\n</ui_text_dict>\n");
    cls_ui_text_dict::ins()->add_dict(path.c_str());
    EXPECT_EQ(cls_ui_text_dict::ins()->translate("From a file", "zh_CN"), "来自文件");
    std::remove(path.c_str());
}

TEST_F(dict_test, malformed_dictionary_warns_once_and_is_ignored) {
    cls_ui_text_dict* d = cls_ui_text_dict::ins();
    ::testing::internal::CaptureStderr();
    d->add_dict("<ui_text_dict><dict_entry en_US=\"Broken\" zh_CN=\"坏\"></ui_text_dict>");
    std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(d->translate("Broken", "zh_CN"), "Broken");
    EXPECT_NE(err.find("WARNING: Ignoring the dictionary"), std::string::npos) << err;
    EXPECT_EQ(err.find("WARNING", 1), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;

    // Well-formed XML that is not a dictionary changes nothing either.
    ::testing::internal::CaptureStderr();
    d->add_dict("<other><dict_entry en_US=\"Back\" zh_CN=\"错\"/></other>");
    err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(d->translate("Back", "zh_CN"), "返回");
    EXPECT_NE(err.find("the root element is not ui_text_dict"), std::string::npos) << err;

    ::testing::internal::CaptureStderr();
    d->add_dict("/no/such/dir/dict.xml");
    err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Ignoring the dictionary /no/such/dir/dict.xml"), std::string::npos) << err;
}

TEST_F(dict_test, label_translates_at_set_time_and_keeps_the_key) {
    cls_label label;
    label.set_text("Back");
    EXPECT_EQ(label.text(), "Back");
    EXPECT_EQ(label.shown_text(), "Back");
    cls_app_data::ins()->set_data("language", "zh_CN");
    // Nothing changes until the text is set again.
    EXPECT_EQ(label.shown_text(), "Back");
    label.set_text("Back");
    EXPECT_EQ(label.text(), "Back");
    EXPECT_EQ(label.shown_text(), "返回");
    label.append_text(" Back");
    EXPECT_EQ(label.text(), "Back Back");
    EXPECT_EQ(label.shown_text(), "返回 Back");
    label.set_text("Not in the dictionary");
    EXPECT_EQ(label.shown_text(), "Not in the dictionary");
}

TEST_F(dict_test, layout_labels_are_translated_when_created) {
    cls_app_data::ins()->set_data("language", "zh_CN");
    gui_test::add_layout("test_gui/option_label.xml", "<item cls_name=\"cls_label\"><attr text=\"Option\"/></item>");
    cls_label* label = dynamic_cast<cls_label*>(cls_ui_res_loader::ins()->load_layout("test_gui/option_label.xml", nullptr));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), "Option");
    EXPECT_EQ(label->shown_text(), "选项");
    ozgi_delete(label);
}

TEST_F(dict_test, reset_forgets_merged_dictionaries_and_reads_the_base_again) {
    cls_ui_text_dict* d = cls_ui_text_dict::ins();
    d->add_dict("<ui_text_dict><dict_entry en_US=\"Reset text\" zh_CN=\"重置\"/>"
                "<dict_entry en_US=\"Back\" zh_CN=\"后退\"/></ui_text_dict>");
    ASSERT_EQ(d->translate("Reset text", "zh_CN"), "重置");
    ASSERT_EQ(d->translate("Back", "zh_CN"), "后退");
    d->reset();
    EXPECT_EQ(d->translate("Reset text", "zh_CN"), "Reset text");
    EXPECT_EQ(d->translate("Back", "zh_CN"), "返回");
}

} // namespace
