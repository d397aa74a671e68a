#include "cli/cls_cli_menu_check.h"

#include "devices/cls_vesk_text_escape.h"
#include "ozgi/cls_file.h"
#include "ozgi/cls_ui_text_dict.h"
#include "ozgi/if_file_sys.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;
typedef cls_vesk_device::menu_tree_node_t node_t;

namespace {

void add(cls_array<cls_cli_menu_check::finding_t>* out, const cls_string& path, const cls_cli_problem& problem) {
    cls_cli_menu_check::finding_t f;
    f.path = path;
    f.problem = problem;
    out->append(f);
}

// The identity of what a walk found, as a directory listing gives it.
ozgi::cls_dir::id_t id_of(const ozgi::if_file_sys::walk_info_t& info) {
    ozgi::cls_dir::id_t id;
    id.dev = static_cast<unsigned long long>(info.device);
    id.ino = static_cast<unsigned long long>(info.inode);
    return id;
}

} // namespace

void cls_cli_menu_check::check(const cls_cli_menu& menu, cls_array<finding_t>* out) {
    check_dict(menu, out);
    if (menu.root()) check_names(menu, menu.root(), "", out);
    if (menu.device_kind() == "local") {
        // FIXME: over adb the device lists with ls and never follows links, so
        // loops cannot hang it; unreadable directories there are not reported yet.
        cls_vesk_dir_chain chain;
        ozgi::if_file_sys::walk_info_t info;
        if (ozgi::if_file_sys::walk_info(menu.root_dir(), &info) && info.is_dir) {
            chain.enter(id_of(info));
            walk_local(menu.root_dir(), "", &chain, out);
        }
    }
}

void cls_cli_menu_check::check_dict(const cls_cli_menu& menu, cls_array<finding_t>* out) {
    cls_string path = menu.root_dir() + "/dict.xml";
    cls_sp<cls_string> text = menu.device()->read_menu_file(path);
    if (text.is_null()) return;

    cls_string why;
    int offset = -1;
    if (ozgi::cls_ui_text_dict::check_dict(*text, &why, &offset)) return;
    cls_string message;
    message.print("the menu dictionary does not parse (%s): the panel ignores it", why.c_str());
    if (offset < 0 || offset > text->length()) {
        add(out, "dict.xml", cls_cli_problem(true, message));
        return;
    }
    // The line that holds the offset, and the offset's place in it.
    int start = offset;
    while (start > 0 && (*text)[start - 1] != '\n') --start;
    int end = text->find('\n', offset);
    if (end == cls_string::NOT_FOUND) end = text->length();
    int line_no = 1;
    for (int i = 0; i < start; ++i) line_no += (*text)[i] == '\n';
    cls_string line = text->sub_str(start, end - start);
    line.trim_to_str("\r", false, true);
    cls_string where;
    where.print("dict.xml:%d", line_no);
    add(out, where, cls_cli_problem(true, message, line, offset - start));
}

void cls_cli_menu_check::check_names(const cls_cli_menu& menu, const node_t* node, const cls_string& dir_path,
                                     cls_array<finding_t>* out) {
    cls_array<const node_t*> kids;
    menu.children(node, &kids);
    for (int i = 0; i < kids.count(); ++i) {
        const node_t* child = kids[i];
        cls_string path = dir_path + child->data.name;
        if (!cls_vesk_text_escape::is_utf8(child->data.name)) {
            add(out, path, cls_cli_problem(true, "the name is not valid UTF-8: the panel cannot show it"));
        }
        if (!child->data.is_exec) check_names(menu, child, path + "/", out);
    }
}

void cls_cli_menu_check::walk_local(const cls_string& dir, const cls_string& rel, cls_vesk_dir_chain* chain,
                                    cls_array<finding_t>* out) {
    cls_sp<cls_array<cls_string>> entries = ozgi::cls_file::list_file(dir, "", false, false, false);
    if (entries.is_null()) return;
    for (int i = 0; i < entries->count(); ++i) {
        const cls_string& entry = (*entries)[i];
        cls_string path = rel + entry.file_name();
        ozgi::if_file_sys::walk_info_t info;
        if (!ozgi::if_file_sys::walk_info(entry, &info)) continue;
        if (info.link_loop) {
            add(out, path, cls_cli_problem(true, "symbolic link loop: the link never reaches a file"));
            continue;
        }
        if (!info.is_dir) continue;
        if (!chain->enter(id_of(info))) {
            add(out, path, cls_cli_problem(true, "symbolic link loop: it leads back to a directory above it"));
            continue;
        }
        if (!info.readable) {
            add(out, path, cls_cli_problem(false, "the directory cannot be read: its tests are missing from the menu"));
        } else {
            walk_local(entry, path + "/", chain, out);
        }
        chain->leave();
    }
}
