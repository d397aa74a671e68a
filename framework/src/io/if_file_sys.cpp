#include "ozgi/if_file_sys.h"

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

} // namespace ozgi
