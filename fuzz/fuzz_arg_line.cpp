// The argument-line parser of a test's help text: the input is the whole help
// text. A line after "Arguments:" that is not an argument line is a clean fatal.
#include <cstdint>

#include "devices/cls_vesk_device.h"
#include "fuzz_support.h"

using namespace ozgi;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cls_string help(reinterpret_cast<const char*>(data), static_cast<int>(size));
    vesk_fuzz::run_allowing_fatal([&] {
        cls_array<cls_vesk_device::arg_info_t> args;
        cls_vesk_device::parse_arg_lines(help, &args);
        for (int i = 0; i < args.count(); ++i) {
            const cls_vesk_device::arg_info_t& arg = args[i];
            vesk_fuzz::check(arg.arg_name.is_not_empty(), "an argument has a name");
            vesk_fuzz::check(arg.default_value.is_not_empty(), "an argument has a default");
            if (arg.arg_type == 0) vesk_fuzz::check(arg.values.count() == 2, "a range has two bounds");
            else vesk_fuzz::check(arg.arg_type == 1 && arg.values.count() >= 1, "a list has items");
            for (int v = 0; v < arg.values.count(); ++v)
                vesk_fuzz::check(arg.values[v].is_not_empty(), "no value is empty");
        }
    });
    return 0;
}
