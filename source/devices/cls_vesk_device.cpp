#include "devices/cls_vesk_device.h"

#include "devices/cls_adb_vesk_device.h"
#include "devices/cls_local_vesk_device.h"
#include "devices/cls_vesk_help_parser.h"
#include "ozgi/cls_log.h"
#include "ozgi/cls_mem_mgr.h"
#include "ozgi/cls_singleton_mgr.h"
#include "ozgi/cls_time.h"
#include "ozgi/if_system.h"
#include "ozgi/size_math.h"

using ozgi::cls_array;
using ozgi::cls_sp;
using ozgi::cls_string;

namespace {

// The live singleton; null before the first ins() and after its release.
cls_vesk_device* s_instance = nullptr;

} // namespace

const char* cls_vesk_device::DIRECT_EXEC_PREFIX = "direct_exec.";

// One argument line of a test's help text. In this source "\t" is a real TAB.
const char* const cls_vesk_device::ARG_LINE_PATTERN =
    "[ \t]*--<clr>(-|[_a-zA-Z0-9])+<arg_name>[ \t]*"
    "(\\<<clr>[0-9.]+<lower_bound>-<clr>[0-9.]+<higher_bound>\\>|{<clr>[^|]+<list_item>([|]<clr>[^|]+<list_item>)*}):"
    "[ \t]*(Default=<clr>[^,]+<default_value>,)?[ \t]*([Ss]tep=<clr>[^,]+<step>,)?[ \t]*<clr>.*<arg_desc>";

cls_vesk_device* cls_vesk_device::ins() {
    if (s_instance == nullptr) {
        s_instance = OZGI_NEW(cls_vesk_device)();
        ozgi::cls_singleton_mgr::register_singleton_release(release_func, s_instance);
    }
    return s_instance;
}

void cls_vesk_device::release_func(void* p) {
    // Only the live singleton is ever registered; a pointer that is no longer it was
    // released already, and releasing it again must do no harm.
    if (p == nullptr || p != s_instance) return;
    cls_vesk_device* device = s_instance;
    s_instance = nullptr;
    ozgi::ozgi_delete(device);
}

cls_vesk_device::cls_vesk_device()
    : m_device(nullptr),
      m_menu_tree(),
      m_cur_node(nullptr),
      m_cur_exec(),
      m_root_dir(),
      m_serial_id_selected(false),
      m_help_msg(),
      m_args(cls_array<arg_info_t>::INITIAL_SLOTS),
      m_cur_arg() {}

cls_vesk_device::~cls_vesk_device() {
    if (m_device) {
        ozgi::ozgi_delete(m_device);
        m_device = nullptr;
    }
    if (m_menu_tree.root()) m_menu_tree.remove_sub_tree(m_menu_tree.root());
    m_cur_node = nullptr;
}

// ---- Device selection ----

void cls_vesk_device::set_info(const cls_string& device, const cls_string& dir) {
    // The comparison is exact: "Local" or "ADB" are not device names.
    if (device == "local" || device.is_empty()) {
        m_device = OZGI_NEW(cls_local_vesk_device)();
    } else if (device == "adb") {
        m_device = OZGI_NEW(cls_adb_vesk_device)();
    } else if (device == "ddb") {
        // The name is reserved for a third kind of device that does not exist yet.
        OZGI_FATAL("Unrealized yet.");
    } else {
        OZGI_FATAL("Unrecognized device: %s", device.c_str());
    }
    // Nothing shows more of a test's output than the limit, and a help text
    // longer than that is none: only the newest output is held, so a test that
    // never stops writing costs no more memory than the limit allows.
    m_device->set_output_bound(output_limit(), true);
    m_root_dir = dir;
}

bool cls_vesk_device::serial_id_selected() const { return m_serial_id_selected; }

cls_sp<cls_array<cls_string>> cls_vesk_device::devices() { return m_device->list_serial_ids(); }

void cls_vesk_device::set_serial_id(const cls_string& serial_id) {
    // The flag goes up before the device is asked, and the tree is not emptied:
    // a second selection builds into the existing tree, whose root the device reuses.
    m_serial_id_selected = true;
    m_device->set_serial_id(serial_id);
    m_device->build_menu_tree(m_root_dir, &m_menu_tree);
    m_cur_node = m_menu_tree.root();
}

// ---- A running test ----

cls_sp<cls_string> cls_vesk_device::read_output() { return m_device->read_output(); }

long long cls_vesk_device::dropped_output() const { return m_device->dropped_output(); }

bool cls_vesk_device::is_ended(int* exit_code) { return m_device->is_ended(exit_code); }

void cls_vesk_device::stop() { m_device->stop(); }

// ---- Argument access ----

cls_vesk_device::arg_info_t* cls_vesk_device::find_cur_arg() {
    for (int i = 0; i < m_args.count(); ++i) {
        if (m_args[i].arg_name == m_cur_arg) return &m_args[i];
    }
    return nullptr;
}

int cls_vesk_device::select_arg(const cls_string& name) {
    m_cur_arg = name;
    arg_info_t* arg = find_cur_arg();
    if (arg == nullptr) {
        OZGI_FATAL("Unknown arg name: %s", name.c_str());
    }
    return arg->arg_type;
}

void cls_vesk_device::get_cur_arg_info(arg_info_t* out) {
    arg_info_t* arg = find_cur_arg();
    if (arg == nullptr) return;
    out->arg_name = arg->arg_name;
    out->default_value = arg->default_value;
    out->arg_desc = arg->arg_desc;
    out->step = arg->step;
    out->arg_type = arg->arg_type;
    out->values.clear();
    for (int i = 0; i < arg->values.count(); ++i) out->values.append(arg->values[i]);
}

void cls_vesk_device::set_cur_arg_value(const cls_string& value) {
    arg_info_t* arg = find_cur_arg();
    if (arg == nullptr) return;
    arg->default_value = value;
}

void cls_vesk_device::get_args(cls_array<arg_info_t>* out) {
    out->clear();
    for (int i = 0; i < m_args.count(); ++i) out->append(m_args[i]);
}

// ---- Menu navigation ----

cls_sp<cls_string> cls_vesk_device::menu_title() {
    return cls_sp<cls_string>(OZGI_NEW(cls_string)(m_cur_node->data.name));
}

cls_sp<cls_string> cls_vesk_device::upper_menu_title() {
    if (m_cur_node->parent == nullptr) return cls_sp<cls_string>(OZGI_NEW(cls_string)("Exit"));
    return cls_sp<cls_string>(OZGI_NEW(cls_string)(m_cur_node->parent->data.name));
}

namespace {

// The names of the children of `node` of one kind, sorted by the string's less-than.
cls_sp<cls_array<cls_string>> child_names(const cls_vesk_device::menu_tree_node_t* node, bool want_exec) {
    cls_array<cls_string>* names = OZGI_NEW(cls_array<cls_string>)(cls_array<cls_string>::INITIAL_SLOTS);
    for (const cls_vesk_device::menu_tree_node_t* child = node->first_child; child; child = child->next_sibling) {
        if (child->data.is_exec == want_exec) names->append(child->data.name);
    }
    names->sort(0, -1);
    return cls_sp<cls_array<cls_string>>(names);
}

} // namespace

cls_sp<cls_array<cls_string>> cls_vesk_device::dirs() { return child_names(m_cur_node, false); }

cls_sp<cls_array<cls_string>> cls_vesk_device::execs() { return child_names(m_cur_node, true); }

void cls_vesk_device::enter_sub_menu(const cls_string& name) {
    for (menu_tree_node_t* child = m_cur_node->first_child; child; child = child->next_sibling) {
        // A test that shares the wanted name is never entered.
        if (child->data.is_exec) continue;
        if (child->data.name == name) {
            m_cur_node = child;
            return;
        }
    }
    OZGI_FATAL("Can't find sub_menu %s", name.c_str());
}

void cls_vesk_device::back_to_parent_menu() {
    // At the root this leaves no current menu; only leaving the first menu page does that.
    m_cur_node = m_cur_node->parent;
}

void cls_vesk_device::set_cur_exec(const cls_string& name) { m_cur_exec = name; }

bool cls_vesk_device::is_direct_exec() { return m_cur_exec.begin_with(DIRECT_EXEC_PREFIX); }

cls_sp<cls_string> cls_vesk_device::exec_name() {
    cls_string* name = OZGI_NEW(cls_string)();
    if (!m_cur_exec.begin_with(DIRECT_EXEC_PREFIX, name)) *name = m_cur_exec;
    return cls_sp<cls_string>(name);
}

void cls_vesk_device::refresh_menu() {
    if (m_menu_tree.root()) m_menu_tree.remove_sub_tree(m_menu_tree.root());
    m_cur_node = nullptr;
    m_device->build_menu_tree(m_root_dir, &m_menu_tree);
    m_cur_node = m_menu_tree.root();
}

void cls_vesk_device::exec_paths(cls_string* dir_path, cls_string* exec_path) const {
    *dir_path = "";
    *exec_path = m_cur_exec;
    // Climb to the root, which is not part of any path: paths are relative to the
    // menu root directory, which the device puts in front.
    for (const menu_tree_node_t* node = m_cur_node; node && node->parent; node = node->parent) {
        cls_string level = node->data.name + "/";
        *dir_path = level + *dir_path;
        *exec_path = level + *exec_path;
    }
}

// ---- Help and execution ----

bool cls_vesk_device::load_exec_help() {
    // A direct test has no help; the previous test's help and arguments stay.
    if (is_direct_exec()) return false;

    cls_array<cls_string> help_args;
    help_args.append("--help");
    exec_with_args(help_args);

    m_help_msg.clear();
    int exit_code = 0;
    int limit = output_limit();
    bool too_long = false;
    // Sleep, read, then ask: there is always one wait, and nothing is read after
    // the end has been seen. There is deliberately no time limit.
    for (;;) {
        ozgi::cls_time::sleep_ms(100);
        cls_sp<cls_string> piece = read_output();
        // Output dropped before this piece means more than the limit came at once.
        bool dropped = dropped_output() > 0;
        if (!too_long && (dropped || static_cast<long long>(m_help_msg.length()) + piece->length() > limit)) {
            // No help text is that long: this is a test that ignores "--help" and
            // keeps printing. What it prints from now on is read and thrown away;
            // a local test is interrupted, since it may never end on its own.
            too_long = true;
            if (!dropped) m_help_msg.append(piece->c_str(), limit - m_help_msg.length());
            if (m_device->can_stop()) stop();
        } else if (!too_long) {
            m_help_msg += *piece;
        }
        // Let go of the piece before the next wait, so that its memory takes the next output.
        piece = nullptr;
        if (is_ended(&exit_code)) break;
    }

    m_args.clear();
    if (!too_long && cls_vesk_help_parser::usable(exit_code, m_help_msg)) {
        parse_args();
        return true;
    }
    return false;
}

int cls_vesk_device::output_limit() {
    const long long DEFAULT_LIMIT = 16LL * 1024 * 1024;
    // Room is left for the line that tells how much was dropped.
    const long long MAX_LIMIT = ozgi::size_math::MAX_COUNT - 4096;
    cls_sp<cls_string> text = ozgi::if_system::env("VESK_OUTPUT_LIMIT");
    if (text.is_null() || text->is_empty()) return static_cast<int>(DEFAULT_LIMIT);
    long long value = 0;
    for (int i = 0; i < text->length(); ++i) {
        char c = (*text)[i];
        // Anything but a plain positive number is not a limit.
        if (c < '0' || c > '9') return static_cast<int>(DEFAULT_LIMIT);
        if (value < MAX_LIMIT) value = value * 10 + (c - '0');
    }
    if (value <= 0) return static_cast<int>(DEFAULT_LIMIT);
    return static_cast<int>(value < MAX_LIMIT ? value : MAX_LIMIT);
}

cls_sp<cls_string> cls_vesk_device::help_msg() { return cls_sp<cls_string>(OZGI_NEW(cls_string)(m_help_msg)); }

void cls_vesk_device::parse_args() { parse_arg_lines(m_help_msg, &m_args); }

void cls_vesk_device::parse_arg_lines(const cls_string& help_msg, cls_array<arg_info_t>* args) {
    cls_array<cls_vesk_help_parser::refused_t> refused;
    int before = args->count();
    if (!cls_vesk_help_parser::parse(help_msg, true, args, nullptr, &refused)) {
        cls_string message("Failed to match regular expression:\n");
        message += cls_vesk_help_parser::with_caret(refused[0].line, refused[0].column);
        OZGI_FATAL("%s", message.c_str());
    }
    for (int i = before; i < args->count(); ++i) {
        // The pattern always captures a range or an item, so this cannot fail;
        // the check stays in case the pattern ever changes.
        if ((*args)[i].default_value.is_empty()) {
            OZGI_FATAL("Argument %s has no default value or value range.", (*args)[i].arg_name.c_str());
        }
    }
}

cls_vesk_device::arg_info_t cls_vesk_device::arg_of_captures(const cls_array<ozgi::name_val_t>& captures) {
    return cls_vesk_help_parser::arg_of_captures(captures);
}

void cls_vesk_device::arg_words(const cls_array<arg_info_t>& args, cls_array<cls_string>* words) {
    // Every argument is passed, also one that still has its default.
    for (int i = 0; i < args.count(); ++i) words->append(cls_string("--") + args[i].arg_name).append(args[i].default_value);
}

void cls_vesk_device::execute() {
    cls_array<cls_string> args;
    arg_words(m_args, &args);
    exec_with_args(args);
}

void cls_vesk_device::exec_with_args(const cls_array<cls_string>& args) {
    cls_string dir_path;
    cls_string exec_path;
    exec_paths(&dir_path, &exec_path);
    cls_array<cls_string> cmd;
    cmd.append(exec_path);
    for (int i = 0; i < args.count(); ++i) cmd.append(args[i]);
    m_device->exec_test(dir_path, cmd);
}

// ---- Access for the option page and tests ----

const cls_vesk_device::menu_tree_t* cls_vesk_device::menu_tree() const { return &m_menu_tree; }

const cls_string& cls_vesk_device::root_dir() const { return m_root_dir; }

if_vesk_device* cls_vesk_device::device() const { return m_device; }

const cls_vesk_device::menu_tree_node_t* cls_vesk_device::cur_node() const { return m_cur_node; }
