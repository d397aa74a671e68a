// The exit hook: what the program changed outside itself (the console's mode on
// a framebuffer) is put back on a fatal error too, which ends the process
// without running exit handlers.
#include <gtest/gtest.h>

#include <cstdio>

#include "ozgi/cls_log.h"

using namespace ozgi;

namespace {

void say_hook_ran() { std::fputs("hook ran\n", stderr); }

} // namespace

TEST(core_exit_hook, a_fatal_error_runs_the_hook_after_its_message) {
    EXPECT_EXIT(
        {
            cls_log::set_exit_hook(say_hook_ran);
            OZGI_FATAL("Broken %d.", 7);
        },
        testing::ExitedWithCode(1), ": Broken 7\\.\nhook ran\n$");
}

TEST(core_exit_hook, a_cleared_hook_is_not_run) {
    EXPECT_EXIT(
        {
            cls_log::set_exit_hook(say_hook_ran);
            cls_log::set_exit_hook(nullptr);
            cls_log::run_exit_hook();
            OZGI_FATAL("Broken.");
        },
        testing::ExitedWithCode(1), ": Broken\\.\n$");
}

TEST(core_exit_hook, run_exit_hook_calls_it_directly) {
    testing::internal::CaptureStderr();
    cls_log::set_exit_hook(say_hook_ran);
    cls_log::run_exit_hook();
    cls_log::set_exit_hook(nullptr);
    cls_log::run_exit_hook();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "hook ran\n");
}
