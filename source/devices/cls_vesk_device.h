#pragma once
// The device singleton: it owns the one concrete device, the menu tree, the
// operator's position in it, the selected test, its help text and its parsed
// arguments. Every page talks to this object only, never to a device.
#include "devices/if_vesk_device.h"
#include "ozgi/cls_array.h"
#include "ozgi/cls_regex.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"

class cls_vesk_device {
public:
    /// One argument of the selected test.
    struct arg_info_t {
        /// Option name without the leading "--".
        ozgi::cls_string arg_name;
        /// The default at parse time; afterwards the value the operator chose.
        ozgi::cls_string default_value;
        /// Description text.
        ozgi::cls_string arg_desc;
        /// Step of a numeric argument; may be empty.
        ozgi::cls_string step;
        /// 0: numeric range, 1: list of items.
        int arg_type;
        /// Numeric: lower then higher bound, as text. List: the items in written order.
        ozgi::cls_array<ozgi::cls_string> values;

        /// An empty numeric record.
        arg_info_t() : arg_type(0) {}
    };

    typedef if_vesk_device::menu_tree_t menu_tree_t;
    typedef if_vesk_device::menu_tree_node_t menu_tree_node_t;

    /// File names that begin with this are direct tests: shown without it, run at once.
    static const char* DIRECT_EXEC_PREFIX;
    /// The pattern every line after "Arguments:" of a help text must match.
    static const char* const ARG_LINE_PATTERN;

    /// The singleton; the first call creates it and registers release_func with the
    /// framework's singleton manager.
    static cls_vesk_device* ins();
    /// Destroys the singleton `p` (null, or a pointer that is no longer the live
    /// singleton: nothing). The released singleton is forgotten, so a later ins()
    /// starts afresh with a new object; tests rely on this to begin from a clean state.
    static void release_func(void* p);

    /// Deletes the device and the whole menu tree.
    ~cls_vesk_device();
    cls_vesk_device(const cls_vesk_device&) = delete;
    cls_vesk_device& operator=(const cls_vesk_device&) = delete;

    // ---- Device selection ----

    /// Creates the device named `device` ("local" or empty, "adb"; "ddb" and anything
    /// else are fatal) and remembers `dir` as the menu root.
    void set_info(const ozgi::cls_string& device, const ozgi::cls_string& dir);
    /// Whether set_serial_id has run.
    bool serial_id_selected() const;
    /// The serial ids the device offers.
    ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> devices();
    /// Chooses the device by serial id and builds the whole menu tree; the current
    /// menu becomes the root.
    void set_serial_id(const ozgi::cls_string& serial_id);

    // ---- A running test ----

    /// The test's output since the previous call.
    ozgi::cls_sp<ozgi::cls_string> read_output();
    /// Whether the test has ended; then its exit code goes to *exit_code.
    bool is_ended(int* exit_code);
    /// Interrupts the running test.
    void stop();
    /// Bytes of the test's output dropped before what read_output handed out so
    /// far: beyond output_limit() the oldest output is not kept.
    long long dropped_output() const;

    // ---- Argument access ----

    /// Makes `name` the argument being edited and returns its type; an unknown name is fatal.
    int select_arg(const ozgi::cls_string& name);
    /// Copies the record of the argument being edited into *out; nothing when there is none.
    void get_cur_arg_info(arg_info_t* out);
    /// Sets the chosen value of the argument being edited; nothing when there is none.
    void set_cur_arg_value(const ozgi::cls_string& value);
    /// Replaces *out with copies of all argument records, in order.
    void get_args(ozgi::cls_array<arg_info_t>* out);

    // ---- Menu navigation ----

    /// The current menu's title.
    ozgi::cls_sp<ozgi::cls_string> menu_title();
    /// The title of the menu above, or "Exit" at the root.
    ozgi::cls_sp<ozgi::cls_string> upper_menu_title();
    /// The sub-menus of the current menu, sorted.
    ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> dirs();
    /// The tests of the current menu, sorted, under their names as on the device.
    ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> execs();
    /// Makes the named sub-menu current; an unknown name is fatal.
    void enter_sub_menu(const ozgi::cls_string& name);
    /// Makes the parent menu current (at the root: none, and the menu is left).
    void back_to_parent_menu();
    /// Selects a test by its name as listed by execs().
    void set_cur_exec(const ozgi::cls_string& name);
    /// The selected test's display name (without the direct-execution prefix).
    ozgi::cls_sp<ozgi::cls_string> exec_name();
    /// Whether the selected test is a direct test.
    bool is_direct_exec();
    /// Rebuilds the tree from the device and returns to the root menu.
    void refresh_menu();

    // ---- Help and execution ----

    /// Runs the selected test with "--help", waits for it and parses its arguments.
    /// Returns true when the help text was valid. A direct test returns false at once.
    bool load_exec_help();
    /// The most bytes of a test's output, and of its help text, kept in memory: the
    /// environment variable VESK_OUTPUT_LIMIT (a positive number of bytes), by
    /// default 16 MiB.
    static int output_limit();
    /// Parses the argument lines of `help_msg` (every line after its first line
    /// "Arguments:") and appends one record per line to *args, in order. A line that
    /// is not an argument line is fatal, with the line and a caret under the first
    /// character that could not be matched.
    static void parse_arg_lines(const ozgi::cls_string& help_msg, ozgi::cls_array<arg_info_t>* args);
    /// The record of one argument line from the captures of ARG_LINE_PATTERN, as
    /// matched; the default is left empty when the line gives none.
    static arg_info_t arg_of_captures(const ozgi::cls_array<ozgi::name_val_t>& captures);
    /// Appends the words a test is run with: "--" + name and the value of every
    /// argument, in order, also of one that keeps its default.
    static void arg_words(const ozgi::cls_array<arg_info_t>& args, ozgi::cls_array<ozgi::cls_string>* words);
    /// A copy of the selected test's help text.
    ozgi::cls_sp<ozgi::cls_string> help_msg();
    /// Starts the selected test with every argument as "--name" and its value.
    void execute();

    // ---- Access for the option page and tests ----

    /// The menu tree (empty until a device is selected).
    const menu_tree_t* menu_tree() const;
    /// The menu root directory as given (may be empty: the device's default).
    const ozgi::cls_string& root_dir() const;
    /// The concrete device; null before set_info.
    if_vesk_device* device() const;
    /// The node of the current menu; null before selection or after leaving the root.
    const menu_tree_node_t* cur_node() const;

private:
    cls_vesk_device();
    /// Turns the lines after "Arguments:" of the help text into argument records.
    void parse_args();
    /// Starts the selected test with `args` after its path.
    void exec_with_args(const ozgi::cls_array<ozgi::cls_string>& args);
    /// The directory path and test path of the selected test, relative to the menu root.
    void exec_paths(ozgi::cls_string* dir_path, ozgi::cls_string* exec_path) const;
    /// The first argument record named m_cur_arg, or null.
    arg_info_t* find_cur_arg();

    if_vesk_device* m_device;
    menu_tree_t m_menu_tree;
    menu_tree_node_t* m_cur_node;
    ozgi::cls_string m_cur_exec;
    ozgi::cls_string m_root_dir;
    bool m_serial_id_selected;
    ozgi::cls_string m_help_msg;
    ozgi::cls_array<arg_info_t> m_args;
    ozgi::cls_string m_cur_arg;
};
