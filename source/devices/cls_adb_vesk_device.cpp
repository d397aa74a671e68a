#include "devices/cls_adb_vesk_device.h"

#include "ozgi/cls_file.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_process_group.h"
#include "ozgi/cls_time.h"
#include "ozgi/cls_ui_text_dict.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {
// The marker the remote command line echoes after the test, followed by its status.
const char* const EXIT_CODE_MARKER = "exit_code=";
const int EXIT_CODE_MARKER_LEN = 10;
// The line an endable start prints first: the remote process group of the test.
const char* const GROUP_MARKER = "vesk_pgid=";
const int GROUP_MARKER_LEN = 10;
// The pause between two looks at the local client while a test is being ended.
const int END_POLL_MS = 20;
} // namespace

cls_adb_vesk_device::cls_adb_vesk_device()
    : m_root_dir(), m_serial_id(), m_process(nullptr), m_exit_code_got(false), m_exit_code(0), m_ls_one_supported(true),
      m_endable(false), m_remote_group(0), m_group_line_done(true), m_held(), m_held_output() {}

// FIXME: the process object of a test still running at exit is not freed here
// (it is the running test's, and this destructor only drops the strings).
cls_adb_vesk_device::~cls_adb_vesk_device() {}

void cls_adb_vesk_device::adb_prefix(cls_array<cls_string>* argv) const {
    argv->append("adb");
    if (m_serial_id.is_not_empty()) argv->append("-s").append(m_serial_id);
}

cls_sp<cls_array<cls_string>> cls_adb_vesk_device::list_serial_ids() {
    cls_sp<cls_string> output = ozgi::cls_process::execute_cmd(cls_string("adb devices"));
    cls_array<cls_string>* ids = OZGI_NEW(cls_array<cls_string>)(cls_array<cls_string>::INITIAL_SLOTS);
    if (output.is_not_null()) parse_serial_ids(*output, ids);
    return cls_sp<cls_array<cls_string>>(ids);
}

void cls_adb_vesk_device::parse_serial_ids(const cls_string& output, cls_array<cls_string>* ids) {
    cls_array<cls_string> lines(cls_array<cls_string>::INITIAL_SLOTS);
    output.split_to_lines(&lines);
    // The header line and the closing empty line are skipped by position; the
    // state column is ignored, so every listed device is offered.
    if (lines.count() > 2) {
        for (int i = 1; i <= lines.count() - 2; ++i) {
            cls_string id;
            lines[i].get_sub_str(0, '\t', &id);
            ids->append(id);
        }
    }
}

void cls_adb_vesk_device::set_serial_id(const cls_string& serial_id) {
    m_serial_id = serial_id;

    // Some targets' ls has no "-1"; the echoed status of a trial listing tells.
    cls_array<cls_string> words;
    words.append("ls").append("-1");
    adb_exec("/", words, false);
    int code = 0;
    while (!is_ended(&code)) ozgi::cls_time::sleep_ms(1);
    m_ls_one_supported = code == 0;
}

void cls_adb_vesk_device::build_menu_tree(const cls_string& root_dir, menu_tree_t* tree) {
    m_root_dir = root_dir.is_empty() ? cls_string(default_root(KIND_ADB)) : root_dir;

    // Unlike the local device, the dictionary goes over as text: its path is on the target.
    // FIXME: a FIFO named dict.xml on the target is pulled like a file, and the pull
    // then waits for a writer; telling it apart would take an "ls -ld" call before the
    // pull, which the device's fixed sequence of adb commands has no room for.
    cls_sp<cls_string> dict = read_remote_file(m_root_dir + "/dict.xml");
    if (dict.is_not_null()) ozgi::cls_ui_text_dict::ins()->add_dict(*dict);

    // This title is deliberately not in the program's dictionary.
    tree->set_root_data(menu_node_t("Diagnostic menu.", false));
    scan_dir(tree, tree->root(), m_root_dir);
}

void cls_adb_vesk_device::list_dir(const cls_string& dir, cls_array<cls_string>* dirs, cls_array<cls_string>* execs) {
    cls_array<cls_string> argv(cls_array<cls_string>::INITIAL_SLOTS);
    adb_prefix(&argv);
    argv.append("shell").append("ls");
    if (m_ls_one_supported) argv.append("-1");
    argv.append(dir);
    cls_sp<cls_string> listing = ozgi::cls_process::execute_cmd(argv);
    cls_array<cls_string> names(cls_array<cls_string>::INITIAL_SLOTS);
    if (listing.is_not_null()) listing->split_to_lines(&names);

    // The listing carries no types, so each entry is asked for its mode line.
    for (int i = 0; i < names.count(); ++i) {
        const cls_string& name = names[i];
        cls_array<cls_string> ls_ld(cls_array<cls_string>::INITIAL_SLOTS);
        adb_prefix(&ls_ld);
        ls_ld.append("shell").append("ls").append("-ld").append(dir + "/" + name);
        cls_sp<cls_string> mode_line = ozgi::cls_process::execute_cmd(ls_ld);
        entry_kind_t kind = entry_kind(mode_line.get());
        if (kind == ENTRY_DIR) {
            dirs->append(name);
        } else if (kind == ENTRY_EXEC) {
            execs->append(name);
        }
    }
}

cls_adb_vesk_device::entry_kind_t cls_adb_vesk_device::entry_kind(const cls_string* mode_line) {
    const char* mode = mode_line ? mode_line->c_str() : "";
    // The mode column: 'd' first for a directory, the owner's 'x' fourth for an
    // executable. A line too short to have a fourth character is not one.
    if (mode[0] == 'd') return ENTRY_DIR;
    if (mode_line && mode_line->length() > 3 && mode[3] == 'x') return ENTRY_EXEC;
    return ENTRY_OTHER;
}

bool cls_adb_vesk_device::scan_dir(menu_tree_t* tree, menu_tree_node_t* parent, const cls_string& dir) {
    cls_array<cls_string> dirs(cls_array<cls_string>::INITIAL_SLOTS);
    cls_array<cls_string> execs(cls_array<cls_string>::INITIAL_SLOTS);
    list_dir(dir, &dirs, &execs);
    bool found = false;
    for (int i = 0; i < dirs.count(); ++i) {
        menu_tree_node_t* node = tree->add_last_child(parent, menu_node_t(dirs[i], false));
        if (scan_dir(tree, node, dir + "/" + dirs[i])) {
            found = true;
        } else {
            // A sub-menu must lead to at least one test.
            tree->remove_sub_tree(node);
        }
    }
    for (int i = 0; i < execs.count(); ++i) {
        tree->add_last_child(parent, menu_node_t(execs[i], true));
        found = true;
    }
    return found;
}

bool cls_adb_vesk_device::pull_file(const cls_string& remote_path, const cls_string& local_path) {
    cls_array<cls_string> argv(cls_array<cls_string>::INITIAL_SLOTS);
    adb_prefix(&argv);
    argv.append("pull").append(remote_path).append(local_path);
    return ozgi::cls_process::execute_cmd(argv, nullptr, nullptr) == 0;
}

cls_sp<cls_string> cls_adb_vesk_device::read_remote_file(const cls_string& remote_path) {
    cls_string temp_path = ozgi::cls_file::create_temp_file("./");
    cls_sp<cls_string> text;
    if (pull_file(remote_path, temp_path)) text = ozgi::cls_file::read_to_str(temp_path);
    // Removed whether or not the pull worked: a failed pull may leave it empty or partial.
    ozgi::cls_file::remove(temp_path, false);
    return text;
}

void cls_adb_vesk_device::adb_exec(const cls_string& dir, const cls_array<cls_string>& words, bool prefix_root) {
    if (m_process) {
        ozgi::ozgi_delete(m_process);
        m_process = nullptr;
    }
    // One shell word for the target: start in the test's own directory, run the
    // words as they are (nothing quoted), and echo the status right after.
    cls_string command_line = cls_string("cd ") + m_root_dir + "/" + dir + " ; ";
    if (m_endable && prefix_root && !words.is_empty()) {
        // The test becomes the leader of a session of its own (where the target
        // has setsid), and the shell that execs it prints its id first: the
        // test's process group, for "kill" to reach the test and its children.
        command_line += "S= ; command -v setsid >/dev/null 2>&1 && S=setsid ; "
                        "$S sh -c 'echo vesk_pgid=$$ ; exec \"$0\" \"$@\"' ";
    }
    if (prefix_root) command_line += m_root_dir + "/";
    command_line += *words.glue(" ");
    command_line += " ; echo exit_code=$?";

    cls_array<cls_string> argv(cls_array<cls_string>::INITIAL_SLOTS);
    adb_prefix(&argv);
    argv.append("shell").append(command_line);
    m_process = OZGI_NEW(ozgi::cls_process)(argv, cls_string(""));
    m_process->set_output_limit(m_output_limit, m_keep_tail);
    m_dropped = 0;
}

void cls_adb_vesk_device::set_output_bound(int limit, bool keep_tail) {
    m_output_limit = limit;
    m_keep_tail = keep_tail;
}

void cls_adb_vesk_device::exec_test(const cls_string& rel_dir, const cls_array<cls_string>& cmd) {
    m_exit_code_got = false;
    m_exit_code = 0;
    m_remote_group = 0;
    m_group_line_done = !m_endable || cmd.is_empty();
    m_held.clear();
    m_held_output.clear();
    adb_exec(rel_dir, cmd, true);
}

void cls_adb_vesk_device::take_exit_code(cls_string* chunk) {
    bool marker = chunk->rfind(EXIT_CODE_MARKER, -1) != cls_string::NOT_FOUND;
    m_exit_code = cut_exit_code(chunk);
    // vesk-cli must not count a run whose status never came (the target went
    // away, adb failed) as passed; the panel keeps its designed reading.
    if (m_endable && !marker) m_exit_code = NO_STATUS;
    m_exit_code_got = true;
}

int cls_adb_vesk_device::cut_exit_code(cls_string* chunk) {
    // Only the last marker counts, so a test that prints "exit_code=" itself does
    // not fool it. A missing marker gives NOT_FOUND (-1): the status is then read
    // from whatever follows position 9 and the whole chunk is kept; the operator
    // sees everything that arrived and nothing is reported.
    int position = chunk->rfind(EXIT_CODE_MARKER, -1);
    cls_string status = chunk->sub_str(position + EXIT_CODE_MARKER_LEN, -1);
    status.trim_to_str("\n\r", true, true);
    chunk->to_sub_str(0, position);
    return status.to_int();
}

cls_sp<cls_string> cls_adb_vesk_device::read_output() {
    if (m_process == nullptr) OZGI_FATAL("Can't read stdout, test is not started yet.");
    // Read, then ask: the process reports its end only once no output arrived
    // since the read, so a chunk read just before the end is seen holds the marker.
    cls_sp<cls_string> chunk = m_process->read_to_str();
    if (chunk.is_null()) chunk = OZGI_NEW(cls_string)();
    bool ended = m_process->is_ended();
    if (!m_group_line_done) take_group_line(chunk.get(), ended);
    if (m_held_output.is_not_empty()) {
        *chunk = m_held_output + *chunk;
        m_held_output.clear();
    }
    m_dropped = m_process->dropped_bytes();
    if (ended) take_exit_code(chunk.get());
    return chunk;
}

bool cls_adb_vesk_device::is_ended(int* exit_code) {
    if (m_process == nullptr) OZGI_FATAL("Can't get if exec is ended, test is not started yet.");
    if (!m_process->is_ended()) return false;
    if (!m_exit_code_got) {
        // What is read here never reaches the operator.
        cls_sp<cls_string> rest = m_process->read_to_str();
        cls_string text = rest.is_not_null() ? *rest : cls_string();
        if (!m_group_line_done) take_group_line(&text, true);
        text = m_held_output + text;
        m_held_output.clear();
        take_exit_code(&text);
    }
    *exit_code = m_exit_code;
    m_process->wait_for_exit();
    ozgi::ozgi_delete(m_process);
    m_process = nullptr;
    return true;
}

void cls_adb_vesk_device::stop() { OZGI_FATAL("Not realized yet"); }

cls_sp<cls_string> cls_adb_vesk_device::read_menu_file(const cls_string& path) { return read_remote_file(path); }

void cls_adb_vesk_device::take_group_line(cls_string* chunk, bool ended) {
    m_held += *chunk;
    chunk->clear();
    int end = m_held.find('\n');
    if (end == cls_string::NOT_FOUND) {
        if (!ended) return;
        // The line never came (no shell on the target?): all of it is output.
        *chunk = m_held;
    } else if (m_held.begin_with(GROUP_MARKER)) {
        cls_string number = m_held.sub_str(GROUP_MARKER_LEN, end - GROUP_MARKER_LEN);
        number.trim_to_str("\r", false, true);
        m_remote_group = number.to_int();
        *chunk = m_held.sub_str(end + 1);
    } else {
        *chunk = m_held;
    }
    m_held.clear();
    m_group_line_done = true;
}

void cls_adb_vesk_device::remote_kill(const char* signal_name) {
    cls_array<cls_string> argv(cls_array<cls_string>::INITIAL_SLOTS);
    adb_prefix(&argv);
    // The group where setsid made one; else the test's own process.
    cls_string line;
    line.print("kill -%s -%d 2>/dev/null || kill -%s %d", signal_name, m_remote_group, signal_name, m_remote_group);
    argv.append("shell").append(line);
    ozgi::cls_process::execute_cmd(argv, nullptr, nullptr);
}

bool cls_adb_vesk_device::client_ended_within(int ms) {
    long long until = ozgi::cls_time::now_ms() + ms;
    for (;;) {
        // Output that arrives meanwhile stays with the process for read_output.
        if (m_process->is_ended()) return true;
        if (ozgi::cls_time::now_ms() >= until) return false;
        ozgi::cls_time::sleep_ms(END_POLL_MS);
    }
}

void cls_adb_vesk_device::end_test(int grace_ms) {
    if (m_process == nullptr) return;
    if (m_endable && !m_group_line_done) {
        // The group line may still be on its way; what comes with it is kept.
        long long until = ozgi::cls_time::now_ms() + grace_ms;
        while (!m_group_line_done && ozgi::cls_time::now_ms() < until) {
            cls_sp<cls_string> piece = m_process->read_to_str();
            cls_string text = piece.is_not_null() ? *piece : cls_string();
            take_group_line(&text, false);
            m_held_output += text;
            if (!m_group_line_done) ozgi::cls_time::sleep_ms(END_POLL_MS);
        }
    }
    if (m_remote_group > 0) {
        const char* const SIGNALS[] = {"INT", "TERM", "KILL"};
        for (const char* signal_name : SIGNALS) {
            remote_kill(signal_name);
            if (client_ended_within(grace_ms)) return;
        }
    }
    // The target cannot be reached, or did not end the test: the local client
    // at least does not stay behind.
    int group = m_process->pid();
    ozgi::cls_process_group::end_groups(&group, 1, grace_ms);
}
