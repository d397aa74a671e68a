#pragma once
// Judges parsed arguments as the argument pages will meet them: numbers the
// fixed-point type cannot hold or that end the numeric page when it opens or
// when a step button is tapped, defaults outside their range or list, duplicate
// names, blank list items.
#include "cli/cls_cli_problem.h"
#include "devices/cls_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_cli_arg_check {
public:
    /// Appends the problems of `args` (with `lines`, the line each came from).
    static void check(const ozgi::cls_array<cls_vesk_device::arg_info_t>& args,
                      const ozgi::cls_array<ozgi::cls_string>& lines, ozgi::cls_array<cls_cli_problem>* problems);
    /// Whether `value` is acceptable for `arg`: inside its range (a number the
    /// page can hold) or one of its items. Otherwise `why` says what is wrong.
    static bool value_ok(const cls_vesk_device::arg_info_t& arg, const ozgi::cls_string& value, ozgi::cls_string* why);

private:
    static void check_numeric(const cls_vesk_device::arg_info_t& arg, const ozgi::cls_string& line,
                              ozgi::cls_array<cls_cli_problem>* problems);
    static void check_list(const cls_vesk_device::arg_info_t& arg, const ozgi::cls_string& line,
                           ozgi::cls_array<cls_cli_problem>* problems);
};
