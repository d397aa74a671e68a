#include "ozgi/if_file_sys.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace ozgi {

/// Fills `info` from stat() of `path` (links followed). The executable flag is
/// what access(X_OK) says for this process, so a file with execute bits that
/// this user may not run is not executable, and a searchable directory is.
bool if_file_sys::info(const cls_string& path, info_t* info) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return false;
    info->is_dir = S_ISDIR(st.st_mode);
    info->is_file = S_ISREG(st.st_mode);
    info->is_exec = ::access(path.c_str(), X_OK) == 0;
    info->size = static_cast<long long>(st.st_size);
    return true;
}

/// lstat() for the link, then stat() for what it leads to.
bool if_file_sys::walk_info(const cls_string& path, walk_info_t* info) {
    info->is_link = info->link_loop = info->is_dir = info->readable = false;
    info->device = info->inode = 0;
    struct stat lst;
    if (::lstat(path.c_str(), &lst) != 0) return false;
    info->is_link = S_ISLNK(lst.st_mode);
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        info->link_loop = errno == ELOOP;
        return true;
    }
    info->is_dir = S_ISDIR(st.st_mode);
    info->readable = info->is_dir && ::access(path.c_str(), R_OK | X_OK) == 0;
    info->device = static_cast<long long>(st.st_dev);
    info->inode = static_cast<long long>(st.st_ino);
    return true;
}

} // namespace ozgi
