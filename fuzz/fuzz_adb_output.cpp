// What the adb device makes of adb's output: the input is taken in turn as the
// output of "adb devices", as a directory listing with the "ls -ld" line of one
// entry, and as a test's output ending in the "exit_code=" marker.
#include <cstdint>

#include "devices/cls_adb_vesk_device.h"
#include "fuzz_support.h"

using namespace ozgi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cls_string output(reinterpret_cast<const char*>(data), static_cast<int>(size));
    vesk_fuzz::run_allowing_fatal([&] {
        cls_array<cls_string> ids;
        cls_adb_vesk_device::parse_serial_ids(output, &ids);
        for (int i = 0; i < ids.count(); ++i)
            vesk_fuzz::check(ids[i].length() < output.length(), "an id is a piece of the output");

        cls_array<cls_string> names;
        output.split_to_lines(&names);
        for (int i = 0; i < names.count(); ++i) cls_adb_vesk_device::entry_kind(&names[i]);
        cls_adb_vesk_device::entry_kind_t kind = cls_adb_vesk_device::entry_kind(&output);
        vesk_fuzz::check(kind != cls_adb_vesk_device::ENTRY_DIR || output[0] == 'd', "a directory starts with d");
        vesk_fuzz::check(cls_adb_vesk_device::entry_kind(nullptr) == cls_adb_vesk_device::ENTRY_OTHER,
                         "no output is no entry");

        cls_string chunk = output;
        cls_adb_vesk_device::cut_exit_code(&chunk);
        vesk_fuzz::check(chunk.length() <= output.length(), "the chunk only gets shorter");
        vesk_fuzz::check(output.begin_with(chunk.c_str()) || chunk.has('\0'), "the chunk is the start of the output");
    });
    return 0;
}
