#include "devices/cls_vesk_run_record.h"

#include "devices/cls_vesk_text_escape.h"
#include "ozgi/cls_time.h"

using ozgi::cls_array;
using ozgi::cls_string;

cls_vesk_run_record::cls_vesk_run_record(int kept_bytes)
    : m_kept_bytes(kept_bytes < JSON_OUTPUT_BYTES ? JSON_OUTPUT_BYTES : kept_bytes),
      m_start_ms(0),
      m_duration_ms(0),
      m_exit_code(0),
      m_result(RESULT_NONE),
      m_output_bytes(0) {}

const char* cls_vesk_run_record::result_name(result_t result) {
    switch (result) {
    case RESULT_PASS: return "PASS";
    case RESULT_FAIL: return "FAIL";
    case RESULT_TIMEOUT: return "TIMEOUT";
    case RESULT_ERROR: return "ERROR";
    default: return "";
    }
}

cls_vesk_run_record::result_t cls_vesk_run_record::result_of_name(const cls_string& name) {
    const result_t ALL[] = {RESULT_PASS, RESULT_FAIL, RESULT_TIMEOUT, RESULT_ERROR};
    for (result_t r : ALL)
        if (name == result_name(r)) return r;
    return RESULT_NONE;
}

cls_vesk_run_record::result_t cls_vesk_run_record::result_of_run(int exit_code, bool timed_out) {
    if (timed_out) return RESULT_TIMEOUT;
    return exit_code == 0 ? RESULT_PASS : RESULT_FAIL;
}

void cls_vesk_run_record::begin(const cls_string& device, const cls_string& serial_id, const cls_string& test,
                                const cls_array<cls_string>& args) {
    m_device = device;
    m_serial_id = serial_id;
    m_test = test;
    m_args = args;
    m_start_time = ozgi::cls_time::wall_clock_iso8601();
    m_start_ms = ozgi::cls_time::now_ms();
    m_duration_ms = 0;
    m_exit_code = 0;
    m_result = RESULT_NONE;
    m_output_bytes = 0;
    m_head.clear();
    m_tail.clear();
    m_head_closed = false;
}

void cls_vesk_run_record::skip_output(long long count) {
    if (count <= 0) return;
    m_output_bytes += count;
    m_tail.clear();
    m_head_closed = true;
}

void cls_vesk_run_record::add_output(const cls_string& piece) {
    if (piece.is_empty()) return;
    m_output_bytes += piece.length();
    if (m_head.length() < m_kept_bytes && !m_head_closed) {
        int room = m_kept_bytes - m_head.length();
        m_head.append(piece.c_str(), piece.length() < room ? piece.length() : room);
    }
    if (piece.length() >= m_kept_bytes) {
        m_tail = piece.sub_str(piece.length() - m_kept_bytes);
    } else {
        m_tail += piece;
        if (m_tail.length() > 2 * m_kept_bytes) m_tail.to_sub_str(m_tail.length() - m_kept_bytes);
    }
}

void cls_vesk_run_record::finish(int exit_code, result_t result) {
    m_duration_ms = ozgi::cls_time::now_ms() - m_start_ms;
    m_exit_code = exit_code;
    m_result = result;
}

cls_string cls_vesk_run_record::kept_output() const {
    if (m_output_bytes <= m_kept_bytes && !m_head_closed) return m_head;
    cls_string tail = m_tail.length() > m_kept_bytes ? m_tail.sub_str(m_tail.length() - m_kept_bytes) : m_tail;
    long long left_out = m_output_bytes - m_head.length() - tail.length();
    if (left_out <= 0) {
        // Head and tail together are the whole output, overlapping.
        return m_head + tail.sub_str(static_cast<int>(-left_out));
    }
    cls_string note;
    note.print("\n[... %lld bytes left out ...]\n", left_out);
    return m_head + note + tail;
}

cls_string cls_vesk_run_record::to_json() const {
    typedef cls_vesk_text_escape esc;
    // The parts are cut where a character begins or ends, so that no character
    // turns into a replacement only because of the cut.
    cls_string head = m_head.sub_str(0, esc::utf8_cut(m_head, 0, JSON_OUTPUT_BYTES));
    int tail_from = m_tail.length() > JSON_OUTPUT_BYTES ? m_tail.length() - JSON_OUTPUT_BYTES : 0;
    cls_string tail = m_tail.sub_str(esc::utf8_start(m_tail, tail_from));

    cls_string line("{\"start_time\":");
    line += esc::json(m_start_time);
    cls_string number;
    line += number.print(",\"duration_ms\":%lld", m_duration_ms);
    line += ",\"device\":";
    line += esc::json(m_device);
    line += ",\"serial_id\":";
    line += esc::json(m_serial_id);
    line += ",\"test\":";
    line += esc::json(m_test);
    line += ",\"args\":[";
    for (int i = 0; i < m_args.count(); ++i) {
        if (i) line += ',';
        line += esc::json(m_args[i]);
    }
    line += number.print("],\"exit_code\":%d", m_exit_code);
    line += m_result == RESULT_PASS ? ",\"passed\":true" : ",\"passed\":false";
    line += ",\"result\":";
    line += esc::json(result_name(m_result));
    line += number.print(",\"output_bytes\":%lld", m_output_bytes);
    line += ",\"output_head\":";
    line += esc::json(head);
    line += ",\"output_tail\":";
    line += esc::json(tail);
    line += "}\n";
    return line;
}
