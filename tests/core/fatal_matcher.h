#pragma once
// Death tests compare the whole standard error of the dying process with the one
// line cls_log::log_fatal writes: "FATAL <path>:<line>: <message>\n".
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>

namespace core_test {

/// True when `text` is exactly one fatal line carrying `message`, reported from a
/// source file whose name is `file` (a base name such as "cls_array.h").
inline bool is_fatal_line(const std::string& text, const std::string& file, const std::string& message) {
    const std::string head = "FATAL ";
    const std::string tail = ": " + message + "\n";
    if (text.size() < head.size() + tail.size()) return false;
    if (text.compare(0, head.size(), head) != 0) return false;
    if (text.compare(text.size() - tail.size(), tail.size(), tail) != 0) return false;
    std::string place = text.substr(head.size(), text.size() - head.size() - tail.size());
    if (place.find('\n') != std::string::npos) return false;
    size_t colon = place.rfind(':');
    if (colon == std::string::npos || colon + 1 == place.size()) return false;
    for (size_t i = colon + 1; i < place.size(); ++i)
        if (place[i] < '0' || place[i] > '9') return false;
    std::string path = place.substr(0, colon);
    if (path == file) return true;
    return path.size() > file.size() && path.compare(path.size() - file.size(), file.size(), file) == 0 &&
           path[path.size() - file.size() - 1] == '/';
}

class fatal_line_matcher_t : public ::testing::MatcherInterface<const std::string&> {
public:
    fatal_line_matcher_t(std::string file, std::string message) : m_file(std::move(file)), m_message(std::move(message)) {}
    bool MatchAndExplain(const std::string& text, ::testing::MatchResultListener*) const override {
        return is_fatal_line(text, m_file, m_message);
    }
    void DescribeTo(std::ostream* os) const override {
        *os << "is exactly the line \"FATAL <path>/" << m_file << ":<line>: " << m_message << "\"";
    }

private:
    std::string m_file;
    std::string m_message;
};

/// Matches the standard error of a process that died through log_fatal with `message`
/// reported from `file`.
inline ::testing::Matcher<const std::string&> fatal_line(const std::string& file, const std::string& message) {
    return ::testing::MakeMatcher(new fatal_line_matcher_t(file, message));
}

} // namespace core_test
