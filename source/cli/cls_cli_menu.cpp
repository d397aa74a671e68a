#include "cli/cls_cli_menu.h"

using ozgi::cls_array;
using ozgi::cls_string;
typedef cls_vesk_device::menu_tree_node_t node_t;

cls_cli_menu::cls_cli_menu(const cls_cli_options& options) {
    cls_vesk_device* device = cls_vesk_device::ins();
    // The device factory judges the name, exactly as for vesk.
    device->set_info(options.device, options.dir);
    if_vesk_device::kind_t kind = device->device()->kind();
    m_kind = if_vesk_device::kind_name(kind);
    m_serial_id = options.serial_id;
    if (kind == if_vesk_device::KIND_LOCAL && m_serial_id.is_empty()) m_serial_id = if_vesk_device::LOCAL_SERIAL_ID;
    m_root_dir = options.dir;
    if (m_root_dir.is_empty()) m_root_dir = if_vesk_device::default_root(kind);
    // Tests that run out of time are ended where they run, also on a target.
    device->device()->set_endable(true);
    // The device leaves out sub-menus that a symbolic link loop leads to.
    device->set_serial_id(m_serial_id);
}

if_vesk_device* cls_cli_menu::device() const { return cls_vesk_device::ins()->device(); }

const node_t* cls_cli_menu::root() const { return cls_vesk_device::ins()->menu_tree()->root(); }

namespace {

// Sorts nodes by name with the string's less-than, as the menu page's lists are.
void sort_by_name(cls_array<const node_t*>* nodes) {
    for (int i = 1; i < nodes->count(); ++i) {
        const node_t* n = (*nodes)[i];
        int j = i;
        while (j > 0 && n->data.name < (*nodes)[j - 1]->data.name) {
            (*nodes)[j] = (*nodes)[j - 1];
            --j;
        }
        (*nodes)[j] = n;
    }
}

} // namespace

void cls_cli_menu::children(const node_t* node, cls_array<const node_t*>* out) const {
    cls_array<const node_t*> dirs;
    cls_array<const node_t*> execs;
    for (const node_t* child = node->first_child; child; child = child->next_sibling)
        (child->data.is_exec ? execs : dirs).append(child);
    sort_by_name(&dirs);
    sort_by_name(&execs);
    for (int i = 0; i < dirs.count(); ++i) out->append(dirs[i]);
    for (int i = 0; i < execs.count(); ++i) out->append(execs[i]);
}

void cls_cli_menu::collect(const node_t* node, const cls_string& dir_path, cls_array<test_t>* out) const {
    cls_array<const node_t*> kids;
    children(node, &kids);
    for (int i = 0; i < kids.count(); ++i) {
        const node_t* kid = kids[i];
        if (!kid->data.is_exec) {
            collect(kid, dir_path + kid->data.name + "/", out);
            continue;
        }
        test_t test;
        test.dir_path = dir_path;
        test.name = kid->data.name;
        test.path = dir_path + kid->data.name;
        test.direct = kid->data.name.begin_with(cls_vesk_device::DIRECT_EXEC_PREFIX);
        out->append(test);
    }
}

void cls_cli_menu::tests(const cls_string& prefix, cls_array<test_t>* out) const {
    cls_array<test_t> all;
    if (root()) collect(root(), "", &all);
    cls_string wanted = prefix;
    if (wanted.begin_with("./")) wanted.to_sub_str(2);
    wanted.trim_to_str("/", false, true);
    for (int i = 0; i < all.count(); ++i) {
        const cls_string& path = all[i].path;
        // A prefix stands for a whole path component: "net" holds "net/ping", not "network/ping".
        if (wanted.is_empty() || path == wanted || path.begin_with((wanted + "/").c_str())) out->append(all[i]);
    }
}

bool cls_cli_menu::find_test(const cls_string& path, test_t* out) const {
    cls_string wanted = path;
    if (wanted.begin_with("./")) wanted.to_sub_str(2);
    cls_array<test_t> all;
    tests("", &all);
    for (int i = 0; i < all.count(); ++i) {
        const test_t& t = all[i];
        cls_string shown = t.dir_path + t.name.sub_str(t.direct ? cls_string(cls_vesk_device::DIRECT_EXEC_PREFIX).length() : 0);
        if (t.path == wanted || shown == wanted) {
            *out = t;
            return true;
        }
    }
    return false;
}
