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

    /// What a directory walk needs to notice loops and unreadable directories.
    struct walk_info_t {
        bool is_link;      // `path` itself is a symbolic link
        bool link_loop;    // following it runs into a loop of links (ELOOP)
        bool is_dir;       // it is (or leads to) a directory
        bool readable;     // a directory this process may list and enter
        long long device;  // with `inode`: the identity of what it leads to
        long long inode;
    };
    /// Fills `info` for `path`. Returns false when the path names nothing at all
    /// (a dangling link gives is_link with nothing else). Readability is what
    /// access(R_OK|X_OK) says, so the superuser reads everything.
    static bool walk_info(const cls_string& path, walk_info_t* info);
};

} // namespace ozgi
