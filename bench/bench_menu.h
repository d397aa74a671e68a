#pragma once
// What the benchmarks of the menu share: a temporary menu directory of tests,
// the headless GUI started on its root menu page, and the path of the program.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "devices/cls_vesk_device.h"
#include "ozgi/cls_input_args.h"
#include "ozgi/cls_ozgi_gui.h"

namespace bench {

/// A directory of `count` tests named test_00000, test_00001, ... that exit 0,
/// made below the temporary directory under a name beginning with `prefix` and
/// removed with everything in it when the object goes.
struct menu_dir_t {
    std::string root;
    menu_dir_t(int count, const char* prefix) {
        std::string pattern = (std::filesystem::temp_directory_path() / prefix).string() + "_XXXXXX";
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data()) == nullptr) std::abort();
        root = buf.data();
        for (int i = 0; i < count; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/test_%05d", i);
            std::string path = root + name;
            std::ofstream(path) << "#!/bin/sh\nexit 0\n";
            ::chmod(path.c_str(), 0755);
        }
    }
    ~menu_dir_t() {
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
    }
    menu_dir_t(const menu_dir_t&) = delete;
    menu_dir_t& operator=(const menu_dir_t&) = delete;
};

/// Makes the local device scan `dir` (untimed) and sets the arguments of a
/// headless GUI on the root menu page, driven by the script `script` ("-" for
/// standard input); the caller starts the GUI, timing what it wants.
inline void prepare_gui(const std::string& dir, const std::string& script) {
    cls_vesk_device::release_func(cls_vesk_device::ins());
    cls_vesk_device::ins()->set_info("local", dir.c_str());
    cls_vesk_device::ins()->set_serial_id("LOCAL_DEVICE");
    ozgi::cls_array<ozgi::cls_string> args;
    args.append("--ozgi-video=headless");
    args.append("--ozgi-first-page=menu_page/first_page.xml");
    args.append(ozgi::cls_string(("--ozgi-script=" + script).c_str()));
    ozgi::cls_input_args::ins()->set_args(args);
}

/// The vesk program to start: the environment variable `env_name` when set,
/// else the vesk built beside the bench directory.
inline std::string program_path(const char* env_name) {
    const char* env = std::getenv(env_name);
    if (env && *env) return env;
    char self[4096];
    ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return "vesk";
    std::string dir(self, static_cast<size_t>(n));
    dir = dir.substr(0, dir.rfind('/'));
    return dir + "/../vesk";
}

} // namespace bench
