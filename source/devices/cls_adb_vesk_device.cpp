#include "devices/cls_adb_vesk_device.h"

#include "ozgi/cls_file.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_time.h"
#include "ozgi/cls_ui_text_dict.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {
// The marker the remote command line echoes after the test, followed by its status.
const char* const EXIT_CODE_MARKER = "exit_code=";
const int EXIT_CODE_MARKER_LEN = 10;
} // namespace

cls_adb_vesk_device::cls_adb_vesk_device()
    : m_root_dir(), m_serial_id(), m_process(nullptr), m_exit_code_got(false), m_exit_code(0), m_ls_one_supported(true) {}

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
    m_root_dir = root_dir.is_empty() ? cls_string("/dfs/vesk/") : root_dir;

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
    adb_exec(rel_dir, cmd, true);
}

void cls_adb_vesk_device::take_exit_code(cls_string* chunk) {
    m_exit_code = cut_exit_code(chunk);
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
    m_dropped = m_process->dropped_bytes();
    if (m_process->is_ended()) take_exit_code(chunk.get());
    return chunk;
}

bool cls_adb_vesk_device::is_ended(int* exit_code) {
    if (m_process == nullptr) OZGI_FATAL("Can't get if exec is ended, test is not started yet.");
    if (!m_process->is_ended()) return false;
    if (!m_exit_code_got) {
        // What is read here never reaches the operator.
        cls_sp<cls_string> rest = m_process->read_to_str();
        cls_string text = rest.is_not_null() ? *rest : cls_string();
        take_exit_code(&text);
    }
    *exit_code = m_exit_code;
    m_process->wait_for_exit();
    ozgi::ozgi_delete(m_process);
    m_process = nullptr;
    return true;
}

void cls_adb_vesk_device::stop() { OZGI_FATAL("Not realized yet"); }
