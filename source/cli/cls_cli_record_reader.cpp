#include "cli/cls_cli_record_reader.h"

using ozgi::cls_array;
using ozgi::cls_string;

namespace {

// Appends the code point `cp` as UTF-8.
void append_utf8(unsigned cp, cls_string* out) {
    if (cp < 0x80) {
        *out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        *out += static_cast<char>(0xC0 | (cp >> 6));
        *out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        *out += static_cast<char>(0xE0 | (cp >> 12));
        *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A whole number as written (a sign, then digits); what follows is ignored.
long long number_of(const cls_string& text) {
    long long value = 0;
    int i = text.is_not_empty() && text[0] == '-' ? 1 : 0;
    for (; i < text.length() && text[i] >= '0' && text[i] <= '9'; ++i) value = value * 10 + (text[i] - '0');
    return text.is_not_empty() && text[0] == '-' ? -value : value;
}

void skip_blanks(const cls_string& line, int* pos) {
    while (*pos < line.length() && (line[*pos] == ' ' || line[*pos] == '\t')) ++*pos;
}

} // namespace

bool cls_cli_record_reader::string_at(const cls_string& line, int* pos, cls_string* out) {
    out->clear();
    if (*pos >= line.length() || line[*pos] != '"') return false;
    for (int i = *pos + 1; i < line.length(); ++i) {
        char c = line[i];
        if (c == '"') {
            *pos = i + 1;
            return true;
        }
        if (c != '\\') {
            *out += c;
            continue;
        }
        if (++i >= line.length()) return false;
        switch (line[i]) {
        case 'n': *out += '\n'; break;
        case 'r': *out += '\r'; break;
        case 't': *out += '\t'; break;
        case 'b': *out += '\b'; break;
        case 'f': *out += '\f'; break;
        case 'u': {
            unsigned cp = 0;
            for (int d = 1; d <= 4; ++d) {
                int v = i + d < line.length() ? hex_digit(line[i + d]) : -1;
                if (v < 0) return false;
                cp = cp * 16 + static_cast<unsigned>(v);
            }
            append_utf8(cp, out);
            i += 4;
            break;
        }
        default: *out += line[i]; break;
        }
    }
    return false;
}

void cls_cli_record_reader::word_at(const cls_string& line, int* pos, cls_string* out) {
    out->clear();
    while (*pos < line.length() && line[*pos] != ',' && line[*pos] != '}' && line[*pos] != ']') *out += line[(*pos)++];
    out->trim_to_str(" \t", true, true);
}

bool cls_cli_record_reader::read(const cls_string& line, cls_vesk_run_record* out) {
    int pos = 0;
    skip_blanks(line, &pos);
    if (pos >= line.length() || line[pos] != '{') return false;
    ++pos;
    bool have_result = false;
    for (;;) {
        skip_blanks(line, &pos);
        if (pos < line.length() && line[pos] == '}') break;
        cls_string key;
        if (!string_at(line, &pos, &key)) return false;
        skip_blanks(line, &pos);
        if (pos >= line.length() || line[pos] != ':') return false;
        ++pos;
        skip_blanks(line, &pos);
        cls_string text;
        if (key == "args") {
            if (pos >= line.length() || line[pos] != '[') return false;
            ++pos;
            out->m_args.clear();
            skip_blanks(line, &pos);
            while (pos < line.length() && line[pos] != ']') {
                if (!string_at(line, &pos, &text)) return false;
                out->m_args.append(text);
                skip_blanks(line, &pos);
                if (pos < line.length() && line[pos] == ',') ++pos;
                skip_blanks(line, &pos);
            }
            if (pos >= line.length()) return false;
            ++pos;
        } else if (pos < line.length() && line[pos] == '"') {
            if (!string_at(line, &pos, &text)) return false;
            if (key == "start_time") out->m_start_time = text;
            else if (key == "device") out->m_device = text;
            else if (key == "serial_id") out->m_serial_id = text;
            else if (key == "test") out->m_test = text;
            else if (key == "output_head") out->m_head = text;
            else if (key == "output_tail") out->m_tail = text;
            else if (key == "result") {
                out->m_result = cls_vesk_run_record::result_of_name(text);
                have_result = out->m_result != cls_vesk_run_record::RESULT_NONE;
            }
        } else {
            word_at(line, &pos, &text);
            if (key == "duration_ms") out->m_duration_ms = number_of(text);
            else if (key == "exit_code") out->m_exit_code = static_cast<int>(number_of(text));
            else if (key == "output_bytes") out->m_output_bytes = number_of(text);
        }
        skip_blanks(line, &pos);
        if (pos < line.length() && line[pos] == ',') ++pos;
    }
    // The head and the tail are all that is kept of the output now.
    out->m_kept_bytes = cls_vesk_run_record::JSON_OUTPUT_BYTES;
    return have_result;
}
