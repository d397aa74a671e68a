#pragma once
// The adb devices that can run tests now: those "adb devices" lists in the
// state "device" (not "offline", "unauthorized" and so on).
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_devices {
public:
    /// Appends to *ids the serial ids of the ready devices, in the tool's order.
    static void ready(ozgi::cls_array<ozgi::cls_string>* ids);
    /// Appends to *ids the ids in an "adb devices" output whose state is "device".
    static void parse_ready(const ozgi::cls_string& output, ozgi::cls_array<ozgi::cls_string>* ids);
    /// Whether the device `serial_id` is ready now.
    static bool is_ready(const ozgi::cls_string& serial_id);
};
