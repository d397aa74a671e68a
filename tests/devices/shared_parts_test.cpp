// The pieces the panel and vesk-cli share: the help-text parser (stopping at
// the first refused line or collecting them all), the caret, the numeric
// argument's buttons and taps, the argument words, the directory chain and the
// devices' identity.
#include <gtest/gtest.h>

#include "devices/cls_adb_vesk_device.h"
#include "devices/cls_local_vesk_device.h"
#include "devices/cls_vesk_dir_chain.h"
#include "devices/cls_vesk_help_parser.h"
#include "devices/cls_vesk_numeric_arg.h"
#include "devices/cls_vesk_run_record.h"

using ozgi::cls_array;
using ozgi::cls_fixed_point;
using ozgi::cls_string;
typedef cls_vesk_device::arg_info_t arg_info_t;

namespace {
const char* const TWO_BAD = "Usage: t\nArguments:\n--a <1-5>: A\nnot an argument\n--b {x|y}: B\n\t--c : d\n";
} // namespace

TEST(help_parser, the_panel_stops_at_the_first_refused_line) {
    cls_array<arg_info_t> args;
    cls_array<cls_vesk_help_parser::refused_t> refused;
    EXPECT_FALSE(cls_vesk_help_parser::parse(TWO_BAD, true, &args, nullptr, &refused));
    ASSERT_EQ(refused.count(), 1);
    EXPECT_STREQ(refused[0].line.c_str(), "not an argument");
    EXPECT_EQ(args.count(), 1);
}

TEST(help_parser, check_collects_every_refused_line_and_every_good_one) {
    cls_array<arg_info_t> args;
    cls_array<cls_string> lines;
    cls_array<cls_vesk_help_parser::refused_t> refused;
    EXPECT_FALSE(cls_vesk_help_parser::parse(TWO_BAD, false, &args, &lines, &refused));
    ASSERT_EQ(refused.count(), 2);
    EXPECT_STREQ(refused[1].line.c_str(), "\t--c : d");
    ASSERT_EQ(args.count(), 2);
    EXPECT_STREQ(args[1].arg_name.c_str(), "b");
    // A list without a written default takes its first item.
    EXPECT_STREQ(args[1].default_value.c_str(), "x");
    EXPECT_STREQ(lines[1].c_str(), "--b {x|y}: B");
    // The caret copies the line's TABs up to the place it points at.
    EXPECT_STREQ(cls_vesk_help_parser::with_caret(refused[1].line, refused[1].column).c_str(), "\t--c : d\n\t    ^");
}

TEST(help_parser, only_a_zero_exit_and_a_usage_line_are_read) {
    EXPECT_TRUE(cls_vesk_help_parser::usable(0, "Usage: t\n"));
    EXPECT_FALSE(cls_vesk_help_parser::usable(1, "Usage: t\n"));
    EXPECT_FALSE(cls_vesk_help_parser::usable(0, " Usage: t\n"));
}

TEST(numeric_arg, buttons_follow_the_step_and_the_range) {
    arg_info_t arg;
    arg.values.append("0").append("20");
    arg.step = "0.5";
    cls_array<cls_fixed_point> amounts;
    int width = 0;
    cls_vesk_numeric_arg::amounts(arg, cls_fixed_point("20"), &amounts, &width);
    EXPECT_EQ(width, 1);
    cls_string shown;
    for (int i = 0; i < amounts.count(); ++i) shown += amounts[i].to_string() + " ";
    EXPECT_STREQ(shown.c_str(), "-0.5 0.5 -1 1 -10 10 ");
}

TEST(numeric_arg, a_tap_clamps_lower_bound_first_and_checked_taps_report_overflow) {
    cls_fixed_point out;
    ASSERT_TRUE(cls_vesk_numeric_arg::tap(cls_fixed_point("3"), cls_fixed_point("-10"), cls_fixed_point("1"),
                                          cls_fixed_point("9"), -1, false, &out));
    EXPECT_STREQ(out.to_string().c_str(), "1");
    // Reversed bounds: the higher one wins.
    ASSERT_TRUE(cls_vesk_numeric_arg::tap(cls_fixed_point("3"), cls_fixed_point("1"), cls_fixed_point("9"),
                                          cls_fixed_point("2"), -1, true, &out));
    EXPECT_STREQ(out.to_string().c_str(), "2");
    cls_fixed_point big("9000000000000000000");
    EXPECT_FALSE(cls_vesk_numeric_arg::tap(big, big, cls_fixed_point("0"), big, -1, true, &out));
}

TEST(arg_words, every_argument_with_its_value) {
    cls_array<arg_info_t> args(2);
    arg_info_t a;
    a.arg_name = "n";
    a.default_value = "4";
    args.append(a);
    a.arg_name = "mode";
    a.default_value = "fast";
    args.append(a);
    cls_array<cls_string> words;
    cls_vesk_device::arg_words(args, &words);
    EXPECT_STREQ(words.glue(" ")->c_str(), "--n 4 --mode fast");
}

TEST(dir_chain, a_directory_on_the_way_down_is_a_loop) {
    cls_vesk_dir_chain chain;
    ozgi::cls_dir::id_t root{1, 2}, sub{1, 3};
    EXPECT_TRUE(chain.enter(root));
    EXPECT_TRUE(chain.enter(sub));
    EXPECT_FALSE(chain.enter(root));
    chain.leave();
    EXPECT_TRUE(chain.enter(ozgi::cls_dir::id_t{1, 4}));
}

TEST(device_identity, kinds_serials_and_default_roots) {
    cls_local_vesk_device local;
    cls_adb_vesk_device adb;
    EXPECT_EQ(local.kind(), if_vesk_device::KIND_LOCAL);
    EXPECT_STREQ(local.serial_id().c_str(), "LOCAL_DEVICE");
    EXPECT_TRUE(local.can_stop());
    EXPECT_EQ(adb.kind(), if_vesk_device::KIND_ADB);
    EXPECT_FALSE(adb.can_stop());
    EXPECT_STREQ(if_vesk_device::kind_name(adb.kind()), "adb");
    EXPECT_STREQ(if_vesk_device::default_root(if_vesk_device::KIND_ADB), "/dfs/vesk/");
    EXPECT_STREQ(if_vesk_device::default_root(if_vesk_device::KIND_LOCAL), "./");
}

TEST(run_result, names_and_kinds) {
    EXPECT_EQ(cls_vesk_run_record::result_of_name("TIMEOUT"), cls_vesk_run_record::RESULT_TIMEOUT);
    EXPECT_EQ(cls_vesk_run_record::result_of_name("pass"), cls_vesk_run_record::RESULT_NONE);
    EXPECT_STREQ(cls_vesk_run_record::result_name(cls_vesk_run_record::RESULT_ERROR), "ERROR");
    EXPECT_EQ(cls_vesk_run_record::result_of_run(0, true), cls_vesk_run_record::RESULT_TIMEOUT);
    EXPECT_EQ(cls_vesk_run_record::result_of_run(2, false), cls_vesk_run_record::RESULT_FAIL);
}
