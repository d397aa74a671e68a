#pragma once
// Helpers shared by the device tests: real temporary directory trees with real
// executable scripts, exact fatal-message patterns, and waiting for children.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ozgi/cls_array.h"
#include "ozgi/cls_string.h"
#include "ozgi/cls_time.h"

/// A temporary directory, removed with everything in it when the object goes.
class device_temp_dir {
public:
    device_temp_dir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vesk_dev_XXXXXX").string();
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data()) == nullptr) std::abort();
        m_path = buf.data();
    }
    ~device_temp_dir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    device_temp_dir(const device_temp_dir&) = delete;
    device_temp_dir& operator=(const device_temp_dir&) = delete;

    /// The directory's absolute path, without a trailing "/".
    const std::string& path() const { return m_path; }
    /// The absolute path of `rel` inside the directory.
    std::string at(const std::string& rel) const { return m_path + "/" + rel; }

    /// Creates the directory `rel` with its parents.
    void make_dir(const std::string& rel) const { std::filesystem::create_directories(at(rel)); }
    /// Writes `text` to `rel` (parents created) with the given mode.
    void write_file(const std::string& rel, const std::string& text, mode_t mode = 0644) const {
        std::filesystem::path p(at(rel));
        std::filesystem::create_directories(p.parent_path());
        std::ofstream out(p, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        ::chmod(p.c_str(), mode);
    }
    /// Writes an executable /bin/sh script whose body is `body`.
    void write_script(const std::string& rel, const std::string& body) const {
        write_file(rel, "#!/bin/sh\n" + body, 0755);
    }
    /// Writes a script that prints `help` for "--help" (and exits with `help_status`),
    /// and otherwise records its arguments, one per line, in "<rel>.args".
    void write_help_script(const std::string& rel, const std::string& help, int help_status = 0) const {
        write_file(rel + ".help", help);
        std::ostringstream body;
        body << "if [ \"$1\" = \"--help\" ]; then cat '" << at(rel) << ".help'; exit " << help_status << "; fi\n"
             << "for a in \"$@\"; do printf '%s\\n' \"$a\"; done > '" << at(rel) << ".args'\n";
        write_script(rel, body.str());
    }

    /// The names in the directory (not recursive), sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(m_path)) out.push_back(e.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }

private:
    std::string m_path;
};

/// The whole contents of a file; empty when it cannot be read.
inline std::string device_read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

/// The lines of a file, without their "\n".
inline std::vector<std::string> device_read_lines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

/// `text` split at `separator`.
inline std::vector<std::string> device_split(const std::string& text, char separator) {
    std::vector<std::string> out;
    std::string field;
    for (char c : text) {
        if (c == separator) {
            out.push_back(field);
            field.clear();
        } else {
            field += c;
        }
    }
    out.push_back(field);
    return out;
}

/// A framework array as a vector of standard strings.
inline std::vector<std::string> device_vec(const ozgi::cls_array<ozgi::cls_string>& a) {
    std::vector<std::string> out;
    for (int i = 0; i < a.count(); ++i) out.push_back(a[i].c_str());
    return out;
}

/// A death-test pattern that matches exactly one fatal report with `message`
/// (the report is "FATAL file:line: message" and a newline, nothing else).
inline std::string device_fatal_re(const std::string& message) {
    std::string out = "^FATAL [^\n]*:[0-9]+: ";
    for (char c : message) {
        if (std::string(".[]()*+?{}|^$\\").find(c) != std::string::npos) out += '\\';
        out += c;
    }
    out += "\n$";
    return out;
}

/// Polls `done` every 10 ms (which also drains child output) until it is true or
/// about `limit_ms` have passed; returns its last answer.
template <typename F>
bool device_poll_until(F done, int limit_ms = 20000) {
    for (int waited = 0; waited < limit_ms; waited += 10) {
        if (done()) return true;
        ozgi::cls_time::sleep_ms(10);
    }
    return done();
}

/// Changes the working directory for the lifetime of the object.
class device_cwd_guard {
public:
    explicit device_cwd_guard(const std::string& dir) : m_old(std::filesystem::current_path()) {
        std::filesystem::current_path(dir);
    }
    ~device_cwd_guard() {
        std::error_code ec;
        std::filesystem::current_path(m_old, ec);
    }
    device_cwd_guard(const device_cwd_guard&) = delete;
    device_cwd_guard& operator=(const device_cwd_guard&) = delete;

private:
    std::filesystem::path m_old;
};
