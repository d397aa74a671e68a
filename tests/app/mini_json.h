#pragma once
// A small JSON reader for the GUI dumps that the tests read back: objects keep
// their member order, numbers are doubles, and malformed text yields no value.
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace app_test {

struct json_value {
    enum kind_t { NUL, BOOL, NUMBER, STRING, ARRAY, OBJECT };
    kind_t kind = NUL;
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<json_value> items;
    std::vector<std::pair<std::string, json_value>> members;

    /// The member named `key`, or null when there is none.
    const json_value* find(const std::string& key) const {
        for (const auto& m : members)
            if (m.first == key) return &m.second;
        return nullptr;
    }
    /// The member named `key`; a missing member reads as a null value.
    const json_value& operator[](const std::string& key) const {
        static const json_value none;
        const json_value* v = find(key);
        return v ? *v : none;
    }
};

class json_reader {
public:
    /// Parses `text` whole into *out; false when it is not one JSON value.
    static bool parse(const std::string& text, json_value* out) {
        json_reader r(text);
        r.skip_blanks();
        if (!r.value(out)) return false;
        r.skip_blanks();
        return r.m_pos == text.size();
    }

private:
    explicit json_reader(const std::string& text) : m_text(text), m_pos(0) {}

    void skip_blanks() {
        while (m_pos < m_text.size() && (m_text[m_pos] == ' ' || m_text[m_pos] == '\n' || m_text[m_pos] == '\r' ||
                                         m_text[m_pos] == '\t'))
            ++m_pos;
    }
    bool eat(char c) {
        skip_blanks();
        if (m_pos < m_text.size() && m_text[m_pos] == c) {
            ++m_pos;
            return true;
        }
        return false;
    }
    bool word(const char* w) {
        std::string s(w);
        if (m_text.compare(m_pos, s.size(), s) != 0) return false;
        m_pos += s.size();
        return true;
    }
    static void put_utf8(std::string* out, unsigned cp) {
        if (cp < 0x80) {
            *out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            *out += static_cast<char>(0xc0 | (cp >> 6));
            *out += static_cast<char>(0x80 | (cp & 0x3f));
        } else {
            *out += static_cast<char>(0xe0 | (cp >> 12));
            *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3f));
            *out += static_cast<char>(0x80 | (cp & 0x3f));
        }
    }
    bool string_value(std::string* out) {
        if (!eat('"')) return false;
        while (m_pos < m_text.size()) {
            char c = m_text[m_pos++];
            if (c == '"') return true;
            if (c != '\\') {
                *out += c;
                continue;
            }
            if (m_pos >= m_text.size()) return false;
            char e = m_text[m_pos++];
            switch (e) {
            case '"': *out += '"'; break;
            case '\\': *out += '\\'; break;
            case '/': *out += '/'; break;
            case 'n': *out += '\n'; break;
            case 'r': *out += '\r'; break;
            case 't': *out += '\t'; break;
            case 'b': *out += '\b'; break;
            case 'f': *out += '\f'; break;
            case 'u': {
                if (m_pos + 4 > m_text.size()) return false;
                put_utf8(out, static_cast<unsigned>(std::strtoul(m_text.substr(m_pos, 4).c_str(), nullptr, 16)));
                m_pos += 4;
                break;
            }
            default: return false;
            }
        }
        return false;
    }
    bool value(json_value* out) {
        skip_blanks();
        if (m_pos >= m_text.size()) return false;
        char c = m_text[m_pos];
        if (c == '{') {
            ++m_pos;
            out->kind = json_value::OBJECT;
            if (eat('}')) return true;
            do {
                std::string key;
                skip_blanks();
                if (!string_value(&key) || !eat(':')) return false;
                json_value v;
                if (!value(&v)) return false;
                out->members.emplace_back(key, std::move(v));
            } while (eat(','));
            return eat('}');
        }
        if (c == '[') {
            ++m_pos;
            out->kind = json_value::ARRAY;
            if (eat(']')) return true;
            do {
                json_value v;
                if (!value(&v)) return false;
                out->items.push_back(std::move(v));
            } while (eat(','));
            return eat(']');
        }
        if (c == '"') {
            out->kind = json_value::STRING;
            return string_value(&out->text);
        }
        if (word("true")) {
            out->kind = json_value::BOOL;
            out->boolean = true;
            return true;
        }
        if (word("false")) {
            out->kind = json_value::BOOL;
            return true;
        }
        if (word("null")) return true;
        const char* start = m_text.c_str() + m_pos;
        char* end = nullptr;
        out->number = std::strtod(start, &end);
        if (end == start) return false;
        out->kind = json_value::NUMBER;
        m_pos += static_cast<size_t>(end - start);
        return true;
    }

    const std::string& m_text;
    size_t m_pos;
};

} // namespace app_test
