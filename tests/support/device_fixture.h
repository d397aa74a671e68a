#pragma once
// A test fixture that starts every test with a fresh device singleton and a
// fresh temporary menu directory.
#include <gtest/gtest.h>

#include <string>

#include "devices/cls_vesk_device.h"
#include "device_test_util.h"

class device_fixture : public ::testing::Test {
protected:
    void SetUp() override { cls_vesk_device::release_func(cls_vesk_device::ins()); }
    void TearDown() override { cls_vesk_device::release_func(cls_vesk_device::ins()); }

    /// The device singleton.
    static cls_vesk_device* dev() { return cls_vesk_device::ins(); }

    /// Chooses the local device on the temporary directory and builds its menu.
    void select_local() { select_local(m_dir.path()); }
    /// Chooses the local device on `root` and builds its menu.
    static void select_local(const std::string& root) {
        dev()->set_info("local", root.c_str());
        dev()->set_serial_id("LOCAL_DEVICE");
    }

    /// Polls the singleton until the running test has printed `expected_output`, then
    /// until it ends; returns its exit code. The output is read to the end first
    /// because what a test writes just before it is reaped is not kept.
    static int wait_for_end(const std::string& expected_output = "") {
        std::string output;
        device_poll_until([&] {
            output += dev()->read_output()->c_str();
            return output.size() >= expected_output.size();
        });
        EXPECT_EQ(output, expected_output);
        int code = -1000;
        device_poll_until([&] { return dev()->is_ended(&code); });
        return code;
    }

    /// The menu tree as text.
    static std::string tree_text() { return dev()->menu_tree()->to_string()->c_str(); }

    device_temp_dir m_dir;
};
