#include "io/process_group.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ozgi {
namespace {

// Reads a small /proc file whole into `buf`; false when it cannot be read.
bool read_small(const char* path, char* buf, size_t size) {
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    size_t used = 0;
    for (;;) {
        ssize_t n = ::read(fd, buf + used, size - 1 - used);
        if (n <= 0) break;
        used += static_cast<size_t>(n);
        if (used == size - 1) break;
    }
    ::close(fd);
    buf[used] = '\0';
    return used > 0;
}

// The hexadecimal signal mask after `key` in a /proc status text; 0 when absent.
unsigned long long status_mask(const char* status, const char* key) {
    const char* at = std::strstr(status, key);
    if (!at) return 0;
    return std::strtoull(at + std::strlen(key), nullptr, 16);
}

int pid_limit() {
    static int limit = -1;
    if (limit < 0) {
        char buf[32];
        limit = read_small("/proc/sys/kernel/pid_max", buf, sizeof(buf)) ? std::atoi(buf) : 0;
        if (limit <= 0) limit = 1 << 22;  // the kernel's own upper bound
    }
    return limit;
}

} // namespace

std::vector<group_member_t> list_process_group(int pgid) {
    std::vector<group_member_t> out;
    DIR* proc = ::opendir("/proc");
    if (!proc) return out;
    char path[64];
    // A status text holds its masks well within its first 2 KiB, but the name
    // before them may be long; 4 KiB is safe.
    char text[4096];
    while (struct dirent* e = ::readdir(proc)) {
        char* end = nullptr;
        long pid = std::strtol(e->d_name, &end, 10);
        if (pid <= 0 || !end || *end) continue;
        std::snprintf(path, sizeof(path), "/proc/%ld/stat", pid);
        if (!read_small(path, text, sizeof(text))) continue;
        // "pid (name) state ppid pgrp ...": the name may hold blanks and ")".
        const char* after = std::strrchr(text, ')');
        char state = 0;
        int ppid = 0, pgrp = 0;
        if (!after || std::sscanf(after + 1, " %c %d %d", &state, &ppid, &pgrp) != 3) continue;
        if (pgrp != pgid || state == 'Z' || state == 'X') continue;
        group_member_t m{static_cast<int>(pid), false, std::string()};
        std::snprintf(path, sizeof(path), "/proc/%ld/status", pid);
        if (read_small(path, text, sizeof(text))) {
            const unsigned long long sigint = 1ULL << (2 - 1);  // SIGINT is signal 2
            unsigned long long handled = status_mask(text, "\nSigPnd:") | status_mask(text, "\nShdPnd:") |
                                         status_mask(text, "\nSigBlk:") | status_mask(text, "\nSigIgn:") |
                                         status_mask(text, "\nSigCgt:");
            m.sigint_default = (handled & sigint) == 0;
        }
        std::snprintf(path, sizeof(path), "/proc/%ld/exe", pid);
        char exe[PATH_MAX];
        ssize_t n = ::readlink(path, exe, sizeof(exe) - 1);
        if (n > 0) m.exe.assign(exe, static_cast<size_t>(n));
        out.push_back(m);
    }
    ::closedir(proc);
    return out;
}

int last_created_pid() {
    // The last field of /proc/loadavg: "0.00 0.01 0.05 1/123 4567".
    char buf[128];
    if (!read_small("/proc/loadavg", buf, sizeof(buf))) return -1;
    const char* last = std::strrchr(buf, ' ');
    return last ? std::atoi(last + 1) : -1;
}

bool created_by(int pid, int last_pid_before) {
    if (last_pid_before <= 0) return false;
    // Pids handed out after the reading lie just above it, modulo the limit.
    long long limit = pid_limit();
    long long behind = (static_cast<long long>(last_pid_before) - pid + limit) % limit;
    return behind < limit / 2;
}

} // namespace ozgi
