#pragma once
// The record of one finished test run, as the panel's result log and vesk-cli's
// JSON Lines keep it: when and where it ran, with what, how it ended, and the
// beginning and the end of its output (never the whole output, which may be
// endless).
#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"

class cls_vesk_run_record {
public:
    /// How a run ended; RESULT_NONE before finish().
    enum result_t { RESULT_NONE = 0, RESULT_PASS, RESULT_FAIL, RESULT_TIMEOUT, RESULT_ERROR };

    /// "PASS", "FAIL", "TIMEOUT", "ERROR"; "" for RESULT_NONE.
    static const char* result_name(result_t result);
    /// The result named `name` (as result_name gives it); RESULT_NONE for any other text.
    static result_t result_of_name(const ozgi::cls_string& name);
    /// The result of a run that ended with `exit_code` or ran out of time.
    static result_t result_of_run(int exit_code, bool timed_out);

    /// Bytes of the beginning and of the end of the output a JSON record holds.
    static const int JSON_OUTPUT_BYTES = 4096;

    /// A record that keeps `kept_bytes` (at least JSON_OUTPUT_BYTES) of the
    /// beginning and of the end of the output.
    explicit cls_vesk_run_record(int kept_bytes = JSON_OUTPUT_BYTES);

    /// Starts the record now: `device` is the device kind ("local", "adb"), `test`
    /// the test's path below the menu root, `args` the words after it.
    void begin(const ozgi::cls_string& device, const ozgi::cls_string& serial_id, const ozgi::cls_string& test,
               const ozgi::cls_array<ozgi::cls_string>& args);
    /// Counts and keeps (the kept parts of) a piece of output.
    void add_output(const ozgi::cls_string& piece);
    /// Counts `count` bytes of output that never reached the record (dropped by
    /// its reader); the head and the tail are never joined across them.
    void skip_output(long long count);
    /// Ends the record now.
    void finish(int exit_code, result_t result);

    /// The test's path below the menu root.
    const ozgi::cls_string& test() const { return m_test; }
    /// The words after the test's path.
    const ozgi::cls_array<ozgi::cls_string>& args() const { return m_args; }
    /// How the run ended; RESULT_NONE before finish().
    result_t result() const { return m_result; }
    /// Its name, "PASS", "FAIL", "TIMEOUT" or "ERROR"; empty before finish().
    const char* result_text() const { return result_name(m_result); }
    /// The device kind given to begin().
    const ozgi::cls_string& device() const { return m_device; }
    /// The serial id given to begin().
    const ozgi::cls_string& serial_id() const { return m_serial_id; }
    /// The exit code given to finish().
    int exit_code() const { return m_exit_code; }
    /// Milliseconds from begin() to finish().
    long long duration_ms() const { return m_duration_ms; }
    /// The start as ISO 8601 local time with its zone.
    const ozgi::cls_string& start_time() const { return m_start_time; }
    /// All output bytes counted, kept or not.
    long long output_bytes() const { return m_output_bytes; }
    /// The output as far as it is kept: all of it when it fit, otherwise the
    /// beginning, a line saying how many bytes are left out, and the end.
    ozgi::cls_string kept_output() const;

    /// The record as one JSON object on one line, ending with "\n".
    ozgi::cls_string to_json() const;

private:
    // vesk-cli reads back the records its per-device workers wrote.
    friend class cls_cli_record_reader;

    int m_kept_bytes;
    ozgi::cls_string m_device;
    ozgi::cls_string m_serial_id;
    ozgi::cls_string m_test;
    ozgi::cls_array<ozgi::cls_string> m_args;
    ozgi::cls_string m_start_time;
    long long m_start_ms;
    long long m_duration_ms;
    int m_exit_code;
    result_t m_result;
    long long m_output_bytes;
    ozgi::cls_string m_head;
    // Holds between m_kept_bytes and twice that many bytes, so cutting it is rare.
    ozgi::cls_string m_tail;
    // Output was skipped: the head takes no more.
    bool m_head_closed = false;
};
