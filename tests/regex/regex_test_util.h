#pragma once
// Helpers shared by the regular-expression tests.
#include <string>

#include "ozgi/cls_array.h"
#include "ozgi/cls_regex.h"

namespace regex_test {

/// The captures of a match as "name=value;" pairs in matching order, or "FAIL"
/// when the text does not match.
inline std::string captures_of(ozgi::cls_regex& re, const std::string& text) {
    ozgi::cls_array<ozgi::name_val_t> caps;
    if (!re.match(ozgi::cls_string(text.c_str(), static_cast<int>(text.size())), &caps)) return "FAIL";
    std::string out;
    for (const ozgi::name_val_t& c : caps) {
        out += c.name.c_str();
        out += '=';
        out.append(c.value.c_str(), c.value.length());
        out += ';';
    }
    return out;
}

/// Compiles `pattern` and gives captures_of(text).
inline std::string run(const std::string& pattern, const std::string& text) {
    ozgi::cls_regex re(ozgi::cls_string(pattern.c_str(), static_cast<int>(pattern.size())));
    return captures_of(re, text);
}

/// A POSIX extended regular expression that matches `text` literally (for death tests).
inline std::string literal_re(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '\\': out += "[\\]"; break;
        case ']': out += "[]]"; break;
        case '^': out += "\\^"; break;
        case '.': case '[': case '(': case ')': case '*': case '+': case '?': case '{': case '}': case '|': case '$':
            out += '[';
            out += c;
            out += ']';
            break;
        default: out += c;
        }
    }
    return out;
}

/// The full standard-error text expected when `pattern` is refused for `reason` at `where`.
inline std::string malformed_re(const std::string& pattern, const std::string& reason, int where) {
    return "^FATAL [^\n]*cls_regex_compile[.]cpp:[0-9]+: " +
           literal_re("Malformed regular expression \"" + pattern + "\": " + reason + " at character " +
                      std::to_string(where) + ".") +
           "\n$";
}

} // namespace regex_test
