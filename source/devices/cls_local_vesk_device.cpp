#include "devices/cls_local_vesk_device.h"

#include "ozgi/cls_dir.h"
#include "ozgi/cls_file.h"
#include "ozgi/if_file_sys.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_process_group.h"
#include "ozgi/cls_ui_text_dict.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {

// The path of the entry `name` of `dir`, openable from the working directory; a
// trailing separator on `dir` is not doubled.
cls_string sub_path(const cls_string& dir, const cls_string& name) {
    cls_string path(dir);
    if (path.is_not_empty() && !path.end_with("/")) path += '/';
    path += name;
    return path;
}

// Whether `path` is a regular file (after links).
bool is_regular_file(const cls_string& path) {
    ozgi::if_file_sys::info_t info;
    info.clear();
    return ozgi::if_file_sys::info(path, &info) && info.is_file;
}

} // namespace

cls_local_vesk_device::cls_local_vesk_device() : m_root_dir(), m_process(nullptr), m_serial_id(LOCAL_SERIAL_ID) {}

cls_local_vesk_device::~cls_local_vesk_device() {
    if (m_process) {
        ozgi::ozgi_delete(m_process);
        m_process = nullptr;
    }
}

cls_sp<cls_array<cls_string>> cls_local_vesk_device::list_serial_ids() {
    cls_array<cls_string>* ids = OZGI_NEW(cls_array<cls_string>)();
    ids->append(LOCAL_SERIAL_ID);
    return cls_sp<cls_array<cls_string>>(ids);
}

void cls_local_vesk_device::set_serial_id(const cls_string& serial_id) {
    if (serial_id != LOCAL_SERIAL_ID) {
        OZGI_FATAL("Serial ID is %s, not %s.", serial_id.c_str(), LOCAL_SERIAL_ID);
    }
}

void cls_local_vesk_device::build_menu_tree(const cls_string& root_dir, menu_tree_t* tree) {
    m_root_dir = root_dir.is_empty() ? cls_string(default_root(KIND_LOCAL)) : root_dir;

    // The dictionary is handed over by path; a menu without one is normal. Only a
    // regular file is read: a FIFO or a device of that name would block start-up.
    cls_string dict_path = m_root_dir + "/dict.xml";
    if (is_regular_file(dict_path)) ozgi::cls_ui_text_dict::ins()->add_dict(dict_path);

    // "Diagnostic" is in the program's own dictionary, so the root title follows the language.
    tree->set_root_data(menu_node_t("Diagnostic", false));
    cls_vesk_dir_chain chain;
    scan_dir(tree, tree->root(), m_root_dir, &chain);
}

bool cls_local_vesk_device::scan_dir(menu_tree_t* tree, menu_tree_node_t* parent, const cls_string& dir,
                                     cls_vesk_dir_chain* chain) {
    cls_array<ozgi::cls_dir::entry_t> entries;
    ozgi::cls_dir::id_t self{0, 0};
    if (!ozgi::cls_dir::read(dir, &self, &entries)) return false;
    // A directory already on the way down from the root (reached again through a
    // link) would make the scan endless: it is left out like an empty one.
    if (!chain->enter(self)) return false;
    bool found = false;
    for (int i = 0; i < entries.count(); ++i) {
        const ozgi::cls_dir::entry_t& entry = entries[i];
        // Directories carry the execute permission too, so they are tested first.
        if (entry.is_dir) {
            menu_tree_node_t* node = tree->add_last_child(parent, menu_node_t(entry.name, false));
            if (scan_dir(tree, node, sub_path(dir, entry.name), chain)) {
                found = true;
            } else {
                // A sub-menu must lead to at least one test.
                tree->remove_sub_tree(node);
            }
        } else if (entry.is_exec) {
            tree->add_last_child(parent, menu_node_t(entry.name, true));
            found = true;
        }
    }
    chain->leave();
    return found;
}

void cls_local_vesk_device::exec_test(const cls_string& rel_dir, const cls_array<cls_string>& cmd) {
    // An earlier test that was never reaped is dropped, neither signalled nor waited for.
    if (m_process) {
        ozgi::ozgi_delete(m_process);
        m_process = nullptr;
    }
    // Paths are joined as they come; the doubled separators of the default root
    // ("./" + "/") are harmless to the kernel.
    cls_array<cls_string> argv;
    argv.append(m_root_dir + '/' + cmd[0]);
    for (int i = 1; i < cmd.count(); ++i) argv.append(cmd[i]);
    cls_string work_dir = m_root_dir + "/" + rel_dir;
    m_process = OZGI_NEW(ozgi::cls_process)(argv, work_dir);
    m_process->set_output_limit(m_output_limit, m_keep_tail);
    m_dropped = 0;
}

void cls_local_vesk_device::set_output_bound(int limit, bool keep_tail) {
    m_output_limit = limit;
    m_keep_tail = keep_tail;
}

cls_sp<cls_string> cls_local_vesk_device::read_output() {
    if (m_process == nullptr) OZGI_FATAL("Can't read stdout, test is not started yet.");
    cls_sp<cls_string> piece = m_process->read_to_str();
    m_dropped = m_process->dropped_bytes();
    return piece;
}

bool cls_local_vesk_device::is_ended(int* exit_code) {
    if (m_process == nullptr) OZGI_FATAL("Can't get if exec is ended, test is not started yet.");
    if (!m_process->is_ended()) return false;
    *exit_code = m_process->wait_for_exit();
    ozgi::ozgi_delete(m_process);
    m_process = nullptr;
    return true;
}

void cls_local_vesk_device::stop() {
    if (m_process == nullptr) OZGI_FATAL("Can't stop exec, test is not started yet.");
    // The process object stays; the next is_ended that sees the end reaps it.
    m_process->send_int_signal();
}

cls_sp<cls_string> cls_local_vesk_device::read_menu_file(const cls_string& path) {
    if (!is_regular_file(path)) return cls_sp<cls_string>();
    return ozgi::cls_file::read_to_str(path);
}

void cls_local_vesk_device::end_test(int grace_ms) {
    if (m_process == nullptr) return;
    // The test leads its own group, so this reaches whatever it started too.
    int group = m_process->pid();
    ozgi::cls_process_group::end_groups(&group, 1, grace_ms);
}
