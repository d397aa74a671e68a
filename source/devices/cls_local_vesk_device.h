#pragma once
// The device on the machine the program runs on: the menu root is a local
// directory and a test is a local child process whose output is collected.
#include "devices/cls_vesk_dir_chain.h"
#include "devices/if_vesk_device.h"
#include "ozgi/cls_dir.h"
#include "ozgi/cls_process.h"

class cls_local_vesk_device : public if_vesk_device {
public:
    /// A device with no menu root and no running test.
    cls_local_vesk_device();
    /// Deletes an unreaped test's process object (no signal, no wait).
    ~cls_local_vesk_device() override;
    cls_local_vesk_device(const cls_local_vesk_device&) = delete;
    cls_local_vesk_device& operator=(const cls_local_vesk_device&) = delete;

    /// The one id this device offers, LOCAL_SERIAL_ID.
    ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> list_serial_ids() override;
    /// Accepts only LOCAL_SERIAL_ID; anything else is fatal.
    void set_serial_id(const ozgi::cls_string& serial_id) override;
    /// Scans `root_dir` (empty: "./"), merging its "dict.xml" into the text dictionary.
    void build_menu_tree(const ozgi::cls_string& root_dir, menu_tree_t* tree) override;
    /// Starts root + "/" + cmd[0] with the other words in root + "/" + rel_dir.
    void exec_test(const ozgi::cls_string& rel_dir, const ozgi::cls_array<ozgi::cls_string>& cmd) override;
    /// The test's output since the previous call; fatal before any test.
    ozgi::cls_sp<ozgi::cls_string> read_output() override;
    /// True once, when the test has ended, with its exit status; fatal before any test.
    bool is_ended(int* exit_code) override;
    /// Sends the interrupt signal to the test; fatal before any test.
    void stop() override;
    /// KIND_LOCAL.
    kind_t kind() const override { return KIND_LOCAL; }
    /// Always LOCAL_SERIAL_ID.
    const ozgi::cls_string& serial_id() const override { return m_serial_id; }
    /// True: a local test can be interrupted.
    bool can_stop() const override { return true; }
    /// The file's text when `path` is a regular file (a FIFO would block).
    ozgi::cls_sp<ozgi::cls_string> read_menu_file(const ozgi::cls_string& path) override;
    /// Nothing to do: a local test always leads its own process group.
    void set_endable(bool) override {}
    /// Ends the test's process group here; nothing when no test runs.
    void end_test(int grace_ms) override;
    /// Applies to the programs started from now on (the help run as well).
    void set_output_bound(int limit, bool keep_tail) override;
    /// Counted by the process of the last program started.
    long long dropped_output() const override { return m_dropped; }

private:
    /// Adds the sub-menus and tests of `dir` under `parent`; returns whether a test
    /// lies below. `chain` holds the directories from the root down to `dir`'s
    /// parent; `dir` itself is not entered when it is one of them.
    bool scan_dir(menu_tree_t* tree, menu_tree_node_t* parent, const ozgi::cls_string& dir, cls_vesk_dir_chain* chain);

    ozgi::cls_string m_root_dir;
    ozgi::cls_process* m_process;
    ozgi::cls_string m_serial_id;
    int m_output_limit = 0;
    bool m_keep_tail = false;
    long long m_dropped = 0;
};
