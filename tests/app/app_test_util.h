#pragma once
// Helpers of the start-up and menu tests: real temporary menu directories, runs
// of the real program headless under an automation script (in one go, or
// command by command over a pipe), the GUI dumps read back as item trees, and
// screenshots read back as pixels.
#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "device_test_util.h"
#include "mini_json.h"
#include "wait_util.h"

extern char** environ;

namespace app_test {

inline std::string read_file(const std::string& path) {
    std::ifstream in(path.c_str(), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline bool file_exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

/// A temporary menu directory, removed with its contents when the object goes.
class temp_dir : public device_temp_dir {
public:
    /// Writes `text` to `rel`, creating its parents, with the given mode.
    void write(const std::string& rel, const std::string& text, mode_t mode = 0644) const { write_file(rel, text, mode); }
    /// Writes a small executable test script at `rel`.
    void make_test(const std::string& rel) const { write(rel, "#!/bin/sh\necho \"$0 ran\"\n", 0755); }
};

// ---- GUI dumps ----------------------------------------------------------------

/// One item of a GUI dump.
struct gui_item {
    std::string cls;
    std::string name;
    int x = 0, y = 0, w = 0, h = 0;
    bool visible = false, enabled = false, focused = false;
    std::string text, shown_text, picture, item_data;
    std::vector<gui_item> children;

    int bottom() const { return y + h; }

    /// The first descendant named `item_name` (depth first), or null.
    const gui_item* find(const std::string& item_name) const {
        for (const gui_item& c : children) {
            if (c.name == item_name) return &c;
            const gui_item* deeper = c.find(item_name);
            if (deeper) return deeper;
        }
        return nullptr;
    }
    /// The focused descendant, or null.
    const gui_item* focused_item() const {
        for (const gui_item& c : children) {
            if (c.focused) return &c;
            const gui_item* deeper = c.focused_item();
            if (deeper) return deeper;
        }
        return nullptr;
    }
    /// The buttons that the page added itself: its direct children of class cls_button.
    std::vector<const gui_item*> page_buttons() const {
        std::vector<const gui_item*> out;
        for (const gui_item& c : children)
            if (c.cls == "cls_button") out.push_back(&c);
        return out;
    }
    /// The shown text of the first label among the item's children ("" when none).
    std::string label() const {
        for (const gui_item& c : children)
            if (c.cls == "cls_label") return c.shown_text;
        return "";
    }
    /// The key (untranslated text) of the first label among the item's children.
    std::string label_key() const {
        for (const gui_item& c : children)
            if (c.cls == "cls_label") return c.text;
        return "";
    }
    /// The shown text of the page's title label ("" when there is none).
    std::string title() const {
        const gui_item* t = find("TITLE_LABEL");
        return t ? t->shown_text : "";
    }
};

/// A whole GUI dump: the language and the page stack, bottom first.
struct gui_dump {
    bool valid = false;
    /// The dump's text as written.
    std::string raw;
    std::string language;
    std::vector<gui_item> pages;

    const gui_item& top() const { return pages.back(); }
};

inline gui_item to_item(const json_value& v) {
    gui_item it;
    it.cls = v["class"].text;
    it.name = v["name"].text;
    it.x = static_cast<int>(v["x"].number);
    it.y = static_cast<int>(v["y"].number);
    it.w = static_cast<int>(v["w"].number);
    it.h = static_cast<int>(v["h"].number);
    it.visible = v["visible"].boolean;
    it.enabled = v["enabled"].boolean;
    it.focused = v["focused"].boolean;
    it.text = v["text"].text;
    it.shown_text = v["shown_text"].text;
    it.picture = v["picture"].text;
    it.item_data = v["item_data"].text;
    for (const json_value& c : v["children"].items) it.children.push_back(to_item(c));
    return it;
}

inline gui_dump parse_dump(const std::string& text) {
    gui_dump d;
    d.raw = text;
    json_value v;
    if (!json_reader::parse(text, &v) || v.kind != json_value::OBJECT) return d;
    d.valid = true;
    d.language = v["language"].text;
    for (const json_value& p : v["pages"].items) d.pages.push_back(to_item(p));
    return d;
}

// ---- Screenshots ----------------------------------------------------------------

struct rgb_t {
    int r = 0, g = 0, b = 0;
    bool operator==(const rgb_t& o) const { return r == o.r && g == o.g && b == o.b; }
};

inline std::ostream& operator<<(std::ostream& os, const rgb_t& c) {
    return os << "rgb(" << c.r << "," << c.g << "," << c.b << ")";
}

/// A PNG screenshot read back as RGB pixels.
struct picture_t {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;

    bool valid() const { return width > 0; }
    rgb_t at(int x, int y) const {
        rgb_t c;
        if (x < 0 || y < 0 || x >= width || y >= height) return c;
        size_t i = (static_cast<size_t>(y) * width + x) * 3;
        c.r = rgb[i];
        c.g = rgb[i + 1];
        c.b = rgb[i + 2];
        return c;
    }
    /// How many pixels of the rectangle differ from `c`.
    int count_not(int x, int y, int w, int h, rgb_t c) const {
        int n = 0;
        for (int j = y; j < y + h; ++j)
            for (int i = x; i < x + w; ++i)
                if (!(at(i, j) == c)) ++n;
        return n;
    }
};

inline picture_t read_png(const std::string& path) {
    picture_t pic;
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return pic;
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> buf(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, buf.data(), 0, nullptr)) {
        png_image_free(&image);
        return pic;
    }
    pic.width = static_cast<int>(image.width);
    pic.height = static_cast<int>(image.height);
    pic.rgb.swap(buf);
    return pic;
}

/// The page background of every vesk page.
const rgb_t PAGE_BG{239, 239, 244};
const rgb_t WHITE{255, 255, 255};

// ---- Running the program ----------------------------------------------------------

/// How the program is run: its arguments, environment changes and directory.
struct run_opts_t {
    std::vector<std::string> args;
    /// Variables to set; ANDROID_SERIAL and the adb stand-in's settings are unset
    /// unless given here.
    std::map<std::string, std::string> env;
    /// Put the adb stand-in of tests/support first on PATH.
    bool stub_adb = false;
    /// Working directory (empty: the test's own).
    std::string cwd;
};

/// An argument or environment vector for exec: pointers into `strings`, ended
/// by a null pointer. `strings` must outlive it and stay unchanged.
inline std::vector<char*> exec_vector(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (std::string& s : strings) pointers.push_back(&s[0]);
    pointers.push_back(nullptr);
    return pointers;
}

inline std::vector<std::string> make_env(const run_opts_t& o) {
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) {
        std::string kv(*e);
        std::string key = kv.substr(0, kv.find('='));
        if (key == "ANDROID_SERIAL" || key.rfind("ADB_STUB_", 0) == 0 || o.env.count(key)) continue;
        if (key == "PATH" && o.stub_adb) kv = "PATH=" + std::string(VESK_SOURCE_DIR) + "/tests/support:" + kv.substr(5);
        env.push_back(kv);
    }
    for (const auto& kv : o.env) env.push_back(kv.first + "=" + kv.second);
    return env;
}

/// Starts the program in a child with the given descriptors for its standard
/// input, output and error (-1: keep the test's); returns the child's id.
inline pid_t spawn_program(const run_opts_t& o, int in_fd, int out_fd, int err_fd, const std::vector<int>& close_fds) {
    std::vector<std::string> argv_s;
    argv_s.push_back(VESK_PROGRAM);
    for (const std::string& a : o.args) argv_s.push_back(a);
    std::vector<std::string> env_s = make_env(o);
    std::vector<char*> argv = exec_vector(argv_s), envp = exec_vector(env_s);
    pid_t pid = ::fork();
    if (pid == 0) {
        if (in_fd >= 0) ::dup2(in_fd, 0);
        if (out_fd >= 0) ::dup2(out_fd, 1);
        if (err_fd >= 0) ::dup2(err_fd, 2);
        for (int fd : close_fds) ::close(fd);
        if (!o.cwd.empty() && ::chdir(o.cwd.c_str()) != 0) ::_exit(126);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    return pid;
}

/// Waits for the child `pid` to end; its exit code, or 128 plus the signal that ended it.
inline int wait_status(pid_t pid) { return test_wait::exit_code(test_wait::reap_child(pid, -1)); }

/// The outcome of one run of the program.
struct run_result {
    int status = -1;
    std::string out;
    std::string err;
    /// The dumps the script asked for, in order; an invalid one was not written.
    std::vector<gui_dump> dumps;
    /// The screenshots the script asked for, in order.
    std::vector<picture_t> shots;
};

/// An automation script under construction; dump() and shot() add commands that
/// write into the run's own temporary directory.
class script_t {
public:
    /// Adds a command line as written.
    script_t& cmd(const std::string& line) {
        m_lines.push_back(line);
        return *this;
    }
    /// Adds a dump; returns its index among the run's dumps.
    int dump() {
        m_lines.push_back("dump @DUMP" + std::to_string(m_dumps) + "@");
        return m_dumps++;
    }
    /// Adds a screenshot; returns its index among the run's screenshots.
    int shot() {
        m_lines.push_back("screenshot @SHOT" + std::to_string(m_shots) + "@");
        return m_shots++;
    }
    int dump_count() const { return m_dumps; }
    int shot_count() const { return m_shots; }
    /// The script text with the file names filled in below `dir`.
    std::string text(const std::string& dir) const {
        std::string out;
        for (std::string line : m_lines) {
            for (const char* kind : {"DUMP", "SHOT"}) {
                std::string tag = std::string("@") + kind;
                size_t at = line.find(tag);
                if (at == std::string::npos) continue;
                size_t end = line.find('@', at + 1);
                std::string index = line.substr(at + tag.size(), end - at - tag.size());
                std::string file = dir + "/" + kind + index + (kind[0] == 'D' ? ".json" : ".png");
                line.replace(at, end - at + 1, file);
            }
            out += line + "\n";
        }
        return out;
    }

private:
    std::vector<std::string> m_lines;
    int m_dumps = 0;
    int m_shots = 0;
};

/// Runs the program headless under `script` and collects what it left behind.
inline run_result run_vesk(run_opts_t o, const script_t& script) {
    temp_dir work;
    std::string script_path = work.at("script.txt");
    {
        std::ofstream s(script_path);
        s << script.text(work.path());
    }
    o.args.push_back("--ozgi-video=headless");
    o.args.push_back("--ozgi-script=" + script_path);
    std::string out_path = work.at("stdout.txt"), err_path = work.at("stderr.txt");
    int out_fd = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err_fd = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int null_fd = ::open("/dev/null", O_RDONLY);
    pid_t pid = spawn_program(o, null_fd, out_fd, err_fd, {});
    ::close(out_fd);
    ::close(err_fd);
    ::close(null_fd);
    run_result r;
    r.status = wait_status(pid);
    r.out = read_file(out_path);
    r.err = read_file(err_path);
    for (int i = 0; i < script.dump_count(); ++i) {
        std::string p = work.at("DUMP" + std::to_string(i) + ".json");
        r.dumps.push_back(file_exists(p) ? parse_dump(read_file(p)) : gui_dump());
    }
    for (int i = 0; i < script.shot_count(); ++i) r.shots.push_back(read_png(work.at("SHOT" + std::to_string(i) + ".png")));
    return r;
}

/// Runs the program without a script and without a display (for runs that end
/// before the GUI starts).
inline run_result run_plain(run_opts_t o) {
    temp_dir work;
    std::string out_path = work.at("stdout.txt"), err_path = work.at("stderr.txt");
    int out_fd = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err_fd = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int null_fd = ::open("/dev/null", O_RDONLY);
    pid_t pid = spawn_program(o, null_fd, out_fd, err_fd, {});
    ::close(out_fd);
    ::close(err_fd);
    ::close(null_fd);
    run_result r;
    r.status = wait_status(pid);
    r.out = read_file(out_path);
    r.err = read_file(err_path);
    return r;
}

/// The program running headless with its script read from a pipe, so that a test
/// can change the world between commands and read dumps as they come.
class session_t {
public:
    explicit session_t(run_opts_t o) {
        o.args.push_back("--ozgi-video=headless");
        o.args.push_back("--ozgi-script=-");
        // A program that ends early must not take the test down with a broken pipe.
        std::signal(SIGPIPE, SIG_IGN);
        int in_pipe[2], out_pipe[2];
        if (::pipe(in_pipe) != 0 || ::pipe(out_pipe) != 0) std::abort();
        m_err_path = m_work.at("stderr.txt");
        int err_fd = ::open(m_err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        m_pid = spawn_program(o, in_pipe[0], out_pipe[1], err_fd, {in_pipe[1], out_pipe[0]});
        ::close(in_pipe[0]);
        ::close(out_pipe[1]);
        ::close(err_fd);
        m_in = in_pipe[1];
        m_out = out_pipe[0];
    }
    ~session_t() {
        if (m_pid > 0) finish();
    }
    session_t(const session_t&) = delete;
    session_t& operator=(const session_t&) = delete;

    /// Sends one command line.
    void cmd(const std::string& line) {
        std::string l = line + "\n";
        if (::write(m_in, l.data(), l.size()) != static_cast<ssize_t>(l.size())) m_broken = true;
    }
    /// Asks for a dump on standard output and reads it; invalid when the program ended.
    gui_dump dump() {
        cmd("dump -");
        std::string json, line;
        char c;
        while (::read(m_out, &c, 1) == 1) {
            if (c != '\n') {
                line += c;
                continue;
            }
            json += line + "\n";
            bool whole = line == "]}" || (line.rfind("{\"language\"", 0) == 0 && line.size() >= 2 &&
                                          line.compare(line.size() - 2, 2, "]}") == 0);
            line.clear();
            if (whole) return parse_dump(json);
        }
        return gui_dump();
    }
    /// Ends the script (which ends the program) and returns the exit status.
    int finish() {
        if (m_in >= 0) ::close(m_in);
        m_in = -1;
        char buf[256];
        while (::read(m_out, buf, sizeof buf) > 0) {
        }
        ::close(m_out);
        m_out = -1;
        int status = wait_status(m_pid);
        m_pid = -1;
        return status;
    }
    std::string err() const { return read_file(m_err_path); }

private:
    temp_dir m_work;
    std::string m_err_path;
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    bool m_broken = false;
};

/// The fatal message the program writes to standard error: "FATAL file:line: text".
/// True when `err` is exactly one such line ending in `text`.
inline bool is_fatal(const std::string& err, const std::string& text) {
    if (err.rfind("FATAL ", 0) != 0) return false;
    std::string tail = ": " + text + "\n";
    if (err.size() < tail.size() || err.compare(err.size() - tail.size(), tail.size(), tail) != 0) return false;
    return err.find('\n') == err.size() - 1;
}

/// Runs the program headless on the menu directory `menu` under the script.
inline run_result run_menu(const temp_dir& menu, const script_t& s, std::vector<std::string> args = {}) {
    run_opts_t o;
    args.push_back("--dir=" + menu.path());
    o.args = args;
    return run_vesk(o, s);
}

/// The item data of the buttons the page added itself, in order.
inline std::vector<std::string> data_of(const gui_item& page) {
    std::vector<std::string> out;
    for (const gui_item* b : page.page_buttons()) out.push_back(b->item_data);
    return out;
}

/// The shown labels of the buttons the page added itself, in order.
inline std::vector<std::string> labels_of(const gui_item& page) {
    std::vector<std::string> out;
    for (const gui_item* b : page.page_buttons()) out.push_back(b->find("BUTTON_LABEL")->shown_text);
    return out;
}

} // namespace app_test
