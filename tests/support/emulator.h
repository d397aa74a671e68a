#pragma once
// Tests that start a program of the target themselves (the vesk program, or
// this very test program again) go through the emulator when the build is a
// cross build run under qemu-user: without binfmt support the kernel can't
// start a foreign binary directly.
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

/// Why a test that can't work under the emulator is skipped.
inline const char* skip_reason_spawn_missing() {
    return "under qemu-user a missing program starts as a child exiting 127 instead of failing posix_spawn";
}

} // namespace test_emulator
