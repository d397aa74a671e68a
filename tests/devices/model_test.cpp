// The device singleton: factory, life, forwarding and argument access.
#include <gtest/gtest.h>

#include "device_fixture.h"
#include "devices/cls_adb_vesk_device.h"
#include "devices/cls_local_vesk_device.h"
#include "ozgi/cls_singleton_mgr.h"

#include <cstdlib>

using ozgi::cls_array;
using ozgi::cls_string;

using model = device_fixture;
using model_death = device_fixture;

TEST_F(model, empty_device_name_creates_the_local_device) {
    dev()->set_info("", m_dir.path().c_str());
    EXPECT_NE(dynamic_cast<cls_local_vesk_device*>(dev()->device()), nullptr);
    EXPECT_STREQ(dev()->root_dir().c_str(), m_dir.path().c_str());
    EXPECT_FALSE(dev()->serial_id_selected());
    EXPECT_EQ(dev()->menu_tree()->root(), nullptr);
}

TEST_F(model, local_name_creates_the_local_device) {
    dev()->set_info("local", "");
    EXPECT_NE(dynamic_cast<cls_local_vesk_device*>(dev()->device()), nullptr);
    EXPECT_TRUE(dev()->root_dir().is_empty());
}

TEST_F(model, adb_name_creates_the_adb_device) {
    dev()->set_info("adb", "/x");
    EXPECT_NE(dynamic_cast<cls_adb_vesk_device*>(dev()->device()), nullptr);
    EXPECT_STREQ(dev()->root_dir().c_str(), "/x");
}

TEST_F(model_death, capitalised_local_is_unrecognised) {
    EXPECT_EXIT(dev()->set_info("Local", ""), ::testing::ExitedWithCode(1), device_fatal_re("Unrecognized device: Local"));
}

TEST_F(model_death, capitalised_adb_is_unrecognised) {
    EXPECT_EXIT(dev()->set_info("ADB", ""), ::testing::ExitedWithCode(1), device_fatal_re("Unrecognized device: ADB"));
}

TEST_F(model_death, ddb_is_reserved_and_unrealized) {
    EXPECT_EXIT(dev()->set_info("ddb", ""), ::testing::ExitedWithCode(1), device_fatal_re("Unrealized yet."));
}

TEST_F(model, selection_sets_the_flag_and_builds_the_tree) {
    m_dir.write_script("t", "exit 0\n");
    dev()->set_info("local", m_dir.path().c_str());
    auto ids = dev()->devices();
    EXPECT_EQ(device_vec(*ids), std::vector<std::string>({"LOCAL_DEVICE"}));
    dev()->set_serial_id("LOCAL_DEVICE");
    EXPECT_TRUE(dev()->serial_id_selected());
    ASSERT_NE(dev()->menu_tree()->root(), nullptr);
    EXPECT_EQ(dev()->cur_node(), dev()->menu_tree()->root());
    EXPECT_EQ(tree_text(), "Diagnostic,dir\nL---t,exec");
}

TEST_F(model_death, select_arg_with_an_unknown_name_is_fatal) {
    m_dir.write_help_script("t", "Usage: t\nArguments:\n--a <1-5>: A\n");
    select_local();
    dev()->set_cur_exec("t");
    ASSERT_TRUE(dev()->load_exec_help());
    EXPECT_EXIT(dev()->select_arg("b"), ::testing::ExitedWithCode(1), device_fatal_re("Unknown arg name: b"));
}

TEST_F(model, unknown_current_argument_is_silently_ignored_by_info_and_value) {
    m_dir.write_help_script("t", "Usage: t\nArguments:\n--a <1-5>: A\n");
    select_local();
    dev()->set_cur_exec("t");
    ASSERT_TRUE(dev()->load_exec_help());
    // No argument has been selected, so the current name is empty and matches none.
    cls_vesk_device::arg_info_t info;
    info.arg_name = "kept";
    info.values.append("v");
    dev()->get_cur_arg_info(&info);
    EXPECT_STREQ(info.arg_name.c_str(), "kept");
    ASSERT_EQ(info.values.count(), 1);
    dev()->set_cur_arg_value("9");
    cls_array<cls_vesk_device::arg_info_t> args;
    dev()->get_args(&args);
    ASSERT_EQ(args.count(), 1);
    EXPECT_STREQ(args[0].default_value.c_str(), "1");
}

TEST_F(model, duplicate_argument_names_act_on_the_first) {
    m_dir.write_help_script("t", "Usage: t\nArguments:\n--a <1-5>: first\n--a {x|y}: second\n");
    select_local();
    dev()->set_cur_exec("t");
    ASSERT_TRUE(dev()->load_exec_help());
    EXPECT_EQ(dev()->select_arg("a"), 0);
    cls_vesk_device::arg_info_t info;
    info.values.append("stale");
    dev()->get_cur_arg_info(&info);
    EXPECT_STREQ(info.arg_desc.c_str(), "first");
    EXPECT_EQ(device_vec(info.values), std::vector<std::string>({"1", "5"}));
    dev()->set_cur_arg_value("3");
    cls_array<cls_vesk_device::arg_info_t> args;
    args.append(cls_vesk_device::arg_info_t());
    dev()->get_args(&args);
    ASSERT_EQ(args.count(), 2);
    EXPECT_STREQ(args[0].default_value.c_str(), "3");
    EXPECT_STREQ(args[1].default_value.c_str(), "x");
    EXPECT_STREQ(args[1].arg_desc.c_str(), "second");
}

TEST_F(model, current_argument_info_copies_all_fields) {
    m_dir.write_help_script("t", "Usage: t\nArguments:\n--freq <100-2000>: Default=500, Step=10, Frequency in Hz\n");
    select_local();
    dev()->set_cur_exec("t");
    ASSERT_TRUE(dev()->load_exec_help());
    EXPECT_EQ(dev()->select_arg("freq"), 0);
    dev()->set_cur_arg_value("700");
    cls_vesk_device::arg_info_t info;
    dev()->get_cur_arg_info(&info);
    EXPECT_STREQ(info.arg_name.c_str(), "freq");
    EXPECT_STREQ(info.default_value.c_str(), "700");
    EXPECT_STREQ(info.arg_desc.c_str(), "Frequency in Hz");
    EXPECT_STREQ(info.step.c_str(), "10");
    EXPECT_EQ(info.arg_type, 0);
    EXPECT_EQ(device_vec(info.values), std::vector<std::string>({"100", "2000"}));
}

TEST(menu_node, directory_prints_as_dir) {
    if_vesk_device::menu_node_t node("net", false);
    EXPECT_STREQ(node.to_string()->c_str(), "net,dir");
}

TEST(menu_node, test_prints_as_exec) {
    if_vesk_device::menu_node_t node("ping", true);
    EXPECT_STREQ(node.to_string()->c_str(), "ping,exec");
}

TEST(singleton, destroying_it_with_no_device_and_no_tree_is_harmless) {
    cls_vesk_device* first = cls_vesk_device::ins();
    EXPECT_EQ(cls_vesk_device::ins(), first);
    cls_vesk_device::release_func(first);
    // Null and an already released pointer do nothing.
    cls_vesk_device::release_func(nullptr);
    cls_vesk_device::release_func(first);
    cls_vesk_device* second = cls_vesk_device::ins();
    EXPECT_EQ(second->device(), nullptr);
    EXPECT_EQ(second->menu_tree()->root(), nullptr);
    EXPECT_FALSE(second->serial_id_selected());
    cls_vesk_device::release_func(second);
}

TEST(singleton, release_through_the_singleton_manager_forgets_it) {
    // In a child process, so that releasing every registered singleton touches
    // nothing the other tests use.
    EXPECT_EXIT(
        {
            cls_vesk_device* first = cls_vesk_device::ins();
            first->set_info("local", "/nonexistent");
            ozgi::cls_singleton_mgr::release_all();
            cls_vesk_device* second = cls_vesk_device::ins();
            std::_Exit(second->device() == nullptr ? 7 : 8);
        },
        ::testing::ExitedWithCode(7), "");
}

TEST_F(model, a_second_selection_builds_into_the_existing_tree) {
    m_dir.write_script("t", "exit 0\n");
    select_local();
    const cls_vesk_device::menu_tree_node_t* root = dev()->menu_tree()->root();
    dev()->set_serial_id("LOCAL_DEVICE");
    // The root object is reused and nothing was emptied: the test is there twice.
    EXPECT_EQ(dev()->menu_tree()->root(), root);
    EXPECT_EQ(device_vec(*dev()->execs()), std::vector<std::string>({"t", "t"}));
}

TEST_F(model, running_a_test_forwards_to_the_device) {
    m_dir.write_script("t", "echo hello\nexit 3\n");
    select_local();
    dev()->set_cur_exec("t");
    dev()->execute();
    EXPECT_EQ(wait_for_end("hello\n"), 3);
}
