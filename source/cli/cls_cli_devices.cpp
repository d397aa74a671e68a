#include "cli/cls_cli_devices.h"

#include "ozgi/cls_process.h"

using ozgi::cls_array;
using ozgi::cls_string;

void cls_cli_devices::ready(cls_array<cls_string>* ids) {
    ozgi::cls_sp<cls_string> output = ozgi::cls_process::execute_cmd(cls_string("adb devices"));
    if (output.is_not_null()) parse_ready(*output, ids);
}

void cls_cli_devices::parse_ready(const cls_string& output, cls_array<cls_string>* ids) {
    cls_array<cls_string> lines(cls_array<cls_string>::INITIAL_SLOTS);
    output.split_to_lines(&lines);
    // The first line is the tool's header; lines without a tab are not devices.
    for (int i = 1; i < lines.count(); ++i) {
        int tab = lines[i].find('\t');
        if (tab == cls_string::NOT_FOUND || tab == 0) continue;
        cls_string state = lines[i].sub_str(tab + 1);
        state.trim_to_str(" \t\r", true, true);
        if (state == "device") ids->append(lines[i].sub_str(0, tab));
    }
}

bool cls_cli_devices::is_ready(const cls_string& serial_id) {
    cls_array<cls_string> ids;
    ready(&ids);
    for (int i = 0; i < ids.count(); ++i)
        if (ids[i] == serial_id) return true;
    return false;
}
