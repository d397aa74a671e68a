#pragma once
// Helpers of the execution page tests: temporary menu directories with real test
// scripts, running the real program headless with an automation script, reading
// its JSON dumps and the pixels of its screenshots.
#include <dirent.h>
#include <fcntl.h>
#include <png.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace exec_test {

// ---- Files ------------------------------------------------------------------

inline std::string read_file(const std::string& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void write_file(const std::string& path, const std::string& text, mode_t mode = 0644) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    ::chmod(path.c_str(), mode);
}

/// A temporary menu directory, removed with everything in it when the object goes.
class menu_dir {
public:
    menu_dir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vesk_exec_XXXXXX").string();
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
        m_path = buf.data();
        std::filesystem::create_directories(m_path + "/menu");
        std::filesystem::create_directories(m_path + "/work");
    }
    ~menu_dir() {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
    menu_dir(const menu_dir&) = delete;
    menu_dir& operator=(const menu_dir&) = delete;

    /// The menu root (absolute).
    std::string root() const { return m_path + "/menu"; }
    /// A path for scratch files (dumps, screenshots, argument records) outside the menu.
    std::string work(const std::string& name) const { return m_path + "/work/" + name; }

    /// Writes an executable shell script `rel` below the menu root.
    void script(const std::string& rel, const std::string& body) const {
        write_file(root() + "/" + rel, "#!/bin/sh\n" + body, 0755);
    }
    /// Writes a test that prints `help` for "--help" and otherwise records each of its
    /// arguments as "[word]" on a line of work("<name>.args"), then runs `body`.
    void help_test(const std::string& rel, const std::string& help, const std::string& body = "exit 0\n") const {
        std::string name = std::filesystem::path(rel).filename().string();
        write_file(work(name + ".help"), help);
        script(rel, "if [ \"$1\" = \"--help\" ]; then cat '" + work(name + ".help") +
                        "'; exit 0; fi\n"
                        ": > '" + work(name + ".args") + "'\n"
                        "for a in \"$@\"; do printf '[%s]\\n' \"$a\" >> '" + work(name + ".args") + "'; done\n" +
                        body);
    }

private:
    std::string m_path;
};

// ---- Running the program ------------------------------------------------------

struct run_result_t {
    /// The exit status, or 128 + signal.
    int status = -1;
    std::string out;
    std::string err;
};

/// The directory of the adb stand-in.
inline std::string support_dir() { return std::string(VESK_SOURCE_DIR) + "/tests/support"; }

/// Runs the program headless with `script` as its automation script and `args`
/// after the video and script options; `env` entries are set in the child. A run
/// that takes longer than `limit_s` seconds is ended by SIGALRM.
inline run_result_t run_vesk(const std::string& script_path, const std::string& script,
                             const std::vector<std::string>& args,
                             const std::vector<std::pair<std::string, std::string>>& env = {}, int limit_s = 120) {
    write_file(script_path, script);
    std::string out_path = script_path + ".out";
    std::string err_path = script_path + ".err";
    std::vector<std::string> argv_s = {VESK_PROGRAM, "--ozgi-video=headless", "--ozgi-script=" + script_path};
    argv_s.insert(argv_s.end(), args.begin(), args.end());
    pid_t pid = ::fork();
    if (pid == 0) {
        int in = ::open("/dev/null", O_RDONLY);
        int out = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(in, 0);
        ::dup2(out, 1);
        ::dup2(err, 2);
        for (const auto& e : env) ::setenv(e.first.c_str(), e.second.c_str(), 1);
        ::alarm(static_cast<unsigned>(limit_s));
        std::vector<char*> argv;
        for (std::string& a : argv_s) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    run_result_t r;
    int ws = 0;
    ::waitpid(pid, &ws, 0);
    r.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    r.out = read_file(out_path);
    r.err = read_file(err_path);
    return r;
}

// ---- JSON dumps -----------------------------------------------------------------

/// One JSON value (enough of JSON for the GUI dumps).
struct json_t {
    enum kind_t { NUL, BOOL, NUM, STR, ARR, OBJ } kind = NUL;
    bool b = false;
    long long num = 0;
    std::string str;
    std::vector<json_t> arr;
    std::vector<std::pair<std::string, json_t>> obj;

    /// The member `key` of an object; a missing member is an exception.
    const json_t& operator[](const std::string& key) const {
        for (const auto& kv : obj)
            if (kv.first == key) return kv.second;
        throw std::runtime_error("no JSON member " + key);
    }
    bool has(const std::string& key) const {
        for (const auto& kv : obj)
            if (kv.first == key) return true;
        return false;
    }
    // Shorthands for dumped items.
    std::string text() const { return has("text") ? (*this)["text"].str : std::string(); }
    std::string name() const { return (*this)["name"].str; }
    std::string cls() const { return (*this)["class"].str; }
    bool visible() const { return (*this)["visible"].b; }
    bool enabled() const { return (*this)["enabled"].b; }
    bool focused() const { return (*this)["focused"].b; }
    int x() const { return static_cast<int>((*this)["x"].num); }
    int y() const { return static_cast<int>((*this)["y"].num); }
    int w() const { return static_cast<int>((*this)["w"].num); }
    int h() const { return static_cast<int>((*this)["h"].num); }
    const std::vector<json_t>& children() const { return (*this)["children"].arr; }
    bool in_group(const std::string& g) const {
        for (const json_t& v : (*this)["groups"].arr)
            if (v.str == g) return true;
        return false;
    }
};

class json_parser {
public:
    explicit json_parser(const std::string& text) : m_s(text), m_i(0) {}
    json_t parse() {
        json_t v = value();
        blanks();
        if (m_i != m_s.size()) fail("trailing text");
        return v;
    }

private:
    [[noreturn]] void fail(const std::string& why) { throw std::runtime_error("JSON: " + why + " at " + std::to_string(m_i)); }
    void blanks() {
        while (m_i < m_s.size() && std::strchr(" \t\r\n", m_s[m_i])) ++m_i;
    }
    bool eat(const char* word) {
        size_t n = std::strlen(word);
        if (m_s.compare(m_i, n, word) != 0) return false;
        m_i += n;
        return true;
    }
    std::string string_value() {
        if (m_s[m_i] != '"') fail("string expected");
        ++m_i;
        std::string out;
        while (m_i < m_s.size() && m_s[m_i] != '"') {
            char c = m_s[m_i++];
            if (c != '\\') {
                out += c;
                continue;
            }
            char e = m_s[m_i++];
            switch (e) {
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'r': out += '\r'; break;
            case 'u': out += static_cast<char>(std::stoi(m_s.substr(m_i, 4), nullptr, 16)); m_i += 4; break;
            default: out += e; break;
            }
        }
        if (m_i >= m_s.size()) fail("unterminated string");
        ++m_i;
        return out;
    }
    json_t value() {
        blanks();
        if (m_i >= m_s.size()) fail("value expected");
        json_t v;
        char c = m_s[m_i];
        if (c == '{') {
            v.kind = json_t::OBJ;
            ++m_i;
            blanks();
            if (m_s[m_i] == '}') { ++m_i; return v; }
            for (;;) {
                blanks();
                std::string key = string_value();
                blanks();
                if (!eat(":")) fail("colon expected");
                v.obj.emplace_back(key, value());
                blanks();
                if (eat(",")) continue;
                if (eat("}")) return v;
                fail("comma or brace expected");
            }
        }
        if (c == '[') {
            v.kind = json_t::ARR;
            ++m_i;
            blanks();
            if (m_s[m_i] == ']') { ++m_i; return v; }
            for (;;) {
                v.arr.push_back(value());
                blanks();
                if (eat(",")) continue;
                if (eat("]")) return v;
                fail("comma or bracket expected");
            }
        }
        if (c == '"') {
            v.kind = json_t::STR;
            v.str = string_value();
            return v;
        }
        if (eat("true")) { v.kind = json_t::BOOL; v.b = true; return v; }
        if (eat("false")) { v.kind = json_t::BOOL; return v; }
        if (eat("null")) return v;
        size_t used = 0;
        v.kind = json_t::NUM;
        // Only the number's few characters are copied, not the rest of the dump
        // (which may hold megabytes of text after it).
        v.num = std::stoll(m_s.substr(m_i, 32), &used);
        m_i += used;
        return v;
    }

    const std::string& m_s;
    size_t m_i;
};

inline json_t parse_json(const std::string& text) { return json_parser(text).parse(); }
inline json_t load_dump(const std::string& path) { return parse_json(read_file(path)); }

/// The open pages of a dump, bottom first.
inline const std::vector<json_t>& pages(const json_t& dump) { return dump["pages"].arr; }
inline const json_t& top_page(const json_t& dump) { return pages(dump).back(); }
/// The top page of a temporary dump, as a value of its own (so that it outlives the dump).
inline json_t top_page(json_t&& dump) { return pages(dump).back(); }

/// Every item below `item` (itself included) that satisfies `pred`, in creation order.
inline void collect(const json_t& item, const std::function<bool(const json_t&)>& pred, std::vector<const json_t*>* out) {
    if (pred(item)) out->push_back(&item);
    for (const json_t& c : item.children()) collect(c, pred, out);
}
inline std::vector<const json_t*> all(const json_t& item, const std::function<bool(const json_t&)>& pred) {
    std::vector<const json_t*> out;
    collect(item, pred, &out);
    return out;
}
/// The first item named `name` below `item`; none is an exception.
inline const json_t& named(const json_t& item, const std::string& name) {
    std::vector<const json_t*> found = all(item, [&](const json_t& i) { return i.name() == name; });
    if (found.empty()) throw std::runtime_error("no item named " + name);
    return *found.front();
}
/// The text of the first item named `name` below `item`.
inline std::string label_text(const json_t& item, const std::string& name) { return named(item, name).text(); }

/// The argument buttons of an execution page, in order.
inline std::vector<const json_t*> arg_buttons(const json_t& page) {
    return all(page, [](const json_t& i) { return i.in_group("ARGU_BUTTONS"); });
}
/// The value label text of the argument `arg` on an execution page.
inline std::string arg_value(const json_t& page, const std::string& arg) {
    for (const json_t* b : arg_buttons(page))
        if (label_text(*b, "ARG_NAME_LABEL") == arg) return label_text(*b, "ARG_VALUE_LABEL");
    throw std::runtime_error("no argument button " + arg);
}
/// The buttons of a page below its title bar, in order.
inline std::vector<const json_t*> page_buttons(const json_t& page) {
    std::vector<const json_t*> out;
    for (const json_t& c : page.children())
        if (c.cls() == "cls_button") out.push_back(&c);
    return out;
}
/// The "tap X Y" command aimed at the middle of `item`.
inline std::string tap_at(const json_t& item) {
    return "tap " + std::to_string(item.x() + item.w() / 2) + " " + std::to_string(item.y() + item.h() / 2) + "\n";
}

/// A fixture base: a fresh menu directory and runs of the program on it with the
/// local device already selected.
class vesk_fixture {
public:
    menu_dir m;

    /// Runs `script` on the menu; the dumps and screenshots it names go to m.work().
    run_result_t run(const std::string& script, const std::vector<std::string>& extra = {},
                     const std::vector<std::pair<std::string, std::string>>& env = {}) {
        std::vector<std::string> args = {"--dir=" + m.root(), "--serial-id=LOCAL_DEVICE"};
        args.insert(args.end(), extra.begin(), extra.end());
        return run_vesk(m.work("script.txt"), script, args, env);
    }
    /// "dump <path>" for the dump file `name` in the work directory.
    std::string dump(const std::string& name) const { return "dump " + m.work(name) + "\n"; }
    std::string screenshot(const std::string& name) const { return "screenshot " + m.work(name) + "\n"; }
    json_t load(const std::string& name) const { return load_dump(m.work(name)); }
    std::string args_of(const std::string& test) const { return read_file(m.work(test + ".args")); }
};

// ---- A live program -------------------------------------------------------------

/// Whether user 65534 may execute `path` (a build tree in a directory that only
/// root may enter, such as a clone in a mktemp -d directory, is out of its reach).
inline bool nobody_can_reach(const std::string& path) {
    pid_t pid = ::fork();
    if (pid == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
        ::_exit(::access(path.c_str(), X_OK) == 0 ? 0 : 1);
    }
    int ws = 0;
    ::waitpid(pid, &ws, 0);
    return WIFEXITED(ws) && WEXITSTATUS(ws) == 0;
}

/// The program with its automation script fed through a pipe and "dump -" read
/// back from its standard output, so that the test can look at the live process.
class live_vesk {
public:
    /// Starts the program with `args` after the video and script options. With
    /// `as_nobody` and when run as root, the program runs as user and group 65534,
    /// so that permissions apply to it.
    explicit live_vesk(const std::vector<std::string>& args, bool as_nobody = false) {
        int in[2], out[2];
        // Close-on-exec, so that programs started side by side do not hold each other's pipes.
        if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
        std::string program = VESK_PROGRAM;
        if (as_nobody && ::getuid() == 0 && !nobody_can_reach(program)) program = copy_for_nobody(program);
        std::vector<std::string> argv_s = {program, "--ozgi-video=headless", "--ozgi-script=-"};
        argv_s.insert(argv_s.end(), args.begin(), args.end());
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(in[0], 0);
            ::dup2(out[1], 1);
            ::close(in[0]);
            ::close(in[1]);
            ::close(out[0]);
            ::close(out[1]);
            if (as_nobody && ::getuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(126);
            ::alarm(290);
            std::vector<char*> argv;
            for (std::string& a : argv_s) argv.push_back(&a[0]);
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        m_in = ::fdopen(in[1], "w");
        m_out = ::fdopen(out[0], "r");
    }
    ~live_vesk() {
        if (m_in) std::fclose(m_in);
        if (m_out) std::fclose(m_out);
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
        if (!m_copy_dir.empty()) std::filesystem::remove_all(m_copy_dir);
    }
    live_vesk(const live_vesk&) = delete;
    live_vesk& operator=(const live_vesk&) = delete;

    pid_t pid() const { return m_pid; }

    /// Sends script lines.
    void send(const std::string& lines) {
        std::fputs(lines.c_str(), m_in);
        std::fflush(m_in);
    }
    /// Dumps the pages now and returns the JSON text (empty when the program is gone).
    std::string dump() {
        send("dump -\n");
        std::string text;
        char buf[4096];
        while (std::fgets(buf, sizeof buf, m_out)) {
            text += buf;
            // The dump's last line closes the page list at the left margin.
            if (std::string(buf) == "]}\n") break;
        }
        return text;
    }
    /// Ends the script and returns the exit status.
    int finish() {
        send("quit\n");
        std::fclose(m_in);
        m_in = nullptr;
        int ws = 0;
        ::waitpid(m_pid, &ws, 0);
        m_pid = -1;
        return WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    }

private:
    // A copy of the program that user 65534 may run (it needs no file beside it).
    std::string copy_for_nobody(const std::string& program) {
        char name[] = "/tmp/vesk_nobody_XXXXXX";
        if (!::mkdtemp(name)) throw std::runtime_error("mkdtemp failed");
        m_copy_dir = name;
        ::chmod(name, 0755);
        std::string copy = m_copy_dir + "/vesk";
        std::filesystem::copy_file(program, copy);
        ::chmod(copy.c_str(), 0755);
        return copy;
    }

    std::string m_copy_dir;
    pid_t m_pid;
    FILE* m_in;
    FILE* m_out;
};

inline int count_fds(pid_t pid) {
    int n = 0;
    DIR* dir = ::opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
    if (!dir) return -1;
    while (dirent* e = ::readdir(dir))
        if (e->d_name[0] != '.') ++n;
    ::closedir(dir);
    return n;
}

/// Processes whose parent is `pid`, zombies included.
inline int count_children(pid_t pid) {
    int n = 0;
    DIR* dir = ::opendir("/proc");
    while (dirent* e = ::readdir(dir)) {
        if (e->d_name[0] < '0' || e->d_name[0] > '9') continue;
        std::string stat = read_file(std::string("/proc/") + e->d_name + "/stat");
        // The parent id is the second field after the parenthesised command name.
        size_t close = stat.rfind(')');
        if (close == std::string::npos) continue;
        int ppid = 0;
        char state = 0;
        if (std::sscanf(stat.c_str() + close + 1, " %c %d", &state, &ppid) == 2 && ppid == pid) ++n;
    }
    ::closedir(dir);
    return n;
}

inline long rss_kb(pid_t pid) {
    std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
    size_t at = status.find("VmRSS:");
    return at == std::string::npos ? -1 : std::stol(status.substr(at + 6));
}

// ---- Screenshots ---------------------------------------------------------------

/// A decoded RGBA picture.
struct picture_t {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgba;
    const unsigned char* at(int x, int y) const { return &rgba[(static_cast<size_t>(y) * width + x) * 4]; }
};

inline picture_t load_png(const std::string& path) {
    picture_t pic;
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) throw std::runtime_error("can't read " + path);
    image.format = PNG_FORMAT_RGBA;
    pic.width = static_cast<int>(image.width);
    pic.height = static_cast<int>(image.height);
    pic.rgba.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, pic.rgba.data(), 0, nullptr)) throw std::runtime_error("can't decode " + path);
    return pic;
}

/// How many pixels of the item's rectangle satisfy `pred(r, g, b)`.
inline int count_pixels(const picture_t& pic, const json_t& item, const std::function<bool(int, int, int)>& pred) {
    int n = 0;
    for (int y = item.y(); y < item.y() + item.h() && y < pic.height; ++y)
        for (int x = item.x(); x < item.x() + item.w() && x < pic.width; ++x) {
            const unsigned char* p = pic.at(x, y);
            if (pred(p[0], p[1], p[2])) ++n;
        }
    return n;
}
inline bool is_green(int r, int g, int b) { return g > 150 && r < 120 && b < 160; }
inline bool is_red(int r, int g, int b) { return r > 200 && g < 110 && b < 110; }

} // namespace exec_test
