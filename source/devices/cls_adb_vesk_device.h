#pragma once
// The device on an Android target reached through the adb command-line tool,
// run by its bare name from the search path. Every action on the target is one
// adb invocation; a test's exit status comes back as an "exit_code=" marker that
// the remote command line echoes after the test.
#include "devices/if_vesk_device.h"
#include "ozgi/cls_process.h"

class cls_adb_vesk_device : public if_vesk_device {
public:
    /// A device with no serial id, no menu root and no running test.
    cls_adb_vesk_device();
    /// Destroys the strings only; a running adb process is left alone.
    ~cls_adb_vesk_device() override;
    cls_adb_vesk_device(const cls_adb_vesk_device&) = delete;
    cls_adb_vesk_device& operator=(const cls_adb_vesk_device&) = delete;

    /// The ids "adb devices" lists, whatever their state.
    ozgi::cls_sp<ozgi::cls_array<ozgi::cls_string>> list_serial_ids() override;
    /// Stores the id (empty: no "-s") and probes whether the target's ls takes "-1".
    void set_serial_id(const ozgi::cls_string& serial_id) override;
    /// Scans `root_dir` (empty: "/dfs/vesk/") on the target, merging its "dict.xml".
    void build_menu_tree(const ozgi::cls_string& root_dir, menu_tree_t* tree) override;
    /// Starts the test on the target in its own directory.
    void exec_test(const ozgi::cls_string& rel_dir, const ozgi::cls_array<ozgi::cls_string>& cmd) override;
    /// The output since the previous call, without the marker once the end was seen
    /// in this call; fatal before any test.
    ozgi::cls_sp<ozgi::cls_string> read_output() override;
    /// True once, when the test has ended, with the status taken from the marker;
    /// fatal before any test.
    bool is_ended(int* exit_code) override;
    /// A test on the target cannot be interrupted: always fatal.
    void stop() override;
    /// KIND_ADB.
    kind_t kind() const override { return KIND_ADB; }
    /// The serial id given to set_serial_id (empty: none, adb picks the device).
    const ozgi::cls_string& serial_id() const override { return m_serial_id; }
    /// False: stop() cannot reach a test on the target.
    bool can_stop() const override { return false; }
    /// The file pulled from the target (read_remote_file).
    ozgi::cls_sp<ozgi::cls_string> read_menu_file(const ozgi::cls_string& path) override;
    /// From now on a test is started in a session of its own on the target,
    /// and the remote shell first prints its process group (a line that is not
    /// part of the test's output); a run without the status marker ends with
    /// NO_STATUS instead of the panel's reading of the missing marker.
    void set_endable(bool endable) override { m_endable = endable; }
    /// Sends the signals to the test's process group on the target with
    /// "adb shell kill"; the local adb client ends with the remote shell. If the
    /// client is still there after the SIGKILL (the target is gone), the client is
    /// ended instead.
    void end_test(int grace_ms) override;
    /// The process group the remote shell reported for the running test; 0 when
    /// none is known (yet).
    int remote_group() const { return m_remote_group; }
    /// Applies to the programs started from now on (the help run as well).
    void set_output_bound(int limit, bool keep_tail) override;
    /// Counted by the process of the last program started.
    long long dropped_output() const override { return m_dropped; }

    /// Sorts the entries of `dir` on the target into sub-directories and executables.
    void list_dir(const ozgi::cls_string& dir, ozgi::cls_array<ozgi::cls_string>* dirs,
                  ozgi::cls_array<ozgi::cls_string>* execs);
    /// Adds the sub-menus, then the tests, of `dir` under `parent`; returns whether a test lies below.
    bool scan_dir(menu_tree_t* tree, menu_tree_node_t* parent, const ozgi::cls_string& dir);
    /// Copies a file from the target; true when adb reports success.
    bool pull_file(const ozgi::cls_string& remote_path, const ozgi::cls_string& local_path);
    /// A file's text from the target through a temporary file in "./"; null when the pull failed.
    ozgi::cls_sp<ozgi::cls_string> read_remote_file(const ozgi::cls_string& remote_path);
    /// Starts "cd ROOT/DIR ; [ROOT/]WORDS ; echo exit_code=$?" on the target.
    void adb_exec(const ozgi::cls_string& dir, const ozgi::cls_array<ozgi::cls_string>& words, bool prefix_root);

    // ---- Parsing of adb's output (no adb needed) ----

    /// The exit code in endable mode when the output held no status marker.
    static constexpr int NO_STATUS = 255;

    /// What one "ls -ld" line makes of an entry.
    enum entry_kind_t { ENTRY_OTHER = 0, ENTRY_DIR = 1, ENTRY_EXEC = 2 };
    /// Appends to *ids the ids of an "adb devices" output: the text before the first
    /// tab of every line but the first and the last.
    static void parse_serial_ids(const ozgi::cls_string& output, ozgi::cls_array<ozgi::cls_string>* ids);
    /// Classifies an entry by its "ls -ld" output (null: no output): 'd' first is a
    /// directory, the owner's 'x' fourth an executable, anything else neither.
    static entry_kind_t entry_kind(const ozgi::cls_string* mode_line);
    /// Takes the exit status from the last "exit_code=" marker of `chunk` and cuts the
    /// chunk before the marker; returns the status.
    static int cut_exit_code(ozgi::cls_string* chunk);

private:
    /// "adb", then "-s" and the serial id when one is set.
    void adb_prefix(ozgi::cls_array<ozgi::cls_string>* argv) const;
    /// Takes the exit status from the last marker in `chunk` and cuts the chunk before it.
    void take_exit_code(ozgi::cls_string* chunk);
    /// In endable mode, holds back output until the group line is complete, takes
    /// the group from it and returns the output after it; `ended`: the process has
    /// ended, so whatever is held back is output.
    void take_group_line(ozgi::cls_string* chunk, bool ended);
    /// Sends one signal ("INT", "TERM", "KILL") to the remote group.
    void remote_kill(const char* signal_name);
    /// Waits up to `ms` for the local client to end; true when it has.
    bool client_ended_within(int ms);

    ozgi::cls_string m_root_dir;
    ozgi::cls_string m_serial_id;
    ozgi::cls_process* m_process;
    int m_output_limit = 0;
    bool m_keep_tail = false;
    long long m_dropped = 0;
    bool m_exit_code_got;
    int m_exit_code;
    bool m_ls_one_supported;
    bool m_endable;
    // The remote group of the running test (0: not known), and output held back
    // until the line that reports it is complete.
    int m_remote_group;
    bool m_group_line_done;
    ozgi::cls_string m_held;
    // Output read while the group line was awaited outside read_output.
    ozgi::cls_string m_held_output;
};
