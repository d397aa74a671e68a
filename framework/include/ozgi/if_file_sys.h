#pragma once
#include "ozgi/cls_string.h"

namespace ozgi {

class if_file_sys {
public:
    struct info_t {
        bool is_dir;
        bool is_exec;  // executable by this process (access X_OK)
        bool is_file;
        long long size;
        void clear() { is_dir = is_exec = is_file = false; size = 0; }
    };
    /// Fills `info` for `path` (symbolic links are followed). Returns false, leaving
    /// the record as it was, when the path cannot be queried.
    static bool info(const cls_string& path, info_t* info);
};

} // namespace ozgi
