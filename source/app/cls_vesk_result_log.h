#pragma once
// The panel's result log: with VESK_RESULT_LOG=FILE in the environment, every
// run that ends on the execution page appends one JSON line to FILE (the record
// vesk-cli writes with --json). The screens never learn whether it worked; a
// failure to write is reported once on standard error.
#include "devices/cls_vesk_run_record.h"
#include "ozgi/cls_string.h"

class cls_vesk_result_log {
public:
    /// The one log, made on first use; it reads VESK_RESULT_LOG then.
    static cls_vesk_result_log* ins();
    /// Releases the log (registered with the framework's singleton manager).
    static void release_func(void* p);

    /// Whether a log file was asked for.
    bool enabled() const { return m_path.is_not_empty(); }
    /// A run of the device singleton's selected test has just started with its
    /// current argument values.
    void run_started();
    /// A piece of the running test's output.
    void run_output(const ozgi::cls_string& piece);
    /// A piece of the running test's output after `reader_dropped` bytes were
    /// dropped by its reader, in all since the run began.
    void run_output(const ozgi::cls_string& piece, long long reader_dropped);
    /// The run has ended: the record is written.
    void run_ended(int exit_code);

private:
    cls_vesk_result_log();

    ozgi::cls_string m_path;
    cls_vesk_run_record m_record;
    bool m_running;
    bool m_failure_reported;
    long long m_reader_dropped = 0;
};
