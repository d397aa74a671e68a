#pragma once
// The abstract device: something that lists the menu directory and runs tests.
// The device singleton owns exactly one of these and is its only caller.
#include "ozgi/cls_array.h"
#include "ozgi/cls_sp.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_tree.h"
#include "ozgi/if_to_string.h"

class if_vesk_device {
public:
    /// Payload of one menu tree node: a sub-menu (directory) or a test (executable).
    struct menu_node_t : public ozgi::if_to_string {
        /// File or directory name as found on the device; for the root, the device's root title.
        ozgi::cls_string name;
        /// True for a test, false for a sub-menu.
        bool is_exec;

        /// An unnamed directory node.
        menu_node_t();
        /// A node with the given name and kind.
        menu_node_t(const ozgi::cls_string& node_name, bool exec);
        menu_node_t(const menu_node_t& other);
        menu_node_t& operator=(const menu_node_t& other);
        ~menu_node_t() override;
        /// The node as "name,exec" or "name,dir".
        ozgi::cls_sp<ozgi::cls_string> to_string() const override;
    };

    /// What a device is; its name in records and reports comes from kind_name().
    enum kind_t { KIND_LOCAL = 0, KIND_ADB = 1 };
    /// The one serial id of the local device, "LOCAL_DEVICE".
    static const char* const LOCAL_SERIAL_ID;

    /// "local" or "adb".
    static const char* kind_name(kind_t kind);
    /// The menu root used when none is given: "./" locally, "/dfs/vesk/" over adb.
    static const char* default_root(kind_t kind);
    /// The serial id when the command line gives none: the environment variable
    /// ANDROID_SERIAL (whatever the device), empty when it is unset.
    static ozgi::cls_string serial_id_from_env();

    typedef ozgi::cls_tree<menu_node_t> menu_tree_t;
    typedef menu_tree_t::node_t menu_tree_node_t;

    virtual ~if_vesk_device();

    /// The serial ids of the devices that can be chosen.
    virtual ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> list_serial_ids() = 0;
    /// Chooses the device; a device may refuse with a fatal error.
    virtual void set_serial_id(const ozgi::cls_string& serial_id) = 0;
    /// Fills `tree` from `root_dir` (empty: the device's default): the root titled by
    /// the device, then one node per sub-directory and executable, recursively,
    /// leaving out directories without any test below them.
    virtual void build_menu_tree(const ozgi::cls_string& root_dir, menu_tree_t* tree) = 0;
    /// Starts a test without waiting. `rel_dir` is its directory relative to the root
    /// with every level followed by "/"; cmd[0] is its path relative to the root, the
    /// rest are its arguments.
    virtual void exec_test(const ozgi::cls_string& rel_dir, const ozgi::cls_array<ozgi::cls_string>& cmd) = 0;
    /// The output the running test wrote since the previous call; never null.
    virtual ozgi::cls_sp<ozgi::cls_string> read_output() = 0;
    /// Whether the test has ended; when it has, its exit code goes to *exit_code.
    virtual bool is_ended(int* exit_code) = 0;
    /// Interrupts the running test.
    virtual void stop() = 0;

    /// What this device is.
    virtual kind_t kind() const = 0;
    /// The serial id in use: LOCAL_SERIAL_ID locally; over adb the one chosen
    /// (empty: none, the tool picks the device).
    virtual const ozgi::cls_string& serial_id() const = 0;
    /// Whether stop() can interrupt a test (over adb it cannot).
    virtual bool can_stop() const = 0;
    /// The text of a file of the menu directory at `path` (on the device); null
    /// when it is missing or cannot be read as a file.
    virtual ozgi::cls_sp<ozgi::cls_string> read_menu_file(const ozgi::cls_string& path) = 0;
    /// From now on, starts tests so that end_test can reach them where they run.
    /// Off by default, so that the panel's command lines stay as they are.
    virtual void set_endable(bool endable) = 0;
    /// Ends the running test and what it started, where it runs: SIGINT to its
    /// process group, SIGTERM after `grace_ms` if it is still there, SIGKILL after
    /// `grace_ms` more. Returns once it is gone (or given up on after the SIGKILL);
    /// its end and output are then collected as usual.
    virtual void end_test(int grace_ms) = 0;
    /// Bounds what is held of the output of the programs started from now on
    /// between two read_output calls to about `limit` bytes (0: no bound). With
    /// `keep_tail` the oldest output beyond the bound is dropped and counted, so
    /// the test is never held up; otherwise the test waits until output is read.
    virtual void set_output_bound(int limit, bool keep_tail) = 0;
    /// Bytes of the last started program's output dropped, in all, before the
    /// output read_output has handed out so far.
    virtual long long dropped_output() const = 0;
};
