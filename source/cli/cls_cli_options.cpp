#include "cli/cls_cli_options.h"

#include <cstdio>

#include "ozgi/cls_sp.h"
#include "devices/if_vesk_device.h"

using ozgi::cls_array;
using ozgi::cls_string;

namespace {

// A whole number of seconds, at least `min`; false for anything else.
bool seconds(const cls_string& text, int min, int* out) {
    if (text.is_empty() || text.length() > 6) return false;
    for (int i = 0; i < text.length(); ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    *out = text.to_int();
    return *out >= min;
}

} // namespace

cls_cli_options::cls_cli_options()
    : help(false),
      all_devices(false),
      json(false),
      help_timeout_s(10),
      werror(false),
      all(false),
      with_direct(false),
      timeout_s(0),
      worker(false) {}

void cls_cli_options::print_usage(std::FILE* out) {
    std::fputs("vesk-cli: check a vesk menu, list it and run its tests without a screen." "\n", out);
    std::fputs("Usage: vesk-cli <command> [options]" "\n", out);
    std::fputs("Commands:" "\n", out);
    std::fputs("  list [--json] [--lang=zh_CN]" "\n", out);
    std::fputs("      The menu tree as vesk shows it; each entry marked menu, test or direct." "\n", out);
    std::fputs("  check [--help-timeout=SECONDS] [--werror]" "\n", out);
    std::fputs("      Runs every test's --help (default limit 10 s) and reports what the panel" "\n", out);
    std::fputs("      would refuse or show wrongly. Exit status 1 on errors (--werror: also warnings)." "\n", out);
    std::fputs("  run PATH [--NAME=VALUE ...] [--timeout=SECONDS] [--json=FILE] [--junit=FILE]" "\n", out);
    std::fputs("      Runs one test (PATH below the menu root) with its defaults and the given values," "\n", out);
    std::fputs("      streams its output and exits with its exit code (124 after --timeout)." "\n", out);
    std::fputs("  run --all [PREFIX] [--with-direct] [--timeout=SECONDS] [--junit=FILE] [--json=FILE] [--tap=FILE]" "\n", out);
    std::fputs("      Runs every test below PREFIX with its defaults, one after the other; direct tests" "\n", out);
    std::fputs("      only with --with-direct. On timeout: SIGINT, SIGTERM 2 s later, SIGKILL 2 s after that." "\n", out);
    std::fputs("      --junit writes JUnit XML, --json appends JSON Lines, --tap writes TAP 13. Exit status 0" "\n", out);
    std::fputs("      when all passed. With --device=adb --serial-id=A,B,C (or =all: every attached device)" "\n", out);
    std::fputs("      the tests run on all of them at once, one worker per device, and a final table shows" "\n", out);
    std::fputs("      each test on each device." "\n", out);
    std::fputs("      run takes --help-timeout too (default 10 s) for reading a test's arguments." "\n", out);
    std::fputs("Common options:" "\n", out);
    std::fputs("  --device=<local|adb>   the device holding the menu (default local)" "\n", out);
    std::fputs("  --dir=<menu-dir>       the menu root (default \"./\", on adb \"/dfs/vesk/\")" "\n", out);
    std::fputs("  --serial-id=<id>       the adb device (default: $ANDROID_SERIAL); run --all: also A,B,C or all" "\n", out);
    std::fputs("  -h, --help             this text" "\n", out);
}

bool cls_cli_options::parse(const cls_array<cls_string>& args, cls_string* error) {
    bool serial_given = false;
    bool device_given = false;
    bool dir_given = false;
    for (int i = 0; i < args.count(); ++i) {
        const cls_string& arg = args[i];
        cls_string value;
        if (arg == "-h" || arg == "--help") {
            help = true;
        } else if (arg.begin_with("--device=", &value)) {
            // As for vesk, the first occurrence of an option wins.
            if (!device_given) device = value;
            device_given = true;
        } else if (arg.begin_with("--dir=", &value)) {
            if (!dir_given) dir = value;
            dir_given = true;
        } else if (arg.begin_with("--serial-id=", &value)) {
            if (!serial_given) serial_id = value;
            serial_given = true;
        } else if (arg.begin_with("--ozgi-")) {
            // The framework's own options are the framework's business.
        } else if (command.is_empty()) {
            if (arg != "list" && arg != "check" && arg != "run") {
                error->print("unknown %s: %s", arg.begin_with("-") ? "option" : "command", arg.c_str());
                return false;
            }
            command = arg;
        } else if (command == "list" && arg == "--json") {
            json = true;
        } else if (command == "list" && arg.begin_with("--lang=", &value)) {
            if (value != "zh_CN" && value != "en_US") {
                error->print("unknown language: %s (en_US or zh_CN)", value.c_str());
                return false;
            }
            lang = value;
        } else if ((command == "check" || command == "run") && arg.begin_with("--help-timeout=", &value)) {
            if (!seconds(value, 1, &help_timeout_s)) {
                error->print("bad --help-timeout: %s (whole seconds, at least 1)", value.c_str());
                return false;
            }
        } else if (command == "check" && arg == "--werror") {
            werror = true;
        } else if (command == "run" && arg == "--all") {
            all = true;
        } else if (command == "run" && arg == "--with-direct") {
            with_direct = true;
        } else if (command == "run" && arg.begin_with("--timeout=", &value)) {
            if (!seconds(value, 1, &timeout_s)) {
                error->print("bad --timeout: %s (whole seconds, at least 1)", value.c_str());
                return false;
            }
        } else if (command == "run" && arg.begin_with("--junit=", &value) && value.is_not_empty()) {
            junit_file = value;
        } else if (command == "run" && arg.begin_with("--json=", &value) && value.is_not_empty()) {
            json_file = value;
        } else if (command == "run" && arg.begin_with("--tap=", &value) && value.is_not_empty()) {
            tap_file = value;
        } else if (command == "run" && arg == "--worker") {
            worker = true;
        } else if (command == "run" && path.is_not_empty() && !all && arg.begin_with("--", &value) &&
                   value.find('=') > 0) {
            // A value for one of the test's own arguments; the test's help decides later.
            int eq = value.find('=');
            override_names.append(value.sub_str(0, eq));
            override_values.append(value.sub_str(eq + 1));
        } else if (command == "run" && path.is_empty() && arg.not_begin_with("-")) {
            path = arg;
        } else {
            error->print("unknown %s: %s", arg.begin_with("-") ? "option" : "argument", arg.c_str());
            return false;
        }
    }
    if (!serial_given) {
        // The same fallback as vesk, whatever the device.
        serial_id = if_vesk_device::serial_id_from_env();
    }
    if (serial_id == "all" || serial_id.find(',') != cls_string::NOT_FOUND) {
        all_devices = serial_id == "all";
        cls_string part;
        for (int i = 0; !all_devices && i <= serial_id.length(); ++i) {
            if (i < serial_id.length() && serial_id[i] != ',') {
                part += serial_id[i];
                continue;
            }
            if (part.is_not_empty()) serial_ids.append(part);
            part.clear();
        }
    }
    if (help) return true;
    if (command.is_empty()) {
        *error = "no command given";
        return false;
    }
    if (command == "run" && !all && path.is_empty()) {
        *error = "run needs a test PATH or --all";
        return false;
    }
    if (several_devices() && (command != "run" || !all)) {
        error->print("%s takes one device; several devices are for run --all (PATH as its prefix)",
                     command == "run" ? "run PATH" : command.c_str());
        return false;
    }
    if (several_devices() && device != "adb") {
        *error = "several devices need --device=adb";
        return false;
    }
    if (command == "run" && all && !override_names.is_empty()) {
        *error = "run --all takes no argument values";
        return false;
    }
    return true;
}
