// Reading a test's help text and turning its argument lines into records.
#include <gtest/gtest.h>

#include "device_fixture.h"

using ozgi::cls_array;
using strings = std::vector<std::string>;

class parsing : public device_fixture {
protected:
    /// Makes "t" print `help` for "--help" and end with `status`, selects it and loads its help.
    bool load(const std::string& help, int status = 0) {
        m_dir.write_help_script("t", help, status);
        select_local();
        dev()->set_cur_exec("t");
        return dev()->load_exec_help();
    }
    /// The parsed argument records.
    static cls_array<cls_vesk_device::arg_info_t> args() {
        cls_array<cls_vesk_device::arg_info_t> out;
        dev()->get_args(&out);
        return out;
    }
};
using parsing_death = parsing;

TEST_F(parsing, numeric_example_line) {
    ASSERT_TRUE(load("Usage: t [options]\nArguments:\n--freq <100-2000>: Default=500, Step=10, Frequency in Hz\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].arg_name.c_str(), "freq");
    EXPECT_EQ(a[0].arg_type, 0);
    EXPECT_EQ(device_vec(a[0].values), strings({"100", "2000"}));
    EXPECT_STREQ(a[0].default_value.c_str(), "500");
    EXPECT_STREQ(a[0].step.c_str(), "10");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "Frequency in Hz");
}

TEST_F(parsing, list_example_line) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--mode {fast|slow}: Test mode\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].arg_name.c_str(), "mode");
    EXPECT_EQ(a[0].arg_type, 1);
    EXPECT_EQ(device_vec(a[0].values), strings({"fast", "slow"}));
    EXPECT_STREQ(a[0].default_value.c_str(), "fast");
    EXPECT_TRUE(a[0].step.is_empty());
    EXPECT_STREQ(a[0].arg_desc.c_str(), "Test mode");
}

TEST_F(parsing, help_text_is_kept_and_arguments_keep_their_order) {
    const std::string help = "Usage: t\nFree text.\nArguments:\n\t--b-x_2\t{one item|two}:\tDefault= two,\tboth\n --a <0.5-1.5>:\n";
    ASSERT_TRUE(load(help));
    EXPECT_EQ(std::string(dev()->help_msg()->c_str()), help);
    auto a = args();
    ASSERT_EQ(a.count(), 2);
    EXPECT_STREQ(a[0].arg_name.c_str(), "b-x_2");
    EXPECT_EQ(device_vec(a[0].values), strings({"one item", "two"}));
    EXPECT_STREQ(a[0].default_value.c_str(), " two");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "both");
    EXPECT_STREQ(a[1].arg_name.c_str(), "a");
    EXPECT_EQ(device_vec(a[1].values), strings({"0.5", "1.5"}));
    EXPECT_STREQ(a[1].default_value.c_str(), "0.5");
    EXPECT_TRUE(a[1].arg_desc.is_empty());
}

TEST_F(parsing, usage_after_leading_blanks_gives_no_arguments) {
    EXPECT_FALSE(load(" Usage: t\nArguments:\n--a <1-5>: A\n"));
    EXPECT_EQ(args().count(), 0);
    EXPECT_STREQ(dev()->help_msg()->c_str(), " Usage: t\nArguments:\n--a <1-5>: A\n");
}

TEST_F(parsing, non_zero_help_exit_gives_no_arguments) {
    EXPECT_FALSE(load("Usage: t\nArguments:\n--a <1-5>: A\n", 2));
    EXPECT_EQ(args().count(), 0);
    EXPECT_STREQ(dev()->help_msg()->c_str(), "Usage: t\nArguments:\n--a <1-5>: A\n");
}

TEST_F(parsing, arguments_as_the_last_line_gives_no_arguments_but_succeeds) {
    EXPECT_TRUE(load("Usage: t\nArguments:\n"));
    EXPECT_EQ(args().count(), 0);
}

TEST_F(parsing, no_arguments_line_gives_no_arguments_but_succeeds) {
    EXPECT_TRUE(load("Usage: t\n--a <1-5>: not an argument section\n"));
    EXPECT_EQ(args().count(), 0);
}

TEST_F(parsing, arguments_line_must_be_exact) {
    EXPECT_TRUE(load("Usage: t\nArguments: \n--a <1-5>: A\n"));
    EXPECT_EQ(args().count(), 0);
}

TEST_F(parsing, a_new_help_replaces_the_previous_arguments) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1-5>: A\n"));
    ASSERT_EQ(args().count(), 1);
    m_dir.write_file("t.help", "Usage: t\n");
    EXPECT_TRUE(dev()->load_exec_help());
    EXPECT_EQ(args().count(), 0);
}

TEST_F(parsing_death, blank_line_after_arguments_is_fatal_with_the_caret_at_the_start) {
    EXPECT_EXIT(load("Usage: t\nArguments:\n\n--a <1-5>: A\n"), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\n\n^"));
}

TEST_F(parsing_death, free_text_after_arguments_is_fatal) {
    EXPECT_EXIT(load("Usage: t\nArguments:\n--a <1-5>: A\nSee also: nothing\n"), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\nSee also: nothing\n^"));
}

TEST(parse_arg_lines, reads_the_lines_after_arguments_without_running_anything) {
    cls_array<cls_vesk_device::arg_info_t> out;
    cls_vesk_device::parse_arg_lines("Usage: t\nArguments:\n--a <1-5>: Step=2, A\n--m {x|y}: Default=y, M\n", &out);
    ASSERT_EQ(out.count(), 2);
    EXPECT_STREQ(out[0].arg_name.c_str(), "a");
    EXPECT_EQ(device_vec(out[0].values), strings({"1", "5"}));
    EXPECT_STREQ(out[0].default_value.c_str(), "1");
    EXPECT_STREQ(out[0].step.c_str(), "2");
    EXPECT_STREQ(out[1].arg_name.c_str(), "m");
    EXPECT_EQ(out[1].arg_type, 1);
    EXPECT_STREQ(out[1].default_value.c_str(), "y");
}

TEST(parse_arg_lines, appends_to_what_is_there_and_needs_an_arguments_line) {
    cls_array<cls_vesk_device::arg_info_t> out;
    cls_vesk_device::parse_arg_lines("Usage: t\n--a <1-5>: A\n", &out);
    EXPECT_EQ(out.count(), 0);
    cls_vesk_device::parse_arg_lines("Arguments:\n--a <1-5>: A\n", &out);
    cls_vesk_device::parse_arg_lines("Arguments:\n--b <1-5>: B\n", &out);
    ASSERT_EQ(out.count(), 2);
    EXPECT_STREQ(out[1].arg_name.c_str(), "b");
}

TEST(parse_arg_lines_death, a_line_that_is_no_argument_line_is_fatal_with_the_marker) {
    cls_array<cls_vesk_device::arg_info_t> out;
    EXPECT_EXIT(cls_vesk_device::parse_arg_lines("Arguments:\n--x <1-2> : d\n", &out), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\n--x <1-2> : d\n         ^"));
}

TEST_F(parsing, default_without_any_comma_is_part_of_the_description) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1-5>: Default=3 and no comma\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].default_value.c_str(), "1");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "Default=3 and no comma");
}

TEST_F(parsing, default_runs_to_a_comma_later_in_the_description) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a {x|y}: Default=y is best, says the manual\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].default_value.c_str(), "y is best");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "says the manual");
}

TEST_F(parsing, step_before_default_takes_the_step_only) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1-9>: Step=2, Default=5, Odd numbers\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].step.c_str(), "2");
    EXPECT_STREQ(a[0].default_value.c_str(), "1");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "Default=5, Odd numbers");
}

TEST_F(parsing, lower_case_step_is_accepted) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1-9>: step=3, Threes\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].step.c_str(), "3");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "Threes");
}

TEST_F(parsing, lower_case_default_is_not_a_default) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1-9>: default=4, Fours\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_STREQ(a[0].default_value.c_str(), "1");
    EXPECT_STREQ(a[0].arg_desc.c_str(), "default=4, Fours");
}

TEST_F(parsing, unchecked_values_are_accepted_as_text) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <1.2.3-4>: Default=99, Step=0, odd\n--b {x|y}: Default=z, not an item\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 2);
    EXPECT_EQ(device_vec(a[0].values), strings({"1.2.3", "4"}));
    EXPECT_STREQ(a[0].default_value.c_str(), "99");
    EXPECT_STREQ(a[0].step.c_str(), "0");
    EXPECT_STREQ(a[1].default_value.c_str(), "z");
}

TEST_F(parsing_death, blank_before_the_colon_is_fatal_with_tabs_kept_in_the_marker) {
    EXPECT_EXIT(load("Usage: t\nArguments:\n\t--x <1-2> : d\n"), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\n\t--x <1-2> : d\n\t         ^"));
}

TEST_F(parsing_death, tabs_inside_the_line_are_kept_in_the_marker) {
    EXPECT_EXIT(load("Usage: t\nArguments:\n\t--x\t<1-2>\t: d\n"), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\n\t--x\t<1-2>\t: d\n\t   \t     ^"));
}

TEST_F(parsing_death, minus_sign_on_a_bound_is_fatal) {
    EXPECT_EXIT(load("Usage: t\nArguments:\n--a <-1-5>: d\n"), ::testing::ExitedWithCode(1),
                device_fatal_re("Failed to match regular expression:\n--a <-1-5>: d\n     ^"));
}

TEST_F(parsing, ten_list_items_in_written_order) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--n {j|i|h|g|f|e|d|c|b|a}: Letters\n"));
    auto a = args();
    ASSERT_EQ(a.count(), 1);
    EXPECT_EQ(a[0].arg_type, 1);
    EXPECT_EQ(device_vec(a[0].values), strings({"j", "i", "h", "g", "f", "e", "d", "c", "b", "a"}));
    EXPECT_STREQ(a[0].default_value.c_str(), "j");
}

TEST_F(parsing, execute_passes_every_argument_as_two_words) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <0-9>: A\n--b {w|x}: B\n"));
    dev()->select_arg("a");
    dev()->set_cur_arg_value("1");
    dev()->select_arg("b");
    dev()->set_cur_arg_value("x");
    dev()->execute();
    EXPECT_EQ(wait_for_end(), 0);
    EXPECT_EQ(device_read_lines(m_dir.at("t.args")), strings({"--a", "1", "--b", "x"}));
}

TEST_F(parsing, execute_passes_unchanged_defaults_too) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--level <0-9>: Default=4, L\n--name {a b|c}: N\n"));
    dev()->execute();
    EXPECT_EQ(wait_for_end(), 0);
    EXPECT_EQ(device_read_lines(m_dir.at("t.args")), strings({"--level", "4", "--name", "a b"}));
}

TEST_F(parsing, a_direct_test_skips_its_help_and_runs_with_the_last_arguments) {
    ASSERT_TRUE(load("Usage: t\nArguments:\n--a <0-9>: A\n"));
    m_dir.write_script("direct_exec.go", "for a in \"$@\"; do printf '%s\\n' \"$a\"; done > '" + m_dir.at("go.args") +
                                             "'\nif [ \"$1\" = --help ]; then echo asked > '" + m_dir.at("asked") + "'; fi\n");
    dev()->refresh_menu();
    dev()->set_cur_exec("direct_exec.go");
    EXPECT_FALSE(dev()->load_exec_help());
    EXPECT_FALSE(std::filesystem::exists(m_dir.at("asked")));
    EXPECT_STREQ(dev()->help_msg()->c_str(), "Usage: t\nArguments:\n--a <0-9>: A\n");
    dev()->execute();
    EXPECT_EQ(wait_for_end(), 0);
    EXPECT_EQ(device_read_lines(m_dir.at("go.args")), strings({"--a", "0"}));
}

TEST_F(parsing, help_output_arriving_in_pieces_is_gathered) {
    m_dir.write_script("t", "echo Usage: t\nsleep 0.3\necho Arguments:\nsleep 0.3\necho '--a <1-2>: A'\n");
    select_local();
    dev()->set_cur_exec("t");
    EXPECT_TRUE(dev()->load_exec_help());
    EXPECT_STREQ(dev()->help_msg()->c_str(), "Usage: t\nArguments:\n--a <1-2>: A\n");
    EXPECT_EQ(args().count(), 1);
}
