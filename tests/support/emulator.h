#pragma once
// Tests that start a program of the target themselves (the vesk program, or
// this very test program again) go through the emulator when the build is a
// cross build run under qemu-user: without binfmt support the kernel can't
// start a foreign binary directly.
#include <unistd.h>

#include <string>
#include <vector>

namespace test_emulator {

/// True when the tests run under an emulator (a cross build).
inline bool active() {
#ifdef VESK_EMULATOR
    return true;
#else
    return false;
#endif
}

/// The emulator's command line to put before a program of the target (empty
/// for a native build), e.g. {"/usr/bin/qemu-aarch64-static", "-L", "/"}.
inline std::vector<std::string> prefix() {
    std::vector<std::string> words;
#ifdef VESK_EMULATOR
    // The words are separated by '|'.
    std::string list = VESK_EMULATOR;
    std::string::size_type start = 0;
    while (start <= list.size()) {
        std::string::size_type end = list.find('|', start);
        if (end == std::string::npos) end = list.size();
        if (end > start) words.push_back(list.substr(start, end - start));
        start = end + 1;
    }
#endif
    return words;
}

/// `argv` (a program of the target and its arguments) as it must be started:
/// unchanged natively, behind the emulator's words in a cross build.
inline std::vector<std::string> command(const std::vector<std::string>& argv) {
    std::vector<std::string> all = prefix();
    all.insert(all.end(), argv.begin(), argv.end());
    return all;
}

/// The emulator's words quoted for a shell command line, each followed by a
/// blank ("" for a native build).
inline std::string shell_prefix() {
    std::string out;
    for (const std::string& w : prefix()) out += "'" + w + "' ";
    return out;
}

/// This test program's own path, to start it again: "/proc/self/exe" natively;
/// under the emulator the real file (which the emulator itself must load).
inline std::string self_exe() {
    if (!active()) return "/proc/self/exe";
    char path[4096];
    ssize_t n = ::readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (n <= 0) return "/proc/self/exe";
    return std::string(path, static_cast<size_t>(n));
}

/// Why a test of a missing program is skipped under the emulator.
inline const char* skip_reason_spawn_missing() {
    return "under qemu-user posix_spawn of a missing program gives a child exiting 127 instead of an error";
}

/// Why a test of vesk-cli on several devices is skipped under the emulator.
inline const char* skip_reason_self_exec() {
    return "vesk-cli starts its per-device workers as itself (/proc/self/exe), a foreign binary "
           "that the kernel can't start under qemu-user without binfmt";
}

/// Why a test that opens an SDL window is skipped under the emulator.
inline const char* skip_reason_sdl_window() {
    return "an SDL window of a foreign binary under qemu-user (nested in Xvfb) can hang in Mesa";
}

} // namespace test_emulator
